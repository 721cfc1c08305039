#pragma once

#include <System/Log/Streams.h>

#include <functional>
#include <vector>

namespace Tovra::System::Log {

/// What a source file's messages are filtered by. One static object a source file, made by `TOVRA_LOG_CONTEXT`.
struct Context {
    StreamID stream;                                  ///< Decides which configured severity applies.
    MessageType::ID severity = MessageType::ID::Info; ///< The lowest message type that passes.
};

/// Every log context of the program, in the order of registration. It has no lock: contexts register during static
/// initialisation, and everything else is the main thread's. Only severities are read by all threads at any time.
class ContextRegistry {
public:
    /// The registered contexts; not owned.
    static std::vector<Context*>& GetContainer();

    /// Registers a context, which must live as long as the process, and brings it to its configured severity if there
    /// is a logger already. The result has no meaning; it is there for the initialiser of a static object.
    static bool AddContext(Context& context);

    /// Brings a context to the severity that is configured for its stream. Without an application, a logger or a
    /// configuration, and for a stream that the configuration knows nothing of, the severity stays. A system that moves
    /// its source file to a stream of its own stores the stream first and then calls this.
    static void UpdateContext(Context& context);

    /// Calls the function for every context that is registered now.
    static void ForEachContext(const std::function<void(Context&)>& function);
};

/// Brings a context to the lowest message type whose entry in `severities` holds any bit of the context's stream; its
/// severity stays if there is none.
void ApplySeverities(Context& context, const std::vector<Types::EnumFlags<StreamID>>& severities);

} // namespace Tovra::System::Log
