#pragma once

namespace Tovra::Fieldhost::Tools {

/// The parameters of the tool. Their values are the keys of the options on the command line and the parameter ids of
/// the return-code catalogue.
enum class Parameter : unsigned int {
    None = 0, ///< The tool as a whole: it has return codes but no option.
    EnableBackgroundAutomation = 1,
    DisableBackgroundAutomation = 2,
    CheckBackgroundAutomation = 3,
    FixBackgroundAutomation = 4,
    CheckOpenGL = 5,
    EnableHidOverUsb = 6,
    DisableHidOverUsb = 7,
    CheckHidOverUsb = 8,
    InstallCoreService = 9,
    UninstallCoreService = 10,
    StartCoreService = 11,
    StopCoreService = 12,
    ShowReturnCodes = 13,
    Help = 14,
};

} // namespace Tovra::Fieldhost::Tools
