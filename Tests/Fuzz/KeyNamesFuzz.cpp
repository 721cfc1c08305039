// Oracle: libxkbcommon's US keyboard for characters, and the tables, searched one by one, for names
// Reaches: Tovra::System::Device::Keyboard::KeyFromNameLegacy Tovra::System::Device::Keyboard::KeyFromCharacter
// Reaches: Tovra::System::Device::Keyboard::KeyFromModifier Tovra::System::Device::Keyboard::ModifierKeyFromName
// Reaches: Tovra::System::Device::Keyboard::AddKeysFromModifierFlags Tovra::System::Device::Keyboard::FindKey

#include <System/Device/Keyboard/KeyCode.h>
#include <System/Device/Keyboard/KeyNames.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using namespace Tovra::System::Device::Keyboard;
using Fuzz::Expect;
using Fuzz::Outcome;

Outcome s_character("a character of the keyboard");
Outcome s_shifted("a character with shift");
Outcome s_named("a name of a key");
Outcome s_legacy("a legacy name");
Outcome s_unknown("a name that no key has");
Outcome s_modifier("a name of a modifier");
Outcome s_modifiers("several modifiers");

/// A key code of the server, and whether shift is held.
using Keystroke = std::pair<xkb_keycode_t, bool>;

/// How a US keyboard types each character: by the first key that has it.
std::map<char, Keystroke> MakeKeystrokes() {
    xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    const xkb_rule_names names{
        .rules = "evdev", .model = "pc105", .layout = "us", .variant = nullptr, .options = nullptr};
    xkb_keymap* const keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    Expect(keymap != nullptr, "there is a US keyboard");
    std::map<xkb_keysym_t, char> characters{{XKB_KEY_Tab, '\t'}, {XKB_KEY_Return, '\n'}};
    for (char character = ' '; character <= '~'; ++character) {
        characters[static_cast<xkb_keysym_t>(character)] = character;
    }
    std::map<char, Keystroke> keystrokes;
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap); code <= xkb_keymap_max_keycode(keymap); ++code) {
        for (const xkb_level_index_t level : {0U, 1U}) {
            const xkb_keysym_t* symbols = nullptr;
            const auto found = xkb_keymap_key_get_syms_by_level(keymap, code, 0, level, &symbols) == 1
                                   ? characters.find(*symbols)
                                   : characters.end();
            if (found != characters.end()) {
                keystrokes.try_emplace(found->second, code, level == 1);
            }
        }
    }
    xkb_keymap_unref(keymap);
    xkb_context_unref(context);
    Expect(keystrokes.size() == characters.size(), "the keyboard has all characters", keystrokes.size());
    return keystrokes;
}

const std::map<char, Keystroke>& GetKeystrokes() {
    static const std::map<char, Keystroke> s_keystrokes = MakeKeystrokes();
    return s_keystrokes;
}

void CheckCharacter(char character) {
    const auto found = GetKeystrokes().find(character);
    if (found == GetKeystrokes().end()) {
        return; // The function asserts.
    }
    const auto [code, isShifted] = found->second;
    ModifierKeys flags = ModifierKey::Alt;
    const Key key = KeyFromCharacter(character, flags);
    Expect(VirtualKeyFromKey(key) == static_cast<int>(code), "both type a character with the same key", character,
           code);
    Expect(flags == (isShifted ? ModifierKeys(ModifierKey::Alt) | ModifierKey::Shift : ModifierKeys(ModifierKey::Alt)),
           "both hold shift or not, and other flags stay", character);
    s_character.Note();
    s_shifted.Note(isShifted);
    // Those that are named by themselves; blanks have names of letters.
    if (std::isgraph(static_cast<unsigned char>(character)) != 0) {
        ModifierKeys flagsOfName = ModifierKey::Alt;
        const std::string name(1, character);
        Expect(KeyFromNameLegacy(name.c_str(), flagsOfName) == key && flagsOfName == flags,
               "a character is also a name of its key", name);
    }
}

