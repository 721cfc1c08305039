#include <Support/XProgram.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace Tovra::Tests {

Program MakeXProgram(const std::string& path, const std::vector<std::string>& arguments) {
    Program program{.path = path, .arguments = arguments};
    program.environment["DISPLAY"] = std::getenv("DISPLAY");
    return program;
}

std::string RunXProgram(const std::string& path, const std::vector<std::string>& arguments) {
    const ProgramResult result = Run(MakeXProgram(path, arguments));
    EXPECT_EQ(result.status, 0) << path << ": " << result.errors;
    return result.output;
}

} // namespace Tovra::Tests
