#include <System/Device/Keyboard/KeyCode.h>
#include <System/Device/Keyboard/KeyNames.h>
#include <System/Error/Assertion.h>

#include <array>
#include <cstddef>
#include <optional>
#include <unordered_map>

namespace Tovra::System::Device::Keyboard {

namespace {

using KeyMap = std::unordered_map<std::string_view, Key>;

/// The table begins with the key whose value, read as a signed byte, is -128: the top bit is flipped.
constexpr std::size_t GetNameSlot(Key key) {
    return static_cast<std::size_t>(key) ^ 0x80;
}

consteval auto MakeKeyStrings() {
    std::array<const char*, 256> strings{};
    strings.fill("");
#define TOVRA_KEY_NAME(name, macCode, inputEventCode) strings[GetNameSlot(Key::name)] = #name;
    TOVRA_KEY_TABLE(TOVRA_KEY_NAME)
#undef TOVRA_KEY_NAME
    strings[GetNameSlot(Key::_count)] = "_count"; // An enumerator like any other.
    return strings;
}

constexpr auto keyStrings = MakeKeyStrings();

/// The key that types a character on a US keyboard, and whether shift is held.
struct Keystroke {
    Key key = Key::Undefined;
    bool isShifted = false;
};

consteval auto MakeKeystrokes() {
    std::array<Keystroke, 256> keystrokes{}; // By the character's code.
    const auto addCharacters = [&keystrokes](const auto& names, bool isShifted) consteval {
        for (const auto& [text, key] : names) {
            if (text.size() == 1) {
                keystrokes[static_cast<unsigned char>(text.front())] = {key, isShifted};
            }
        }
    };
    addCharacters(shiftedKeyNames, true);
    addCharacters(legacyKeyNames, false);
    keystrokes['\t'] = {Key::Tab};
    // Intentional: code 13 has no key, though 10 has one; callers send text with bare line feeds.
    keystrokes['\n'] = {Key::Return};
    keystrokes[' '] = {Key::Space};
    return keystrokes;
}

constexpr auto keystrokes = MakeKeystrokes();

template <std::size_t count>
KeyMap MakeKeyMap(const std::array<KeyName, count>& names) {
    KeyMap map(count);
    for (const auto& [text, key] : names) {
        map.emplace(text, key);
    }
    return map;
}

const KeyMap& GetShiftedKeys() {
    static const auto s_shiftedKeys = MakeKeyMap(shiftedKeyNames);
    return s_shiftedKeys;
}

const KeyMap& GetLegacyKeys() {
    static const auto s_legacyKeys = MakeKeyMap(legacyKeyNames);
    return s_legacyKeys;
}

std::optional<Key> Find(const KeyMap& keys, std::string_view text) {
    const auto found = keys.find(text);
    return found == keys.end() ? std::nullopt : std::optional(found->second);
}

/// The key with exactly that name; "Undefined" is none.
std::optional<Key> FindKeyOfString(std::string_view text) {
    for (int value = static_cast<int>(Key::Undefined) + 1; value < static_cast<int>(Key::_count); ++value) {
        if (text == GetKeyString(static_cast<Key>(value))) {
            return static_cast<Key>(value);
        }
    }
    return std::nullopt;
}

} // namespace

const char* GetKeyString(Key key) {
    return keyStrings[GetNameSlot(key)];
}

Key KeyFromNameLegacy(const char* name, ModifierKeys& flags) {
    const std::string_view text = name;
    if (const auto shifted = Find(GetShiftedKeys(), text)) {
        flags |= ModifierKey::Shift;
        return *shifted;
    }
    if (const auto named = FindKeyOfString(text)) {
        return *named;
    }
    return Find(GetLegacyKeys(), text).value_or(Key::Undefined);
}

Key KeyFromCharacter(char character, ModifierKeys& flags) {
    const Keystroke keystroke = keystrokes[static_cast<unsigned char>(character)];
    if (keystroke.key == Key::Undefined) {
        TOVRA_FAIL_CASE();
    }
    if (keystroke.isShifted) {
        flags |= ModifierKey::Shift;
    }
    return keystroke.key;
}

std::int32_t VirtualKeyFromKey(Key key) {
    return VirtualKeyFromKeyPlatform(key);
}

Key KeyFromVirtualKey(unsigned int virtualKey) {
    return KeyFromVirtualKeyPlatform(virtualKey);
}

bool IsModifierKey(Key key) {
    return !ModifierKeyFromKey(key).IsEmpty();
}

ModifierKeys ModifierKeyFromKey(Key key) {
    switch (key) {
    case Key::LControl:
    case Key::RControl:
        return ModifierKey::Control;
    case Key::LMenu:
        return ModifierKey::Alt;
    case Key::RMenu:
        return ModifierKey::AltRight;
    case Key::LShift:
    case Key::RShift:
        return ModifierKey::Shift;
    case Key::LWin:
    case Key::RWin:
        return ModifierKey::Command;
    default:
        return {};
    }
}

Key KeyFromModifier(ModifierKey modifier) {
    switch (modifier) {
    case ModifierKey::Control:
        return Key::LControl;
    case ModifierKey::Alt:
        return Key::LMenu;
    case ModifierKey::AltRight:
        return Key::RMenu;
    case ModifierKey::Shift:
        return Key::LShift;
    case ModifierKey::Command:
        return Key::LWin;
    }
    TOVRA_FAIL_CASE();
}

ModifierKeys ModifierKeyFromName(const char* name) {
    ModifierKeys ignoredFlags;
    return ModifierKeyFromKey(KeyFromNameLegacy(name, ignoredFlags));
}

const char* NameOfModifierKey(ModifierKey modifier) {
    switch (modifier) {
    case ModifierKey::Control:
        return "control";
    case ModifierKey::Alt:
        return "alt";
    case ModifierKey::AltRight:
        return "alt_right";
    case ModifierKey::Shift:
        return "shift";
    case ModifierKey::Command:
        return "command";
    }
    TOVRA_FAIL_CASE();
}

void AddKeysFromModifierFlags(std::vector<Key>& keys, const ModifierKeys& flags) {
    for (auto rest = flags; !rest.IsEmpty(); rest ^= rest.GetLowest()) {
        keys.push_back(KeyFromModifier(static_cast<ModifierKey>(rest.GetLowest().GetBits())));
    }
}

} // namespace Tovra::System::Device::Keyboard
