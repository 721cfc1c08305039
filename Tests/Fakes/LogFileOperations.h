#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <cstddef>
#include <functional>
#include <string>

namespace Tovra::Tests::Fakes {

/// The log's console is a text, and its files are real ones, whose calls a test can make fail. Not for several threads
/// that log at the same time: such tests run on the real host.
struct LogFileOperations {
    std::string console;               ///< Everything written to the console, by its stream or its descriptor.
    std::function<void()> onConsole;   ///< Called while the stream takes a text.
    std::function<void()> onSizeQuery; ///< Called before a file size is queried by path.
    std::function<void()> onTruncate;  ///< Called before a file is truncated.
    std::function<void()> onClose;     ///< Called before a file is closed.

    Fault<> closeFault;                   ///< The file is closed nevertheless.
    Fault<std::ptrdiff_t> writeFault;     ///< A result above 0 is the number of bytes actually written.
    Fault<std::ptrdiff_t> nextWriteFault; ///< The same for another call.
    Fault<std::ptrdiff_t> readFault;
    Fault<> truncateFault;
};

inline LogFileOperations& logFileOperations = GetState<LogFileOperations>();

} // namespace Tovra::Tests::Fakes
