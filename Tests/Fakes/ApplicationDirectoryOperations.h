#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <string>

namespace Tovra::Tests::Fakes {

/// Where this program's executable lies, for whoever asks.
struct ApplicationDirectoryOperations {
    std::string executablePath = "/opt/TovraTests/UnitTests";
    Fault<bool, false> executablePathFault = {};
};

inline ApplicationDirectoryOperations& applicationDirectoryOperations = GetState<ApplicationDirectoryOperations>();

} // namespace Tovra::Tests::Fakes
