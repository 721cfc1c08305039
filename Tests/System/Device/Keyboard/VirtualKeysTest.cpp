#include <System/Device/Keyboard/VirtualKeys.h>

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <map>
#include <string>

namespace Tovra::System::Device::Keyboard {

namespace {

Key KeyOf(int value) {
    return static_cast<Key>(value);
}

TEST(VirtualKeys, MacOsHasItsCodes) {
    constexpr VirtualKeyTable codes = {
        -1,  53,  18,  19, 20,  21, 23, 22, 26,  28,  25,  29,  27,  24, 51, 48,  12,  13,  14,  15,  17,  16,
        32,  34,  31,  35, 33,  30, 36, 59, 0,   1,   2,   3,   5,   4,  38, 40,  37,  41,  39,  50,  56,  42,
        6,   7,   8,   9,  11,  45, 46, 43, 47,  44,  60,  67,  58,  49, 57, 122, 120, 99,  118, 96,  97,  98,
        100, 101, 109, 71, -1,  89, 91, 92, 78,  86,  87,  88,  69,  83, 84, 85,  82,  65,  -1,  10,  103, 111,
        71,  -1,  -1,  -1, -1,  -1, -1, -1, 114, 105, 107, 113, 106, 64, 79, 80,  90,  -1,  -1,  -1,  -1,  -1,
        -1,  -1,  -1,  -1, -1,  -1, 62, 74, -1,  -1,  -1,  73,  72,  -1, 75, 61,  -1,  115, 126, 116, 123, 124,
        119, 125, 121, -1, 117, 55, 54, -1, -1,  -1,  -1,  -1,  -1,  -1, -1, -1,  -1,  -1,  -1,  63};
    EXPECT_EQ(macVirtualKeys, codes);
}

TEST(VirtualKeys, X11HasTheKernelsCodesPlus8) {
    const std::map<std::string, int> codes = {{"Digit1", KEY_1},
                                              {"Digit2", KEY_2},
                                              {"Digit3", KEY_3},
                                              {"Digit4", KEY_4},
                                              {"Digit5", KEY_5},
                                              {"Digit6", KEY_6},
                                              {"Digit7", KEY_7},
                                              {"Digit8", KEY_8},
                                              {"Digit9", KEY_9},
                                              {"Digit0", KEY_0},
                                              {"A", KEY_A},
                                              {"B", KEY_B},
                                              {"C", KEY_C},
                                              {"D", KEY_D},
                                              {"E", KEY_E},
                                              {"F", KEY_F},
                                              {"G", KEY_G},
                                              {"H", KEY_H},
                                              {"I", KEY_I},
                                              {"J", KEY_J},
                                              {"K", KEY_K},
                                              {"L", KEY_L},
                                              {"M", KEY_M},
                                              {"N", KEY_N},
                                              {"O", KEY_O},
                                              {"P", KEY_P},
                                              {"Q", KEY_Q},
                                              {"R", KEY_R},
                                              {"S", KEY_S},
                                              {"T", KEY_T},
                                              {"U", KEY_U},
                                              {"V", KEY_V},
                                              {"W", KEY_W},
                                              {"X", KEY_X},
                                              {"Y", KEY_Y},
                                              {"Z", KEY_Z},
                                              {"F1", KEY_F1},
                                              {"F2", KEY_F2},
                                              {"F3", KEY_F3},
                                              {"F4", KEY_F4},
                                              {"F5", KEY_F5},
                                              {"F6", KEY_F6},
                                              {"F7", KEY_F7},
                                              {"F8", KEY_F8},
                                              {"F9", KEY_F9},
                                              {"F10", KEY_F10},
                                              {"F11", KEY_F11},
                                              {"F12", KEY_F12},
                                              {"F13", KEY_F13},
                                              {"F14", KEY_F14},
                                              {"F15", KEY_F15},
                                              {"F16", KEY_F16},
                                              {"F17", KEY_F17},
                                              {"F18", KEY_F18},
                                              {"F19", KEY_F19},
                                              {"F20", KEY_F20},
                                              {"F21", KEY_F21},
                                              {"F22", KEY_F22},
                                              {"F23", KEY_F23},
                                              {"F24", KEY_F24},
                                              {"Numpad0", KEY_KP0},
                                              {"Numpad1", KEY_KP1},
                                              {"Numpad2", KEY_KP2},
                                              {"Numpad3", KEY_KP3},
                                              {"Numpad4", KEY_KP4},
                                              {"Numpad5", KEY_KP5},
                                              {"Numpad6", KEY_KP6},
                                              {"Numpad7", KEY_KP7},
                                              {"Numpad8", KEY_KP8},
                                              {"Numpad9", KEY_KP9},
                                              {"Escape", KEY_ESC},
                                              {"OemMinus", KEY_MINUS},
                                              {"OemPlus", KEY_EQUAL},
                                              {"Back", KEY_BACKSPACE},
                                              {"Tab", KEY_TAB},
                                              {"Oem4", KEY_LEFTBRACE},
                                              {"Oem6", KEY_RIGHTBRACE},
                                              {"Return", KEY_ENTER},
                                              {"LControl", KEY_LEFTCTRL},
                                              {"Oem1", KEY_SEMICOLON},
                                              {"Oem7", KEY_APOSTROPHE},
                                              {"Oem3", KEY_GRAVE},
                                              {"LShift", KEY_LEFTSHIFT},
                                              {"Oem5", KEY_BACKSLASH},
                                              {"OemComma", KEY_COMMA},
                                              {"OemPeriod", KEY_DOT},
                                              {"Oem2", KEY_SLASH},
                                              {"RShift", KEY_RIGHTSHIFT},
                                              {"Multiply", KEY_KPASTERISK},
                                              {"LMenu", KEY_LEFTALT},
                                              {"Space", KEY_SPACE},
                                              {"Capital", KEY_CAPSLOCK},
                                              {"Numlock", KEY_NUMLOCK},
                                              {"Scroll", KEY_SCROLLLOCK},
                                              {"Subtract", KEY_KPMINUS},
                                              {"Add", KEY_KPPLUS},
                                              {"Decimal", KEY_KPDOT},
                                              {"Snapshot", KEY_SYSRQ},
                                              {"Oem102", KEY_102ND},
                                              {"DbeKatakana", KEY_KATAKANA},
                                              {"Help", KEY_HELP},
                                              {"AbntC1", KEY_RO},
                                              {"AbntC2", KEY_KPCOMMA},
                                              {"MediaPrevTrack", KEY_PREVIOUSSONG},
                                              {"MediaNextTrack", KEY_NEXTSONG},
                                              {"RControl", KEY_RIGHTCTRL},
                                              {"VolumeMute", KEY_MUTE},
                                              {"LaunchApp2", KEY_CALC},
                                              {"MediaPlayPause", KEY_PLAYPAUSE},
                                              {"MediaStop", KEY_STOPCD},
                                              {"VolumeDown", KEY_VOLUMEDOWN},
                                              {"VolumeUp", KEY_VOLUMEUP},
                                              {"BrowserHome", KEY_HOMEPAGE},
                                              {"Divide", KEY_KPSLASH},
                                              {"RMenu", KEY_RIGHTALT},
                                              {"Cancel", KEY_CANCEL},
                                              {"Home", KEY_HOME},
                                              {"Up", KEY_UP},
                                              {"Prior", KEY_PAGEUP},
                                              {"Left", KEY_LEFT},
                                              {"Right", KEY_RIGHT},
                                              {"End", KEY_END},
                                              {"Down", KEY_DOWN},
                                              {"Next", KEY_PAGEDOWN},
                                              {"Insert", KEY_INSERT},
                                              {"Delete", KEY_DELETE},
                                              {"LWin", KEY_LEFTMETA},
                                              {"RWin", KEY_RIGHTMETA},
                                              {"Apps", KEY_COMPOSE},
                                              {"Sleep", KEY_SLEEP},
                                              {"BrowserSearch", KEY_SEARCH},
                                              {"BrowserFavorites", KEY_BOOKMARKS},
                                              {"BrowserRefresh", KEY_REFRESH},
                                              {"BrowserStop", KEY_STOP},
                                              {"BrowserForward", KEY_FORWARD},
                                              {"BrowserBack", KEY_BACK},
                                              {"LaunchApp1", KEY_COMPUTER},
                                              {"LaunchMail", KEY_MAIL},
                                              {"LaunchMediaSelect", KEY_MEDIA},
                                              {"Pause", KEY_PAUSE}};
    for (int value = 0; value < 152; ++value) {
        const auto code = codes.find(GetKeyString(KeyOf(value)));
        EXPECT_EQ(FindVirtualKey(xVirtualKeys, KeyOf(value)), code == codes.end() ? -1 : code->second + 8)
            << GetKeyString(KeyOf(value));
    }
}

TEST(VirtualKeys, X11CodesFitItsProtocolAndStandOnce) {
    std::map<int, Key> keys;
    for (int value = 0; value < 152; ++value) {
        const auto code = FindVirtualKey(xVirtualKeys, KeyOf(value));
        if (code == -1) {
            continue;
        }
        EXPECT_GE(code, 8);
        EXPECT_LE(code, 255);
        EXPECT_TRUE(keys.emplace(code, KeyOf(value)).second) << GetKeyString(KeyOf(value));
        EXPECT_EQ(FindKey(xVirtualKeys, static_cast<unsigned int>(code)), KeyOf(value));
    }
}

TEST(VirtualKeys, KeysBeyondTheLastHaveNoCode) {
    for (const auto* table : {&macVirtualKeys, &xVirtualKeys}) {
        EXPECT_EQ(FindVirtualKey(*table, KeyOf(152)), -1);
        EXPECT_EQ(FindVirtualKey(*table, KeyOf(255)), -1);
        EXPECT_EQ(FindVirtualKey(*table, Key::Undefined), -1);
    }
    EXPECT_EQ(FindVirtualKey(macVirtualKeys, KeyOf(84)), -1) << "Snapshot";
}

TEST(VirtualKeys, EveryMacOsCodeLeadsBackToItsKeyButClear) {
    for (int value = 0; value < 152; ++value) {
        const auto code = FindVirtualKey(macVirtualKeys, KeyOf(value));
        if (code != -1 && KeyOf(value) != Key::Clear) {
            EXPECT_EQ(FindKey(macVirtualKeys, static_cast<unsigned int>(code)), KeyOf(value));
        }
    }
}

TEST(VirtualKeys, TheFirstKeyOfACodeCounts) {
    EXPECT_EQ(FindVirtualKey(macVirtualKeys, Key::Clear), 71);
    EXPECT_EQ(FindKey(macVirtualKeys, 71), KeyOf(69)) << "Numlock, never Clear";
}

TEST(VirtualKeys, UnknownCodesGiveNoKey) {
    for (const auto* table : {&macVirtualKeys, &xVirtualKeys}) {
        EXPECT_EQ(FindKey(*table, 0xFFFFFFFF), Key::Undefined);
        EXPECT_EQ(FindKey(*table, 256), Key::Undefined);
    }
    EXPECT_EQ(FindKey(macVirtualKeys, 0), Key::A);
    EXPECT_EQ(FindKey(xVirtualKeys, 0), Key::Undefined);
}

TEST(VirtualKeys, TheHostAnswersFromItsTable) {
    EXPECT_EQ(VirtualKeyFromKey(Key::Numlock), 71);
    EXPECT_EQ(VirtualKeyFromKey(KeyOf(152)), -1);
    EXPECT_EQ(VirtualKeyFromKey(KeyOf(84)), -1);
    EXPECT_EQ(KeyFromVirtualKey(71), KeyOf(69));
    EXPECT_EQ(KeyFromVirtualKey(0xFFFFFFFF), Key::Undefined);
}

} // namespace

} // namespace Tovra::System::Device::Keyboard
