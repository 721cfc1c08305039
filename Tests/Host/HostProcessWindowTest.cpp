// Label: threaded

#include <Support/Child.h>
#include <Support/EnvironmentValue.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/ProcessNamespace.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>
#include <Support/WindowManager.h>
#include <Support/XProgram.h>
#include <Support/XServer.h>
#include <Support/XServerFixture.h>
#include <Support/XServerProxy.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Processes/ActivateAppPlatformNative.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/XClient.h>
#include <System/X11/X11_Linux.h>
#include <X11/Xatom.h>
// clang-format on

namespace Tovra::System::Processes {

namespace {

using Math::Rectangle;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Tests::EnvironmentValue;
using Tests::lossReport;
using Tests::XClient;
using Tests::XServer;
using Tests::XWindowStyle;

std::uint64_t GetOwnId() {
    return static_cast<std::uint64_t>(getpid());
}

std::string GetName(unsigned long handle);

std::vector<unsigned long> FindWindows(std::uint64_t processId, std::string_view name = "");

/// Expects the results for a window that doesn't exist.
void ExpectNeutralResults(unsigned long handle);

/// The process's only window of that name; 0 if there is none or several.
unsigned long FindWindow(std::uint64_t processId, std::string_view name);

Math::Coordinate2 GetCentre(const Rectangle& frame) {
    return {.x = (frame.left + frame.right) / 2, .y = (frame.top + frame.bottom) / 2};
}

/// Runs a program that gives the expected value independently, and returns its output.
std::string Ask(const std::string& program, const std::vector<std::string>& arguments);

/// The number after that text in the program's output; -1 if the text is missing.
int AskForNumber(const std::string& program, const std::vector<std::string>& arguments, const std::string& text);

/// The frame by xwininfo. Its corner includes the border, its size doesn't.
Rectangle AskForFrame(unsigned long handle);

/// The visible window of that name by xdotool.
unsigned long AskForWindow(const std::string& name);

std::string GetHostName();

/// Another program with one window.
class Program {
public:
    Program(const std::string& path, const std::string& title, const std::string& geometry)
        : m_title(title), m_program(Make(path, title, geometry)) {}

    std::uint64_t GetId() const { return static_cast<std::uint64_t>(m_program.GetId()); }
    const std::string& GetTitle() const { return m_title; }
    unsigned long FindWindow() const { return Processes::FindWindow(GetId(), m_title); }

    /// Waits until its window is visible and returns it.
    unsigned long WaitForWindow(const XClient& client) const {
        EXPECT_TRUE(client.WaitUntil([this] { return ProcessWindow(FindWindow()).IsVisible(); })) << m_title;
        return FindWindow();
    }

    void Kill() const { m_program.Signal(SIGKILL); }

private:
    static Tests::Program Make(const std::string& path, const std::string& title, const std::string& geometry) {
        Tests::Program program = Tests::MakeXProgram(path, {"-geometry", geometry, "-title", title});
        program.timeLimit = std::chrono::seconds(120);
        if (path == "xterm") {
            program.arguments.insert(program.arguments.end(), {"-e", "sleep", "infinity"});
        }
        return program;
    }

    std::string m_title;
    Tests::RunningProgram m_program;
};

/// Runs `body` in a child process, since a process connects only once, and expects that it succeeds and that `errors`
/// matches its standard error stream.
void RunInChild(const std::function<void()>& body, const ::testing::Matcher<const std::string&>& errors = IsEmpty()) {
    EXPECT_THAT(Tests::RunInChild(body), errors);
}

enum class Manager { Nobody, Openbox };

/// A server as this process's display, without a window manager until one is started.
class HostProcessWindowTest : public Tests::XServerFixture {
protected:
    void StartManager() { m_manager.emplace(m_server); }

    std::optional<Tests::WindowManager> m_manager;
};

class HostProcessWindowDesktopTest : public HostProcessWindowTest, public ::testing::WithParamInterface<Manager> {
protected:
    HostProcessWindowDesktopTest() {
        if (IsManaged()) {
            StartManager();
        }
    }

    static bool IsManaged() { return GetParam() == Manager::Openbox; }
};

INSTANTIATE_TEST_SUITE_P(, HostProcessWindowDesktopTest, ::testing::Values(Manager::Nobody, Manager::Openbox),
                         [](const auto& information) {
                             return information.param == Manager::Nobody ? "WithoutAWindowManager" : "UnderOpenbox";
                         });

/// Three windows of two other programs, which don't overlap.
struct ThreeWindows {
    ThreeWindows() {
        for (const Program& program : programs) {
            handles.push_back(program.WaitForWindow(client));
        }
    }

    XClient client;
    std::deque<Program> programs = MakePrograms();
    std::vector<unsigned long> handles;

private:
    static std::deque<Program> MakePrograms() {
        std::deque<Program> result;
        result.emplace_back("xclock", "First clock", "200x150+100+50");
        result.emplace_back("xclock", "Second clock", "180x160+500+50");
        result.emplace_back("xterm", "Terminal", "40x10+100+400");
        return result;
    }
};

TEST_P(HostProcessWindowDesktopTest, WindowsOfOthersAreFoundByNameAndBelongToTheirProcess) {
    RunInChild([&] {
        const ThreeWindows windows;
        for (std::size_t index = 0; index < windows.programs.size(); ++index) {
            const Program& program = windows.programs[index];
            const ProcessWindow window(windows.handles[index]);
            EXPECT_EQ(window.handle, AskForWindow(program.GetTitle()));
            EXPECT_EQ(GetName(window.handle), program.GetTitle());
            EXPECT_EQ(window.GetProcessId(), program.GetId());
            EXPECT_EQ(ProcessWindow::Get(Process{program.GetId()}, window.handle).handle, window.handle);
            EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent(), window.handle).handle, 0U);
            EXPECT_THAT(Ask("xprop", {"-id", std::to_string(window.handle), "WM_NAME"}),
                        HasSubstr('"' + program.GetTitle() + '"'));
            EXPECT_TRUE(window.IsTopLevel());
            EXPECT_TRUE(window.IsVisible());
            EXPECT_THAT(FindWindows(program.GetId(), "Another"), IsEmpty());
        }
    });
}

TEST_P(HostProcessWindowDesktopTest, WindowsOfOthersAreMeasured) {
    RunInChild([&] {
        const ThreeWindows windows;
        for (const unsigned long handle : windows.handles) {
            EXPECT_EQ(ProcessWindow(handle).GetFrame(), AskForFrame(handle));
        }
        const Rectangle frame = ProcessWindow(windows.handles[0]).GetFrame();
        EXPECT_EQ(frame.right - frame.left, 200);
        EXPECT_EQ(frame.bottom - frame.top, 150);
        Ask("xdotool", {"windowmove", std::to_string(windows.handles[0]), "300", "250"});
        EXPECT_TRUE(
            windows.client.WaitUntil([&] { return ProcessWindow(windows.handles[0]).GetFrame().left > frame.left; }));
        EXPECT_EQ(ProcessWindow(windows.handles[0]).GetFrame(), AskForFrame(windows.handles[0]));
    });
}

TEST_P(HostProcessWindowDesktopTest, WindowsOfOthersAreFoundAtAPointOfTheirClientArea) {
    RunInChild([&] {
        const ThreeWindows windows;
        for (const unsigned long handle : windows.handles) {
            const Rectangle frame = AskForFrame(handle);
            const Math::Coordinate2 centre = GetCentre(frame);
            EXPECT_EQ(ProcessWindow::Get(centre.x, centre.y).handle, handle);
            EXPECT_EQ(ProcessWindow::Get(frame.left, frame.top).handle, handle);
            EXPECT_EQ(ProcessWindow::Get(frame.right - 1, frame.bottom - 1).handle, handle);
            EXPECT_EQ(ProcessWindow::Get(frame.left - 1, centre.y).handle, 0U);
            EXPECT_EQ(ProcessWindow::Get(centre.x, frame.top - 1).handle, 0U);
            EXPECT_EQ(ProcessWindow::Get(frame.right, centre.y).handle, 0U);
            EXPECT_EQ(ProcessWindow::Get(centre.x, frame.bottom).handle, 0U);
        }
        EXPECT_EQ(ProcessWindow::Get(1000, 700).handle, 0U);
        EXPECT_EQ(ProcessWindow::Get(-1, -1).handle, 0U);
        EXPECT_EQ(ProcessWindow::Get(5000, 5000).handle, 0U);
    });
}

