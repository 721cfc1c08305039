#pragma once

#include <System/Log/ContextRegistry.h>
#include <System/Log/Logger.h>
#include <System/Log/Streams.h>

#include <atomic>
#include <cstdint>

namespace Tovra::System::Log {

/// For `TOVRA_LOG`: the application's logger, or null if it has none; owned by the application. Asserts, at the
/// position given, that an application exists. Any thread.
Logger* GetLogger(const char* file, std::uint64_t line, const char* function);

} // namespace Tovra::System::Log

/// Defines and registers this source file's log context. Every source file that logs has one, at namespace scope.
#define TOVRA_LOG_CONTEXT(streamName)                                                                                  \
    [[maybe_unused]] static constinit ::Tovra::System::Log::Context macro_logContext{                                  \
        ::Tovra::System::Log::StreamID::streamName};                                                                   \
    [[maybe_unused]] static const bool macro_isLogContextRegistered =                                                  \
        ::Tovra::System::Log::ContextRegistry::AddContext(macro_logContext)

/// Logs the arguments, one after the other, on a stream at a level: `TOVRA_LOG(System, Warning, "Lost ", count, ".")`.
/// Below the context's severity no argument is evaluated and nothing is called; without a logger no argument is
/// evaluated either. Asserts, at this source position, that an application exists, and throws what `Logger::Write`
/// throws. Any thread; severities may change while other threads log.
#define TOVRA_LOG(streamName, level, ...)                                                                              \
    do {                                                                                                               \
        if (::std::atomic_ref(macro_logContext.severity).load(::std::memory_order_relaxed) <=                          \
            ::Tovra::System::Log::MessageType::ID::level) {                                                            \
            if (auto* const macro_logger = ::Tovra::System::Log::GetLogger(__FILE__, __LINE__, __func__)) {            \
                macro_logger                                                                                           \
                    ->Write<::Tovra::System::Log::StreamID::streamName, ::Tovra::System::Log::MessageType::ID::level>( \
                        __VA_ARGS__);                                                                                  \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)
