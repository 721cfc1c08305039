// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/Monitors.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/WaylandSession.h>
#include <Support/XProgram.h>
#include <Support/XReplies.h>
#include <Support/XServer.h>
#include <Support/XServerProxy.h>
#include <System/Desktop/MainQueue_Linux.h>
#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Mouse/MouseOperations.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>
#include <System/X11/X11_Linux.h>

#include <gmock/gmock.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <regex>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// What the last change of a display was reported with.
void* s_userInfo = nullptr;

} // namespace

// The linker (--wrap) redirects calls of the callback to the second function, and calls of the first to the callback.
extern "C" {
void __real__ZN5Tovra6System6Device7Display30DisplayReconfigurationCallbackEjjPv(std::uint32_t display,
                                                                                 std::uint32_t flags, void* userInfo);

void __wrap__ZN5Tovra6System6Device7Display30DisplayReconfigurationCallbackEjjPv(std::uint32_t display,
                                                                                 std::uint32_t flags, void* userInfo) {
    s_userInfo = userInfo;
    __real__ZN5Tovra6System6Device7Display30DisplayReconfigurationCallbackEjjPv(display, flags, userInfo);
}
}

namespace Tovra::Tests {

namespace {

using namespace std::chrono_literals;
using namespace System::Device::Display;

using System::Log::Logger;
using System::Log::LoggerConfig;
using System::Math::Rectangle;
using System::Processes::ProcessWindow;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::Ne;
using ::testing::StrEq;

/// Displays as text: "1024x768+0+0 60 Hz primary".
using Seen = std::vector<std::string>;

void RunXrandr(const std::vector<std::string>& arguments) {
    RunXProgram("xrandr", arguments);
}

/// The displays by xrandr, the primary one first.
Seen AskXrandr();

/// A desktop with several monitors, or none, and the application's display cache on it.
class DisplayTest : public ::testing::Test {
protected:
    /// Shows that many monitors from left to right, each 1024 points wide.
    static void ShowMonitors(int count);

    static std::string GetOutput(int monitor) { return "DUMMY" + std::to_string(monitor); }

    /// Connects a monitor without showing anything on it.
    static void Plug(int monitor) {
        RunXrandr({"--addmode", GetOutput(monitor), "1024x768", "--addmode", GetOutput(monitor), "640x480"});
    }

    /// Adds modes of 800x600 to a monitor: "fast" and "slow", at 60.3 and 56.2 Hz (VESA timings).
    static void AddModes(int monitor);

    static void MovePointer(int x, int y) {
        RunXProgram("xdotool", {"mousemove", std::to_string(x), std::to_string(y)});
    }

    /// Lists the displays and follows their changes.
    void Start(void* userInfo = nullptr);

    DisplayCache& GetCache() { return *m_application.m_displaySystem; }

    /// Starts logging to a folder.
    void WriteLog(const TemporaryFolder& folder);

    /// The reasons of refreshes in the log, in order.
    static std::vector<std::string> ReadReasons(const TemporaryFolder& logs);

    Seen Look();

    /// Processes events until `count` refreshes have been made in all, and expects no more.
    void ExpectRefreshes(int count);

    TemporaryFolder m_folder;
    XServer m_server{GetMonitorServerArguments(m_folder), "Xorg"};
    EnvironmentValue m_display{"DISPLAY", m_server.GetDisplayName()};
    TestApplication m_application;
    std::vector<DisplayID> m_activeDisplays; ///< What the callback on the active display was given, in order.
    int m_refreshes = 0;
};

TEST_F(DisplayTest, ListsOneMonitorAsXrandrDoes) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(1);
            Start();
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 1) << "The pointer is there.";
        },
        IsEmpty());
}

TEST_F(DisplayTest, ListsThreeMonitorsAsXrandrDoes) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(3);
            AddModes(1);
            RunXrandr({"--output", "DUMMY1", "--mode", "slow"});
            MovePointer(2100, 10);
            Start();
            EXPECT_THAT(Look(),
                        ElementsAre("1024x768+0+0 60 Hz primary", "800x600+1024+0 56 Hz", "1024x768+2048+0 60 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 3);
            EXPECT_EQ(GetCache().GetVirtualDesktopRect(), (Rectangle{0, 0, 3072, 768}));
            EXPECT_EQ(GetCache().GetDisplay(1500, 500), 2);
        },
        IsEmpty());
}

TEST_F(DisplayTest, ListsThePrimaryMonitorFirst) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(3);
            RunXrandr({"--output", "DUMMY2", "--primary"});
            Start();
            EXPECT_THAT(Look(),
                        ElementsAre("1024x768+2048+0 60 Hz primary", "1024x768+0+0 60 Hz", "1024x768+1024+0 60 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 2);
        },
        IsEmpty());
}

TEST_F(DisplayTest, TakesTheFirstMonitorForPrimaryIfNoneIs) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            RunXrandr({"--noprimary"});
            Start();
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+1024+0 60 Hz"));
        },
        IsEmpty());
}

