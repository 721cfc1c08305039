#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

/// Runs `statement` in a child process and expects that it calls `exit` with no expectation failed, and that its
/// standard error stream matches `errors`. For state that a process sets up only once.
#define EXPECT_IN_CHILD(statement, errors)                                                                             \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            statement;                                                                                                 \
            std::exit(::testing::Test::HasFailure() ? 1 : 0);                                                          \
        },                                                                                                             \
        ::testing::ExitedWithCode(0), errors)

namespace Tovra::Tests {

/// The same, but returns the standard error stream, and the child ends without the destructors of static objects: for a
/// body that keeps connections to a server until its end. `body` runs on the main thread of the child and has 50
/// seconds.
std::string RunInChild(const std::function<void()>& body);

} // namespace Tovra::Tests
