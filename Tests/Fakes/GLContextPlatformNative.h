#pragma once

#include <Fakes/State.h>
#include <Graphics/OpenGl/GLContextPlatformNative.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// A platform's OpenGL and the driver behind it.
struct GLContextPlatformNative {
    void* context = reinterpret_cast<void*>(std::uintptr_t{9}); ///< What `Initialize` returns.
    const char* version = "3.2 Fake";
    std::set<std::string> missing;       ///< Entry points that the platform lacks.
    std::set<unsigned int> brokenTypes;  ///< Types of shader that don't compile.
    bool links = true;                   ///< Whether programs link.
    bool givesStatus = true;             ///< Whether a status is given, as for what the driver knows.
    std::string infoLog = "0:1: not so"; ///< The driver's log of a failure.
    unsigned int nextId = 1;             ///< The next shader or program.
    std::vector<std::string> shaderSources;

    std::vector<std::string> requested; ///< Entry points looked up, in order.
    std::vector<std::string> calls;     ///< In order, such as "glEnable(2929)"; without pointers.
};

inline GLContextPlatformNative& glContextPlatformNative = GetState<GLContextPlatformNative>();

/// The fake's own entry point of that name.
Graphics::OpenGl::EntryPoint GetFakeEntryPoint(const std::string& name);

} // namespace Tovra::Tests::Fakes
