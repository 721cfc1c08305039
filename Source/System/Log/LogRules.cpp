#include <System/Log/LogRules.h>
#include <System/Utilities/Utf8.h>

#include <charconv>
#include <chrono>
#include <iomanip>
#include <sstream>

namespace Tovra::System::Log {

namespace {

/// Encodes a character in UTF-8 and returns the length in bytes; 0 if it is invalid.
std::size_t Encode(wchar_t character, std::array<char, 4>& bytes) {
    const auto value = static_cast<char32_t>(character);
    if ((value >= 0xD800 && value < 0xE000) || value >= 0x110000) {
        return 0;
    }
    return static_cast<std::size_t>(Utilities::WriteUtf8(bytes.data(), value) - bytes.data());
}

/// Removes the prefix from the beginning of the name. False, with the name of no further use, if it begins otherwise.
/// Neither is converted as a whole, since a start looks at every file of the folder.
bool RemovePrefix(std::string_view& name, std::wstring_view prefix) {
    std::array<char, 4> bytes{};
    for (const wchar_t character : prefix) {
        const std::size_t length = Encode(character, bytes);
        if (length == 0 || !name.starts_with(std::string_view(bytes.data(), length))) {
            return false;
        }
        name.remove_prefix(length);
    }
    return true;
}

} // namespace

std::optional<MessageType::ID> FindSeverity(Types::EnumFlags<StreamID> stream,
                                            const std::vector<Types::EnumFlags<StreamID>>& severities) {
    for (std::size_t index = 0; index < severities.size(); ++index) {
        if (severities[index].HasAny(stream)) {
            return static_cast<MessageType::ID>(index);
        }
    }
    return std::nullopt;
}

std::array<char, 7> GetFraction(std::int64_t microseconds) {
    std::array<char, 7> characters;
    characters.fill('0');
    std::to_chars(characters.data(), characters.data() + characters.size(), microseconds);
    return characters;
}

std::wstring GetLogFileName(std::wstring_view prefix, const std::tm& localTime) {
    std::wostringstream stream;
    stream << prefix << std::put_time(&localTime, L"_%FT%H-%M-%S.log");
    return stream.str();
}

bool IsLogFileName(std::string_view name, std::wstring_view prefix) {
    return name.ends_with(".log") && RemovePrefix(name, prefix) && name.starts_with("_2") && Utilities::IsUtf8(name);
}

std::filesystem::file_time_type GetCutoff(std::filesystem::file_time_type now, std::int64_t retentionDays) {
    using Duration = std::filesystem::file_time_type::duration;
    return now - Duration(std::chrono::seconds(86400)) * Duration::rep{retentionDays};
}

bool IsOld(std::filesystem::file_time_type lastWriteTime, std::filesystem::file_time_type cutoff) {
    return lastWriteTime <= cutoff;
}

} // namespace Tovra::System::Log
