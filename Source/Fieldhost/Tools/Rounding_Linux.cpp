#include <Fieldhost/Tools/Rounding_Linux.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

/// The value without its fraction. From 2 to the power of the mantissa's digits on, a number has none.
template <class Number>
Number RemoveFraction(Number value) {
    constexpr auto end = static_cast<Number>(std::uint64_t{1} << (std::numeric_limits<Number>::digits - 1));
    if (!(std::abs(value) < end)) {
        return value;
    }
    return std::copysign(static_cast<Number>(static_cast<std::int64_t>(value)), value);
}

} // namespace

float RoundUp(float value) {
    const float whole = RemoveFraction(value);
    return whole < value ? whole + 1 : whole;
}

double RoundToZero(double value) {
    return RemoveFraction(value);
}
