#pragma once

#include <System/Runtime/IConfig.h>
#include <System/Types/CharacterArray.h>

namespace Tovra::System::Runtime {

/// The base of a system's configuration class `T`, which supplies `SetDefaults`, `Load` and the public constant
/// `static constexpr Types::TypeID s_typeID`; name and identity are constants of the type.
template <class T, Constexpr::CharacterArray<128> name, GUID guid>
class Config : public IConfig {
public:
    const char* GetConfigName() const override { return name.GetText(); }
    GUID GetConfigGUID() const override { return guid; }
    Types::TypeID GetTypeID() const override { return T::s_typeID; }

private:
    friend T;
    Config() = default;
};

/// Marks a system without configuration, which gets a null pointer for it.
struct EmptyConfig {};

} // namespace Tovra::System::Runtime