TEST_F(DisplayTest, TakesThePreferredModeForTheNativeOne) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(3);
            RunXrandr({"--output", "DUMMY0", "--mode", "800x600"});
            RunXrandr({"--output", "DUMMY1", "--mode", "640x480"});
            Start();
            const DisplayInfo& preferring = GetCache().GetDisplayInfo(0UL);
            EXPECT_EQ(preferring.width, 800);
            EXPECT_EQ(preferring.pixelWidth, 1600);
            EXPECT_EQ(preferring.pixelHeight, 1200);
            EXPECT_EQ(preferring.scaleX, 1.28);
            EXPECT_EQ(preferring.scaleY, 1.28);
            const DisplayInfo& indifferent = GetCache().GetDisplayInfo(1UL);
            EXPECT_EQ(indifferent.width, 640);
            EXPECT_EQ(indifferent.pixelWidth, 640) << "It prefers no mode, so the present one counts.";
            EXPECT_EQ(indifferent.scaleX, 1.0);
            EXPECT_EQ(GetCache().GetDisplayInfo(2UL).width, 1024);
            EXPECT_EQ(GetCache().GetDisplayInfo(2UL).scaleX, 1.0) << "Whichever of its modes that is.";
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsThePrimaryMonitor) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            RunXrandr({"--output", "DUMMY1", "--primary"});
            ExpectRefreshes(2);
            EXPECT_THAT(Look(), ElementsAre("1024x768+1024+0 60 Hz primary", "1024x768+0+0 60 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 2) << "The same monitor under its new number.";
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsAChangeThatAVisibleWindowNotices) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            System::Desktop::Window window(nullptr, "Window", {}, {}, {});
            window.SetEventCallback([](const auto&) { return true; });
            ASSERT_TRUE(window.Create());
            window.Show();
            window.Update();
            EXPECT_EQ(m_refreshes, 0);
            RunXrandr({"--output", "DUMMY1", "--mode", "640x480"});
            System::Device::Mouse::GetPointerPosition(); // Its reply comes after the event.
            window.Update();
            EXPECT_GT(m_refreshes, 0);
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsAMonitorThatIsAdded) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            Plug(2);
            RunXrandr({"--output", "DUMMY2", "--mode", "640x480", "--pos", "2048x0"});
            ExpectRefreshes(1);
            EXPECT_THAT(Look(),
                        ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+1024+0 60 Hz", "640x480+2048+0 59 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 1);
            EXPECT_THAT(m_activeDisplays, IsEmpty());
        },
        IsEmpty());
}

TEST_F(DisplayTest, RefreshesNothingForAMonitorThatShowsNothing) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            Plug(2);
            ExpectRefreshes(0);
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsAMonitorThatIsRemovedWithTheActiveDisplayOnIt) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(3);
            MovePointer(2100, 10);
            Start();
            GetCache().SetActiveDisplay(2);
            RunXrandr({"--output", "DUMMY1", "--off"});
            ExpectRefreshes(1);
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+2048+0 60 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 1);
            EXPECT_THAT(m_activeDisplays, ElementsAre(2, 1));
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsAResolution) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            RunXrandr({"--output", "DUMMY0", "--mode", "800x600"});
            ExpectRefreshes(1);
            EXPECT_THAT(Look(), ElementsAre("800x600+0+0 60 Hz primary", "1024x768+1024+0 60 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetDisplayInfo(0UL).scaleX, 1.28);
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsAPlaceAndARate) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            AddModes(1);
            RunXrandr({"--output", "DUMMY1", "--mode", "fast"});
            Start();
            RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
            ExpectRefreshes(1);
            EXPECT_EQ(Look(), AskXrandr());
            RunXrandr({"--output", "DUMMY1", "--mode", "slow"});
            ExpectRefreshes(2);
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "800x600+1024+100 56 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
        },
        IsEmpty());
}

TEST_F(DisplayTest, TellsTheRateOfAnInterlacedMode) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            RunXrandr(
                {"--newmode", "laced", "40", "800", "840", "968", "1056", "600", "601", "605", "628", "Interlace"});
            RunXrandr({"--addmode", "DUMMY1", "laced"});
            RunXrandr({"--output", "DUMMY1", "--mode", "laced"});
            Start();
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "800x600+1024+0 120 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
        },
        IsEmpty());
}

TEST_F(DisplayTest, IsNotScaledByAModeThatIsHigherThanWide) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            RunXrandr({"--newmode", "tall", "40", "600", "640", "768", "856", "800", "801", "805", "828"});
            RunXrandr({"--addmode", "DUMMY1", "tall"});
            RunXrandr({"--output", "DUMMY1", "--mode", "tall"});
            Start();
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "600x800+1024+0 56 Hz"));
            EXPECT_EQ(GetCache().GetDisplayInfo(1UL).pixelWidth, 600);
            EXPECT_EQ(GetCache().GetDisplayInfo(1UL).scaleX, 1.0);
            EXPECT_EQ(GetCache().GetDisplayInfo(1UL).scaleY, 1.0);
        },
        IsEmpty());
}

TEST_F(DisplayTest, HasThePointerOnTheDisplayThatBeginsThere) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(3);
            RunXrandr({"--output", "DUMMY2", "--pos", "0x768"});
            Start();
            const auto findActive = [](int x, int y) {
                MovePointer(x, y);
                DisplayCache cache;
                cache.IterateThroughDevices();
                return cache.GetActiveDisplay();
            };
            EXPECT_EQ(findActive(0, 0), 1);
            EXPECT_EQ(findActive(1023, 767), 1);
            EXPECT_EQ(findActive(1024, 0), 2);
            EXPECT_EQ(findActive(0, 768), 3);
            RunXrandr({"--output", "DUMMY2", "--primary"});
            EXPECT_EQ(findActive(0, 768), 1) << "It is the first one now.";
            EXPECT_EQ(findActive(0, 767), 2);
        },
        IsEmpty());
}

