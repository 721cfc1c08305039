#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace Tovra::System::Serialization {

/// A limit to the steps that a piece of work takes. Throws `std::length_error` when they are used up.
class Budget {
public:
    explicit Budget(std::size_t steps) : m_steps(steps) {}

    void Spend(std::size_t steps);

private:
    std::size_t m_steps;
};

/// A regular expression of a JSON schema, over code points of UTF-8: the subset of ECMAScript's that has an answer in a
/// time of expression by text, whatever the two are. It knows `|`, groups, `^` and `$`, `.` (any character), classes,
/// the quantifiers, and the escapes `\d \w \s` (ASCII) with their opposites, `\f \n \r \t \v`, `\xHH` and `\uHHHH`; it
/// knows no look-ahead, back reference or word boundary. A plain value; immutable.
class Pattern {
public:
    /// Spends a step for each byte read and each step written. Throws `std::length_error` if the expression takes more
    /// than `maxSize` steps with its repetitions written out.
    Pattern(std::string_view text, Budget& budget);

    static constexpr std::size_t maxSize = 20'000;

    /// False if the expression can't be read; then nothing else is to be called.
    bool IsValid() const { return m_isValid; }

    /// How many steps the expression takes with its repetitions written out.
    std::size_t GetSize() const { return m_program.size(); }

    /// Whether the expression matches anywhere in the text. Spends a step for each of its own at each place.
    bool IsFoundIn(std::string_view text, Budget& budget) const;

    struct Range {
        char32_t first;
        char32_t last;
    };

    struct Set {
        std::vector<Range> ranges;
        bool isNegated = false;
    };

    enum class Operation : std::uint8_t { Character, OneOf, Any, Begin, End, Split, Jump, Match };

    /// Targets are relative, so that a part of a program can be repeated by copying it.
    struct Instruction {
        Operation operation;
        char32_t value = 0; ///< The character, or the index of the set.
        int first = 1;      ///< Where to go on.
        int second = 0;     ///< Of a split: the other way.
    };

    using Program = std::vector<Instruction>;

private:
    class Run;

    Program m_program;
    std::vector<Set> m_sets;
    bool m_isValid = false;
};

} // namespace Tovra::System::Serialization
