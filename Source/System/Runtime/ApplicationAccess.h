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

/// What rooms below the frame may ask of the running application, without seeing the frame itself.
namespace Tovra::System::Runtime {

/// The application's system of that type, or null if it was not created. Asserts that an application exists, with "No
/// application instance was created.". Any thread. Not owned: the application does.
template <class T>
T* TryGetSystem();

/// The same for a system that must be there: asserts that it was created.
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

/// What a look-up of a system asserts without an application.
inline constexpr const char* noApplicationMessage = "No application instance was created.";

/// Whether there is an application. For code that runs before `main`, too. Any thread.
bool HasApplication();

/// The application's logger, or null if there is no logger or no application. For code that runs before `main`, too.
/// Any thread. Not owned: the application does.
Log::Logger* FindLogger();

/// The folder of this family of programs in the user's home, which need not exist; empty before the frame's start-up.
/// Asserts that an application exists, with "Ilegal attempt to access a non-existent application instance.". The
/// reference lives as long as the application.
const std::wstring& GetUserFolder();

/// The application's name. Asserts like `GetUserFolder`; the reference lives as long.
const std::wstring& GetApplicationName();

/// The folder of the executable, as the configuration cache found it; empty before that. Asserts that an application
/// exists. The reference lives as long as the application.
const std::string& GetApplicationDirectory();

} // namespace Tovra::System::Runtime
