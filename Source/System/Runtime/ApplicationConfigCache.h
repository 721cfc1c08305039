#pragma once

#include <System/Error/Assertion.h>
#include <System/FileSystem/Path.h>
#include <System/Runtime/IConfig.h>
#include <System/Types/GUID.h>
#include <System/Types/TypeID.h>

#include <memory>
#include <string>
#include <vector>

namespace Tovra::System::Serialization {
class JsonSchemaWrapper;
class JsonWrapper;
} // namespace Tovra::System::Serialization

namespace Tovra::System::Runtime {

/// The program's folders, its configuration file and the configurations of its systems. Main thread, during start-up
/// only; `GetConfig` may be called afterwards from any thread.
class ApplicationConfigCache {
public:
    ApplicationConfigCache();
    ~ApplicationConfigCache();
    ApplicationConfigCache(const ApplicationConfigCache&) = delete;
    ApplicationConfigCache& operator=(const ApplicationConfigCache&) = delete;

    /// Finds the folders and compiles the schema of the configuration file if there is one. Always true: a missing or
    /// broken schema is no failure. `firstArgument`, the program's path as it was started, may be null.
    ///
    /// Throws `std::runtime_error` if the home directory, which the directory cache must hold, is no UTF-8 text.
    bool Initialize(const char* firstArgument);

    /// Reads and validates a configuration file; without a schema everything is valid. Must come before `AddConfig`.
    ///
    /// False if it can't be used. A file that can't be opened leaves the previous configuration in place, one that is
    /// no JSON leaves an empty one, an invalid one leaves none, and its reason to `TryGetValidationError`. The reasons
    /// of the first two go to the log alone: before `Application::Initialize` has made one they are lost.
    bool Load(const FileSystem::Path& file);

    /// The same for the text of a configuration file; whatever is wrong with it leaves no configuration, and its reason
    /// to `TryGetValidationError`.
    bool Load(const std::string& text);

    /// True if a schema was compiled.
    bool CanValidate() const;

    /// Whether `json` is valid; if not, `error` is replaced by the reason. Without a schema nothing is valid, and
    /// `error` is left untouched.
    bool ValidateJsonConfig(const Serialization::JsonWrapper& json, std::string& error) const;

    /// Copies the last error of validating or parsing, which a success does not clear, and returns whether there is
    /// one.
    bool TryGetValidationError(std::string& error) const;

    /// Parses and validates the text of a configuration file, as far as its first zero byte. Null if it can't be used:
    /// `error` is then replaced by the reason.
    std::unique_ptr<Serialization::JsonWrapper> ParseConfigString(const std::string& text, std::string& error) const;

    /// The configuration of that type, or null. Owned by the cache.
    IConfig* GetConfig(Types::TypeID typeID) const;

    /// Creates the configuration of the system `T` and fills it from its defaults and from what was loaded. Asserts
    /// that there is none yet and that its section can be used. Owned by the cache.
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

    /// Sets the defaults and lets the configuration load the system's section, if there is one. False if it refuses.
    bool InitializeConfig(IConfig& config, const char* systemName, const GUID& systemGuid) const;

    /// The section of a system, as `rapidjson::Value`, or null: what stands under "configuration" in the first element
    /// of "settings" that has it and is of the system's name or else of its identity. Owned by `json`.
    const void* GetFileObject(const Serialization::JsonWrapper& json, const char* systemName,
                              const GUID& systemGuid) const;

    /// The folder of the executable, not made canonical; empty if its path is longer than 255 bytes.
    static std::string RetrieveApplicationDirectoryPlatform();

    /// The user's folder of this family of programs; nobody has created it yet.
    const std::wstring& GetUserFolder() const { return m_userFolder; }

    /// The folder of the executable; may be empty or relative.
    const std::string& GetApplicationDirectory() const { return m_applicationDirectory; }

private:
    struct ConfigContainer {
        Types::TypeID m_typeID;
        std::unique_ptr<IConfig> m_config;
    };

    void LoadSchema(const FileSystem::Path& file);

    /// Whether a document is valid, or there is no schema to tell, which is logged.
    bool IsAcceptable(const Serialization::JsonWrapper& json, std::string& error) const;

    std::wstring m_userFolder;
    std::string m_applicationDirectory;
    std::unique_ptr<Serialization::JsonWrapper> m_configJson;
    std::unique_ptr<Serialization::JsonSchemaWrapper> m_schema;
    std::string m_validationError;
    std::vector<ConfigContainer> m_configs;
};

} // namespace Tovra::System::Runtime
