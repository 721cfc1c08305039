#pragma once

#include <System/Desktop/WindowEvent.h>
#include <System/Types/Geometry.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace Tovra::System::Desktop {

/// A small borderless overlay window, for showing something and for receiving events.
///
/// The window's state is atomic. A change of state that is illegal, or that another thread has made first, asserts. All
/// else is for the owner's thread, except where a function says otherwise. Native calls are forwarded to the main
/// thread (see WindowPlatformNative.h), so the main thread must not wait for the owner's.
///
/// X11: a window is not told that the connection to its server was lost: ask `IsServerLost`, for instance after each
/// `Update`. From then on its operations do nothing, creating a window fails at once, and `DisplayCache::Refresh` finds
/// no display, after 50 seconds.
class Window {
public:
    /// The state of a window.
    enum class State : std::uint8_t {
        Undefined = 0,   ///< Constructed.
        Initialized = 1, ///< The platform is initialised, or the caller has taken that over.
        Creating = 2,    ///< The native panel is being created.
        Hidden = 3,      ///< The native panel exists and is not shown.
        Visible = 4,     ///< Shown.
        Closing = 5,     ///< To be closed by the next `Update`.
        Closed = 6,      ///< The native panel is destroyed, or could not be created.
    };

    /// Stored for platforms that draw frames; no present host reads it.
    enum class Style : std::uint32_t {};

    /// Serialises the threads that show and hide one window: others wait while one holds the lock. The window must
    /// outlive it.
    class VisibilityLock {
    public:
        VisibilityLock(Window& window, std::unique_lock<std::mutex>&& lock);
        VisibilityLock(VisibilityLock&&) = default;

        /// Whether the window is in state `Visible`.
        bool IsVisible() const;

        /// Shows a hidden window; in any other state nothing happens.
        void Show();

        /// Hides the window unless it is hidden already. In a state other than `Visible` the panel is hidden and then
        /// it asserts.
        void Hide();

    private:
        Window& m_window;
        std::unique_lock<std::mutex> m_lock;
    };

    /// Whether the connection to the X server was lost. A process gets no other one: all it can do is end. Always false
    /// on macOS, where the process ends with its window server. Any thread.
    static bool IsServerLost();

    /// Stores the arguments; `Create` makes the native panel. `application` is not used. Asserts that `name` is neither
    /// null nor empty. `name` is not copied: it must outlive the window.
    Window(void* application, const char* name, Math::Coordinate2 position, Math::Size2 size, Style style);
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Destroys the native panel, also that of a closed window. An exception ends the process.
    virtual ~Window();

    /// Destroys the native panel and leaves the state as it is. Destroying twice is harmless.
    void Destroy();

    /// Sets the class name, which is not copied. The caller thereby takes over the initialisation of the platform:
    /// `Create` leaves it out. Asserts if called after `Create` or twice.
    void SetWindowClassName(const char* className);

    /// Replaces the event callback; not from within the callback. Without one no events are processed. What it returns
    /// is ignored. What it throws leaves `Update`; on macOS it ends the process if that was called off the main thread.
    void SetEventCallback(std::function<bool(const WindowEvent&)> callback);

    /// Creates the native panel; the window is then `Hidden`. False if the panel can't be created, and the window is
    /// then `Closed`, or if the platform can't be initialised, and it is then still `Undefined`. Asserts if called
    /// again.
    bool Create();

    /// Processes events, if there is an event callback: a hidden window runs the main loop for 8 ms, a visible one
    /// receives the pending events without waiting. Calls `OnUpdate` for a visible window. Destroys the panel of a
    /// closing window; it is then `Closed`, and `Update` does nothing any more. Asserts before `Create`.
    void Update();

    /// Makes the next `Update` close the window. Any thread.
    /// Intentional: this overrides any state, `Closed` included.
    void Close();

    /// As `Close`, and keeps a copy of `errorText`. On the owner's thread.
    void CloseWithError(const char* errorText);

    /// Sets the panel's size, in points.
    /// Intentional: the lower left corner keeps its place, so the top edge moves.
    void SetSize(Math::Size2 size);

    /// Moves the panel's upper left corner to `position`, in points from the top left of the first screen.
    void SetPosition(Math::Coordinate2 position);

    /// Sets the panel's position and size, in points from the top left of the first screen.
    void SetRectangle(Math::Rectangle rectangle);

    /// Shows a hidden window; asserts in any other state. Does not take the visibility lock.
    void Show();

    /// Hides a visible window. Does not take the visibility lock.
    /// Intentional: in any other state the panel is hidden first, and then it asserts.
    void Hide();

    /// Shows the cursor again, once called as often as `HideCursor`. Any thread.
    void ShowCursor();

    /// Hides the cursor on the whole main display, not only over the window. Calls are counted. Any thread.
    void HideCursor();

    /// Whether the pointer and clicks pass through to the windows below. A window that lets them through can't take the
    /// keyboard focus; one that does not can.
    void PassthroughCursor(bool passthrough);

    /// Excludes the window from recordings of the screen, or includes it again. Without effect on X11.
    void ExcludeFromCapture(bool exclude);

    /// Raises the window above all others; it also takes the keyboard focus if it can.
    void ToFront();

    /// Waits for the lock that serialises showing and hiding, and returns it. Any thread.
    /// Intentional: misspelled; callers know the name as it stands.
    VisibilityLock AcquireVisiblityLock();

    /// The native panel, null until it is created; `Destroy` leaves it. Not owned by the caller.
    void* GetHandle() const { return m_handle; }

    /// The class name, null until `Create` or `SetWindowClassName`. It is the caller's text, not a copy.
    const char* GetClassName() const { return m_className; }

    /// The state at this moment. Any thread.
    State GetState() const { return m_state; }

    /// The event callback, empty if there is none. Valid until it is replaced.
    const std::function<bool(const WindowEvent&)>& GetEventCallback() const { return m_eventCallback; }

    /// Hooks, which do nothing here. Only `OnUpdate` is called, by `Update`; the others are for platforms that have
    /// such events.
    virtual void OnKeyPress(Device::Keyboard::Key key);
    virtual void OnKeyRelease(Device::Keyboard::Key key);
    virtual void OnCreation();
    virtual void OnUpdate();
    virtual void OnPaint(unsigned long context);
    virtual void OnPaintBackground(unsigned long context);

protected:
    void* m_handle = nullptr;
    void* m_application;
    std::atomic<State> m_state = State::Undefined;
    std::function<bool(const WindowEvent&)> m_eventCallback;
    Style m_style;
    Math::Size2 m_size;
    Math::Coordinate2 m_position;
    const char* m_className = nullptr;
    const char* m_name;
    std::string m_errorText;
    std::mutex m_visibilityMutex;

private:
    bool TryStep(State from, State to);

    bool InitializePlatform();
    bool CreatePlatform();
    void UpdatePlatform(State state);
    void SetSizePlatform();
    void SetPositionPlatform();
    void SetRectanglePlatform();
    void ShowPlatform();
    void HidePlatform();
    void ShowCursorPlatform();
    void HideCursorPlatform();
    void PassthroughCursorPlatform(bool passthrough);
    void ExcludeFromCapturePlatform(bool exclude);
    void ToFrontPlatform();
    void DestroyPlatform();
};

} // namespace Tovra::System::Desktop
