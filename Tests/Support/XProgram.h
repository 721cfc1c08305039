#pragma once

#include <Support/Program.h>

#include <string>
#include <vector>

namespace Tovra::Tests {

/// A program on the display of this process, in the default environment.
Program MakeXProgram(const std::string& path, const std::vector<std::string>& arguments);

/// Runs a program on the display of this process, expects exit status 0, and returns its output.
std::string RunXProgram(const std::string& path, const std::vector<std::string>& arguments);

} // namespace Tovra::Tests
