#include <Support/Child.h>
#include <Support/InChild.h>
#include <Support/ProcessNamespace.h>
#include <Support/ReplacedCalls.h>
#include <Support/TemporaryFolder.h>
#include <System/Processes/ChildOperations.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// Called once, before the next call of `prctl`.
std::function<void()> s_beforePrctl;

} // namespace

// The linker (--wrap) redirects calls of `prctl` to the second function, and calls of the first to `prctl`.
extern "C" {
int __real_prctl(int option, unsigned long, unsigned long, unsigned long, unsigned long);

int __wrap_prctl(int option, unsigned long second, unsigned long third, unsigned long fourth, unsigned long fifth) {
    if (s_beforePrctl) {
        std::exchange(s_beforePrctl, nullptr)();
    }
    return __real_prctl(option, second, third, fourth, fifth);
}
}

namespace Tovra::System::Processes {

namespace {

using namespace std::chrono_literals;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Tests::ReplacedCalls;

/// Runs `work` in a child. Returns the messages that came, and whether there was one, as `RunInChild` says.
std::pair<std::vector<std::string>, bool> Collect(const ChildWork& work, std::chrono::milliseconds limit = 1h) {
    std::vector<std::string> messages;
    const bool hasMessage = RunInChild(work, [&](std::string_view message) { messages.emplace_back(message); }, limit);
    return {messages, hasMessage};
}

std::array<int, 2> MakePipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    return ends;
}

ssize_t ReadFromSystem(int descriptor, void* data, std::size_t size) {
    return syscall(SYS_read, descriptor, data, size);
}

ssize_t WriteToSystem(int descriptor, const void* data, std::size_t size) {
    return syscall(SYS_write, descriptor, data, size);
}

int PollSystem(pollfd* requests, nfds_t count) {
    return ppoll(requests, count, nullptr, nullptr);
}

/// A function that does half of what `transfer` does, every other time: a signal interrupts the others.
auto InParts(auto transfer) {
    return [transfer, isInterrupted = false](int descriptor, auto* data, std::size_t size) mutable -> ssize_t {
        isInterrupted = !isInterrupted;
        if (isInterrupted) {
            errno = EINTR;
            return -1;
        }
        errno = 0;
        return transfer(descriptor, data, (size + 1) / 2);
    };
}

/// A function that does what `transfer` does, but for one call, from 1: that gives `result` and the error.
auto FailingAt(int call, ssize_t result, int error, auto transfer) {
    return [=, left = call](int descriptor, auto* data, std::size_t size) mutable -> ssize_t {
        if (--left == 0) {
            errno = error;
            return result;
        }
        return transfer(descriptor, data, size);
    };
}

/// How many descriptors this process has, with one for the asking.
std::ptrdiff_t CountDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

std::vector<int> GetBlockedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    pthread_sigmask(SIG_BLOCK, nullptr, &signals);
    std::vector<int> blocked;
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        if (sigismember(&signals, signal) == 1) {
            blocked.push_back(signal);
        }
    }
    return blocked;
}

} // namespace

TEST(ChildOperations, PassAMessageOfAnySizeToTheParent) {
    for (const std::string& text : {std::string(), std::string("a\0b", 3), std::string(1'000'000, 'x')}) {
        const auto [messages, hasMessage] = Collect([&text](const MessageReceiver& send) { send(text); });
        EXPECT_THAT(messages, ElementsAre(text));
        EXPECT_TRUE(hasMessage);
    }
}

TEST(ChildOperations, PassAMessageInPartsThatSignalsInterrupt) {
    ReplacedCalls calls;
    calls.read = InParts(ReadFromSystem);
    calls.write = InParts(WriteToSystem);
    calls.poll = [](pollfd* requests, nfds_t count, int) {
        PollSystem(&requests[1], 1); // The child has ended, so that each part could be read with what follows it.
        return PollSystem(requests, count);
    };
    const std::string text = "a text of different bytes";
    EXPECT_THAT(Collect([&text](const MessageReceiver& send) { send(text); }).first, ElementsAre(text));
}