// Its bounds contain the corners, its shape doesn't.
TEST_P(HostProcessWindowDesktopTest, AWindowWithAShapeIsFoundAnywhereInItsBounds) {
    RunInChild([&] {
        const XClient client;
        const Program eyes("xeyes", "Eyes", "150x100+300+300");
        const unsigned long handle = eyes.WaitForWindow(client);
        const Rectangle frame = ProcessWindow(handle).GetFrame();
        EXPECT_EQ(frame, AskForFrame(handle));
        EXPECT_EQ(ProcessWindow::Get(frame.left, frame.top).handle, handle);
        EXPECT_EQ(ProcessWindow::Get(GetCentre(frame).x, GetCentre(frame).y).handle, handle);
    });
}

/// The active window by xdotool; without a window manager the focused one.
unsigned long AskForActiveWindow(bool isManaged) {
    const std::string output = Ask("xdotool", {isManaged ? "getactivewindow" : "getwindowfocus"});
    return output.empty() ? 0 : std::stoul(output);
}

TEST_P(HostProcessWindowDesktopTest, WindowsOfOthersAreActivatedAndRaised) {
    RunInChild([&] {
        const XClient client;
        const Program first("xterm", "First", "40x20+100+100");
        const unsigned long firstHandle = first.WaitForWindow(client);
        const Program second("xterm", "Second", "40x20+150+150");
        const unsigned long secondHandle = second.WaitForWindow(client);
        const Program third("xterm", "Third", "40x20+200+200");
        const unsigned long thirdHandle = third.WaitForWindow(client);
        for (const auto& [program, handle] : {std::pair(&first, firstHandle), std::pair(&second, secondHandle),
                                              std::pair(&third, thirdHandle), std::pair(&first, firstHandle)}) {
            EXPECT_TRUE(ProcessWindow(handle).SetActive());
            EXPECT_TRUE(client.WaitUntil([handle] { return ProcessWindow::GetActive().handle == handle; }));
            EXPECT_EQ(AskForActiveWindow(IsManaged()), handle);
            EXPECT_TRUE(client.WaitUntil([handle] { return ProcessWindow::Get(250, 250).handle == handle; }));
            EXPECT_EQ(Process::GetActive().GetId(), program->GetId());
            EXPECT_EQ(ProcessWindow::Get(Process{program->GetId()}).handle, handle);
        }
        EXPECT_EQ(ProcessWindow::Get(Process{second.GetId()}).handle, secondHandle) << "In the background.";
        EXPECT_TRUE(Process{second.GetId()}.SetActive());
        EXPECT_TRUE(client.WaitUntil([secondHandle] { return ProcessWindow::GetActive().handle == secondHandle; }));
        EXPECT_FALSE(Process{1}.SetActive()) << "It has no window.";
    });
}

// A window that a person has hidden must not come back because of another one.
TEST_P(HostProcessWindowDesktopTest, AHiddenWindowStaysHiddenWhenItsProcessComesForwardByAnother) {
    RunInChild([&] {
        const XClient client;
        const ::Window older = client.MakeWindow({100, 100, 200, 200});
        const ::Window newer = client.MakeWindow({300, 300, 400, 400});
        const Program other("xterm", "Stranger", "20x10+500+500");
        const unsigned long stranger = other.WaitForWindow(client);
        Ask("xdotool", {IsManaged() ? "windowminimize" : "windowunmap", std::to_string(older)});
        EXPECT_TRUE(client.WaitUntil([older] { return !ProcessWindow(older).IsVisible(); }));
        const auto activate = [&client](unsigned long expected, const std::function<bool()>& work) {
            EXPECT_TRUE(work());
            EXPECT_TRUE(client.WaitUntil([expected] { return ProcessWindow::GetActive().handle == expected; }));
        };
        activate(stranger, [stranger] { return ProcessWindow(stranger).SetActive(); });
        activate(newer, [newer] { return ProcessWindow(newer).SetActive(); });
        activate(stranger, [stranger] { return ProcessWindow(stranger).SetActive(); });
        activate(newer, [] { return Desktop::WindowActivateAppPlatformNative(getpid()); });
        EXPECT_FALSE(ProcessWindow(older).IsVisible());
        EXPECT_FALSE(client.CanBeSeen(older));
    });
}

TEST_P(HostProcessWindowDesktopTest, AProcessComesForwardByItsFrontmostNormalWindow) {
    RunInChild([] {
        const XClient client;
        const ::Window back = client.MakeWindow({100, 100, 200, 200});
        const ::Window front = client.MakeWindow({150, 150, 250, 250});
        const ::Window note = client.MakeWindow({300, 300, 400, 400}, {.types = {"NOTIFICATION"}});
        EXPECT_TRUE(client.WaitUntil([] { return FindWindows(GetOwnId()).size() == 3; }));
        client.SetFocus(back);
        EXPECT_TRUE(client.WaitUntil([back] { return ProcessWindow::GetActive().handle == back; }));
        EXPECT_TRUE(Desktop::WindowActivateAppPlatformNative(getpid()));
        EXPECT_TRUE(client.WaitUntil([front] { return ProcessWindow::GetActive().handle == front; }));
        EXPECT_TRUE(ProcessWindow(note).IsVisible());
    });
}

// xclock takes no keyboard input.
TEST_P(HostProcessWindowDesktopTest, AWindowThatTakesNoFocusIsRaised) {
    RunInChild([&] {
        const XClient client;
        const Program clock("xclock", "Clock", "300x300+100+100");
        const unsigned long handle = clock.WaitForWindow(client);
        const Program terminal("xterm", "Terminal", "40x20+150+150");
        const unsigned long terminalHandle = terminal.WaitForWindow(client);
        EXPECT_TRUE(
            client.WaitUntil([terminalHandle] { return ProcessWindow::Get(250, 250).handle == terminalHandle; }));
        EXPECT_TRUE(ProcessWindow(handle).SetActive());
        EXPECT_TRUE(client.WaitUntil([handle] { return ProcessWindow::Get(250, 250).handle == handle; }));
    });
}

TEST_P(HostProcessWindowDesktopTest, AWindowThatIsClosedUnderTheCallersFeetGivesNeutralResults) {
    RunInChild([&] {
        const ThreeWindows windows;
        const ProcessWindow window(windows.handles[1]);
        const Math::Coordinate2 centre = GetCentre(window.GetFrame());
        windows.programs[1].Kill();
        EXPECT_TRUE(windows.client.WaitUntil([&] { return FindWindows(windows.programs[1].GetId()).empty(); }));
        ExpectNeutralResults(window.handle);
        EXPECT_NE(ProcessWindow::Get(centre.x, centre.y).handle, window.handle);
        EXPECT_EQ(ProcessWindow::Get(Process{windows.programs[1].GetId()}).handle, 0U);
        EXPECT_EQ(GetName(windows.handles[0]), "First clock") << "The others are there.";
    });
}

TEST_P(HostProcessWindowDesktopTest, ANumberThatIsNotOnTheListGivesNeutralResults) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        const ::Window part = client.MakePart(window);
        client.SetText(part, XA_WM_NAME, XA_STRING, "Part");
        ExpectNeutralResults(part);
        if (IsManaged()) {
            ExpectNeutralResults(client.MakeWindow({0, 0, 9, 9}, {.title = "Panel", .isOverrideRedirect = true}));
        }
    });
}

TEST_P(HostProcessWindowDesktopTest, AnApplicationHasTheWindowsOfItsProcessUpToACount) {
    RunInChild([] {
        const XClient client;
        const Program clock("xclock", "Clock", "200x150+100+50");
        clock.WaitForWindow(client);
        client.MakeWindow({300, 300, 500, 450});
        client.MakeWindow({500, 500, 600, 600});
        EXPECT_TRUE(client.WaitUntil([] { return FindWindows(GetOwnId()).size() == 2; }));
        const HeldAccessibilityElement application = CreateApplicationElement(getpid());
        EXPECT_EQ(CopyWindows(*application, 1000).value().size(), 2U);
        EXPECT_EQ(CopyWindows(*application, 1).value().size(), 1U);
        EXPECT_EQ(CreateApplicationElement(0), nullptr);
        EXPECT_EQ(CreateApplicationElement(-1), nullptr);
    });
}

TEST_P(HostProcessWindowDesktopTest, AWindowThatIsGoneCanNotBeRaised) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        const HeldAccessibilityElement application = CreateApplicationElement(getpid());
        const auto windows = CopyWindows(*application, 1).value();
        EXPECT_EQ(RaiseWindow(*windows.front()), 0);
        client.Destroy(window);
        EXPECT_NE(RaiseWindow(*windows.front()), 0);
    });
}

