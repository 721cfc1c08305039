#include <System/Serialization/Pattern.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Tovra::System::Serialization {

namespace {

using Instruction = Pattern::Instruction;
using Operation = Pattern::Operation;
using Program = Pattern::Program;
using Range = Pattern::Range;
using Set = Pattern::Set;

/// The code point at the beginning of a text that is not empty, and its length in bytes. A byte that begins no valid
/// sequence becomes a value of its own, above all code points.
std::pair<char32_t, std::size_t> Decode(std::string_view text) {
    // The smallest code point of each length that a first byte may tell.
    constexpr char32_t none = 0x110000;
    constexpr std::array<char32_t, 9> smallest{none, none, 0x80, 0x800, 0x10000, none, none, none, none};
    const auto lead = static_cast<unsigned char>(text.front());
    const auto length = static_cast<std::size_t>(std::countl_one(lead)); // 0 for ASCII, 1 for what is no first byte.
    char32_t point = lead & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length && index < text.size(); ++index) {
        const auto next = static_cast<unsigned char>(text[index]);
        if ((next & 0xC0U) != 0x80) {
            break;
        }
        point = point << 6U | (next & 0x3FU);
    }
    // A sequence that breaks off gives less than the smallest of its length.
    if (point >= smallest[length] && point < none) {
        return {point, length};
    }
    return {lead < 0x80 ? lead : none + lead, 1};
}

/// Thrown for an expression that is malformed or not supported.
class Unreadable {};

/// Compiles an expression to a program.
class Compiler {
public:
    Compiler(std::string_view text, std::vector<Set>& sets, Budget& budget)
        : m_text(text), m_sets(sets), m_budget(budget) {}

    /// An empty program if the expression can't be read.
    Program Compile() {
        try {
            Program program = ReadAlternatives();
            if (!m_text.empty()) {
                return {}; // A closing parenthesis without an opening one.
            }
            Append(program, {{Operation::Match}});
            return program;
        } catch (const Unreadable&) {
            return {};
        }
    }

private:
    static constexpr int maxDepth = 256;
    static constexpr int unlimited = -1;

    struct Counts {
        int least;
        int most;
    };

    Program ReadAlternatives() {
        if (++m_depth > maxDepth) {
            throw Unreadable();
        }
        Program program;
        std::vector<int> jumps;
        Program alternative = ReadSequence();
        while (Accept('|')) {
            Append(program, {{.operation = Operation::Split, .second = GetLength(alternative) + 2}});
            Append(program, alternative);
            jumps.push_back(GetLength(program));
            Append(program, {{Operation::Jump}});
            alternative = ReadSequence();
        }
        Append(program, alternative);
        for (const int jump : jumps) {
            program[static_cast<std::size_t>(jump)].first = GetLength(program) - jump;
        }
        --m_depth;
        return program;
    }

    Program ReadSequence() {
        Program program;
        while (!m_text.empty() && m_text.front() != '|' && m_text.front() != ')') {
            if (Accept('^')) {
                Append(program, {{Operation::Begin}});
            } else if (Accept('$')) {
                Append(program, {{Operation::End}});
            } else {
                const Program atom = ReadAtom();
                Append(program, Repeat(atom, ReadCounts()));
            }
        }
        return program;
    }

    Program ReadAtom() {
        if (Accept('(')) {
            if (Accept('?') && !Accept(':')) {
                throw Unreadable();
            }
            Program group = ReadAlternatives();
            Expect(')');
            return group;
        }
        if (Accept('.')) {
            return {{Operation::Any}};
        }
        if (Accept('[')) {
            return MakeSet(ReadClass());
        }
        if (Accept('\\')) {
            Set set;
            const std::optional<char32_t> character = ReadEscape(set);
            return character ? Program{{Operation::Character, *character}} : MakeSet(std::move(set));
        }
        if (m_text.front() == '*' || m_text.front() == '+' || m_text.front() == '?' || IsAtCounts()) {
            throw Unreadable(); // There is nothing to repeat.
        }
        return {{Operation::Character, Take()}};
    }