TEST(ChildOperations, WaitForAMessageThroughASignal) {
    ReplacedCalls calls;
    bool isInterrupted = false;
    calls.poll = [&isInterrupted](pollfd* requests, nfds_t count, int timeout) {
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(timeout, -1) << "The child has a limit.";
        isInterrupted = !isInterrupted;
        errno = EINTR;
        return isInterrupted ? -1 : PollSystem(requests, count);
    };
    calls.read = [&isInterrupted](int descriptor, void* data, std::size_t size) {
        EXPECT_FALSE(isInterrupted) << "It would wait for the pipe, but not for the child.";
        return ReadFromSystem(descriptor, data, size);
    };
    const auto work = [](const MessageReceiver& send) {
        std::this_thread::sleep_for(50ms);
        send("done");
    };
    EXPECT_THAT(Collect(work).first, ElementsAre("done"));
}

TEST(ChildOperations, PassAMessageWhereThereIsNoWaiting) {
    ReplacedCalls calls;
    calls.poll = [](pollfd*, nfds_t, int) {
        errno = ENOMEM;
        return -1;
    };
    EXPECT_THAT(Collect([](const MessageReceiver& send) { send("done"); }).first, ElementsAre("done"));
}

/// Calls `expect` with each call that transfers a part of a message (its kind, its size and its bytes), from 1, and
/// with each result and error by which it may fail; a pipe never takes nothing without an error.
void ForEachFailure(const auto& expect) {
    for (const int call : {1, 2, 3}) {
        for (const auto& [result, error] : {std::pair(-1, EIO), {0, EINTR}}) {
            SCOPED_TRACE("call " + std::to_string(call) + " gives " + std::to_string(result));
            expect(call, result, error);
        }
    }
}

TEST(ChildOperations, EndWhereTheMessageCannotBeWritten) {
    ForEachFailure([](int call, int result, int error) {
        const std::array<int, 2> progress = MakePipe();
        const auto work = [&](const MessageReceiver& send) {
            ReplacedCalls calls;
            calls.write = FailingAt(call, result, error, WriteToSystem);
            send("done");
            WriteToSystem(progress[1], "x", 1);
        };
        EXPECT_THAT(Collect(work), Pair(IsEmpty(), false));
        close(progress[1]);
        char byte = 0;
        EXPECT_EQ(read(progress[0], &byte, 1), 0) << "The work has gone on.";
        close(progress[0]);
    });
}

TEST(ChildOperations, GiveNoMessageThatCannotBeRead) {
    ForEachFailure([](int call, int result, int error) {
        ReplacedCalls calls;
        calls.read = FailingAt(call, result, error, ReadFromSystem);
        const auto work = [](const MessageReceiver& send) {
            std::signal(SIGPIPE, SIG_IGN); // The pipe may be closed already.
            send("done");
        };
        EXPECT_THAT(Collect(work), Pair(IsEmpty(), false));
    });
}

TEST(ChildOperations, AreDoneInAnotherProcess) {
    const pid_t self = getpid();
    const auto [messages, hasMessage] = Collect([self](const MessageReceiver& send) {
        send(getppid() == self && gettid() == getpid() ? std::to_string(getpid()) : "0");
    });
    ASSERT_EQ(messages.size(), 1U);
    const pid_t child = std::stoi(messages[0]);
    EXPECT_GT(child, 0) << "It is no child.";
    // Other children may be what earlier tests have left to the first process.
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1) << "The child is left unwaited for.";
}

TEST(ChildOperations, WaitForTheChildsEndThroughSignals) {
    const auto run = [] {
        struct sigaction action{}; // Without SA_RESTART.
        action.sa_handler = [](int) {};
        ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
        const itimerval often{.it_interval = {.tv_sec = 0, .tv_usec = 5000},
                              .it_value = {.tv_sec = 0, .tv_usec = 5000}};
        ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
        const auto [messages, hasMessage] = Collect([](const MessageReceiver& send) {
            send("done");
            std::this_thread::sleep_for(300ms); // The parent waits meanwhile; the timer is not the child's.
        });
        const itimerval never{};
        ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
        EXPECT_THAT(messages, ElementsAre("done"));
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "The child is left unwaited for.";
    };
    EXPECT_IN_CHILD(run(), IsEmpty());
}

