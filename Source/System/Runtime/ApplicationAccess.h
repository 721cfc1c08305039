#pragma once

#include <string>

namespace Tovra::System::Log {
class Logger;
}

/// What rooms below the frame may ask of the running application, without seeing the frame itself.
namespace Tovra::System::Runtime {

/// The application's system of that type, or null if it was not created. Asserts that an application exists, with "No
/// application instance was created.". Any thread. Not owned: the application does.
template <class T>
T* TryGetSystem();

template <>
Log::Logger* TryGetSystem<Log::Logger>();

/// The folder of the executable, as the configuration cache found it; empty before that. Asserts that an application
/// exists. The reference lives as long as the application.
const std::string& GetApplicationDirectory();

} // namespace Tovra::System::Runtime
