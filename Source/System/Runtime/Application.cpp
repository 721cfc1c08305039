#include <System/Device/Display/DisplayCache.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Error/Assertion.h>
#include <System/Error/ErrorHandler.h>
#include <System/Error/Exception.h>
#include <System/Log/Log.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>
#include <System/Processes/Parameters.h>
#include <System/Processes/Process.h>
#include <System/Runtime/Application.h>
#include <System/Threads/Sleep.h>
#include <System/Threads/ThreadManager.h>
#include <System/Utilities/String.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <format>
#include <iterator>
#include <ranges>
#include <thread>
#include <vector>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Runtime {

using Processes::ParameterDescription;
using Processes::Process;

namespace {

void TerminateOtherInstances() {
    const Process current = Process::GetCurrent();
    std::string name;
    current.GetName(name);
    if (name.empty()) {
        // An empty name filters nothing: every process would be taken for another instance of this program.
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

/// The name as the help text shows it.
/// Intentional: it is the first half of the letters, each followed by a NUL byte. The conversion reads units of 16 bits
/// where a wide character has 32, so as many units as the name has characters are half of its storage. Callers compare
/// the help text byte for byte.
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

/// Appends a text and, up to a width in columns, blanks. `std::format` counts columns in any text, but takes some 700
/// instructions for each: a twentieth of all that showing the help takes.
void AppendPadded(std::string& help, const std::string& text, std::size_t width) {
    if (std::ranges::any_of(text, [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; })) {
        std::format_to(std::back_inserter(help), "{:<{}}", text, width);
        return;
    }
    help.append(text).append(width - text.size(), ' ');
}

std::string_view GetDefaultAsShown(const ParameterDescription& description) {
    return description.m_defaultValue.empty() ? std::string_view("Empty") : description.m_defaultValue;
}

/// Waits up to a second until the thread has freed its slot. A system is complete a moment earlier, and the threading
/// system asserts when it is destroyed with a slot in use. A thread that goes on for longer is its callback's mistake.
void WaitForSlot(const Threads::Thread& thread) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (thread.GetStatus() != Threads::Thread::Status::None && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
}

} // namespace

Application* Application::s_instance = nullptr;

Application::Application(std::wstring&& name) : m_name(std::move(name)) {
    TOVRA_ASSERT(s_instance == nullptr, "There shall be only one application instance.");
    s_instance = this;
}

Application::~Application() {
    for (SystemContainer& container : std::views::reverse(m_systems)) {
        container.m_system.reset();
        container.m_thread = nullptr;
        container.m_reservedForOwner = 0;
        if (container.m_backReference != nullptr) {
            *container.m_backReference = nullptr;
        }
    }
    m_systems.clear();
    m_displaySystem.reset();
    m_threadingSystem.reset();
    // Intentional: the error handler keeps its pointer to the logger, so a report from here on would use a
    // destroyed one.
    m_logSystem.reset();
    TOVRA_ASSERT(s_instance == this, "Instance must match.");
    s_instance = nullptr;
}

Application& Application::GetInstance() {
    // Intentional: "Ilegal" is misspelled; callers know the message as it stands.
    TOVRA_ASSERT(s_instance != nullptr, "Ilegal attempt to access a non-existent application instance.");
    return *s_instance;
}

const Application& Application::GetOwnerOfSystems(const char* function) {
    TOVRA_ASSERT_FOR(function, s_instance != nullptr, noApplicationMessage);
    return *s_instance;
}

template <>
Log::Logger* TryGetSystem<Log::Logger>() {
    return Application::GetOwnerOfSystems(__func__).m_logSystem.get();
}

template <>
Threads::ThreadManager* TryGetSystem<Threads::ThreadManager>() {
    return Application::GetOwnerOfSystems(__func__).m_threadingSystem.get();
}

template <>
Device::Display::DisplayCache* TryGetSystem<Device::Display::DisplayCache>() {
    return Application::GetOwnerOfSystems(__func__).m_displaySystem.get();
}

Threads::ThreadManager& Application::GetThreadingSystem(const char* function) {
    GetOwnerOfSystems(function);
    TOVRA_ASSERT_FOR(function, s_instance->m_threadingSystem.get() != nullptr,
                     "Illegal attempt to get the 'Threading System' before it was created.");
    return *s_instance->m_threadingSystem;
}

Device::Display::DisplayCache& Application::GetDisplaySystem(const char* function) {
    GetOwnerOfSystems(function);
    TOVRA_ASSERT_FOR(function, s_instance->m_displaySystem.get() != nullptr,
                     "Illegal attempt to get the 'Display System' before it was created.");
    return *s_instance->m_displaySystem;
}

template <>
Threads::ThreadManager& GetSystem<Threads::ThreadManager>() {
    return Application::GetThreadingSystem(__func__);
}

template <>
Device::Display::DisplayCache& GetSystem<Device::Display::DisplayCache>() {
    return Application::GetDisplaySystem(__func__);
}

bool HasApplication() {
    return Application::s_instance != nullptr;
}

Log::Logger* FindLogger() {
    return Application::s_instance != nullptr ? Application::s_instance->m_logSystem.get() : nullptr;
}

const std::wstring& GetUserFolder() {
    return Application::GetInstance().m_configCache.GetUserFolder();
}

const std::wstring& GetApplicationName() {
    return Application::GetInstance().GetName();
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
    application.ShutdownSystems();
}

void Application::Main(const ApplicationParameters& parameters) {
    Threads::ThreadManager::BindMainThreadToCurrentThread();
    m_parameters = parameters.m_parameters;
    m_auxiliaryPointer = parameters.m_auxiliaryPointer;
    try {
        InitializeEnvironment();
    } catch (...) {
        // Intentional: silent. A program works without a home directory or a configuration, and its output is its own.
        // The rest of the start-up is left out; `Run` goes on to the program's body.
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
    if (!Error::ErrorHandler::s_instance.Initialize(*this)) {
        TOVRA_THROW(Foundation, 1, "Failed to initialize error handling.");
    }
}

void Application::Initialize() {
    // Intentional: a failure is only reported; programs find their systems missing and go on without them.
    try {
        CreateSystems();
    } catch (const std::exception& exception) {
        TOVRA_LOG(System, Error, "Exception: ", exception.what());
        Error::ErrorHandler::s_instance.OnException(exception, true);
    } catch (const Error::Exception& exception) {
        exception.SetHandled();
    } catch (...) {
        // Intentional: "Unkown" is misspelled; readers of logs look for the text as it stands.
        TOVRA_LOG(System, Error, "Unkown exception.");
    }
}

void Application::CreateSystems() {
    Log::LoggerConfig* const logConfig = m_configCache.AddConfig<Log::Logger>();
    CreateAndInitialize<Log::Logger, Log::LoggerConfig>(m_logSystem, logConfig);
    CreateAndInitialize<Threads::ThreadManager, EmptyConfig>(m_threadingSystem, nullptr);
    m_mainThread = Threads::ThreadManager::GetMainThread();
    CreateAndInitialize<Device::Display::DisplayCache, EmptyConfig>(m_displaySystem, nullptr);
}

void Application::Run(GUID mainThreadSystem) {
    ExecuteSystems({{mainThreadSystem}});
    // Asserts once more that this is a thread of ours; the result is not used.
    Threads::Thread::GetCurrent();
}

void Application::ExecuteSystems(const SystemExecutionConfig& systemExecutionConfig) {
    TOVRA_ASSERT(&Threads::Thread::GetCurrent() == m_mainThread, "Must be executed on main thread.");
    {
        std::vector<SystemExecutionParameters> parameters = GetExecutionParameters(__func__);
        CreateThreads(parameters, systemExecutionConfig.m_mainThread.m_systemGUID);
    }
    if (m_mainThreadCallback == nullptr) {
        TOVRA_ASSERT(systemExecutionConfig.m_mainThread.m_systemGUID == GUID::Empty(), "Must be empty.");
        return;
    }
    TOVRA_ASSERT(systemExecutionConfig.m_mainThread.m_systemGUID != GUID::Empty(), "Must be non-empty.");
    // Intentional: it cannot fail behind the test above, but is one of the settled checks.
    TOVRA_ASSERT(m_mainThreadCallback != nullptr, "Must be non-null.");
    m_mainThreadCallback->SetThread(Threads::Thread::GetCurrent());
    m_mainThreadCallback->Run();
}

std::vector<SystemExecutionParameters> Application::GetExecutionParameters(const char* function) {
    std::vector<SystemExecutionParameters> systemExecutionParametersBySystemIndex;
    for (const SystemContainer& container : m_systems) {
        SystemExecutionParameters& systemExecutionParameters = systemExecutionParametersBySystemIndex.emplace_back();
        container.m_system->GetExecutionParameters(systemExecutionParameters);
        TOVRA_ASSERT_FOR(function,
                         systemExecutionParameters.m_executionType ==
                             SystemExecutionParameters::ThreadModel::DedicatedThread,
                         "System must run in dedicated thread.");
    }
    TOVRA_ASSERT_FOR(function, systemExecutionParametersBySystemIndex.size() >= 1,
                     "There must be at least one main thread system.");
    const std::size_t requiredThreadCount = systemExecutionParametersBySystemIndex.size();
    TOVRA_ASSERT_FOR(function, requiredThreadCount <= m_threadingSystem->s_maxThreadCount,
                     "Required thread count is too high.");
    return systemExecutionParametersBySystemIndex;
}

void Application::CreateThreads(std::vector<SystemExecutionParameters>& parameters, GUID mainThreadSystem) {
    for (std::size_t index = 0; index < m_systems.size(); ++index) {
        SystemContainer& container = m_systems[index];
        std::unique_ptr<Threads::ThreadEntryPointCallback>& entryPoint = parameters[index].m_threadEntryPoint;
        if (mainThreadSystem != GUID::Empty() && container.m_system->GetSystemGUID() == mainThreadSystem) {
            m_mainThreadSystem = container.m_system.get();
            m_mainThreadCallback = std::move(entryPoint);
            mainThreadSystem = GUID::Empty();
        } else {
            // Intentional: the result is ignored; a system that gets no thread waits for its shutdown.
            m_threadingSystem->TryCreateThread(std::move(entryPoint), container.m_thread);
        }
    }
}

void Application::Shutdown() {
    Application& application = GetInstance();
    ShutdownEvent event;
    // Intentional: not tested for null; a program must not end a main thread's system that does not run.
    application.m_mainThreadSystem->ProcessEvent(application, event);
}

void Application::ShutdownSystem(SystemContainer& container) {
    constexpr std::chrono::nanoseconds pause = std::chrono::milliseconds(100);
    ShutdownEvent event;
    container.m_system->ProcessEvent(*this, event);
    // Intentional: no time limit; a busy system is never cut off.
    while (container.m_system->GetSystemState() != ISystem::State::Shutdown_Complete) {
        Thread::Sleep(pause);
    }
    if (container.m_thread != nullptr) {
        WaitForSlot(*container.m_thread);
    }
}

void Application::ShutdownSystems() {
    TOVRA_ASSERT(m_mainThread == nullptr || m_mainThread == &Threads::Thread::GetCurrent(),
                 "Must be called from main thread.");
    for (SystemContainer& container : std::views::reverse(m_systems)) {
        if (container.m_system != nullptr && container.m_system.get() != m_mainThreadSystem) {
            ShutdownSystem(container);
        }
    }
    if (m_mainThreadSystem != nullptr) {
        m_mainThreadSystem->OnShutdown();
    }
    TOVRA_LOG(System, Verbose, "Successful shutdown. See you soon!");
    if (m_logSystem != nullptr) {
        // Intentional: twice; the second time finds the file closed and sets its fail bit, as callers know it.
        m_logSystem->OnShutdown();
        m_logSystem->OnShutdown();
    }
}

void Application::OnPreSystemInitialization(Application&, PreSystemInitializationEvent&) {}

void Application::OnPostSystemInitialization(Application& sender, PostSystemInitializationEvent& event) {
    TOVRA_ASSERT(&sender == this, "Event from different application instance shall not be received.");
    if (event.m_system->GetSystemGUID() == Log::Logger::s_systemGUID) {
        // Intentional: the results are not used; an object that is no longer a system fails here.
        event.m_system->GetTypeID();
        event.m_system->GetSystemGUID();
        Error::ErrorHandler::s_instance.SetLogger(static_cast<Log::Logger&>(*event.m_system));
    }
}

void Application::DestructSystem(ISystem* system) {
    delete system;
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
        help += "\t-";
        AppendPadded(help, description.m_name, nameWidth);
        help += " -";
        AppendPadded(help, description.m_shortName, shortWidth);
        help.append("  ").append(description.m_description).append(". ");
        help += description.m_required ? "(required) " : "";
        if (description.m_hasValue) {
            help.append("[Default: ").append(GetDefaultAsShown(description)).append("]");
        }
        help += '\n';
    }
    return help;
}

} // namespace Tovra::System::Runtime
