#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <ios>
#include <string_view>

namespace Tovra::System::Log {

/// A log file. The interface is that of `std::ofstream`, but each line is written whole, in one write at the end of the
/// file, even while other threads or processes write to it. The descriptor is not inherited by other programs.
///
/// `write` and the const functions may be called by many threads at a time; everything else needs exclusive access.
class LogFile {
public:
    LogFile() = default;

    /// Closes the file.
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Opens the file and creates it if it is missing; `app | out` keeps its content, `out` with or without `ate`
    /// empties it. Clears the fail bit, or sets it if the file can't be opened, `FileSystem::OpenPrivateFile` refuses
    /// it, or one is open already.
    void open(const std::filesystem::path& path, std::ios_base::openmode mode);

    /// Whether a file is open.
    bool is_open() const { return m_descriptor >= 0; }

    /// Closes the file. Sets the fail bit if that fails or no file is open; none is open afterwards in either case.
    void close();

    /// Whether something failed since the file was opened; `write` does nothing then.
    bool fail() const { return m_hasFailed.load(std::memory_order_relaxed); }

    /// Writes a line or several, which must end in a line end, and sets the fail bit if that fails. Returns 0, or the
    /// number of bytes of the line's beginning that are in the file without the rest: see `remove_torn_line`.
    std::size_t write(std::string_view line);

    /// Removes the beginning of a line that a failed `write` left, if it still is the end of the file. `path` is the
    /// file's path.
    void remove_torn_line(const std::filesystem::path& path, std::string_view beginning);

private:
    void SetFailed() { m_hasFailed.store(true, std::memory_order_relaxed); }

    int m_descriptor = -1;
    std::atomic<bool> m_hasFailed = false;
};

} // namespace Tovra::System::Log
