#include <Fakes/LogFileOperations.h>
#include <System/Log/LogFileOperations.h>

#include <sys/stat.h>
#include <unistd.h>

#include <optional>

using Tovra::Tests::Fakes::Fault;
using Tovra::Tests::Fakes::logFileOperations;

namespace {

/// What the call is to give, or none if it is to be made. Each fault counts every call.
std::optional<std::ptrdiff_t> Fail(int descriptor, const void* bytes) {
    std::optional<std::ptrdiff_t> result;
    for (Fault<std::ptrdiff_t>* const fault : {&logFileOperations.writeFault, &logFileOperations.nextWriteFault}) {
        if (fault->Strikes()) {
            result =
                fault->result > 0 ? write(descriptor, bytes, static_cast<std::size_t>(fault->result)) : fault->result;
        }
    }
    return result;
}

} // namespace

namespace Tovra::System::Log {

int CloseFile(int descriptor) {
    if (logFileOperations.onClose) {
        logFileOperations.onClose();
    }
    const int result = close(descriptor);
    return logFileOperations.closeFault.Strikes() ? logFileOperations.closeFault.result : result;
}

std::ptrdiff_t WriteFile(int descriptor, const void* bytes, std::size_t size) {
    if (descriptor == STDOUT_FILENO) {
        logFileOperations.console.append(static_cast<const char*>(bytes), size);
        return static_cast<std::ptrdiff_t>(size);
    }
    const std::optional<std::ptrdiff_t> result = Fail(descriptor, bytes);
    return result ? *result : write(descriptor, bytes, size);
}

std::ptrdiff_t ReadFile(int descriptor, void* bytes, std::size_t size, std::int64_t offset) {
    return logFileOperations.readFault.Strikes() ? logFileOperations.readFault.result
                                                 : pread(descriptor, bytes, size, offset);
}

std::int64_t GetFileSize(const char* path) {
    if (logFileOperations.onSizeQuery) {
        logFileOperations.onSizeQuery();
    }
    struct stat status{};
    return stat(path, &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

std::int64_t GetFileSize(int descriptor) {
    return lseek(descriptor, 0, SEEK_END);
}

int TruncateFile(int descriptor, std::int64_t size) {
    if (logFileOperations.onTruncate) {
        logFileOperations.onTruncate();
    }
    return logFileOperations.truncateFault.Strikes() ? logFileOperations.truncateFault.result
                                                     : ftruncate(descriptor, size);
}

void WriteToStream(OutputStream, std::string_view text) {
    logFileOperations.console += text;
    if (logFileOperations.onConsole) {
        logFileOperations.onConsole();
    }
}

} // namespace Tovra::System::Log
