#pragma once

namespace Tovra::System::Device::Usb {

/// A USB port through which this machine acts as an input device of another. Not available on this platform: nothing is
/// ever enabled or initialised. Static functions: any thread; an object: one thread at a time.
class HidOverUsb {
public:
    /// Enables HID over USB. False on failure, and here.
    static bool Enable();
    static bool EnablePlatform();

    /// Disables HID over USB. False on failure, and here.
    static bool Disable();
    static bool DisablePlatform();

    /// Whether HID over USB is enabled. Here false.
    static bool IsEnabled();
    static bool IsEnabledPlatform();

    /// Whether `Initialize` succeeded and `Destroy` was not called since.
    bool IsInitialized() const;

    /// Opens the device. False on failure, and here.
    bool Initialize();
    bool InitializePlatform();

    /// Closes the device. Repeated calls are harmless.
    void Destroy();
    void DestroyPlatform();

    /// Sends a report of `size` bytes to the other machine. No effect here.
    void SendReport(unsigned char reportId, const unsigned char* data, unsigned long size);
    void SendReportPlatform(unsigned char reportId, const unsigned char* data, unsigned long size);

private:
    bool m_initialized = false;
};

} // namespace Tovra::System::Device::Usb
