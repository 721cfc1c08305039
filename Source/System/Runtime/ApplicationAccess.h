#pragma once

#include <string>

namespace Tovra::System {
namespace Device::Display {
class DisplayCache;
}
namespace Log {
class Logger;
}
namespace Threads {
class ThreadManager;
}
} // namespace Tovra::System

/// Access to the running application for rooms below the frame, which don't include the frame itself.
namespace Tovra::System::Runtime {

/// The application's system of that type, or null if it was not created. Asserts that an application exists, with "No
/// application instance was created.". Owned by the application. Any thread.
template <class T>
T* TryGetSystem();

/// The same for a system that must exist: asserts that it was created.
template <class T>
T& GetSystem();

template <>
Log::Logger* TryGetSystem<Log::Logger>();
template <>
Threads::ThreadManager* TryGetSystem<Threads::ThreadManager>();
template <>
Device::Display::DisplayCache* TryGetSystem<Device::Display::DisplayCache>();
template <>
Threads::ThreadManager& GetSystem<Threads::ThreadManager>();
template <>
Device::Display::DisplayCache& GetSystem<Device::Display::DisplayCache>();

/// The message of the assertion when a system is looked up without an application.
inline constexpr const char* noApplicationMessage = "No application instance was created.";

/// Whether there is an application. May be called before `main`. Any thread.
bool HasApplication();

/// The application's logger, or null if there is no logger or no application. Owned by the application. May be called
/// before `main`. Any thread.
Log::Logger* FindLogger();

/// The folder of this family of programs in the user's home, which need not exist; empty before the frame's start-up.
/// Asserts that an application exists, with "Ilegal attempt to access a non-existent application instance.". Any thread
/// after the start-up. The reference lives as long as the application.
const std::wstring& GetUserFolder();

/// The application's name. Asserts like `GetUserFolder`. Any thread. The reference lives as long as the application.
const std::wstring& GetApplicationName();

/// The folder of the executable, as the configuration cache found it; empty before that. Asserts like `GetUserFolder`.
/// Any thread after the start-up. The reference lives as long as the application.
const std::string& GetApplicationDirectory();

} // namespace Tovra::System::Runtime
