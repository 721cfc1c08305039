#pragma once

#include <System/Error/Exception.h>
#include <System/Runtime/ApplicationAccess.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Runtime/System.h>

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::System {
namespace Device::Display {
class DisplayCache;
}
namespace Processes {
class Parameters;
}
namespace Threads {
class ThreadManager;
}
} // namespace Tovra::System

namespace Tovra::System::Runtime {

/// What `main` passes to the application.
struct ApplicationParameters {
    /// Not read by the frame.
    bool m_option = false;
    bool m_terminateOtherInstances = false;        ///< Terminate every other process of this program's name first.
    Processes::Parameters* m_parameters = nullptr; ///< The command line, or null; must outlive the run. Not owned.
    void* m_auxiliaryPointer = nullptr;            ///< Kept for the application; not owned.
};

/// A system is about to be initialised. Neither object is owned.
struct PreSystemInitializationEvent {
    ISystem* m_system = nullptr;
    IConfig* m_config = nullptr; ///< Null for a system without configuration.
    bool m_initialize = true;    ///< A handler clears it to leave the system uninitialised.
};

/// A system was initialised.
struct PostSystemInitializationEvent {
    ISystem* m_system = nullptr;
};

/// The user's folder is known.
struct UserFolderSubDirectoryDefinedEvent {
    const std::wstring* m_userFolder = nullptr; ///< A copy that dies when the handler returns.
};

/// An event of the operating system's service control. The frame sends none.
struct ServiceControlEvent {};

/// The frame of every program: one object a process, which owns what lives as long as the program does. A program
/// derives from it and overrides `Main`.
class Application {
public:
    /// Becomes the process's application; asserts that there is none yet.
    explicit Application(std::wstring&& name);

    /// Destroys the systems in the reverse order of their creation, then the rest. An empty deleter ends the process.
    ~Application();

    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// The process's application; asserts that there is one. The reference lives as long as it. Any thread.
    static Application& GetInstance();

    /// Runs the program, and returns when it is finished. Asserts that an application exists. Throws what the program's
    /// `Main` and its handlers throw. Process's first thread.
    static void Run(const ApplicationParameters& parameters);

    /// The frame's start-up. An override is the program's body and does not call this one: `Run` calls both, and the
    /// override whether or not the start-up succeeded. Main thread.
    virtual void Main(const ApplicationParameters& parameters);

    /// Called before a system is initialised, which a handler can prevent through the event; does nothing here. Main
    /// thread.
    virtual void OnPreSystemInitialization(Application& sender, PreSystemInitializationEvent& event);
    /// Called after a system was initialised. Tells the error handler of the log system, so an override calls this one.
    /// Asserts that `sender` is this application. Main thread.
    virtual void OnPostSystemInitialization(Application& sender, PostSystemInitializationEvent& event);
    /// Called when the user folder is known; does nothing here. Main thread.
    virtual void OnUserFolderSubDirectoryDefined(Application& sender, UserFolderSubDirectoryDefinedEvent& event);

    /// Handles an event of the service control. Returns a status; 0 stands for success, and is returned here.
    virtual std::int32_t OnServiceControlEvent(const ServiceControlEvent& event);

    /// Creates the log system, the threading system and the display system, in this order. A program that wants systems
    /// calls it from its `Main`. A failure is reported, but not to the caller, and leaves the later systems uncreated.
    /// The process ends where there is no file for the report. Throws only what the log throws at such a report.
    /// Without a home directory the log's files go to `Logs` in the working folder. Main thread.
    void Initialize();

    /// Runs the program's systems, the named one on this thread. Returns when that one's loop has ended, or at once for
    /// the empty identity. Throws what `ThreadManager::TryCreateThread` throws, which has 15 threads: 16 systems need
    /// one of them to be on the main thread. Main thread, after `Initialize`.
    void Run(GUID mainThreadSystem);

    /// The system that runs on the main thread, or the empty identity.
    struct SystemExecutionConfig {
        struct {
            GUID m_systemGUID;
        } m_mainThread;
    };

    /// The same as `Run` with an identity. Asserts that it runs on the main thread, that there are 1 to 16 systems
    /// which all ask for a dedicated thread, and that the named one is among them.
    void ExecuteSystems(const SystemExecutionConfig& systemExecutionConfig);

    /// Ends the program's systems from the last to the first and waits for each without a time limit, then calls
    /// `OnShutdown` of the system of the main thread and closes the log file. Asserts that it runs on the main thread,
    /// if that is known. Throws what the log throws.
    ///
    /// `Run` calls it after the program's body. A program does not call it: a second call sends the shutdown event to
    /// systems that are complete, and waits for ever.
    void ShutdownSystems();

    /// Ends the loop of the system that runs on the main thread. Any thread, while that loop runs, and once only: a
    /// second call takes the system out of its final state for good, or makes it assert between the loop's end and that
    /// state. Asserts that an application exists.
    /// Intentional: that there is such a system is not tested.
    static void Shutdown();

    /// The usage text: the program's name and a line for each option. The frame's `Main` must have run with a command
    /// line.
    /// Intentional: of the name, it shows the first half of the letters, each followed by a NUL byte.
    std::string GetHelpString() const;

    /// The name that the program was given. The reference lives as long as the application.
    const std::wstring& GetName() const { return m_name; }

    /// The process's exit status; 0 unless the derived class has set another.
    std::int32_t GetReturnCode() const { return m_returnCode; }

protected:
    template <class T>
    using OwningPointer = std::unique_ptr<T, std::function<void(T*)>>;

