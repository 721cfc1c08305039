#include <Fakes/ProcessOperations.h>
#include <Fakes/ProcessWindowOperations.h>
#include <Fakes/WindowPlatformNative.h>
#include <System/Processes/Helpers.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <limits>
#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::System::VisitorAction;
using Tovra::System::Math::Rectangle;
using Tovra::System::Processes::HeldAccessibilityElement;
using Tovra::System::Processes::Process;
using Tovra::System::Processes::ProcessWindow;
using Tovra::System::Processes::WindowBounds;
using Tovra::System::Processes::WindowListEntry;
using Tovra::Tests::Fakes::ProcessWindowOperations;

namespace Helpers = Tovra::System::Processes::Helpers;

constexpr WindowBounds square = {.x = 100, .y = 100, .width = 50, .height = 50};
constexpr WindowBounds oblong = {.x = 10, .y = 200, .width = 30, .height = 4};
constexpr WindowBounds elsewhere = {.x = 900, .y = 900, .width = 50, .height = 50};

class ProcessWindowTest : public ::testing::Test {
protected:
    ~ProcessWindowTest() override { EXPECT_EQ(m_fake.heldElements, 0) << "Every element is given back."; }

    /// The windows that a walk visits, although the visitor always returns `Stop`.
    static std::vector<unsigned long> Visit(std::uint64_t processId, std::string_view filter) {
        std::vector<unsigned long> handles;
        const std::uint64_t count = ProcessWindow::ForEachWindow(
            Process{processId},
            [&handles](const ProcessWindow& window) {
                handles.push_back(window.handle);
                return VisitorAction::Stop;
            },
            filter);
        EXPECT_EQ(count, handles.size());
        return handles;
    }

    static std::string GetName(unsigned long handle) {
        std::string name = "before";
        EXPECT_EQ(ProcessWindow(handle).GetName(name), name.c_str());
        return name;
    }

    /// Sets up window 1 of process 7 with the bounds `onList`, and in the accessibility layer with `accessible` and the
    /// focus.
    void ShowWindow(const WindowBounds& onList, const WindowBounds& accessible) {
        m_fake.entries = {{.number = 1, .ownerId = 7, .layer = 0, .bounds = onList, .isOnScreen = true}};
        m_fake.applications[7] = {.windows = {{.name = "a",
                                               .x = accessible.x,
                                               .y = accessible.y,
                                               .width = accessible.width,
                                               .height = accessible.height}},
                                  .focused = 0};
    }

    /// Activates window 1.
    static bool SetActive() { return ProcessWindow(1).SetActive(); }

    static const std::vector<std::string>& GetActivations() { return Tovra::Tests::Fakes::windowPlatformNative.calls; }

    ProcessWindowOperations& m_fake = Tovra::Tests::Fakes::processWindowOperations;
};

TEST_F(ProcessWindowTest, IsAPlainValueOfItsHandleAndChecksNothing) {
    static_assert(std::is_trivially_copyable_v<ProcessWindow> && sizeof(ProcessWindow) == 8);
    EXPECT_EQ(ProcessWindow(0).handle, 0U);
    EXPECT_EQ(ProcessWindow(0xFFFFFFFFFFFFFFFF).handle, 0xFFFFFFFFFFFFFFFFU);
    EXPECT_THAT(m_fake.calls, IsEmpty());
}

TEST_F(ProcessWindowTest, UnknownHandleGivesNeutralResults) {
    m_fake.entries = {{.number = 1, .ownerId = 7, .layer = 0, .bounds = square, .name = "a", .isOnScreen = true}};
    for (const unsigned long handle : {0UL, 2UL}) {
        const ProcessWindow window(handle);
        EXPECT_EQ(GetName(handle), "before");
        EXPECT_EQ(window.GetFrame(), (Rectangle{}));
        EXPECT_EQ(window.GetProcessId(), 0U);
        EXPECT_FALSE(window.IsVisible());
        EXPECT_EQ(window.GetRootWindow().handle, handle);
        EXPECT_TRUE(window.IsTopLevel());
        EXPECT_EQ(ProcessWindow::Get(Process{7}, handle).handle, 0U);
    }
}

TEST_F(ProcessWindowTest, WithoutAListThereIsNothing) {
    EXPECT_EQ(ProcessWindow::Get(1, 1).handle, 0U);
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(Process{7}).handle, 0U);
    EXPECT_THAT(Visit(7, ""), IsEmpty());
    EXPECT_FALSE(ProcessWindow(1).SetActive());
}

