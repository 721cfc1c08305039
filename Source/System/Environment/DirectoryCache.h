#pragma once

#include <System/Environment/Variable.h>

namespace Tovra::System::Environment {

/// The user's home directory. There is one instance, empty until `Initialize`.
class DirectoryCache {
public:
    /// Reads the home directory anew and returns whether there is one: it counts as missing if it is empty. Main thread
    /// only; everyone may read afterwards.
    static bool Initialize();

    /// The home directory as the environment gives it: nothing about the folder itself is tested.
    const std::string& GetHome() const { return m_home.m_value; }

    static DirectoryCache m_instance;

private:
    Variable m_home;
};

} // namespace Tovra::System::Environment
