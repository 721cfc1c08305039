#pragma once

// Included in front of every source that Scripts/check-mutants has rewritten: asks at run time which change is chosen.

/// The number of the chosen change; 0 for none, less as long as that has to be looked up.
extern "C" int tovraMutant;
/// Looks up the chosen change, and notes that this one's place has been reached.
extern "C" bool tovraIsMutant(int number);

namespace Mutation {

/// Whether the change of this number is chosen. Any thread, and a signal's handler.
inline bool Is(int number) {
    return tovraMutant >= 0 ? tovraMutant == number : tovraIsMutant(number);
}

/// The same in a function that the compiler may evaluate, where no change is ever chosen.
constexpr bool IsAtRunTime(int number) {
    return !__builtin_is_constant_evaluated() && Is(number);
}

} // namespace Mutation

// The assertions, with the text of the condition as it stands in the source.
#define TOVRA_ASSERT_AS(text, condition, message)                                                                      \
    do {                                                                                                               \
        if (!(condition)) [[unlikely]] {                                                                               \
            TOVRA_REPORT_ASSERTION(__func__, text, message);                                                           \
        }                                                                                                              \
    } while (false)
#define TOVRA_ASSERT_FOR_AS(text, function, condition, message)                                                        \
    do {                                                                                                               \
        if (!(condition)) [[unlikely]] {                                                                               \
            TOVRA_REPORT_ASSERTION(function, text, message);                                                           \
        }                                                                                                              \
    } while (false)
