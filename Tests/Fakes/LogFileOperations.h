#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <cstddef>
#include <functional>
#include <string>

namespace Tovra::Tests::Fakes {

/// The log's console is a text here, and its files are real ones, whose calls the test can make fail. What
/// several threads log at a time goes to the real host.
struct LogFileOperations {
    std::string console;                  ///< All that was written to the console.
    std::function<void()> onConsole;      ///< Called after each text.
    std::function<void()> onSizeQuestion; ///< Called before a size is asked for by path.
    std::function<void()> onClose;        ///< Called before a file is closed.

    Fault<> openFault;
    Fault<> closeFault;                   ///< The file is closed all the same.
    Fault<std::ptrdiff_t> writeFault;     ///< A result above 0 is the number of bytes that are really written.
    Fault<std::ptrdiff_t> nextWriteFault; ///< The same, for one more call.
    Fault<std::ptrdiff_t> readFault;
};

inline LogFileOperations& logFileOperations = GetState<LogFileOperations>();

} // namespace Tovra::Tests::Fakes
