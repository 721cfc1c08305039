#include <Support/SystemOperations.h>

#include <crt_externs.h>
#include <fcntl.h>
#include <libproc.h>
#include <mach/mach.h>
#include <pthread.h>
#include <sys/event.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Tovra::Tests {

namespace {

void ThrowIf(bool failed, const char* what) {
    if (failed) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// Another thread that forks between the two calls passes the ends on to its child.
std::array<int, 2> WithoutInheritance(std::array<int, 2> ends) {
    for (const int end : ends) {
        ThrowIf(fcntl(end, F_SETFD, FD_CLOEXEC) != 0, "FD_CLOEXEC");
    }
    return ends;
}

} // namespace

std::array<int, 2> MakePipe() {
    std::array<int, 2> ends{};
    ThrowIf(pipe(ends.data()) != 0, "pipe");
    return WithoutInheritance(ends);
}

std::array<int, 2> MakeSmallPipe() {
    // Pipes take up to 64 KiB here, whatever one says.
    constexpr int size = 4096;
    std::array<int, 2> ends{};
    ThrowIf(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0, "socketpair");
    ThrowIf(setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof size) != 0, "SO_SNDBUF");
    return WithoutInheritance(ends);
}

ThreadID GetCurrentThread() {
    return pthread_mach_thread_np(pthread_self());
}

bool IsThreadBlocked(ThreadID thread) {
    thread_basic_info_data_t information{};
    mach_msg_type_number_t count = THREAD_BASIC_INFO_COUNT;
    return thread_info(static_cast<thread_inspect_t>(thread), THREAD_BASIC_INFO,
                       reinterpret_cast<thread_info_t>(&information), &count) == KERN_SUCCESS &&
           information.run_state == TH_STATE_WAITING;
}

bool IsProcessBlocked(pid_t process) {
    proc_taskinfo information{};
    return proc_pidinfo(process, PROC_PIDTASKINFO, 0, &information, sizeof information) == sizeof information &&
           information.pti_numrunning == 0;
}

std::int64_t GetLargestMemory(const rusage& usage) {
    return usage.ru_maxrss / 1024;
}

int OpenProcess(pid_t process) {
    const int queue = kqueue();
    struct kevent event{};
    EV_SET(&event, process, EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    kevent(queue, &event, 1, nullptr, 0, nullptr);
    return queue;
}

void EndWithParent() {}

void CloseOnExecutionFrom(int descriptor) {
    for (const int end = getdtablesize(); descriptor < end; ++descriptor) {
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
}

void Execute(const char* path, char* const* arguments, char* const* environment) {
    // execvp looks the program up in the environment that it passes on.
    *_NSGetEnviron() = const_cast<char**>(environment);
    execvp(path, arguments);
}

} // namespace Tovra::Tests
