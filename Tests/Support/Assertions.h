#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace Tovra::Tests {

/// Matches the report of an assertion by its literal condition and message.
inline auto IsAssertion(const std::string& condition, const std::string& message) {
    return ::testing::HasSubstr("Assertion: " + condition + "\n\tMessage: " + message + "\n");
}

} // namespace Tovra::Tests

/// Expects that `statement` ends the process by an assertion with exactly this condition and message.
#define EXPECT_ASSERTION(statement, condition, message)                                                                \
    EXPECT_EXIT(statement, ::testing::KilledBySignal(SIGABRT), ::Tovra::Tests::IsAssertion(condition, message))