    Program MakeSet(Set set) {
        m_sets.push_back(std::move(set));
        return {{Operation::OneOf, static_cast<char32_t>(m_sets.size() - 1)}};
    }

    Set ReadClass() {
        Set set;
        set.isNegated = Accept('^');
        if (m_text.starts_with(']')) {
            throw Unreadable(); // Dialects differ in whether it ends the class.
        }
        do {
            const std::optional<char32_t> first = ReadClassMember(set);
            if (m_text.starts_with("-]") || !Accept('-')) {
                continue;
            }
            const std::optional<char32_t> last = ReadClassMember(set);
            if (!first || !last) {
                set.ranges.push_back({'-', '-'}); // A set has no place in a range, so the hyphen stands for itself.
                continue;
            }
            if (*last < *first) {
                throw Unreadable();
            }
            set.ranges.pop_back();
            set.ranges.back().last = *last;
        } while (!Accept(']'));
        return set;
    }

    /// Adds the ranges of a member to `set`. Returns the member if it is a character; none for a set like `\d`.
    std::optional<char32_t> ReadClassMember(Set& set) {
        Set escaped;
        const std::optional<char32_t> character = !Accept('\\') ? Take() : Accept('b') ? U'\b' : ReadEscape(escaped);
        if (character) {
            set.ranges.push_back({*character, *character});
            return character;
        }
        const std::vector<Range> ranges = escaped.isNegated ? GetGaps(escaped.ranges) : escaped.ranges;
        set.ranges.insert(set.ranges.end(), ranges.begin(), ranges.end());
        return std::nullopt;
    }

    /// What is before, between and behind ranges in ascending order that do not touch.
    static std::vector<Range> GetGaps(const std::vector<Range>& ranges) {
        std::vector<Range> gaps;
        char32_t next = 0;
        for (const Range& range : ranges) {
            gaps.push_back({next, range.first - 1});
            next = range.last + 1;
        }
        gaps.push_back({next, std::numeric_limits<char32_t>::max()});
        return gaps;
    }

