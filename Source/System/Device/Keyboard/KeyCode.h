#pragma once

#include <System/Device/Keyboard/KeyTable.h>
#include <System/Types/EnumFlags.h>

#include <cstdint>
#include <vector>

namespace Tovra::System::Device::Keyboard {

/// A key, independent of the host. The values follow the PC scan codes of a US keyboard.
enum class Key : std::uint8_t {
#define TOVRA_KEY_ENUMERATOR(name, macCode, inputEventCode) name,
    TOVRA_KEY_TABLE(TOVRA_KEY_ENUMERATOR)
#undef TOVRA_KEY_ENUMERATOR
        _count, ///< The number of keys.
};

/// A modifier that is held while a key is pressed. Left and right are distinguished for alt only.
enum class ModifierKey : std::uint8_t {
    Control = 1,
    Alt = 2,
    AltRight = 4,
    Shift = 8,
    Command = 16,
};

/// A set of modifiers.
using ModifierKeys = Types::EnumFlags<ModifierKey>;

/// The name of the enumerator, `_count` included; the empty text for any other value. Static text.
const char* GetKeyString(Key key);

/// The key of that name, `Key::Undefined` if there is none. `name` must not be null; letter case counts.
///
/// A capital letter or a shifted symbol of a US keyboard gives its key and adds shift to `flags`. After these the names
/// of `GetKeyString` are searched, then the legacy names ("arrow_up", "numpad_0", "a", ";"); these leave `flags`
/// unchanged.
Key KeyFromNameLegacy(const char* name, ModifierKeys& flags);

/// The key that types a character on a US keyboard; adds shift to `flags` if it needs shift. Asserts that the character
/// is a tab, a line feed or a printable one of ASCII.
Key KeyFromCharacter(char character, ModifierKeys& flags);

/// The host's native code of a key, -1 if it has none.
std::int32_t VirtualKeyFromKey(Key key);

/// The first key with this native code of the host, `Key::Undefined` if there is none.
Key KeyFromVirtualKey(unsigned int virtualKey);

/// Whether the key is one of the control, shift, alt and command (Windows) keys, of either side.
bool IsModifierKey(Key key);

/// The modifier of a key; empty if it is not a modifier key.
ModifierKeys ModifierKeyFromKey(Key key);

/// The key of a modifier, the left one if there are two. Asserts that `modifier` is one enumerator.
Key KeyFromModifier(ModifierKey modifier);

/// The modifier of the key that `KeyFromNameLegacy` gives for a name; empty if that is not a modifier key. `name` must
/// not be null.
ModifierKeys ModifierKeyFromName(const char* name);

/// The name of a modifier: "control", "alt", "alt_right", "shift" or "command". Static text. Asserts that `modifier` is
/// one enumerator.
const char* NameOfModifierKey(ModifierKey modifier);

/// Appends the key of each modifier that is set, in the order of the enumeration. Asserts that no other flag is set.
void AddKeysFromModifierFlags(std::vector<Key>& keys, const ModifierKeys& flags);

/// How the host implements `VirtualKeyFromKey`.
std::int32_t VirtualKeyFromKeyPlatform(Key key);

/// How the host implements `KeyFromVirtualKey`.
Key KeyFromVirtualKeyPlatform(unsigned int virtualKey);

} // namespace Tovra::System::Device::Keyboard
