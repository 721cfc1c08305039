#pragma once

#include <Fieldhost/Tools/Parameter.h>

#include <array>
#include <string_view>

namespace Tovra::Fieldhost::Tools {

/// An option of the command line. None is required and none takes a value.
struct Option {
    Parameter parameter;
    std::string_view name;        ///< Long name, without dashes; up to `StopCoreService` also the catalogue's.
    std::string_view shortName;   ///< Without dashes.
    std::string_view description; ///< Help text, without its full stop.
};

/// All options, in the order of the help text.
inline constexpr std::array<Option, 14> options{{
    {Parameter::EnableBackgroundAutomation, "EnableBackgroundAutomation", "eba",
     "Enables the background automation and returns success"},
    {Parameter::DisableBackgroundAutomation, "DisableBackgroundAutomation", "dba",
     "Disables the background automation and returns success"},
    {Parameter::CheckBackgroundAutomation, "CheckBackgroundAutomation", "cba",
     "Returns whether the background automation is enabled or not"},
    {Parameter::FixBackgroundAutomation, "FixBackgroundAutomation", "fba",
     "Tries to fix the background automation setup and returns success"},
    {Parameter::CheckOpenGL, "CheckOpenGL", "cgl", "Checks whether the required OpenGL version is available"},
    {Parameter::EnableHidOverUsb, "EnableHidOverUsb", "ehu", "Enables HID over USB and returns success"},
    {Parameter::DisableHidOverUsb, "DisableHidOverUsb", "dhu", "Disables HID over USB and returns success"},
    {Parameter::CheckHidOverUsb, "CheckHidOverUsb", "chu", "Returns whether HID over USB is enabled or not"},
    {Parameter::InstallCoreService, "InstallCoreService", "ics", "Installs the core service"},
    {Parameter::UninstallCoreService, "UninstallCoreService", "ucs", "Uninstalls the core service"},
    // Intentional: misspelled; callers know the text as it stands.
    {Parameter::StartCoreService, "StartCoreService", "scs", "Starts the core service, if it is intalled"},
    {Parameter::StopCoreService, "StopCoreService", "tcs", "Stops the core service, if it is running"},
    {Parameter::ShowReturnCodes, "ShowReturnCodes", "src", "Prints the return codes as a JSON formatted list"},
    {Parameter::Help, "Help", "h", "Prints this help"},
}};

} // namespace Tovra::Fieldhost::Tools
