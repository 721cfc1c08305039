#include <Fakes/DisplayOperations.h>
#include <System/Device/Display/DisplayChanges.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Tovra::System::Device::Display;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::Tests::Fakes::displayOperations;

const DisplayState left{.display = 1, .width = 800, .height = 600, .refreshRate = 60, .isMain = true};
const DisplayState right{.display = 2, .x = 800, .width = 640, .height = 480, .refreshRate = 75};

TEST(DisplayChanges, AreNoneBetweenEqualMoments) {
    EXPECT_THAT(FindDisplayChanges({left, right}, {left, right}), IsEmpty());
    EXPECT_THAT(FindDisplayChanges({left, right}, {right, left}), IsEmpty());
    EXPECT_THAT(FindDisplayChanges({}, {}), IsEmpty());
}

TEST(DisplayChanges, TellWhatIsGoneAndWhatIsNew) {
    EXPECT_THAT(FindDisplayChanges({left, right}, {left}), ElementsAre(DisplayChange{2, DisplayChangeFlag::Remove}));
    EXPECT_THAT(FindDisplayChanges({left}, {left, right}), ElementsAre(DisplayChange{2, DisplayChangeFlag::Add}));
    EXPECT_THAT(FindDisplayChanges({left}, {right}),
                ElementsAre(DisplayChange{1, DisplayChangeFlag::Remove}, DisplayChange{2, DisplayChangeFlag::Add}));
}

TEST(DisplayChanges, TellWhatIsDifferentInAnyRespect) {
    const auto expectChange = [](const DisplayState& after) {
        EXPECT_THAT(FindDisplayChanges({right}, {after}),
                    ElementsAre(DisplayChange{2, DisplayChangeFlag::DesktopShapeChanged}));
    };
    DisplayState after = right;
    after.x = 801;
    expectChange(after);
    after = right;
    after.y = 1;
    expectChange(after);
    after = right;
    after.width = 641;
    expectChange(after);
    after = right;
    after.height = 481;
    expectChange(after);
    after = right;
    after.nativeWidth = 1280;
    expectChange(after);
    after = right;
    after.nativeHeight = 960;
    expectChange(after);
    after = right;
    after.refreshRate = 60;
    expectChange(after);
    after = right;
    after.isMain = true;
    expectChange(after);
}

TEST(DisplayChanges, HaveTheFlagsOfMacOs) {
    EXPECT_EQ(static_cast<std::uint32_t>(DisplayChangeFlag::BeginConfiguration), 0x1U);
    EXPECT_EQ(static_cast<std::uint32_t>(DisplayChangeFlag::Add), 0x10U);
    EXPECT_EQ(static_cast<std::uint32_t>(DisplayChangeFlag::Remove), 0x20U);
    EXPECT_EQ(static_cast<std::uint32_t>(DisplayChangeFlag::DesktopShapeChanged), 0x1000U);
}

TEST(DisplayChanges, StatesAreWhatTheSystemSays) {
    auto& host = displayOperations;
    host.displays = {{.id = 1, .width = 800, .height = 600}, {.id = 2, .x = 800, .width = 640, .height = 480}};
    host.displays.back().refreshRate = 75;
    host.mainDisplay = 1;
    EXPECT_THAT(GetDisplayStates(), ElementsAre(left, right));
    EXPECT_EQ(host.openQueries, 0);
}

TEST(DisplayChanges, StatesHoldTheExtentOfTheirOwnModes) {
    auto& host = displayOperations;
    host.displays = {{.id = 1, .width = 800, .height = 600}};
    host.displays.front().modes = {{.flags = 1, .width = 640, .height = 480},
                                   {.flags = DisplayMode::s_nativeFlag, .width = 1600, .height = 1200},
                                   {.flags = DisplayMode::s_nativeFlag, .width = 800, .height = 600}};
    const std::vector<DisplayState> states = GetDisplayStates();
    ASSERT_EQ(states.size(), 1U);
    EXPECT_EQ(states.front().nativeWidth, 1600U);
    EXPECT_EQ(states.front().nativeHeight, 1200U);
}

TEST(DisplayChanges, StatesAreNoneIfTheSystemFailsToListThem) {
    auto& host = displayOperations;
    host.displays = {{.id = 1, .width = 800, .height = 600}};
    host.listFault = {.call = 1};
    EXPECT_THAT(GetDisplayStates(), IsEmpty());
}

} // namespace
