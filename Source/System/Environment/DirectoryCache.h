#pragma once

#include <System/Environment/Variable.h>

namespace Tovra::System::Environment {

/// The user's home directory. Empty until `Initialize`.
class DirectoryCache {
public:
    /// Reads the home directory from the variable HOME, anew at each call. False if the variable is not set or empty;
    /// see `Variable::Load` for what it logs and asserts. Main thread; other threads may read afterwards.
    static bool Initialize();

    /// The home directory as the environment gives it; the folder itself is not tested. The reference lives as long as
    /// the process.
    const std::string& GetHome() const { return m_home.m_value; }

    /// The only instance.
    static DirectoryCache m_instance;

private:
    Variable m_home;
};

} // namespace Tovra::System::Environment
