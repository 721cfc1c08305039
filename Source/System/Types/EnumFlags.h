#pragma once

#include <cstdint>

namespace Tovra::System::Types {

/// A 32-bit set of bits of the enumeration `E`, whose enumerators are single bits or masks. A plain value.
template <class E>
class EnumFlags {
public:
    constexpr EnumFlags() = default;
    constexpr EnumFlags(E value) : m_bits(static_cast<std::uint32_t>(value)) {}
    constexpr explicit EnumFlags(std::uint32_t bits) : m_bits(bits) {}

    /// The set as a number.
    constexpr std::uint32_t GetBits() const { return m_bits; }

    /// True if any bit of `other` is set here.
    constexpr bool HasAny(EnumFlags other) const { return (m_bits & other.m_bits) != 0; }

    /// True if no bit is set.
    constexpr bool IsEmpty() const { return m_bits == 0; }

    /// The lowest bit that is set, or the empty set if none is. Serves to walk a set: take the lowest bit, remove it,
    /// repeat.
    constexpr EnumFlags GetLowest() const { return EnumFlags(m_bits & (~m_bits + 1)); }

    /// Union, intersection and symmetric difference, stored here.
    constexpr EnumFlags& operator|=(EnumFlags other) { return *this = *this | other; }
    constexpr EnumFlags& operator&=(EnumFlags other) { return *this = *this & other; }
    constexpr EnumFlags& operator^=(EnumFlags other) { return *this = *this ^ other; }

    /// Union, intersection, symmetric difference, and the complement in all 32 bits.
    friend constexpr EnumFlags operator|(EnumFlags left, EnumFlags right) {
        return EnumFlags(left.m_bits | right.m_bits);
    }
    friend constexpr EnumFlags operator&(EnumFlags left, EnumFlags right) {
        return EnumFlags(left.m_bits & right.m_bits);
    }
    friend constexpr EnumFlags operator^(EnumFlags left, EnumFlags right) {
        return EnumFlags(left.m_bits ^ right.m_bits);
    }
    friend constexpr EnumFlags operator~(EnumFlags flags) { return EnumFlags(~flags.m_bits); }
    friend constexpr bool operator==(EnumFlags, EnumFlags) = default;

private:
    std::uint32_t m_bits = 0;
};

} // namespace Tovra::System::Types
