#pragma once

namespace Tovra::System::Device::Usb {

/// A USB port that shows itself to another machine as an input device. Inert on this platform: nothing is ever enabled
/// or initialised. The static operations may be called on any thread, an object by one thread at a time.
class HidOverUsb {
public:
    /// Switches the support on. False on failure, and here.
    static bool Enable();
    static bool EnablePlatform();

    /// Switches the support off. False on failure, and here.
    static bool Disable();
    static bool DisablePlatform();

    /// Whether the support is switched on. Here false.
    static bool IsEnabled();
    static bool IsEnabledPlatform();

    /// Whether `Initialize` succeeded and `Destroy` was not called since.
    bool IsInitialized() const;

    /// Takes the device into use. False on failure, and here.
    bool Initialize();
    bool InitializePlatform();

    /// Gives the device back.
    void Destroy();
    void DestroyPlatform();

    /// Sends a report of `size` bytes to the other machine. No effect here.
    void SendReport(unsigned char reportId, const unsigned char* data, unsigned long size);
    void SendReportPlatform(unsigned char reportId, const unsigned char* data, unsigned long size);

private:
    bool m_initialized = false;
};

} // namespace Tovra::System::Device::Usb
