// Oracle: a model of the shipped schema and of the look-up, over nlohmann's JSON reader
// Reaches: Tovra::System::Runtime::ApplicationConfigCache::Load
// Reaches: Tovra::System::Runtime::ApplicationConfigCache::ParseConfigString
// Reaches: Tovra::System::Runtime::ApplicationConfigCache::GetFileObject
// Reaches: Tovra::System::Runtime::ApplicationConfigCache::InitializeConfig
// Reaches: Tovra::System::Serialization::JsonSchemaWrapper::Validate Tovra::System::Log::LoggerConfig::Load

#include <System/Log/LoggerConfig.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Serialization/JsonWrapper.h>

#include <Fuzz/Input.h>
#include <Fuzz/Json.h>
#include <Fuzz/LogSection.h>
#include <Fuzz/Outcome.h>
#include <rapidjson/document.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Json;
using Fuzz::Outcome;
using Tovra::System::GUID;
using Tovra::System::Runtime::ApplicationConfigCache;

using Kind = Json::Kind;

Outcome s_valid("a valid configuration with settings");
Outcome s_invalid("a configuration that the schema refuses");
Outcome s_broken("a text that is no JSON");
Outcome s_byName("a section that is found by its name");
Outcome s_byGuid("a section that is found by its GUID alone");
Outcome s_missing("settings without the section");
Outcome s_toLog("a section that sets the log's streams");

constexpr const char* systemName = "LogSystem";
constexpr GUID systemGuid{0x4392DED52813410E, 0xA3BB393A4153F1F9};

/// The texts that the schema's pattern for a GUID takes.
bool IsGuid(std::string_view text) {
    if (text.size() == 38 && text.starts_with('{') && text.ends_with('}')) {
        text = text.substr(1, 36);
    }
    bool isGuid = text.size() == 36;
    for (std::size_t index = 0; isGuid && index < text.size(); ++index) {
        const bool isHyphen = index == 8 || index == 13 || index == 18 || index == 23;
        isGuid = isHyphen ? text[index] == '-' : std::isxdigit(static_cast<unsigned char>(text[index])) != 0;
    }
    return isGuid;
}