// As after `unshare --pid` without `--fork`: the child does not see its parent.
TEST(ChildOperations, AreDoneByTheFirstProcessOfANamespace) {
    // Without exit handlers: where the first process of the namespace is gone, nothing can be forked any more, which a
    // leak check would do.
    const std::string errors = Tests::RunInChild([] {
        Tests::EnterProcessNamespace();
        const auto [messages, hasMessage] =
            Collect([](const MessageReceiver& send) { send(getpid() == 1 && getppid() == 0 ? "first" : "other"); });
        EXPECT_THAT(messages, ElementsAre("first"));
    });
    EXPECT_THAT(errors, IsEmpty());
}

TEST(ChildOperations, PassTheMessageOnWhileTheChildIsRunning) {
    const std::array<int, 2> ends = MakePipe();
    const auto [input, output] = ends;
    const auto work = [&](const MessageReceiver& send) {
        send("now");
        char byte = 0;
        _exit(read(input, &byte, 1) == 1 ? 0 : 1); // Would wait forever for a parent that waits for its end.
    };
    EXPECT_TRUE(RunInChild(work, [output](std::string_view) { EXPECT_EQ(write(output, "x", 1), 1); }, 1h));
    close(input);
    close(output);
}

TEST(ChildOperations, OutliveAFaultAndAnExitOfTheChild) {
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) {
        const auto [messages, hasMessage] = Collect([signal](const MessageReceiver&) {
            std::signal(signal, SIG_DFL);
            raise(signal);
        });
        EXPECT_THAT(messages, IsEmpty());
        EXPECT_FALSE(hasMessage) << "signal " << signal;
    }
    for (const int status : {0, 1}) {
        EXPECT_FALSE(Collect([status](const MessageReceiver&) { _exit(status); }).second);
    }
    EXPECT_FALSE(Collect([](const MessageReceiver&) {}).second) << "It has returned without a message.";
}

TEST(ChildOperations, KeepAMessageWhateverFollowsIt) {
    for (const int signal : {SIGSEGV, SIGKILL}) {
        const auto [messages, hasMessage] = Collect([signal](const MessageReceiver& send) {
            send("done");
            std::signal(signal, SIG_DFL);
            raise(signal);
        });
        EXPECT_THAT(messages, ElementsAre("done"));
        EXPECT_TRUE(hasMessage);
    }
}

TEST(ChildOperations, EndWithTheChildThoughAProcessThatItForkedKeepsThePipeOpen) {
    const std::array<int, 2> life = MakePipe();
    const auto [messages, hasMessage] = Collect([&](const MessageReceiver&) {
        if (fork() == 0) {
            close(life[1]);
            char byte = 0;
            _exit(static_cast<int>(read(life[0], &byte, 1))); // Until the test closes the other end.
        }
        _exit(EXIT_SUCCESS);
    });
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_FALSE(hasMessage);
    close(life[0]);
    close(life[1]);
}

TEST(ChildOperations, EndWithThatChildWhereASignalInterruptsTheWaiting) {
    const std::string errors = Tests::RunInChild([] {
        struct sigaction action{};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        const std::array<int, 2> life = MakePipe();
        const auto result = Collect([&](const MessageReceiver&) {
            if (fork() == 0) {
                close(life[1]);
                char byte = 0;
                _exit(static_cast<int>(read(life[0], &byte, 1))); // Until the test ends.
            }
            std::this_thread::sleep_for(50ms); // By then the parent waits.
            kill(getppid(), SIGUSR1);
            _exit(EXIT_SUCCESS);
        });
        EXPECT_FALSE(result.second);
    });
    EXPECT_THAT(errors, IsEmpty());
}

TEST(ChildOperations, DoNotOutlastTheirLimit) {
    const auto start = std::chrono::steady_clock::now();
    const auto loop = [](const MessageReceiver&) {
        for (volatile bool isLooping = true; isLooping;) {
        }
    };
    EXPECT_FALSE(Collect(loop, 1200ms).second);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1200ms);
    const auto [messages, hasMessage] = Collect(
        [](const MessageReceiver& send) {
            send("done");
            while (true) {
                pause();
            }
        },
        200ms);
    EXPECT_THAT(messages, ElementsAre("done"));
    EXPECT_TRUE(hasMessage);
}