// Like a window that is destroyed between two requests about it.
TEST_P(HostProcessWindowDesktopTest, AWindowThatIsGoneBeforeItIsMeasuredHasNoPlaceAndNoSize) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        X11::Connection& x11 = *X11::GetConnection();
        static const auto s_getReply = x11.xcb_get_geometry_reply;
        x11.xcb_get_geometry_reply = +[](xcb_connection_t* xcb, xcb_get_geometry_cookie_t cookie,
                                         xcb_generic_error_t** error) -> xcb_get_geometry_reply_t* {
            std::free(s_getReply(xcb, cookie, error));
            return nullptr;
        };
        const HeldAccessibilityElement application = CreateApplicationElement(getpid());
        const auto windows = CopyWindows(*application, 1).value();
        double x = 7;
        double y = 8;
        EXPECT_EQ(CopyWindowPosition(*windows.front(), x, y), -25200);
        EXPECT_EQ(CopyWindowSize(*windows.front(), x, y), -25200);
        EXPECT_EQ(x, 7);
        EXPECT_EQ(y, 8);
    });
}

/// Calls every operation, with any result.
void TryEverything(unsigned long handle) {
    const ProcessWindow window(handle);
    std::string name;
    ProcessWindow::GetActive();
    ProcessWindow::Get(150, 150);
    ProcessWindow::Get(Process::GetCurrent());
    ProcessWindow::Get(Process::GetCurrent(), handle);
    FindWindows(GetOwnId(), "Restless");
    window.GetName(name);
    window.GetFrame();
    window.GetRootWindow();
    window.GetProcessId();
    window.IsTopLevel();
    window.IsVisible();
    window.SetActive();
    Process::GetActive();
    Process::GetCurrent().SetActive();
}

// Windows may be created and destroyed between the list and requests about them; no errors are printed.
TEST_P(HostProcessWindowDesktopTest, WindowsMayComeAndGoDuringEveryOperationOfSeveralThreads) {
    RunInChild([] {
        std::atomic<bool> isOver = false;
        std::thread restless([&isOver] {
            const XClient client;
            while (!isOver) {
                client.Destroy(client.MakeWindow({100, 100, 300, 300}, {.title = "Restless"}));
            }
        });
        const auto search = [] {
            constexpr int enough = 100;
            for (int found = 0; found < enough;) {
                for (const unsigned long handle : FindWindows(GetOwnId())) {
                    TryEverything(handle);
                    ++found;
                }
                const HeldAccessibilityElement application = CreateApplicationElement(getpid());
                const auto windows = CopyWindows(*application, 1000);
                for (const HeldAccessibilityElement& window : windows.value()) {
                    SetFocusedWindow(*application, *window);
                    RaiseWindow(*window);
                }
            }
        };
        std::thread other(search);
        search();
        other.join();
        isOver = true;
        restless.join();
    });
}

TEST_P(HostProcessWindowDesktopTest, LayersTellNormalWindowsFromTheOthers) {
    RunInChild([&] {
        const XClient client;
        const Rectangle frame = {300, 300, 500, 450};
        const auto expectNormal = [&](const XWindowStyle& style, bool isNormal) {
            const ::Window window = client.MakeWindow(frame, style);
            EXPECT_TRUE(client.WaitUntil([&] {
                return style.isOverrideRedirect ||
                       ::testing::Value(FindWindows(GetOwnId()), ::testing::Contains(window));
            }));
            const Rectangle now = AskForFrame(window);
            const Math::Coordinate2 centre = GetCentre(now);
            EXPECT_EQ(ProcessWindow::Get(centre.x, centre.y).handle, isNormal ? window : 0U)
                << ::testing::PrintToString(style.types);
            client.Destroy(window);
            EXPECT_TRUE(client.WaitUntil([] { return FindWindows(GetOwnId()).empty(); }));
        };
        expectNormal({}, true);
        for (const char* const type : {"NORMAL", "DIALOG", "UTILITY", "TOOLBAR", "MENU", "SPLASH"}) {
            expectNormal({.types = {type}}, true);
        }
        for (const char* const type :
             {"DOCK", "DESKTOP", "NOTIFICATION", "DROPDOWN_MENU", "POPUP_MENU", "TOOLTIP", "COMBO", "DND"}) {
            expectNormal({.types = {type}}, false);
        }
        expectNormal({.types = {"OF_ANOTHER_WORLD", "DIALOG", "DOCK"}}, true);
        expectNormal({.types = {"OF_ANOTHER_WORLD", "NOTIFICATION", "NORMAL"}}, false);
        expectNormal({.isOverrideRedirect = true}, false);
        expectNormal({.isInputOnly = true}, false);
        expectNormal({.types = {"NORMAL"}, .isOverrideRedirect = true}, false);
    });
}

TEST_P(HostProcessWindowDesktopTest, AnOverlayHidesNothingBelowIt) {
    RunInChild([] {
        const XClient client;
        const ::Window below = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([below] { return ProcessWindow(below).IsVisible(); }));
        const Math::Coordinate2 centre = GetCentre(ProcessWindow(below).GetFrame());
        client.MakeWindow({0, 0, 1024, 768}, {.isOverrideRedirect = true});
        client.MakeWindow({0, 0, 1024, 768}, {.isOverrideRedirect = true, .isInputOnly = true});
        EXPECT_EQ(ProcessWindow::Get(centre.x, centre.y).handle, below);
        EXPECT_EQ(ProcessWindow::Get(1, 1).handle, 0U);
    });
}

TEST_P(HostProcessWindowDesktopTest, TheRootWindowIsTheFrontmostNormalOneOfTheProcess) {
    RunInChild([] {
        const XClient client;
        const ::Window back = client.MakeWindow({100, 100, 200, 200});
        const ::Window front = client.MakeWindow({300, 300, 400, 400});
        const ::Window note = client.MakeWindow({500, 500, 600, 600}, {.types = {"NOTIFICATION"}});
        EXPECT_TRUE(client.WaitUntil([] { return FindWindows(GetOwnId()).size() == 3; }));
        EXPECT_TRUE(client.WaitUntil([front] { return ProcessWindow(front).IsTopLevel(); }));
        for (const ::Window window : {back, front, note}) {
            EXPECT_EQ(ProcessWindow(window).GetRootWindow().handle, front);
            EXPECT_EQ(ProcessWindow(window).IsTopLevel(), window == front);
        }
        EXPECT_TRUE(ProcessWindow(client.GetRoot()).IsTopLevel()) << "The list doesn't know it.";
    });
}

TEST_P(HostProcessWindowDesktopTest, NamesAreUtf8WhateverTheyAreWrittenIn) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        const Atom name = client.GetAtom("_NET_WM_NAME");
        const Atom utf8 = client.GetAtom("UTF8_STRING");
        EXPECT_EQ(GetName(window), "before") << "It has no title at all.";
        client.SetText(window, XA_WM_NAME, XA_STRING,
                       "Gr\xFC\xDF"
                       "e \xA9");
        EXPECT_EQ(GetName(window), "Grüße ©");
        client.SetText(window, XA_WM_NAME, utf8, "Ελληνικά");
        EXPECT_EQ(GetName(window), "Ελληνικά");
        client.SetText(window, XA_WM_NAME, client.GetAtom("COMPOUND_TEXT"),
                       "\x1B-F\xC5\xEB\xEB, \x1B$(B\x46\x7C\x4B\x5C");
        EXPECT_EQ(GetName(window), "Ελλ, 日本");
        client.SetText(window, XA_WM_NAME, client.GetAtom("OF_ANOTHER_WORLD"), "x");
        EXPECT_EQ(GetName(window), "before") << "An encoding that nobody knows.";
        client.SetNumbers(window, "WM_NAME", XA_CARDINAL, {1, 2, 3});
        EXPECT_EQ(GetName(window), "before") << "No text.";
        client.SetText(window, XA_WM_NAME, XA_STRING, "old");
        client.SetText(window, name, utf8, "Ünïcödé ✓");
        EXPECT_EQ(GetName(window), "Ünïcödé ✓");
        EXPECT_EQ(FindWindow(GetOwnId(), "Ünïcödé ✓"), window);
        client.SetText(window, name, XA_STRING, "of a wrong type");
        EXPECT_EQ(GetName(window), "old");
        client.SetProperty<short>(window, name, utf8, 16, std::array<short, 3>{'n', 'e', 'w'});
        EXPECT_EQ(GetName(window), "old") << "No text.";
        client.SetProperty<long>(window, name, utf8, 32, std::array<long, 3>{'n', 'e', 'w'});
        EXPECT_EQ(GetName(window), "old") << "No text.";
        client.SetText(window, name, utf8, std::string("first\0second", 12));
        EXPECT_EQ(GetName(window), "first");
        client.SetText(window, name, utf8, std::string(255, 'x'));
        EXPECT_EQ(GetName(window), std::string(255, 'x'));
        for (const std::size_t size : {256U, 100000U}) {
            client.SetText(window, name, utf8, std::string(size, 'x'));
            EXPECT_EQ(GetName(window), "before");
        }
    });
}

