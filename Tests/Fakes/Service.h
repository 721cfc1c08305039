#pragma once

#include <Fakes/State.h>
#include <System/Utilities/Service.h>

#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the operations on services return.
struct Service {
    bool isInstalled = false;
    System::Utilities::Service::Status status = System::Utilities::Service::Status::Unknown;
    bool isRunning = false;
    bool install = false;
    bool uninstall = false;
    bool start = false;
    bool stop = false;
    int error = 0; ///< `errno` after every call, unless 0.

    /// Each call with its arguments: "Install Name /path description".
    std::vector<std::string> calls;
};

inline Service& service = GetState<Service>();

} // namespace Tovra::Tests::Fakes
