#include <System/Log/LogFileOperations.h>
#include <System/Log/OutputStreams.h>

#include <unistd.h>

namespace Tovra::System::Log {

int CloseFile(int descriptor) {
    return close(descriptor);
}

std::ptrdiff_t WriteFile(int descriptor, const void* bytes, std::size_t size) {
    return write(descriptor, bytes, size);
}

std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size, std::int64_t offset) {
    return pread(descriptor, bytes, size, offset);
}

std::int64_t GetFileSize(int descriptor) {
    return lseek(descriptor, 0, SEEK_END);
}

int TruncateFile(int descriptor, std::int64_t size) {
    return ftruncate(descriptor, size);
}

bool WriteToConsole(std::string_view text) {
    return WriteAndFlush(OutputStream::Output, text);
}

} // namespace Tovra::System::Log
