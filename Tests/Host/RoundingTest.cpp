#include <Fieldhost/Tools/Rounding_Linux.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

/// Of each sign and exponent the numbers with few digits, those with many, and those beside whole numbers.
template <class Number, class Bits>
std::vector<Number> GetNumbers() {
    constexpr int mantissaSize = std::numeric_limits<Number>::digits - 1;
    constexpr Bits mantissaEnd = Bits{1} << mantissaSize;
    std::vector<Number> numbers;
    for (Bits head = 0; head < (Bits{1} << (sizeof(Bits) * 8 - mantissaSize)); ++head) {
        for (int shift = 0; shift <= mantissaSize; ++shift) {
            const Bits bit = (Bits{1} << shift) % mantissaEnd;
            for (const Bits mantissa : {bit, mantissaEnd - bit, bit - 1, bit + 1}) {
                numbers.push_back(std::bit_cast<Number>((head << mantissaSize) | (mantissa % mantissaEnd)));
            }
        }
    }
    return numbers;
}

TEST(Rounding, RoundsUpAsTheLibraryDoes) {
    for (const float number : GetNumbers<float, std::uint32_t>()) {
        const float expected = std::ceil(number);
        const float rounded = RoundUp(number);
        ASSERT_TRUE(std::isnan(number) ? std::isnan(rounded) : rounded == expected) << number;
        ASSERT_EQ(std::signbit(rounded), std::signbit(expected)) << number;
    }
}

TEST(Rounding, RoundsToZeroAsTheLibraryDoes) {
    for (const double number : GetNumbers<double, std::uint64_t>()) {
        const double expected = std::trunc(number);
        const double rounded = RoundToZero(number);
        ASSERT_TRUE(std::isnan(number) ? std::isnan(rounded) : rounded == expected) << number;
        ASSERT_EQ(std::signbit(rounded), std::signbit(expected)) << number;
    }
}

} // namespace
