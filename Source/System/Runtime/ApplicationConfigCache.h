#pragma once

#include <System/Error/Assertion.h>
#include <System/FileSystem/Path.h>
#include <System/Runtime/IConfig.h>
#include <System/Types/GUID.h>
#include <System/Types/TypeID.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::System::Serialization {
class JsonSchemaWrapper;
class JsonWrapper;
} // namespace Tovra::System::Serialization

namespace Tovra::System::Runtime {

/// The program's folders, its configuration file and the configurations of its systems. Main thread, during start-up
/// only. Nothing changes afterwards, so any thread may then call `GetConfig`, `CanValidate` and the getters of the
/// folders, and one thread at a time what validates. None of the contents has a lock but the schema, as whoever asks
/// for it first compiles it.
class ApplicationConfigCache {
public:
    ApplicationConfigCache();
    ~ApplicationConfigCache();
    ApplicationConfigCache(const ApplicationConfigCache&) = delete;
    ApplicationConfigCache& operator=(const ApplicationConfigCache&) = delete;

    /// Finds the folders and reads the schema of the configuration file if there is one. Always true: a missing or
    /// broken schema is no failure. `firstArgument`, the program's path as it was started, may be null. The directory
    /// cache must be initialised.
    ///
    /// The schema is compiled when it is first asked for, as most programs have no document to validate; at once, with
    /// a warning if it is broken, if the application has a logger already.
    ///
    /// Throws `std::runtime_error` if the home directory is not UTF-8.
    bool Initialize(const char* firstArgument);

    /// Reads and validates a configuration file; without a schema everything is valid. Must come before `AddConfig`.
    ///
    /// False if the file can't be used. If it can't be opened, the previous configuration stays; if it is not JSON, an
    /// empty one takes its place; if it is invalid, there is none, and `TryGetValidationError` tells why. In the first
    /// two cases the reason goes only to the log, and is lost before `Application::Initialize` has created that.
    bool Load(const FileSystem::Path& file);

    /// The same for the text of a configuration file, up to its first null character. If it can't be used, there is no
    /// configuration, and `TryGetValidationError` tells why.
    bool Load(const std::string& text);

    /// True if a schema was compiled.
    bool CanValidate() const;

    /// Whether `json` is valid; if not, `error` is replaced by the reason. Without a schema nothing is valid, and
    /// `error` is left untouched.
    bool ValidateJsonConfig(const Serialization::JsonWrapper& json, std::string& error) const;

    /// Copies the last error of validating or parsing, which a success does not clear. False if there is none.
    bool TryGetValidationError(std::string& error) const;

    /// Parses and validates the text of a configuration file, up to its first null character. Null if it can't be used:
    /// `error` is then replaced by the reason. The caller owns the result.
    std::unique_ptr<Serialization::JsonWrapper> ParseConfigString(const std::string& text, std::string& error) const;

    /// The configuration of that type, or null. Owned by the cache and lives as long as it.
    IConfig* GetConfig(Types::TypeID typeID) const;

    /// Creates the configuration of the system `T` and fills it from its defaults and from what was loaded. Asserts
    /// that there is none yet and that its section can be used. Owned by the cache and lives as long as it.
    template <class T>
    typename T::Config_Type* AddConfig() {
        using Config_Type = typename T::Config_Type;
        TOVRA_ASSERT(GetConfig(Config_Type::s_typeID) == nullptr, "Config already exists.");
        m_configs.push_back({Config_Type::s_typeID, std::make_unique<Config_Type>()});
        IConfig* const config = m_configs.back().m_config.get();
        const bool success = InitializeConfig(*config, T::s_systemName, T::s_systemGUID);
        TOVRA_ASSERT(success, "Failed to initialize configuration.");
        return static_cast<Config_Type*>(config);
    }

    /// Sets the defaults and lets the configuration load the system's section, if there is one. False if the section
    /// can't be used; true without one. A program that calls it before `AddConfig` can say what is wrong.
    bool InitializeConfig(IConfig& config, const char* systemName, const GUID& systemGuid) const;

    /// The section of a system, as `rapidjson::Value`, or null: the member "configuration" of the first element of
    /// "settings" that has one and that has the system's name or, failing that, its identity. Owned by `json`.
    const void* GetFileObject(const Serialization::JsonWrapper& json, const char* systemName,
                              const GUID& systemGuid) const;

    /// The folder of the executable, not made canonical; empty if its path is unknown or longer than 255 bytes.
    static std::string RetrieveApplicationDirectoryPlatform();

    /// The folder of this family of programs in the user's home, which need not exist; empty before `Initialize`. The
    /// reference lives as long as the cache.
    const std::wstring& GetUserFolder() const { return m_userFolder; }

    /// The folder of the executable; may be empty or relative. The reference lives as long as the cache.
    const std::string& GetApplicationDirectory() const { return m_applicationDirectory; }

private:
    struct ConfigContainer {
        Types::TypeID m_typeID;
        std::unique_ptr<IConfig> m_config;
    };

    void LoadSchema(const FileSystem::Path& file);

    /// Replaces the schema by what was read since, if anything. If that is no JSON, the schema stays, and the result
    /// says what is wrong; otherwise the result is empty.
    std::string CompileSchema() const;

    /// The schema, after `CompileSchema`; null if there is none.
    const Serialization::JsonSchemaWrapper* GetSchema() const;

    /// Whether a document is valid. Without a schema it is, with a warning in the log.
    bool IsAcceptable(const Serialization::JsonWrapper& json, std::string& error) const;

    std::wstring m_userFolder;
    std::string m_applicationDirectory;
    std::unique_ptr<Serialization::JsonWrapper> m_configJson;
    mutable std::mutex m_schemaMutex;
    mutable std::optional<std::string> m_schemaText; ///< Read and not yet compiled.
    mutable std::unique_ptr<Serialization::JsonSchemaWrapper> m_schema;
    std::string m_validationError;
    std::vector<ConfigContainer> m_configs;
};

} // namespace Tovra::System::Runtime