TEST_F(DisplayTest, GivesTheDisplaysWithAPointForWhichThereIsRoom) {
    const auto look = [] {
        ShowMonitors(2);
        RunXrandr({"--output", "DUMMY1", "--pos", "0x0"}); // Both show the same.
        const HeldDisplayQuery query = BeginDisplayQuery();
        const PlatformDisplayID first = GetMainDisplay(query.get());
        std::array<PlatformDisplayID, 3> displays{};
        std::uint32_t count = 7;
        GetDisplaysWithPoint(query.get(), 10, 10, displays, count);
        EXPECT_EQ(count, 2U);
        EXPECT_THAT(displays, ElementsAre(first, AllOf(Ne(first), Ne(0U)), 0U));
        displays = {};
        GetDisplaysWithPoint(query.get(), 10, 10, std::span(displays).first(1), count);
        EXPECT_EQ(count, 1U);
        EXPECT_THAT(displays, ElementsAre(first, 0U, 0U));
        GetDisplaysWithPoint(query.get(), 10, 768, displays, count);
        EXPECT_EQ(count, 0U);
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

TEST_F(DisplayTest, MarksOnlyThePreferredModeAsNative) {
    EXPECT_IN_CHILD(
        {
            const HeldDisplayQuery query = BeginDisplayQuery();
            const std::vector<DisplayMode> modes = CopyDisplayModes(query.get(), GetMainDisplay(query.get()));
            ASSERT_GT(modes.size(), 1U);
            EXPECT_EQ(modes.front().flags, DisplayMode::s_nativeFlag);
            EXPECT_EQ(modes.front().width, 1024U);
            EXPECT_THAT(std::span(modes).subspan(1), Each(Field(&DisplayMode::flags, 0U)));
        },
        IsEmpty());
}

TEST_F(DisplayTest, SaysWhatHasHappenedToADisplay) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            const TemporaryFolder logs;
            WriteLog(logs);
            Start();
            RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
            ExpectRefreshes(1);
            RunXrandr({"--output", "DUMMY1", "--off"});
            ExpectRefreshes(2);
            RunXrandr({"--output", "DUMMY1", "--mode", "640x480", "--pos", "1024x0"});
            ExpectRefreshes(3);
            EXPECT_THAT(ReadReasons(logs), ElementsAre("DisplayChanged", "DisplayRemoved", "DisplayAdded"));
        },
        IsEmpty());
}

TEST_F(DisplayTest, FollowsChangesWhileNobodyTakesOtherEvents) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            RunXProgram("xmodmap", {"-e", "pointer = 3 2 1"}); // Sends an event to every program.
            System::Desktop::RunMainLoop(50ms);
            RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
            System::Desktop::RunMainLoop(50ms);
            EXPECT_EQ(m_refreshes, 1);
        },
        IsEmpty());
}

