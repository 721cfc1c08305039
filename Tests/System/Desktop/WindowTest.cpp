// Label: threaded

#include <Fakes/PanelOperations.h>
#include <Fakes/WindowPlatformNative.h>
#include <Support/Assertions.h>
#include <Support/VirtualSlot.h>
#include <System/Desktop/Window.h>

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace Tovra::System::Desktop {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tests::Fakes::windowPlatformNative;
using State = Window::State;

constexpr auto raced = "Window state can't be changed due to an race condition.";

/// A window that records its updates among the native calls and has public fields.
class TestWindow : public Window {
public:
    explicit TestWindow(const char* name = "Name")
        : Window(nullptr, name, {.x = 1, .y = 2}, {.width = 30, .height = 40}, Style{3}) {}

    void OnUpdate() override { windowPlatformNative.calls.emplace_back("OnUpdate"); }

    using Window::m_errorText;
    using Window::m_position;
    using Window::m_size;
    using Window::m_state;
    using Window::m_visibilityMutex;
};

/// Calls `look` on that signal. For a child process only.
void OnSignal(int signal, std::function<void()> look) {
    static std::function<void()> s_look;
    s_look = std::move(look);
    std::signal(signal, [](int) { s_look(); });
}

class WindowTest : public ::testing::Test {
protected:
    /// Brings the window into a state by legal steps, and clears the recorded calls.
    void Reach(State state) {
        if (state == State::Initialized) {
            m_window.SetWindowClassName("Class");
        }
        if (state >= State::Hidden) {
            ASSERT_TRUE(m_window.Create());
        }
        if (state == State::Visible) {
            m_window.Show();
        }
        if (state >= State::Closing) {
            m_window.Close();
        }
        if (state == State::Closed) {
            m_window.Update();
        }
        ASSERT_EQ(m_window.GetState(), state);
        m_calls.clear();
    }

    TestWindow m_window;
    std::vector<std::string>& m_calls = windowPlatformNative.calls;
};

using WindowDeathTest = WindowTest;

TEST_F(WindowTest, StatesAreNumbered) {
    EXPECT_EQ(static_cast<int>(State::Undefined), 0);
    EXPECT_EQ(static_cast<int>(State::Initialized), 1);
    EXPECT_EQ(static_cast<int>(State::Creating), 2);
    EXPECT_EQ(static_cast<int>(State::Hidden), 3);
    EXPECT_EQ(static_cast<int>(State::Visible), 4);
    EXPECT_EQ(static_cast<int>(State::Closing), 5);
    EXPECT_EQ(static_cast<int>(State::Closed), 6);
    EXPECT_EQ(sizeof(m_window.m_state), 1U);
}

TEST_F(WindowTest, AnEventIsSmallAndEmptyAtFirst) {
    const WindowEvent event;
    EXPECT_EQ(static_cast<int>(event.type), 0);
    EXPECT_EQ(event.key, Device::Keyboard::Key::Undefined);
    EXPECT_FALSE(event.pressed);
    EXPECT_THAT(event.reserved, ElementsAre(0U, 0U));
    EXPECT_THAT((std::array{offsetof(WindowEvent, key), offsetof(WindowEvent, pressed), offsetof(WindowEvent, button),
                            offsetof(WindowEvent, x), offsetof(WindowEvent, y), offsetof(WindowEvent, reserved),
                            offsetof(WindowEvent, delta)}),
                ElementsAre(1U, 2U, 3U, 4U, 8U, 16U, 32U));
    EXPECT_EQ(static_cast<int>(WindowEvent::Type::Key), 1);
    EXPECT_EQ(static_cast<int>(WindowEvent::Type::MouseMove), 2);
    EXPECT_EQ(static_cast<int>(WindowEvent::Type::Scroll), 3);
    EXPECT_EQ(static_cast<int>(WindowEvent::Type::MouseButton), 4);
}

TEST_F(WindowTest, ALostServerIsKnown) {
    EXPECT_FALSE(Window::IsServerLost());
    Tests::Fakes::panelOperations.isWindowServerLost = true;
    EXPECT_TRUE(Window::IsServerLost());
}

TEST_F(WindowTest, ANewWindowStoresWhatItIsGivenAndAsksTheSystemNothing) {
    int application = 0;
    struct OpenWindow : Window {
        using Window::m_application;
        using Window::m_name;
        using Window::m_position;
        using Window::m_size;
        using Window::m_style;
        using Window::Window;
    };
    const char* const name = "Name";
    const OpenWindow window(&application, name, {.x = -1, .y = 5}, {.width = 7, .height = 9}, Window::Style{3});
    EXPECT_EQ(window.m_application, &application);
    EXPECT_EQ(window.m_name, name);
    EXPECT_EQ(window.m_position, (Math::Coordinate2{-1, 5}));
    EXPECT_EQ(window.m_size, (Math::Size2{7, 9}));
    EXPECT_EQ(static_cast<int>(window.m_style), 3);
    EXPECT_EQ(window.GetState(), State::Undefined);
    EXPECT_EQ(window.GetHandle(), nullptr);
    EXPECT_EQ(window.GetClassName(), nullptr);
    EXPECT_FALSE(window.GetEventCallback());
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(WindowDeathTest, AWindowNeedsAName) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_ASSERTION(TestWindow{name}, "name != nullptr && *name != '\\0'",
                         "Parameter 'name' name must be a valid name for the window.");
    }
}

