#pragma once

#include <map>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// Suites that can't be found by the name of their file. In `FooTest.cpp` a suite without a fixture is called `Foo` or
/// ends in `DeathTest`, one with a fixture begins with `Foo` and ends in `Test`. No two files have one name, and a name
/// that fits several files belongs to the longest; so no two suites have one name either.
///
/// `files` are the texts of all files of `Tests/` by their paths. Each finding begins with path and line.
std::vector<std::string> FindSuiteViolations(const std::map<std::string, std::string>& files);

} // namespace Tovra::Tests
