// Says what the setup tool's "Failed" can't: one JSON document on the display, OpenGL, permissions and files.
//
//     TovraFieldhostDiagnose [-text] [-patience <seconds>]
//
// Libraries and drivers run in child processes, so that the document is printed whatever they do. No process is ended,
// and the program's name is not the tool's, whose start ends processes of its own name.

#include "DiagnosisOperations.h"
#include "Options.h"
#include "Outcomes.h"
#include "Problems.h"
#include "Sections.h"
#include "Text.h"

#include <Fieldhost/Tools/PlatformApplication.h>
#include <Fieldhost/Tools/StandardStreams.h>
#include <System/Processes/Parameters.h>
#include <System/Runtime/Application.h>
#include <System/Utilities/Number.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

namespace {

using namespace std::chrono_literals;
using namespace Tovra::Fieldhost::Diagnose;
namespace Tools = Tovra::Fieldhost::Tools;
namespace System = Tovra::System;

constexpr int outputFailed = 1;
constexpr int wrongOptions = 2;

constexpr const char* usage = "Usage: TovraFieldhostDiagnose [-text] [-patience <seconds>]\n";

/// The process's application, which the framework's rooms log to. It is never run: it makes no folder and no log, and
/// ends no process.
class Program final : public System::Runtime::Application {
public:
    Program() : Application(L"TovraFieldhostDiagnose") {}
};

/// What the arguments ask for.
struct Settings {
    bool isHelp = false;
    bool isText = false;
    std::chrono::seconds patience{};
};

/// The parts of the document as they are found out.
class Diagnosis {
public:
    explicit Diagnosis(const Settings& settings) : m_settings(settings) {}

    /// Finds everything out and prints it. Returns the status.
    int Run() {
        const std::string folder = System::Runtime::ApplicationConfigCache::RetrieveApplicationDirectoryPlatform();
        m_permissions = DescribePermissions();
        m_tool = DescribeTool(folder);
        m_namesakes = DescribeNamesakes();
        m_schema = DescribeSchema(folder);
        m_folders = DescribeFolders();
        constexpr std::chrono::milliseconds longest = 5s; // The tool gives a server as much.
        const auto patience = std::min<std::chrono::milliseconds>(m_settings.patience, longest);
        const auto lookUp = [this, patience](const std::string& host) {
            return LookUpHostInTime(host, patience, [this] { return Print(); });
        };
        ContactDisplay(patience, lookUp, m_contact);
        RunPart([](const auto& send) { send(DescribeLibraries()); }, m_libraries);
        if (m_contact.result.outcome == "Accepted") {
            RunPart([](const auto& send) { send(DescribeDesktop()); }, m_desktop);
        }
        m_isOpenGlTried = m_desktop["outcome"] == Json("Connected");
        if (m_isOpenGlTried) {
            // Printed at once: the driver may hang or crash when the context is destroyed.
            RunSection(
                DescribeOpenGl, m_settings.patience,
                [this](const Json& section) {
                    m_openGl = section;
                    Print();
                },
                [this] { return m_status; });
        } else {
            Print();
        }
        return m_status;
    }

private:
    template <class F>
    void RunPart(const F& describe, Json& section) {
        RunSection(
            describe, m_settings.patience, [&section](const Json& received) { section = received; },
            [this] { return Print(); });
    }

    Json Compose() const {
        Json::Object document{{"program", DescribeProgram()},
                              {"system", DescribeSystem()},
                              {"display", ComposeDisplay(m_contact, m_libraries["libraries"], m_desktop)},
                              {"server", m_desktop["server"]},
                              {"windowManager", m_desktop["windowManager"]},
                              {"displays", m_desktop["displays"].GetElements()},
                              {"extensions", m_desktop["extensions"].GetElements()},
                              {"wayland", DescribeWayland(m_desktop)},
                              {"libraries", m_libraries["libraries"].GetElements()},
                              {"openGl", ComposeOpenGl(m_openGl, m_isOpenGlTried)},
                              {"permissions", m_permissions},
                              {"tool", m_tool},
                              {"namesakes", m_namesakes},
                              {"schema", m_schema},
                              {"folders", m_folders}};
        document.emplace_back("problems", FindProblems(document));
        return document;
    }

    /// Returns the status.
    int Print() {
        const Json document = Compose();
        m_status = Tools::WriteToStandardOutput(m_settings.isText ? ComposeText(document) : Write(document))
                       ? EXIT_SUCCESS
                       : outputFailed;
        return m_status;
    }

    Settings m_settings;
    DisplayContact m_contact;
    Json m_libraries;
    Json m_desktop;
    Json m_openGl;
    Json m_permissions;
    Json m_tool;
    Json m_namesakes;
    Json m_schema;
    Json m_folders;
    bool m_isOpenGlTried = false;
    int m_status = outputFailed;
};

/// Sets `settings` by the arguments; false if they are not understood.
bool Parse(System::Processes::Parameters& parameters, Settings& settings) {
    for (const OptionDescription& option : options) {
        parameters.AddDescription(option.option, false, !option.value.empty(), std::string(option.name),
                                  std::string(option.shortName), std::string(option.description),
                                  std::string(option.defaultValue));
    }
    if (parameters.Parse() != System::Processes::ParseResult::Success) {
        return false;
    }
    settings.isHelp = parameters.Has(Option::Help);
    settings.isText = parameters.Has(Option::Text);
    std::string_view patience = parameters.GetValue(Option::Patience);
    const auto seconds = System::Utilities::TakeNumber<std::uint16_t>(patience);
    settings.patience = std::chrono::seconds(seconds.value_or(0));
    return patience.empty() && seconds.value_or(0) > 0;
}

} // namespace

int main(int argc, char** argv) {
    const bool hasOutput = HasStandardOutput();
    Tools::SecureStandardStreams();
    System::Processes::Parameters parameters;
    parameters.Add(static_cast<std::size_t>(argc), argv);
    Settings settings;
    if (!Parse(parameters, settings)) {
        std::cerr << usage;
        return wrongOptions;
    }
    if (!hasOutput) {
        return outputFailed; // The null device stands in its place and would take everything.
    }
    if (settings.isHelp) {
        return Tools::WriteToStandardOutput(usage) ? EXIT_SUCCESS : outputFailed;
    }
    const Program program;
    Tools::TouchPlatformApplication();
    return Diagnosis(settings).Run();
}
