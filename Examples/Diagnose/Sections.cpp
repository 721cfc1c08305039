#include "Sections.h"

#include "DiagnosisOperations.h"
#include "Variables.h"

#include <Fieldhost/Tools/OpenGlTrial.h>
#include <Graphics/OpenGl/GLContext.h>
#include <System/Device/Display/DisplayOperations.h>
#include <System/Environment/DirectoryCache.h>
#include <System/FileSystem/ProgramFolders.h>
#include <System/Processes/ChildOperations.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Utilities/Utf8.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <format>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace Tovra::Fieldhost::Diagnose {

namespace Display = System::Device::Display;
namespace Processes = System::Processes;
using Graphics::OpenGl::GLContext;

namespace {

Json::Object DescribeFile(const std::string& path, const FileFacts& facts) {
    return {{"path", path},
            {"exists", facts.exists},
            {"isFolder", facts.isFolder},
            {"isReadable", facts.isReadable},
            {"isWritable", facts.isWritable},
            {"mode", facts.exists ? Json(std::format("{:04o}", facts.mode)) : Json()},
            {"owner", facts.exists ? Json(facts.owner) : Json()},
            {"freeBytes", facts.freeBytes}};
}

/// Whether a folder that does not exist can be made, with those above it.
bool CanBeMade(const std::filesystem::path& folder) {
    std::filesystem::path existing = folder;
    while (existing.has_relative_path() && !GetFileFacts(existing.string()).exists) {
        existing = existing.parent_path();
    }
    const FileFacts facts = GetFileFacts(existing.empty() ? "." : existing.string());
    return facts.isFolder && facts.isWritable && facts.isExecutable;
}

Json::Array ListDisplays() {
    std::array<Display::PlatformDisplayID, Display::mostDisplays> ids{};
    std::uint32_t count = 0;
    const Display::HeldDisplayQuery query = Display::BeginDisplayQuery();
    Json::Array displays;
    if (Display::GetActiveDisplayList(query.get(), ids, count) != 0) {
        return displays;
    }
    const Display::PlatformDisplayID main = Display::GetMainDisplay(query.get());
    for (std::size_t index = 0; index < std::min<std::size_t>(count, ids.size()); ++index) {
        const Display::PlatformDisplayID id = ids[index];
        const Display::DisplayOrigin origin = Display::GetDisplayOrigin(query.get(), id);
        displays.emplace_back(
            Json::Object{{"id", std::int64_t{id}},
                         {"x", static_cast<std::int64_t>(origin.x)},
                         {"y", static_cast<std::int64_t>(origin.y)},
                         {"width", static_cast<std::int64_t>(Display::GetWidthInPoints(query.get(), id))},
                         {"height", static_cast<std::int64_t>(Display::GetHeightInPoints(query.get(), id))},
                         {"refreshRate", static_cast<std::int64_t>(Display::GetCurrentRefreshRate(query.get(), id))},
                         {"isMain", id == main}});
    }
    return displays;
}

/// A text of the context's driver (glGetString).
Json GetDriverText(const GLContext& context, unsigned int name) {
    const auto getString = context.FindEntryPoint<const char* (*)(unsigned int)>("glGetString");
    const char* const text = getString == nullptr ? nullptr : getString(name);
    return text == nullptr ? Json() : Json(text);
}

const char* GetName(Tools::OpenGlOutcome outcome) {
    switch (outcome) {
    case Tools::OpenGlOutcome::Success:
        return "Success";
    case Tools::OpenGlOutcome::NoWindow:
        return "NoWindow";
    case Tools::OpenGlOutcome::NoContext:
        return "NoContext";
    }
    return "";
}

Json ComposeOutcome(const char* outcome) {
    return Json::Object{{"outcome", outcome}};
}

/// Runs a part and ends the process with the status that `end` returns if that takes longer than `patience`, with an
/// outcome sent before if the part has sent nothing.
void DescribeInTime(const Description& describe, std::chrono::milliseconds patience, const SectionReceiver& send,
                    const std::function<int()>& end) {
    std::mutex mutex;
    std::condition_variable hasEnded;
    bool isSent = false;
    bool isOver = false;
    const auto wait = [&] {
        std::unique_lock lock(mutex);
        if (hasEnded.wait_for(lock, patience, [&isOver] { return isOver; })) {
            return;
        }
        if (!isSent) {
            send(ComposeOutcome("TimedOut"));
        }
        std::_Exit(end());
    };
    std::thread thread;
    try {
        thread = std::thread(wait);
    } catch (const std::system_error&) {
        // At the limit of threads the child ends a little later.
    }
    describe([&](const Json& section) {
        const std::scoped_lock lock(mutex);
        isSent = true;
        send(section);
    });
    {
        const std::scoped_lock lock(mutex);
        isOver = true;
    }
    hasEnded.notify_one();
    if (thread.joinable()) {
        thread.join();
    }
}

} // namespace

