#pragma once

#include <Fakes/State.h>
#include <System/Error/ErrorHandler.h>

#include <mutex>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the error handler returns, and what was reported to it.
struct ErrorHandler {
    bool initialize = true; ///< What `Initialize` returns.

    int initializations = 0;
    System::Log::Logger* logger = nullptr;
    std::vector<std::string> reports; ///< The text of each report of an exception, in order.
    std::vector<int> signals;
};

inline ErrorHandler& errorHandler = GetState<ErrorHandler>();

/// Threads may report at the same time; lock this to read meanwhile.
inline std::mutex errorHandlerMutex;

} // namespace Tovra::Tests::Fakes
