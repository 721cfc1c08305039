#include <System/Device/Mouse/Mouse.h>

#include <ApplicationServices/ApplicationServices.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace Tovra::System::Device::Mouse;

/// Puts the pointer back.
class MacOSMouseTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CGPreflightPostEventAccess())
            << "The program that runs the tests needs the accessibility permission, see "
               "Documentation/FirstDayOnAMac.md.";
        Mouse::GetCurrentPosition(m_start);
    }

    void TearDown() override { Mouse::SetPosition(m_start); }

    /// Waits until the pointer is there, as the window server moves it after the event was posted.
    static bool WaitUntilItIsAt(Position<0> position) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (Position<0> present; std::chrono::steady_clock::now() < deadline;) {
            if (Mouse::GetCurrentPosition(present) && present == position) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    Position<0> m_start;
};

TEST_F(MacOSMouseTest, MovesThePointerToAPointOfTheMainDisplay) {
    for (const Position<0> position : {Position<0>{.x = 100, .y = 100}, Position<0>{.x = 300, .y = 200}}) {
        Mouse::SetPosition(position);
        EXPECT_TRUE(WaitUntilItIsAt(position));
        const CGEventRef event = CGEventCreate(nullptr);
        ASSERT_NE(event, nullptr);
        const CGPoint point = CGEventGetLocation(event);
        CFRelease(event);
        EXPECT_EQ(point.x, position.x);
        EXPECT_EQ(point.y, position.y);
    }
}

TEST_F(MacOSMouseTest, MovesGradually) {
    using std::chrono::milliseconds;
    MouseMoveContext context;
    context.duration = milliseconds(100);
    context.startPosition = {.x = 100, .y = 100};
    context.targetPosition = {.x = 300, .y = 200};
    context.timeSinceLastUpdate = milliseconds(50);
    EXPECT_FALSE(Mouse::Update(context));
    EXPECT_TRUE(WaitUntilItIsAt({.x = 200, .y = 150}));
    while (!Mouse::Update(context)) {
    }
    EXPECT_TRUE(WaitUntilItIsAt(context.targetPosition));
}

} // namespace
