#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>

namespace Tovra::System::Utilities {

/// Facts about the machine that the program runs on. None of these reports an error. Any thread.
class Platform {
public:
    enum class Type : std::uint32_t {
        Windows = 1,
        MacOS = 2,
        Linux = 3,
        LinuxVariant = 4, ///< Counts as Linux wherever it is asked for.
    };

    enum class Architecture : std::uint32_t { Unknown = 0, X64 = 1, Arm64 = 2 };

    /// Missing parts are 0.
    struct Version {
        std::uint32_t major = 0;
        std::uint32_t minor = 0;
        std::uint32_t patch = 0;

        friend constexpr auto operator<=>(const Version&, const Version&) = default;
    };

    /// Stands for a check of the input devices' requirements, of which this platform has none: it checks nothing.
    class InputRequirementCheck {
    public:
        static InputRequirementCheck Create();

        ~InputRequirementCheck();

    private:
        class Implementation;

        explicit InputRequirementCheck(std::unique_ptr<Implementation> implementation);

        std::unique_ptr<Implementation> m_implementation;
    };

    /// The kind of platform, by which commands decide whether they are supported.
    static Type GetType();
    static Type GetTypePlatform();

    /// The version of the operating system ("kern.osproductversion"); 0.0.0 where the system doesn't say.
    static Version GetVersion();
    static Version GetVersionPlatform();

    /// The architecture of the machine: "hw.optional.arm64", otherwise what `uname` names.
    static Architecture GetArchitecture();
    static Architecture GetArchitecturePlatform();

    /// "macOS", with the name of the release if its number is known: "macOS Sonoma".
    static std::string GetLabel();
    static std::string GetLabelPlatform();

    /// The version as text, always of three numbers: "15.1.0".
    static std::string GetVersionString();

    /// The system's text for the calling thread's `errno`.
    static std::string GetLastErrorString();
    static std::string GetLastErrorStringPlatform();

    /// Reads up to three numbers between dots. What follows the first part that doesn't begin with a number is ignored.
    static Version ParseVersionString(std::string text);
};

} // namespace Tovra::System::Utilities
