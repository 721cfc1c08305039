#include <System/Error/Assertion.h>
#include <System/Log/LoggerConfig.h>
#include <System/Runtime/ApplicationAccess.h>
#include <System/Serialization/JsonMember.h>

#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>

namespace Tovra::System::Log {

namespace {

using Streams = Types::EnumFlags<StreamID>;

std::string_view GetText(const rapidjson::Value& text) {
    return {text.GetString(), text.GetStringLength()};
}

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
std::optional<Streams> ReadStreams(const rapidjson::Value& element) {
    if (const rapidjson::Value* const id = Serialization::FindMember(element, "id"); id != nullptr && id->IsUint()) {
        const Streams streams(id->GetUint());
        // Unknown bits alone are no streams; beside known ones they are kept.
        return streams.HasAny(allStreams) ? std::optional(streams) : std::nullopt;
    }
    const rapidjson::Value* const name = Serialization::FindMember(element, "name");
    return name != nullptr && name->IsString() ? FindStreams(GetText(*name)) : std::nullopt;
}

/// The message type of that name. Anything else, a value of another JSON type included, means `Warning`, so that files
/// can be read that were written for other versions.
std::size_t ReadSeverity(const rapidjson::Value& severity) {
    const std::string_view name = severity.IsString() ? GetText(severity) : std::string_view();
    const auto found =
        std::ranges::find(messageTypeIDNames, name, [](const char* text) { return std::string_view(text); });
    return found != messageTypeIDNames.end() ? static_cast<std::size_t>(found - messageTypeIDNames.begin())
                                             : static_cast<std::size_t>(MessageType::ID::Warning);
}

void MoveStreams(std::vector<Streams>& severities, Streams streams, std::size_t severity) {
    for (std::size_t index = 0; index < severities.size(); ++index) {
        if (index == severity) {
            severities[index] |= streams;
        } else if (severities[index].HasAny(streams)) {
            // Intentional: an exclusive or, not a removal, so streams of the set that were not in this entry are added
            // to it. Configuration files in use are written for the outcome.
            severities[index] ^= streams;
        }
    }
}

} // namespace

void LoggerConfig::SetDefaults() {
    m_directory = (std::filesystem::path(Runtime::GetUserFolder()) / "Logs").wstring();
    m_filePrefix = Runtime::GetApplicationName();
    // Intentional: not cleared first; after a second call `Load` asserts.
    for (std::size_t index = 0; index < messageTypeIDNames.size(); ++index) {
        const bool isInfo = index == static_cast<std::size_t>(MessageType::ID::Info);
        m_streamSeverities.push_back(isInfo ? allStreams : Streams());
    }
}

bool LoggerConfig::Load(const void* section) {
    if (section == nullptr) {
        return false;
    }
    const auto& object = *static_cast<const rapidjson::Value*>(section);
    const rapidjson::Value* const streams = Serialization::FindMember(object, "streams");
    if (streams == nullptr || !streams->IsArray()) {
        return false;
    }
    for (const rapidjson::Value& element : streams->GetArray()) {
        const rapidjson::Value* const severity = Serialization::FindMember(element, "severity");
        const std::optional<Streams> mask = severity != nullptr ? ReadStreams(element) : std::nullopt;
        if (!mask) {
            continue;
        }
        TOVRA_ASSERT(m_streamSeverities.size() == messageTypeIDNames.size(),
                     "Stream severities not properly initialized.");
        MoveStreams(m_streamSeverities, *mask, ReadSeverity(*severity));
    }
    return true;
}

} // namespace Tovra::System::Log
