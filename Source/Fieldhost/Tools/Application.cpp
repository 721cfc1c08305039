#include <Fieldhost/Tools/Application.h>
#include <Fieldhost/Tools/Options.h>
#include <Fieldhost/Tools/StandardStreams.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Processes/Parameters.h>
#include <System/Processes/Process.h>
#include <System/Utilities/Platform.h>

#include <algorithm>
#include <array>
#include <string>

namespace Tovra::Fieldhost::Tools {

using System::Processes::Parameters;
using System::Processes::ParseResult;
using System::Processes::Process;
using System::Utilities::Platform;

namespace {

struct Command {
    Parameter parameter;
    void (Application::*run)();
};

// Intentional: the first of these whose option is present is run, and the others are ignored without an error; callers
// go by this order. In each family a check goes before a disable, and a disable before an enable.
constexpr std::array<Command, 12> commands{{
    {Parameter::CheckBackgroundAutomation, &Application::CheckBackgroundAutomation},
    {Parameter::DisableBackgroundAutomation, &Application::DisableBackgroundAutomation},
    {Parameter::EnableBackgroundAutomation, &Application::EnableBackgroundAutomation},
    {Parameter::FixBackgroundAutomation, &Application::FixBackgroundAutomation},
    {Parameter::CheckOpenGL, &Application::CheckOpenGL},
    {Parameter::CheckHidOverUsb, &Application::CheckHidOverUsb},
    {Parameter::DisableHidOverUsb, &Application::DisableHidOverUsb},
    {Parameter::EnableHidOverUsb, &Application::EnableHidOverUsb},
    {Parameter::InstallCoreService, &Application::InstallCoreService},
    {Parameter::UninstallCoreService, &Application::UninstallCoreService},
    {Parameter::StartCoreService, &Application::StartCoreService},
    {Parameter::StopCoreService, &Application::StopCoreService},
}};

void AddOptions(Parameters& parameters) {
    for (const Option& option : options) {
        parameters.AddDescription(option.parameter, false, false, std::string(option.name),
                                  std::string(option.shortName), std::string(option.description), std::string());
    }
}

void PrintLine(std::string text) {
    text += '\n';
    WriteToStandardOutput(text);
}

/// The key of a command's value in its result; null for parameters that are no command.
const char* GetDataKey(Parameter parameter) {
    switch (parameter) {
    case Parameter::EnableBackgroundAutomation:
    case Parameter::DisableBackgroundAutomation:
    case Parameter::EnableHidOverUsb:
    case Parameter::DisableHidOverUsb:
    case Parameter::InstallCoreService:
    case Parameter::UninstallCoreService:
    case Parameter::StartCoreService:
    case Parameter::StopCoreService:
        return "previous";
    case Parameter::CheckBackgroundAutomation:
    case Parameter::FixBackgroundAutomation:
    case Parameter::CheckHidOverUsb:
        return "value";
    case Parameter::CheckOpenGL:
        return "version";
    default:
        return nullptr;
    }
}

} // namespace

Application::Application() : System::Runtime::Application(L"TovraFieldhostSetupTool") {}

void Application::Main(const System::Runtime::ApplicationParameters& parameters) {
    Parameters* const commandLine = parameters.m_parameters;
    if (commandLine == nullptr) {
        // Intentional: the catalogue is still empty here, so nothing is printed and the status stays 0; callers expect
        // that.
        SetAndPrintReturnCode(Parameter::None, s_returnCodeNameWrongParameters);
        return;
    }
    DefineReturnCodes();
    AddOptions(*commandLine);
    // Intentional: a parse error is reported even where the command line also asks for help; callers go by its status.
    if (commandLine->Parse() != ParseResult::Success) {
        SetAndPrintReturnCode(Parameter::None, s_returnCodeNameWrongParameters);
        return;
    }
    if (commandLine->Has(Parameter::Help) || commandLine->GetCount() == 0) {
        PrintLine(GetHelpString());
        return;
    }
    if (commandLine->Has(Parameter::ShowReturnCodes)) {
        std::string text;
        ReturnCodes::GetInstance().GenerateReturnOptionsJson(0, text);
        PrintLine(std::move(text));
        return;
    }
    if (!commandLine->IsValid()) {
        SetAndPrintReturnCode(Parameter::None, s_returnCodeNameWrongParameters);
        return;
    }
    // Reads the home folder again. No command needs it, so a failure is ignored.
    System::Environment::DirectoryCache::Initialize();
    const auto command = std::ranges::find_if(
        commands, [commandLine](Parameter parameter) { return commandLine->Has(parameter); }, &Command::parameter);
    if (command != commands.end()) {
        (this->*command->run)();
    }
}

void Application::SetAndPrintReturnCode(Parameter parameter, std::string_view name) {
    const ReturnCodes& returnCodes = ReturnCodes::GetInstance();
    const auto id = static_cast<unsigned int>(parameter);
    std::string text;
    // Intentional: a name that the catalogue lacks prints nothing and leaves the exit status alone; the service
    // commands report such a name, and their callers depend on the silence.
    if (returnCodes.GetReturnCode(id, name, m_returnCode) && returnCodes.GenerateReturnJson(id, m_returnCode, text)) {
        PrintLine(std::move(text));
    }
}

bool Application::CheckPlatformWindows(Parameter parameter) {
    if (Platform::GetType() != Platform::Type::Windows) {
        SetAndPrintReturnCode(parameter, s_returnCodeNameUnsupportedPlatform);
        return false;
    }
    const Platform::Version version = Platform::GetVersion();
    if (version.major > 6 || (version.major == 6 && version.minor >= 2)) {
        return true;
    }
    SetAndPrintReturnCode(parameter, s_returnCodeNameUnsupportedVersion);
    return false;
}

bool Application::CheckPlatformLinux(Parameter parameter) {
    const Platform::Type type = Platform::GetType();
    if (type == Platform::Type::Linux || type == Platform::Type::LinuxVariant) {
        return true;
    }
    SetAndPrintReturnCode(parameter, s_returnCodeNameUnsupportedPlatform);
    return false;
}

bool Application::CheckPrivilege(Parameter parameter) {
    if (Process::GetCurrent().IsElevated()) {
        return true;
    }
    SetAndPrintReturnCode(parameter, s_returnCodeNameMissingRights);
    return false;
}

bool Application::OnDataCallback(unsigned int parameter, int, ReturnCodes::DataMap& data) {
    const char* const key = GetDataKey(static_cast<Parameter>(parameter));
    if (key == nullptr) {
        return false;
    }
    data[key] = m_data;
    return true;
}

void Application::ChangeUnless(bool isDone, Parameter parameter, bool (*change)()) {
    if (isDone) {
        SetAndPrintReturnCode(parameter, s_returnCodeNameSuccess);
    } else if (CheckPrivilege(parameter)) {
        SetAndPrintReturnCode(parameter, change() ? s_returnCodeNameSuccess : s_returnCodeNameFailed);
    }
}

} // namespace Tovra::Fieldhost::Tools
