#pragma once

#include <System/Types/GUID.h>
#include <System/Types/TypeID.h>

namespace Tovra::System::Runtime {

/// The configuration of a system.
class IConfig {
public:
    virtual ~IConfig() = default;
    virtual const char* GetConfigName() const = 0; ///< Static text.
    virtual GUID GetConfigGUID() const = 0;
    virtual Types::TypeID GetTypeID() const = 0;

    /// Sets every value to its default.
    virtual void SetDefaults() = 0;

    /// Reads what the system's section of the configuration file sets: `Serialization::JsonValue(section)`. It may be
    /// of any JSON type, and is valid only during the call. False if the section can't be used: `AddConfig` then
    /// asserts, which ends the process. For a message of its own a program first calls
    /// `ApplicationConfigCache::InitializeConfig` on a configuration of its own, which returns what this returns.
    virtual bool Load(const void* section) = 0;
};

} // namespace Tovra::System::Runtime
