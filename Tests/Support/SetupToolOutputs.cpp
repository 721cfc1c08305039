#include <Support/SetupToolOutputs.h>

namespace Tovra::Tests {

using namespace std::string_literals;

std::string GetHelpOutput() {
    return "Usage: T\0o\0v\0r\0a\0F\0i\0e\0l\0d\0h\0o [option(s)]\n"
           "\n"
           "One or more of the below listed options can be used:\n"
           "\t-EnableBackgroundAutomation  -eba  Enables the background automation and returns success. \n"
           "\t-DisableBackgroundAutomation -dba  Disables the background automation and returns success. \n"
           "\t-CheckBackgroundAutomation   -cba  Returns whether the background automation is enabled or not. \n"
           "\t-FixBackgroundAutomation     -fba  Tries to fix the background automation setup and returns success. \n"
           "\t-CheckOpenGL                 -cgl  Checks whether the required OpenGL version is available. \n"
           "\t-EnableHidOverUsb            -ehu  Enables HID over USB and returns success. \n"
           "\t-DisableHidOverUsb           -dhu  Disables HID over USB and returns success. \n"
           "\t-CheckHidOverUsb             -chu  Returns whether HID over USB is enabled or not. \n"
           "\t-InstallCoreService          -ics  Installs the core service. \n"
           "\t-UninstallCoreService        -ucs  Uninstalls the core service. \n"
           "\t-StartCoreService            -scs  Starts the core service, if it is intalled. \n"
           "\t-StopCoreService             -tcs  Stops the core service, if it is running. \n"
           "\t-ShowReturnCodes             -src  Prints the return codes as a JSON formatted list. \n"
           "\t-Help                        -h    Prints this help. \n"
           "\n"s;
}

std::string GetCatalogueOutput() {
    return R"json({
    "parameters": [
        {
            "name": "None",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Wrong Parameter(s)",
                    "code": -1
                },
                {
                    "name": "Setup Failed",
                    "code": -2
                }
            ]
        },
        {
            "name": "EnableBackgroundAutomation",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "OS Version Unsupported",
                    "code": -2
                },
                {
                    "name": "Missing Rights",
                    "code": -3
                }
            ]
        },
        {
            "name": "DisableBackgroundAutomation",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "OS Version Unsupported",
                    "code": -2
                },
                {
                    "name": "Missing Rights",
                    "code": -3
                }
            ]
        },
        {
            "name": "CheckBackgroundAutomation",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "OS Version Unsupported",
                    "code": -2
                }
            ]
        },
        {
            "name": "FixBackgroundAutomation",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                }
            ]
        },
        {
            "name": "CheckOpenGL",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                }
            ]
        },
        {
            "name": "CheckHidOverUsb",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                }
            ]
        },
        {
            "name": "EnableHidOverUsb",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "Missing Rights",
                    "code": -2
                }
            ]
        },
        {
            "name": "DisableHidOverUsb",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "Missing Rights",
                    "code": -2
                }
            ]
        },
        {
            "name": "InstallCoreService",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "Missing Rights",
                    "code": -2
                }
            ]
        },
        {
            "name": "UninstallCoreService",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "Missing Rights",
                    "code": -2
                }
            ]
        },
        {
            "name": "StartCoreService",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "Missing Rights",
                    "code": -2
                }
            ]
        },
        {
            "name": "StopCoreService",
            "codes": [
                {
                    "name": "Success",
                    "code": 0
                },
                {
                    "name": "Failed",
                    "code": 1
                },
                {
                    "name": "Platform Unsupported",
                    "code": -1
                },
                {
                    "name": "Missing Rights",
                    "code": -2
                }
            ]
        }
    ]
}
)json";
}

std::string GetWrongParametersOutput() {
    return "{\n"
           "    \"name\": \"Wrong Parameter(s)\",\n"
           "    \"code\": -1\n"
           "}\n";
}

std::string GetResultOutput(const std::string& name, int code, const std::string& data) {
    return "{\n"
           "    \"name\": \"" +
           name +
           "\",\n"
           "    \"code\": " +
           std::to_string(code) +
           ",\n"
           "    \"data\": {\n"
           "        " +
           data +
           "\n"
           "    }\n"
           "}\n";
}

} // namespace Tovra::Tests
