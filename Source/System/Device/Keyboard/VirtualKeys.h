#pragma once

#include <System/Device/Keyboard/KeyCode.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace Tovra::System::Device::Keyboard {

/// A host's native key codes by `Key`; -1 if it has no such key.
using VirtualKeyTable = std::array<std::int32_t, static_cast<std::size_t>(Key::_count)>;

/// The virtual key codes of macOS.
extern const VirtualKeyTable macVirtualKeys;

/// The key codes of an X11 server on Linux, whose keyboard driver adds 8 to the kernel's code.
extern const VirtualKeyTable xVirtualKeys;

/// The code of `key` in `table`, -1 for none.
std::int32_t FindVirtualKey(const VirtualKeyTable& table, Key key);

/// The first key of `table` with this code, `Key::Undefined` for none.
Key FindKey(const VirtualKeyTable& table, unsigned int virtualKey);

} // namespace Tovra::System::Device::Keyboard