TEST_F(DisplayTest, WorkThatIsQueuedAfterAChangeSeesTheDisplaysAfterIt) {
    const auto look = [this] {
        ShowMonitors(2);
        Start();
        int top = 100;
        for (const std::function<void()>& serve :
             std::vector<std::function<void()>>{[] { System::Desktop::RunMainLoop(1000ms); },
                                                [] { System::Desktop::PumpEvents([](const auto&) {}); }}) {
            ++top;
            RunXrandr({"--output", "DUMMY1", "--pos", "1024x" + std::to_string(top)});
            Seen seen;
            std::thread worker([this, &seen] { System::Desktop::RunOnMainQueue([this, &seen] { seen = Look(); }); });
            pollfd queue = {
                .fd = System::Desktop::MainQueue::GetInstance().GetDescriptor(), .events = POLLIN, .revents = 0};
            EXPECT_EQ(poll(&queue, 1, -1), 1);
            serve();
            worker.join();
            EXPECT_THAT(seen, ::testing::Contains(::testing::StartsWith("1024x768+1024+" + std::to_string(top))));
        }
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

TEST_F(DisplayTest, LooksForChangesAtTheStartAndThenOnlyWhenTheServerHasToldOfOne) {
    const auto look = [this] {
        ShowMonitors(2);
        const std::string serverDisplay = m_server.GetDisplayName();
        const XServerProxy proxy(serverDisplay);
        m_display.Set(proxy.GetDisplayName());
        Start();
        m_display.Set(serverDisplay);
        const auto countAskedBytes = [&proxy] {
            const std::size_t before = proxy.GetByteCount();
            System::Desktop::RunMainLoop(1ms);
            return proxy.GetByteCount() - before;
        };
        EXPECT_GT(countAskedBytes(), 0U) << "A change just before the events were selected has none.";
        EXPECT_EQ(countAskedBytes(), 0U);
        RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
        System::Device::Mouse::GetPointerPosition(); // Reads the event.
        EXPECT_GT(countAskedBytes(), 0U);
        EXPECT_EQ(countAskedBytes(), 0U);
        EXPECT_EQ(m_refreshes, 1);
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

/// From now on the server tells of no events but these, whatever is selected (`XCB_RANDR_NOTIFY_MASK_...`).
void LimitEvents(std::uint16_t mask) {
    static System::X11::XcbCall<decltype(&xcb_randr_select_input_checked)> s_select;
    static std::uint16_t s_mask = 0;
    System::X11::Connection& x11 = *System::X11::GetConnection();
    EXPECT_TRUE(x11.HasRandr());
    s_mask = mask;
    s_select = x11.xcb_randr_select_input_checked;
    decltype(&xcb_randr_select_input_checked)
        const selectFew = [](xcb_connection_t* connection, xcb_window_t window, std::uint16_t events) {
            return s_select(connection, window, static_cast<std::uint16_t>(events & s_mask));
        };
    x11.xcb_randr_select_input_checked = selectFew;
}

TEST_F(DisplayTest, FollowsChangesOfWhichTheServerTellsInOneWayOnly) {
    ShowMonitors(2);
    const auto change = [this](std::uint16_t mask) {
        LimitEvents(mask);
        Start();
        System::Desktop::RunMainLoop(1ms); // Looks once, without an event.
        RunXrandr({"--output", "DUMMY1", "--primary"});
        RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
        ExpectRefreshes(2);
        RunXrandr({"--output", "DUMMY1", "--pos", "1024x0", "--output", "DUMMY0", "--primary"});
    };
    EXPECT_IN_CHILD(change(XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE), IsEmpty());
    EXPECT_IN_CHILD(change(XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE), IsEmpty());
    EXPECT_IN_CHILD(change(XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE), IsEmpty());
}

TEST_F(DisplayTest, ReportsAChangeWithWhatTheWindowsWereInitializedWith) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start(&m_server);
            RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
            ExpectRefreshes(1);
            EXPECT_EQ(s_userInfo, &m_server);
        },
        IsEmpty());
}

TEST_F(DisplayTest, NoticesNoChangesWithoutTheLibraryThatReadsTheEvents) {
    const auto change = [this] {
        ShowMonitors(2);
        ASSERT_NE(System::X11::GetConnection(), nullptr);
        HideLibrary("libX11.so.6");
        Start();
        RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
        ExpectRefreshes(0);
        EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+1024+0 60 Hz"));
    };
    EXPECT_IN_CHILD(change(), StrEq("Exception: libX11.so.6 has no XESetWireToEvent.\n"));
}

TEST_F(DisplayTest, LeavesNoEventOfADisplayAmongThoseOfWindows) {
    const auto change = [this] {
        ShowMonitors(2);
        Start();
        RunXrandr({"--output", "DUMMY1", "--pos", "1024x100"});
        System::Device::Mouse::GetPointerPosition(); // Reads the event.
        EXPECT_EQ(QLength(System::X11::GetConnection()->display), 0);
        ExpectRefreshes(1);
    };
    EXPECT_IN_CHILD(change(), IsEmpty());
}

TEST_F(DisplayTest, RefreshesNothingMoreWhenTheServerIsGone) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            GetCache().AddOnRefreshedCallback(&m_server, [this] {
                m_server.Kill();
                System::Device::Mouse::GetPointerPosition();
            });
            RunXrandr({"--output", "DUMMY1", "--primary"}); // Changes both.
            ExpectRefreshes(1);
        },
        StrEq(lossReport));
}

TEST_F(DisplayTest, WaitsForMonitorsThatAreGoneForTwoSecondsAndReportsThemThen) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            GetCache().SetActiveDisplay(2);
            std::vector<Seen> reports;
            std::chrono::steady_clock::time_point firstReport;
            GetCache().AddOnRefreshedCallback(&reports, [&] {
                firstReport = reports.empty() ? std::chrono::steady_clock::now() : firstReport;
                reports.push_back(Look());
            });
            RunXrandr({"--output", "DUMMY0", "--off", "--output", "DUMMY1", "--off"});
            const auto start = std::chrono::steady_clock::now();
            std::thread person([] {
                std::this_thread::sleep_for(2s); // The monitors are off for this long; not a wait for something.
                RunXrandr({"--output", "DUMMY0", "--mode", "1024x768", "--pos", "0x0", "--output", "DUMMY1", "--mode",
                           "1024x768", "--pos", "1024x0"});
            });
            ExpectRefreshes(4); // Two removed, two added.
            person.join();
            EXPECT_GE(firstReport - start, 2s);
            EXPECT_THAT(reports, Each(::testing::Not(IsEmpty())));
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+1024+0 60 Hz"));
            EXPECT_EQ(Look(), AskXrandr());
            EXPECT_EQ(GetCache().GetActiveDisplay(), 2) << "Found again by its name.";
        },
        IsEmpty());
}

