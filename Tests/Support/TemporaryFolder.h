#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Tovra::Tests {

/// A new temporary folder; the destructor removes it with its content.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& GetPath() const { return m_path; }

    /// Writes a file and returns its path. Throws on an error.
    std::filesystem::path Write(std::string_view name, std::string_view text) const;

    /// The content of a file; empty if it can't be read.
    std::string Read(std::string_view name) const;

private:
    std::filesystem::path m_path;
};

} // namespace Tovra::Tests
