#pragma once

#include <System/Error/CallStack.h>

namespace Tovra::System::Error {

/// A failed assertion, built on the stack at the failing place. Owns nothing.
struct Assertion {
    const char* condition;             ///< The source text of the condition.
    const char* message;               ///< What the failure means; may be empty, never null.
    const Debug::CallStack* callStack; ///< The source position; lives as long as the assertion.
};

/// Passes the assertion to the process's error handler, which reports it and ends the process. Any thread. Not safe in
/// a signal handler.
[[noreturn]] void OnAssertion(const Assertion& assertion);

} // namespace Tovra::System::Error

/// Ends the process with the text of a condition, reported at this source position in the name of `function`. The other
/// macros use it.
#define TOVRA_REPORT_ASSERTION(function, condition, message)                                                           \
    do {                                                                                                               \
        const ::Tovra::System::Debug::CallStack assertionCallStack(__FILE__, __LINE__, function);                      \
        ::Tovra::System::Error::OnAssertion({condition, message, &assertionCallStack});                                \
    } while (false)

/// Ends the process with `message` if `condition` is false; in force in every build. `message` is evaluated only then.
#define TOVRA_ASSERT(condition, message)                                                                               \
    do {                                                                                                               \
        if (!(condition)) [[unlikely]] {                                                                               \
            TOVRA_REPORT_ASSERTION(__func__, #condition, message);                                                     \
        }                                                                                                              \
    } while (false)

/// `TOVRA_ASSERT` for a helper: the report names the public function that called it. `function` is that one's
/// `__func__`.
#define TOVRA_ASSERT_FOR(function, condition, message)                                                                 \
    do {                                                                                                               \
        if (!(condition)) [[unlikely]] {                                                                               \
            TOVRA_REPORT_ASSERTION(function, #condition, message);                                                     \
        }                                                                                                              \
    } while (false)

/// Ends the process with `message` where there is no condition to test; the report shows the condition "false".
#define TOVRA_FAIL(message) TOVRA_REPORT_ASSERTION(__func__, "false", message)

/// Ends the process where a `switch` falls through all its cases.
#define TOVRA_FAIL_CASE() TOVRA_FAIL("Implementation of case directive is missing.")

/// Ends the process at a case of a `switch` that must not occur.
#define TOVRA_FAIL_ILLEGAL_CASE() TOVRA_FAIL("Illegal switch case.")
