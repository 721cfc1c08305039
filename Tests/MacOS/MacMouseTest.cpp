#include <System/Device/Mouse/MouseOperations.h>

#include <MacOS/Doubles/CoreGraphics.h>
#include <MacOS/MacHostTest.h>

#include <format>

namespace {

using namespace Tovra::System::Device::Mouse;

using ::testing::ElementsAre;
using Tovra::Tests::MacHostTest;
using Tovra::Tests::Doubles::events;

using MacMouseTest = MacHostTest;

TEST_F(MacMouseTest, FindsThePointerByAnEvent) {
    events.pointer = {10.5, -20.25};
    const auto [x, y] = GetPointerPosition();
    EXPECT_EQ(x, 10.5);
    EXPECT_EQ(y, -20.25);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGEventCreate(null)", "CGEventGetLocation(Event#1)", "CFRelease(Event#1)"));
}

TEST_F(MacMouseTest, TakesThePointerForTheOriginWithoutAnEvent) {
    events.pointer = {10.5, -20.25};
    Sweep(
        [] {
            const auto [x, y] = GetPointerPosition();
            return std::format("{}, {}", x, y);
        },
        {{"CGEventCreate", "0, 0"}});
}

} // namespace