TEST_F(ProcessWindowTest, OnlyTheLow32BitsOfAHandleCount) {
    m_fake.entries = {{.number = 1, .ownerId = 7, .layer = 0, .bounds = square, .name = "a", .isOnScreen = true}};
    constexpr unsigned long handle = 0xABCD00000001;
    EXPECT_EQ(GetName(handle), "a");
    EXPECT_EQ(ProcessWindow(handle).GetFrame(), (Rectangle{100, 100, 150, 150}));
    EXPECT_EQ(ProcessWindow(handle).GetProcessId(), 7U);
    EXPECT_TRUE(ProcessWindow(handle).IsVisible());
    EXPECT_TRUE(ProcessWindow(handle).IsTopLevel());
    EXPECT_EQ(ProcessWindow::Get(Process{7}, handle).handle, 1U);
}

TEST_F(ProcessWindowTest, NumberIsZeroExtended) {
    m_fake.entries = {{.number = 0xFFFFFFFF, .ownerId = 7, .layer = 0, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(100, 100).handle, 0xFFFFFFFFU);
    EXPECT_THAT(Visit(7, ""), ElementsAre(0xFFFFFFFFU));
    ShowWindow(square, square);
    m_fake.entries.front().number = 0xFFFFFFFF;
    EXPECT_EQ(ProcessWindow::Get(Process{7}).handle, 0xFFFFFFFFU);
    EXPECT_EQ(ProcessWindow(1).GetRootWindow().handle, 1U);
    EXPECT_EQ(ProcessWindow(0xABCDFFFFFFFF).GetRootWindow().handle, 0xFFFFFFFFU);
}

TEST_F(ProcessWindowTest, UnderAPointIsTheFrontmostOnTheScreen) {
    m_fake.entries = {{.number = 1, .layer = 0, .bounds = elsewhere, .isOnScreen = true},
                      {.number = 2, .layer = 0, .bounds = square, .isOnScreen = false},
                      {.number = 3, .layer = 0, .bounds = square, .isOnScreen = true},
                      {.number = 4, .layer = 0, .bounds = square, .isOnScreen = true}};
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 3U);
    EXPECT_THAT(m_fake.calls, ElementsAre("List(1)"));
}

