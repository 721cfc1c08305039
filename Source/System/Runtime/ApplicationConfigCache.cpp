#include <System/Environment/DirectoryCache.h>
#include <System/FileSystem/ProgramFolders.h>
#include <System/FileSystem/ShortFile.h>
#include <System/Log/Log.h>
#include <System/Runtime/ApplicationAccess.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Runtime/ApplicationDirectoryOperations.h>
#include <System/Serialization/JsonMember.h>
#include <System/Serialization/JsonSchemaWrapper.h>
#include <System/Serialization/JsonWrapper.h>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <format>
#include <fstream>
#include <optional>
#include <utility>

namespace Tovra::System::Runtime {

// Intentional: messages take a path as a path, not as its text, so it appears in double quotes; readers of logs look
// for it so.
TOVRA_LOG_CONTEXT(System);

namespace {

constexpr const char* configurationParseError = "Failed to parse configuration json at ";
constexpr const char* missingDocumentError = "Failed to create json document.";
/// A schema is written by hand; a longer file counts as none.
constexpr std::size_t maxSchemaBytes = std::size_t{256} * 1024;

/// An input stream of the library that reads a file in blocks, so that a wrong file is read only to its first wrong
/// byte, however long it is. The library's own stream takes long for each character.
class BlockStream {
public:
    using Ch = char;

    explicit BlockStream(std::ifstream& file) : m_file(file) { ReadBlock(); }

    /// The next byte; a null character at the end.
    char Peek() const { return m_block[m_position]; }

    char Take() {
        const char byte = m_block[m_position];
        if (m_position < m_size) {
            ++m_position;
            if (m_position == m_size) {
                ReadBlock();
            }
        }
        return byte;
    }

    std::size_t Tell() const { return m_offset + m_position; }

    // Required by the library for parsing in place, which is never done with this stream.
    char* PutBegin() { return nullptr; }
    void Put(char) {}
    void Flush() {}
    std::size_t PutEnd(char*) { return 0; }

private:
    static constexpr std::size_t blockSize = 4096;

    void ReadBlock() {
        m_offset += m_size;
        m_file.read(m_block.data(), blockSize);
        m_size = static_cast<std::size_t>(m_file.gcount());
        m_position = 0;
        m_block[m_size] = '\0';
    }

