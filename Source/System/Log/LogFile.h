#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <ios>
#include <string_view>

namespace Tovra::System::Log {

/// An open log file, with the interface of `std::ofstream` but for what that can't do: a line goes out whole, in one
/// write behind all that stands in the file, whoever else writes to it in this or another process. The descriptor is
/// not passed on to other programs.
///
/// `write` and `size` may be called by many threads at a time; everything else by one alone.
class LogFile {
public:
    LogFile() = default;

    /// Closes the file.
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// Opens and, where it is missing, makes the file; `app | out` leaves its content, `out` with or without `ate`
    /// empties it. Clears the fail bit, or sets it if the file can't be opened or another one is open.
    void open(const std::filesystem::path& path, std::ios_base::openmode mode);

    bool is_open() const { return m_descriptor >= 0; }

    /// Sets the fail bit if that fails or no file is open; the file is closed in any case.
    void close();

    /// Whether something failed since the file was opened; `write` does nothing then.
    bool fail() const { return m_hasFailed.load(std::memory_order_relaxed); }

    /// Writes a line, which must end in a line end, and sets the fail bit if that fails. The result is 0, or how much
    /// of the line's beginning stands in the file without the rest: see `remove_torn_line`.
    std::size_t write(std::string_view line);

    /// The size of the open file, or -1.
    std::int64_t size() const;

    /// Cuts off the beginning of a line that a failed `write` left, if it still is the file's end. `path` is the
    /// file's.
    void remove_torn_line(const std::filesystem::path& path, std::string_view beginning);

private:
    void SetFailed() { m_hasFailed.store(true, std::memory_order_relaxed); }

    std::size_t WriteRest(std::string_view line, std::ptrdiff_t written);

    int m_descriptor = -1;
    std::atomic<bool> m_hasFailed = false;
};

} // namespace Tovra::System::Log
