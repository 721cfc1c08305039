// Oracle: a model of the options and commands, and nlohmann's JSON reader
// Reaches: Tovra::Fieldhost::Tools::Application::Main Tovra::Fieldhost::Tools::Application::SetAndPrintReturnCode
// Reaches: Tovra::Fieldhost::Tools::Application::EnableBackgroundAutomation
// Reaches: Tovra::Fieldhost::Tools::Application::DisableBackgroundAutomation
// Reaches: Tovra::Fieldhost::Tools::Application::CheckBackgroundAutomation
// Reaches: Tovra::Fieldhost::Tools::Application::FixBackgroundAutomation
// Reaches: Tovra::Fieldhost::Tools::Application::CheckOpenGL
// Reaches: Tovra::Fieldhost::Tools::Application::EnableHidOverUsb
// Reaches: Tovra::Fieldhost::Tools::Application::DisableHidOverUsb
// Reaches: Tovra::Fieldhost::Tools::Application::CheckHidOverUsb
// Reaches: Tovra::Fieldhost::Tools::Application::InstallCoreService
// Reaches: Tovra::Fieldhost::Tools::Application::UninstallCoreService
// Reaches: Tovra::Fieldhost::Tools::Application::StartCoreService
// Reaches: Tovra::Fieldhost::Tools::Application::StopCoreService
// Reaches: Tovra::System::Runtime::Application::GetHelpString
// Reaches: Tovra::System::Desktop::ReturnCodes::GenerateReturnJson
// Reaches: Tovra::System::Desktop::ReturnCodes::GenerateReturnOptionsJson

#include <Fakes/ChildSession.h>
#include <Fakes/GLContextPlatformNative.h>
#include <Fakes/HidOverUsb.h>
#include <Fakes/PlatformOperations.h>
#include <Fakes/ProcessOperations.h>
#include <Fakes/Service.h>
#include <Fakes/StandardStreams.h>
#include <Fakes/WindowPlatformNative.h>
#include <Fieldhost/Tools/Application.h>
#include <Support/SetupToolOutputs.h>
#include <System/Processes/Parameters.h>

#include <Fuzz/Input.h>
#include <Fuzz/Json.h>
#include <Fuzz/Outcome.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace Fakes = Tovra::Tests::Fakes;
namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Outcome;
using Tovra::System::Desktop::ReturnCodes;

Outcome s_help("the help");
Outcome s_catalogue("the catalogue");
Outcome s_wrongParameters("wrong parameters");
Outcome s_success("a success");
Outcome s_failure("a failure");
Outcome s_platform("an unsupported platform");
Outcome s_version("an unsupported version");
Outcome s_rights("missing rights");
Outcome s_silence("no document");
Outcome s_driverText("a version text that has to be escaped");

using Words = std::vector<std::string>;

/// The first line of the input.
struct Machine {
    explicit Machine(const Words& words) {
        for (const std::string& word : words) {
            constexpr std::array platforms{"windows", "mac", "linux", "variant"};
            const auto* const platform = std::ranges::find(platforms, word);
            platformType =
                platform == platforms.end() ? platformType : static_cast<int>(platform - platforms.begin() + 1);
            if (word.size() == 4 && word.starts_with('v') && word[2] == '.' && IsDigit(word[1]) && IsDigit(word[3])) {
                version = word.substr(1);
            }
            if (word.starts_with("driver=")) {
                driver = Fuzz::Unescape(word.substr(7));
                driver.resize(std::min(driver.size(), driver.find('\0')));
            }
            isElevated |= word == "elevated";
            isOn |= word == "on";
            succeeds |= word == "succeeds";
            hasWindow &= word != "windowless";
            hasContext &= word != "contextless";
            hasNamesake |= word == "namesake";
            if (word == "worker" || word == "survivor") {
                workers.push_back(word == "survivor");
            }
        }
    }

    static bool IsDigit(char character) { return character >= '0' && character <= '9'; }

    bool IsWindows() const { return platformType == 1; }
    bool IsLinux() const { return platformType >= 3; }
    bool IsNewEnough() const { return version >= "6.2"; }

