#include <Support/Assertions.h>
#include <System/Device/Keyboard/KeyCode.h>
#include <System/Device/Keyboard/KeyNames.h>

#include <array>
#include <set>
#include <string>
#include <vector>

namespace Tovra::System::Device::Keyboard {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto missingCase = "Implementation of case directive is missing.";

/// Every key's name, in the order of the numbers.
constexpr auto allNames = std::to_array<const char*>({"Undefined",
                                                      "Escape",
                                                      "Digit1",
                                                      "Digit2",
                                                      "Digit3",
                                                      "Digit4",
                                                      "Digit5",
                                                      "Digit6",
                                                      "Digit7",
                                                      "Digit8",
                                                      "Digit9",
                                                      "Digit0",
                                                      "OemMinus",
                                                      "OemPlus",
                                                      "Back",
                                                      "Tab",
                                                      "Q",
                                                      "W",
                                                      "E",
                                                      "R",
                                                      "T",
                                                      "Y",
                                                      "U",
                                                      "I",
                                                      "O",
                                                      "P",
                                                      "Oem4",
                                                      "Oem6",
                                                      "Return",
                                                      "LControl",
                                                      "A",
                                                      "S",
                                                      "D",
                                                      "F",
                                                      "G",
                                                      "H",
                                                      "J",
                                                      "K",
                                                      "L",
                                                      "Oem1",
                                                      "Oem7",
                                                      "Oem3",
                                                      "LShift",
                                                      "Oem5",
                                                      "Z",
                                                      "X",
                                                      "C",
                                                      "V",
                                                      "B",
                                                      "N",
                                                      "M",
                                                      "OemComma",
                                                      "OemPeriod",
                                                      "Oem2",
                                                      "RShift",
                                                      "Multiply",
                                                      "LMenu",
                                                      "Space",
                                                      "Capital",
                                                      "F1",
                                                      "F2",
                                                      "F3",
                                                      "F4",
                                                      "F5",
                                                      "F6",
                                                      "F7",
                                                      "F8",
                                                      "F9",
                                                      "F10",
                                                      "Numlock",
                                                      "Scroll",
                                                      "Numpad7",
                                                      "Numpad8",
                                                      "Numpad9",
                                                      "Subtract",
                                                      "Numpad4",
                                                      "Numpad5",
                                                      "Numpad6",
                                                      "Add",
                                                      "Numpad1",
                                                      "Numpad2",
                                                      "Numpad3",
                                                      "Numpad0",
                                                      "Decimal",
                                                      "Snapshot",
                                                      "Oem102",
                                                      "F11",
                                                      "F12",
                                                      "Clear",
                                                      "OemWsctrl",
                                                      "DbeKatakana",
                                                      "OemJump",
                                                      "DbeFlushstring",
                                                      "OemBacktab",
                                                      "OemAuto",
                                                      "DbeNocodeinput",
                                                      "Help",
                                                      "F13",
                                                      "F14",
                                                      "F15",
                                                      "F16",
                                                      "F17",
                                                      "F18",
                                                      "F19",
                                                      "F20",
                                                      "F21",
                                                      "F22",
                                                      "F23",
                                                      "OemPa3",
                                                      "OemReset",
                                                      "AbntC1",
                                                      "F24",
                                                      "OemPa1",
                                                      "AbntC2",
                                                      "MediaPrevTrack",
                                                      "MediaNextTrack",
                                                      "RControl",
                                                      "VolumeMute",
                                                      "LaunchApp2",
                                                      "MediaPlayPause",
                                                      "MediaStop",
                                                      "VolumeDown",
                                                      "VolumeUp",
                                                      "BrowserHome",
                                                      "Divide",
                                                      "RMenu",
                                                      "Cancel",
                                                      "Home",
                                                      "Up",
                                                      "Prior",
                                                      "Left",
                                                      "Right",
                                                      "End",
                                                      "Down",
                                                      "Next",
                                                      "Insert",
                                                      "Delete",
                                                      "LWin",
                                                      "RWin",
                                                      "Apps",
                                                      "Sleep",
                                                      "BrowserSearch",
                                                      "BrowserFavorites",
                                                      "BrowserRefresh",
                                                      "BrowserStop",
                                                      "BrowserForward",
                                                      "BrowserBack",
                                                      "LaunchApp1",
                                                      "LaunchMail",
                                                      "LaunchMediaSelect",
                                                      "Pause",
                                                      "Fn"});

Key KeyOf(int value) {
    return static_cast<Key>(value);
}

/// What a name gives: the key and whether it added shift to flags that held control.
struct Named {
    Key key;
    bool isShifted;
    friend bool operator==(const Named&, const Named&) = default;
};

Named ReadFlags(Key key, ModifierKeys flags) {
    EXPECT_TRUE(flags.HasAny(ModifierKey::Control)) << "A flag was taken away.";
    EXPECT_EQ((flags & ~(ModifierKeys(ModifierKey::Control) | ModifierKey::Shift)).GetBits(), 0U);
    return {key, flags.HasAny(ModifierKey::Shift)};
}

Named FromName(const std::string& name) {
    ModifierKeys flags = ModifierKey::Control;
    const Key key = KeyFromNameLegacy(name.c_str(), flags);
    return ReadFlags(key, flags);
}

Named FromCharacter(char character) {
    ModifierKeys flags = ModifierKey::Control;
    const Key key = KeyFromCharacter(character, flags);
    return ReadFlags(key, flags);
}

TEST(KeyCode, KeysAreNumberedAsTheScanCodesOfAUsKeyboard) {
    EXPECT_EQ(static_cast<int>(Key::Undefined), 0);
    EXPECT_EQ(static_cast<int>(Key::Escape), 1);
    EXPECT_EQ(static_cast<int>(Key::A), 30);
    EXPECT_EQ(static_cast<int>(Key::F11), 86);
    EXPECT_EQ(static_cast<int>(Key::RControl), 116);
    EXPECT_EQ(static_cast<int>(Key::Fn), 151);
    EXPECT_EQ(static_cast<int>(Key::_count), 152);
    EXPECT_EQ(sizeof(Key), 1U);
}

TEST(KeyCode, EveryKeyHasItsName) {
    ASSERT_EQ(allNames.size(), 152U);
    for (int value = 0; value < 152; ++value) {
        EXPECT_STREQ(GetKeyString(KeyOf(value)), allNames[static_cast<std::size_t>(value)]) << value;
    }
}

TEST(KeyCode, TheCountHasItsNameAndTheRestTheEmptyOne) {
    EXPECT_STREQ(GetKeyString(KeyOf(152)), "_count");
    for (int value = 153; value < 256; ++value) {
        EXPECT_STREQ(GetKeyString(KeyOf(value)), "") << value;
    }
}

TEST(KeyCode, TheNameMapsHave47And143RowsAndNoTextTwice) {
    EXPECT_EQ(shiftedKeyNames.size(), 47U);
    EXPECT_EQ(legacyKeyNames.size(), 143U);
    std::set<std::string_view> texts;
    for (const auto& name : shiftedKeyNames) {
        EXPECT_TRUE(texts.insert(name.text).second) << name.text;
    }
    for (const auto& name : legacyKeyNames) {
        EXPECT_TRUE(texts.insert(name.text).second) << name.text;
    }
}

TEST(KeyCode, CapitalsAndShiftedSymbolsAddShift) {
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        const std::string name(1, letter);
        EXPECT_TRUE(FromName(name).isShifted) << name;
        EXPECT_EQ(GetKeyString(FromName(name).key), name);
    }
    const std::string symbols = "~!@#$%^&*()_+{}:\"|<>?";
    const std::vector<Key> keys = {Key::Oem3,     Key::Digit1,    Key::Digit2, Key::Digit3, Key::Digit4, Key::Digit5,
                                   Key::Digit6,   Key::Digit7,    Key::Digit8, Key::Digit9, Key::Digit0, Key::OemMinus,
                                   Key::OemPlus,  Key::Oem4,      Key::Oem6,   Key::Oem1,   Key::Oem7,   Key::Oem5,
                                   Key::OemComma, Key::OemPeriod, Key::Oem2};
    ASSERT_EQ(symbols.size(), keys.size());
    for (std::size_t index = 0; index < symbols.size(); ++index) {
        const std::string name(1, symbols[index]);
        EXPECT_EQ(FromName(name), (Named{keys[index], true})) << name;
        EXPECT_EQ(FromCharacter(symbols[index]), (Named{keys[index], true})) << name;
    }
}

