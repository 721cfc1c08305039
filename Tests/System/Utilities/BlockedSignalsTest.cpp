#include <System/Utilities/BlockedSignals.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <vector>

namespace {

using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::UnorderedElementsAreArray;
using Tovra::System::Utilities::BlockedSignals;
using Tovra::System::Utilities::faultSignals;

constexpr int lastStandardSignal = 31;

std::vector<int> GetSignals(bool areBlocked) {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    std::vector<int> signals;
    for (int signal = 1; signal <= lastStandardSignal; ++signal) {
        // Neither can be blocked: sigaction(2).
        if (signal != SIGKILL && signal != SIGSTOP && (sigismember(&mask, signal) == 1) == areBlocked) {
            signals.push_back(signal);
        }
    }
    return signals;
}

TEST(BlockedSignals, AreAllButTheThreadsOwnFaults) {
    const BlockedSignals blocked(BlockedSignals::Kind::AllButFaults);
    EXPECT_THAT(GetSignals(false), UnorderedElementsAreArray(faultSignals));
    EXPECT_THAT(GetSignals(true), IsSupersetOf({SIGHUP, SIGINT, SIGTERM, SIGALRM, SIGUSR1, SIGCHLD}));
}

TEST(BlockedSignals, AreAllOfThem) {
    const BlockedSignals blocked(BlockedSignals::Kind::All);
    EXPECT_THAT(GetSignals(false), IsEmpty());
}

TEST(BlockedSignals, AreThoseOfBeforeBehindEachScope) {
    const std::vector<int> before = GetSignals(true);
    {
        const BlockedSignals outer(BlockedSignals::Kind::AllButFaults);
        const std::vector<int> within = GetSignals(true);
        {
            const BlockedSignals inner(BlockedSignals::Kind::All);
            EXPECT_THAT(GetSignals(false), IsEmpty());
        }
        EXPECT_EQ(GetSignals(true), within);
    }
    EXPECT_EQ(GetSignals(true), before);
}

} // namespace
