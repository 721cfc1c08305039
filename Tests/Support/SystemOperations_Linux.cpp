#include <Support/SystemOperations.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>
#include <system_error>

namespace Tovra::Tests {

namespace {

/// Whether a file of procfs calls a thread sleeping.
bool IsSleeping(const std::string& path) {
    std::ifstream file(path);
    std::string status;
    std::getline(file, status);
    return status.find(") S ") != std::string::npos;
}

} // namespace

std::array<int, 2> MakePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return ends;
}

std::array<int, 2> MakeSmallPipe() {
    const std::array<int, 2> ends = MakePipe();
    if (fcntl(ends[1], F_SETPIPE_SZ, 4096) < 0) {
        throw std::system_error(errno, std::generic_category(), "F_SETPIPE_SZ");
    }
    return ends;
}

ThreadID GetCurrentThread() {
    return static_cast<ThreadID>(gettid());
}

bool IsThreadBlocked(ThreadID thread) {
    return IsSleeping("/proc/self/task/" + std::to_string(thread) + "/stat");
}

bool IsProcessBlocked(pid_t process) {
    return IsSleeping("/proc/" + std::to_string(process) + "/stat");
}

std::int64_t GetLargestMemory(const rusage& usage) {
    return usage.ru_maxrss;
}

int OpenProcess(pid_t process) {
    // By `syscall`, since this C library declares the function without C linkage.
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

void EndWithParent() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

void CloseOnExecutionFrom(int descriptor) {
    close_range(static_cast<unsigned>(descriptor), ~0U, CLOSE_RANGE_CLOEXEC);
}

void Execute(const char* path, char* const* arguments, char* const* environment) {
    execvpe(path, arguments, environment);
}

} // namespace Tovra::Tests
