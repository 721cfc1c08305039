#pragma once

#include <Fakes/State.h>
#include <System/Error/ErrorHandler.h>

#include <mutex>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the error handler was told.
struct ErrorHandler {
    bool initialize = true; ///< What `Initialize` answers.

    int initializations = 0;
    System::Log::Logger* logger = nullptr;
    std::vector<std::string> reports; ///< The text of each exception's report, in the order in which they came.
    std::vector<int> signals;
};

inline ErrorHandler& errorHandler = GetState<ErrorHandler>();

/// Threads report at once; who reads while they run takes this too.
inline std::mutex errorHandlerMutex;

} // namespace Tovra::Tests::Fakes
