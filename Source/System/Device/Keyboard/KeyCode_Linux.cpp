#include <System/Device/Keyboard/VirtualKeys.h>

namespace Tovra::System::Device::Keyboard {

std::int32_t VirtualKeyFromKeyPlatform(Key key) {
    return FindVirtualKey(xVirtualKeys, key);
}

Key KeyFromVirtualKeyPlatform(unsigned int virtualKey) {
    return FindKey(xVirtualKeys, virtualKey);
}

} // namespace Tovra::System::Device::Keyboard