    std::ifstream& m_file;
    std::size_t m_offset = 0; ///< Of the block.
    std::size_t m_size = 0;
    std::size_t m_position = 0;
    std::array<char, blockSize + 1> m_block;
};

template <class Stream>
rapidjson::ParseResult Parse(Stream& stream, rapidjson::Document& document) {
    try {
        // Iterative, as the depth of a document is its writer's choice and must not use up the stack.
        document.ParseStream<rapidjson::kParseIterativeFlag>(stream);
    } catch (const std::exception&) {
        // The library asserts on some numbers that are legal, and memory may run out: a failed parse like any other.
        return {rapidjson::kParseErrorUnspecificSyntaxError, stream.Tell()};
    }
    // The iterative parser calls a document empty also if its first character begins no value.
    const bool isInvalid = document.GetParseError() == rapidjson::kParseErrorDocumentEmpty && stream.Peek() != '\0';
    return {isInvalid ? rapidjson::kParseErrorValueInvalid : document.GetParseError(), document.GetErrorOffset()};
}

std::string DescribeParseError(const char* introduction, const rapidjson::ParseResult& result) {
    return std::format("{}{}: '{}'.", introduction, result.Offset(), rapidjson::GetParseError_En(result.Code()));
}

bool HasSystemName(const rapidjson::Value& element, const char* systemName) {
    const rapidjson::Value* const name = Serialization::FindMember(element, "name");
    // Intentional: a name is compared only up to its first null character, unlike the keys; files that match must keep
    // matching.
    return name != nullptr && name->IsString() && std::strcmp(name->GetString(), systemName) == 0;
}

bool HasSystemGuid(const rapidjson::Value& element, const GUID& systemGuid) {
    const rapidjson::Value* const text = Serialization::FindMember(element, "guid");
    GUID guid;
    return text != nullptr && text->IsString() &&
           GUID::TryParseFromString(text->GetString(), text->GetStringLength(), guid) && guid == systemGuid;
}

} // namespace

ApplicationConfigCache::ApplicationConfigCache() = default;

ApplicationConfigCache::~ApplicationConfigCache() {
    // From the last to the first, which a vector doesn't promise.
    while (!m_configs.empty()) {
        m_configs.pop_back();
    }
}

bool ApplicationConfigCache::Initialize(const char* firstArgument) {
    const std::filesystem::path home = Environment::DirectoryCache::m_instance.GetHome();
    m_userFolder = FileSystem::GetUserFolder(home).wstring();
    m_applicationDirectory = RetrieveApplicationDirectoryPlatform();
    if (firstArgument != nullptr && m_applicationDirectory.empty()) {
        m_applicationDirectory = FileSystem::Path(firstArgument).GetParent().ToString();
    }
    LoadSchema(FileSystem::GetSchemaFile(m_applicationDirectory));
    return true;
}

std::string ApplicationConfigCache::RetrieveApplicationDirectoryPlatform() {
    std::array<char, 256> buffer{};
    return GetExecutablePath(buffer.data(), buffer.size()) ? FileSystem::Path(buffer.data()).GetParent().ToString()
                                                           : std::string();
}

void ApplicationConfigCache::LoadSchema(const FileSystem::Path& file) {
    try {
        std::optional<std::string> text = FileSystem::ReadShortFile(file.GetNative(), maxSchemaBytes);
        if (!text) {
            TOVRA_LOG(System, Warning, "Can't open schema file: '", file.GetNative(), "'.");
            return;
        }
        GetSchema(); // Stays if this one is broken.
        m_schemaText = std::move(text);
        if (HasApplication() && FindLogger() == nullptr) {
            // Nobody would be told what is wrong with it, and compiling takes longer than the rest of the start-up.
            return;
        }
        if (const std::string error = CompileSchema(); !error.empty()) {
            TOVRA_LOG(System, Warning, error);
        }
    } catch (...) {
        TOVRA_LOG(System, Warning, "Failed to load configuration schema file: '", file.GetNative(), "'.");
    }
}

std::string ApplicationConfigCache::CompileSchema() const {
    const std::lock_guard lock(m_schemaMutex);
    const std::optional<std::string> text = std::exchange(m_schemaText, std::nullopt);
    if (!text) {
        return {};
    }
    const Serialization::JsonWrapper json;
    rapidjson::StringStream stream(text->c_str());
    if (const rapidjson::ParseResult result = Parse(stream, *json.GetDocument()); result.IsError()) {
        return DescribeParseError("Failed to parse schema json at ", result);
    }
    auto schema = std::make_unique<Serialization::JsonSchemaWrapper>();
    schema->Compile(json);
    m_schema = std::move(schema);
    return {};
}

const Serialization::JsonSchemaWrapper* ApplicationConfigCache::GetSchema() const {
    try {
        CompileSchema();
        return m_schema.get();
    } catch (const std::exception&) {
        return m_schema.get(); // Memory ran out: the schema stays, as it does if parsing runs out of memory.
    }
}

bool ApplicationConfigCache::Load(const FileSystem::Path& file) {
    TOVRA_LOG(System, Always, "Loading configuration file from '", file.GetNative(), "'.");
    std::ifstream stream(file.GetNative());
    if (!stream.is_open()) {
        TOVRA_LOG(System, Error, "Failed to open filepath '", file.GetNative(), "'.");
        return false;
    }
    m_configJson = std::make_unique<Serialization::JsonWrapper>();
    rapidjson::Document* const document = m_configJson->GetDocument();
    if (document == nullptr) {
        TOVRA_LOG(System, Error, missingDocumentError);
        return false;
    }
    BlockStream blocks(stream);
    if (const rapidjson::ParseResult result = Parse(blocks, *document); result.IsError()) {
        stream.close();
        TOVRA_LOG(System, Error, DescribeParseError(configurationParseError, result));
        return false;
    }
    if (!IsAcceptable(*m_configJson, m_validationError)) {
        m_configJson.reset();
        return false;
    }
    return true;
}

bool ApplicationConfigCache::Load(const std::string& text) {
    TOVRA_LOG(System, Always, "Loading configuration string '", text, "'.");
    m_configJson = ParseConfigString(text, m_validationError);
    return m_configJson != nullptr;
}

std::unique_ptr<Serialization::JsonWrapper> ApplicationConfigCache::ParseConfigString(const std::string& text,
                                                                                      std::string& error) const {
    auto json = std::make_unique<Serialization::JsonWrapper>();
    rapidjson::Document* const document = json->GetDocument();
    if (document == nullptr) {
        error = missingDocumentError;
        return nullptr;
    }
    rapidjson::StringStream stream(text.c_str());
    if (const rapidjson::ParseResult result = Parse(stream, *document); result.IsError()) {
        error = DescribeParseError(configurationParseError, result);
        return nullptr;
    }
    return IsAcceptable(*json, error) ? std::move(json) : nullptr;
}

bool ApplicationConfigCache::IsAcceptable(const Serialization::JsonWrapper& json, std::string& error) const {
    if (!CanValidate()) {
        TOVRA_LOG(System, Warning, "No configuration schema loaded, configuration might be invalid.");
        return true;
    }
    return ValidateJsonConfig(json, error);
}

bool ApplicationConfigCache::CanValidate() const {
    const Serialization::JsonSchemaWrapper* const schema = GetSchema();
    return schema != nullptr && schema->GetSchema() != nullptr;
}

bool ApplicationConfigCache::ValidateJsonConfig(const Serialization::JsonWrapper& json, std::string& error) const {
    return CanValidate() && GetSchema()->Validate(json, error);
}

bool ApplicationConfigCache::TryGetValidationError(std::string& error) const {
    error = m_validationError;
    return !error.empty();
}

IConfig* ApplicationConfigCache::GetConfig(Types::TypeID typeID) const {
    const auto found = std::ranges::find(m_configs, typeID, &ConfigContainer::m_typeID);
    return found != m_configs.end() ? found->m_config.get() : nullptr;
}

bool ApplicationConfigCache::InitializeConfig(IConfig& config, const char* systemName, const GUID& systemGuid) const {
    config.SetDefaults();
    if (m_configJson == nullptr) {
        return true;
    }
    const void* const section = GetFileObject(*m_configJson, systemName, systemGuid);
    return section == nullptr || config.Load(section);
}

const void* ApplicationConfigCache::GetFileObject(const Serialization::JsonWrapper& json, const char* systemName,
                                                  const GUID& systemGuid) const {
    const rapidjson::Value* const settings = Serialization::FindMember(*json.GetDocument(), "settings");
    if (settings == nullptr || !settings->IsArray()) {
        return nullptr;
    }
    for (const rapidjson::Value& element : settings->GetArray()) {
        const rapidjson::Value* const configuration = Serialization::FindMember(element, "configuration");
        if (configuration != nullptr && (HasSystemName(element, systemName) || HasSystemGuid(element, systemGuid))) {
            return configuration;
        }
    }
    return nullptr;
}

} // namespace Tovra::System::Runtime
