#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>

namespace Tovra::System::Utilities {

/// Facts about the machine that the program runs on. None of these reports an error. Any thread.
///
/// Each `XPlatform` returns the same as `X`. `GetTypePlatform` alone is the host's; the others are rules of both hosts.
class Platform {
public:
    /// The operating system.
    enum class Type : std::uint32_t {
        Windows = 1,
        MacOS = 2,
        Linux = 3,
        LinuxVariant = 4, ///< Commands accept it as Linux.
    };

    /// The processor architecture.
    enum class Architecture : std::uint32_t { Unknown = 0, X64 = 1, Arm64 = 2 };

    /// A version number. Missing parts are 0.
    struct Version {
        std::uint32_t major = 0;
        std::uint32_t minor = 0;
        std::uint32_t patch = 0;

        friend constexpr auto operator<=>(const Version&, const Version&) = default;
    };

    /// A check of the input devices' requirements. This platform has none, so it checks nothing.
    class InputRequirementCheck {
    public:
        /// Makes the check.
        static InputRequirementCheck Create();

        ~InputRequirementCheck();

    private:
        class Implementation;

        explicit InputRequirementCheck(std::unique_ptr<Implementation> implementation);

        std::unique_ptr<Implementation> m_implementation;
    };

    /// The kind of platform, by which commands decide whether they are supported. `MacOS` on the Linux host too.
    static Type GetType();
    static Type GetTypePlatform();

    /// The version of the operating system ("kern.osproductversion"); 0.0.0 if it is unknown.
    static Version GetVersion();
    static Version GetVersionPlatform();

    /// The architecture of the machine: "hw.optional.arm64", otherwise the machine field of uname(2).
    static Architecture GetArchitecture();
    static Architecture GetArchitecturePlatform();

    /// "macOS", with the name of the release if its number is known: "macOS Sonoma".
    static std::string GetLabel();
    static std::string GetLabelPlatform();

    /// The version as text, always of three numbers: "15.1.0".
    static std::string GetVersionString();

    /// The text for the calling thread's `errno`: strerror(3).
    static std::string GetLastErrorString();
    static std::string GetLastErrorStringPlatform();

    /// Reads up to three numbers separated by dots. Reading stops at the first part that doesn't begin with a number.
    static Version ParseVersionString(std::string text);
};

} // namespace Tovra::System::Utilities
