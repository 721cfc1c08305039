#pragma once

#include <System/Runtime/ApplicationAccess.h>
#include <System/Runtime/ApplicationConfigCache.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

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

class ISystem;

/// What `main` hands to the application.
struct ApplicationParameters {
    bool m_option = false;
    bool m_terminateOtherInstances = false;        ///< Kill every other process of this program's name first.
    Processes::Parameters* m_parameters = nullptr; ///< The command line, or null; must outlive the run. Not owned.
    void* m_auxiliaryPointer = nullptr;            ///< Kept for the application; not owned.
};

/// A system is about to be initialised. Both objects are owned by the application.
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

    /// The usage text: the program's name and a line for each option. The command line must be known, see `Main`.
    std::string GetHelpString() const;

    /// The name that the program was given; no path and no extension.
    const std::wstring& GetName() const { return m_name; }

    /// The user's folder of this family of programs, as the configuration cache found it; empty before that.
    const std::wstring& GetUserFolder() const { return m_configCache.GetUserFolder(); }

    /// The process's exit status.
    std::int32_t GetReturnCode() const { return m_returnCode; }

protected:
    template <class T>
    using OwningPointer = std::unique_ptr<T, std::function<void(T*)>>;

    std::int32_t m_returnCode = 0; ///< Written by the derived class alone.
    std::wstring m_name;
    OwningPointer<Log::Logger> m_logSystem;
    OwningPointer<Threads::ThreadManager> m_threadingSystem;
    OwningPointer<Device::Display::DisplayCache> m_displaySystem;
    ApplicationConfigCache m_configCache;
    Processes::Parameters* m_parameters = nullptr; ///< The command line; null until the frame's `Main` ran. Not owned.
    void* m_auxiliaryPointer = nullptr;            ///< Not owned.

private:
    friend Log::Logger* TryGetSystem<Log::Logger>();
    friend Log::Logger* FindLogger();
    friend const std::wstring& GetUserFolder();
    friend const std::wstring& GetApplicationName();
    friend const std::string& GetApplicationDirectory();

    static Log::Logger* TryGetLogger();

    /// Finds the folders and the configuration's schema; throws where one of them can't be had.
    void InitializeEnvironment();

    static Application* s_instance;
};

} // namespace Tovra::System::Runtime
