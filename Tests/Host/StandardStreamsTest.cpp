#include <Fieldhost/Tools/StandardStreams.h>
#include <Support/InChild.h>
#include <Support/ReplacedPoll.h>
#include <Support/SystemOperations.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

/// What `write` does instead, if it is set.
std::function<ssize_t(int, const void*, std::size_t)> s_write;

/// The commands of the calls of `fcntl`, if it is set.
std::vector<int>* s_descriptorCommands = nullptr;

} // namespace

// The linker (--wrap) redirects calls of `write` to the second of two functions, and calls of the first to `write`.
extern "C" {
ssize_t __real_write(int descriptor, const void* data, std::size_t size);

ssize_t __wrap_write(int descriptor, const void* data, std::size_t size) {
    return s_write ? s_write(descriptor, data, size) : __real_write(descriptor, data, size);
}

int __real_fcntl(int descriptor, int command, ...);

int __wrap_fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (s_descriptorCommands != nullptr) {
        s_descriptorCommands->push_back(command);
    }
    return __real_fcntl(descriptor, command, argument);
}
}

namespace Tovra::Tests {

namespace {

using namespace std::chrono_literals;

using Fieldhost::Tools::SecureStandardStreams;
using Fieldhost::Tools::WriteToStandardOutput;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::array standardDescriptors{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};

std::set<int> GetOpenDescriptors() {
    std::set<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.insert(std::stoi(entry.path().filename()));
    }
    // Among them is that of the iteration, which is closed by now.
    std::erase_if(descriptors, [](int descriptor) { return fcntl(descriptor, F_GETFD) < 0; });
    return descriptors;
}

/// Which file a descriptor has, and in which mode.
std::string Describe(int descriptor) {
    struct stat status{};
    struct stat null{};
    if (fstat(descriptor, &status) != 0 || stat("/dev/null", &null) != 0) {
        return "closed";
    }
    const std::string mode = (fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR ? ", both ways" : "";
    return (S_ISCHR(status.st_mode) && status.st_rdev == null.st_rdev ? "null"
                                                                      : "file " + std::to_string(status.st_ino)) +
           mode;
}

/// The commands of the calls of `fcntl` while the standard streams were secured.
std::vector<int> s_securingCommands;

/// Closes some of the standard descriptors, secures them, and calls `check` with what the three were before. It runs in
/// a child with three different pipes, and gets them back at its end, so that what it finds can be printed.
void CheckWithClosed(unsigned int closed, const std::function<void(const std::array<std::string, 3>& before)>& check) {
    const std::string errors = RunInChild([&] {
        std::array<int, 3> kept{};
        std::array<std::string, 3> before{};
        for (const int descriptor : standardDescriptors) {
            kept.at(static_cast<std::size_t>(descriptor)) = fcntl(descriptor, F_DUPFD, 100);
            dup2(MakePipe()[descriptor == STDIN_FILENO ? 0 : 1], descriptor);
            before.at(static_cast<std::size_t>(descriptor)) = Describe(descriptor);
        }
        for (int descriptor = STDERR_FILENO + 1; descriptor < 100; ++descriptor) {
            close(descriptor);
        }
        for (const int descriptor : standardDescriptors) {
            if ((closed >> static_cast<unsigned int>(descriptor) & 1U) != 0) {
                close(descriptor);
            }
        }
        s_descriptorCommands = &s_securingCommands;
        SecureStandardStreams();
        s_descriptorCommands = nullptr;
        check(before);
        for (const int descriptor : standardDescriptors) {
            dup2(kept.at(static_cast<std::size_t>(descriptor)), descriptor);
        }
    });
    EXPECT_THAT(errors, IsEmpty());
}

bool IsClosed(unsigned int closed, int descriptor) {
    return (closed >> static_cast<unsigned int>(descriptor) & 1U) != 0;
}

} // namespace

TEST(StandardStreams, BecomeTheNullDeviceWhereTheyAreClosedAndTheOutputIsReserved) {
    constexpr const char* null = "null, both ways";
    for (unsigned int closed = 0; closed < 8; ++closed) {
        SCOPED_TRACE(closed);
        CheckWithClosed(closed, [closed](const std::array<std::string, 3>& before) {
            EXPECT_EQ(Describe(STDIN_FILENO), IsClosed(closed, STDIN_FILENO) ? null : before[STDIN_FILENO]);
            EXPECT_EQ(Describe(STDERR_FILENO), IsClosed(closed, STDERR_FILENO) ? null : before[STDERR_FILENO]);
            EXPECT_EQ(Describe(STDOUT_FILENO), Describe(STDERR_FILENO));
            constexpr int reserved = STDERR_FILENO + 1;
            EXPECT_EQ(Describe(reserved), IsClosed(closed, STDOUT_FILENO) ? null : before[STDOUT_FILENO]);
            EXPECT_EQ(fcntl(reserved, F_GETFD), FD_CLOEXEC);
            std::set<int> descriptors = GetOpenDescriptors();
            std::erase_if(descriptors, [](int descriptor) { return descriptor >= 100; });
            EXPECT_THAT(descriptors, ElementsAre(STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, reserved));
        });
    }
}

TEST(StandardStreams, AreNotLookedAtOneByOneWhereAllAreOpen) {
    CheckWithClosed(0, [](const auto&) { EXPECT_THAT(s_securingCommands, ElementsAre(F_GETFD, F_DUPFD_CLOEXEC)); });
}

TEST(StandardStreams, LeaveABrokenPipeAndTheLimitOfAFileToTheirErrors) {
    CheckWithClosed(0, [](const auto&) {
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            EXPECT_EQ(std::signal(signal, SIG_DFL), SIG_IGN) << signal;
        }
    });
}