Json DescribeProgram() {
    return Json::Object{{"name", "TovraFieldhostDiagnose"}, {"version", TOVRA_VERSION}};
}

Json DescribeSystem() {
    const SystemNames names = GetSystemNames();
    return Json::Object{
        {"name", names.system}, {"release", names.release}, {"machine", names.machine}, {"user", GetUser()}};
}

Json DescribeLibraries() {
    Json::Array libraries;
    for (const LibraryFacts& library : LookForLibraries()) {
        libraries.emplace_back(
            Json::Object{{"name", library.name}, {"use", library.use}, {"isFound", library.isFound}});
    }
    return Json::Object{{"libraries", libraries}};
}

Json DescribeDesktop() {
    const ServerFacts facts = DescribeServer();
    return Json::Object{{"outcome", facts.isConnected ? "Connected" : "Lost"},
                        {"server", facts.server},
                        {"windowManager", facts.windowManager},
                        {"displays", facts.isConnected ? ListDisplays() : Json::Array()},
                        {"extensions", facts.extensions},
                        {"isXwayland", facts.isXwayland}};
}

void DescribeOpenGl(const SectionReceiver& send) {
    Tools::TryOpenGl(nullptr, "Diagnose", [&send](Tools::OpenGlOutcome outcome, const GLContext& context) {
        Json::Object section{{"outcome", GetName(outcome)}};
        if (!context.GetVersion().empty()) {
            constexpr unsigned int vendor = 0x1F00;
            constexpr unsigned int renderer = 0x1F01;
            section.emplace_back("version", context.GetVersion());
            section.emplace_back("vendor", GetDriverText(context, vendor));
            section.emplace_back("renderer", GetDriverText(context, renderer));
        }
        send(section);
    });
}

Json DescribeWayland(const Json& desktop) {
    const auto& extensions = desktop["extensions"].GetElements();
    const bool hasExtension = std::ranges::any_of(extensions, [](const Json& extension) {
        return extension["name"] == Json("XWAYLAND") && extension["isPresent"] == Json(true);
    });
    const bool isBehindServer = hasExtension || desktop["isXwayland"] == Json(true);
    return Json::Object{{"display", GetVariable("WAYLAND_DISPLAY")},
                        {"sessionType", GetVariable("XDG_SESSION_TYPE")},
                        {"isBehindServer", desktop["outcome"] == Json("Connected") ? Json(isBehindServer) : Json()}};
}

Json DescribePermissions() {
    Json::Array permissions;
    for (const PermissionFacts& permission : ListPermissions()) {
        permissions.emplace_back(
            Json::Object{{"name", permission.name}, {"use", permission.use}, {"isGranted", permission.isGranted}});
    }
    return permissions;
}

Json DescribeTool(const std::string& folder) {
    const std::string path = (std::filesystem::path(folder) / toolName).string();
    const FileFacts facts = GetFileFacts(path);
    return Json::Object{
        {"path", path}, {"exists", facts.isRegularFile}, {"isExecutable", facts.isRegularFile && facts.isExecutable}};
}

