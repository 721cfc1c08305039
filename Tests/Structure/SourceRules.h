#pragma once

#include <string>
#include <vector>

namespace Tovra::Tests {

/// What a file of `Source/` does against the rules of the house: an include that points to a room above its own, a
/// toolkit where it may not be seen, a platform's `#ifdef` outside the files of a platform.
///
/// `path` is relative to `Source/` and decides the file's room and host. Each finding begins with path and line.
std::vector<std::string> FindViolations(const std::string& path, const std::string& text);

} // namespace Tovra::Tests