/// Lets `WriteToStandardOutput` write more than a pipe takes, in a child. As soon as it waits, its thread is given to
/// `act`; then the pipe is read.
void CheckWaiting(const std::function<void(pthread_t writer)>& act) {
    const std::string errors = RunInChild([&] {
        const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
        const auto [input, output] = MakePipe();
        dup2(output, STDOUT_FILENO);
        close(output);
        fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        const std::string text(1'000'000, 'x');
        std::string received;
        std::thread reader([&, writer = pthread_self(), id = GetCurrentThread()] {
            while (!IsThreadBlocked(id)) {
                std::this_thread::yield();
            }
            act(writer);
            std::array<char, 4096> buffer{};
            for (ssize_t count = 0; (count = read(input, buffer.data(), buffer.size())) > 0;) {
                received.append(buffer.data(), static_cast<std::size_t>(count));
            }
        });
        const bool isWritten = WriteToStandardOutput(text);
        dup2(kept, STDOUT_FILENO); // Nobody can write any more, so the reader ends.
        reader.join();
        EXPECT_TRUE(isWritten);
        EXPECT_EQ(received.size(), text.size());
    });
    EXPECT_THAT(errors, IsEmpty());
}

TEST(StandardStreams, WaitWhileTheOutputIsFull) {
    CheckWaiting([](pthread_t) { std::this_thread::sleep_for(20ms); });
}

TEST(StandardStreams, WaitOnWhereASignalInterruptsThat) {
    static std::atomic<bool> s_isHandled;
    CheckWaiting([](pthread_t writer) {
        struct sigaction action{};
        action.sa_handler = [](int) { s_isHandled = true; };
        sigaction(SIGUSR1, &action, nullptr);
        pthread_kill(writer, SIGUSR1);
        while (!s_isHandled) {
            std::this_thread::yield();
        }
    });
}

class StandardStreamsTest : public ::testing::Test {
protected:
    ~StandardStreamsTest() override { s_write = nullptr; }
};

TEST_F(StandardStreamsTest, GoesOnBehindAPartAndASignal) {
    std::string written;
    bool isInterrupted = true;
    s_write = [&](int, const void* data, std::size_t) -> ssize_t {
        isInterrupted = !isInterrupted;
        if (isInterrupted) {
            errno = EINTR;
            return -1;
        }
        written += *static_cast<const char*>(data);
        return 1;
    };
    EXPECT_TRUE(WriteToStandardOutput("text"));
    s_write = nullptr;
    EXPECT_EQ(written, "text");
}

TEST_F(StandardStreamsTest, EndsWhereThereIsNoWaiting) {
    int calls = 0;
    s_write = [&calls](int, const void*, std::size_t) -> ssize_t {
        errno = EAGAIN;
        return calls++ == 0 ? -1 : 4;
    };
    const ReplacedPoll poll([](pollfd* requests, nfds_t count, int timeout) {
        EXPECT_EQ(count, 1U);
        EXPECT_EQ(requests->events, POLLOUT);
        EXPECT_EQ(timeout, -1) << "It waits as long as it takes.";
        errno = ENOMEM;
        return -1;
    });
    EXPECT_FALSE(WriteToStandardOutput("text"));
    s_write = nullptr;
    EXPECT_EQ(calls, 1);
}

TEST_F(StandardStreamsTest, EndsWhereNothingIsTaken) {
    int calls = 0;
    s_write = [&calls](int, const void*, std::size_t) -> ssize_t {
        errno = EINTR;
        return calls++ == 0 ? 0 : 4;
    };
    EXPECT_FALSE(WriteToStandardOutput("text"));
    s_write = nullptr;
    EXPECT_EQ(calls, 1);
}

} // namespace Tovra::Tests