TEST_F(ProcessWindowTest, UnderAPointIsNoneWhereThereIsNone) {
    m_fake.entries = {{.number = 1, .layer = 0, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(500, 500).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointLiesBelowTheMenuBar) {
    m_fake.entries = {{.number = 1, .layer = 24, .bounds = square}, {.number = 2, .layer = 0, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 2U);
    m_fake.entries.pop_back();
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointIsNotOnALayerBelowTheNormalOne) {
    m_fake.entries = {{.number = 1, .layer = -1, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointNeedsALayerAndBounds) {
    m_fake.entries = {
        {.number = 1, .bounds = square}, {.number = 2, .layer = 0}, {.number = 3, .layer = 0, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 3U);
}

TEST_F(ProcessWindowTest, UnderAPointWithoutANumberHidesWhatIsBelow) {
    m_fake.entries = {{.layer = 0, .bounds = square}, {.number = 2, .layer = 0, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointOwnsItsLeftAndTopEdgesOnly) {
    m_fake.entries = {{.number = 1, .layer = 0, .bounds = square}};
    EXPECT_EQ(ProcessWindow::Get(100, 100).handle, 1U);
    EXPECT_EQ(ProcessWindow::Get(149, 149).handle, 1U);
    EXPECT_EQ(ProcessWindow::Get(150, 149).handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(149, 150).handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(99, 100).handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(100, 99).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointIsGivenByItsPlaceFromTheLeftThenFromTheTop) {
    m_fake.entries = {{.number = 1, .layer = 0, .bounds = oblong}};
    EXPECT_EQ(ProcessWindow::Get(39, 203).handle, 1U);
    EXPECT_EQ(ProcessWindow::Get(203, 39).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointMayBeLeftOfAndAboveTheFirstScreen) {
    m_fake.entries = {{.number = 1, .layer = 0, .bounds = WindowBounds{.x = -60, .y = -60, .width = 50, .height = 50}}};
    EXPECT_EQ(ProcessWindow::Get(-11, -11).handle, 1U);
    EXPECT_EQ(ProcessWindow::Get(-10, -11).handle, 0U);
}

TEST_F(ProcessWindowTest, UnderAPointHasBoundsThatMayBeTurnedAroundButNotEmptyOrNull) {
    m_fake.entries = {
        {.number = 1, .layer = 0, .bounds = WindowBounds{.x = 150, .y = 150, .width = -50, .height = -50}}};
    EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 1U);
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const WindowBounds& nothing :
         {WindowBounds{.x = 120, .y = 120}, WindowBounds{.x = infinity, .y = infinity, .width = 0, .height = 0}}) {
        m_fake.entries.front().bounds = nothing;
        EXPECT_EQ(ProcessWindow::Get(120, 120).handle, 0U);
    }
}

class ProcessWindowForEachTest : public ProcessWindowTest {
protected:
    ProcessWindowForEachTest() {
        m_fake.entries = {{.number = 1, .ownerId = 7, .name = "Notes", .isOnScreen = true},
                          {.number = 2, .ownerId = 8, .name = "Notes", .isOnScreen = true},
                          {.number = 3, .ownerId = 7, .name = "Tasks", .isOnScreen = false},
                          {.number = 4, .ownerId = 7, .name = "Notes", .isOnScreen = false}};
    }
};

TEST_F(ProcessWindowForEachTest, AreAllVisitedFrontToBackAlsoHiddenOnes) {
    EXPECT_THAT(Visit(7, ""), ElementsAre(1, 3, 4));
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)"));
}

TEST_F(ProcessWindowForEachTest, AreVisitedToTheEndWhateverTheVisitorAnswers) {
    for (const VisitorAction answer : {VisitorAction::Continue, VisitorAction::Stop}) {
        int visits = 0;
        EXPECT_EQ(ProcessWindow::ForEachWindow(
                      Process{7},
                      [&visits, answer](ProcessWindow&) {
                          ++visits;
                          return answer;
                      },
                      ""),
                  3U);
        EXPECT_EQ(visits, 3);
    }
}

TEST_F(ProcessWindowForEachTest, AreFoundByTheirWholeNameAlone) {
    EXPECT_THAT(Visit(7, "Notes"), ElementsAre(1, 4));
    EXPECT_THAT(Visit(7, "Tasks"), ElementsAre(3));
    for (const std::string_view name : {"notes", "Note", "Notes ", "x"}) {
        EXPECT_THAT(Visit(7, name), IsEmpty()) << name;
    }
    EXPECT_THAT(Visit(9, "Notes"), IsEmpty());
}

TEST_F(ProcessWindowForEachTest, NeedAnOwnerAndANumber) {
    m_fake.entries[0].ownerId.reset();
    m_fake.entries[2].number.reset();
    EXPECT_THAT(Visit(7, ""), ElementsAre(4));
}

TEST_F(ProcessWindowForEachTest, AreTakenByTheLow32BitsOfItsNumber) {
    EXPECT_THAT(Visit((std::uint64_t{1} << 32) + 7, ""), ElementsAre(1, 3, 4));
    m_fake.entries[1].ownerId = -2;
    EXPECT_THAT(Visit(static_cast<std::uint64_t>(-2), ""), ElementsAre(2));
}

TEST_F(ProcessWindowForEachTest, WithoutANameGoByThatOfTheOneBefore) {
    m_fake.entries[2].name.reset();
    EXPECT_THAT(Visit(7, "Notes"), ElementsAre(1, 3, 4));
    m_fake.entries[0].name.reset();
    EXPECT_THAT(Visit(7, "Notes"), ElementsAre(4)) << "The first one has none before it; other processes' don't count.";
}

TEST_F(ProcessWindowForEachTest, MayCloseUnderTheVisitor) {
    std::vector<unsigned long> handles;
    ProcessWindow::ForEachWindow(
        Process{7},
        [this, &handles](const ProcessWindow& window) {
            handles.push_back(window.handle);
            m_fake.entries.clear();
            return VisitorAction::Continue;
        },
        "");
    EXPECT_THAT(handles, ElementsAre(1, 3, 4));
}

TEST_F(ProcessWindowForEachTest, MayAskForWindowsInTheVisitor) {
    std::vector<std::string> names;
    ProcessWindow::ForEachWindow(
        Process{7},
        [&names](const ProcessWindow& window) {
            window.GetName(names.emplace_back());
            return VisitorAction::Continue;
        },
        "");
    EXPECT_THAT(names, ElementsAre("Notes", "Tasks", "Notes"));
}

TEST_F(ProcessWindowForEachTest, AreToldFromThoseOfOthersByTheMembershipTest) {
    EXPECT_EQ(ProcessWindow::Get(Process{7}, 3).handle, 3U);
    EXPECT_EQ(ProcessWindow::Get(Process{7}, 2).handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(Process{8}, 2).handle, 2U);
    EXPECT_EQ(ProcessWindow::Get(Process{7}, 99).handle, 0U);
}

TEST_F(ProcessWindowTest, NameIsItsTitle) {
    m_fake.entries = {{.number = 2, .name = "b", .ownerName = "B"}, {.number = 1, .name = "a", .ownerName = "A"}};
    EXPECT_EQ(GetName(1), "a");
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)"));
}

TEST_F(ProcessWindowTest, NameIsThatOfTheOwnerIfTheTitleIsEmpty) {
    m_fake.entries = {{.number = 1, .name = "", .ownerName = "Owner"}};
    EXPECT_EQ(GetName(1), "Owner");
    m_fake.entries.front().ownerName.reset();
    EXPECT_EQ(GetName(1), "");
}

TEST_F(ProcessWindowTest, NameIsNotThatOfTheOwnerIfThereIsNoTitle) {
    m_fake.entries = {{.number = 1, .ownerName = "Owner"}};
    EXPECT_EQ(GetName(1), "before");
}

TEST_F(ProcessWindowTest, NameIsLookedForBehindAnEntryWithoutTitle) {
    m_fake.entries = {{.number = 1, .ownerName = "Owner"}, {.number = 1, .name = "a"}, {.number = 1, .name = "b"}};
    EXPECT_EQ(GetName(1), "a");
}

TEST_F(ProcessWindowTest, NameIsNotThatOfTheOwnerInAnotherEntry) {
    m_fake.entries = {{.number = 1, .name = ""}, {.number = 1, .ownerName = "Owner"}};
    EXPECT_EQ(GetName(1), "");
}

TEST_F(ProcessWindowTest, NameEndsAtItsFirstNul) {
    m_fake.entries = {{.number = 1, .name = std::string("first\0second", 12)}};
    EXPECT_EQ(GetName(1), "first");
    m_fake.entries.front() = {.number = 1, .name = std::string("\0a", 2), .ownerName = std::string("Owner\0b", 7)};
    EXPECT_EQ(GetName(1), "Owner");
}

TEST_F(ProcessWindowTest, NameIsMeasuredBehindItsFirstNul) {
    m_fake.entries = {{.number = 1, .name = "first" + std::string(251, '\0')}};
    EXPECT_EQ(GetName(1), "before");
    m_fake.entries.front().name->pop_back();
    EXPECT_EQ(GetName(1), "first");
}

TEST_F(ProcessWindowTest, NameFitsInto256BytesWithItsEnd) {
    m_fake.entries = {{.number = 1, .name = std::string(255, 'x'), .ownerName = "Owner"}};
    EXPECT_EQ(GetName(1), std::string(255, 'x'));
    m_fake.entries.front().name = std::string(256, 'x');
    EXPECT_EQ(GetName(1), "before");
    m_fake.entries.front().name = "";
    m_fake.entries.front().ownerName = std::string(255, 'y');
    EXPECT_EQ(GetName(1), std::string(255, 'y'));
    m_fake.entries.front().ownerName = std::string(256, 'y');
    EXPECT_EQ(GetName(1), "");
}

class ProcessWindowFrameTest : public ProcessWindowTest {
protected:
    Rectangle GetFrame(const WindowBounds& bounds) {
        m_fake.entries = {{.number = 1, .bounds = bounds}};
        return ProcessWindow(1).GetFrame();
    }
};

TEST_F(ProcessWindowFrameTest, IsCutNumberByNumberBeforeTheSum) {
    EXPECT_EQ(GetFrame({.x = 10.9, .y = 5.9, .width = 20.9, .height = 7.9}), (Rectangle{10, 5, 30, 12}));
}

TEST_F(ProcessWindowFrameTest, IsCutTowardsZero) {
    EXPECT_EQ(GetFrame({.x = -10.9, .y = -0.9, .width = 20.9, .height = 0.9}), (Rectangle{-10, 0, 10, 0}));
}

TEST_F(ProcessWindowFrameTest, HasNumbersOf32Bits) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(GetFrame({.x = infinity, .y = -infinity, .width = 0, .height = 0}),
              (Rectangle{most, least, most, least}));
    EXPECT_EQ(GetFrame({.x = 1e10, .y = std::numeric_limits<double>::quiet_NaN(), .width = 1, .height = 2}),
              (Rectangle{most, 0, least, 2}));
}

TEST_F(ProcessWindowFrameTest, IsLookedForBehindAnEntryWithoutBounds) {
    m_fake.entries = {{.number = 1}, {.bounds = elsewhere}, {.number = 1, .bounds = square}};
    EXPECT_EQ(ProcessWindow(1).GetFrame(), (Rectangle{100, 100, 150, 150}));
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)"));
}

class ProcessWindowRootTest : public ProcessWindowTest {
protected:
    ProcessWindowRootTest() {
        m_fake.entries = {{.number = 1, .ownerId = 8, .layer = 0},
                          {.number = 2, .ownerId = 7, .layer = 3},
                          {.number = 3, .ownerId = 7, .layer = 0},
                          {.number = 4, .ownerId = 7, .layer = 0}};
    }
};

TEST_F(ProcessWindowRootTest, IsTheFrontmostNormalOneOfTheOwner) {
    for (const unsigned long handle : {2UL, 3UL, 4UL}) {
        EXPECT_EQ(ProcessWindow(handle).GetRootWindow().handle, 3U);
        EXPECT_EQ(ProcessWindow(handle).IsTopLevel(), handle == 3);
    }
    EXPECT_TRUE(ProcessWindow(1).IsTopLevel());
}

TEST_F(ProcessWindowRootTest, NeedsANumberAndALayer) {
    m_fake.entries[2].number.reset();
    EXPECT_EQ(ProcessWindow(2).GetRootWindow().handle, 4U);
    m_fake.entries[3].layer.reset();
    EXPECT_EQ(ProcessWindow(2).GetRootWindow().handle, 2U) << "None is left, so it is its own.";
    EXPECT_TRUE(ProcessWindow(2).IsTopLevel());
}

TEST_F(ProcessWindowRootTest, IsTheWindowItselfWithoutAnOwner) {
    m_fake.entries[3].ownerId.reset();
    m_fake.entries.push_back({.number = 5, .ownerId = 1, .layer = 0});
    EXPECT_TRUE(ProcessWindow(4).IsTopLevel());
    EXPECT_TRUE(ProcessWindow(5).IsTopLevel());
    m_fake.entries[3].ownerId = 0;
    m_fake.entries[2].ownerId = 0;
    EXPECT_TRUE(ProcessWindow(4).IsTopLevel()) << "Process 0 owns no windows.";
}

TEST_F(ProcessWindowRootTest, OwnerIsTheFirstThatCanBeRead) {
    m_fake.entries.insert(m_fake.entries.begin(), {.number = 4});
    EXPECT_EQ(ProcessWindow(4).GetRootWindow().handle, 3U);
    m_fake.entries.insert(m_fake.entries.begin(), {.number = 4, .ownerId = 0});
    EXPECT_EQ(ProcessWindow(4).GetRootWindow().handle, 4U);
}

TEST_F(ProcessWindowRootTest, IsOneOfTheHiddenWindowsToo) {
    for (WindowListEntry& entry : m_fake.entries) {
        entry.isOnScreen = false;
    }
    EXPECT_EQ(ProcessWindow(2).GetRootWindow().handle, 3U);
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)"));
}

TEST_F(ProcessWindowRootTest, UnknownHandleIsItsOwnWithAllItsBits) {
    EXPECT_EQ(ProcessWindow(0xABCD00000063).GetRootWindow().handle, 0xABCD00000063U);
    m_fake.entries.resize(2);
    EXPECT_EQ(ProcessWindow(0xABCD00000002).GetRootWindow().handle, 0xABCD00000002U) << "It has an owner but no root.";
}

TEST_F(ProcessWindowTest, OwnerIsThatOfTheFirstEntryWidenedWithItsSign) {
    m_fake.entries = {{.number = 1, .ownerId = -2}, {.number = 1, .ownerId = 8}, {.number = 2}};
    EXPECT_EQ(ProcessWindow(1).GetProcessId(), 0xFFFFFFFFFFFFFFFEU);
    EXPECT_EQ(ProcessWindow(2).GetProcessId(), 0U);
    m_fake.entries.front().ownerId.reset();
    EXPECT_EQ(ProcessWindow(1).GetProcessId(), 0U);
}

TEST_F(ProcessWindowTest, HiddenOneHasAnOwnerToo) {
    m_fake.entries = {{.number = 1, .ownerId = 7, .isOnScreen = false}};
    EXPECT_EQ(ProcessWindow(1).GetProcessId(), 7U);
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)"));
}

TEST_F(ProcessWindowTest, IsVisibleIfTheListOfTheScreenSaysSo) {
    m_fake.entries = {{.number = 1, .isOnScreen = true}, {.number = 2, .isOnScreen = false}, {.number = 3}};
    EXPECT_TRUE(ProcessWindow(1).IsVisible());
    EXPECT_FALSE(ProcessWindow(2).IsVisible());
    EXPECT_FALSE(ProcessWindow(3).IsVisible());
    EXPECT_THAT(m_fake.calls, ElementsAre("List(1)", "List(1)", "List(1)"));
}

TEST_F(ProcessWindowTest, IsNotVisibleIfItsFlagDeniesItOnTheListOfTheScreen) {
    m_fake.showsAllOnScreen = true;
    m_fake.entries = {{.number = 1, .isOnScreen = true}, {.number = 2, .isOnScreen = false}};
    EXPECT_TRUE(ProcessWindow(1).IsVisible());
    EXPECT_FALSE(ProcessWindow(2).IsVisible());
}

class ProcessWindowActiveTest : public ProcessWindowTest {
protected:
    ProcessWindowActiveTest() {
        ShowWindow(square, square);
        m_fake.frontProcessId = 7;
    }
};

TEST_F(ProcessWindowActiveTest, IsTheFocusedOneOfTheFrontmostApplication) {
    EXPECT_EQ(ProcessWindow::GetActive().handle, 1U);
    EXPECT_THAT(m_fake.calls, ElementsAre("Application(7)", "Position(a)", "Size(a)", "List(1)"));
}

TEST_F(ProcessWindowActiveTest, IsLookedForUnderProcess0IfNothingIsInFront) {
    m_fake.frontProcessId = 0;
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
    EXPECT_THAT(m_fake.calls, ElementsAre("Application(0)"));
}

TEST_F(ProcessWindowActiveTest, OfAProcessIsItsFocusedOne) {
    m_fake.frontProcessId = 8;
    EXPECT_EQ(ProcessWindow::Get(Process{7}).handle, 1U);
    EXPECT_EQ(ProcessWindow::Get(Process{8}).handle, 0U);
}

TEST_F(ProcessWindowActiveTest, OfProcess0IsThatOfTheFrontmostApplication) {
    EXPECT_EQ(ProcessWindow::Get(Process{0}).handle, 1U);
}

TEST_F(ProcessWindowActiveTest, IsNoneWithoutFocus) {
    m_fake.applications[7].focused.reset();
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
}

TEST_F(ProcessWindowActiveTest, IsNoneIfItTellsNoPositionOrSize) {
    m_fake.applications[7].windows[0].positionError = -25211;
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
    EXPECT_THAT(m_fake.calls, ElementsAre("Application(7)", "Position(a)")) << "What follows is not asked for.";
    m_fake.applications[7].windows[0].positionError = 0;
    m_fake.applications[7].windows[0].sizeError = -25205;
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
}

TEST_F(ProcessWindowActiveTest, BelongsToTheActiveProcess) {
    Tovra::Tests::Fakes::processOperations.processes = {{.id = 7}};
    EXPECT_EQ(Process::GetActive().GetId(), 7U);
}

TEST_F(ProcessWindowActiveTest, OfAFrontProcessWithoutFocusLeavesNoActiveProcess) {
    Tovra::Tests::Fakes::processOperations.processes = {{.id = 7}};
    m_fake.applications[7].focused.reset();
    EXPECT_EQ(Process::GetActive().GetId(), 0U);
}

TEST_F(ProcessWindowActiveTest, ActiveProcessUndergoesTheIdentityRule) {
    Tovra::Tests::Fakes::processOperations.processes = {};
    EXPECT_EQ(Process::GetActive().GetId(), 0U);
    Tovra::Tests::Fakes::processOperations.processes = {{.id = 7, .signalError = EPERM}};
    EXPECT_EQ(Process::GetActive().GetId(), 7U);
}

class ProcessWindowBridgeTest : public ProcessWindowTest {
protected:
    static unsigned long FindNumber() { return ProcessWindow::Get(Process{7}).handle; }
    static bool FindsElement() { return Helpers::GetWindow(7, 1) != nullptr; }
};

TEST_F(ProcessWindowBridgeTest, HoldsUpToADifferenceOf2InEachNumber) {
    for (double WindowBounds::* const number :
         {&WindowBounds::x, &WindowBounds::y, &WindowBounds::width, &WindowBounds::height}) {
        for (const double sign : {1.0, -1.0}) {
            WindowBounds accessible = square;
            accessible.*number = square.*number + sign * 2.0;
            ShowWindow(square, accessible);
            EXPECT_EQ(FindNumber(), 1U);
            EXPECT_TRUE(FindsElement());
            accessible.*number = square.*number + sign * 2.001;
            ShowWindow(square, accessible);
            EXPECT_EQ(FindNumber(), 0U);
            EXPECT_FALSE(FindsElement());
        }
    }
}

TEST_F(ProcessWindowBridgeTest, HoldsIfAllFourNumbersDifferBy2) {
    ShowWindow(square, {.x = 102, .y = 98, .width = 48, .height = 52});
    EXPECT_EQ(FindNumber(), 1U);
    EXPECT_TRUE(FindsElement());
}

TEST_F(ProcessWindowBridgeTest, ComparesEachNumberWithItsLike) {
    ShowWindow(oblong, oblong);
    EXPECT_EQ(FindNumber(), 1U);
    EXPECT_TRUE(FindsElement());
}

TEST_F(ProcessWindowBridgeTest, NeedsNumbers) {
    WindowBounds accessible = square;
    accessible.width = std::numeric_limits<double>::quiet_NaN();
    ShowWindow(square, accessible);
    EXPECT_EQ(FindNumber(), 0U);
    EXPECT_FALSE(FindsElement());
}

TEST_F(ProcessWindowBridgeTest, GivesTheFirstOfTheListThatAgrees) {
    ShowWindow(square, square);
    m_fake.entries.insert(m_fake.entries.begin(),
                          {{.number = 9, .ownerId = 8, .bounds = square},
                           {.number = 10, .ownerId = 7},
                           {.number = 11, .bounds = square},
                           {.number = 12, .ownerId = 7, .bounds = square, .isOnScreen = false},
                           {.number = 13, .ownerId = 7, .bounds = elsewhere},
                           {.number = 14, .ownerId = 7, .layer = 3, .bounds = WindowBounds{101, 101, 50, 50}}});
    EXPECT_EQ(FindNumber(), 14U) << "Layers don't count.";
}

TEST_F(ProcessWindowBridgeTest, WithoutANumberGives0) {
    ShowWindow(square, square);
    m_fake.entries.insert(m_fake.entries.begin(), {.ownerId = 7, .bounds = square});
    EXPECT_EQ(FindNumber(), 0U);
}

TEST_F(ProcessWindowBridgeTest, OfNoWindowIs0) {
    EXPECT_EQ(Helpers::GetWindowId(7, nullptr), 0U);
    EXPECT_THAT(m_fake.calls, IsEmpty());
}

TEST_F(ProcessWindowBridgeTest, GivesTheFocusedElementOrNone) {
    ShowWindow(square, square);
    EXPECT_NE(Helpers::GetFocusedWindow(7), nullptr);
    EXPECT_EQ(Helpers::GetFocusedWindow(8), nullptr);
    m_fake.applications[7].focused.reset();
    EXPECT_EQ(Helpers::GetFocusedWindow(7), nullptr);
}

TEST_F(ProcessWindowBridgeTest, PassesOverElementsThatTellNoPositionOrSize) {
    ShowWindow(square, square);
    auto& windows = m_fake.applications[7].windows;
    windows.insert(windows.begin(), 2, windows.front());
    windows[0].name = "withoutPosition";
    windows[0].positionError = 1;
    windows[1].name = "withoutSize";
    windows[1].sizeError = 1;
    EXPECT_TRUE(SetActive());
    EXPECT_EQ(m_fake.calls.back(), "Raise(a)");
    windows.pop_back();
    EXPECT_FALSE(FindsElement());
}

TEST_F(ProcessWindowBridgeTest, GivesTheFirstElementThatAgrees) {
    ShowWindow(square, square);
    m_fake.applications[7].windows.push_back(m_fake.applications[7].windows[0]);
    m_fake.applications[7].windows[1].name = "b";
    EXPECT_TRUE(SetActive());
    EXPECT_EQ(m_fake.calls.back(), "Raise(a)");
}

TEST_F(ProcessWindowBridgeTest, LooksAtTheFirst1000Elements) {
    ShowWindow(square, square);
    auto& windows = m_fake.applications[7].windows;
    windows.insert(windows.begin(), 999, {.name = "other"});
    EXPECT_TRUE(FindsElement());
    EXPECT_EQ(m_fake.maximumCount, 1000U);
    windows.insert(windows.begin(), {.name = "other"});
    EXPECT_FALSE(FindsElement());
}

TEST_F(ProcessWindowBridgeTest, NeedsTheListOfTheOneWindowAndItsBounds) {
    ShowWindow(square, square);
    EXPECT_TRUE(FindsElement());
    EXPECT_THAT(m_fake.calls, ElementsAre("List(8)", "Application(7)", "Position(a)", "Size(a)"));
    m_fake.boundsOfOne[1] = std::nullopt;
    EXPECT_FALSE(FindsElement());
    m_fake.applications[7].windows = {{.name = "a"}};
    EXPECT_FALSE(FindsElement()) << "Missing bounds are not all 0.";
    EXPECT_EQ(Helpers::GetWindow(7, 2), nullptr);
}

TEST_F(ProcessWindowBridgeTest, TakesTheBoundsOfTheListOfTheOneWindow) {
    ShowWindow(square, elsewhere);
    m_fake.boundsOfOne[1] = elsewhere;
    EXPECT_TRUE(FindsElement());
    EXPECT_EQ(FindNumber(), 0U);
}

TEST_F(ProcessWindowBridgeTest, TakesTheFirstEntryOfTheListOfTheOneWindow) {
    ShowWindow(square, square);
    m_fake.entries.insert(m_fake.entries.begin(), {.number = 1});
    EXPECT_FALSE(FindsElement());
}

TEST_F(ProcessWindowBridgeTest, NeedsAnApplicationAndItsWindows) {
    ShowWindow(square, square);
    m_fake.applications[7].hasWindowList = false;
    EXPECT_FALSE(FindsElement());
    m_fake.applications.clear();
    EXPECT_FALSE(FindsElement());
}

class ProcessWindowActivationTest : public ProcessWindowTest {
protected:
    ProcessWindowActivationTest() { ShowWindow(square, square); }
};

TEST_F(ProcessWindowActivationTest, BringsTheApplicationForwardThenFocusesThenRaises) {
    EXPECT_TRUE(SetActive());
    EXPECT_THAT(GetActivations(), ElementsAre("ActivateApp(7)"));
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)", "List(8)", "Application(7)", "Position(a)", "Size(a)",
                                          "Application(7)", "Focus(7, a)", "Raise(a)"));
}

