#pragma once

#include <filesystem>

namespace Tovra::Tests {

/// The project's folders, as the build knows them.
std::filesystem::path GetScriptsFolder(); ///< `Scripts/`
std::filesystem::path GetSourceFolder();  ///< `Source/`
std::filesystem::path GetTestsFolder();   ///< `Tests/`
std::filesystem::path GetBinaryFolder();  ///< Where the built programs are.

} // namespace Tovra::Tests
