#pragma once

#include <System/Error/Assertion.h>

#include <concepts>
#include <limits>
#include <type_traits>

namespace Tovra::System {

/// The types that `SafeCast` takes: all arithmetic types but `bool`.
template <class T>
concept Number = std::is_arithmetic_v<T> && !std::same_as<T, bool>;

/// The smallest value of `Source` that `Target` can hold.
template <std::integral Target, Number Source>
consteval Source GetValidMinimum() {
    using TargetLimits = std::numeric_limits<Target>;
    using SourceLimits = std::numeric_limits<Source>;
    if constexpr (std::floating_point<Source>) {
        return static_cast<Source>(TargetLimits::min());
    } else if constexpr (std::is_unsigned_v<Source> || std::is_unsigned_v<Target>) {
        return Source{0};
    } else {
        return sizeof(Source) > sizeof(Target) ? static_cast<Source>(TargetLimits::min()) : SourceLimits::min();
    }
}

/// The largest value of `Source` that `Target` can hold.
template <std::integral Target, Number Source>
consteval Source GetValidMaximum() {
    using TargetLimits = std::numeric_limits<Target>;
    using SourceLimits = std::numeric_limits<Source>;
    // A type with fewer digits would round the target's maximum up, out of its range: clear the lowest bits first.
    constexpr int cut = TargetLimits::digits > SourceLimits::digits ? TargetLimits::digits - SourceLimits::digits : 0;
    if constexpr (std::floating_point<Source>) {
        return static_cast<Source>(static_cast<Target>(TargetLimits::max() >> cut << cut));
    } else {
        return cut > 0 ? SourceLimits::max() : static_cast<Source>(TargetLimits::max());
    }
}

/// Converts a number to an integer type, truncating a fraction. Asserts that the value lies within the target type's
/// limits, which NaN does not.
template <std::integral Target, Number Source>
Target SafeCast(Source value) {
    constexpr Source validMinValue = GetValidMinimum<Target, Source>();
    constexpr Source validMaxValue = GetValidMaximum<Target, Source>();
    if constexpr (!std::is_unsigned_v<Source>) {
        TOVRA_ASSERT(value >= validMinValue, "Value must be equal or greater than the target type's minimum value");
    }
    // Intentional: the text says "minimum" where it means the maximum; reports are compared by it.
    TOVRA_ASSERT(value <= validMaxValue, "Value must be equal or smaller than the target type's minimum value");
    return static_cast<Target>(value);
}

/// The object that the pointer points to. Asserts that the pointer is not null.
template <class T>
T& Dereference(T* pointer) {
    // Intentional: "dereferenciation" is misspelled; callers know the message as it stands.
    TOVRA_ASSERT(pointer != nullptr, "Invalid null-pointer dereferenciation.");
    return *pointer;
}

} // namespace Tovra::System
