#pragma once

#include "SetupTool.h"

#include <Support/XServer.h>

#include <string>

namespace Tovra::Tests {

inline const std::string failedOutput = GetResultOutput("Failed", 1, "\"version\": false");
inline const std::string unsupportedOutput = GetResultOutput("Platform Unsupported", -1, "\"version\": \"\"");

inline std::string GetSuccessOutput(const std::string& version) {
    return GetResultOutput("Success", 0, "\"version\": \"" + version + "\"");
}

/// The rest of the line after the first occurrence of `label`.
inline std::string GetLineBehind(const std::string& text, const std::string& label) {
    const std::size_t found = text.find(label);
    if (found == std::string::npos) {
        return {};
    }
    const std::size_t begin = found + label.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

/// The driver's version for a core profile, as glxinfo prints it.
inline std::string GetCoreVersion(const XServer& server) {
    const ProgramResult result = Run({.path = "glxinfo", .arguments = {"-B"}, .environment = server.GetEnvironment()});
    EXPECT_EQ(result.status, 0) << result.errors;
    return GetLineBehind(result.output, "OpenGL core profile version string: ");
}

/// The tool's check of OpenGL on X servers.
class OpenGlCheckFixture : public ::testing::Test {
protected:
    /// The check on a display.
    Program GetProgram(const std::string& displayName) const {
        Program program = m_tool.GetProgram({"-cgl"});
        program.environment["DISPLAY"] = displayName;
        return program;
    }

    /// The check on a display whose server dies: the driver's calls are then left by a jump and leak memory, which is
    /// not ours.
    Program GetBreakingProgram(const std::string& displayName) const {
        Program program = GetProgram(displayName);
        program.environment["ASAN_OPTIONS"] = "detect_leaks=0";
        return program;
    }

    static void ExpectDocument(const ProgramResult& result, const std::string& output, int status) {
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.output, output);
        EXPECT_EQ(result.status, status) << "signal " << result.signal << '\n' << result.errors;
    }

    /// Expects one of the check's documents, with its status.
    static void ExpectSomeDocument(const ProgramResult& result) {
        EXPECT_FALSE(result.timedOut);
        EXPECT_EQ(result.signal, 0) << result.errors;
        if (result.status == 1) {
            EXPECT_EQ(result.output, failedOutput);
        } else {
            const std::string version = GetLineBehind(result.output, "\"version\": ");
            EXPECT_EQ(result.output, result.status == 0
                                         ? GetResultOutput("Success", 0, "\"version\": " + version)
                                         : GetResultOutput("Platform Unsupported", -1, "\"version\": " + version));
            EXPECT_THAT(result.status, ::testing::AnyOf(0, 255)) << result.errors;
        }
    }

    SetupTool m_tool;
};

} // namespace Tovra::Tests