bool IsSystemGuid(const Json* text) {
    if (text == nullptr || text->kind != Kind::Text || !IsGuid(text->text)) {
        return false;
    }
    std::string digits;
    for (const char character : text->text) {
        if (std::isalnum(static_cast<unsigned char>(character)) != 0) {
            digits += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
    }
    return digits == "4392ded52813410ea3bb393a4153f1f9";
}

/// A name counts up to its first NUL byte.
bool IsSystemName(const Json* text) {
    return text != nullptr && text->kind == Kind::Text && text->text.substr(0, text->text.find('\0')) == systemName;
}

bool IsValidStream(const Json& stream) {
    const Json* const severity = stream.Find("severity");
    const Json* const id = stream.Find("id");
    const Json* const name = stream.Find("name");
    const auto isOneOf = [](const Json* text, const auto& texts) {
        return text->kind == Kind::Text && std::ranges::find(texts, text->text) != texts.end();
    };
    return severity != nullptr && isOneOf(severity, Fuzz::LogSection::severities) &&
           (id == nullptr || (id->kind == Kind::Integer && !id->isNegative && id->integer <= 0xFFFFFFFF)) &&
           (name == nullptr || name->IsText("All") || isOneOf(name, Fuzz::LogSection::streams)) &&
           (id != nullptr || name != nullptr);
}

bool IsValidSection(const Json& section) {
    const Json* const streams = section.Find("streams");
    return streams != nullptr && streams->kind == Kind::Array && std::ranges::all_of(streams->elements, IsValidStream);
}

bool IsValidEntry(const Json& entry) {
    const Json* const name = entry.Find("name");
    const Json* const guid = entry.Find("guid");
    const Json* const configuration = entry.Find("configuration");
    return configuration != nullptr && (name != nullptr || guid != nullptr) &&
           (name == nullptr || (name->kind == Kind::Text && !name->text.empty())) &&
           (guid == nullptr || (guid->kind == Kind::Text && IsGuid(guid->text))) &&
           (!(IsSystemName(name) || IsSystemGuid(guid)) || IsValidSection(*configuration));
}

/// A document that is nested deeper than 256 is never valid.
bool IsValidConfiguration(const Json& root) {
    const Json* const settings = root.Find("settings");
    return settings != nullptr && settings->kind == Kind::Array &&
           std::ranges::all_of(settings->elements, IsValidEntry) && root.GetDepth() <= 256;
}

/// The index of the log's entry; nothing if there is none.
std::optional<std::size_t> FindEntry(const Json& root) {
    const Json* const settings = root.Find("settings");
    for (std::size_t index = 0; settings != nullptr && index < settings->elements.size(); ++index) {
        const Json& entry = settings->elements[index];
        if (entry.Find("configuration") != nullptr &&
            (IsSystemName(entry.Find("name")) || IsSystemGuid(entry.Find("guid")))) {
            return index;
        }
    }
    return std::nullopt;
}

/// The same as the product found it.
std::optional<std::size_t> FindEntry(const ApplicationConfigCache& cache,
                                     const Tovra::System::Serialization::JsonWrapper& json) {
    const void* const section = cache.GetFileObject(json, systemName, systemGuid);
    if (section == nullptr) {
        return std::nullopt;
    }
    const auto& settings = (*json.GetDocument())["settings"];
    for (rapidjson::SizeType index = 0; index < settings.Size(); ++index) {
        if (settings[index].IsObject() && settings[index].HasMember("configuration") &&
            &settings[index]["configuration"] == section) {
            return index;
        }
    }
    Expect(false, "the section found is an entry's");
    return std::nullopt;
}

bool IsUtf8(const std::string& text) {
    return Fuzz::ReadJson(Fuzz::WriteJson({.kind = Kind::Text, .text = text}))->text == text;
}

/// Whether the product may take what the other reader refuses: it tests no encoding, neither of the text nor of the
/// second half of a surrogate pair that stands alone.
bool MayBeAccepted(const std::string& text) {
    return !IsUtf8(text) || text.find("\\uD") != std::string::npos || text.find("\\ud") != std::string::npos;
}

/// Whether the product may refuse what the other reader takes: a byte order mark, and numbers whose exponent or length
/// is out of the ordinary, which are compared by another target.
bool MayBeRefused(const std::string& text, const std::string& error) {
    const bool isNumber = error.find("'Number too big") != std::string::npos ||
                          error.find("'Unspecific syntax error") != std::string::npos;
    return text.starts_with("\xEF\xBB\xBF") ||
           (isNumber && (text.find_first_of("eE") != std::string::npos || text.size() > 300));
}

/// A file in memory, of which the text is read in other blocks than a string.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& text) : m_descriptor(memfd_create("configuration", MFD_CLOEXEC)) {
        Expect(write(m_descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "a file is written");
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string GetPath() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};

ApplicationConfigCache& GetCacheWithSchema() {
    static ApplicationConfigCache& s_cache = *[] {
        auto* const cache = new ApplicationConfigCache;
        cache->Initialize(nullptr);
        Expect(cache->CanValidate(), "the shipped schema stands beside the program");
        return cache;
    }();
    return s_cache;
}

/// Loads the configuration as a program does, and compares what the log gets of it.
void LoadForLog(ApplicationConfigCache& cache, const std::string& text, const Json& root) {
    Tovra::System::Log::LoggerConfig config;
    const bool isLoaded = cache.InitializeConfig(config, systemName, systemGuid);
    Fuzz::LogSection model;
    const std::optional<std::size_t> entry = FindEntry(root);
    Expect(!entry || model.Load(*root.Find("settings")->elements[*entry].Find("configuration")),
           "a valid configuration has a section that can be used", text);
    Expect(isLoaded, "the log takes a valid configuration", text);
    for (std::size_t index = 0; index < model.GetMasks().size(); ++index) {
        Expect(config.m_streamSeverities.at(index).GetBits() == model.GetMasks()[index],
               "the log's streams are those of the section", text, Fuzz::LogSection::severities[index]);
    }
    s_toLog.Note(model.GetCount() > 0);
    s_byName.Note(entry && IsSystemName(root.Find("settings")->elements[*entry].Find("name")));
    s_byGuid.Note(entry && !IsSystemName(root.Find("settings")->elements[*entry].Find("name")));
    s_missing.Note(!entry && !root.Find("settings")->elements.empty());
}

void CompareWithSchema(const std::string& text, const Json& root) {
    ApplicationConfigCache& cache = GetCacheWithSchema();
    const bool expected = IsValidConfiguration(root);
    const bool isValid = cache.Load(text);
    std::string error;
    cache.TryGetValidationError(error);
    Expect(isValid == expected, "the configuration is valid as in the model", text, error);
    if (!isValid) {
        constexpr std::string_view reason = "Failed to validate against schema";
        Expect(error.starts_with(reason), "the reason is the schema", text, error);
        // A document that the library gives up on has no keyword, and no small one is that hard.
        Expect(error.size() > reason.size() || root.GetDepth() > 256, "a keyword refuses the document", text, error);
    } else {
        LoadForLog(cache, text, root);
    }
    s_valid.Note(isValid && !root.Find("settings")->elements.empty());
    s_invalid.Note(!isValid);

    // The same from a file, where a block ends within the text.
    constexpr std::size_t blockSize = 4096;
    const std::string padding(blockSize - std::min(blockSize, text.size() / 2), ' ');
    Expect(cache.Load(Tovra::System::FileSystem::Path(MemoryFile(padding + text).GetPath())) == isValid,
           "a file is read as its text is", text);
}

} // namespace

