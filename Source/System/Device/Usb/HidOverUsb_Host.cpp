#include <System/Device/Usb/HidOverUsb.h>

namespace Tovra::System::Device::Usb {

bool HidOverUsb::EnablePlatform() {
    return false;
}

bool HidOverUsb::DisablePlatform() {
    return false;
}

bool HidOverUsb::IsEnabledPlatform() {
    return false;
}

bool HidOverUsb::InitializePlatform() {
    return false;
}

void HidOverUsb::DestroyPlatform() {}

void HidOverUsb::SendReportPlatform(unsigned char, const unsigned char*, unsigned long) {}

} // namespace Tovra::System::Device::Usb
