#include <System/FileSystem/Descriptor.h>
#include <System/FileSystem/FileOperations.h>
#include <System/FileSystem/ShortFile.h>

#include <fcntl.h>

#include <cerrno>
#include <cstdint>

namespace Tovra::System::FileSystem {

namespace {

/// Reads all of `bytes`, or all but the last, and returns the number of bytes; what can't be read is missing. Reads
/// nothing for a single byte.
std::size_t Read(int file, std::string& bytes) {
    std::size_t length = 0;
    while (length + 1 < bytes.size()) {
        const std::ptrdiff_t count = ReadFile(file, bytes.data() + length, bytes.size() - length);
        if (count > 0) {
            length += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return length;
}

} // namespace

std::optional<std::string> ReadShortFile(const std::filesystem::path& path, std::size_t limit) {
    const Descriptor file(OpenFile(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0));
    struct stat status{};
    if (GetStatus(file.Get(), status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uintmax_t>(status.st_size) > limit) {
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    // One byte more, to see whether the content is longer: a regular file is read short only at its end. An empty one
    // is not read: in /proc that may wait, or take the content away from another reader.
    std::string content(size + 1, '\0');
    if (Read(file.Get(), content) != size) {
        return std::nullopt;
    }
    content.pop_back();
    return content;
}

} // namespace Tovra::System::FileSystem