TEST_F(WindowTest, CreateInitializesAndMakesAHiddenWindow) {
    windowPlatformNative.duringCreate = [this] { EXPECT_EQ(m_window.GetState(), State::Creating); };
    EXPECT_TRUE(m_window.Create());
    EXPECT_THAT(m_calls, ElementsAre("Initialize(0)", "Create(1, 2, 30, 40)"));
    EXPECT_EQ(m_window.GetState(), State::Hidden);
    EXPECT_EQ(m_window.GetHandle(), windowPlatformNative.createResult);
    EXPECT_STREQ(m_window.GetClassName(), "Name");
}

TEST_F(WindowTest, AClassNameTakesOverTheInitialization) {
    const char* const className = "Class";
    m_window.SetWindowClassName(className);
    EXPECT_EQ(m_window.GetState(), State::Initialized);
    EXPECT_EQ(m_window.GetClassName(), className);
    EXPECT_TRUE(m_window.Create());
    EXPECT_THAT(m_calls, ElementsAre("Create(1, 2, 30, 40)"));
}

TEST_F(WindowTest, AFailedInitializationEndsTheCreation) {
    windowPlatformNative.initializeResult = false;
    EXPECT_FALSE(m_window.Create());
    EXPECT_THAT(m_calls, ElementsAre("Initialize(0)"));
    EXPECT_EQ(m_window.GetState(), State::Undefined);
    EXPECT_STREQ(m_window.GetClassName(), "Name");
}

