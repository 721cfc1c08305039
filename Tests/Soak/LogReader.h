#pragma once

#include <Soak/Work.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::Tests::Soak {

/// Reads the log files of a working program while it runs, and removes them: an hour fills gigabytes.
class LogReader {
public:
    /// The folder of the log's files.
    explicit LogReader(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    /// Reads all files but the newest, which is still being written.
    void ReadFullFiles() { ReadFiles(1); }

    /// Reads all files that are left. The program must have ended.
    void ReadLastFile() { ReadFiles(0); }

    int GetFileCount() const { return m_fileCount; }
    std::int64_t GetByteCount() const { return m_byteCount; }

    /// How many lines of each thread there were, each in its place.
    const std::array<std::int64_t, threadCount>& GetCounts() const { return m_counts; }

    /// What was wrong with lines; empty if they were whole, each once and in order.
    const std::string& GetError() const { return m_error; }

private:
    void ReadFiles(std::size_t left);
    void ReadFile(const std::filesystem::path& path);
    void AddLine(std::string_view line);

    std::filesystem::path m_folder;
    std::array<std::int64_t, threadCount> m_counts{};
    std::string m_error;
    int m_fileCount = 0;
    std::int64_t m_byteCount = 0;
};

} // namespace Tovra::Tests::Soak
