#pragma once

// The only code that speaks a desktop toolkit to a window. It keeps no rule of the window's life, and of what it was
// given it calls nothing but the event callback, and that from WindowUpdatePlatformNative alone.
//
// Whatever touches a panel happens on the main thread: in place there, otherwise queued while the caller waits, so the
// main thread must not wait for the caller and must serve its queue, which WindowUpdatePlatformNative does. Errors of
// the toolkit in work that runs in place end here: they are printed to the standard error stream as "Exception: " and a
// text, and the result is the neutral one (null, false).
//
// The cursor is changed from the calling thread. Its errors are the functions' results; an exception of the toolkit
// passes.
//
// A handle is opaque. Null is a handle on which every function does nothing. Coordinates and sizes are in points, with
// the origin at the top left of the first screen.

#include <System/Desktop/Window.h>

#include <cstdint>

namespace Tovra::System::Desktop {

/// Prepares the process for windows: it may then change the cursor while inactive, and display changes are reported
/// with `userInfo`. True.
bool WindowInitializePlatformNative(void* userInfo);

/// Makes a panel: borderless, without shadow, clear, above menus and status items, taking neither keyboard nor focus.
/// Null if it can't be made, and nothing of it is left then. Nothing releases the handle;
/// `WindowDestroyPlatformNative` ends the panel. On an X server without an alpha channel (no Composite) the panel is
/// opaque, and black where nothing is drawn.
void* WindowCreatePlatformNative(float x, float y, float width, float height);

/// One turn of the event pump, for a window with an event callback; without one nothing is pumped. `Hidden` runs the
/// main loop for 8 ms; `Visible` hands out the events that wait, without waiting for any. Always false, which callers
/// rely on.
bool WindowUpdatePlatformNative(Window* window, Window::State state);

/// Keeps the lower left corner.
void WindowSetSizePlatformNative(void* handle, float width, float height);

/// Moves the upper left corner there and keeps the size.
void WindowSetPositionPlatformNative(void* handle, float x, float y);

/// Gives the panel its upper left corner and its size at once.
void WindowSetRectanglePlatformNative(void* handle, float x, float y, float width, float height);

/// Makes the panel opaque to the eye again, and visible if it was not. On X11 it is raised as well.
void WindowShowPlatformNative(void* handle);

/// Makes the panel transparent; it stays where it is in the order of windows. On X11 its shape is empty then, or, where
/// the server shapes no windows (no XFixes), it is unmapped.
void WindowHidePlatformNative(void* handle);

/// Shows the cursor after `WindowHideCursorPlatformNative`; calls count. 0, or the system's error. On the calling
/// thread.
std::int32_t WindowShowCursorPlatformNative();

/// Hides the cursor everywhere on the main display. 0, or the system's error. On the calling thread.
std::int32_t WindowHideCursorPlatformNative();

/// Lets the pointer through, or not; a panel that lets it through may not take the keyboard, one that does not may. On
/// X11 a panel that may not is told of no keys, and gives the focus up if it has it; without XFixes the pointer is not
/// let through.
void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough);

/// Keeps the panel out of screen recordings, or not.
void WindowExcludeFromCapturePlatformNative(void* handle, bool exclude);

/// Raises the panel above its like; it takes the keyboard if it may.
void WindowToFrontPlatformNative(void* handle);

/// Ends the panel. Again is harmless.
void WindowDestroyPlatformNative(void* handle);

} // namespace Tovra::System::Desktop
