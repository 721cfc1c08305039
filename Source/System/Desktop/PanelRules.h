#pragma once

// What a native panel does that can be decided without its toolkit.

#include <System/Desktop/PanelEvent.h>
#include <System/Desktop/Window.h>

#include <cstdint>
#include <functional>
#include <optional>

namespace Tovra::System::Desktop {

/// Turns a y between an origin at the top left and one at the bottom left: of an area of `height`, from its near edge
/// in the one to its near edge in the other, on a first screen of `screenHeight`. In points; its own inverse.
double FlipVertically(double screenHeight, double y, double height);

/// The event as windows receive it; none for types that they do not. Asks for the pointer if it moved. Main thread.
std::optional<WindowEvent> TranslateEvent(const PanelEvent& event);

/// The flag of a modifier key, the same for left and right; 0 for other keys.
std::uint64_t GetModifierFlag(Device::Keyboard::Key key);

/// The event type of a key that went down or up, for a toolkit that does not tell modifiers apart.
PanelEventType GetKeyEventType(Device::Keyboard::Key key, bool pressed);

/// Runs work on panels by the thread rule: in place on the main thread, where the toolkit's exceptions are printed and
/// swallowed; otherwise on the main queue, while the caller waits.
void RunOnMainThread(const std::function<void()>& work);

/// One turn of the event pump; see `WindowUpdatePlatformNative`, which it answers on every host.
bool UpdatePanel(const Window& window, Window::State state);

} // namespace Tovra::System::Desktop
