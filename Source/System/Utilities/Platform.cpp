#include <System/Utilities/Helpers.h>
#include <System/Utilities/Platform.h>
#include <System/Utilities/PlatformOperations.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <format>
#include <sstream>
#include <string_view>
#include <utility>

namespace Tovra::System::Utilities {

namespace {

constexpr const char* versionName = "kern.osproductversion";

struct Release {
    std::string_view digits; // The first two characters of the version.
    std::string_view name;
};

constexpr std::array releases = {
    Release{"10", " Catalina"}, Release{"11", " Big Sur"}, Release{"12", " Monterey"}, Release{"13", " Ventura"},
    Release{"14", " Sonoma"},   Release{"15", " Sequoia"}, Release{"26", " Tahoe"},
};

} // namespace

class Platform::InputRequirementCheck::Implementation {};

Platform::InputRequirementCheck Platform::InputRequirementCheck::Create() {
    return InputRequirementCheck(std::make_unique<Implementation>());
}

Platform::InputRequirementCheck::InputRequirementCheck(std::unique_ptr<Implementation> implementation)
    : m_implementation(std::move(implementation)) {}

Platform::InputRequirementCheck::~InputRequirementCheck() = default;

Platform::Type Platform::GetType() {
    return GetTypePlatform();
}

Platform::Version Platform::GetVersion() {
    return GetVersionPlatform();
}

Platform::Version Platform::GetVersionPlatform() {
    return ParseVersionString(Helpers::GetSysctlString(versionName));
}

Platform::Architecture Platform::GetArchitecture() {
    return GetArchitecturePlatform();
}

Platform::Architecture Platform::GetArchitecturePlatform() {
    std::uint32_t isArm64 = 0;
    std::size_t size = sizeof(isArm64);
    if (GetSystemControl("hw.optional.arm64", &isArm64, &size) == 0) {
        return isArm64 != 0 ? Architecture::Arm64 : Architecture::X64;
    }
    std::string machine;
    if (GetMachineName(machine) != 0) {
        return Architecture::Unknown;
    }
    if (machine == "arm64" || machine == "aarch64") {
        return Architecture::Arm64;
    }
    if (machine == "x86_64" || machine == "amd64") {
        return Architecture::X64;
    }
    return Architecture::Unknown;
}

std::string Platform::GetLabel() {
    return GetLabelPlatform();
}

std::string Platform::GetLabelPlatform() {
    std::string label = "macOS";
    const std::string version = Helpers::GetSysctlString(versionName);
    if (version.size() < 3) {
        return label;
    }
    // Intentional: only the first two characters count, so every 10.x has the name of the last one.
    for (const Release& release : releases) {
        if (version.starts_with(release.digits)) {
            label += release.name;
        }
    }
    return label;
}

std::string Platform::GetVersionString() {
    const Version version = GetVersion();
    return std::format("{}.{}.{}", version.major, version.minor, version.patch);
}

std::string Platform::GetLastErrorString() {
    return GetLastErrorStringPlatform();
}

std::string Platform::GetLastErrorStringPlatform() {
    return std::strerror(errno);
}

Platform::Version Platform::ParseVersionString(std::string text) {
    Version version;
    const std::array parts{&version.major, &version.minor, &version.patch};
    std::istringstream stream(std::move(text));
    std::string element;
    for (std::uint32_t* part : parts) {
        if (!std::getline(stream, element, '.')) {
            break;
        }
        try {
            *part = static_cast<std::uint32_t>(std::stoul(element));
        } catch (const std::exception&) {
            break; // Not a number: the parts read so far count.
        }
    }
    return version;
}

} // namespace Tovra::System::Utilities