TEST(ChildOperations, DoNotOutlastTheirLimitWhereNoSignalMayBePending) {
    const std::string errors = Tests::RunInChild([] {
        constexpr rlimit none{};
        EXPECT_EQ(setrlimit(RLIMIT_SIGPENDING, &none), 0);
        sigset_t signals;
        sigfillset(&signals);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        for (const auto limit : {1200ms, 100ms}) {
            const auto start = std::chrono::steady_clock::now();
            EXPECT_FALSE(Collect([](const MessageReceiver&) { pause(); }, limit).second);
            EXPECT_GE(std::chrono::steady_clock::now() - start, limit);
        }
    });
    EXPECT_THAT(errors, IsEmpty());
}

// As after `unshare --pid` without `--fork`.
TEST(ChildOperations, DoNotOutlastTheirLimitAsTheFirstProcessOfANamespace) {
    const std::string errors = Tests::RunInChild([] {
        sigset_t signals;
        sigfillset(&signals);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        Tests::EnterProcessNamespace();
        EXPECT_FALSE(Collect([](const MessageReceiver&) { pause(); }, 100ms).second);
    });
    EXPECT_THAT(errors, IsEmpty());
}

// A driver may use both.
TEST(ChildOperations, LeaveTheAlarmToTheWork) {
    const auto [messages, hasMessage] = Collect([](const MessageReceiver& send) {
        struct sigaction action{};
        sigaction(SIGALRM, nullptr, &action);
        send(alarm(0) == 0 && action.sa_handler == SIG_DFL ? "free" : "taken");
    });
    EXPECT_THAT(messages, ElementsAre("free"));
}

TEST(ChildOperations, UnblockTheSignalOfTheirLimitAlone) {
    const std::string errors = Tests::RunInChild([] {
        sigset_t signals;
        sigfillset(&signals);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        std::vector<int> expected = GetBlockedSignals();
        std::erase(expected, SIGRTMAX);
        const auto work = [&expected](const MessageReceiver& send) {
            send(GetBlockedSignals() == expected ? "that alone" : "others");
        };
        EXPECT_THAT(Collect(work).first, ElementsAre("that alone"));
    });
    EXPECT_THAT(errors, IsEmpty());
}

TEST(ChildOperationsDeathTest, EndLikeAChildThatSomeoneKills) {
    // With the last two a child that has ended leaves no status to wait for.
    for (const auto& [handler, flags] : {std::pair(SIG_DFL, 0), {SIG_IGN, 0}, {SIG_DFL, SA_NOCLDWAIT}}) {
        for (const int signal : {SIGKILL, SIGHUP, SIGXCPU}) {
            const auto end = [handler, flags, signal] {
                struct sigaction action{};
                action.sa_handler = handler;
                action.sa_flags = flags;
                sigaction(SIGCHLD, &action, nullptr);
                RunInChild([signal](const MessageReceiver&) { raise(signal); }, [](std::string_view) {}, 1h);
            };
            EXPECT_EXIT(end(), ::testing::KilledBySignal(signal), "");
        }
    }
}

TEST(ChildOperationsDeathTest, EndLikeAChildByASignalThatTheParentIgnores) {
    const auto end = [](bool isBlocked) {
        std::signal(SIGHUP, SIG_IGN);
        const auto work = [](const MessageReceiver&) {
            std::signal(SIGHUP, SIG_DFL);
            sigset_t signals;
            sigemptyset(&signals);
            sigaddset(&signals, SIGHUP);
            pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
            raise(SIGHUP);
        };
        if (isBlocked) {
            sigset_t signals;
            sigfillset(&signals);
            pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        }
        RunInChild(work, [](std::string_view) {}, 1h);
    };
    EXPECT_EXIT(end(false), ::testing::KilledBySignal(SIGHUP), "");
    EXPECT_EXIT(end(true), ::testing::ExitedWithCode(EXIT_FAILURE), "") << "It can't be received.";
}

TEST(ChildOperationsDeathTest, EndInFailureIfSomeoneElseHasWaitedForTheChild) {
    const auto end = [] {
        pthread_atfork(nullptr, [] { waitpid(-1, nullptr, 0); }, nullptr);
        try {
            RunInChild([](const MessageReceiver&) { throw std::runtime_error("out of the work"); },
                       [](std::string_view) {}, 1h);
        } catch (const std::runtime_error&) {
            _exit(0);
        }
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(EXIT_FAILURE), "");
}

