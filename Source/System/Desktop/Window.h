#pragma once

#include <System/Desktop/WindowEvent.h>
#include <System/Types/Geometry.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace Tovra::System::Desktop {

/// A small borderless overlay window of the system's own, for showing something and for pumping events.
///
/// Every step of its life is one exchange of its state, and a step that is illegal, or lost a race, asserts with
/// "Window state can't be changed due to an race condition.". Only the state may be touched by several threads; the
/// rest is for the owner's thread. Work on the native panel reaches the main thread by itself (see
/// WindowPlatformNative.h), so the main thread must not wait for the owner's.
///
/// X11: nothing tells the program that the server has gone; only the standard error stream says so. From then on a
/// window's operations do nothing, creating a window fails at once, and `DisplayCache::Refresh` finds no display, after
/// 50 seconds.
class Window {
public:
    enum class State : std::uint8_t {
        Undefined = 0,   ///< Constructed.
        Initialized = 1, ///< The platform is initialised, or the caller has taken that over.
        Creating = 2,    ///< The native panel is being made.
        Hidden = 3,      ///< The native panel exists and is not shown.
        Visible = 4,     ///< Shown.
        Closing = 5,     ///< Asked to close; the next `Update` tears down.
        Closed = 6,      ///< Finished, or the creation failed.
    };

    /// Stored for platforms that draw frames; neither of today's reads it.
    enum class Style : std::uint32_t {};

    /// Serialises those who show and hide one window: others wait while it is held. The window must outlive it.
    class VisibilityLock {
    public:
        VisibilityLock(Window& window, std::unique_lock<std::mutex>&& lock);
        VisibilityLock(VisibilityLock&&) = default;

        /// Whether the window is in state `Visible`.
        bool IsVisible() const;

        /// Shows a hidden window; in any other state nothing happens.
        void Show();

        /// Hides the window unless it is hidden already. Asserts if it was not visible.
        void Hide();

    private:
        Window& m_window;
        std::unique_lock<std::mutex> m_lock;
    };

    /// Makes no native panel yet. `name` must not be null or empty and is not copied: the caller keeps it alive.
    Window(void* application, const char* name, Math::Coordinate2 position, Math::Size2 size, Style style);
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Destroys the native panel, also that of a closed window. An exception ends the process.
    virtual ~Window();

    /// Destroys the native panel and leaves the state as it is.
    void Destroy();

    /// Gives the class name, which is not copied, and takes over the platform's initialisation: `Create` then leaves it
    /// out. Only before `Create`, and only once.
    void SetWindowClassName(const char* className);

    /// Replaces the receiver of events; not from within the receiver. Without one no event is taken. Its result is not
    /// read.
    void SetEventCallback(std::function<bool(const WindowEvent&)> callback);

    /// Makes the native panel; the window is then `Hidden`. False if that failed: the window is then `Closed` and has
    /// no panel, or still `Undefined` if the platform could not be initialised. Only once.
    bool Create();

    /// One turn of the window's life: pumps events, or tears down a window that is to close. Asserts before `Create`.
    void Update();

    /// Asks to close, which the next `Update` carries out, whatever the state was. Any thread.
    void Close();

    /// The same, and keeps a copy of the reason.
    void CloseWithError(const char* errorText);

    /// Keeps the panel's lower left corner where it is, so its top edge moves. In points.
    void SetSize(Math::Size2 size);

    /// Puts the panel's upper left corner there. In points from the top left of the main screen.
    void SetPosition(Math::Coordinate2 position);

    /// Gives the panel both corners. In points from the top left of the main screen.
    void SetRectangle(Math::Rectangle rectangle);

    /// Shows a hidden window; asserts in any other state. Takes no lock.
    void Show();

    /// Hides a visible window. In any other state the panel is hidden first, and then it asserts. Takes no lock.
    void Hide();

    /// Shows the cursor again after as many calls of `HideCursor`. Any thread.
    void ShowCursor();

    /// Hides the cursor on the whole main display, not only over the window. Any thread.
    void HideCursor();

    /// Lets pointer and clicks through to what lies below, and gives up the right to the keyboard; false takes back
    /// both.
    void PassthroughCursor(bool passthrough);

    /// Keeps the window out of recordings of the screen, where the platform knows of such a thing.
    void ExcludeFromCapture(bool exclude);

    /// Puts the window above all others, and takes the keyboard if it has the right to.
    void ToFront();

    /// Waits until no one else holds the lock.
    VisibilityLock AcquireVisiblityLock();

    /// The native panel, null until created and kept after `Destroy`. Not owned by the caller.
    void* GetHandle() const { return m_handle; }

    /// The class name, null until `Create` or `SetWindowClassName`. Not owned.
    const char* GetClassName() const { return m_className; }

    /// Any thread.
    State GetState() const { return m_state; }

    const std::function<bool(const WindowEvent&)>& GetEventCallback() const { return m_eventCallback; }

    /// The hooks of a window. Only `OnUpdate` is called by this class; the others are for platforms that have such
    /// events.
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