// A configuration is read, found valid, searched for the log's section and loaded as in the model, with and without the
// schema.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Logging needs an application.
    static const Tovra::System::Runtime::Application application(L"ConfigurationFuzz");
    static const ApplicationConfigCache cacheWithoutSchema;
    const std::string whole(Fuzz::GetText(data, size));
    const std::string text = whole.substr(0, whole.find('\0'));

    std::string error;
    const auto json = cacheWithoutSchema.ParseConfigString(whole, error);
    const std::optional<Json> root = Fuzz::ReadJson(text);
    if (json == nullptr) {
        s_broken.Note();
        Expect(error.starts_with("Failed to parse configuration json at ") && error.ends_with("'."), "it is told why",
               error);
        Expect(!root || MayBeRefused(text, error), "what the other reader takes is taken", text, error);
    } else if (!root) {
        Expect(MayBeAccepted(text), "what the other reader refuses is refused", text);
    } else {
        Expect(FindEntry(cacheWithoutSchema, *json) == FindEntry(*root), "the same section is found", text);
        CompareWithSchema(text, *root);
    }
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    constexpr std::array<std::string_view, 27> fragments{
        R"({"settings":[]})",
        R"({"name":"LogSystem","configuration":{"streams":[]}})",
        R"({"guid":"{4392DED5-2813-410E-A3BB-393A4153F1F9}","configuration":{"streams":[{"id":1,"severity":"Error"}]}})",
        R"({"name":"Other","configuration":null})",
        R"({"name":"All","severity":"Info"})",
        R"({"id":524288,"severity":"Debug"})",
        R"({"streams":[]})",
        R"("LogSystem")",
        R"("LogSystem\u0000x")",
        R"("logSystem")",
        R"("4392ded5-2813-410e-a3bb-393a4153f1f9")",
        R"("{4392DED5-2813-410E-A3BB-393A4153F1F9}")",
        R"("{4392DED5-2813-410E-A3BB-393A4153F1F9")",
        R"("00000000-0000-0000-0000-000000000000")",
        R"("Always")",
        R"("DisplayCache")",
        R"("All")",
        R"("")",
        "0",
        "-1",
        "1.0",
        "4294967295",
        "4294967296",
        "null",
        "true",
        "[]",
        "{}"};
    constexpr std::array<std::string_view, 9> names{"settings", "name", "guid", "configuration", "streams",
                                                    "severity", "id",   "",     "other"};
    return Fuzz::MutateJson(data, size, maxSize, seed, fragments, names);
}
