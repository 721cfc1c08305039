#include <Fakes/State.h>

#include <gmock/gmock.h>

namespace {

/// Resets every fake after each test, so that tests pass in any order in one process.
class FakesReset : public ::testing::EmptyTestEventListener {
    void OnTestEnd(const ::testing::TestInfo&) override { Tovra::Tests::Fakes::ResetAll(); }
};

} // namespace

/// Read by ThreadSanitizer at the program's start. A child that is forked beside another thread, such as a proxy's, may
/// start threads, as connecting to an X server does. A signal's handler may log and allocate, as the error handler's
/// does.
extern "C" const char* __tsan_default_options() { // NOLINT(bugprone-reserved-identifier): the sanitizer's own name.
    return "die_after_fork=0 report_signal_unsafe=0";
}

int main(int argumentCount, char** arguments) {
    ::testing::InitGoogleMock(&argumentCount, arguments);
    ::testing::UnitTest::GetInstance()->listeners().Append(new FakesReset);
    return RUN_ALL_TESTS();
}
