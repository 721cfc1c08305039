#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <string>

namespace Tovra::Tests::Fakes {

/// The path of this program's executable.
struct ApplicationDirectoryOperations {
    std::string executablePath = "/opt/TovraTests/UnitTests";
    Fault<bool, false> executablePathFault = {};
};

inline ApplicationDirectoryOperations& applicationDirectoryOperations = GetState<ApplicationDirectoryOperations>();

} // namespace Tovra::Tests::Fakes
