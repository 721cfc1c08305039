#include <Support/Assertions.h>
#include <System/Device/Keyboard/KeyCode.h>
#include <System/Device/Keyboard/KeyNames.h>

#include <array>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace Tovra::System::Device::Keyboard {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto missingCase = "Implementation of case directive is missing.";

Key KeyOf(int value) {
    return static_cast<Key>(value);
}

/// The result for a name: the key, and whether shift was added to flags that contained control.
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

TEST(KeyCode, EveryLegacyNameGivesItsKeyWithoutShift) {
    std::istringstream rows(R"(
    backspace 14  delete 136  enter 28  tab 15  escape 1  space 57  home 127  end 132  insert 135  arrow_up 128  up 128
    arrow_down 133  down 133  arrow_left 130  left 130  arrow_right 131  right 131  pageup 129  page_up 129
    pagedown 134  page_down 134  f1 59  f2 60  f3 61  f4 62  f5 63  f6 64  f7 65  f8 66  f9 67  f10 68  f11 86  f12 87
    f13 97  f14 98  f15 99  f16 100  f17 101  f18 102  f19 103  f20 104  f21 105  f22 106  f23 107  f24 111  capslock 58
    os_modifier 137  windows 137  command 137  alt 56  alt_left 56  alt_right 125  control 29  control_left 29
    control_right 116  shift 42  shift_left 42  left_shift 42  shift_right 54  right_shift 54  print 84  snapshot 84
    printscreen 84  context_menu 139  menu 139  numpad_lock 69  numpad_0 82  numpad_1 79  numpad_2 80  numpad_3 81
    numpad_4 75  numpad_5 76  numpad_6 77  numpad_7 71  numpad_8 72  numpad_9 73  numpad_+ 78  numpad_- 74  numpad_* 55
    numpad_/ 124  numpad_. 83  media_volume_mute 117  audio_mute 117  media_volume_down 121  audio_vol_down 121
    media_volume_up 122  audio_vol_up 122  media_stop 120  audio_stop 120  media_play_or_pause 119  audio_play 119
    audio_pause 119  media_prev 114  audio_prev 114  media_next 115  audio_next 115  0 11  1 2  2 3  3 4  4 5  5 6  6 7
    7 8  8 9  9 10  a 30  b 48  c 46  d 32  e 18  f 33  g 34  h 35  i 23  j 36  k 37  l 38  m 50  n 49  o 24  p 25  q 16
    r 19  s 31  t 20  u 22  v 47  w 17  x 45  y 21  z 44  ; 39  = 13  , 51  - 12  . 52  / 53  \ 43  ` 41  [ 26  ] 27
    ' 40
    )");
    int count = 0;
    std::string name;
    for (int key = 0; rows >> name >> key; ++count) {
        EXPECT_EQ(FromName(name), (Named{KeyOf(key), false})) << name;
    }
    EXPECT_EQ(count, 143);
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

TEST(KeyCodeDeathTest, EveryOtherCharacterAsserts) {
    int refused = 0;
    for (int code = -128; code < 128; ++code) {
        if (code != '\t' && code != '\n' && (code < ' ' || code > '~')) {
            EXPECT_ASSERTION(FromCharacter(static_cast<char>(code)), "false", missingCase) << code;
            ++refused;
        }
    }
    EXPECT_EQ(refused, 159);
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
    EXPECT_EQ(sizeof(ModifierKey), 1U);
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

TEST(KeyCodeDeathTest, AFlagThatIsNoModifierAsserts) {
    std::vector<Key> keys;
    for (const std::uint32_t bits : {32U, 33U, 256U}) {
        EXPECT_ASSERTION(AddKeysFromModifierFlags(keys, ModifierKeys(bits)), "false", missingCase);
    }
}

} // namespace

} // namespace Tovra::System::Device::Keyboard
