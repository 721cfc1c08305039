#include <Structure/SourceRules.h>

#include <algorithm>
#include <array>
#include <optional>
#include <regex>
#include <sstream>
#include <string_view>

namespace Tovra::Tests {

namespace {

struct Layer {
    std::string_view prefix; ///< Of a path below `Source/`; the first that fits decides.
    int height;
};

/// An arrow may point to the same height or to a lower one. Files that stand elsewhere than their room come first.
constexpr std::array layers{
    Layer{"System/Error/ErrorHandler.cpp", 12},
    Layer{"System/Runtime/System.cpp", 5},
    Layer{"System/Threads/ThreadEntryPointCallback.", 4},
    Layer{"System/Error/Assertion.cpp", 2},
    Layer{"System/Error/Assertion.", 0},
    Layer{"System/Error/CallStack.", 0},
    Layer{"System/Types/", 1},
    Layer{"System/Error/", 2},
    Layer{"System/FileSystem/", 3},
    Layer{"System/Serialization/", 3},
    Layer{"System/Utilities/", 3},
    Layer{"System/Runtime/ApplicationAccess.", 4},
    Layer{"System/Runtime/Config.", 4},
    Layer{"System/Runtime/IConfig.", 4},
    Layer{"System/Runtime/ISystem.", 4},
    Layer{"System/Runtime/System.", 4},
    Layer{"System/Log/", 5},
    Layer{"System/Threads/", 5},
    Layer{"System/Environment/", 6},
    Layer{"System/X11/", 7},
    Layer{"System/RemoteDesktop/", 7},
    Layer{"System/Processes/", 8},
    Layer{"System/Device/", 9},
    Layer{"System/Desktop/", 10},
    Layer{"Graphics/", 11},
    Layer{"System/Runtime/", 12},
    Layer{"Fieldhost/Tools/", 13},
};

constexpr std::array<std::string_view, 3> linuxToolkits{"X11/", "GL/", "xcb/"};
constexpr std::array<std::string_view, 8> macToolkits{
    "AppKit/", "ApplicationServices/", "CoreFoundation/", "Cocoa/", "CoreGraphics/", "Foundation/", "OpenGL/", "objc/"};

enum class Host { None, Linux, MacOs };

Host GetHost(std::string_view path) {
    const std::string_view stem = path.substr(0, path.rfind('.'));
    return stem.ends_with("_Linux") ? Host::Linux : stem.ends_with("_MacOS") ? Host::MacOs : Host::None;
}

std::optional<int> GetHeight(std::string_view path) {
    const auto* const layer =
        std::ranges::find_if(layers, [&](const Layer& candidate) { return path.starts_with(candidate.prefix); });
    return layer == layers.end() ? std::nullopt : std::optional(layer->height);
}

bool BeginsWithAny(std::string_view include, const auto& prefixes) {
    return std::ranges::any_of(prefixes, [&](std::string_view prefix) { return include.starts_with(prefix); });
}

Host GetToolkitHost(std::string_view include) {
    return BeginsWithAny(include, linuxToolkits) ? Host::Linux
           : BeginsWithAny(include, macToolkits) ? Host::MacOs
                                                 : Host::None;
}

/// What is wrong with this include, or an empty text.
std::string JudgeInclude(std::string_view path, std::string_view include) {
    const std::optional<int> ownHeight = GetHeight(path);
    const std::optional<int> otherHeight = GetHeight(include);
    if (ownHeight && otherHeight && *otherHeight > *ownHeight) {
        return "points up";
    }
    if (include.starts_with("rapidjson/") && path.ends_with(".h")) {
        return "shows RapidJSON in a header";
    }
    const Host toolkitHost = GetToolkitHost(include);
    if (toolkitHost != Host::None && toolkitHost != GetHost(path)) {
        return "shows a toolkit outside the files of its host";
    }
    const Host headerHost = GetHost(include);
    if (headerHost != Host::None && headerHost != GetHost(path)) {
        return "takes a host's header outside the files of that host";
    }
    return {};
}

} // namespace

std::vector<std::string> FindViolations(const std::string& path, const std::string& text) {
    static const std::regex includePattern(R"(^\s*#\s*(?:include|import)\s*[<"]([^>"]+)[>"])");
    static const std::regex conditionPattern(R"(^\s*#\s*(?:el)?if.*\b(_WIN32|__APPLE__|__MACH__|__linux|__linux__|)"
                                             R"(__unix__|linux|TARGET_OS_\w+)\b)");
    std::vector<std::string> violations;
    const auto add = [&](int number, const std::string& what) {
        violations.push_back(path + ":" + std::to_string(number) + ": " + what);
    };
    if (!GetHeight(path)) {
        add(1, "stands in no known room");
    }

    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        // Few lines are directives, and the expressions are slow.
        if (line.find('#') == std::string::npos) {
            continue;
        }
        std::smatch match;
        if (std::regex_search(line, match, includePattern)) {
            if (const std::string fault = JudgeInclude(path, match.str(1)); !fault.empty()) {
                add(number, "<" + match.str(1) + "> " + fault);
            }
        } else if (GetHost(path) == Host::None && std::regex_search(line, match, conditionPattern)) {
            add(number, "asks for the platform by " + match.str(1));
        }
    }
    return violations;
}

} // namespace Tovra::Tests
