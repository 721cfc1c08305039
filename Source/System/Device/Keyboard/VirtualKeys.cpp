#include <System/Device/Keyboard/VirtualKeys.h>

#include <algorithm>

namespace Tovra::System::Device::Keyboard {

namespace {

constexpr std::int32_t none = -1;

consteval std::int32_t MakeXKeyCode(std::int32_t inputEventCode) {
    return inputEventCode == none ? none : inputEventCode + 8;
}

} // namespace

constexpr VirtualKeyTable macVirtualKeys = {
#define TOVRA_MAC_VIRTUAL_KEY(name, macCode, inputEventCode) macCode,
    TOVRA_KEY_TABLE(TOVRA_MAC_VIRTUAL_KEY)
#undef TOVRA_MAC_VIRTUAL_KEY
};

constexpr VirtualKeyTable xVirtualKeys = {
#define TOVRA_X_VIRTUAL_KEY(name, macCode, inputEventCode) MakeXKeyCode(inputEventCode),
    TOVRA_KEY_TABLE(TOVRA_X_VIRTUAL_KEY)
#undef TOVRA_X_VIRTUAL_KEY
};

std::int32_t FindVirtualKey(const VirtualKeyTable& table, Key key) {
    const auto index = static_cast<std::size_t>(key);
    return index < table.size() ? table[index] : none;
}

Key FindKey(const VirtualKeyTable& table, unsigned int virtualKey) {
    // The first match counts: a code that is listed twice (71 of macOS) always gives the same key. 0xFFFFFFFF matches
    // the -1 of `Key::Undefined`.
    const auto found = std::ranges::find(table, static_cast<std::int32_t>(virtualKey));
    return found == table.end() ? Key::Undefined : static_cast<Key>(found - table.begin());
}

} // namespace Tovra::System::Device::Keyboard
