#pragma once

namespace Tovra::System::Types {

/// One value of the enumeration `E`. Marks a parameter that takes an enumerator, so that no number slips in. A plain
/// value.
template <class E>
class EnumValue {
public:
    constexpr EnumValue(E value) : m_value(value) {}

    /// The enumerator; thus it can be compared and switched over.
    constexpr operator E() const { return m_value; }

private:
    E m_value;
};

} // namespace Tovra::System::Types
