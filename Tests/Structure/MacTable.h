#pragma once

#include <string>
#include <vector>

namespace Tovra::Tests {

/// What is wrong with a document's table of the files of the macOS host, whose rows begin with a file's path in
/// backquotes: a file of `paths` whose name ends in `_MacOS` and that has no row or several, a row of a file that is
/// not among them, a row with other than three cells or with an empty one. `paths` are relative to the project's
/// folder, as those in the table are. Each finding begins with the file's path.
std::vector<std::string> FindMacTableViolations(const std::vector<std::string>& paths, const std::string& document);

} // namespace Tovra::Tests
