#pragma once

namespace Tovra::System::Types {

/// One value of the enumeration `E`. As a parameter's type it takes an enumerator but no plain number.
template <class E>
class EnumValue {
public:
    constexpr EnumValue(E value) : m_value(value) {}

    /// The enumerator, so that the value can be compared and used in a `switch`.
    constexpr operator E() const { return m_value; }

private:
    E m_value;
};

} // namespace Tovra::System::Types
