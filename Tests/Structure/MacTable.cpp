#include <Structure/MacTable.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

namespace Tovra::Tests {

std::vector<std::string> FindMacTableViolations(const std::vector<std::string>& paths, const std::string& document) {
    static const std::regex filePattern(R"(.*_MacOS\.[a-z]+)");
    static const std::regex rowPattern(R"(^\| `([^`]+_MacOS\.[a-z]+)` \|.*)");
    static const std::regex cellsPattern(R"(^\|( [^ |][^|]*\|){3}$)");
    std::vector<std::string> violations;
    std::map<std::string, int> rowCounts;
    std::istringstream lines(document);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (!std::regex_match(line, match, rowPattern)) {
            continue;
        }
        const std::string path = match.str(1);
        ++rowCounts[path];
        if (std::ranges::find(paths, path) == paths.end()) {
            violations.push_back(path + " has a row, but is not there");
        }
        if (!std::regex_match(line, cellsPattern)) {
            violations.push_back(path + " has not three cells with a text in each");
        }
    }
    for (const std::string& path : paths) {
        if (std::regex_match(path, filePattern) && rowCounts[path] != 1) {
            violations.push_back(path + (rowCounts[path] == 0 ? " has no row" : " has several rows"));
        }
    }
    return violations;
}

} // namespace Tovra::Tests
