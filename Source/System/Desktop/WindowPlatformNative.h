#pragma once

// A window's seam to the desktop toolkit. It contains no rule of the window's life, and calls back from
// WindowUpdatePlatformNative alone: the event callback, and after a change of the displays the display cache.
//
// Work on a panel runs on the main thread: in place there, otherwise queued while the caller waits. So the main thread
// must not wait for the caller and must serve its queue, which WindowUpdatePlatformNative does. Toolkit errors in work
// that runs in place are printed to the standard error stream as "Exception: " and a text, and the result is the
// neutral one (null, false). Any other exception, such as one of the event callback, passes; out of queued work it
// reaches the waiting caller on X11 and ends the process on macOS.
//
// The cursor is changed from the calling thread. Its errors are the functions' results; an exception of the toolkit
// passes.
//
// A handle is opaque. On the null handle every function does nothing. Coordinates and sizes are in points, with the
// origin at the top left of the first screen.

#include <System/Desktop/Window.h>

#include <cstdint>

namespace Tovra::System::Desktop {

/// Prepares the process for windows: it may then change the cursor while inactive, and display changes are reported
/// with `userInfo`. Always true.
bool WindowInitializePlatformNative(void* userInfo);

/// Creates an invisible panel: borderless, without shadow, transparent, above menus and status items, without keyboard
/// or focus. Null if it can't be created, and nothing of it is left then. The caller owns the panel until
/// `WindowDestroyPlatformNative`. On an X server without an alpha channel (no Composite) the panel is opaque, and black
/// where nothing is drawn.
void* WindowCreatePlatformNative(float x, float y, float width, float height);

/// One turn of the event loop, for a window with an event callback; without one it does nothing. `Hidden` runs the main
/// loop for 8 ms; `Visible` delivers pending events without blocking.
/// Intentional: always false, which callers rely on.
bool WindowUpdatePlatformNative(Window* window, Window::State state);

/// Resizes the panel and keeps its lower left corner.
void WindowSetSizePlatformNative(void* handle, float width, float height);

/// Moves the upper left corner there and keeps the size.
void WindowSetPositionPlatformNative(void* handle, float x, float y);

/// Moves the upper left corner and resizes the panel in one step.
void WindowSetRectanglePlatformNative(void* handle, float x, float y, float width, float height);

/// Makes the panel visible. On X11 it is raised as well.
void WindowShowPlatformNative(void* handle);

/// Makes the panel invisible; it keeps its place in the stacking order. On X11 its shape is then empty, or, if the
/// server has no shapes (no XFixes), it is unmapped.
void WindowHidePlatformNative(void* handle);

/// Shows the cursor after `WindowHideCursorPlatformNative`; calls count. 0, or the system's error. On the calling
/// thread.
std::int32_t WindowShowCursorPlatformNative();

/// Hides the cursor everywhere on the main display. 0, or the system's error. On the calling thread.
std::int32_t WindowHideCursorPlatformNative();

/// Lets the pointer pass through the panel, or not. A panel that it passes through may not have the keyboard, another
/// one may. On X11 a panel that may not receives no key events and gives up the focus; without XFixes the pointer does
/// not pass through.
void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough);

/// Keeps the panel out of screen recordings, or not. Without effect on X11.
void WindowExcludeFromCapturePlatformNative(void* handle, bool exclude);

/// Raises the panel above others of its layer, and gives it the keyboard if it may have that.
void WindowToFrontPlatformNative(void* handle);

/// Destroys the panel. Destroying twice is harmless.
void WindowDestroyPlatformNative(void* handle);

} // namespace Tovra::System::Desktop
