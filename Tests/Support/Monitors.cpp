#include <Support/Monitors.h>

#include <format>

namespace Tovra::Tests {

namespace {

std::string ComposeConfiguration(const std::vector<std::string>& monitors) {
    std::string sections;
    std::string outputs;
    for (std::size_t index = 0; index < monitors.size(); ++index) {
        sections += std::format("Section \"Monitor\"\nIdentifier \"{}\"\n{}\nEndSection\n", index, monitors[index]);
        outputs += std::format("Option \"Monitor-DUMMY{0}\" \"{0}\"\n", index);
    }
    return std::format(R"(
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "AutoAddGPU" "false"
    Option "DontVTSwitch" "true"
EndSection
{}
Section "Device"
    Identifier "device"
    Driver "dummy"
    VideoRam 64000
    {}
EndSection
Section "Screen"
    Identifier "screen"
    Device "device"
    DefaultDepth 24
EndSection
)",
                       sections, outputs);
}

} // namespace

std::vector<std::string> GetMonitorServerArguments(const TemporaryFolder& folder,
                                                   const std::vector<std::string>& monitors) {
    return {"-config",     folder.Write("xorg.conf", ComposeConfiguration(monitors)),
            "-logfile",    folder.GetPath() / "log",
            "-novtswitch", "-sharevts"};
}

} // namespace Tovra::Tests
