#include <Support/Child.h>
#include <Support/TemporaryFolder.h>

#include <Comparison.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using Benchmarks::AtMost;
using Benchmarks::Compare;
using Benchmarks::IsChosen;
using Benchmarks::NoBound;
using ::testing::MatchesRegex;

/// What a function prints in a child process.
template <class Body>
std::string Print(const Body& body) {
    const TemporaryFolder folder;
    Child child([&folder, &body] {
        ThrowIf(std::freopen((folder.GetPath() / "output").c_str(), "w", stdout) == nullptr, "freopen");
        body();
        return std::fflush(stdout);
    });
    EXPECT_EQ(child.Wait(), 0);
    return folder.Read("output");
}

/// Work that prints a letter, by which its place in the order is seen.
Benchmarks::Work Say(char letter) {
    return [letter] { std::putchar(letter); };
}

/// Chooses rows as a benchmark does with these arguments.
void ChooseRows(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "program");
    Benchmarks::ChooseRows(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()));
}

TEST(Comparison, RunsAllInTurnAndPrintsALineForEachRival) {
    const std::string printed = Print([] {
        Compare("work", Say('o'),
                {{"peer", "theirs", AtMost(0.75), Say('p')}, {"limit", "bare", NoBound("it does less"), Say('l')}}, 3,
                42);
    });
    const std::string times = "[0-9]+ [0-9]+ [0-9]+\t";
    EXPECT_THAT(printed, MatchesRegex("ooploplopl"
                                      "work\tpeer\ttheirs\t0.75\t\t42\t" +
                                      times + times +
                                      "\n"
                                      "work\tlimit\tbare\t0\tit does less\t42\t" +
                                      times + times + "\n"));
}

TEST(Comparison, TimesARivalsStartAndThenWarmsUpOursAndWhatHasNoStartInEachRound) {
    const std::string printed = Print([] {
        Compare("work", Say('o'),
                {{"peer", "theirs", AtMost(1), Say('p'), Say('s')}, {"limit", "bare", AtMost(2), Say('l')}}, 2);
    });
    const std::string times = "\t[0-9]+ [0-9]+";
    EXPECT_THAT(printed, MatchesRegex("ooopslloopsll"
                                      "work\tpeer\ttheirs\t1\t\t0" +
                                      times + times + times +
                                      "\n"
                                      "work\tlimit\tbare\t2\t\t0" +
                                      times + times + "\t\n"));
}

TEST(Comparison, RunsNothingOfARowThatIsNotChosen) {
    const std::string printed = Print([] {
        ChooseRows({"second", "third"});
        for (const char* const row : {"first", "second"}) {
            Compare(row, Say(*row), {{"peer", "theirs", AtMost(1), Say('p')}}, 1);
        }
    });
    EXPECT_THAT(printed, MatchesRegex("sspsecond\t.*\n"));
}

TEST(Comparison, ChoosesRowsByTheirWholeNamesAndAllWithoutAny) {
    EXPECT_TRUE(IsChosen("any"));
    ChooseRows({"first", "second"});
    EXPECT_TRUE(IsChosen("first"));
    EXPECT_TRUE(IsChosen("second"));
    EXPECT_FALSE(IsChosen("program"));
    EXPECT_FALSE(IsChosen("fir"));
    ChooseRows({});
    EXPECT_TRUE(IsChosen("any"));
}

TEST(Comparison, ATimeIsInNanoseconds) {
    using std::chrono::steady_clock;
    const auto start = steady_clock::now();
    const long long time = Benchmarks::GetTime([] {
        const auto end = steady_clock::now() + std::chrono::milliseconds(2);
        while (steady_clock::now() < end) {
        }
    });
    EXPECT_GE(time, 2'000'000);
    EXPECT_LE(time, std::chrono::nanoseconds(steady_clock::now() - start).count());
}

TEST(Comparison, JoinsNumbersByBlanks) {
    EXPECT_EQ(Benchmarks::Join({}), "");
    EXPECT_EQ(Benchmarks::Join({7}), "7");
    EXPECT_EQ(Benchmarks::Join({1, -20, 300}), "1 -20 300");
}

TEST(ComparisonDeathTest, WhatIsRequiredAndNotThereEndsTheProgramWithAMessage) {
    Benchmarks::Require(true, "nothing");
    EXPECT_EXIT(Benchmarks::Require(false, "There is no display."), ::testing::ExitedWithCode(2),
                "^There is no display.\n$");
}

} // namespace

} // namespace Tovra::Tests
