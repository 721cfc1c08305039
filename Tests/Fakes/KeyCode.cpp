#include <System/Device/Keyboard/VirtualKeys.h>

// The keys of macOS, so that the translation of its events is tested wherever the tests run.
namespace Tovra::System::Device::Keyboard {

std::int32_t VirtualKeyFromKeyPlatform(Key key) {
    return FindVirtualKey(macVirtualKeys, key);
}

Key KeyFromVirtualKeyPlatform(unsigned int virtualKey) {
    return FindKey(macVirtualKeys, virtualKey);
}

} // namespace Tovra::System::Device::Keyboard
