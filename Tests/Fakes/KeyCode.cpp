#include <System/Device/Keyboard/VirtualKeys.h>

// The keys of the product's own system, so that its translation of events is tested wherever the tests run.
namespace Tovra::System::Device::Keyboard {

std::int32_t VirtualKeyFromKeyPlatform(Key key) {
    return FindVirtualKey(macVirtualKeys, key);
}

Key KeyFromVirtualKeyPlatform(unsigned int virtualKey) {
    return FindKey(macVirtualKeys, virtualKey);
}

} // namespace Tovra::System::Device::Keyboard
