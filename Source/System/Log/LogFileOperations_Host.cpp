#include <System/Log/LogFileOperations.h>

#include <unistd.h>

#include <iostream>

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

void WriteToStream(OutputStream stream, std::string_view text) {
    std::ostream& target = stream == OutputStream::Error ? std::cerr : std::cout;
    target.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
}

} // namespace Tovra::System::Log
