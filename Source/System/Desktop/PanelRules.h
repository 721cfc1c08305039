#pragma once

// The rules of native panels that need no toolkit.

#include <System/Desktop/PanelEvent.h>
#include <System/Desktop/Window.h>

#include <cstdint>
#include <functional>
#include <optional>

namespace Tovra::System::Desktop {

/// Converts the y of a rectangle between an origin at the top left and one at the bottom left of the first screen: the
/// distance of its top edge from the screen's top, or of its bottom edge from the screen's bottom. In points; its own
/// inverse.
double FlipVertically(double screenHeight, double y, double height);

/// The event that windows receive; none for a type that they don't receive. For a move it reads the pointer's position.
/// Main thread.
std::optional<WindowEvent> TranslateEvent(const PanelEvent& event);

/// The `PanelModifierFlag` of a modifier key, the same for left and right; 0 for other keys.
std::uint64_t GetModifierFlag(Device::Keyboard::Key key);

/// The event type of a key that was pressed or released, for a toolkit that does not distinguish modifiers.
PanelEventType GetKeyEventType(Device::Keyboard::Key key, bool pressed);

/// Runs work on panels on the main thread: if that is the calling one, in place, and the toolkit's exceptions are
/// printed and swallowed; otherwise on the main queue, while the caller waits.
void RunOnMainThread(const std::function<void()>& work);

/// One turn of the event pump: how every host implements `WindowUpdatePlatformNative`.
bool UpdatePanel(const Window& window, Window::State state);

} // namespace Tovra::System::Desktop
