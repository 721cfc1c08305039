#include <Fakes/Fault.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

namespace {

using Tovra::Tests::Fakes::Fault;

std::vector<bool> StrikeFourTimes(Fault<>& fault) {
    std::vector<bool> strikes;
    for (int call = 0; call < 4; ++call) {
        strikes.push_back(fault.Strikes());
    }
    return strikes;
}

TEST(Fault, StrikesNoCallAtFirst) {
    Fault<> fault;
    EXPECT_EQ(StrikeFourTimes(fault), (std::vector{false, false, false, false}));
    fault = {.lasts = true};
    EXPECT_EQ(StrikeFourTimes(fault), (std::vector{false, false, false, false}));
}

TEST(Fault, StrikesOneCall) {
    Fault<> fault = {.call = 2};
    EXPECT_EQ(StrikeFourTimes(fault), (std::vector{false, true, false, false}));
    fault = {.call = 1};
    EXPECT_EQ(StrikeFourTimes(fault), (std::vector{true, false, false, false}));
}

TEST(Fault, StrikesAllCallsFromOneOnIfItLasts) {
    Fault<> fault = {.call = 2, .lasts = true};
    EXPECT_EQ(StrikeFourTimes(fault), (std::vector{false, true, true, true}));
    fault = {.call = 1, .lasts = true};
    EXPECT_EQ(StrikeFourTimes(fault), (std::vector{true, true, true, true}));
}

TEST(Fault, SetsTheErrorOfTheCallsThatItStrikes) {
    Fault<> fault = {.call = 2, .error = EIO};
    errno = EINTR;
    EXPECT_FALSE(fault.Strikes());
    EXPECT_EQ(errno, EINTR);
    EXPECT_TRUE(fault.Strikes());
    EXPECT_EQ(errno, EIO);
    errno = EINTR;
    EXPECT_FALSE(fault.Strikes());
    EXPECT_EQ(errno, EINTR);
}

TEST(Fault, CountsEveryCall) {
    Fault<> fault;
    StrikeFourTimes(fault);
    EXPECT_EQ(fault.calls, 4);
    fault = {.call = 2, .lasts = true};
    EXPECT_EQ(fault.calls, 0);
    StrikeFourTimes(fault);
    EXPECT_EQ(fault.calls, 4);
}

TEST(Fault, HasTheResultOfAFailedCallUnlessTold) {
    EXPECT_EQ(Fault<>{.call = 1}.result, -1);
    EXPECT_EQ((Fault<int, 7>{.call = 1}.result), 7);
    EXPECT_EQ((Fault<void*, nullptr>{.call = 1}.result), nullptr);
    EXPECT_EQ((Fault<int, 7>{.call = 1, .result = 3}.result), 3);
}

} // namespace
