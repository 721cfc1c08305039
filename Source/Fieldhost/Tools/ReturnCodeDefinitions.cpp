#include <Fieldhost/Tools/Application.h>
#include <Fieldhost/Tools/Options.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>

namespace Tovra::Fieldhost::Tools {

namespace {

using Codes = std::initializer_list<std::pair<unsigned int, std::string_view>>;

/// The bits of a negative code, as the catalogue takes it.
consteval unsigned int Negative(int code) {
    return static_cast<unsigned int>(-code);
}

constexpr Codes success{{0, Application::s_returnCodeNameSuccess}};
constexpr Codes successOrFailure{{0, Application::s_returnCodeNameSuccess}, {1, Application::s_returnCodeNameFailed}};

constexpr Codes toolErrors{{Negative(1), Application::s_returnCodeNameWrongParameters},
                           {Negative(2), Application::s_returnCodeNameSetupFailed}};
constexpr Codes platformError{{Negative(1), Application::s_returnCodeNameUnsupportedPlatform}};
constexpr Codes versionErrors{{Negative(1), Application::s_returnCodeNameUnsupportedPlatform},
                              {Negative(2), Application::s_returnCodeNameUnsupportedVersion}};
constexpr Codes versionAndRightsErrors{{Negative(1), Application::s_returnCodeNameUnsupportedPlatform},
                                       {Negative(2), Application::s_returnCodeNameUnsupportedVersion},
                                       {Negative(3), Application::s_returnCodeNameMissingRights}};
constexpr Codes rightsErrors{{Negative(1), Application::s_returnCodeNameUnsupportedPlatform},
                             {Negative(2), Application::s_returnCodeNameMissingRights}};

struct Definition {
    Parameter parameter;
    const Codes& codes;
    const Codes& errors;
};

// In the order of the printed catalogue.
// Intentional: some codes are missing and one is unused; callers know the catalogue as it stands.
// FixBackgroundAutomation has neither a version nor a rights error, as it reports its guard under
// EnableBackgroundAutomation. The service commands report a version error that they don't have, and so print nothing.
// Nothing reports "Setup Failed".
constexpr std::array<Definition, 12> definitions{{
    {Parameter::EnableBackgroundAutomation, successOrFailure, versionAndRightsErrors},
    {Parameter::DisableBackgroundAutomation, successOrFailure, versionAndRightsErrors},
    {Parameter::CheckBackgroundAutomation, success, versionErrors},
    {Parameter::FixBackgroundAutomation, successOrFailure, platformError},
    {Parameter::CheckOpenGL, successOrFailure, platformError},
    {Parameter::CheckHidOverUsb, success, platformError},
    {Parameter::EnableHidOverUsb, successOrFailure, rightsErrors},
    {Parameter::DisableHidOverUsb, successOrFailure, rightsErrors},
    {Parameter::InstallCoreService, successOrFailure, rightsErrors},
    {Parameter::UninstallCoreService, successOrFailure, rightsErrors},
    {Parameter::StartCoreService, successOrFailure, rightsErrors},
    {Parameter::StopCoreService, successOrFailure, rightsErrors},
}};

void Define(Application::ReturnCodes& returnCodes, unsigned int id, std::string_view name, const Codes& codes,
            const Codes& errors) {
    returnCodes.AddParameter(id, name);
    returnCodes.AddReturnCodes(id, codes);
    returnCodes.AddReturnCodes(id, errors);
}

} // namespace

void Application::DefineReturnCodes() {
    ReturnCodes& returnCodes = ReturnCodes::GetInstance();
    Define(returnCodes, static_cast<unsigned int>(Parameter::None), "None", success, toolErrors);
    for (const auto& [parameter, codes, errors] : definitions) {
        const auto option = std::ranges::find(options, parameter, &Option::parameter);
        Define(returnCodes, static_cast<unsigned int>(parameter), option->name, codes, errors);
    }
    returnCodes.AddDataCallback([this](unsigned int parameter, int code, ReturnCodes::DataMap& data) {
        return OnDataCallback(parameter, code, data);
    });
}

} // namespace Tovra::Fieldhost::Tools
