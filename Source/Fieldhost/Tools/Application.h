#pragma once

#include <Fieldhost/Tools/Parameter.h>
#include <System/Desktop/ReturnCodes.h>
#include <System/Runtime/Application.h>

#include <string_view>

namespace Tovra::Fieldhost::Tools {

/// The setup tool: runs at most one command of the command line, prints at most one result on the standard output and
/// leaves the exit status in `m_returnCode`. Main thread only.
class Application final : public System::Runtime::Application {
public:
    /// The catalogue of the tool's return codes.
    using ReturnCodes = System::Desktop::ReturnCodes;

    /// The names of the return codes.
    static constexpr std::string_view s_returnCodeNameSuccess = "Success";
    static constexpr std::string_view s_returnCodeNameFailed = "Failed";
    static constexpr std::string_view s_returnCodeNameWrongParameters = "Wrong Parameter(s)";
    static constexpr std::string_view s_returnCodeNameSetupFailed = "Setup Failed";
    static constexpr std::string_view s_returnCodeNameUnsupportedPlatform = "Platform Unsupported";
    static constexpr std::string_view s_returnCodeNameUnsupportedVersion = "OS Version Unsupported";
    static constexpr std::string_view s_returnCodeNameMissingRights = "Missing Rights";

    /// The program's application object, defined in Main.cpp. It hides the base class's pointer of that name, which
    /// points to it.
    static Application s_instance;

    Application();

    /// Defines the return codes, parses the command line and runs at most one command.
    void Main(const System::Runtime::ApplicationParameters& parameters) override;

    /// Sets the exit status to the code of that name and prints its JSON document. If the parameter has no code of that
    /// name, nothing is set or printed.
    void SetAndPrintReturnCode(Parameter parameter, std::string_view name);

    /// Fills the process-wide catalogue with the return codes of every command, and sets its data callback, which
    /// refers to this object. Call once: a second call adds every code again.
    void DefineReturnCodes();

    /// True on Windows 6.2 or later. Otherwise reports under `parameter` that the platform or its version is not
    /// supported.
    bool CheckPlatformWindows(Parameter parameter);

    /// True on Linux. Otherwise reports under `parameter` that the platform is not supported.
    bool CheckPlatformLinux(Parameter parameter);

    /// True if this process is elevated. Otherwise reports under `parameter` that rights are missing.
    bool CheckPrivilege(Parameter parameter);

    /// Adds the value that the command stored to `data`, under the key of the parameter, whatever the code is. Returns
    /// false and adds nothing for parameters that are no command.
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
    /// The common end of the commands that change something. Reports success at once, without requiring rights, if
    /// there is nothing to do; otherwise checks the rights, calls `change` and reports what it returned.
    void ChangeUnless(bool isDone, Parameter parameter, bool (*change)());

    /// The value in the data of the result.
    ReturnCodes::DataValue m_data = false;
};

} // namespace Tovra::Fieldhost::Tools