TEST_P(HostProcessWindowDesktopTest, ATitleThatIsNoUtf8CountsAsNone) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450}, {.title = "old"});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        const Atom name = client.GetAtom("_NET_WM_NAME");
        const Atom utf8 = client.GetAtom("UTF8_STRING");
        for (const std::string_view text : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                                            "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
            client.SetText(window, name, utf8, text);
            EXPECT_EQ(GetName(window), text);
        }
        for (const std::string_view text : {"\x80",
                                            "\xBF",
                                            "\xC0\x80",
                                            "\xC1\xBF",
                                            "\xC3",
                                            "\xC3x",
                                            "\xC3\xC0",
                                            "\xDF\x7F",
                                            "\xE0\x9F\xBF",
                                            "\xE1\x80",
                                            "\xE1\x80x",
                                            "\xE1\x80\xC0",
                                            "\xED\xA0\x80",
                                            "\xF0\x8F\xBF\xBF",
                                            "\xF1\x80\x80",
                                            "\xF1\x80\x80\xC0",
                                            "\xF4\x90\x80\x80",
                                            "\xF5\x80\x80\x80",
                                            "\xFF",
                                            "x\xFFx"}) {
            client.SetText(window, name, utf8, text);
            EXPECT_EQ(GetName(window), "old") << ::testing::PrintToString(text);
        }
        client.SetText(window, name, utf8, std::string("first\0\xFF", 7));
        EXPECT_EQ(GetName(window), "first") << "Nothing counts behind its end.";
        client.SetText(window, name, utf8, "\x1B%Gx");
        EXPECT_EQ(GetName(window), "\x1B%Gx") << "No escape sequence: those are of compound text.";
        XDeleteProperty(client.GetDisplay(), window, name);
        client.SetText(window, XA_WM_NAME, utf8, "\xFF");
        EXPECT_EQ(GetName(window), "before");
        const Atom compound = client.GetAtom("COMPOUND_TEXT");
        client.SetText(window, XA_WM_NAME, compound, "\x1B%Gx\xC3\xBC");
        EXPECT_EQ(GetName(window), "xü");
        client.SetText(window, XA_WM_NAME, compound, "\x1B%Gx\xED\xA2\x80");
        EXPECT_EQ(GetName(window), "before") << "A surrogate.";
    });
}

TEST_P(HostProcessWindowDesktopTest, ATitleThatIsCutInAnEscapeSequenceCountsAsNone) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        const Atom compound = client.GetAtom("COMPOUND_TEXT");
        for (const std::string_view end : {"\x1B", "\x1B-", "\x1B$", "\x1B$(", "\x1B%", "\x1B%/1\x80"}) {
            client.SetText(window, XA_WM_NAME, compound, "abc" + std::string(end));
            EXPECT_EQ(GetName(window), "before") << ::testing::PrintToString(end);
        }
        client.SetText(window, XA_WM_NAME, compound, "abc\x1B$(B\x46");
        EXPECT_EQ(GetName(window), "abc") << "Half a character is left out.";
    });
}

// Escape sequences take room, so a short title may need all of it.
TEST_P(HostProcessWindowDesktopTest, ATitleIsReadUpTo1024Bytes) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        const Atom compound = client.GetAtom("COMPOUND_TEXT");
        std::string text;
        std::string title;
        while (text.size() < 1024) {
            text += "\x1B-A\x1B-F\x1B-A\x1B-Fxxx\x1B-A\x1B-F\x1B-A\x1B-F\x1B-Axx";
            title += "xxxxx";
        }
        EXPECT_EQ(text.size(), 1024U);
        client.SetText(window, XA_WM_NAME, compound, text);
        EXPECT_EQ(GetName(window), title);
        client.SetText(window, XA_WM_NAME, compound, text + 'x');
        EXPECT_EQ(GetName(window), "before") << "It must not be shown cut.";
        client.SetText(window, XA_WM_NAME, XA_STRING, "old");
        client.SetText(window, client.GetAtom("_NET_WM_NAME"), client.GetAtom("UTF8_STRING"),
                       std::string(1023, 'x') + "é");
        EXPECT_EQ(GetName(window), "before") << "Too long, even if what was read ends within a character.";
    });
}

TEST_P(HostProcessWindowDesktopTest, AWindowWithAnEmptyTitleGoesByItsProcess) {
    RunInChild([] {
        const XClient client;
        const Program clock("xclock", "Clock", "200x150+100+50");
        const unsigned long handle = clock.WaitForWindow(client);
        std::string processName;
        Process{clock.GetId()}.GetName(processName);
        EXPECT_EQ(processName, "xclock");
        client.SetText(handle, XA_WM_NAME, XA_STRING, "");
        EXPECT_EQ(GetName(handle), processName);
        for (const std::string_view empty : {std::string_view(), std::string_view("\0behind", 7)}) {
            client.SetText(handle, client.GetAtom("_NET_WM_NAME"), client.GetAtom("UTF8_STRING"), empty);
            EXPECT_EQ(GetName(handle), processName);
        }
        EXPECT_EQ(FindWindow(clock.GetId(), processName), handle);
    });
}

/// More than the length of any real property.
constexpr std::size_t aMillion = 1'000'000;

TEST_P(HostProcessWindowDesktopTest, OwnerIsTheProcessThatMadeAWindowWhateverItNames) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        EXPECT_EQ(ProcessWindow(window).GetProcessId(), GetOwnId());
        const pid_t stranger = getppid(); // It is no client of the server.
        client.SetOwner(window, {.processes = {stranger}, .machine = GetHostName()});
        EXPECT_EQ(ProcessWindow(window).GetProcessId(), GetOwnId());
        EXPECT_THAT(FindWindows(static_cast<std::uint64_t>(stranger)), IsEmpty());
    });
}

TEST_P(HostProcessWindowDesktopTest, AllOfManyWindowsAreVisitedFrontToBack) {
    RunInChild([] {
        const XClient client;
        std::vector<unsigned long> windows;
        for (int index = 0; index < 100; ++index) {
            windows.push_back(
                client.MakeWindow({index * 5, index * 5, index * 5 + 100, index * 5 + 100}, {.title = "Many"}));
        }
        std::ranges::reverse(windows);
        EXPECT_TRUE(client.WaitUntil([&windows] { return FindWindows(GetOwnId()) == windows; }));
        EXPECT_EQ(FindWindows(GetOwnId(), "Many"), windows);
        const Rectangle last = ProcessWindow(windows.back()).GetFrame();
        EXPECT_EQ(ProcessWindow::Get(last.left, last.top).handle, windows.back()) << "Behind 99 others.";
    });
}

TEST_P(HostProcessWindowDesktopTest, AHiddenWindowIsVisitedButNotSeen) {
    RunInChild([] {
        const XClient client;
        const Program terminal("xterm", "Terminal", "40x20+100+100");
        const unsigned long handle = terminal.WaitForWindow(client);
        const Math::Coordinate2 centre = GetCentre(ProcessWindow(handle).GetFrame());
        client.Watch(handle);
        Ask("xdotool", {IsManaged() ? "windowminimize" : "windowunmap", std::to_string(handle)});
        EXPECT_TRUE(client.WaitUntil([handle] { return !ProcessWindow(handle).IsVisible(); }));
        EXPECT_TRUE(client.WaitUntil([&client, handle] { return !client.CanBeSeen(handle); }));
        EXPECT_EQ(ProcessWindow::Get(centre.x, centre.y).handle, 0U);
        EXPECT_EQ(FindWindow(terminal.GetId(), "Terminal"), handle);
        EXPECT_EQ(ProcessWindow::Get(Process{terminal.GetId()}).handle, 0U);
        if (IsManaged()) {
            EXPECT_TRUE(ProcessWindow(handle).SetActive());
            EXPECT_TRUE(client.WaitUntil([handle] { return ProcessWindow::GetActive().handle == handle; }));
            EXPECT_TRUE(ProcessWindow(handle).IsVisible());
        }
    });
}

