#include <Support/Monitors.h>

namespace Tovra::Tests {

namespace {

constexpr const char* configuration = R"(
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "AutoAddGPU" "false"
    Option "DontVTSwitch" "true"
EndSection
Section "Monitor"
    Identifier "monitor"
    Option "PreferredMode" "1024x768"
EndSection
Section "Device"
    Identifier "device"
    Driver "dummy"
    VideoRam 64000
    Option "Monitor-DUMMY0" "monitor"
EndSection
Section "Screen"
    Identifier "screen"
    Device "device"
    DefaultDepth 24
EndSection
)";

} // namespace

std::vector<std::string> GetMonitorServerArguments(const TemporaryFolder& folder) {
    return {"-config",  folder.Write("xorg.conf", configuration), "-logfile", folder.GetPath() / "log", "-novtswitch",
            "-sharevts"};
}

} // namespace Tovra::Tests
