#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

/// Runs `statement` in a child process of its own and expects that it ends well: with none of its expectations failed,
/// through `exit`, and with a standard error stream that `errors` matches. For what a process settles once.
#define EXPECT_IN_CHILD(statement, errors)                                                                             \
    EXPECT_EXIT(                                                                                                       \
        {                                                                                                              \
            statement;                                                                                                 \
            std::exit(::testing::Test::HasFailure() ? 1 : 0);                                                          \
        },                                                                                                             \
        ::testing::ExitedWithCode(0), errors)