TEST_P(HostProcessWindowDesktopTest, AWindowThatSaysItIsHiddenIsNotOnTheScreen) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450}, {.isOverrideRedirect = !IsManaged()});
        EXPECT_TRUE(client.WaitUntil([window] { return ProcessWindow(window).IsVisible(); }));
        client.SetNumbers(window, "_NET_WM_STATE", XA_ATOM,
                          {static_cast<long>(client.GetAtom("_NET_WM_STATE_HIDDEN"))});
        EXPECT_FALSE(ProcessWindow(window).IsVisible());
        client.SetNumbers(window, "_NET_WM_STATE", XA_ATOM, {static_cast<long>(client.GetAtom("_NET_WM_STATE_ABOVE"))});
        EXPECT_TRUE(ProcessWindow(window).IsVisible());
    });
}

TEST_P(HostProcessWindowDesktopTest, NothingIsActiveWithoutFocus) {
    RunInChild([] {
        const XClient client;
        EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
        EXPECT_EQ(Process::GetActive().GetId(), 0U);
        EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent()).handle, 0U);
    });
}

TEST_F(HostProcessWindowTest, WithoutAManagerTheFocusOfAPartOfAWindowIsTheWindows) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        const ::Window grandchild = client.MakePart(client.MakePart(window));
        client.SetFocus(grandchild);
        EXPECT_EQ(client.GetFocus(), grandchild);
        EXPECT_EQ(ProcessWindow::GetActive().handle, window);
        for (const ::Window none : {::Window{None}, ::Window{PointerRoot}, client.GetRoot()}) {
            client.SetFocus(none);
            EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
        }
    });
}

// X11 has no focus for a process in the background.
TEST_F(HostProcessWindowTest, WithoutAManagerTheFocusedWindowOfABackgroundProcessIsItsFrontmostNormalOneOnTheScreen) {
    RunInChild([] {
        const XClient client;
        const Program other("xterm", "Stranger", "20x10+500+500");
        const unsigned long stranger = other.WaitForWindow(client);
        const ::Window back = client.MakeWindow({100, 100, 200, 200});
        const ::Window front = client.MakeWindow({300, 300, 400, 400});
        client.MakeWindow({500, 300, 600, 400}, {.types = {"NOTIFICATION"}});
        client.MakeWindow({600, 100, 700, 200}, {.isMapped = false});
        client.SetFocus(back);
        EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent()).handle, back) << "In the foreground the one that has it.";
        client.SetFocus(stranger);
        EXPECT_EQ(ProcessWindow::GetActive().handle, stranger);
        EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent()).handle, front);
    });
}

TEST_F(HostProcessWindowTest, WithoutAManagerAWindowThatCanNotBeSeenIsRaisedWithoutFocus) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450}, {.isMapped = false});
        EXPECT_TRUE(ProcessWindow(window).SetActive());
        EXPECT_NE(client.GetFocus(), window);
        EXPECT_FALSE(Desktop::WindowActivateAppPlatformNative(getpid())) << "It can't have the focus.";
    });
}

TEST_F(HostProcessWindowTest, WithoutAManagerAProcessComesForwardByAnUnusualWindowRatherThanAHiddenOne) {
    RunInChild([] {
        const XClient client;
        const ::Window unusual = client.MakeWindow({100, 100, 200, 200}, {.types = {"NOTIFICATION"}});
        client.MakeWindow({300, 300, 500, 450}, {.isMapped = false});
        EXPECT_TRUE(Desktop::WindowActivateAppPlatformNative(getpid()));
        EXPECT_EQ(client.GetFocus(), unusual);
    });
}

// Like a window that is destroyed before it is asked about.
TEST_F(HostProcessWindowTest, AProcessComesForwardByAnUnusualWindowRatherThanByOneOfUnknownState) {
    RunInChild([] {
        const XClient client;
        const ::Window unusual = client.MakeWindow({100, 100, 200, 200}, {.types = {"NOTIFICATION"}});
        client.MakeWindow({300, 300, 500, 450});
        X11::Connection& x11 = *X11::GetConnection();
        static const auto s_getReply = x11.xcb_get_window_attributes_reply;
        x11.xcb_get_window_attributes_reply = +[](xcb_connection_t* xcb, xcb_get_window_attributes_cookie_t cookie,
                                                  xcb_generic_error_t** error) -> xcb_get_window_attributes_reply_t* {
            // The first is the frontmost one's.
            static bool s_isLater = false;
            xcb_get_window_attributes_reply_t* const reply = s_getReply(xcb, cookie, error);
            if (!std::exchange(s_isLater, true)) {
                std::free(reply);
                return nullptr;
            }
            return reply;
        };
        EXPECT_TRUE(Desktop::WindowActivateAppPlatformNative(getpid()));
        EXPECT_EQ(client.GetFocus(), unusual);
    });
}

TEST_F(HostProcessWindowTest, WindowsBehindTheFirstOnesAreNotAskedAboutOnceANormalOneIsFound) {
    RunInChild([] {
        const XClient client;
        for (int count = 0; count < 9; ++count) {
            client.MakeWindow({100, 100, 200, 200});
        }
        X11::Connection& x11 = *X11::GetConnection();
        static const auto s_ask = x11.xcb_get_window_attributes;
        static int s_count = 0;
        x11.xcb_get_window_attributes = +[](xcb_connection_t* xcb, xcb_window_t window) {
            ++s_count;
            return s_ask(xcb, window);
        };
        EXPECT_TRUE(Desktop::WindowActivateAppPlatformNative(getpid()));
        EXPECT_EQ(s_count, 8);
    });
}

/// Makes a window in a process that ends, and whose child keeps the connection. Returns the process's id.
pid_t LeaveWindow() {
    Tests::Child owner([] {
        const XClient client;
        client.MakeWindow({100, 100, 200, 200});
        if (fork() == 0) {
            // It keeps nothing else, since others wait for the end of what this process inherited.
            dup2(ConnectionNumber(client.GetDisplay()), STDIN_FILENO);
            close_range(STDOUT_FILENO, ~0U, 0);
            pollfd end = {.fd = STDIN_FILENO, .events = 0, .revents = 0};
            poll(&end, 1, -1); // Until the server ends.
        }
        _exit(0);
        return 0;
    });
    const pid_t id = owner.GetId();
    EXPECT_EQ(owner.Wait(), 0);
    return id;
}

TEST_P(HostProcessWindowDesktopTest, AProcessThatHasEndedDoesNotComeForwardByAWindowThatItLeft) {
    RunInChild([] {
        const pid_t id = LeaveWindow();
        const XClient client;
        EXPECT_TRUE(client.WaitUntil([id] { return FindWindows(static_cast<std::uint64_t>(id)).size() == 1; }));
        EXPECT_FALSE(Desktop::WindowActivateAppPlatformNative(id));
    });
}

TEST_F(HostProcessWindowTest, AConnectionThatIsLostWithTheWindowFoundBringsNothingForward) {
    RunInChild(
        [] {
            const XClient client;
            client.MakeWindow({100, 100, 200, 200});
            X11::GetConnection()->xcb_connection_has_error = +[](xcb_connection_t*) { return XCB_CONN_ERROR; };
            EXPECT_FALSE(Desktop::WindowActivateAppPlatformNative(getpid()));
        },
        ::testing::StrEq(lossReport));
}

TEST_F(HostProcessWindowTest, AWindowManagersListOutlivesItInVain) {
    StartManager();
    RunInChild([this] {
        const XClient client;
        const Program clock("xclock", "Clock", "200x150+100+50");
        const unsigned long handle = clock.WaitForWindow(client);
        const ::Window first = client.MakeWindow({500, 100, 600, 200});
        EXPECT_TRUE(client.WaitUntil([first] { return ProcessWindow(first).IsVisible(); }));
        m_manager->Signal(SIGKILL);
        EXPECT_TRUE(client.WaitUntil([&client, handle] { return client.IsChildOfRoot(handle); }));
        EXPECT_EQ(ProcessWindow::Get(150, 150).handle, handle);
        EXPECT_THAT(Ask("xprop", {"-root", "_NET_CLIENT_LIST_STACKING"}), HasSubstr("window id"));
        const ::Window later = client.MakeWindow({300, 300, 500, 450});
        EXPECT_EQ(ProcessWindow::Get(350, 350).handle, later);
        EXPECT_TRUE(ProcessWindow(handle).SetActive());
        EXPECT_EQ(client.GetFocus(), handle);
    });
}

