#pragma once

#include <System/Log/Streams.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The rules of the log, as functions of values alone.
namespace Tovra::System::Log {

/// The lower limits of what can be configured: the size of a full log file, and the age at which one is deleted.
inline constexpr std::uint64_t lowestMaxFileSize = 0xA00000; ///< Bytes.
inline constexpr std::int64_t lowestRetentionDays = 10;

/// The lowest type of a stream's messages that pass: the lowest index whose set has any bit of the stream. None if no
/// set has.
std::optional<MessageType::ID> FindSeverity(Types::EnumFlags<StreamID> stream,
                                            const std::vector<Types::EnumFlags<StreamID>>& severities);

/// The seven characters after the point of a line's time, from the microseconds within the second: decimal digits,
/// left-aligned and filled with zeros on the right.
/// Intentional: the digits do not keep their places, so both 42 and 4200 give "4200000"; readers of logs take the field
/// so.
std::array<char, 7> GetFraction(std::int64_t microseconds);

/// The name of a log file that is created at this local time.
std::wstring GetLogFileName(std::wstring_view prefix, const std::tm& localTime);

/// Whether the name is that of a log file with this prefix: the prefix, "_2" and anything, with the extension ".log",
/// all in UTF-8.
/// Intentional: the 2 is the first digit of the year. It keeps dump files ("_E") apart; a file of another millennium is
/// not recognised.
bool IsLogFileName(std::string_view name, std::wstring_view prefix);

/// The cutoff is `now` less the retention. A file that was last written at the cutoff or before it is old, and deleted.
std::filesystem::file_time_type GetCutoff(std::filesystem::file_time_type now, std::int64_t retentionDays);
bool IsOld(std::filesystem::file_time_type lastWriteTime, std::filesystem::file_time_type cutoff);

/// Whether a file is full; one of exactly the limit is.
constexpr bool IsFull(std::uint64_t size, std::uint64_t maxFileSize) {
    return size >= maxFileSize;
}

} // namespace Tovra::System::Log
