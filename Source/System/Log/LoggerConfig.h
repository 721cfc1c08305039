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
    /// Identifies the type among configurations.
    static constexpr Types::TypeID s_typeID = 0xACF97F37;

    /// Takes the folder from the application's user folder and the prefix from its name, and lets messages of type
    /// `Info` and above pass. Called once; after a second call `Load` asserts. Asserts that an application exists.
    void SetDefaults() override;

    /// Reads the member "streams" of the section: an array of objects, each with "severity" and an "id" (a set of
    /// streams) or a "name" (a stream, or "All"). An element that can't be used is skipped silently. False without such
    /// an array, or if the section is null or no object.
    ///
    /// An element adds its streams to the entry of its severity.
    /// Intentional: any other entry that has one of them is combined with them by an exclusive or. It loses those that
    /// it has and gains those that it hasn't, so the order of elements that name several streams matters.
    bool Load(const void* section) override;

    std::wstring m_directory;
    std::wstring m_filePrefix;
    std::uint64_t m_maxFileSize = 0x6400000; ///< Bytes. The logger uses at least 10 MiB.
    std::int32_t m_retentionDays = 10;       ///< Days. The logger uses at least 10.
    Types::EnumFlags<StreamID> m_enabledStreams = allStreams;

    /// For each message type the streams whose messages pass from that type on; the lowest entry that has a stream
    /// counts.
    std::vector<Types::EnumFlags<StreamID>> m_streamSeverities;
};

} // namespace Tovra::System::Log
