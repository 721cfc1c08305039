#include <Fakes/HidOverUsb.h>
#include <System/Device/Usb/HidOverUsb.h>

namespace Tovra::System::Device::Usb {

using Tests::Fakes::hidOverUsb;

bool HidOverUsb::EnablePlatform() {
    hidOverUsb.calls.push_back("Enable");
    return hidOverUsb.enable;
}

bool HidOverUsb::DisablePlatform() {
    hidOverUsb.calls.push_back("Disable");
    return hidOverUsb.disable;
}

bool HidOverUsb::IsEnabledPlatform() {
    hidOverUsb.calls.push_back("IsEnabled");
    return hidOverUsb.isEnabled;
}

bool HidOverUsb::InitializePlatform() {
    hidOverUsb.calls.push_back("Initialize");
    return hidOverUsb.initialize;
}

void HidOverUsb::DestroyPlatform() {
    hidOverUsb.calls.push_back("Destroy");
}

void HidOverUsb::SendReportPlatform(unsigned char reportId, const unsigned char* data, unsigned long size) {
    hidOverUsb.calls.push_back("SendReport " + std::to_string(reportId) + ' ' + std::string(data, data + size));
}

} // namespace Tovra::System::Device::Usb