    int platformType = 2;
    std::string version = "6.2";
    bool isElevated = false;
    bool isOn = false;     ///< Whether everything that can be enabled, installed or running is.
    bool succeeds = false; ///< Whether changes do.
    bool hasWindow = true;
    bool hasContext = true;
    bool hasNamesake = false;  ///< Whether another process has the tool's name.
    std::vector<bool> workers; ///< The processes that are repaired, and whether each survives that.
    std::string driver = "3.2 Fake";
};

constexpr int namesakeId = 100;
constexpr int firstWorkerId = 200;

void SetUp(const Machine& machine) {
    ReturnCodes::GetInstance().Clear();
    ReturnCodes::GetInstance().AddDataCallback(nullptr);
    Fakes::ResetAll();
    Fakes::platformOperations.type = static_cast<Tovra::System::Utilities::Platform::Type>(machine.platformType);
    Fakes::platformOperations.SetVersion(machine.version);
    auto& processes = Fakes::processOperations.processes;
    processes.front().effectiveUserId = machine.isElevated ? 0 : 501;
    if (machine.hasNamesake) {
        processes.push_back({.id = namesakeId, .path = "/elsewhere/TovraFieldhostSetupTool"});
    }
    for (const bool survives : machine.workers) {
        processes.push_back({.id = firstWorkerId + static_cast<int>(processes.size()),
                             .path = "/opt/TovraFieldhostExecutionTool",
                             .staysWhenKilled = survives});
    }
    Fakes::childSession.isEnabled = Fakes::hidOverUsb.isEnabled = Fakes::service.isInstalled = machine.isOn;
    Fakes::service.status = Tovra::System::Utilities::Service::Status{machine.isOn ? 4 : 1};
    Fakes::childSession.enable = Fakes::childSession.disable = machine.succeeds;
    Fakes::hidOverUsb.enable = Fakes::hidOverUsb.disable = machine.succeeds;
    Fakes::service.install = Fakes::service.uninstall = Fakes::service.start = Fakes::service.stop = machine.succeeds;
    if (!machine.hasWindow) {
        Fakes::windowPlatformNative.createResult = nullptr;
    }
    if (!machine.hasContext) {
        Fakes::glContextPlatformNative.context = nullptr;
    }
    Fakes::glContextPlatformNative.version = machine.driver.c_str();
}

/// What a run prints, returns, and does to the machine.
struct Result {
    std::string output = {};
    int status = 0;
    Words calls = {}; ///< Of the child session, of HID over USB, and of services.
    std::size_t kills = 0;
    bool hasWindow = false; ///< Whether a window was asked for.

    friend bool operator==(const Result&, const Result&) = default;
};

Result Run(const Machine& machine, const Words& words) {
    SetUp(machine);
    Tovra::Fieldhost::Tools::Application application;
    Tovra::System::Processes::Parameters parameters;
    parameters.Add({"/opt/tovra/TovraFieldhostSetupTool"});
    parameters.Add(words);
    Tovra::System::Runtime::Application::Run({.m_terminateOtherInstances = true, .m_parameters = &parameters});
    Result result{.status = application.GetReturnCode(),
                  .kills = Fakes::processOperations.GetKills().size(),
                  .hasWindow = !Fakes::windowPlatformNative.calls.empty()};
    for (const std::string& text : Fakes::standardStreams.writes) {
        result.output += text;
    }
    for (const Words& calls : {Fakes::childSession.calls, Fakes::hidOverUsb.calls, Fakes::service.calls}) {
        result.calls.insert(result.calls.end(), calls.begin(), calls.end());
    }
    return result;
}

struct Option {
    std::string name;
    std::string shortName;
};

/// In the order in which the first one that is present is run.
const std::array<Option, 14> options{{{"Help", "h"},
                                      {"ShowReturnCodes", "src"},
                                      {"CheckBackgroundAutomation", "cba"},
                                      {"DisableBackgroundAutomation", "dba"},
                                      {"EnableBackgroundAutomation", "eba"},
                                      {"FixBackgroundAutomation", "fba"},
                                      {"CheckOpenGL", "cgl"},
                                      {"CheckHidOverUsb", "chu"},
                                      {"DisableHidOverUsb", "dhu"},
                                      {"EnableHidOverUsb", "ehu"},
                                      {"InstallCoreService", "ics"},
                                      {"UninstallCoreService", "ucs"},
                                      {"StartCoreService", "scs"},
                                      {"StopCoreService", "tcs"}}};