/// The bytes of a 32-bit number in memory.
std::string GetBytes(long number) {
    const auto bytes = std::bit_cast<std::array<char, sizeof(std::uint32_t)>>(static_cast<std::uint32_t>(number));
    return {bytes.begin(), bytes.end()};
}

TEST_F(HostProcessWindowTest, MalformedPropertiesAreNoTypes) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        const auto isNormal = [window] {
            const Math::Coordinate2 centre = GetCentre(ProcessWindow(window).GetFrame());
            return ProcessWindow::Get(centre.x, centre.y).handle == window;
        };
        const std::string property = "_NET_WM_WINDOW_TYPE";
        const auto dock = static_cast<long>(client.GetAtom("_NET_WM_WINDOW_TYPE_DOCK"));
        client.SetNumbers(window, property, XA_ATOM, {dock});
        EXPECT_FALSE(isNormal());
        client.SetNumbers(window, property, XA_CARDINAL, {dock});
        EXPECT_TRUE(isNormal()) << "Of a wrong type.";
        client.SetText(window, client.GetAtom(property), XA_ATOM, GetBytes(dock));
        EXPECT_TRUE(isNormal()) << "Bytes.";
        client.SetNumbers(window, property, XA_ATOM, {});
        EXPECT_TRUE(isNormal()) << "An empty list.";
        client.SetNumbers(window, property, XA_ATOM, std::vector<long>(aMillion, dock));
        EXPECT_FALSE(isNormal());
        client.SetNumbers(window, property, XA_ATOM, std::vector<long>(aMillion, XA_ATOM));
        EXPECT_TRUE(isNormal()) << "None of them is a type.";
    });
}

TEST_F(HostProcessWindowTest, MalformedPropertiesAreNoStates) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        const std::string property = "_NET_WM_STATE";
        const auto hidden = static_cast<long>(client.GetAtom("_NET_WM_STATE_HIDDEN"));
        client.SetNumbers(window, property, XA_ATOM, std::vector<long>(aMillion, hidden));
        EXPECT_FALSE(ProcessWindow(window).IsVisible());
        client.SetNumbers(window, property, XA_ATOM, std::vector<long>(aMillion, XA_ATOM));
        EXPECT_TRUE(ProcessWindow(window).IsVisible()) << "None of them is a state.";
        client.SetNumbers(window, property, XA_CARDINAL, {hidden});
        EXPECT_TRUE(ProcessWindow(window).IsVisible()) << "Of a wrong type.";
        client.SetText(window, client.GetAtom(property), XA_ATOM, GetBytes(hidden));
        EXPECT_TRUE(ProcessWindow(window).IsVisible()) << "Bytes.";
    });
}

TEST_F(HostProcessWindowTest, MalformedPropertiesAreNoList) {
    RunInChild([] {
        const XClient client;
        const ::Window unlisted = client.MakeWindow({0, 0, 10, 10});
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        client.AnnounceManager();
        const auto number = static_cast<long>(window);
        const std::string property = "_NET_CLIENT_LIST_STACKING";
        const auto expectTheRootsChildren = [unlisted] {
            EXPECT_THAT(FindWindows(GetOwnId()), ::testing::Contains(unlisted));
        };
        expectTheRootsChildren();
        client.SetNumbers(client.GetRoot(), property, XA_WINDOW, {number});
        EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(window));
        client.AnnounceManager(); // Another window manager takes over.
        EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(window));
        client.SetNumbers(client.GetRoot(), property, XA_CARDINAL, {number});
        expectTheRootsChildren();
        client.SetText(client.GetRoot(), client.GetAtom(property), XA_WINDOW, GetBytes(number));
        expectTheRootsChildren();
    });
}

TEST_F(HostProcessWindowTest, AListMayContainWhatIsNoWindowOfAProgram) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        client.AnnounceManager();
        const Math::Coordinate2 centre = GetCentre(ProcessWindow(window).GetFrame());
        const ::Window dead = client.MakeWindow({0, 0, 10, 10}, {.isOverrideRedirect = true});
        client.Destroy(dead);
        const std::array<::Window, 4> others = {None, client.GetRoot(), dead, 0xFFFFFFFF};
        std::vector<::Window> list = {window};
        list.insert(list.end(), others.begin(), others.end());
        client.ListWindows(list);
        std::vector<unsigned long> numbers;
        WalkWindowList({.fields = WindowListField::Number}, [&numbers](const WindowListEntry& entry) {
            numbers.push_back(entry.number.value_or(0));
            return VisitorAction::Continue;
        });
        EXPECT_THAT(numbers, ElementsAre(0xFFFFFFFF, dead, window));
        EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(window));
        EXPECT_EQ(ProcessWindow::Get(centre.x, centre.y).handle, window);
        EXPECT_TRUE(ProcessWindow(window).IsTopLevel());
        EXPECT_TRUE(Desktop::WindowActivateAppPlatformNative(getpid()));
        for (const ::Window other : others) {
            ExpectNeutralResults(other);
        }
    });
}

TEST_F(HostProcessWindowTest, TheActiveWindowMayBeNoWindowOfAProgram) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        client.AnnounceManager();
        client.ListWindows({window});
        const ::Window dead = client.MakeWindow({0, 0, 10, 10}, {.isOverrideRedirect = true});
        client.Destroy(dead);
        for (const ::Window active : {::Window{None}, client.GetRoot(), dead}) {
            client.SetNumbers(client.GetRoot(), "_NET_ACTIVE_WINDOW", XA_WINDOW, {static_cast<long>(active)});
            EXPECT_EQ(GetFrontProcessId(), 0) << active;
            EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
            EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent()).handle, window) << "As one in the background.";
        }
    });
}

// Window managers hide a window by unmapping its frame.
TEST_F(HostProcessWindowTest, AWindowWithinAHiddenOneIsNotOnTheScreen) {
    RunInChild([] {
        const XClient client;
        const ::Window frame = client.MakeWindow({300, 300, 500, 450}, {.isMapped = false});
        const ::Window window = client.MakePart(frame);
        client.AnnounceManager();
        client.ListWindows({window});
        EXPECT_FALSE(ProcessWindow(window).IsVisible());
        XMapWindow(client.GetDisplay(), frame);
        XSync(client.GetDisplay(), False);
        EXPECT_TRUE(ProcessWindow(window).IsVisible());
    });
}

TEST_F(HostProcessWindowTest, AWindowManagerIsToldThatThePersonWantsAWindow) {
    RunInChild([] {
        const XClient client;
        const ::Window back = client.MakeWindow({100, 100, 200, 200});
        const ::Window front = client.MakeWindow({300, 300, 400, 400});
        client.AnnounceManager();
        client.ListWindows({back, front});
        const auto expectMessage = [&client](const std::string& type, ::Window window) {
            const XClientMessageEvent message = client.WaitForMessage();
            EXPECT_EQ(message.message_type, client.GetAtom(type));
            EXPECT_EQ(message.window, window);
            EXPECT_EQ(message.format, 32);
            constexpr long fromPager = 2;
            constexpr long none = 0; // No timestamp, no sibling, detail Above.
            EXPECT_THAT(message.data.l, ElementsAre(fromPager, none, none, none, none)) << type;
        };
        EXPECT_TRUE(ProcessWindow(back).SetActive());
        expectMessage("_NET_ACTIVE_WINDOW", front);
        expectMessage("_NET_ACTIVE_WINDOW", back);
        expectMessage("_NET_RESTACK_WINDOW", back);
    });
}

class HostProcessWindowUnderOpenboxTest : public HostProcessWindowTest {
protected:
    HostProcessWindowUnderOpenboxTest() { StartManager(); }
};

TEST_F(HostProcessWindowUnderOpenboxTest, AProcessOfHiddenWindowsComesForwardByTheFrontmost) {
    RunInChild([] {
        const XClient client;
        const std::array windows = {client.MakeWindow({100, 100, 200, 200}), client.MakeWindow({300, 300, 400, 400})};
        for (const ::Window window : windows) {
            Ask("xdotool", {"windowminimize", std::to_string(window)});
            EXPECT_TRUE(client.WaitUntil([window] { return !ProcessWindow(window).IsVisible(); }));
        }
        const std::vector<unsigned long> frontToBack = FindWindows(GetOwnId());
        EXPECT_EQ(frontToBack.size(), 2U);
        EXPECT_TRUE(Desktop::WindowActivateAppPlatformNative(getpid()));
        EXPECT_TRUE(client.WaitUntil([&] { return ProcessWindow::GetActive().handle == frontToBack.front(); }));
        EXPECT_FALSE(ProcessWindow(frontToBack.back()).IsVisible());
    });
}

