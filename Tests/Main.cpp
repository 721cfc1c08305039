#include <Fakes/State.h>

#include <gmock/gmock.h>

namespace {

/// Resets every fake after each test, so that tests pass in any order in one process.
class FakesReset : public ::testing::EmptyTestEventListener {
    void OnTestEnd(const ::testing::TestInfo&) override { Tovra::Tests::Fakes::ResetAll(); }
};

} // namespace

int main(int argumentCount, char** arguments) {
    ::testing::InitGoogleMock(&argumentCount, arguments);
    ::testing::UnitTest::GetInstance()->listeners().Append(new FakesReset);
    return RUN_ALL_TESTS();
}
