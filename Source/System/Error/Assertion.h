#pragma once

#include <System/Error/CallStack.h>

namespace Tovra::System::Error {

/// A broken precondition, built on the stack at the failing place. Nothing is owned.
struct Assertion {
    const char* condition;             ///< The condition as it stands in the source.
    const char* message;               ///< What it means; may be empty, never null.
    const Debug::CallStack* callStack; ///< Where it stands; lives beside the assertion.
};

/// Hands the assertion to the process's error handler, which reports it and ends the process. Any thread. Not safe in a
/// signal handler.
[[noreturn]] void OnAssertion(const Assertion& assertion);

} // namespace Tovra::System::Error

/// Ends the process at this place with the text of a condition; the other macros are made of it.
#define TOVRA_REPORT_ASSERTION(function, condition, message)                                                           \
    do {                                                                                                               \
        const ::Tovra::System::Debug::CallStack assertionCallStack(__FILE__, __LINE__, function);                      \
        ::Tovra::System::Error::OnAssertion({condition, message, &assertionCallStack});                                \
    } while (false)

/// Ends the process with `message` if `condition` does not hold; in force in every build. `message` is only evaluated
/// then.
#define TOVRA_ASSERT(condition, message)                                                                               \
    do {                                                                                                               \
        if (!(condition)) [[unlikely]] {                                                                               \
            TOVRA_REPORT_ASSERTION(__func__, #condition, message);                                                     \
        }                                                                                                              \
    } while (false)

/// `TOVRA_ASSERT` for a helper: the report names the public function that called it, as `function`, its `__func__`.
#define TOVRA_ASSERT_FOR(function, condition, message)                                                                 \
    do {                                                                                                               \
        if (!(condition)) [[unlikely]] {                                                                               \
            TOVRA_REPORT_ASSERTION(function, #condition, message);                                                     \
        }                                                                                                              \
    } while (false)

/// Ends the process with `message` where no condition can be tested: the condition reads "false".
#define TOVRA_FAIL(message) TOVRA_REPORT_ASSERTION(__func__, "false", message)

/// Ends the process where a `switch` falls through all its cases.
#define TOVRA_FAIL_CASE() TOVRA_FAIL("Implementation of case directive is missing.")

/// Ends the process at a case of a `switch` that must not be.
#define TOVRA_FAIL_ILLEGAL_CASE() TOVRA_FAIL("Illegal switch case.")