TEST(KeyCode, LettersAndPlainSymbolsDoNotAddShift) {
    EXPECT_EQ(FromName("a"), (Named{Key::A, false}));
    EXPECT_EQ(FromName("z"), (Named{Key::Z, false}));
    EXPECT_EQ(FromName("0"), (Named{Key::Digit0, false}));
    const std::string symbols = ";=,-./\\`[]'";
    const std::vector<Key> keys = {Key::Oem1, Key::OemPlus, Key::OemComma, Key::OemMinus, Key::OemPeriod, Key::Oem2,
                                   Key::Oem5, Key::Oem3,    Key::Oem4,     Key::Oem6,     Key::Oem7};
    for (std::size_t index = 0; index < symbols.size(); ++index) {
        EXPECT_EQ(FromName({symbols[index]}), (Named{keys[index], false})) << symbols[index];
        EXPECT_EQ(FromCharacter(symbols[index]), (Named{keys[index], false})) << symbols[index];
    }
}

TEST(KeyCode, KeyNamesAreFoundAndASingleCapitalIsNot) {
    for (int value = 1; value < 152; ++value) {
        const std::string name = GetKeyString(KeyOf(value));
        EXPECT_EQ(FromName(name), (Named{KeyOf(value), name.size() == 1})) << name;
    }
    EXPECT_EQ(FromName("F5"), (Named{KeyOf(63), false}));
    EXPECT_EQ(FromName("f5"), (Named{KeyOf(63), false}));
    EXPECT_EQ(FromName("F"), (Named{Key::F, true}));
}