Json DescribeNamesakes() {
    Json::Array namesakes;
    const auto add = [&namesakes](const Processes::Process& process) {
        const auto id = static_cast<std::int32_t>(process.GetId());
        std::array<char, 4096> path{};
        const bool isPathKnown = Processes::GetProcessPath(id, path.data(), std::uint32_t{path.size()}) > 0;
        constexpr int noSignal = 0; // Only asks whether one could be sent.
        namesakes.emplace_back(Json::Object{{"id", std::int64_t{id}},
                                            {"path", isPathKnown ? Json(path.data()) : Json()},
                                            {"isEndable", Processes::SendSignal(id, noSignal) == 0}});
    };
    Processes::Process::ForEachProcess(add, toolName);
    return namesakes;
}

Json DescribeSchema(const std::string& folder) {
    const std::string path = System::FileSystem::GetSchemaFile(folder).string();
    const FileFacts facts = GetFileFacts(path);
    Json compiles;
    try {
        System::Environment::DirectoryCache::Initialize();
        System::Runtime::ApplicationConfigCache cache;
        cache.Initialize(nullptr);
        compiles = cache.CanValidate();
    } catch (const std::exception&) {
        // The home folder's name is not UTF-8; the tool does not get to its schema either.
    }
    return Json::Object{{"path", path},
                        {"exists", facts.exists},
                        {"isReadable", facts.isRegularFile && facts.isReadable},
                        {"compiles", compiles}};
}

Json DescribeFolders() {
    const auto home = GetVariable("HOME");
    if (!home) {
        return Json::Object{{"home", nullptr}, {"logs", nullptr}, {"isHomeUtf8", nullptr}};
    }
    const std::filesystem::path logs = System::FileSystem::GetLogFolder(System::FileSystem::GetUserFolder(*home));
    const FileFacts logFacts = GetFileFacts(logs.string());
    Json::Object logFolder = DescribeFile(logs.string(), logFacts);
    logFolder.emplace_back("canBeMade", logFacts.exists ? Json() : Json(CanBeMade(logs)));
    return Json::Object{{"home", DescribeFile(*home, GetFileFacts(*home))},
                        {"logs", logFolder},
                        {"isHomeUtf8", System::Utilities::IsUtf8(*home)}};
}

void RunSection(const Description& describe, std::chrono::milliseconds patience, const SectionReceiver& receive,
                const std::function<int()>& end) {
    const std::int32_t parent = Processes::GetCurrentProcessId();
    const auto work = [&](const Processes::MessageReceiver& send) {
        DescribeInTime(
            describe, patience, [&send](const Json& section) { send(Write(section)); },
            [&end, parent] { return Processes::GetCurrentProcessId() == parent ? end() : EXIT_SUCCESS; });
    };
    const auto take = [&receive](std::string_view message) { receive(Parse(message).value_or(Json())); };
    constexpr std::chrono::seconds grace{3}; // For the thread to send its outcome.
    const auto start = std::chrono::steady_clock::now();
    if (!Processes::RunInChild(work, take, patience + grace)) {
        const bool isTooLate = std::chrono::steady_clock::now() - start >= patience + grace;
        receive(ComposeOutcome(isTooLate ? "TimedOut" : "Crashed"));
    }
}

std::optional<std::vector<std::string>> LookUpHostInTime(const std::string& name, std::chrono::milliseconds patience,
                                                         const std::function<int()>& end) {
    const auto describe = [&name](const auto& send) {
        Json::Array addresses;
        for (const std::string& address : LookUpHost(name)) {
            addresses.emplace_back(address);
        }
        send(Json::Object{{"addresses", addresses}});
    };
    Json section;
    RunSection(describe, patience, [&section](const Json& received) { section = received; }, end);
    if (section["outcome"] == Json("TimedOut")) {
        return std::nullopt;
    }
    std::vector<std::string> addresses;
    for (const Json& address : section["addresses"].GetElements()) {
        addresses.push_back(address.GetText());
    }
    return addresses;
}

} // namespace Tovra::Fieldhost::Diagnose
