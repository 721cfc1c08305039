#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace Tovra::System::Serialization {

/// A limit to the steps that a piece of work takes.
class Budget {
public:
    explicit Budget(std::size_t steps) : m_steps(steps) {}

    /// Takes steps from the budget. Throws `std::length_error` if fewer are left.
    void Spend(std::size_t steps);

private:
    std::size_t m_steps;
};

/// A regular expression of a JSON schema, over code points of UTF-8: the subset of ECMAScript's that can be matched in
/// a time proportional to the length of the expression times that of the text. It supports `|`, groups, `^` and `$`,
/// `.` (any character), classes, the quantifiers, and the escapes `\d \w \s` (ASCII) with their opposites,
/// `\f \n \r \t \v`, `\xHH` and `\uHHHH`; no look-ahead, back references or word boundaries. A plain value; immutable.
class Pattern {
public:
    /// Compiles an expression. Spends a step for each byte read and each instruction written. Throws
    /// `std::length_error` if the budget is used up, or if the program, with its repetitions written out, has more than
    /// `maxSize` instructions.
    Pattern(std::string_view text, Budget& budget);

    /// In instructions.
    static constexpr std::size_t maxSize = 20'000;

    /// False if the expression is malformed or not supported; `IsFoundIn` must not be called then.
    bool IsValid() const { return !m_program.empty(); }

    /// The number of instructions, with the repetitions written out; 0 for an invalid expression.
    std::size_t GetSize() const { return m_program.size(); }

    /// Whether the expression matches anywhere in the text. Spends a step for each instruction, and for each range of a
    /// class, that is tried at a position. Throws `std::length_error` if the budget is used up.
    bool IsFoundIn(std::string_view text, Budget& budget) const;

    /// The code points from `first` to `last`, both included.
    struct Range {
        char32_t first;
        char32_t last;
    };

    /// A class of characters.
    struct Set {
        std::vector<Range> ranges;
        bool isNegated = false;
    };

    /// What an instruction does.
    enum class Operation : std::uint8_t { Character, OneOf, Any, Begin, End, Split, Jump, Match };

    /// One instruction of a program. Targets are relative, so that a part of the program can be repeated by copying it.
    struct Instruction {
        Operation operation;
        char32_t value = 0; ///< The character, or the index of the set.
        int first = 1;      ///< Where to go on.
        int second = 0;     ///< For `Split`: the other way to go on.
    };

    /// The instructions of a pattern; the first one begins it.
    using Program = std::vector<Instruction>;

private:
    class Run;

    Program m_program;
    std::vector<Set> m_sets;
};

} // namespace Tovra::System::Serialization
