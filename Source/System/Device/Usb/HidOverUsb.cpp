#include <System/Device/Usb/HidOverUsb.h>

namespace Tovra::System::Device::Usb {

bool HidOverUsb::Enable() {
    return EnablePlatform();
}

bool HidOverUsb::Disable() {
    return DisablePlatform();
}

bool HidOverUsb::IsEnabled() {
    return IsEnabledPlatform();
}

bool HidOverUsb::IsInitialized() const {
    return m_initialized;
}

bool HidOverUsb::Initialize() {
    m_initialized = InitializePlatform();
    return m_initialized;
}

void HidOverUsb::Destroy() {
    DestroyPlatform();
    m_initialized = false;
}

void HidOverUsb::SendReport(unsigned char reportId, const unsigned char* data, unsigned long size) {
    SendReportPlatform(reportId, data, size);
}

} // namespace Tovra::System::Device::Usb