/// Compares with a search through the tables, and with a name that is nearly the same.
void CheckName(const std::string& line) {
    const std::string name = line.substr(0, line.find('\0'));
    Key expected = Key::Undefined;
    bool isShifted = false;
    for (const auto& [text, key] : legacyKeyNames) {
        expected = s_legacy.Note(text == name) ? key : expected;
    }
    for (int value = 1; value < static_cast<int>(Key::_count); ++value) {
        expected = s_named.Note(name == GetKeyString(Key(value))) ? Key(value) : expected;
    }
    for (const auto& [text, key] : shiftedKeyNames) {
        expected = text == name ? key : expected;
        isShifted |= text == name;
    }
    ModifierKeys flags = ModifierKey::Command;
    const Key key = KeyFromNameLegacy(name.c_str(), flags);
    Expect(key == expected, "a name gives its key", name, static_cast<int>(key), static_cast<int>(expected));
    Expect(flags == (isShifted ? ModifierKeys(ModifierKey::Command) | ModifierKey::Shift
                               : ModifierKeys(ModifierKey::Command)),
           "a name holds shift or not", name);
    s_unknown.Note(key == Key::Undefined && !name.empty());
    const ModifierKeys modifier = ModifierKeyFromName(name.c_str());
    Expect(modifier == ModifierKeyFromKey(key) && modifier.IsEmpty() == !IsModifierKey(key),
           "a name gives its key's modifier", name);
    s_modifier.Note(!modifier.IsEmpty());

    const auto isFound = [](const std::string& text) {
        ModifierKeys none;
        return KeyFromNameLegacy(text.c_str(), none) != Key::Undefined;
    };
    if (name.size() > 3) {
        Expect(!isFound(' ' + name) && !isFound(name + ' '), "a name has no blank around it", name);
    }
}

/// Each key of a byte comes back from its name and from the host's code, each set of flags from its keys.
void CheckByte(unsigned char byte) {
    const Key key{byte};
    const std::string name = GetKeyString(key);
    Expect(name.empty() == (byte > static_cast<int>(Key::_count)), "all keys have names, and nothing else has", byte);
    ModifierKeys flags;
    if (key < Key::_count && key != Key::Undefined) {
        Expect(KeyFromNameLegacy(name.c_str(), flags) == key, "a key comes back from its name", name);
    }
    const int code = VirtualKeyFromKey(key);
    Expect(code == -1 || KeyFromVirtualKey(static_cast<unsigned int>(code)) == key, "a key comes back from its code",
           byte);
    const Key coded = KeyFromVirtualKey(byte);
    Expect(coded == Key::Undefined || VirtualKeyFromKey(coded) == byte, "a code comes back from its key", byte);

    const ModifierKeys modifiers(static_cast<std::uint8_t>(byte % 32));
    std::vector<Key> keys;
    AddKeysFromModifierFlags(keys, modifiers);
    ModifierKeys gathered;
    for (const Key held : keys) {
        const ModifierKeys modifier = ModifierKeyFromKey(held);
        gathered |= modifier;
        const ModifierKey single = static_cast<ModifierKey>(modifier.GetBits());
        Expect(KeyFromModifier(single) == held, "a modifier comes back from its key", byte);
        Expect(ModifierKeyFromName(NameOfModifierKey(single)) == modifier, "a modifier comes back from its name", byte);
    }
    Expect(gathered == modifiers, "all modifiers have keys", byte);
    s_modifiers.Note(keys.size() > 1);
}

} // namespace

// Each line is a name, and each byte a character, a key, a code, and a set of modifiers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = Fuzz::GetText(data, size);
    for (const std::string& line : Fuzz::GetLines(text)) {
        CheckName(line);
    }
    for (const char character : text.substr(0, 64)) {
        CheckCharacter(character);
        CheckByte(static_cast<unsigned char>(character));
    }
    return 0;
}
