#pragma once

#include <Fakes/State.h>

namespace Tovra::Tests::Fakes {

/// What the tool has asked of the platform's application.
struct PlatformApplication {
    bool avoidsShaderCache = false;
};

inline PlatformApplication& platformApplication = GetState<PlatformApplication>();

} // namespace Tovra::Tests::Fakes