TEST(KeyCode, LegacyNamesAreFound) {
    const std::vector<std::pair<std::string, Key>> names = {
        {"backspace", Key::Back},
        {"delete", Key::Delete},
        {"enter", Key::Return},
        {"tab", Key::Tab},
        {"escape", Key::Escape},
        {"space", Key::Space},
        {"home", Key::Home},
        {"end", Key::End},
        {"insert", Key::Insert},
        {"arrow_up", Key::Up},
        {"up", Key::Up},
        {"arrow_down", Key::Down},
        {"down", Key::Down},
        {"arrow_left", Key::Left},
        {"left", Key::Left},
        {"arrow_right", Key::Right},
        {"right", Key::Right},
        {"pageup", Key::Prior},
        {"page_up", Key::Prior},
        {"pagedown", Key::Next},
        {"page_down", Key::Next},
        {"capslock", Key::Capital},
        {"os_modifier", Key::LWin},
        {"windows", Key::LWin},
        {"command", Key::LWin},
        {"alt", Key::LMenu},
        {"alt_left", Key::LMenu},
        {"alt_right", Key::RMenu},
        {"control", Key::LControl},
        {"control_left", Key::LControl},
        {"control_right", Key::RControl},
        {"shift", Key::LShift},
        {"shift_left", Key::LShift},
        {"left_shift", Key::LShift},
        {"shift_right", Key::RShift},
        {"right_shift", Key::RShift},
        {"print", Key::Snapshot},
        {"snapshot", Key::Snapshot},
        {"printscreen", Key::Snapshot},
        {"context_menu", Key::Apps},
        {"menu", Key::Apps},
        {"numpad_lock", Key::Numlock},
        {"numpad_0", Key::Numpad0},
        {"numpad_1", Key::Numpad1},
        {"numpad_2", Key::Numpad2},
        {"numpad_3", Key::Numpad3},
        {"numpad_4", Key::Numpad4},
        {"numpad_5", Key::Numpad5},
        {"numpad_6", Key::Numpad6},
        {"numpad_7", Key::Numpad7},
        {"numpad_8", Key::Numpad8},
        {"numpad_9", Key::Numpad9},
        {"numpad_+", Key::Add},
        {"numpad_-", Key::Subtract},
        {"numpad_*", Key::Multiply},
        {"numpad_/", Key::Divide},
        {"numpad_.", Key::Decimal},
        {"media_volume_mute", Key::VolumeMute},
        {"audio_mute", Key::VolumeMute},
        {"media_volume_down", Key::VolumeDown},
        {"audio_vol_down", Key::VolumeDown},
        {"media_volume_up", Key::VolumeUp},
        {"audio_vol_up", Key::VolumeUp},
        {"media_stop", Key::MediaStop},
        {"audio_stop", Key::MediaStop},
        {"media_play_or_pause", Key::MediaPlayPause},
        {"audio_play", Key::MediaPlayPause},
        {"audio_pause", Key::MediaPlayPause},
        {"media_prev", Key::MediaPrevTrack},
        {"audio_prev", Key::MediaPrevTrack},
        {"media_next", Key::MediaNextTrack},
        {"audio_next", Key::MediaNextTrack},
    };
    for (const auto& [name, key] : names) {
        EXPECT_EQ(FromName(name), (Named{key, false})) << name;
    }
    for (int number = 1; number <= 24; ++number) {
        const auto name = std::to_string(number);
        EXPECT_EQ(GetKeyString(FromName("f" + name).key), "F" + name);
    }
}

TEST(KeyCode, OtherNamesGiveNoKey) {
    for (const auto* name : {"Undefined", "", "_count", "escape ", "ESCAPE", "F25", "f25", "ab", " ", "\xC3\xA4"}) {
        EXPECT_EQ(FromName(name), (Named{Key::Undefined, false})) << name;
    }
}

TEST(KeyCode, EveryPrintableCharacterHasItsKey) {
    for (char character = '!'; character <= '~'; ++character) {
        EXPECT_EQ(FromCharacter(character), FromName({character})) << character;
    }
    EXPECT_EQ(FromCharacter(9), (Named{Key::Tab, false}));
    EXPECT_EQ(FromCharacter(10), (Named{Key::Return, false}));
    EXPECT_EQ(FromCharacter(32), (Named{Key::Space, false}));
}