TEST_F(DisplayTest, KeepsTheVirtualDisplayOfAWindowAcrossAChangeAndNotThatOfARectangle) {
    EXPECT_IN_CHILD(
        {
            ShowMonitors(2);
            Start();
            const RunningProgram clock(MakeXProgram("xclock", {"-geometry", "200x100+1100+50", "-bw", "0"}));
            const auto deadline = std::chrono::steady_clock::now() + 20s;
            while (ProcessWindow::Get(1150, 100).handle == 0 && std::chrono::steady_clock::now() < deadline) {
                std::this_thread::sleep_for(10ms);
            }
            const ProcessWindow window = ProcessWindow::Get(1150, 100);
            EXPECT_EQ(GetCache().AddVirtualDisplay(Rectangle{10, 20, 110, 70}), 3);
            EXPECT_EQ(GetCache().AddVirtualDisplay(window), 4);
            EXPECT_THAT(Look(), ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+1024+0 60 Hz",
                                            "100x50+10+20 60 Hz virtual", "200x100+76+50 60 Hz virtual"));
            RunXrandr({"--output", "DUMMY0", "--mode", "800x600"});
            ExpectRefreshes(1);
            EXPECT_THAT(Look(), ElementsAre("800x600+0+0 60 Hz primary", "1024x768+1024+0 60 Hz",
                                            "200x100+76+50 60 Hz virtual"));
            EXPECT_EQ(GetCache().GetVirtualDisplayInfo(3)->window.handle, window.handle);
        },
        IsEmpty());
}

TEST_F(DisplayTest, HasNoDisplaysAnyMoreWhenTheServerIsGone) {
    EXPECT_IN_CHILD(
        {
            Start();
            m_server.Kill();
            DisplayCache cache;
            cache.IterateThroughDevices();
            EXPECT_EQ(cache.GetDisplayInfoCount(), 0UL);
            EXPECT_EQ(cache.GetActiveDisplay(), noDisplay);
            System::Desktop::PumpEvents([](const auto&) {});
            EXPECT_EQ(m_refreshes, 0);
        },
        StrEq(lossReport));
}

TEST_F(DisplayTest, HasNoDisplaysWhereverTheConnectionBreaksAndReportsThatOnce) {
    ShowMonitors(2);
    const auto connect = [] { EXPECT_EQ(System::Device::Mouse::GetPointerPosition().x, 10); };
    const auto list = [this] {
        Start();
        System::Desktop::RunMainLoop(1ms);
    };
    // The proxy is made in the child, since a fork doesn't copy its thread.
    const std::filesystem::path counts = m_folder.GetPath() / "counts";
    const auto measure = [&] {
        const XServerProxy proxy(m_server.GetDisplayName());
        m_display.Set(proxy.GetDisplayName());
        connect();
        const std::size_t connected = proxy.GetByteCount();
        list();
        std::ofstream(counts) << connected << ' ' << proxy.GetByteCount();
    };
    EXPECT_IN_CHILD(measure(), IsEmpty());
    std::size_t begin = 0;
    std::size_t end = 0;
    std::ifstream(counts) >> begin >> end;
    ASSERT_GT(end, begin);
    const auto breakConnection = [&](std::size_t byteNumber) {
        const XServerProxy proxy(m_server.GetDisplayName(), byteNumber);
        m_display.Set(proxy.GetDisplayName());
        connect();
        list();
        EXPECT_THAT(Look(), AnyOf(IsEmpty(), ElementsAre("1024x768+0+0 60 Hz primary", "1024x768+1024+0 60 Hz")));
    };
    constexpr std::size_t breakCount = 60;
    for (std::size_t index = 0; index < breakCount; ++index) {
        EXPECT_IN_CHILD(breakConnection(begin + 1 + index * (end - begin) / breakCount), StrEq(lossReport)) << index;
    }
}

