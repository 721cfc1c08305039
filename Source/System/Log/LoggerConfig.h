#pragma once

#include <System/Log/Streams.h>
#include <System/Runtime/Config.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Tovra::System::Log {

/// The configuration of the log: folder, file name, limits, and which message types of which streams pass. Only the
/// last is read from the configuration file.
class LoggerConfig final
    : public Runtime::Config<LoggerConfig, "Log System Configuration", GUID{0xF165167543884C6E, 0xBE369051BA999E28}> {
public:
    static constexpr Types::TypeID s_typeID = 0xACF97F37;

    /// Takes the folder from the application's user folder and the prefix from its name, and lets messages of type
    /// `Info` and above pass. To be called once: a second call makes `Load` assert. Asserts that an application exists.
    void SetDefaults() override;

    /// Takes over the member "streams" of the section: an array of objects, each with "severity" and an "id" (a set of
    /// streams) or a "name" (a stream, or "All"). An element that says nothing usable is skipped silently. False
    /// without such an array, or if the section is no object.
    ///
    /// An element puts its streams into the entry of its severity. From any other entry that holds one of them it
    /// removes those that are there and adds those that are not (an exclusive or): so elements that name several
    /// streams at once depend on their order.
    bool Load(const void* section) override;

    std::wstring m_directory;
    std::wstring m_filePrefix;
    std::uint64_t m_maxFileSize = 0x6400000; ///< Bytes. The logger takes no less than 10 MiB.
    std::int32_t m_retentionDays = 10;       ///< The logger takes no less than 10.
    Types::EnumFlags<StreamID> m_enabledStreams = allStreams;

    /// For each message type the streams whose messages pass from that type on; the lowest entry that holds a stream
    /// counts.
    std::vector<Types::EnumFlags<StreamID>> m_streamSeverities;
};

} // namespace Tovra::System::Log
