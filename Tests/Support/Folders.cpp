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

std::filesystem::path CopyForPreload(const std::string& library, const std::filesystem::path& folder) {
    std::filesystem::path copy = folder / library;
    std::filesystem::copy_file(GetBinaryFolder() / library, copy, std::filesystem::copy_options::skip_existing);
    return copy;
}

} // namespace Tovra::Tests
