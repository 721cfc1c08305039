#pragma once

#include <cstdint>

namespace Tovra {

namespace Modules {

/// The identity of a program.
class IModule {
public:
    virtual ~IModule() = default;
    /// The number of the program within its family.
    virtual std::uint32_t GetID() const = 0;
    virtual const char* GetName() const = 0;        ///< Static text.
    virtual const wchar_t* GetNameWide() const = 0; ///< The same text, 32 bits a character.
};

} // namespace Modules

/// The identity of this program. The source file that defines it differs from program to program.
class Module final : public Modules::IModule {
public:
    std::uint32_t GetID() const override;
    const char* GetName() const override;
    const wchar_t* GetNameWide() const override;

    /// The only instance.
    static Module s_instance;
};

} // namespace Tovra
