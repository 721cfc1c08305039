#pragma once

#include <System/Log/Streams.h>

#include <functional>
#include <vector>

namespace Tovra::System::Log {

/// The filter of a source file's messages: one static object a source file, defined by `TOVRA_LOG_CONTEXT`.
struct Context {
    StreamID stream;                                  ///< Decides which configured severity applies.
    MessageType::ID severity = MessageType::ID::Info; ///< The lowest message type that passes.
};

/// Every log context of the program, in the order of registration. Not locked: contexts register during static
/// initialisation, and afterwards only the main thread calls these functions. Severities alone are read by all threads
/// at any time.
class ContextRegistry {
public:
    /// The registered contexts; not owned. The reference lives as long as the process.
    static std::vector<Context*>& GetContainer();

    /// Registers a context, which must live as long as the process, and sets its configured severity if there is a
    /// logger already. Always true, so that it can initialise a static object.
    static bool AddContext(Context& context);

    /// Sets a context's severity to the one that is configured for its stream. The severity stays if there is no
    /// application, no logger or no configuration, or if the configuration does not list the stream. A system that
    /// moves its source file to a stream of its own stores the stream first and then calls this.
    static void UpdateContext(Context& context);

    /// Calls the function for every registered context, in the order of registration. Contexts may be registered
    /// meanwhile.
    static void ForEachContext(const std::function<void(Context&)>& function);
};

/// Sets a context's severity to the lowest message type whose entry in `severities` has any bit of the context's
/// stream; leaves it if there is none.
void ApplySeverities(Context& context, const std::vector<Types::EnumFlags<StreamID>>& severities);

} // namespace Tovra::System::Log
