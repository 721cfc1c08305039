#pragma once

#include <filesystem>
#include <string>

namespace Tovra::Tests {

/// The project's folders, as the build knows them.
std::filesystem::path GetScriptsFolder(); ///< `Scripts/`
std::filesystem::path GetSourceFolder();  ///< `Source/`
std::filesystem::path GetTestsFolder();   ///< `Tests/`
std::filesystem::path GetBinaryFolder();  ///< Where the built programs are.

/// A built library for LD_PRELOAD: a copy in a folder, since the loader splits that at blanks, which the library's own
/// path may have. Returns the copy's path.
std::filesystem::path CopyForPreload(const std::string& library, const std::filesystem::path& folder);

} // namespace Tovra::Tests