    /// Reads what follows a backslash. Returns a character; or none for a set, which goes to `set`.
    std::optional<char32_t> ReadEscape(Set& set) {
        const char32_t character = Take();
        switch (character) {
        case 'd':
        case 'D':
            set = {{{'0', '9'}}, character == 'D'};
            return std::nullopt;
        case 'w':
        case 'W':
            set = {{{'0', '9'}, {'A', 'Z'}, {'_', '_'}, {'a', 'z'}}, character == 'W'};
            return std::nullopt;
        case 's':
        case 'S':
            set = {{{'\t', '\r'}, {' ', ' '}}, character == 'S'};
            return std::nullopt;
        case 'f':
            return U'\f';
        case 'n':
            return U'\n';
        case 'r':
            return U'\r';
        case 't':
            return U'\t';
        case 'v':
            return U'\v';
        case 'x':
            return ReadHexadecimal(2);
        case 'u':
            return ReadCodePoint();
        default:
            // Back references, word boundaries, and escapes of other dialects.
            if ((character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                (character >= 'a' && character <= 'z')) {
                throw Unreadable();
            }
            return character;
        }
    }

    /// Reads the digits of `\u`. Two UTF-16 surrogates in a row are one character.
    char32_t ReadCodePoint() {
        const char32_t high = ReadHexadecimal(4);
        if (high < 0xD800 || high > 0xDBFF || !m_text.starts_with("\\u")) {
            return high;
        }
        m_text.remove_prefix(2);
        const char32_t low = ReadHexadecimal(4);
        if (low < 0xDC00 || low > 0xDFFF) {
            throw Unreadable();
        }
        return 0x10000U + ((high - 0xD800U) << 10U) + (low - 0xDC00U);
    }

    char32_t ReadHexadecimal(std::ptrdiff_t digits) {
        const std::string_view text = m_text.substr(0, static_cast<std::size_t>(digits));
        const char* const begin = std::to_address(text.begin());
        std::uint32_t number{};
        if (std::from_chars(begin, std::to_address(text.end()), number, 16).ptr - begin != digits) {
            throw Unreadable();
        }
        m_text.remove_prefix(text.size());
        return number;
    }

    Counts ReadCounts() {
        Counts counts{1, 1};
        if (Accept('*')) {
            counts = {0, unlimited};
        } else if (Accept('+')) {
            counts = {1, unlimited};
        } else if (Accept('?')) {
            counts = {0, 1};
        } else if (IsAtCounts()) {
            Expect('{');
            counts.least = counts.most = ReadNumber();
            if (Accept(',')) {
                counts.most = m_text.front() == '}' ? unlimited : ReadNumber();
            }
            Expect('}');
            if (counts.most != unlimited && counts.most < counts.least) {
                throw Unreadable();
            }
        } else {
            return counts;
        }
        Accept('?'); // Greedy or lazy: whether there is a match stays the same.
        return counts;
    }

    /// Whether a quantifier in braces follows. Any other brace is an ordinary character.
    bool IsAtCounts() const {
        std::string_view rest = m_text;
        const auto skipDigits = [&rest] {
            const std::size_t count = std::min(rest.find_first_not_of("0123456789"), rest.size());
            rest.remove_prefix(count);
            return count > 0;
        };
        if (!rest.starts_with('{')) {
            return false;
        }
        rest.remove_prefix(1);
        if (!skipDigits()) {
            return false;
        }
        if (rest.starts_with(',')) {
            rest.remove_prefix(1);
            skipDigits();
        }
        return rest.starts_with('}');
    }

    int ReadNumber() {
        int number = std::numeric_limits<int>::max(); // It stays so where the digits do not fit: that is too much, too.
        const char* const begin = std::to_address(m_text.begin());
        const char* const end = std::from_chars(begin, std::to_address(m_text.end()), number).ptr;
        m_text.remove_prefix(static_cast<std::size_t>(end - begin));
        return number;
    }

    Program Repeat(const Program& part, Counts counts) {
        if (part.empty()) {
            return {};
        }
        Program program;
        for (int count = 0; count < counts.least; ++count) {
            Append(program, part);
        }
        if (counts.most == unlimited) {
            Append(program, {{.operation = Operation::Split, .second = GetLength(part) + 2}});
            Append(program, part);
            Append(program, {{.operation = Operation::Jump, .first = -GetLength(part) - 1}});
        }
        std::vector<int> splits;
        for (int count = counts.least; count < counts.most; ++count) {
            splits.push_back(GetLength(program));
            Append(program, {{Operation::Split}});
            Append(program, part);
        }
        for (const int split : splits) {
            program[static_cast<std::size_t>(split)].second = GetLength(program) - split;
        }
        return program;
    }

    void Append(Program& program, const Program& part) {
        m_budget.Spend(part.size());
        if (program.size() + part.size() > Pattern::maxSize) {
            throw std::length_error("The pattern is too long.");
        }
        program.insert(program.end(), part.begin(), part.end());
    }

    static int GetLength(const Program& program) { return static_cast<int>(program.size()); }

    bool Accept(char character) {
        const bool isThere = m_text.starts_with(character);
        m_text.remove_prefix(isThere ? 1 : 0);
        return isThere;
    }

    void Expect(char character) {
        if (!Accept(character)) {
            throw Unreadable();
        }
    }

    char32_t Take() {
        if (m_text.empty()) {
            throw Unreadable();
        }
        const auto [character, length] = Decode(m_text);
        m_text.remove_prefix(length);
        return character;
    }

    std::string_view m_text;
    std::vector<Set>& m_sets;
    Budget& m_budget;
    int m_depth = 0;
};

} // namespace

/// Runs a program over a text: all alternatives at once, character by character.
class Pattern::Run {
public:
    Run(const Pattern& pattern, std::size_t length, Budget& budget)
        : m_pattern(pattern), m_length(length), m_budget(budget), m_lists(GetLists()) {
        m_lists.seen.resize(std::max(m_lists.seen.size(), pattern.m_program.size()));
        m_lists.next.clear();
        m_lists.open.clear();
    }

