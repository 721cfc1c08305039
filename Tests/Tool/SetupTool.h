#pragma once

#include <Support/Folders.h>
#include <Support/Program.h>
#include <Support/SetupToolOutputs.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestedTool.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// A copy of the built program under a unique name, as each start ends every other process of its name. `HOME` is a
/// temporary folder.
class SetupTool {
public:
    /// The copy is named after its temporary folder, with `suffix` appended.
    explicit SetupTool(const std::string& suffix = "", const std::string& program = testedTool.program)
        : m_path(m_folder.GetPath() / (m_folder.GetPath().filename().string() + suffix)) {
        std::filesystem::copy_file(GetBinaryFolder() / program, m_path);
    }

    const std::filesystem::path& GetPath() const { return m_path; }
    const std::filesystem::path& GetFolder() const { return m_folder.GetPath(); }

    /// The tool with these options.
    Program GetProgram(const std::vector<std::string>& options) const {
        Program program{.path = m_path, .arguments = options};
        program.environment.insert(testedTool.environment.begin(), testedTool.environment.end());
        program.environment["HOME"] = m_folder.GetPath();
        return program;
    }

    ProgramResult Run(const std::vector<std::string>& options) const { return Tests::Run(GetProgram(options)); }

    /// A shell script in new process and mount namespaces, in which it may mount below `/proc`. Its argument `$1` is
    /// the tool's path.
    Program GetIsolatedScript(const std::string& script, const std::vector<std::string>& arguments = {}) const {
        Program program = GetProgram({"sh", "-ec", script, "sh", m_path});
        program.path = GetScriptsFolder() / "isolated";
        program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
        return program;
    }

private:
    TemporaryFolder m_folder;
    std::filesystem::path m_path;
};

/// Matches a run that exited with this status and printed exactly this, and nothing of its own to the standard error
/// stream.
inline auto IsRun(const std::string& output, int status) {
    return ::testing::AllOf(
        ::testing::Field("timedOut", &ProgramResult::timedOut, false),
        ::testing::Field("signal", &ProgramResult::signal, 0),
        ::testing::Field("output", &ProgramResult::output, output),
        ::testing::Field("errors", &ProgramResult::errors, ::testing::ResultOf(RemoveLinesOfToolkit, "")),
        ::testing::Field("status", &ProgramResult::status, status));
}

inline auto IsHelp() {
    return IsRun(GetHelpOutput(), 0);
}

inline auto IsCatalogue() {
    return IsRun(GetCatalogueOutput(), 0);
}

inline auto IsWrongParameters() {
    return IsRun(GetWrongParametersOutput(), 255);
}

inline auto IsUnsupported(const std::string& key) {
    return IsRun(GetResultOutput("Platform Unsupported", -1, "\"" + key + "\": false"), 255);
}

} // namespace Tovra::Tests