TEST_F(HostProcessWindowUnderOpenboxTest, AProcessOfWindowsThatAreNoBusinessOfTheManagersDoesNotComeForward) {
    RunInChild([] {
        const XClient client;
        client.MakeWindow({100, 100, 200, 200}, {.isOverrideRedirect = true});
        EXPECT_FALSE(Desktop::WindowActivateAppPlatformNative(getpid()));
    });
}

/// Calls every operation on a window that doesn't exist, and expects the results for none.
void ExpectNothing() {
    EXPECT_EQ(ProcessWindow::GetActive().handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(150, 150).handle, 0U);
    EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent()).handle, 0U);
    EXPECT_THAT(FindWindows(GetOwnId()), IsEmpty());
    ExpectNeutralResults(1);
    EXPECT_EQ(Process::GetActive().GetId(), 0U);
    EXPECT_FALSE(Process::GetCurrent().SetActive());
}

TEST_F(HostProcessWindowTest, WithoutADisplayThereIsNothing) {
    for (const std::optional<std::string>& name :
         {std::optional<std::string>(), std::optional<std::string>("nonsense")}) {
        m_display.Set(name);
        RunInChild(ExpectNothing);
    }
}

TEST_F(HostProcessWindowTest, WithoutTheLibraryThatJoinsXlibAndXcbThereIsNothing) {
    RunInChild([] {
        Tests::HideLibrary("libX11-xcb.so.1");
        const XClient client;
        client.MakeWindow({100, 100, 200, 200});
        ExpectNothing();
    });
}

TEST_F(HostProcessWindowTest, WithoutTheLibraryOfTheResourceExtensionWindowsHaveTheOwnersThatTheyName) {
    RunInChild([] {
        Tests::HideLibrary("libxcb-res.so.0");
        const XClient client;
        const ::Window silent = client.MakeWindow({100, 100, 200, 200});
        const ::Window named = client.MakeWindow({300, 300, 400, 400});
        client.SetOwner(named, {.processes = {getpid()}, .machine = GetHostName()});
        EXPECT_EQ(ProcessWindow(silent).GetProcessId(), 0U);
        EXPECT_EQ(ProcessWindow(named).GetProcessId(), GetOwnId());
        EXPECT_EQ(ProcessWindow::Get(150, 150).handle, silent);
        EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(named));
    });
}

/// A server without the X resource extension, which tells no process ids.
class HostProcessWindowSilentServerTest : public ::testing::Test {
protected:
    XServer m_server{{"-screen", "0", "1024x768x24", "-extension", "X-Resource"}};
    EnvironmentValue m_display{"DISPLAY", m_server.GetDisplayName()};
};

TEST_F(HostProcessWindowSilentServerTest, LeavesTheOwnerToWhatAWindowOfThisMachineNames) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        const auto getOwner = [window] { return ProcessWindow(window).GetProcessId(); };
        EXPECT_EQ(getOwner(), 0U);
        client.SetOwner(window, {.processes = {4711}, .machine = GetHostName()});
        EXPECT_EQ(getOwner(), 4711U);
        EXPECT_THAT(FindWindows(4711), ElementsAre(window));
        for (const long none : {0L, 0x80000000L, 0xFFFFFFFFL}) {
            client.SetNumbers(window, "_NET_WM_PID", XA_CARDINAL, {none});
            EXPECT_EQ(getOwner(), 0U) << "No process has that number.";
            EXPECT_THAT(FindWindows(0), IsEmpty());
        }
        client.SetNumbers(window, "_NET_WM_PID", XA_ATOM, {4711});
        EXPECT_EQ(getOwner(), 0U) << "No number.";
        client.SetText(window, client.GetAtom("_NET_WM_PID"), XA_CARDINAL, "text");
        EXPECT_EQ(getOwner(), 0U) << "No number of 32 bits.";
        client.SetNumbers(window, "_NET_WM_PID", XA_CARDINAL, std::vector<long>(aMillion, 4711));
        EXPECT_EQ(getOwner(), 4711U) << "The first counts.";
    });
}

TEST_F(HostProcessWindowSilentServerTest, LeavesTheOwnerOpenUnlessAWindowNamesThisMachine) {
    RunInChild([] {
        const XClient client;
        const ::Window window = client.MakeWindow({300, 300, 500, 450});
        const auto getOwner = [window] { return ProcessWindow(window).GetProcessId(); };
        client.SetNumbers(window, "_NET_WM_PID", XA_CARDINAL, {4711});
        EXPECT_EQ(getOwner(), 0U) << "It names none.";
        const std::string host = GetHostName();
        for (const std::string& machine :
             {std::string(), std::string("elsewhere"), host + 'x', host + ".elsewhere", host.substr(1)}) {
            client.SetOwner(window, {.processes = {4711}, .machine = machine});
            EXPECT_EQ(getOwner(), 0U) << machine;
        }
        const Atom machine = XA_WM_CLIENT_MACHINE;
        client.SetText(window, machine, client.GetAtom("UTF8_STRING"), host);
        EXPECT_EQ(getOwner(), 4711U);
        client.SetText(window, machine, XA_STRING, host + '\0');
        EXPECT_EQ(getOwner(), 4711U) << "Some programs count the end of the text.";
        std::vector<short> numbers(host.size());
        std::memcpy(numbers.data(), host.data(), host.size());
        client.SetProperty<short>(window, machine, XA_STRING, 16, numbers);
        EXPECT_EQ(getOwner(), 0U) << "No text, even if its bytes spell the name.";
    });
}

/// Expects that only windows of our own connection have an owner, and that a stranger's process id is not taken for
/// that of a process here.
void ExpectOnlyOwnWindowsToHaveOwners() {
    const XClient client;
    const ::Window window = client.MakeWindow({300, 300, 500, 450});
    EXPECT_EQ(ProcessWindow(window).GetProcessId(), 0U);
    EXPECT_EQ(ProcessWindow::Get(350, 350).handle, window);
    client.SetOwner(window, {.processes = {getppid()}, .machine = GetHostName()});
    client.SetFocus(window);
    EXPECT_EQ(ProcessWindow(window).GetProcessId(), 0U);
    EXPECT_EQ(Process::GetActive().GetId(), 0U);
    const auto panel = reinterpret_cast<unsigned long>(Desktop::WindowCreatePlatformNative(100, 100, 100, 100));
    EXPECT_EQ(ProcessWindow(panel).GetProcessId(), GetOwnId());
    EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(panel));
}

// The server's process ids are then those of another machine or of the forwarder.
TEST_F(HostProcessWindowTest, AServerThatTakesUsForAnotherProcessLeavesOwnersToOurOwnWindowsAlone) {
    const Tests::XServerProxy proxy(m_server.GetDisplayName());
    m_display.Set(proxy.GetDisplayName());
    RunInChild(ExpectOnlyOwnWindowsToHaveOwners);
}

// A server has no process id of a client that is connected over the network.
TEST_F(HostProcessWindowTest, AWindowOfTheNetworkBelongsToTheProcessOfThisMachineThatItNames) {
    const XServer server({"-screen", "0", "1024x768x24", "-listen", "tcp"});
    m_display.Set(server.GetDisplayName());
    RunInChild([&server] {
        const XClient client;
        const XClient remote(("127.0.0.1" + server.GetDisplayName()).c_str());
        const ::Window ours = client.MakeWindow({100, 100, 200, 200});
        const ::Window window = remote.MakeWindow({300, 300, 500, 450});
        EXPECT_EQ(ProcessWindow(window).GetProcessId(), 0U);
        // An empty title stays one, as there is no process to go by.
        remote.SetText(window, XA_WM_NAME, XA_STRING, "");
        EXPECT_EQ(GetName(window), "");
        remote.SetOwner(window, {.processes = {4711}, .machine = "elsewhere"});
        EXPECT_EQ(ProcessWindow(window).GetProcessId(), 0U);
        EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(ours));
        remote.SetOwner(window, {.processes = {4711}, .machine = GetHostName()});
        EXPECT_EQ(ProcessWindow(window).GetProcessId(), 4711U);
        EXPECT_THAT(FindWindows(GetOwnId()), ElementsAre(ours));
    });
}