TEST_F(WindowTest, AFailedCreationClosesTheWindow) {
    windowPlatformNative.createResult = nullptr;
    EXPECT_FALSE(m_window.Create());
    EXPECT_EQ(m_window.GetState(), State::Closed);
    EXPECT_EQ(m_window.GetHandle(), nullptr);
    m_calls.clear();
    m_window.Update();
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(WindowDeathTest, EveryIllegalStepAsserts) {
    constexpr auto condition = "succesfullyChangedState";
    EXPECT_ASSERTION(
        {
            Reach(State::Initialized);
            m_window.SetWindowClassName("Again");
        },
        condition, raced);
    EXPECT_ASSERTION(
        {
            Reach(State::Hidden);
            m_window.Create();
        },
        condition, raced);
    EXPECT_ASSERTION(
        {
            m_window.Close();
            m_window.Create();
        },
        condition, raced);
    EXPECT_ASSERTION(
        {
            Reach(State::Visible);
            m_window.Show();
        },
        condition, raced);
    EXPECT_ASSERTION(m_window.Show(), condition, raced);
    EXPECT_ASSERTION(
        {
            Reach(State::Hidden);
            m_window.Hide();
        },
        condition, raced);
}

TEST_F(WindowDeathTest, AStateThatChangesWhileThePanelIsMadeAsserts) {
    windowPlatformNative.duringCreate = [this] { m_window.Close(); };
    EXPECT_ASSERTION(m_window.Create(), "succesfullyChangedState", raced);
    windowPlatformNative.createResult = nullptr;
    EXPECT_ASSERTION(m_window.Create(), "succesfullyChangedState", raced);
}

TEST_F(WindowDeathTest, AClassNameIsStoredBeforeItsStep) {
    Reach(State::Initialized);
    EXPECT_EXIT(
        {
            OnSignal(SIGABRT, [this] { std::fputs(m_window.GetClassName(), stderr); });
            m_window.SetWindowClassName("Another one.");
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::EndsWith("Another one."));
}

TEST_F(WindowDeathTest, ThePanelIsStoredBeforeItsStep) {
    EXPECT_EXIT(
        {
            windowPlatformNative.duringCreate = [this] { m_window.Close(); };
            OnSignal(SIGABRT, [this] {
                std::fputs(m_window.GetHandle() == windowPlatformNative.createResult ? "It is there." : "", stderr);
            });
            m_window.Create();
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::EndsWith("It is there."));
}

TEST_F(WindowDeathTest, AnAssertionTellsItsPlace) {
    const auto assertsIn = [](const std::string& function) {
        return ::testing::ContainsRegex("\t\\[0\\]: /System/Desktop/Window[^ ]* at [0-9]+: " + function + "\n");
    };
    const ::testing::KilledBySignal aborts(SIGABRT);
    const auto close = [this] { m_window.Close(); };
    const auto closeDuringCreation = [&] {
        windowPlatformNative.duringCreate = close;
        m_window.Create();
    };
    const auto failCreation = [&] {
        windowPlatformNative.createResult = nullptr;
        closeDuringCreation();
    };
    const auto tearDown = [this] {
        m_window.Close();
        windowPlatformNative.duringDestroy = [this] { m_window.m_state = State::Hidden; };
        m_window.Update();
    };
    const auto setClassName = [&] {
        m_window.Close();
        m_window.SetWindowClassName("Class");
    };
    EXPECT_EXIT(m_window.Show(), aborts, assertsIn("Show"));
    EXPECT_EXIT(m_window.Hide(), aborts, assertsIn("Hide"));
    EXPECT_EXIT(m_window.Update(), aborts, assertsIn("Update"));
    EXPECT_EXIT(tearDown(), aborts, assertsIn("Update"));
    EXPECT_EXIT(setClassName(), aborts, assertsIn("SetWindowClassName"));
    EXPECT_EXIT((close(), m_window.Create()), aborts, assertsIn("Create"));
    EXPECT_EXIT(closeDuringCreation(), aborts, assertsIn("Create"));
    EXPECT_EXIT(failCreation(), aborts, assertsIn("CreatePlatform"));
    EXPECT_EXIT(TestWindow(""), aborts, assertsIn("Window"));
}

TEST_F(WindowTest, ShowStepsFirstAndHideHidesFirst) {
    Reach(State::Hidden);
    windowPlatformNative.duringShow = [this] { EXPECT_EQ(m_window.GetState(), State::Visible); };
    m_window.Show();
    EXPECT_EQ(m_window.GetState(), State::Visible);
    windowPlatformNative.duringHide = [this] { EXPECT_EQ(m_window.GetState(), State::Visible); };
    m_window.Hide();
    EXPECT_EQ(m_window.GetState(), State::Hidden);
    EXPECT_THAT(m_calls, ElementsAre("Show(7)", "Hide(7)"));
}

TEST_F(WindowDeathTest, AHiddenWindowIsHiddenNativelyBeforeItAsserts) {
    Reach(State::Hidden);
    EXPECT_EXIT(
        {
            windowPlatformNative.duringHide = [] { fputs("Hidden natively. ", stderr); };
            m_window.Hide();
        },
        ::testing::KilledBySignal(SIGABRT), ::testing::StartsWith("Hidden natively. "));
}

TEST_F(WindowTest, TheLockShowsAndHidesWhereThatIsLegal) {
    Reach(State::Hidden);
    auto lock = m_window.AcquireVisiblityLock();
    EXPECT_FALSE(lock.IsVisible());
    lock.Hide();
    EXPECT_THAT(m_calls, IsEmpty());
    lock.Show();
    EXPECT_TRUE(lock.IsVisible());
    lock.Show();
    EXPECT_THAT(m_calls, ElementsAre("Show(7)"));
    lock.Hide();
    EXPECT_EQ(m_window.GetState(), State::Hidden);
    EXPECT_THAT(m_calls, ElementsAre("Show(7)", "Hide(7)"));
}

TEST_F(WindowTest, TheLockShowsNothingBeforeCreationOrAfterClosing) {
    {
        auto lock = m_window.AcquireVisiblityLock();
        lock.Show();
    }
    Reach(State::Closing);
    m_window.AcquireVisiblityLock().Show();
    EXPECT_THAT(m_calls, IsEmpty());
    EXPECT_EQ(m_window.GetState(), State::Closing);
}

TEST_F(WindowDeathTest, TheLockHidesAnyOtherStateAndAsserts) {
    EXPECT_ASSERTION(m_window.AcquireVisiblityLock().Hide(), "succesfullyChangedState", raced);
}

TEST_F(WindowTest, TheLockTellsThatAWindowIsVisibleInThatStateAlone) {
    for (int state = 0; state <= 6; ++state) {
        m_window.m_state = State(state);
        EXPECT_EQ(m_window.AcquireVisiblityLock().IsVisible(), state == 4) << state;
    }
}

TEST_F(WindowTest, OthersWaitWhileTheLockIsHeldAndShowDoesNot) {
    Reach(State::Hidden);
    std::atomic<bool> isReleased = false;
    std::thread other;
    {
        auto lock = m_window.AcquireVisiblityLock();
        auto moved = std::move(lock);
        other = std::thread([this, &isReleased] {
            const auto otherLock = m_window.AcquireVisiblityLock();
            EXPECT_TRUE(isReleased);
            EXPECT_TRUE(otherLock.IsVisible());
        });
        m_window.Show();
        EXPECT_TRUE(moved.IsVisible());
        isReleased = true;
    }
    other.join();
    static_assert(std::is_move_constructible_v<Window::VisibilityLock>);
    static_assert(!std::is_copy_constructible_v<Window::VisibilityLock>);
}

TEST_F(WindowTest, TheLockHoldsTheVisibilityMutexUntilItGoes) {
    const auto isFree = [this] {
        return std::async(std::launch::async,
                          [this] { return std::unique_lock(m_window.m_visibilityMutex, std::try_to_lock).owns_lock(); })
            .get();
    };
    EXPECT_TRUE(isFree());
    {
        const auto lock = m_window.AcquireVisiblityLock();
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
}

TEST_F(WindowTest, HooksHaveTheirPlacesBehindTheDestructor) {
    using Tests::GetVirtualSlot;
    EXPECT_THAT((std::array{GetVirtualSlot(&Window::OnKeyPress), GetVirtualSlot(&Window::OnKeyRelease),
                            GetVirtualSlot(&Window::OnCreation), GetVirtualSlot(&Window::OnUpdate),
                            GetVirtualSlot(&Window::OnPaint), GetVirtualSlot(&Window::OnPaintBackground)}),
                ElementsAre(2U, 3U, 4U, 5U, 6U, 7U));
}

TEST_F(WindowTest, HooksDoNothingOfThemselves) {
    Window window(nullptr, "Name", {}, {}, Window::Style{});
    window.OnKeyPress(Device::Keyboard::Key::A);
    window.OnKeyRelease(Device::Keyboard::Key::A);
    window.OnCreation();
    window.OnUpdate();
    window.OnPaint(0);
    window.OnPaintBackground(0);
    EXPECT_EQ(window.GetState(), State::Undefined);
    EXPECT_THAT(m_calls, IsEmpty());
}

TEST_F(WindowDeathTest, UpdateBeforeCreationAsserts) {
    EXPECT_ASSERTION(m_window.Update(), "false", "Illegal switch case.");
    EXPECT_ASSERTION(
        {
            Reach(State::Initialized);
            m_window.Update();
        },
        "false", "Illegal switch case.");
    EXPECT_ASSERTION(
        {
            m_window.m_state = State::Creating;
            m_window.Update();
        },
        "false", "Illegal switch case.");
    EXPECT_ASSERTION(
        {
            m_window.m_state = static_cast<State>(7);
            m_window.Update();
        },
        "false", "Implementation of case directive is missing.");
}

TEST_F(WindowTest, AHiddenWindowUpdatesOnlyIfTheNativeLayerSaysSo) {
    Reach(State::Hidden);
    m_window.Update();
    EXPECT_THAT(m_calls, ElementsAre("Update(3)"));
    m_calls.clear();
    windowPlatformNative.updateResult = true;
    m_window.Update();
    EXPECT_THAT(m_calls, ElementsAre("Update(3)", "OnUpdate"));
}

TEST_F(WindowTest, AVisibleWindowUpdatesOnceAndAgainIfTheNativeLayerSaysSo) {
    Reach(State::Visible);
    m_window.Update();
    EXPECT_THAT(m_calls, ElementsAre("Update(4)", "OnUpdate"));
    m_calls.clear();
    windowPlatformNative.updateResult = true;
    m_window.Update();
    EXPECT_THAT(m_calls, ElementsAre("Update(4)", "OnUpdate", "OnUpdate"));
}

TEST_F(WindowTest, ClosingIsCarriedOutByTheNextUpdate) {
    Reach(State::Closing);
    m_window.Update();
    EXPECT_THAT(m_calls, ElementsAre("Update(5)", "Destroy(7)"));
    EXPECT_EQ(m_window.GetState(), State::Closed);
    m_window.Update();
    m_window.Update();
    EXPECT_EQ(m_calls.size(), 2U) << "A closed window does nothing.";
}

TEST_F(WindowTest, ClosingOverridesAnyState) {
    Reach(State::Closed);
    m_window.Close();
    EXPECT_EQ(m_window.GetState(), State::Closing);
    m_window.Update();
    EXPECT_THAT(m_calls, ElementsAre("Update(5)", "Destroy(7)")) << "Destroyed again.";
    EXPECT_EQ(m_window.GetState(), State::Closed);
}

TEST_F(WindowDeathTest, AStateThatChangesWhileThePanelIsTornDownAsserts) {
    Reach(State::Closing);
    EXPECT_ASSERTION(
        {
            windowPlatformNative.duringDestroy = [this] { m_window.m_state = State::Hidden; };
            m_window.Update();
        },
        "succesfullyChangedState", "Window can't be set closed due to an race condition.");
}

TEST_F(WindowTest, TheReasonOfClosingIsKept) {
    Reach(State::Visible);
    std::string reason = "A reason that is long enough to be stored elsewhere.";
    m_window.CloseWithError(reason.c_str());
    reason.clear();
    EXPECT_EQ(m_window.m_errorText, "A reason that is long enough to be stored elsewhere.");
    EXPECT_EQ(m_window.GetState(), State::Closing);
}

TEST_F(WindowDeathTest, TheReasonOfClosingIsCopiedBeforeTheWindowCloses) {
    EXPECT_EXIT(
        {
            // Reading from here raises SIGSEGV, at which the window must still be open.
            const void* const unreadable = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            OnSignal(SIGSEGV, [this] { std::_Exit(m_window.GetState() == State::Hidden ? 0 : 1); });
            Reach(State::Hidden);
            m_window.CloseWithError(static_cast<const char*>(unreadable));
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(WindowTest, DestroyLeavesTheStateAndTheDestructorDestroysAgain) {
    {
        TestWindow window;
        ASSERT_TRUE(window.Create());
        m_calls.clear();
        window.Destroy();
        EXPECT_EQ(window.GetState(), State::Hidden);
        EXPECT_EQ(window.GetHandle(), windowPlatformNative.createResult);
    }
    EXPECT_THAT(m_calls, ElementsAre("Destroy(7)", "Destroy(7)"));
}

TEST_F(WindowTest, AClosedWindowsPanelIsDestroyedAgainByTheDestructor) {
    {
        TestWindow window;
        ASSERT_TRUE(window.Create());
        window.Close();
        window.Update();
        ASSERT_EQ(window.GetState(), State::Closed);
        m_calls.clear();
    }
    EXPECT_THAT(m_calls, ElementsAre("Destroy(7)"));
}

TEST_F(WindowTest, AWindowThatWasNeverCreatedIsDestroyedWithoutAPanel) {
    {
        const TestWindow window;
    }
    EXPECT_THAT(m_calls, ElementsAre("Destroy(0)"));
}

TEST_F(WindowDeathTest, AnExceptionInTheDestructorEndsTheProcess) {
    EXPECT_EXIT(
        {
            windowPlatformNative.duringDestroy = [] { throw 1; };
            const TestWindow window;
        },
        ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(WindowTest, GeometryIsStoredAndHandedOn) {
    Reach(State::Hidden);
    m_window.SetSize({.width = 50, .height = 60});
    EXPECT_EQ(m_window.m_size, (Math::Size2{50, 60}));
    EXPECT_EQ(m_window.m_position, (Math::Coordinate2{1, 2})) << "Also though the top edge moved.";
    m_window.SetPosition({.x = -7, .y = 8});
    EXPECT_EQ(m_window.m_position, (Math::Coordinate2{-7, 8}));
    m_window.SetRectangle({.left = 10, .top = 20, .right = 110, .bottom = 220});
    EXPECT_EQ(m_window.m_position, (Math::Coordinate2{10, 20}));
    EXPECT_EQ(m_window.m_size, (Math::Size2{100, 200}));
    EXPECT_THAT(m_calls,
                ElementsAre("SetSize(7, 50, 60)", "SetPosition(7, -7, 8)", "SetRectangle(7, 10, 20, 100, 200)"));
}

TEST_F(WindowTest, TheRestIsHandedOnInAnyState) {
    m_window.ShowCursor();
    m_window.HideCursor();
    m_window.PassthroughCursor(true);
    m_window.ExcludeFromCapture(false);
    m_window.ToFront();
    EXPECT_THAT(m_calls, ElementsAre("ShowCursor()", "HideCursor()", "PassthroughCursor(0, 1)",
                                     "ExcludeFromCapture(0, 0)", "ToFront(0)"));
}

TEST_F(WindowTest, TheEventCallbackIsReplaced) {
    m_window.SetEventCallback([](const WindowEvent&) { return true; });
    EXPECT_TRUE(m_window.GetEventCallback()({}));
    m_window.SetEventCallback({});
    EXPECT_FALSE(m_window.GetEventCallback());
}

} // namespace

} // namespace Tovra::System::Desktop
