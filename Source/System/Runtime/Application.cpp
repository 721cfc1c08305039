#include <System/Environment/DirectoryCache.h>
#include <System/Error/Assertion.h>
#include <System/Error/Exception.h>
#include <System/Processes/Parameters.h>
#include <System/Processes/Process.h>
#include <System/Runtime/Application.h>
#include <System/Utilities/String.h>

#include <algorithm>
#include <cstring>
#include <format>
#include <iterator>
#include <vector>

namespace Tovra::System::Runtime {

using Processes::ParameterDescription;
using Processes::Process;

namespace {

void TerminateOtherInstances() {
    const Process current = Process::GetCurrent();
    std::string name;
    current.GetName(name);
    if (name.empty()) {
        // An empty name would filter nothing: every process would count as another copy of this program.
        return;
    }
    Process::ForEachProcess(
        [&current](const Process& process) {
            if (process.GetId() != current.GetId()) {
                process.Terminate();
            }
        },
        name);
}

/// The front half of the name's letters, each followed by a zero byte. This is meant: the conversion reads units of 16
/// bits where a wide character has 32, so as many units as the name has characters are half of its storage. Callers
/// compare the help text byte for byte.
std::string GetNameAsShown(const std::wstring& name) {
    std::u16string units(name.size(), u'\0');
    std::memcpy(units.data(), name.data(), units.size() * sizeof(char16_t));
    return Utilities::String::Utf16ToUtf8(units.data(), units.size());
}

std::size_t GetWidth(const std::vector<ParameterDescription>& descriptions, std::string ParameterDescription::* text) {
    std::size_t width = 0;
    for (const ParameterDescription& description : descriptions) {
        width = std::max(width, (description.*text).size());
    }
    return width;
}

std::string_view GetDefaultAsShown(const ParameterDescription& description) {
    if (!description.m_hasValue) {
        return {};
    }
    return description.m_defaultValue.empty() ? std::string_view("Empty") : description.m_defaultValue;
}

} // namespace

Application* Application::s_instance = nullptr;

Application::Application(std::wstring&& name) : m_name(std::move(name)) {
    TOVRA_ASSERT(s_instance == nullptr, "There shall be only one application instance.");
    s_instance = this;
}

Application::~Application() {
    m_displaySystem.reset();
    m_threadingSystem.reset();
    m_logSystem.reset();
    TOVRA_ASSERT(s_instance == this, "Instance must match.");
    s_instance = nullptr;
}

Application& Application::GetInstance() {
    TOVRA_ASSERT(s_instance != nullptr, "Ilegal attempt to access a non-existent application instance.");
    return *s_instance;
}

Log::Logger* Application::TryGetLogger() {
    TOVRA_ASSERT(s_instance != nullptr, "No application instance was created.");
    return s_instance->m_logSystem.get();
}

template <>
Log::Logger* TryGetSystem<Log::Logger>() {
    return Application::TryGetLogger();
}

Log::Logger* FindLogger() {
    return Application::s_instance != nullptr ? Application::s_instance->m_logSystem.get() : nullptr;
}

const std::wstring& GetUserFolder() {
    return Application::GetInstance().m_configCache.GetUserFolder();
}

const std::wstring& GetApplicationName() {
    return Application::GetInstance().m_name;
}

const std::string& GetApplicationDirectory() {
    return Application::GetInstance().m_configCache.GetApplicationDirectory();
}

void Application::Run(const ApplicationParameters& parameters) {
    if (parameters.m_terminateOtherInstances) {
        TerminateOtherInstances();
    }
    Application& application = GetInstance();
    application.Application::Main(parameters);
    application.Main(parameters);
}

void Application::Main(const ApplicationParameters& parameters) {
    m_parameters = parameters.m_parameters;
    m_auxiliaryPointer = parameters.m_auxiliaryPointer;
    try {
        InitializeEnvironment();
    } catch (...) {
        // Meant to be silent: a program does its job without a home directory or a configuration, and what it prints
        // is its own. Nothing that comes later in the start-up is reached, `Run` goes on to the program's body.
        return;
    }
    const std::wstring userFolder = m_configCache.GetUserFolder();
    UserFolderSubDirectoryDefinedEvent event{&userFolder};
    OnUserFolderSubDirectoryDefined(*this, event);
}

void Application::InitializeEnvironment() {
    if (!Environment::DirectoryCache::Initialize()) {
        TOVRA_THROW(Foundation, 1, "Failed to initialize environment.");
    }
    const bool hasArguments = m_parameters != nullptr && !m_parameters->GetArguments().empty();
    const char* const firstArgument = hasArguments ? m_parameters->GetArguments().front().c_str() : nullptr;
    if (!m_configCache.Initialize(firstArgument)) {
        TOVRA_THROW(Foundation, 1, "Failed to initialize configuration cache.");
    }
}

void Application::OnPreSystemInitialization(Application&, PreSystemInitializationEvent&) {}

void Application::OnPostSystemInitialization(Application& sender, PostSystemInitializationEvent&) {
    TOVRA_ASSERT(&sender == this, "Event from different application instance shall not be received.");
}

void Application::OnUserFolderSubDirectoryDefined(Application&, UserFolderSubDirectoryDefinedEvent&) {}

std::int32_t Application::OnServiceControlEvent(const ServiceControlEvent&) {
    return 0;
}

std::string Application::GetHelpString() const {
    const std::vector<ParameterDescription>& descriptions = m_parameters->GetDescriptions();
    const std::size_t nameWidth = GetWidth(descriptions, &ParameterDescription::m_name);
    const std::size_t shortWidth = GetWidth(descriptions, &ParameterDescription::m_shortName);

    std::string help = std::format("Usage: {} [option(s)]", GetNameAsShown(m_name));
    if (descriptions.empty()) {
        return help;
    }
    help += "\n\nOne or more of the below listed options can be used:\n";
    for (const ParameterDescription& description : descriptions) {
        std::format_to(std::back_inserter(help), "\t-{:<{}} -{:<{}}  {}. {}{}{}{}\n", description.m_name, nameWidth,
                       description.m_shortName, shortWidth, description.m_description,
                       description.m_required ? "(required) " : "", description.m_hasValue ? "[Default: " : "",
                       GetDefaultAsShown(description), description.m_hasValue ? "]" : "");
    }
    return help;
}

} // namespace Tovra::System::Runtime