TEST(ChildOperationsDeathTest, EndLikeAChildThatAnExceptionEnds) {
    const auto end = [] {
        std::signal(SIGCHLD, SIG_IGN);
        try {
            RunInChild([](const MessageReceiver&) { throw std::runtime_error("out of the work"); },
                       [](std::string_view) {}, 1h);
        } catch (const std::runtime_error&) {
            _exit(17); // The child goes on where the exception leads.
        }
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(17), "");
}

TEST(ChildOperationsDeathTest, WaitForNoTextBehindAnException) {
    const auto end = [] {
        ReplacedCalls calls;
        calls.poll = [hasWaited = false](pollfd* requests, nfds_t count, int) mutable {
            if (std::exchange(hasWaited, true)) {
                _exit(EXIT_FAILURE);
            }
            return PollSystem(requests, count);
        };
        try {
            RunInChild([](const MessageReceiver&) { throw std::runtime_error("out of the work"); },
                       [](std::string_view) {}, 1h);
        } catch (const std::runtime_error&) {
            _exit(17);
        }
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(17), "");
}

TEST(ChildOperations, LeaveTheSignalsOfATerminalToTheParent) {
    const auto [messages, hasMessage] = Collect([](const MessageReceiver& send) {
        raise(SIGINT);
        raise(SIGTERM);
        send("still here");
    });
    EXPECT_THAT(messages, ElementsAre("still here"));
}

TEST(ChildOperations, DoNotLetTheParentIgnoreTheSignalsOfATerminal) {
    const auto run = [] {
        for (const int signal : {SIGINT, SIGTERM}) {
            std::signal(signal, SIG_DFL);
            EXPECT_TRUE(Collect([](const MessageReceiver& send) { send(""); }).second);
            struct sigaction action{};
            ASSERT_EQ(sigaction(signal, nullptr, &action), 0);
            EXPECT_EQ(action.sa_handler, SIG_DFL) << signal;
        }
    };
    EXPECT_IN_CHILD(run(), IsEmpty());
}

TEST(ChildOperations, CallTheHandlerOfChildrenThatLeavesNoneToWaitFor) {
    const auto run = [] {
        static volatile std::sig_atomic_t s_isCalled = 0;
        struct sigaction action{};
        action.sa_handler = [](int) { s_isCalled = 1; };
        action.sa_flags = SA_NOCLDWAIT;
        ASSERT_EQ(sigaction(SIGCHLD, &action, nullptr), 0);
        EXPECT_TRUE(Collect([](const MessageReceiver& send) { send(""); }).second);
        EXPECT_EQ(s_isCalled, 1);
    };
    EXPECT_IN_CHILD(run(), IsEmpty());
}

TEST(ChildOperations, LeaveTheSignalOfChildrenAsItWas) {
    const auto run = [] {
        for (const int flags : {0, SA_NOCLDWAIT}) {
            struct sigaction before{};
            before.sa_handler = flags == 0 ? SIG_IGN : SIG_DFL;
            before.sa_flags = flags;
            ASSERT_EQ(sigaction(SIGCHLD, &before, nullptr), 0);
            EXPECT_TRUE(RunInChild([](const MessageReceiver& send) { send(""); }, [](std::string_view) {}, 1h));
            struct sigaction after{};
            ASSERT_EQ(sigaction(SIGCHLD, nullptr, &after), 0);
            EXPECT_EQ(after.sa_handler, before.sa_handler);
            EXPECT_EQ(after.sa_flags & SA_NOCLDWAIT, flags);
        }
    };
    EXPECT_IN_CHILD(run(), IsEmpty());
}

// A signal between the child's beginning and its own handling is for the parent alone.
TEST(ChildOperations, HoldATerminalsSignalsBackUntilTheChildIgnoresThem) {
    const auto run = [] {
        // Called in the child first, before `fork` returns there.
        ASSERT_EQ(pthread_atfork(nullptr, nullptr, [] { raise(SIGINT); }), 0);
        EXPECT_EQ(Collect([](const MessageReceiver& send) { send("still here"); }).first,
                  std::vector<std::string>{"still here"});
    };
    EXPECT_IN_CHILD(run(), IsEmpty());
}

