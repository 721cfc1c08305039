#pragma once

#include <Fakes/Fault.h>

#include <string>

namespace Tovra::Tests::Fakes {

/// Where this program's executable lies, for whoever asks. A test assigns `{}` to start anew.
struct ApplicationDirectoryOperations {
    std::string executablePath = "/opt/TovraTests/UnitTests";
    Fault<bool> executablePathFault{.result = false};
};

inline ApplicationDirectoryOperations applicationDirectoryOperations;

} // namespace Tovra::Tests::Fakes
