#include <Structure/TestRules.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string_view>

namespace Tovra::Tests {

namespace {

/// Test files by the beginning of their suites' names: `Foo` for `A/FooTest.cpp`.
using PathsByName = std::map<std::string, std::string>;

/// The beginning of the names of a file's suites; empty if it is not a test file.
std::string GetSuiteName(const std::string& path) {
    constexpr std::string_view ending = "Test.cpp";
    const std::string name = std::filesystem::path(path).filename();
    return name.ends_with(ending) ? name.substr(0, name.size() - ending.size()) : std::string();
}

/// The file of a suite: that with the longest name that the suite begins with. Empty if there is none.
std::string FindPath(const PathsByName& paths, std::string_view suite) {
    std::string name;
    for (const auto& [candidate, path] : paths) {
        if (suite.starts_with(candidate) && candidate.size() > name.size()) {
            name = candidate;
        }
    }
    return name.empty() ? std::string() : paths.at(name);
}

/// Whether a suite has a name that a suite of the file `name` with this macro may have.
bool HasForm(std::string_view suite, std::string_view name, std::string_view macro) {
    if (!suite.starts_with(name)) {
        return false;
    }
    const std::string_view rest = suite.substr(name.size());
    if (macro == "TEST") {
        return rest.empty() || rest.ends_with("DeathTest");
    }
    // A new word begins there; otherwise `Foos` would count as `Foo`.
    return rest.ends_with("Test") && rest.front() >= 'A' && rest.front() <= 'Z';
}

} // namespace

std::vector<std::string> FindSuiteViolations(const std::map<std::string, std::string>& files) {
    static const std::regex testPattern(R"(^\s*((?:TYPED_)?TEST(?:_[FP])?)\s*\(\s*(\w+))");
    std::vector<std::string> violations;
    PathsByName paths;
    for (const auto& [path, text] : files) {
        const std::string name = GetSuiteName(path);
        if (!name.empty() && !paths.emplace(name, path).second) {
            violations.push_back(path + ":1: has the name of " + paths.at(name));
        }
    }
    for (const auto& [path, text] : files) {
        const std::string name = GetSuiteName(path);
        std::istringstream lines(text);
        std::string line;
        for (int number = 1; std::getline(lines, line); ++number) {
            // Most lines are no tests, and the expression is slow.
            if (line.find("TEST") == std::string::npos) {
                continue;
            }
            if (std::string next; line.ends_with('(') && std::getline(lines, next)) {
                line += next;
                ++number;
            }
            std::smatch match;
            if (!std::regex_search(line, match, testPattern)) {
                continue;
            }
            const std::string suite = match.str(2);
            const std::string place = path + ":" + std::to_string(number) + ": ";
            if (name.empty()) {
                violations.push_back(place + "has tests, but its name doesn't end in Test.cpp");
            } else if (!HasForm(suite, name, match.str(1))) {
                violations.push_back(place + match.str(1) + "(" + suite + ") doesn't bear the file's name");
            } else if (const std::string other = FindPath(paths, suite); other != path) {
                violations.push_back(place + suite + " would be looked for in " + other);
            }
        }
    }
    return violations;
}

} // namespace Tovra::Tests
