#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace Tovra::Tests {

/// The tool that the tests of the built program run.
struct TestedTool {
    std::string program = "TovraFieldhostSetupTool";       ///< In the folder of binaries.
    std::map<std::string, std::string> environment = {};   ///< What it is given besides `HOME`.
    std::function<bool(std::string_view line)> isToolkits; ///< Whether a line of its standard error stream is not its
                                                           ///< own but its toolkit's; null if that writes none.
};

/// That of this host, unless a program of tests sets another one before its tests.
inline TestedTool testedTool;

/// A standard error stream without the lines of the toolkit.
inline std::string RemoveLinesOfToolkit(const std::string& errors) {
    std::string own;
    for (std::size_t begin = 0; begin < errors.size();) {
        const std::size_t end = errors.find('\n', begin);
        const std::string line = errors.substr(begin, end == std::string::npos ? end : end - begin + 1);
        if (!testedTool.isToolkits || !testedTool.isToolkits(line)) {
            own += line;
        }
        begin += line.size();
    }
    return own;
}

} // namespace Tovra::Tests