TEST(ChildOperationsDeathTest, EndWithTheParent) {
    const std::array<int, 2> ends = MakePipe();
    const auto [input, output] = ends;
    const auto endEarly = [] {
        RunInChild(
            [](const MessageReceiver& send) {
                send("");
                pause();
            },
            [](std::string_view) { _exit(0); }, 1h);
    };
    EXPECT_EXIT(endEarly(), ::testing::ExitedWithCode(0), "");
    close(output);
    char byte = 0;
    EXPECT_EQ(read(input, &byte, 1), 0) << "The pipe's end closes when the last process that has it ends.";
    close(input);
}

TEST(ChildOperationsDeathTest, EndIfTheParentHasEndedBeforeTheyAreTiedToIt) {
    const auto outlive = [] {
        ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0); // Gets the children of the one below.
        Tests::Child parent([] {
            s_beforePrctl = [parent = getpid()] {
                kill(parent, SIGKILL);
                while (getppid() == parent) {
                    std::this_thread::yield();
                }
            };
            RunInChild([](const MessageReceiver&) { _exit(17); }, [](std::string_view) {}, 1h);
            return 0;
        });
        EXPECT_EQ(parent.Wait(), -SIGKILL);
        int status = 0;
        EXPECT_GT(waitpid(-1, &status, 0), 0);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), EXIT_FAILURE) << "The work is not begun.";
    };
    EXPECT_IN_CHILD(outlive(), IsEmpty());
}

TEST(ChildOperations, AreDoneInThisProcessWhereNoChildCanBeMade) {
    const auto runHere = [] {
        rlimit usual{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
        const rlimit none{.rlim_cur = 0, .rlim_max = usual.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0); // No pipe can be made.
        const pid_t self = getpid();
        bool isHere = false;
        EXPECT_TRUE(RunInChild(
            [&isHere, self](const MessageReceiver& send) {
                isHere = getpid() == self;
                send("");
            },
            [](std::string_view) {}, 1h));
        EXPECT_TRUE(isHere);
        EXPECT_FALSE(RunInChild([](const MessageReceiver&) {}, [](std::string_view) {}, 1h));
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    };
    EXPECT_IN_CHILD(runHere(), IsEmpty());
}

TEST(ChildOperations, AreDoneInThisProcessWhereNoneCanBeForked) {
    ReplacedCalls calls;
    calls.fork = [] {
        errno = EAGAIN;
        return -1;
    };
    const pid_t self = getpid();
    const std::ptrdiff_t descriptors = CountDescriptors();
    const auto work = [self, descriptors](const MessageReceiver& send) {
        EXPECT_EQ(CountDescriptors(), descriptors);
        send(getpid() == self ? "here" : "elsewhere");
    };
    EXPECT_THAT(Collect(work), Pair(ElementsAre("here"), true));
    EXPECT_THAT(Collect([](const MessageReceiver&) {}), Pair(IsEmpty(), false));
}

TEST(ChildOperations, HaveOneEndOfThePipeAndLeaveNoneBehind) {
    const std::ptrdiff_t before = CountDescriptors();
    std::ptrdiff_t meanwhile = 0;
    const auto work = [](const MessageReceiver& send) { send(std::to_string(CountDescriptors())); };
    std::string inChild;
    const auto receive = [&](std::string_view message) {
        inChild = message;
        meanwhile = CountDescriptors();
    };
    EXPECT_TRUE(RunInChild(work, receive, 1h));
    EXPECT_EQ(inChild, std::to_string(before + 1));
    EXPECT_EQ(meanwhile, before + 1) << "Only the child is held.";
    EXPECT_EQ(CountDescriptors(), before);
}

TEST(ChildOperations, PrintNothingThatTheParentHasPrinted) {
    const Tests::TemporaryFolder folder;
    std::FILE* const file = std::fopen((folder.GetPath() / "output").c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("parent ", file);
    const auto work = [file](const MessageReceiver& send) {
        std::fputs("child ", file);
        send("");
    };
    EXPECT_TRUE(Collect(work).second);
    std::fclose(file);
    EXPECT_EQ(folder.Read("output"), "parent child ");
}

TEST(ChildOperations, ReportAMessageEvenIfItsReceiverThrows) {
    const auto work = [](const MessageReceiver& send) { EXPECT_THROW(send("done"), int); };
    EXPECT_TRUE(RunInThisProcess(work, [](std::string_view) { throw 1; }));
}

} // namespace Tovra::System::Processes