TEST_F(DisplayTest, HasTheWholeScreenForADisplayWithoutTheLibraryOfRandr) {
    const auto look = [this] {
        ShowMonitors(2);
        HideLibrary("libxcb-randr.so.0");
        Start();
        EXPECT_THAT(Look(), ElementsAre("2048x768+0+0 0 Hz primary"));
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

TEST_F(DisplayTest, HasNoDisplaysWithoutTheLibraryThatLeadsToXcb) {
    const auto look = [this] {
        HideLibrary("libX11-xcb.so.1");
        Start();
        EXPECT_THAT(Look(), IsEmpty());
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

/// Lists the displays of a server that is this process's display.
std::vector<DisplayInfo> ListDisplays() {
    const TestApplication application;
    DisplayCache cache;
    EXPECT_TRUE(cache.Initialize(nullptr));
    std::vector<DisplayInfo> displays;
    for (unsigned long index = 0; index < cache.GetDisplayInfoCount(); ++index) {
        displays.push_back(cache.GetDisplayInfo(index));
    }
    return displays;
}

/// Expects the single display of a server without a monitor: its whole screen, without a rate.
void ExpectWholeScreen() {
    const std::vector<DisplayInfo> displays = ListDisplays();
    ASSERT_EQ(displays.size(), 1U);
    EXPECT_EQ(displays.front().width, 640);
    EXPECT_EQ(displays.front().height, 480);
    EXPECT_EQ(displays.front().pixelWidth, 640);
    EXPECT_EQ(displays.front().scaleX, 1.0);
    EXPECT_EQ(displays.front().scaleY, 1.0);
    EXPECT_EQ(displays.front().x, 0);
    EXPECT_EQ(displays.front().refreshRate, 0);
    EXPECT_TRUE(displays.front().isPrimary);
    const HeldDisplayQuery query = BeginDisplayQuery();
    EXPECT_EQ(GetCurrentRefreshRate(query.get(), displays.front().platformId), 0.0) << "A number, at least.";
}

TEST(Display, IsTheScreenOfAServerWithoutAMonitor) {
    const XServer server({"-screen", "0", "640x480x24"});
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    EXPECT_IN_CHILD(ExpectWholeScreen(), IsEmpty());
}

TEST(Display, HasTheRateOfAModeThatScansEachLineTwice) {
    const XServer server;
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    RunXrandr({"--newmode", "twice", "40", "800", "840", "968", "1056", "600", "601", "605", "628", "DoubleScan"});
    RunXrandr({"--addmode", "screen", "twice"});
    // xrandr selects such a mode only by its id.
    std::smatch number;
    const std::string modes = RunXProgram("xrandr", {"--verbose"});
    ASSERT_TRUE(std::regex_search(modes, number, std::regex(R"(twice \((0x[0-9a-f]+)\))")));
    RunXrandr({"--output", "screen", "--mode", number.str(1)});
    const auto look = [] {
        const std::vector<DisplayInfo> displays = ListDisplays();
        ASSERT_EQ(displays.size(), 1U);
        EXPECT_EQ(displays.front().width, 800);
        EXPECT_EQ(displays.front().refreshRate, 30);
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

TEST(Display, IsTheScreenOfAServerWithoutRandr) {
    const XServer server({"-screen", "0", "640x480x24", "-extension", "RANDR"});
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    EXPECT_IN_CHILD(
        {
            ExpectWholeScreen();
            const TestApplication application;
            EXPECT_TRUE(System::Desktop::WindowInitializePlatformNative(nullptr));
            System::Desktop::RunMainLoop(1ms);
        },
        IsEmpty());
}

/// A server with one display, whose replies a test changes: they state a false number of values.
class DisplayFalseReplyTest : public ::testing::Test {
protected:
    using Connection = System::X11::Connection;
    using ScreenReply = xcb_randr_get_screen_resources_current_reply_t;
    using OutputReply = xcb_randr_get_output_info_reply_t;
    using CrtcReply = xcb_randr_get_crtc_info_reply_t;

    static constexpr std::uint16_t s_most = 65535;

    /// The connection, once the display was listed.
    static Connection& Connect() {
        Connection& x11 = *System::X11::GetConnection();
        EXPECT_EQ(List().size(), 1U);
        EXPECT_FALSE(s_modes.empty());
        return x11;
    }

    /// The displays' ids. Sets `s_modes` to the sizes of the modes of the first.
    static std::vector<PlatformDisplayID> List() {
        const HeldDisplayQuery query = BeginDisplayQuery();
        std::vector<PlatformDisplayID> ids(mostDisplays);
        std::uint32_t count = 0;
        EXPECT_EQ(GetActiveDisplayList(query.get(), ids, count), 0);
        ids.resize(count);
        s_modes.clear();
        for (const DisplayMode& mode : CopyDisplayModes(query.get(), GetMainDisplay(query.get()))) {
            s_modes.emplace_back(mode.width, mode.height);
        }
        return ids;
    }

    /// The number of requests that `List` makes when it finds no display.
    static unsigned int CountRequestsForNone(const Connection& x11) {
        const auto sendOne = [&x11] {
            const auto cookie = x11.xcb_get_input_focus(x11.xcb);
            std::free(x11.xcb_get_input_focus_reply(x11.xcb, cookie, nullptr));
            return cookie.sequence;
        };
        const unsigned int before = sendOne();
        EXPECT_THAT(List(), IsEmpty());
        return sendOne() - before - 1;
    }

    static inline std::vector<std::pair<std::size_t, std::size_t>> s_modes;
    static inline unsigned int s_length = 0; ///< Of the last reply about the screen, in numbers.

    XServer m_server{{"-screen", "0", "640x480x24"}};
    EnvironmentValue m_display{"DISPLAY", m_server.GetDisplayName()};
};

TEST_F(DisplayFalseReplyTest, IsNotAskedForByWhatStandsBehindTheReply) {
    const auto findNoModes = [] {
        Connection& x11 = Connect();
        ChangeReplies<&Connection::xcb_randr_get_screen_resources_current_reply>(x11, [](ScreenReply& reply) {
            s_length = reply.length;
            reply.num_outputs = s_most;
        });
        // The list, the primary output, and each number of the reply, of which the first is the CRTC's.
        EXPECT_EQ(CountRequestsForNone(x11), 2 + s_length);
    };
    EXPECT_IN_CHILD(findNoModes(), IsEmpty());
    const auto findNoOutputs = [] {
        Connection& x11 = Connect();
        ChangeReplies<&Connection::xcb_randr_get_screen_resources_current_reply>(x11, [](ScreenReply& reply) {
            s_length = reply.length;
            reply.num_crtcs = s_most;
        });
        EXPECT_EQ(CountRequestsForNone(x11), 2 + s_length);
    };
    EXPECT_IN_CHILD(findNoOutputs(), IsEmpty());
}

TEST_F(DisplayFalseReplyTest, HasNoModeThatStandsBehindTheReply) {
    const auto findNoMode = [] {
        Connection& x11 = Connect();
        ChangeReplies<&Connection::xcb_randr_get_screen_resources_current_reply>(
            x11, [](ScreenReply& reply) { reply.num_modes = s_most; });
        EXPECT_EQ(List().size(), 1U);
        ChangeReplies<&Connection::xcb_randr_get_crtc_info_reply>(x11,
                                                                  [](CrtcReply& reply) { reply.mode = 0x7FFFFFFF; });
        EXPECT_THAT(List(), IsEmpty());
    };
    EXPECT_IN_CHILD(findNoMode(), IsEmpty());
    const auto findSameModes = [] {
        Connection& x11 = Connect();
        const auto modes = s_modes;
        ChangeReplies<&Connection::xcb_randr_get_output_info_reply>(
            x11, [](OutputReply& reply) { reply.num_modes = s_most; });
        EXPECT_EQ(List().size(), 1U);
        EXPECT_EQ(s_modes, modes);
    };
    EXPECT_IN_CHILD(findSameModes(), IsEmpty());
    const auto findNoModes = [] {
        Connection& x11 = Connect();
        ChangeReplies<&Connection::xcb_randr_get_output_info_reply>(
            x11, [](OutputReply& reply) { reply.num_crtcs = s_most; });
        EXPECT_EQ(List().size(), 1U);
        EXPECT_THAT(s_modes, IsEmpty());
    };
    EXPECT_IN_CHILD(findNoModes(), IsEmpty());
}

TEST_F(DisplayFalseReplyTest, ShowsNothingOnACrtcOfWhichTheServerKnowsNothing) {
    const auto findNone = [] {
        Connection& x11 = Connect();
        static constexpr xcb_randr_crtc_t unknown = 0x7FFFFFFF;
        ChangeReplies<&Connection::xcb_randr_get_screen_resources_current_reply>(x11, [](ScreenReply& reply) {
            *reinterpret_cast<xcb_randr_crtc_t*>(&reply + 1) = unknown; // The first list of the reply.
        });
        ChangeReplies<&Connection::xcb_randr_get_output_info_reply>(x11,
                                                                    [](OutputReply& reply) { reply.crtc = unknown; });
        EXPECT_THAT(List(), IsEmpty());
    };
    EXPECT_IN_CHILD(findNone(), IsEmpty());
}

/// Expects that a rotated monitor gives one display of that extent, not scaled.
void ExpectTurnedMonitor(const std::string& transform, int width, int height, int modeWidth = 1920,
                         int modeHeight = 1080) {
    const WaylandSession session(
        {"--width=" + std::to_string(modeWidth), "--height=" + std::to_string(modeHeight), "--transform=" + transform});
    const EnvironmentValue display("DISPLAY", session.GetDisplayName());
    const auto look = [width, height] {
        const std::vector<DisplayInfo> displays = ListDisplays();
        ASSERT_EQ(displays.size(), 1U);
        EXPECT_EQ(displays.front().width, width);
        EXPECT_EQ(displays.front().height, height);
        EXPECT_EQ(displays.front().pixelWidth, width);
        EXPECT_EQ(displays.front().pixelHeight, height);
        EXPECT_EQ(displays.front().scaleX, 1.0);
        EXPECT_EQ(displays.front().scaleY, 1.0);
        EXPECT_EQ(displays.front().x, 0);
        EXPECT_EQ(displays.front().y, 0);
        EXPECT_EQ(displays.front().refreshRate, 59);
    };
    EXPECT_IN_CHILD(look(), IsEmpty());
}

TEST(Display, IsNotScaledWhenItsMonitorStandsUpright) {
    ExpectTurnedMonitor("normal", 1920, 1080);
}

TEST(Display, IsNotScaledWhenItsMonitorIsTurnedBy90Degrees) {
    ExpectTurnedMonitor("rotate-90", 1080, 1920);
    ExpectTurnedMonitor("rotate-90", 1920, 1080, 1080, 1920);
}

TEST(Display, IsNotScaledWhenItsMonitorIsTurnedBy180Degrees) {
    ExpectTurnedMonitor("rotate-180", 1920, 1080);
}

TEST(Display, IsNotScaledWhenItsMonitorIsTurnedBy270Degrees) {
    ExpectTurnedMonitor("rotate-270", 1080, 1920);
}

TEST(Display, IsNotScaledWhenItsMonitorIsMirrored) {
    ExpectTurnedMonitor("flipped", 1920, 1080);
    ExpectTurnedMonitor("flipped-rotate-90", 1080, 1920);
}

/// The result of listing the displays: 0 for success.
std::int32_t AskForList() {
    const HeldDisplayQuery query = BeginDisplayQuery();
    std::array<PlatformDisplayID, mostDisplays> displays{};
    std::uint32_t count = 0;
    return GetActiveDisplayList(query.get(), displays, count);
}

/// Expects that the list fails if the server goes at the last byte that it is asked with.
void ExpectNoneOnceTheServerGoes(const XServer& server) {
    const TemporaryFolder folder;
    const std::filesystem::path countFile = folder.GetPath() / "count";
    const auto measure = [&] {
        const XServerProxy proxy(server.GetDisplayName());
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        EXPECT_EQ(AskForList(), 0);
        std::ofstream(countFile) << proxy.GetByteCount();
    };
    EXPECT_IN_CHILD(measure(), IsEmpty());
    std::size_t count = 0;
    std::ifstream(countFile) >> count;
    const auto breakConnection = [&server, count] {
        const XServerProxy proxy(server.GetDisplayName(), count); // The last byte of the last request.
        const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
        EXPECT_NE(AskForList(), 0);
    };
    EXPECT_IN_CHILD(breakConnection(), StrEq(lossReport));
}

TEST(Display, IsNoneIfAServerWithoutRandrGoesWhileItIsAskedForItsScreen) {
    ExpectNoneOnceTheServerGoes(XServer({"-screen", "0", "640x480x24", "-extension", "RANDR"}));
}

TEST(Display, IsNoneIfTheServerGoesOnceItHasListedTheOutputs) {
    ExpectNoneOnceTheServerGoes(XServer());
}

TEST(Display, IsNoneIfTheServerRefusesTheList) {
    const XServer server;
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    const auto refuse = [] {
        System::X11::GetConnection()->root = 0x7FFFFFFF; // No window.
        EXPECT_NE(AskForList(), 0) << "None is known, which is not the same as that there is none.";
    };
    EXPECT_IN_CHILD(refuse(), IsEmpty());
}

TEST(Display, IsNoneWithoutAServer) {
    const EnvironmentValue display("DISPLAY", std::nullopt);
    EXPECT_IN_CHILD(
        {
            EXPECT_THAT(ListDisplays(), IsEmpty());
            EXPECT_NE(AskForList(), 0) << "None is known, which is not the same as that there is none.";
            EXPECT_EQ(GetMainDisplay(BeginDisplayQuery().get()), 0U);
            EXPECT_TRUE(System::Desktop::WindowInitializePlatformNative(nullptr));
            System::Desktop::RunMainLoop(1ms);
        },
        IsEmpty());
}

void DisplayTest::ShowMonitors(int count) {
    for (int monitor = 1; monitor < count; ++monitor) {
        Plug(monitor);
        RunXrandr(
            {"--output", GetOutput(monitor), "--mode", "1024x768", "--pos", std::to_string(1024 * monitor) + "x0"});
    }
    MovePointer(10, 10);
}

void DisplayTest::AddModes(int monitor) {
    RunXrandr({"--newmode", "fast", "40", "800", "840", "968", "1056", "600", "601", "605", "628"});
    RunXrandr({"--newmode", "slow", "36", "800", "824", "896", "1024", "600", "601", "603", "625"});
    RunXrandr({"--addmode", GetOutput(monitor), "fast", "--addmode", GetOutput(monitor), "slow"});
}

void DisplayTest::Start(void* userInfo) {
    m_application.m_displaySystem = {new DisplayCache, [](DisplayCache* cache) { delete cache; }};
    EXPECT_TRUE(GetCache().Initialize(nullptr));
    EXPECT_TRUE(System::Desktop::WindowInitializePlatformNative(userInfo));
    GetCache().AddOnActiveDisplayChangedCallback(this, [this](DisplayID id) { m_activeDisplays.push_back(id); });
    GetCache().AddOnRefreshedCallback(this, [this] { ++m_refreshes; });
}

void DisplayTest::WriteLog(const TemporaryFolder& folder) {
    m_application.m_logSystem = {new Logger, [](Logger* logger) { delete logger; }};
    LoggerConfig config;
    config.SetDefaults();
    config.m_directory = folder.GetPath().wstring();
    EXPECT_TRUE(m_application.m_logSystem->Initialize(&config));
}

std::vector<std::string> DisplayTest::ReadReasons(const TemporaryFolder& logs) {
    static constexpr std::string_view head = "Display cache refresh reason: ";
    std::vector<std::string> reasons;
    for (const auto& entry : std::filesystem::directory_iterator(logs.GetPath())) {
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);) {
            if (const std::size_t place = line.find(head); place != std::string::npos) {
                reasons.push_back(line.substr(place + head.size()));
            }
        }
    }
    return reasons;
}

Seen DisplayTest::Look() {
    Seen seen;
    for (unsigned long index = 0; index < GetCache().GetDisplayInfoCount(); ++index) {
        const DisplayInfo& info = GetCache().GetDisplayInfo(index);
        std::ostringstream text;
        text << info.width << 'x' << info.height << '+' << info.x << '+' << info.y << ' ' << info.refreshRate << " Hz"
             << (info.isPrimary ? " primary" : "") << (info.parent != noDisplay ? " virtual" : "");
        seen.push_back(text.str());
    }
    return seen;
}

void DisplayTest::ExpectRefreshes(int count) {
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (m_refreshes < count && std::chrono::steady_clock::now() < deadline) {
        System::Desktop::RunMainLoop(8ms);
    }
    // Requests of a client that has ended are done, so all events are here after a round trip.
    System::Device::Mouse::GetPointerPosition();
    System::Desktop::PumpEvents([](const auto&) {});
    EXPECT_EQ(m_refreshes, count);
}

Seen AskXrandr() {
    static const std::regex head(R"(\S+ (?:connected|disconnected) (primary )?(\d+x\d+\+\d+\+\d+) .*)");
    static const std::regex current(R"(.* (\d+\.\d+)\*.*)");
    Seen seen;
    bool isPrimary = false;
    std::istringstream lines(RunXProgram("xrandr", {"--current"}));
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, head)) {
            isPrimary = match[1].matched;
            seen.insert(isPrimary ? seen.begin() : seen.end(), match.str(2));
        } else if (std::regex_match(line, match, current)) {
            std::string& display = isPrimary ? seen.front() : seen.back();
            if (!display.ends_with("Hz") && !display.ends_with("primary")) {
                display += ' ' + std::to_string(std::stoi(match.str(1))) + " Hz" + (isPrimary ? " primary" : "");
            }
        }
    }
    return seen;
}

} // namespace

} // namespace Tovra::Tests
