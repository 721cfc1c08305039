#pragma once

#include <System/Log/Streams.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the log decides, as functions of values alone.
namespace Tovra::System::Log {

/// A log file is full from this size on at the earliest, and never deleted before this age.
inline constexpr std::uint64_t lowestMaxFileSize = 0xA00000; ///< Bytes.
inline constexpr std::int64_t lowestRetentionDays = 10;

/// The message type from which on a stream's messages pass: the lowest index whose set holds any bit of the stream, or
/// none.
std::optional<MessageType::ID> FindSeverity(Types::EnumFlags<StreamID> stream,
                                            const std::vector<Types::EnumFlags<StreamID>>& severities);

/// The seven characters of a line's time behind the point, from the microseconds within the second: decimal digits,
/// left-aligned and filled with zeros on the right. So 42 gives "4200000", as does 4200: the place of the digits is not
/// kept. This is meant: whoever reads logs takes the field so.
std::array<char, 7> GetFraction(std::int64_t microseconds);

/// The name of the log file that is made at this time of the place.
std::wstring GetLogFileName(std::wstring_view prefix, const std::tm& localTime);

/// Whether a file of that name is a log file of that prefix: the prefix, "_2" and anything, with the extension ".log",
/// all in UTF-8, as names of ours are. The 2 is the first digit of the year, which is meant: it keeps dump files ("_E")
/// apart, and a file of another millennium is nobody's.
bool IsLogFileName(std::string_view name, std::wstring_view prefix);

/// What was written at this time or before it is to be deleted.
std::filesystem::file_time_type GetCutoff(std::filesystem::file_time_type now, std::int64_t retentionDays);
bool IsOld(std::filesystem::file_time_type lastWriteTime, std::filesystem::file_time_type cutoff);

/// Whether a file takes no further line; one of exactly the limit doesn't.
constexpr bool IsFull(std::uint64_t size, std::uint64_t maxFileSize) {
    return size >= maxFileSize;
}

} // namespace Tovra::System::Log
