#pragma once

#include <filesystem>
#include <string_view>

namespace Tovra::Tests {

/// A new folder of a test's own, removed with all that is in it at the end of the object's life.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& GetPath() const { return m_path; }

    /// Writes a file of that name and gives its path. Throws if it can't.
    std::filesystem::path Write(std::string_view name, std::string_view text) const;

private:
    std::filesystem::path m_path;
};

} // namespace Tovra::Tests
