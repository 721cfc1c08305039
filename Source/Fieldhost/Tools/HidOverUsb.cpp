#include <Fieldhost/Tools/Application.h>
#include <System/Device/Usb/HidOverUsb.h>

namespace Tovra::Fieldhost::Tools {

using System::Device::Usb::HidOverUsb;

void Application::CheckHidOverUsb() {
    if (CheckPlatformLinux(Parameter::CheckHidOverUsb)) {
        m_data = HidOverUsb::IsEnabled();
        SetAndPrintReturnCode(Parameter::CheckHidOverUsb, s_returnCodeNameSuccess);
    }
}

void Application::EnableHidOverUsb() {
    if (CheckPlatformLinux(Parameter::EnableHidOverUsb)) {
        const bool isEnabled = HidOverUsb::IsEnabled();
        m_data = isEnabled;
        ChangeUnless(isEnabled, Parameter::EnableHidOverUsb, &HidOverUsb::Enable);
    }
}

void Application::DisableHidOverUsb() {
    if (CheckPlatformLinux(Parameter::DisableHidOverUsb)) {
        const bool isEnabled = HidOverUsb::IsEnabled();
        m_data = isEnabled;
        ChangeUnless(!isEnabled, Parameter::DisableHidOverUsb, &HidOverUsb::Disable);
    }
}

} // namespace Tovra::Fieldhost::Tools