/// The option of a word, which has one dash or two in front; null if there is none.
const Option* FindOption(const std::string& word) {
    const auto* const found = std::ranges::find_if(options, [&word](const Option& option) {
        return word == '-' + option.name || word == "--" + option.name || word == '-' + option.shortName ||
               word == "--" + option.shortName;
    });
    return found == options.end() ? nullptr : found;
}

std::string Quote(const std::string& text) {
    return Fuzz::WriteJson({.kind = Fuzz::Json::Kind::Text, .text = text});
}

bool IsUtf8(const std::string& text) {
    return Fuzz::ReadJson(Quote(text))->text == text;
}

/// What a run has to give.
class Model {
public:
    Model(const Machine& machine, const Words& words) : m_machine(machine) {
        m_result.kills = machine.hasNamesake ? 1 : 0;
        std::array<bool, options.size()> present{};
        for (const std::string& word : words) {
            const Option* const option = FindOption(word);
            if (option == nullptr) {
                s_wrongParameters.Note();
                m_result.output = Tovra::Tests::GetWrongParametersOutput();
                m_result.status = -1;
                return;
            }
            present.at(static_cast<std::size_t>(option - options.data())) = true;
        }
        const auto* const first = std::ranges::find(present, true);
        if (s_help.Note(first == present.end() || first == present.begin())) {
            m_result.output = Tovra::Tests::GetHelpOutput();
        } else if (s_catalogue.Note(first == present.begin() + 1)) {
            m_result.output = Tovra::Tests::GetCatalogueOutput();
        } else {
            RunCommand(options.at(static_cast<std::size_t>(first - present.begin())).shortName);
        }
    }

    const Result& Get() const { return m_result; }

private:
    void RunCommand(const std::string& command) {
        if (command == "cgl") {
            CheckOpenGl();
        } else if (command.ends_with("hu")) {
            ChangeHid(command);
        } else if (!m_machine.IsWindows()) {
            Report("Platform Unsupported", -1, command == "cba" ? "value" : "previous", false);
        } else if (!m_machine.IsNewEnough()) {
            // The catalogue has no such code for services.
            if (!s_silence.Note(command.ends_with("cs"))) {
                Report("OS Version Unsupported", -2, command == "cba" ? "value" : "previous", false);
            }
        } else if (command == "fba") {
            Repair();
        } else if (command.ends_with("ba")) {
            m_result.calls = {"IsEnabled"};
            Change(command, "Enable", "Disable", -3);
        } else {
            ChangeService(command);
        }
    }

    void CheckOpenGl() {
        m_result.hasWindow = true;
        if (!m_machine.hasWindow) {
            Report("Failed", 1, "version", false);
            return;
        }
        const std::string version = m_machine.hasContext ? m_machine.driver : "";
        s_driverText.Note(Quote(version) != '"' + version + '"');
        Write(m_machine.hasContext ? "Success" : "Platform Unsupported", m_machine.hasContext ? 0 : -1,
              "\"version\": " + Quote(version));
    }

    void ChangeHid(const std::string& command) {
        if (!m_machine.IsLinux()) {
            Report("Platform Unsupported", -1, command == "chu" ? "value" : "previous", false);
            return;
        }
        m_result.calls = {"IsEnabled"};
        Change(command, "Enable", "Disable", -2);
    }

    void ChangeService(const std::string& command) {
        const std::string service = " TovraCoreService";
        const bool isAboutFiles = command == "ics" || command == "ucs";
        m_result.calls = {(isAboutFiles ? "IsInstalled" : "GetStatus") + service};
        if (command == "ics") {
            Change("ehu",
                   "Install" + service +
                       " /opt/TovraTests/TovraCoreService AI powered UI automation service by tovra GmbH.",
                   "", -2);
        } else if (command == "ucs") {
            Change("dhu", "", "Uninstall" + service, -2);
        } else if (const bool isDone = m_machine.isOn == (command == "scs"); isDone) {
            Report("Success", 0, "previous", true);
        } else {
            ReportChange((command == "scs" ? "Start" : "Stop") + service, -2, false);
        }
    }