TEST_F(ProcessWindowActivationTest, BringsTheApplicationForwardBeforeTheWindowIsLookedFor) {
    std::size_t callsBefore = 0;
    Tovra::Tests::Fakes::windowPlatformNative.duringActivate = [this, &callsBefore] {
        callsBefore = m_fake.calls.size();
    };
    EXPECT_TRUE(SetActive());
    EXPECT_EQ(callsBefore, 1U) << "The owner is known by then.";
}

TEST_F(ProcessWindowActivationTest, OfAHandleThatIsGoneIsAskedForProcess0) {
    m_fake.entries.clear();
    EXPECT_FALSE(SetActive());
    EXPECT_THAT(GetActivations(), ElementsAre("ActivateApp(0)"));
}

TEST_F(ProcessWindowActivationTest, BringsTheApplicationForwardEvenIfTheWindowIsNotFound) {
    m_fake.applications[7].windows.clear();
    EXPECT_FALSE(SetActive());
    EXPECT_THAT(GetActivations(), ElementsAre("ActivateApp(7)"));
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)", "List(8)", "Application(7)"));
}

TEST_F(ProcessWindowActivationTest, GoesOnIfTheApplicationOrTheFocusFails) {
    Tovra::Tests::Fakes::windowPlatformNative.activateResult = false;
    m_fake.focusError = -25200;
    EXPECT_TRUE(SetActive());
}

