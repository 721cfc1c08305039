#pragma once

#include <System/Device/Keyboard/KeyTable.h>
#include <System/Types/EnumFlags.h>

#include <cstdint>
#include <vector>

namespace Tovra::System::Device::Keyboard {

/// A key, whatever the system underneath: the PC scan code of the key on a US keyboard.
enum class Key : std::uint8_t {
#define TOVRA_KEY_ENUMERATOR(name, macCode, inputEventCode) name,
    TOVRA_KEY_TABLE(TOVRA_KEY_ENUMERATOR)
#undef TOVRA_KEY_ENUMERATOR
        _count, ///< The number of keys.
};

/// A modifier that is held while a key is pressed. Left and right are told apart for alt alone.
enum class ModifierKey : std::uint8_t {
    Control = 1,
    Alt = 2,
    AltRight = 4,
    Shift = 8,
    Command = 16,
};

using ModifierKeys = Types::EnumFlags<ModifierKey>;

/// The key's name as it stands in the enumeration, the empty text for a value that has none. Static text.
const char* GetKeyString(Key key);

/// The key that a name means, `Key::Undefined` for none. `name` must not be null; letter case counts.
///
/// A capital letter or a shifted symbol of a US keyboard means its key and adds shift to `flags`. Then come the names
/// of `GetKeyString`, then the legacy names ("arrow_up", "numpad_0", "a", ";"); these leave `flags` alone.
Key KeyFromNameLegacy(const char* name, ModifierKeys& flags);

/// The key that types a character on a US keyboard; adds shift to `flags` if it takes shift. Asserts on a character
/// that is none of tab, line feed and the printable ones of ASCII.
Key KeyFromCharacter(char character, ModifierKeys& flags);

/// This system's native code of a key, -1 for none.
std::int32_t VirtualKeyFromKey(Key key);

/// The first key with this native code of this system, `Key::Undefined` for none.
Key KeyFromVirtualKey(unsigned int virtualKey);

/// True for both control, shift, alt and command (Windows) keys.
bool IsModifierKey(Key key);

/// The modifier that a key is; empty for other keys.
ModifierKeys ModifierKeyFromKey(Key key);

/// The key that stands for a modifier, the left one where there are two. Asserts on anything but one enumerator.
Key KeyFromModifier(ModifierKey modifier);

/// The modifier that a name of `KeyFromNameLegacy` means; empty for others.
ModifierKeys ModifierKeyFromName(const char* name);

/// "control", "alt", "alt_right", "shift" or "command". Asserts on anything but one enumerator. Static text.
const char* NameOfModifierKey(ModifierKey modifier);

/// Appends the key of each modifier that is set, in the order of the enumeration.
void AddKeysFromModifierFlags(std::vector<Key>& keys, const ModifierKeys& flags);

/// What this host answers to `VirtualKeyFromKey`.
std::int32_t VirtualKeyFromKeyPlatform(Key key);

/// What this host answers to `KeyFromVirtualKey`.
Key KeyFromVirtualKeyPlatform(unsigned int virtualKey);

} // namespace Tovra::System::Device::Keyboard
