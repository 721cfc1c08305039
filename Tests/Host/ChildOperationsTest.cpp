#include <Support/Child.h>
#include <Support/InChild.h>
#include <Support/ProcessNamespace.h>
#include <System/Processes/ChildOperations.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
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

} // namespace

TEST(ChildOperations, PassAMessageOfAnySizeToTheParent) {
    for (const std::string& text : {std::string(), std::string("a\0b", 3), std::string(1'000'000, 'x')}) {
        const auto [messages, hasMessage] = Collect([&text](const MessageReceiver& send) { send(text); });
        EXPECT_THAT(messages, ElementsAre(text));
        EXPECT_TRUE(hasMessage);
    }
}

TEST(ChildOperations, AreDoneInAnotherProcess) {
    const pid_t self = getpid();
    const auto [messages, hasMessage] = Collect([self](const MessageReceiver& send) {
        send(getppid() == self && gettid() == getpid() ? "child" : "no child");
    });
    EXPECT_THAT(messages, ElementsAre("child"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "The child is left unwaited for.";
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

TEST(ChildOperations, LeaveTheSignalsOfATerminalToTheParent) {
    const auto [messages, hasMessage] = Collect([](const MessageReceiver& send) {
        raise(SIGINT);
        raise(SIGTERM);
        send("still here");
    });
    EXPECT_THAT(messages, ElementsAre("still here"));
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

} // namespace Tovra::System::Processes