TEST_F(ProcessWindowActivationTest, GoesOnIfTheApplicationCanNotBeHadForTheFocus) {
    m_fake.createApplicationFault = {.call = 2};
    EXPECT_TRUE(SetActive());
    EXPECT_THAT(m_fake.calls, ElementsAre("List(0)", "List(8)", "Application(7)", "Position(a)", "Size(a)",
                                          "Application(7)", "Raise(a)"));
}

TEST_F(ProcessWindowActivationTest, SucceedsExactlyIfTheWindowIsRaised) {
    m_fake.raiseError = -25206;
    EXPECT_FALSE(SetActive());
    EXPECT_EQ(m_fake.calls.back(), "Raise(a)");
    m_fake.raiseError = 1;
    EXPECT_FALSE(SetActive());
}

TEST_F(ProcessWindowActivationTest, OfAProcessIsThatOfItsFocusedWindow) {
    EXPECT_TRUE(Process{7}.SetActive());
    EXPECT_THAT(GetActivations(), ElementsAre("ActivateApp(7)"));
    EXPECT_EQ(m_fake.calls.back(), "Raise(a)");
    m_fake.raiseError = -25206;
    EXPECT_FALSE(Process{7}.SetActive());
}

TEST_F(ProcessWindowActivationTest, OfProcess0IsThatOfTheFrontmostApplication) {
    m_fake.frontProcessId = 7;
    EXPECT_TRUE(Process{0}.SetActive());
    EXPECT_THAT(GetActivations(), ElementsAre("ActivateApp(7)"));
}

TEST_F(ProcessWindowActivationTest, OfAProcessWithoutAFocusedWindowIsNotTried) {
    m_fake.applications[7].focused.reset();
    EXPECT_FALSE(Process{7}.SetActive());
    EXPECT_THAT(GetActivations(), IsEmpty());
}

} // namespace
