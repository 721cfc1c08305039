#include <Support/Assertions.h>
#include <System/Error/Assertion.h>

#include <cstdlib>
#include <exception>

namespace {

using Tovra::System::Debug::CallStack;
using Tovra::System::Error::OnAssertion;

TEST(AssertionDeathTest, PrintsItsBlockAndAborts) {
    const CallStack callStack("/x/Source/System/Log/Log.cpp", 7, "Write");
    EXPECT_EXIT(OnAssertion({"config != nullptr", "Function parameter 'config' must be non-null.", &callStack}),
                testing::KilledBySignal(SIGABRT),
                testing::StartsWith("Assertion: config != nullptr\n"
                                    "\tMessage: Function parameter 'config' must be non-null.\n"
                                    "\n"
                                    "Callstack:\n"
                                    "\t[0]: /System/Log/Log.cpp at 7: Write\n"));
}

TEST(AssertionDeathTest, MessageMayBeEmpty) {
    const CallStack callStack("b.cpp", 1, "F");
    EXPECT_EXIT(OnAssertion({"a", "", &callStack}), testing::KilledBySignal(SIGABRT),
                testing::StartsWith("Assertion: a\n\tMessage: \n\nCallstack:\n\t[0]: b.cpp at 1: F\n"));
}

TEST(AssertionDeathTest, EndsThroughTerminate) {
    const auto fail = [] {
        std::set_terminate([] { std::_Exit(42); });
        TOVRA_FAIL("Text.");
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(42), "Assertion: false\n\tMessage: Text.\n");
}

TEST(AssertionDeathTest, IsNotCaught) {
    const auto fail = [] {
        try {
            TOVRA_FAIL("Text.");
        } catch (...) {
        }
    };
    EXPECT_ASSERTION(fail(), "false", "Text.");
}

TEST(AssertionDeathTest, ConditionStandsAsInTheSource) {
    const int* const config = nullptr;
    EXPECT_ASSERTION(TOVRA_ASSERT(config != nullptr, "Text."), "config != nullptr", "Text.");
    EXPECT_EXIT(TOVRA_ASSERT(config != nullptr, "Text."), testing::KilledBySignal(SIGABRT),
                "AssertionTest.cpp at [0-9]+: TestBody\n");
}

TEST(AssertionDeathTest, MissingCaseHasItsSettledWords) {
    EXPECT_ASSERTION(TOVRA_FAIL_CASE(), "false", "Implementation of case directive is missing.");
}

TEST(Assertion, EvaluatesItsConditionOnceAndNoMessageIfItHolds) {
    int conditions = 0;
    int messages = 0;
    const auto getMessage = [&messages] {
        ++messages;
        return "Text.";
    };
    TOVRA_ASSERT(++conditions == 1, getMessage());
    EXPECT_EQ(conditions, 1);
    EXPECT_EQ(messages, 0);
}

} // namespace