    /// One of the program's systems.
    struct SystemContainer {
        std::uint64_t m_reserved = 0;        ///< Not read by the frame.
        ISystem** m_backReference = nullptr; ///< Its target, if any, becomes null when the system is destroyed.
        OwningPointer<ISystem> m_system;
        std::uint64_t m_reservedForOwner = 0; ///< Cleared when the system is destroyed.
        Threads::Thread* m_thread = nullptr;  ///< Null if none, or the main one, runs the system. Not owned.
    };

    /// Creates a system of the program's own, initialises it and appends it to the others. Null if it stays
    /// uninitialised, because it is optional and fails or because a handler prevents it; it is destroyed then. Throws
    /// `SystemCreationException`, or `SystemInitializationException` if a system that is not optional fails. Main
    /// thread, between `Initialize` and `Run`. The application owns the system, but not the configuration.
    template <class T>
    T* AddSystem(typename T::Config_Type* config = nullptr) {
        OwningPointer<T> system;
        CreateAndInitialize<T, typename T::Config_Type>(system, config);
        if (system->GetSystemState() == ISystem::State::Undefined) {
            return nullptr;
        }
        T* const added = system.get();
        OwningPointer<ISystem> owner(system.release(), DestructSystem);
        m_systems.push_back({.m_system = std::move(owner)});
        return added;
    }

    /// Creates a system with `Destruct` as its deleter and initialises it, see `InitializeSystem`. Asserts that
    /// `config` is not null if the system's type names a configuration. Throws `SystemCreationException` if there is no
    /// system.
    template <class T, class ConfigT>
    bool CreateAndInitialize(std::unique_ptr<T, std::function<void(T*)>>& system, ConfigT* config) {
        if constexpr (!std::same_as<ConfigT, EmptyConfig>) {
            TOVRA_ASSERT(config != nullptr, "Function parameter 'config' must be non-null.");
        }
        system = {new T, Destruct<T>};
        if (system == nullptr) {
            throw SystemCreationException(Debug::CallStack(__FILE__, __LINE__, __func__),
                                          {T::s_systemName, T::s_systemGUID});
        }
        return InitializeSystem(*system, config);
    }

    /// Initialises a system, unless `OnPreSystemInitialization` prevents it: the system then stays as it is, which is
    /// no failure. Throws `SystemInitializationException` if a system that is not optional fails. Always true.
    template <class T>
    bool InitializeSystem(T& system, typename T::Config_Type* config) {
        const IConfig* baseConfig = nullptr;
        PreSystemInitializationEvent preEvent{&system};
        if constexpr (std::derived_from<typename T::Config_Type, IConfig>) {
            baseConfig = preEvent.m_config = config;
        }
        OnPreSystemInitialization(*this, preEvent);
        if (!preEvent.m_initialize) {
            return true;
        }
        if (system.Initialize(baseConfig)) {
            const ISystem::State systemState = system.ExchangeSystemState(ISystem::State::Initialized);
            TOVRA_ASSERT(systemState == ISystem::State::Undefined, "Expected previous state is 'Undefined' state.");
            PostSystemInitializationEvent postEvent{&system};
            OnPostSystemInitialization(*this, postEvent);
        } else if (!system.IsOptional()) {
            throw SystemInitializationException(Debug::CallStack(__FILE__, __LINE__, __func__),
                                                {T::s_systemName, T::s_systemGUID});
        }
        return true;
    }

    /// Deletes a system; null is allowed.
    template <class T>
    static void Destruct(T* system) {
        DestructSystem(system);
    }
    static void DestructSystem(ISystem* system);

    std::int32_t m_returnCode = 0; ///< Written only by the derived class.
    std::wstring m_name;
    OwningPointer<Log::Logger> m_logSystem;
    OwningPointer<Threads::ThreadManager> m_threadingSystem;
    OwningPointer<Device::Display::DisplayCache> m_displaySystem;
    std::vector<SystemContainer> m_systems; ///< The program's own.
    ApplicationConfigCache m_configCache;
    Processes::Parameters* m_parameters = nullptr; ///< The command line; null until the frame's `Main` ran. Not owned.
    void* m_auxiliaryPointer = nullptr;            ///< Not owned.
    Threads::Thread* m_mainThread = nullptr; ///< Null until `Initialize` has created the threading system. Not owned.
    std::unique_ptr<Threads::ThreadEntryPointCallback> m_mainThreadCallback;
    ISystem* m_mainThreadSystem = nullptr; ///< Not owned.

private:
    template <class T>
    friend T* TryGetSystem();
    template <class T>
    friend T& GetSystem();
    friend bool HasApplication();
    friend Log::Logger* FindLogger();
    friend const std::wstring& GetUserFolder();
    friend const std::string& GetApplicationDirectory();

    /// The application in which `TryGetSystem` and `GetSystem` look; asserts in the name of `function` that it exists.
    static const Application& GetOwnerOfSystems(const char* function);

    /// The systems that `GetSystem` returns; assert in the name of `function` that they were created.
    static Threads::ThreadManager& GetThreadingSystem(const char* function);
    static Device::Display::DisplayCache& GetDisplaySystem(const char* function);

    /// Finds the folders, compiles the configuration's schema and initialises the error handler. Throws if any of them
    /// fails.
    void InitializeEnvironment();

    void CreateSystems();

    /// How the program's systems want to run, in their order. Asserts in the name of `function` that all of it is
    /// acceptable.
    std::vector<SystemExecutionParameters> GetExecutionParameters(const char* function);

    /// Creates a thread for each system but the first of that identity, which becomes the system of the main thread.
    void CreateThreads(std::vector<SystemExecutionParameters>& parameters, GUID mainThreadSystem);

    void ShutdownSystem(SystemContainer& container);

    static Application* s_instance;
};

} // namespace Tovra::System::Runtime
