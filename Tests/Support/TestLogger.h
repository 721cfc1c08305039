#pragma once

#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <System/Log/ContextRegistry.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// An application whose logger writes to a temporary folder. The destructor restores all log contexts.
class TestLogger {
public:
    TestLogger() {
        m_application.m_logSystem = {new System::Log::Logger, [](System::Log::Logger* logger) { delete logger; }};
        m_config.SetDefaults();
        m_config.m_directory = m_folder.GetPath().wstring();
        m_config.m_filePrefix = L"Test";
    }
    ~TestLogger() {
        System::Log::ContextRegistry::ForEachContext(
            [](System::Log::Context& context) { context.severity = System::Log::MessageType::ID::Info; });
    }
    TestLogger(const TestLogger&) = delete;
    TestLogger& operator=(const TestLogger&) = delete;

    System::Log::Logger& GetLogger() { return *m_application.m_logSystem; }
    const std::filesystem::path& GetFolder() const { return m_folder.GetPath(); }
    bool Initialize() { return GetLogger().Initialize(&m_config); }

    /// The names of all files of the folder, in alphabetical order.
    std::vector<std::string> GetFileNames() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(GetFolder())) {
            names.push_back(entry.path().filename());
        }
        std::ranges::sort(names);
        return names;
    }

    /// The content of a file of the folder.
    std::string Read(const std::string& name) const {
        std::ifstream file(GetFolder() / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The content of all files of the folder, in alphabetical order.
    std::string ReadAll() const {
        std::string text;
        for (const std::string& name : GetFileNames()) {
            text += Read(name);
        }
        return text;
    }

    TestApplication m_application;
    System::Log::LoggerConfig m_config;

private:
    TemporaryFolder m_folder;
};

/// Regular expression for the part of a log line before stream and type.
inline const std::string lineTime = "\\[[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{7}Z \\| ";

/// Matches the lines of a log, each given without its time: "System] Info: Thread started.".
inline auto AreLogLines(const std::vector<std::string>& lines) {
    std::string expression;
    for (const std::string& line : lines) {
        expression += lineTime;
        for (const char character : line) {
            if (std::string_view("\\^$.[]|()*+?{}").find(character) != std::string_view::npos) {
                expression += '\\';
            }
            expression += character;
        }
        expression += '\n';
    }
    return ::testing::MatchesRegex(expression);
}

} // namespace Tovra::Tests