/// A pipe between two processes.
class Line {
public:
    Line() { Tests::ThrowIf(pipe2(m_ends.data(), O_CLOEXEC) != 0, "pipe2"); }
    ~Line() {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void Say(unsigned long number) const {
        Tests::ThrowIf(write(m_ends[1], &number, sizeof(number)) != sizeof(number), "write");
    }

    unsigned long Hear() const {
        unsigned long number = 0;
        Tests::ThrowIf(read(m_ends[0], &number, sizeof(number)) != sizeof(number), "read");
        return number;
    }

private:
    std::array<int, 2> m_ends = {};
};

// The server gives process id 0 for it. The process id that its window names belongs to another namespace.
TEST_F(HostProcessWindowTest, AWindowOfAProcessThatTheServerCanNotSeeHasNoOwner) {
    const Line display;
    const Line window;
    const Tests::Child outer([&display, &window] {
        const XClient client((':' + std::to_string(display.Hear())).c_str());
        const ::Window made = client.MakeWindow({300, 300, 500, 450});
        client.SetOwner(made, {.processes = {1}, .machine = GetHostName()});
        window.Say(made);
        pause();
        return 0;
    });
    EXPECT_EQ(Tests::RunInNamespace(true,
                                    [this, &display, &window] {
                                        const XServer server;
                                        m_display.Set(server.GetDisplayName());
                                        display.Say(std::stoul(server.GetDisplayName().substr(1)));
                                        const unsigned long outers = window.Hear();
                                        const XClient client;
                                        const ::Window ours = client.MakeWindow({100, 100, 200, 200});
                                        EXPECT_EQ(ProcessWindow(ours).GetProcessId(), 1U);
                                        EXPECT_EQ(ProcessWindow::Get(350, 350).handle, outers);
                                        EXPECT_EQ(ProcessWindow(outers).GetProcessId(), 0U);
                                        EXPECT_THAT(FindWindows(0), IsEmpty());
                                        EXPECT_THAT(FindWindows(1), ElementsAre(ours));
                                        return HasFailure();
                                    }),
              0);
}

TEST_F(HostProcessWindowTest, AServerThatCanNotSeeUsLeavesOwnersToOurOwnWindowsAlone) {
    const Line display;
    const Line end;
    Tests::Child inner([&display, &end] {
        return Tests::RunInNamespace(true, [&display, &end] {
            const XServer server;
            display.Say(std::stoul(server.GetDisplayName().substr(1)));
            return end.Hear();
        });
    });
    m_display.Set(':' + std::to_string(display.Hear()));
    RunInChild(ExpectOnlyOwnWindowsToHaveOwners);
    end.Say(0);
    EXPECT_EQ(inner.Wait(), 0);
}

TEST_F(HostProcessWindowTest, AKilledServerEndsInNeutralResultsAndIsReportedOnce) {
    RunInChild(
        [this] {
            EXPECT_THAT(FindWindows(GetOwnId()), IsEmpty());
            m_server.Kill();
            ExpectNothing();
        },
        ::testing::StrEq(lossReport));
}

// Xlib's buffered requests are sent when XCB takes over the connection, and fail there.
TEST_F(HostProcessWindowTest, AKilledServerIsNoticedWhileXlibsRequestsGoOut) {
    RunInChild(
        [this] {
            EXPECT_THAT(FindWindows(GetOwnId()), IsEmpty());
            X11::Connection* const x11 = X11::GetConnection();
            x11->XRaiseWindow(x11->display, x11->root);
            m_server.Kill();
            EXPECT_EQ(ProcessWindow::Get(1, 1).handle, 0U);
            EXPECT_EQ(X11::GetConnection(), nullptr);
            ExpectNothing();
        },
        ::testing::StrEq(lossReport));
}

/// Does `work` in a child process through a proxy of the server, which ends at a byte. The proxy is made in the child,
/// since a fork does not copy its thread. Returns the number of bytes sent to the server.
std::size_t RunThroughProxy(const XServer& server, std::size_t limit, const std::function<void()>& work,
                            const ::testing::Matcher<const std::string&>& errors) {
    const Tests::TemporaryFolder folder;
    RunInChild(
        [&] {
            const Tests::XServerProxy proxy(server.GetDisplayName(), limit);
            const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
            work();
            folder.Write("size", std::to_string(proxy.GetByteCount()));
        },
        errors);
    std::size_t size = 0;
    EXPECT_TRUE(std::ifstream(folder.GetPath() / "size") >> size);
    return size;
}

TEST_F(HostProcessWindowTest, AServerThatDiesAtAnyPointEndsInNeutralResultsAndIsReportedOnce) {
    const XClient client;
    const ::Window window = client.MakeWindow({100, 100, 200, 200}, {.title = "Old"});
    const auto connect = [] { ASSERT_NE(X11::GetConnection(), nullptr); };
    const auto connectAndTry = [connect, window] {
        connect();
        TryEverything(window);
    };
    RunThroughProxy(m_server, 0, connectAndTry, IsEmpty()); // The next run then has the same focus.
    const std::size_t begin = RunThroughProxy(m_server, 0, connect, IsEmpty());
    const std::size_t end = RunThroughProxy(m_server, 0, connectAndTry, IsEmpty());
    ASSERT_GT(end, begin);
    constexpr std::size_t breakCount = 100;
    for (std::size_t index = 0; index < breakCount; ++index) {
        RunThroughProxy(m_server, begin + 1 + index * (end - begin) / breakCount, connectAndTry,
                        ::testing::StrEq(lossReport));
    }
}

std::string GetName(unsigned long handle) {
    std::string name = "before";
    EXPECT_EQ(ProcessWindow(handle).GetName(name), name.c_str());
    return name;
}

std::vector<unsigned long> FindWindows(std::uint64_t processId, std::string_view name) {
    std::vector<unsigned long> handles;
    ProcessWindow::ForEachWindow(
        Process{processId},
        [&handles](const ProcessWindow& window) {
            handles.push_back(window.handle);
            return VisitorAction::Continue;
        },
        name);
    return handles;
}

void ExpectNeutralResults(unsigned long handle) {
    SCOPED_TRACE(handle);
    const ProcessWindow window(handle);
    EXPECT_EQ(GetName(handle), "before");
    EXPECT_EQ(window.GetFrame(), (Rectangle{}));
    EXPECT_EQ(window.GetProcessId(), 0U);
    EXPECT_EQ(window.GetRootWindow().handle, handle);
    EXPECT_TRUE(window.IsTopLevel());
    EXPECT_FALSE(window.IsVisible());
    EXPECT_EQ(ProcessWindow::Get(Process::GetCurrent(), handle).handle, 0U);
    EXPECT_FALSE(window.SetActive());
}

unsigned long FindWindow(std::uint64_t processId, std::string_view name) {
    const auto handles = FindWindows(processId, name);
    return handles.size() == 1 ? handles[0] : 0;
}

std::string Ask(const std::string& program, const std::vector<std::string>& arguments) {
    return Tests::Run(Tests::MakeXProgram(program, arguments)).output;
}

int AskForNumber(const std::string& program, const std::vector<std::string>& arguments, const std::string& text) {
    const std::string output = Ask(program, arguments);
    const std::size_t found = output.find(text);
    return found == std::string::npos ? -1 : std::stoi(output.substr(found + text.size()));
}

Rectangle AskForFrame(unsigned long handle) {
    const std::vector<std::string> arguments = {"-id", std::to_string(handle)};
    const int border = AskForNumber("xwininfo", arguments, "Border width:");
    const int left = AskForNumber("xwininfo", arguments, "Absolute upper-left X:") + border;
    const int top = AskForNumber("xwininfo", arguments, "Absolute upper-left Y:") + border;
    return {.left = left,
            .top = top,
            .right = left + AskForNumber("xwininfo", arguments, "Width:"),
            .bottom = top + AskForNumber("xwininfo", arguments, "Height:")};
}

unsigned long AskForWindow(const std::string& name) {
    const std::string output = Ask("xdotool", {"search", "--onlyvisible", "--name", "^" + name + "$"});
    return output.empty() ? 0 : std::stoul(output);
}

std::string GetHostName() {
    std::array<char, 256> name = {};
    EXPECT_EQ(gethostname(name.data(), name.size()), 0);
    return name.data();
}

} // namespace

} // namespace Tovra::System::Processes
