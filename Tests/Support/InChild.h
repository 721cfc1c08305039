#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

/// Runs `statement` in a child process of its own and expects that it ends well: with none of its expectations failed,
/// through `exit`, and with a standard error stream that `errors` matches. For what a process settles once.
#define EXPECT_IN_CHILD(statement, errors)                                                                             \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            statement;                                                                                                 \
            std::exit(::testing::Test::HasFailure() ? 1 : 0);                                                          \
        },                                                                                                             \
        ::testing::ExitedWithCode(0), errors)

namespace Tovra::Tests {

/// The same, but leaves what stands in its standard error stream to the caller, and the child ends without running the
/// destructors of static objects: for a body that holds connections to a server until its end. The child has the main
/// thread of its process, and 50 seconds.
std::string RunInChild(const std::function<void()>& body);

} // namespace Tovra::Tests
