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

/// What `main` hands to the application.
struct ApplicationParameters {
    bool m_option = false;
    bool m_terminateOtherInstances = false;        ///< Kill every other process of this program's name first.
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

/// The service control has something to say.
struct ServiceControlEvent {};

/// The frame of every program: one object a process, which owns what lives as long as the program does. A program
/// derives from it and overrides `Main`.
class Application {
public:
    /// Becomes the process's application; asserts that there is none yet.
    explicit Application(std::wstring&& name);

    /// Destroys the systems in the reverse order of their creation, then what is left. A system whose deleter is empty
    /// ends the process.
    ~Application();

    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// The process's application; asserts that there is one. Any thread.
    static Application& GetInstance();

    /// The whole life of the program; returns when it is finished. Process's first thread.
    static void Run(const ApplicationParameters& parameters);

    /// The frame's start-up. An override is the program's body and does not call this one: `Run` has called it before,
    /// and comes to the override whether or not the start-up succeeded.
    virtual void Main(const ApplicationParameters& parameters);

    virtual void OnPreSystemInitialization(Application& sender, PreSystemInitializationEvent& event);
    virtual void OnPostSystemInitialization(Application& sender, PostSystemInitializationEvent& event);
    virtual void OnUserFolderSubDirectoryDefined(Application& sender, UserFolderSubDirectoryDefinedEvent& event);

    /// The result is a status; 0 stands for success.
    virtual std::int32_t OnServiceControlEvent(const ServiceControlEvent& event);

    /// Creates the log system, the threading system and the display system, in this order. A program that wants systems
    /// calls it from its `Main`. A failure is reported and leaves the later systems uncreated; the caller is not told.
    /// The process ends where there is no file for the report. Throws only what the log throws at such a report.
    /// Without a home directory the log's files go to `Logs` in the working folder. Main thread.
    void Initialize();

    /// Runs the program's systems, the named one on this thread: returns when that one's loop has ended, or, for the
    /// empty identity, at once. Main thread, after `Initialize`. Throws what `ThreadManager::TryCreateThread` throws,
    /// which has 15 threads: 16 systems need one of them to be on the main thread.
    void Run(GUID mainThreadSystem);

    /// The system that is to run on the main thread, or the empty identity.
    struct SystemExecutionConfig {
        struct {
            GUID m_systemGUID;
        } m_mainThread;
    };

    /// The same. Asserts that it runs on the main thread, that there are 1 to 16 systems which all ask for a dedicated
    /// thread, and that the named one is among them.
    void ExecuteSystems(const SystemExecutionConfig& systemExecutionConfig);

    /// Ends the program's systems from the last to the first and waits for each without a time limit, then ends the one
    /// of the main thread and closes the log file. Asserts that it runs on the main thread, if that is known.
    ///
    /// `Run` calls it when the program's body has returned. A program with systems of its own leaves it to `Run`: a
    /// second call asks systems that are complete to end once more and waits for ever.
    void ShutdownSystems();

    /// Ends the loop of the system that runs on the main thread, which there must be: the pointer is not tested. Any
    /// thread, once that loop runs, and once only: a second call takes the system out of its last state for ever, and
    /// between the loop's end and that state the system asserts. Asserts that an application exists.
    static void Shutdown();

    /// The usage text: the program's name and a line for each option. The command line must be known, see `Main`.
    std::string GetHelpString() const;

    /// The name that the program was given; no path and no extension.
    const std::wstring& GetName() const { return m_name; }

    /// The process's exit status.
    std::int32_t GetReturnCode() const { return m_returnCode; }

protected:
    template <class T>
    using OwningPointer = std::unique_ptr<T, std::function<void(T*)>>;

    /// One of the program's systems.
    struct SystemContainer {
        std::uint64_t m_reserved = 0;        ///< The frame does not read it.
        ISystem** m_backReference = nullptr; ///< Becomes null when the system dies, unless null. Not owned.
        OwningPointer<ISystem> m_system;
        std::uint64_t m_reservedForOwner = 0; ///< The frame clears it when the system dies.
        Threads::Thread* m_thread = nullptr;  ///< Where the system runs, if not on the main thread. Not owned.
    };

    /// Creates a system of the program's own, initialises it and puts it behind the others. Null if it stays
    /// uninitialised, because it is optional and refuses or because a handler doesn't want it; it is not kept then.
    /// Throws `SystemCreationException`, or `SystemInitializationException` if a system that is not optional refuses.
    /// Main thread, between `Initialize` and `Run`. Owned by the application; the configuration is not.
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

    /// Creates a system with `Destruct` as its deleter and initialises it, see `InitializeSystem`. Asserts that there
    /// is a configuration if the system's type names one. Throws `SystemCreationException` where there is no system to
    /// be had.
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

    /// Initialises a system, unless the handler before it doesn't want it: it then stays as it is, which is no failure.
    /// Throws `SystemInitializationException` if a system that is not optional refuses. Always true.
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

    /// Deletes a system, of which there may be none.
    template <class T>
    static void Destruct(T* system) {
        DestructSystem(system);
    }
    static void DestructSystem(ISystem* system);

    std::int32_t m_returnCode = 0; ///< Written by the derived class alone.
    std::wstring m_name;
    OwningPointer<Log::Logger> m_logSystem;
    OwningPointer<Threads::ThreadManager> m_threadingSystem;
    OwningPointer<Device::Display::DisplayCache> m_displaySystem;
    std::vector<SystemContainer> m_systems; ///< The program's own.
    ApplicationConfigCache m_configCache;
    Processes::Parameters* m_parameters = nullptr; ///< The command line; null until the frame's `Main` ran. Not owned.
    void* m_auxiliaryPointer = nullptr;            ///< Not owned.
    Threads::Thread* m_mainThread = nullptr;       ///< Known once `Initialize` has made threads possible. Not owned.
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
    friend const std::wstring& GetApplicationName();
    friend const std::string& GetApplicationDirectory();

    /// What `TryGetSystem` and `GetSystem` look into; asserts in the name of `function` that an application exists.
    static const Application& GetOwnerOfSystems(const char* function);

    /// What `GetSystem` gives; assert in its name that it was created.
    static Threads::ThreadManager& GetThreadingSystem(const char* function);
    static Device::Display::DisplayCache& GetDisplaySystem(const char* function);

    /// Finds the folders and the configuration's schema and readies the error handler; throws where that can't be had.
    void InitializeEnvironment();

    void CreateSystems();

    /// How the program's systems want to run, in their order; asserts in the name of `function` that they may.
    std::vector<SystemExecutionParameters> GetExecutionParameters(const char* function);

    /// Gives each system a thread, but the one of that identity, which becomes the one of the main thread.
    void CreateThreads(std::vector<SystemExecutionParameters>& parameters, GUID mainThreadSystem);

    void ShutdownSystem(SystemContainer& container);

    static Application* s_instance;
};

} // namespace Tovra::System::Runtime
