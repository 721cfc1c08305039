#pragma once

#include <Fakes/ChildSession.h>
#include <Fakes/HidOverUsb.h>
#include <Fakes/PlatformOperations.h>
#include <Fakes/Service.h>

namespace Tovra::Tests::Fakes {

/// Puts the machine and its services back to what a test finds at first.
inline void ResetPlatform() {
    platformOperations = {};
    service = {};
    childSession = {};
    hidOverUsb = {};
}

} // namespace Tovra::Tests::Fakes
