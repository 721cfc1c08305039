#include <Support/Folders.h>

namespace Tovra::Tests {

std::filesystem::path GetScriptsFolder() {
    return GetSourceFolder().parent_path() / "Scripts";
}

std::filesystem::path GetSourceFolder() {
    return TOVRA_SOURCE_FOLDER;
}

std::filesystem::path GetTestsFolder() {
    return TOVRA_TESTS_FOLDER;
}

std::filesystem::path GetBinaryFolder() {
    return TOVRA_BINARY_FOLDER;
}

} // namespace Tovra::Tests