    /// Moves to that position of the text, where another match may begin. True if a match ends there.
    bool BeginAt(std::size_t offset) {
        m_offset = offset;
        ++m_lists.position;
        m_lists.current.clear();
        for (const std::size_t index : m_lists.next) {
            Add(index);
        }
        m_lists.next.clear();
        Add(0);
        m_budget.Spend(std::exchange(m_steps, 1));
        return m_isMatched;
    }

    void Take(char32_t character) {
        for (const std::size_t index : m_lists.current) {
            if (IsTaken(m_pattern.m_program[index], character)) {
                m_lists.next.push_back(index + 1);
            }
        }
    }

private:
    struct Lists {
        std::size_t position = 0;      ///< The number of the position; goes on from search to search.
        std::vector<std::size_t> seen; ///< For each instruction the last position at which it was visited.
        std::vector<std::size_t> current;
        std::vector<std::size_t> next;
        std::vector<std::size_t> open;
    };

    /// Kept for the thread, as allocating and clearing them may take longer than a search.
    static Lists& GetLists() {
        thread_local Lists s_lists;
        return s_lists;
    }

    bool IsTaken(const Instruction& instruction, char32_t character) {
        switch (instruction.operation) {
        case Operation::Character:
            return instruction.value == character;
        case Operation::Any:
            return true;
        default:
            return IsIn(m_pattern.m_sets[instruction.value], character);
        }
    }

    bool IsIn(const Set& set, char32_t character) {
        m_steps += set.ranges.size();
        return set.isNegated != std::ranges::any_of(set.ranges, [character](const Range& range) {
                   return character >= range.first && character <= range.last;
               });
    }

    /// Follows the instructions that take no character, each once per position.
    void Add(std::size_t start) {
        m_lists.open.push_back(start);
        while (!m_lists.open.empty()) {
            const std::size_t index = m_lists.open.back();
            m_lists.open.pop_back();
            if (m_lists.seen[index] == m_lists.position) {
                continue;
            }
            m_lists.seen[index] = m_lists.position;
            ++m_steps;
            Follow(index);
        }
    }

    void Follow(std::size_t index) {
        const Instruction& instruction = m_pattern.m_program[index];
        const auto open = [this, index](int distance) {
            m_lists.open.push_back(static_cast<std::size_t>(static_cast<std::ptrdiff_t>(index) + distance));
        };
        switch (instruction.operation) {
        case Operation::Match:
            m_isMatched = true;
            break;
        case Operation::Split:
            open(instruction.second);
            [[fallthrough]];
        case Operation::Jump:
            open(instruction.first);
            break;
        case Operation::Begin:
            if (m_offset == 0) {
                open(1);
            }
            break;
        case Operation::End:
            if (m_offset == m_length) {
                open(1);
            }
            break;
        default:
            m_lists.current.push_back(index);
        }
    }

    const Pattern& m_pattern;
    std::size_t m_length;
    Budget& m_budget;
    Lists& m_lists;
    std::size_t m_offset = 0;
    std::size_t m_steps = 1; ///< Not yet taken from the budget.
    bool m_isMatched = false;
};

void Budget::Spend(std::size_t steps) {
    if (steps > m_steps) {
        throw std::length_error("The steps are used up.");
    }
    m_steps -= steps;
}

Pattern::Pattern(std::string_view text, Budget& budget) {
    budget.Spend(text.size());
    m_program = Compiler(text, m_sets, budget).Compile();
}

bool Pattern::IsFoundIn(std::string_view text, Budget& budget) const {
    Run run(*this, text.size(), budget);
    for (std::size_t offset = 0;;) {
        if (run.BeginAt(offset)) {
            return true;
        }
        if (offset == text.size()) {
            return false;
        }
        const auto [character, length] = Decode(text.substr(offset));
        run.Take(character);
        offset += length;
    }
}

} // namespace Tovra::System::Serialization
