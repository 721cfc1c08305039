#pragma once

#include <System/Types/EnumFlags.h>

#include <array>
#include <cstdint>

namespace Tovra::System::Log {

/// The streams of the log, one bit each. This table defines the enumeration and the names.
#define TOVRA_LOG_STREAMS(STREAM)                                                                                      \
    STREAM(Default, 0x1)                                                                                               \
    STREAM(System, 0x2)                                                                                                \
    STREAM(Graphics, 0x4)                                                                                              \
    STREAM(Network, 0x8)                                                                                               \
    STREAM(CoreService, 0x10)                                                                                          \
    STREAM(FieldhostController, 0x20)                                                                                  \
    STREAM(FieldhostService, 0x40)                                                                                     \
    STREAM(FieldhostCompanionTool, 0x80)                                                                               \
    STREAM(FieldhostExecutionTool, 0x100)                                                                              \
    STREAM(FieldmateController, 0x200)                                                                                 \
    STREAM(FieldhostSnippingTool, 0x400)                                                                               \
    STREAM(FieldhostSetupTool, 0x800)                                                                                  \
    STREAM(QRVControllerAPI, 0x1000)                                                                                   \
    STREAM(AutomationSystem, 0x2000)                                                                                   \
    STREAM(AutomationTargetSystem, 0x4000)                                                                             \
    STREAM(ChangeDetectionSystem, 0x8000)                                                                              \
    STREAM(ChangeReporterSystem, 0x10000)                                                                              \
    STREAM(ExecutionPipeline, 0x20000)                                                                                 \
    STREAM(OverlaySystem, 0x40000)                                                                                     \
    STREAM(DisplayCache, 0x80000)                                                                                      \
    STREAM(ThreadingSystem, 0x100000)

/// A stream of the log. Sets of them are `Types::EnumFlags<StreamID>`.
enum class StreamID : std::uint32_t {
#define TOVRA_LOG_STREAM(name, bit) name = bit,
    TOVRA_LOG_STREAMS(TOVRA_LOG_STREAM)
#undef TOVRA_LOG_STREAM
};

/// All streams together.
inline constexpr Types::EnumFlags<StreamID> allStreams{std::uint32_t{0
#define TOVRA_LOG_STREAM(name, bit) | (bit)
                                                                     TOVRA_LOG_STREAMS(TOVRA_LOG_STREAM)
#undef TOVRA_LOG_STREAM
}};

/// The name of a stream, static text; null for a value that is not exactly one stream.
constexpr const char* FindStreamName(StreamID stream) {
#define TOVRA_LOG_STREAM(name, bit)                                                                                    \
    case StreamID::name:                                                                                               \
        return #name;
    switch (stream) { TOVRA_LOG_STREAMS(TOVRA_LOG_STREAM) }
#undef TOVRA_LOG_STREAM
    return nullptr;
}

/// The name of a stream, static text; asserts that it is one.
const char* GetStreamIDString(StreamID stream);

/// The severity of a message, from the least to the most.
namespace MessageType {
enum class ID : std::uint16_t { Debug, Verbose, Info, Warning, Error, Critical, Always };
} // namespace MessageType

/// The names of the message types, by value: the configuration's keywords and the words in a log line.
inline constexpr std::array<const char*, 7> messageTypeIDNames{"Debug", "Verbose",  "Info",  "Warning",
                                                               "Error", "Critical", "Always"};

} // namespace Tovra::System::Log
