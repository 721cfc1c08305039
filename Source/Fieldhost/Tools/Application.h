#pragma once

#include <Fieldhost/Tools/Parameter.h>
#include <System/Desktop/ReturnCodes.h>
#include <System/Runtime/Application.h>

#include <string_view>

namespace Tovra::Fieldhost::Tools {

/// The setup tool: carries out at most one command of the command line, prints one result on the standard output and
/// leaves the exit status in `m_returnCode`. Main thread only.
class Application final : public System::Runtime::Application {
public:
    using ReturnCodes = System::Desktop::ReturnCodes;

    static constexpr std::string_view s_returnCodeNameSuccess = "Success";
    static constexpr std::string_view s_returnCodeNameFailed = "Failed";
    static constexpr std::string_view s_returnCodeNameWrongParameters = "Wrong Parameter(s)";
    static constexpr std::string_view s_returnCodeNameSetupFailed = "Setup Failed";
    static constexpr std::string_view s_returnCodeNameUnsupportedPlatform = "Platform Unsupported";
    static constexpr std::string_view s_returnCodeNameUnsupportedVersion = "OS Version Unsupported";
    static constexpr std::string_view s_returnCodeNameMissingRights = "Missing Rights";

    /// The object of this program, which the program's main file defines. It hides the frame's pointer of that name,
    /// which points at it.
    static Application s_instance;

    Application();

    /// The tool's body: defines the catalogue, reads the command line and runs the first command that it asks for.
    void Main(const System::Runtime::ApplicationParameters& parameters) override;

    /// Makes the code of that name the exit status and prints its document. A name that the catalogue doesn't have
    /// under this parameter changes and prints nothing.
    void SetAndPrintReturnCode(Parameter parameter, std::string_view name);

    /// Fills the process-wide catalogue with what each command can answer. Call once.
    void DefineReturnCodes();

    /// True on Windows 6.2 or later. Otherwise reports under `parameter` what is not supported.
    bool CheckPlatformWindows(Parameter parameter);

    /// True on Linux. Otherwise reports under `parameter` that the platform is not supported.
    bool CheckPlatformLinux(Parameter parameter);

    /// True if this process is elevated. Otherwise reports under `parameter` that rights are missing.
    bool CheckPrivilege(Parameter parameter);

    /// Adds the value that the command stored to `data`, under the key that belongs to the parameter, whatever the
    /// code. False, and nothing added, for parameters that are no command.
    bool OnDataCallback(unsigned int parameter, int code, ReturnCodes::DataMap& data);

    /// The commands. Each ends in exactly one call of `SetAndPrintReturnCode`.
    void EnableBackgroundAutomation();
    void DisableBackgroundAutomation();
    void CheckBackgroundAutomation();
    void FixBackgroundAutomation();
    void CheckOpenGL();
    void EnableHidOverUsb();
    void DisableHidOverUsb();
    void CheckHidOverUsb();
    void InstallCoreService();
    void UninstallCoreService();
    void StartCoreService();
    void StopCoreService();

private:
    /// The common end of the commands that change something. Keeps `previous` for the result, then reports success at
    /// once, without asking for rights, if there is nothing to do; otherwise makes the change, which takes rights.
    void Change(Parameter parameter, bool previous, bool isDone, bool (*change)());

    /// What the result shows as data.
    ReturnCodes::DataValue m_data = false;
};

} // namespace Tovra::Fieldhost::Tools
