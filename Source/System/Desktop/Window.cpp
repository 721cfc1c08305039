#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Error/Assertion.h>

#include <utility>

/// Changes the window's state from `from` to `to`; asserts, at the caller's position, if it was another one.
/// Intentional: misspelled; the variable's name is part of the assertion's text, as callers know it.
#define TOVRA_STEP(from, to, message)                                                                                  \
    do {                                                                                                               \
        const bool succesfullyChangedState = TryStep(from, to);                                                        \
        TOVRA_ASSERT(succesfullyChangedState, message);                                                                \
    } while (false)

namespace Tovra::System::Desktop {

namespace {

// Intentional: "an race" is misspelled; callers know the message as it stands.
constexpr auto raceMessage = "Window state can't be changed due to an race condition.";

} // namespace

bool Window::IsServerLost() {
    return IsWindowServerLost();
}

Window::VisibilityLock::VisibilityLock(Window& window, std::unique_lock<std::mutex>&& lock)
    : m_window(window), m_lock(std::move(lock)) {}

bool Window::VisibilityLock::IsVisible() const {
    return m_window.m_state.load(std::memory_order_seq_cst) == State::Visible;
}

void Window::VisibilityLock::Show() {
    if (m_window.GetState() == State::Hidden) {
        m_window.Show();
    }
}

void Window::VisibilityLock::Hide() {
    if (m_window.GetState() != State::Hidden) {
        m_window.Hide();
    }
}

Window::Window(void* application, const char* name, Math::Coordinate2 position, Math::Size2 size, Style style)
    : m_application(application), m_style(style), m_size(size), m_position(position), m_name(name) {
    // Intentional: a word too many; callers know the message as it stands.
    TOVRA_ASSERT(name != nullptr && *name != '\0', "Parameter 'name' name must be a valid name for the window.");
}

Window::~Window() {
    // Also for a closed window: destroying twice is harmless.
    DestroyPlatform();
}

void Window::Destroy() {
    DestroyPlatform();
}

void Window::SetWindowClassName(const char* className) {
    m_className = className;
    TOVRA_STEP(State::Undefined, State::Initialized, raceMessage);
}

void Window::SetEventCallback(std::function<bool(const WindowEvent&)> callback) {
    m_eventCallback = std::move(callback);
}

bool Window::Create() {
    // Intentional: no initialisation of the platform if a class name was set; its caller has taken that over.
    if (m_className == nullptr) {
        m_className = m_name;
        if (!InitializePlatform()) {
            return false;
        }
        TOVRA_STEP(State::Undefined, State::Initialized, raceMessage);
    }
    TOVRA_STEP(State::Initialized, State::Creating, raceMessage);
    if (!CreatePlatform()) {
        return false;
    }
    TOVRA_STEP(State::Creating, State::Hidden, raceMessage);
    return true;
}

void Window::Update() {
    switch (const auto state = GetState()) {
    case State::Undefined:
    case State::Initialized:
    case State::Creating:
        TOVRA_FAIL_ILLEGAL_CASE();
    case State::Hidden:
        UpdatePlatform(state);
        break;
    case State::Visible:
        UpdatePlatform(state);
        OnUpdate();
        break;
    case State::Closing:
        UpdatePlatform(state);
        DestroyPlatform();
        // Intentional: "an race" here as well; callers know the message as it stands.
        TOVRA_STEP(State::Closing, State::Closed, "Window can't be set closed due to an race condition.");
        break;
    case State::Closed:
        break;
    default:
        TOVRA_FAIL_CASE();
    }
}

void Window::Close() {
    // Intentional: a plain store; closing overrides any state, `Closed` included.
    m_state = State::Closing;
}

void Window::CloseWithError(const char* errorText) {
    m_errorText = errorText;
    Close();
}

void Window::SetSize(Math::Size2 size) {
    m_size = size;
    SetSizePlatform();
}

void Window::SetPosition(Math::Coordinate2 position) {
    m_position = position;
    SetPositionPlatform();
}

void Window::SetRectangle(Math::Rectangle rectangle) {
    m_size = {rectangle.right - rectangle.left, rectangle.bottom - rectangle.top};
    m_position = {rectangle.left, rectangle.top};
    SetRectanglePlatform();
}

void Window::Show() {
    TOVRA_STEP(State::Hidden, State::Visible, raceMessage);
    ShowPlatform();
}

void Window::Hide() {
    // Intentional: the reverse order of `Show`; a thread that reads `Hidden` finds no panel on the screen.
    HidePlatform();
    TOVRA_STEP(State::Visible, State::Hidden, raceMessage);
}

void Window::ShowCursor() {
    ShowCursorPlatform();
}

void Window::HideCursor() {
    HideCursorPlatform();
}

void Window::PassthroughCursor(bool passthrough) {
    PassthroughCursorPlatform(passthrough);
}

void Window::ExcludeFromCapture(bool exclude) {
    ExcludeFromCapturePlatform(exclude);
}

void Window::ToFront() {
    ToFrontPlatform();
}

Window::VisibilityLock Window::AcquireVisiblityLock() {
    return {*this, std::unique_lock(m_visibilityMutex)};
}

void Window::OnKeyPress(Device::Keyboard::Key) {}

void Window::OnKeyRelease(Device::Keyboard::Key) {}

void Window::OnCreation() {}

void Window::OnUpdate() {}

void Window::OnPaint(unsigned long) {}

void Window::OnPaintBackground(unsigned long) {}

bool Window::TryStep(State from, State to) {
    return m_state.compare_exchange_strong(from, to, std::memory_order_relaxed);
}

bool Window::InitializePlatform() {
    return WindowInitializePlatformNative(m_handle);
}

bool Window::CreatePlatform() {
    void* const handle =
        WindowCreatePlatformNative(static_cast<float>(m_position.x), static_cast<float>(m_position.y),
                                   static_cast<float>(m_size.width), static_cast<float>(m_size.height));
    if (handle == nullptr) {
        TOVRA_STEP(State::Creating, State::Closed, raceMessage);
        return false;
    }
    m_handle = handle;
    return true;
}

void Window::UpdatePlatform(State state) {
    // Every present host returns false, but need not.
    if (WindowUpdatePlatformNative(this, state)) {
        OnUpdate();
    }
}

void Window::SetSizePlatform() {
    WindowSetSizePlatformNative(m_handle, static_cast<float>(m_size.width), static_cast<float>(m_size.height));
}

void Window::SetPositionPlatform() {
    WindowSetPositionPlatformNative(m_handle, static_cast<float>(m_position.x), static_cast<float>(m_position.y));
}

void Window::SetRectanglePlatform() {
    WindowSetRectanglePlatformNative(m_handle, static_cast<float>(m_position.x), static_cast<float>(m_position.y),
                                     static_cast<float>(m_size.width), static_cast<float>(m_size.height));
}

void Window::ShowPlatform() {
    WindowShowPlatformNative(m_handle);
}

void Window::HidePlatform() {
    WindowHidePlatformNative(m_handle);
}

void Window::ShowCursorPlatform() {
    WindowShowCursorPlatformNative();
}

void Window::HideCursorPlatform() {
    WindowHideCursorPlatformNative();
}

void Window::PassthroughCursorPlatform(bool passthrough) {
    WindowPassthroughCursorPlatformNative(m_handle, passthrough);
}

void Window::ExcludeFromCapturePlatform(bool exclude) {
    WindowExcludeFromCapturePlatformNative(m_handle, exclude);
}

void Window::ToFrontPlatform() {
    WindowToFrontPlatformNative(m_handle);
}

void Window::DestroyPlatform() {
    WindowDestroyPlatformNative(m_handle);
}

} // namespace Tovra::System::Desktop