    /// Of what is enabled or not: the command's first letter tells what to do about it.
    void Change(const std::string& command, const std::string& enable, const std::string& disable, int missingRights) {
        if (command.starts_with('c')) {
            Report("Success", 0, "value", m_machine.isOn);
        } else if (command.starts_with('e') == m_machine.isOn) {
            Report("Success", 0, "previous", m_machine.isOn);
        } else {
            ReportChange(command.starts_with('e') ? enable : disable, missingRights, m_machine.isOn);
        }
    }

    void ReportChange(const std::string& call, int missingRights, bool previous) {
        if (!m_machine.isElevated) {
            Report("Missing Rights", missingRights, "previous", previous);
            return;
        }
        m_result.calls.push_back(call);
        Report(m_machine.succeeds ? "Success" : "Failed", m_machine.succeeds ? 0 : 1, "previous", previous);
    }

    void Repair() {
        m_result.kills += m_machine.workers.size();
        // The last one decides.
        const bool survives = !m_machine.workers.empty() && m_machine.workers.back();
        Report(survives ? "Failed" : "Success", survives ? 1 : 0, "value", !m_machine.workers.empty() && !survives);
    }

    void Report(const std::string& name, int code, const std::string& key, bool value) {
        Write(name, code, '"' + key + "\": " + (value ? "true" : "false"));
    }

    void Write(const std::string& name, int code, const std::string& data) {
        s_success.Note(name == "Success");
        s_failure.Note(name == "Failed");
        s_platform.Note(name == "Platform Unsupported");
        s_version.Note(name == "OS Version Unsupported");
        s_rights.Note(name == "Missing Rights");
        m_result.output = Tovra::Tests::GetResultOutput(name, code, data);
        m_result.status = code;
    }

    const Machine& m_machine;
    Result m_result;
};

/// The same words in the shortest form.
Words Normalise(Words words) {
    for (std::string& word : words) {
        if (const Option* const option = FindOption(word)) {
            word = '-' + option->shortName;
        }
    }
    return words;
}

/// The document in a form in which those of one content are equal, whichever way their texts are escaped.
std::string Canonicalise(const std::string& document) {
    const auto json = Fuzz::ReadJson(document);
    Expect(json.has_value(), "the document is valid JSON", document);
    return Fuzz::WriteJson(*json);
}

void Compare(const char* rule, const Result& actual, const Result& expected) {
    Expect(actual == expected, rule, actual.output, expected.output, actual.status, expected.status, actual.kills,
           expected.kills, actual.calls.size(), expected.calls.size());
}

} // namespace

// A line with the state of the machine, and a line for each word of the command line. The document, the status and
// everything that is done to the machine are those of the model, in whatever form and order the words stand.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    setenv("HOME", "/home/tester", 1);
    Words words = Fuzz::GetLines(Fuzz::GetText(data, size));
    const Machine machine(Fuzz::GetWords(words.front()));
    words.erase(words.begin());

    Result result = Run(machine, words);
    Compare("words in normal form give the same", Run(machine, Normalise(words)), result);
    Compare("words in the opposite order give the same", Run(machine, {words.rbegin(), words.rend()}), result);

    Result expected = Model(machine, words).Get();
    if (expected.hasWindow && !IsUtf8(machine.driver)) {
        // The driver's bytes stand in the document as they are.
        result.output.clear();
        expected.output.clear();
    } else if (result.output.starts_with('{')) {
        const std::string canonical = Canonicalise(result.output);
        // The bytes are the same, but for texts that can be escaped in several ways.
        if (result.output != expected.output && Quote(machine.driver) != '"' + machine.driver + '"') {
            result.output = canonical;
            expected.output = Canonicalise(expected.output);
        }
    }
    Compare("the run is as in the model", result, expected);
    return 0;
}