TEST(KeyCodeDeathTest, OtherCharactersAssert) {
    for (const int code : {0, 8, 11, 13, 31, 127, -1, -128}) {
        EXPECT_ASSERTION(FromCharacter(static_cast<char>(code)), "false", missingCase);
    }
}

TEST(KeyCodeDeathTest, TheAssertionTellsItsPlace) {
    EXPECT_EXIT(FromCharacter(13), ::testing::KilledBySignal(SIGABRT),
                ::testing::HasSubstr("\t[0]: /System/Device/Keyboard/KeyCode"));
}

TEST(KeyCode, ModifiersAreTheirEightKeys) {
    const std::vector<std::pair<int, unsigned int>> modifiers = {{29, 1}, {116, 1}, {56, 2},   {125, 4},
                                                                 {42, 8}, {54, 8},  {137, 16}, {138, 16}};
    std::array<unsigned int, 256> expected{};
    for (const auto& [value, bits] : modifiers) {
        expected[static_cast<std::size_t>(value)] = bits;
    }
    for (int value = 0; value < 256; ++value) {
        const auto bits = expected[static_cast<std::size_t>(value)];
        EXPECT_EQ(ModifierKeyFromKey(KeyOf(value)).GetBits(), bits) << value;
        EXPECT_EQ(IsModifierKey(KeyOf(value)), bits != 0) << value;
    }
}

TEST(KeyCode, AModifierStandsForItsLeftKey) {
    EXPECT_EQ(KeyFromModifier(static_cast<ModifierKey>(1)), KeyOf(29));
    EXPECT_EQ(KeyFromModifier(static_cast<ModifierKey>(2)), KeyOf(56));
    EXPECT_EQ(KeyFromModifier(static_cast<ModifierKey>(4)), KeyOf(125));
    EXPECT_EQ(KeyFromModifier(static_cast<ModifierKey>(8)), KeyOf(42));
    EXPECT_EQ(KeyFromModifier(static_cast<ModifierKey>(16)), KeyOf(137));
}

TEST(KeyCode, ModifiersHaveNames) {
    EXPECT_STREQ(NameOfModifierKey(ModifierKey::Control), "control");
    EXPECT_STREQ(NameOfModifierKey(ModifierKey::Alt), "alt");
    EXPECT_STREQ(NameOfModifierKey(ModifierKey::AltRight), "alt_right");
    EXPECT_STREQ(NameOfModifierKey(ModifierKey::Shift), "shift");
    EXPECT_STREQ(NameOfModifierKey(ModifierKey::Command), "command");
}

TEST(KeyCodeDeathTest, WhatIsNoSingleModifierAsserts) {
    for (const int value : {0, 3, 32, 255}) {
        EXPECT_ASSERTION(KeyFromModifier(static_cast<ModifierKey>(value)), "false", missingCase);
        EXPECT_ASSERTION(NameOfModifierKey(static_cast<ModifierKey>(value)), "false", missingCase);
    }
}

TEST(KeyCode, ModifiersAreFoundByName) {
    EXPECT_EQ(ModifierKeyFromName("control_right"), ModifierKeys(ModifierKey::Control));
    EXPECT_EQ(ModifierKeyFromName("alt"), ModifierKeys(ModifierKey::Alt));
    EXPECT_EQ(ModifierKeyFromName("alt_right"), ModifierKeys(ModifierKey::AltRight));
    EXPECT_EQ(ModifierKeyFromName("RShift"), ModifierKeys(ModifierKey::Shift));
    EXPECT_EQ(ModifierKeyFromName("command"), ModifierKeys(ModifierKey::Command));
    EXPECT_TRUE(ModifierKeyFromName("A").IsEmpty()) << "The shift that a capital takes is not its name's modifier.";
    EXPECT_TRUE(ModifierKeyFromName("").IsEmpty());
}

TEST(KeyCode, ModifierFlagsAppendTheirKeysInOrder) {
    std::vector<Key> keys = {Key::A};
    AddKeysFromModifierFlags(keys, ModifierKeys(ModifierKey::Shift) | ModifierKey::Control);
    EXPECT_THAT(keys, ElementsAre(Key::A, Key::LControl, Key::LShift));

    keys.clear();
    AddKeysFromModifierFlags(keys, ModifierKeys(31U));
    EXPECT_THAT(keys, ElementsAre(Key::LControl, Key::LMenu, Key::RMenu, Key::LShift, Key::LWin));

    keys.clear();
    AddKeysFromModifierFlags(keys, {});
    EXPECT_THAT(keys, IsEmpty());
}

} // namespace

} // namespace Tovra::System::Device::Keyboard
