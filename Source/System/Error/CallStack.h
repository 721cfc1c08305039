#pragma once

#include <cstdint>

namespace Tovra::System::Debug {

/// One source position, not a walked stack. Plain data: both texts are static and not owned.
struct CallStack {
    /// Takes a position from the compiler's macros and shortens the path: `file` begins at the separator after the last
    /// directory named "Source" (".../Source/System/Log/Log.cpp" becomes "/System/Log/Log.cpp") and still points into
    /// `path`. A path without such a directory is stored whole.
    CallStack(const char* path, std::uint64_t lineNumber, const char* functionName);

    const char* file;     ///< Source path, shortened.
    std::uint64_t line;   ///< Line in that file, from 1.
    const char* function; ///< Name of the function, as `__func__` gives it.
};

} // namespace Tovra::System::Debug
