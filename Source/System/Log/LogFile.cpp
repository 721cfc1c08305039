#include <System/FileSystem/Descriptor.h>
#include <System/FileSystem/PrivateFile.h>
#include <System/Log/LogFile.h>
#include <System/Log/LogFileOperations.h>

#include <fcntl.h>

#include <cerrno>
#include <string>

namespace Tovra::System::Log {

namespace {

/// Whether the file at `path`, of `size` bytes, ends in `text`. False if it is shorter, as nothing lies before its
/// beginning, or can't be read.
bool EndsWith(const std::filesystem::path& path, std::string_view text, std::int64_t size) {
    const FileSystem::Descriptor file(FileSystem::OpenPrivateFile(path, O_RDONLY));
    std::string end(text.size(), '\0');
    const std::ptrdiff_t count =
        ReadFile(file.Get(), end.data(), end.size(), size - static_cast<std::int64_t>(text.size()));
    return count == static_cast<std::ptrdiff_t>(text.size()) && end == text;
}

} // namespace

LogFile::~LogFile() {
    if (is_open()) {
        CloseFile(m_descriptor);
    }
}

void LogFile::open(const std::filesystem::path& path, std::ios_base::openmode mode) {
    if (is_open()) {
        SetFailed();
        return;
    }
    // Always append: two programs of one name write to the same file.
    m_descriptor = FileSystem::OpenPrivateFile(path, O_WRONLY | O_CREAT | O_APPEND);
    // Not with O_TRUNC, which would empty the file before it is known to be ours.
    if (is_open() && (mode & std::ios_base::app) == 0 && TruncateFile(m_descriptor, 0) != 0) {
        CloseFile(m_descriptor);
        m_descriptor = -1;
    }
    m_hasFailed = !is_open();
}

void LogFile::close() {
    if (!is_open() || CloseFile(m_descriptor) != 0) {
        SetFailed();
    }
    m_descriptor = -1;
}

std::size_t LogFile::write(std::string_view line) {
    if (fail()) {
        return 0;
    }
    std::size_t total = 0;
    while (total < line.size()) {
        const std::ptrdiff_t written = WriteFile(m_descriptor, line.data() + total, line.size() - total);
        if (written > 0) {
            total += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            SetFailed();
            return total;
        }
    }
    return 0;
}

void LogFile::remove_torn_line(const std::filesystem::path& path, std::string_view beginning) {
    const std::int64_t end = GetFileSize(m_descriptor);
    // Another writer may have found space again; what it wrote stays, but for what it writes between these two calls.
    if (EndsWith(path, beginning, end)) {
        TruncateFile(m_descriptor, end - static_cast<std::int64_t>(beginning.size()));
    }
}

} // namespace Tovra::System::Log
