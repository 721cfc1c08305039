#include <System/Error/Assertion.h>
#include <System/FileSystem/ProgramFolders.h>
#include <System/Log/LoggerConfig.h>
#include <System/Runtime/ApplicationAccess.h>
#include <System/Serialization/JsonValue.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

namespace Tovra::System::Log {

namespace {

using Serialization::JsonValue;
using Streams = Types::EnumFlags<StreamID>;

std::optional<Streams> FindStreams(std::string_view name) {
    if (name == "All") {
        return allStreams;
    }
    for (Streams rest = allStreams; !rest.IsEmpty(); rest ^= rest.GetLowest()) {
        const Streams stream = rest.GetLowest();
        if (name == GetStreamIDString(static_cast<StreamID>(stream.GetBits()))) {
            return stream;
        }
    }
    return std::nullopt;
}

/// The streams of an element, or none if it is skipped.
std::optional<Streams> ReadStreams(const JsonValue& element) {
    // Without a number, one that is no mask.
    const std::int64_t id = element.Find("id").GetInteger().value_or(-1);
    if (std::in_range<std::uint32_t>(id)) {
        const Streams streams(static_cast<std::uint32_t>(id));
        // Unknown bits alone are no streams; beside known ones they are kept.
        return streams.HasAny(allStreams) ? std::optional(streams) : std::nullopt;
    }
    return FindStreams(element.Find("name").GetText().value_or(""));
}

/// The message type of that name. Anything else, a value of another JSON type included, means `Warning`, so that files
/// can be read that were written for other versions.
std::size_t ReadSeverity(const JsonValue& severity) {
    const std::string_view name = severity.GetText().value_or("");
    const auto found =
        std::ranges::find(messageTypeIDNames, name, [](const char* text) { return std::string_view(text); });
    return found != messageTypeIDNames.end() ? static_cast<std::size_t>(found - messageTypeIDNames.begin())
                                             : static_cast<std::size_t>(MessageType::ID::Warning);
}

void MoveStreams(std::vector<Streams>& severities, Streams streams, std::size_t severity) {
    for (Streams& entry : severities) {
        if (&entry == &severities[severity]) {
            entry |= streams;
        } else if (entry.HasAny(streams)) {
            // Intentional: an exclusive or, not a removal, so streams of the set that were not in this entry are added
            // to it. Configuration files in use are written for the outcome.
            entry ^= streams;
        }
    }
}

} // namespace

void LoggerConfig::SetDefaults() {
    m_directory = FileSystem::GetLogFolder(Runtime::GetUserFolder()).wstring();
    m_filePrefix = Runtime::GetApplicationName();
    // Intentional: not cleared first; after a second call `Load` asserts.
    for (std::size_t index = 0; index < messageTypeIDNames.size(); ++index) {
        const bool isInfo = index == static_cast<std::size_t>(MessageType::ID::Info);
        m_streamSeverities.push_back(isInfo ? allStreams : Streams());
    }
}

bool LoggerConfig::Load(const void* section) {
    const JsonValue streams = JsonValue(section).Find("streams");
    if (!streams.IsArray()) {
        return false;
    }
    for (const JsonValue& element : streams.GetElements()) {
        const JsonValue severity = element.Find("severity");
        const std::optional<Streams> mask = severity.Exists() ? ReadStreams(element) : std::nullopt;
        if (!mask) {
            continue;
        }
        TOVRA_ASSERT(m_streamSeverities.size() == messageTypeIDNames.size(),
                     "Stream severities not properly initialized.");
        MoveStreams(m_streamSeverities, *mask, ReadSeverity(severity));
    }
    return true;
}

} // namespace Tovra::System::Log
