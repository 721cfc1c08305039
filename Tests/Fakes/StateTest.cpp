#include <Fakes/State.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Tovra::Tests::Fakes::GetState;
using Tovra::Tests::Fakes::ResetAll;

struct Sample {
    int number = 5;
    std::string text = "fresh";
};

TEST(State, IsOneObjectOfAType) {
    EXPECT_EQ(&GetState<Sample>(), &GetState<Sample>());
}

TEST(State, IsFreshAfterAReset) {
    Sample& state = GetState<Sample>();
    state = {.number = 6, .text = "used"};
    ResetAll();
    EXPECT_EQ(state.number, 5);
    EXPECT_EQ(state.text, "fresh");
}

// Each of the two would fail after the other.
TEST(State, IsFreshInATest) {
    EXPECT_EQ(GetState<Sample>().number, 5);
    GetState<Sample>().number = 6;
}

TEST(State, IsFreshInTheNextTestToo) {
    EXPECT_EQ(GetState<Sample>().number, 5);
    GetState<Sample>().number = 6;
}

} // namespace
