#pragma once

#include <System/Log/Streams.h>
#include <System/Runtime/ApplicationAccess.h>

#include <ostream>

namespace Tovra::System::Log {

class Logger;

/// What a source file's messages are filtered by. One static object a source file, made by `TOVRA_LOG_CONTEXT`.
struct Context {
    StreamID stream;                                  ///< Decides which configured severity applies.
    MessageType::ID severity = MessageType::ID::Info; ///< The lowest message type that passes.
};

template <class T>
concept Streamable = requires(std::ostream& stream, const T& argument) { stream << argument; };

/// Hands a message that passed its context to the application's logger. Without a logger nothing is written.
///
/// Asserts that an application exists. Any thread. The arguments are inserted with `operator<<`, in order.
template <StreamID stream, MessageType::ID type, Streamable... Args>
void Write([[maybe_unused]] const Args&... arguments) {
    if (Runtime::TryGetSystem<Logger>() == nullptr) {
        return;
    }
}

} // namespace Tovra::System::Log

/// Gives this source file its log context; every source file that logs has one, at file scope.
#define TOVRA_LOG_CONTEXT(streamName)                                                                                  \
    [[maybe_unused]] static constinit ::Tovra::System::Log::Context macro_logContext {                                 \
        ::Tovra::System::Log::StreamID::streamName                                                                     \
    }

/// Logs the arguments, one behind the other, on a stream at a level: `TOVRA_LOG(System, Warning, "Lost ", count, ".")`.
/// Below the context's severity no argument is evaluated and nothing is called.
#define TOVRA_LOG(streamName, level, ...)                                                                              \
    do {                                                                                                               \
        if (macro_logContext.severity <= ::Tovra::System::Log::MessageType::ID::level) {                               \
            ::Tovra::System::Log::Write<::Tovra::System::Log::StreamID::streamName,                                    \
                                        ::Tovra::System::Log::MessageType::ID::level>(__VA_ARGS__);                    \
        }                                                                                                              \
    } while (false)
