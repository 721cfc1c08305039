// Label: threaded
#include <Support/MemoryFault.h>
#include <System/Serialization/Pattern.h>

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Tovra::System::Serialization::Budget;
using Tovra::System::Serialization::Pattern;

Pattern Compile(const std::string& text) {
    Budget budget(5'000'000);
    return {text, budget};
}

bool IsFound(const std::string& pattern, const std::string& text) {
    const Pattern compiled = Compile(pattern);
    EXPECT_TRUE(compiled.IsValid()) << pattern;
    Budget budget(1'000'000);
    return compiled.IsFoundIn(text, budget);
}

/// Expects that a pattern matches some texts and not others.
void ExpectToMatch(const std::string& pattern, const std::vector<std::string>& matched,
                   const std::vector<std::string>& others) {
    for (const std::string& text : matched) {
        EXPECT_TRUE(IsFound(pattern, text)) << pattern << " in " << text;
    }
    for (const std::string& text : others) {
        EXPECT_FALSE(IsFound(pattern, text)) << pattern << " in " << text;
    }
}

TEST(Pattern, IsFoundAnywhere) {
    ExpectToMatch("ab", {"ab", "xaby", "aab"}, {"", "a", "ba", "AB"});
    ExpectToMatch("", {"", "a"}, {});
}

TEST(Pattern, IsHeldByItsAnchors) {
    ExpectToMatch("^a", {"a", "ab"}, {"ba", ""});
    ExpectToMatch("a$", {"a", "ba"}, {"ab", ""});
    ExpectToMatch("^$", {""}, {"a"});
    ExpectToMatch("^a|b", {"a", "xb", "ax"}, {"xa"});
    ExpectToMatch("(^a|b$)c?", {"a", "xb"}, {"xa", "bx"});
    ExpectToMatch("a^b", {}, {"ab", "a^b"});
}

TEST(Pattern, KnowsAlternativesAndGroups) {
    ExpectToMatch("^(a|bc|)d$", {"ad", "bcd", "d"}, {"bd", "abcd"});
    ExpectToMatch("^(?:a|b|c)$", {"a", "b", "c"}, {"ab", ""});
    ExpectToMatch("^a()b$", {"ab"}, {"a b"});
}

TEST(Pattern, KnowsQuantifiers) {
    ExpectToMatch("^a*$", {"", "a", "aaa"}, {"b"});
    ExpectToMatch("^a+$", {"a", "aaa"}, {"", "ab"});
    ExpectToMatch("^a?$", {"", "a"}, {"aa"});
    ExpectToMatch("^a{2}$", {"aa"}, {"a", "aaa"});
    ExpectToMatch("^a{2,}$", {"aa", "aaaaa"}, {"a"});
    ExpectToMatch("^a{1,3}$", {"a", "aa", "aaa"}, {"", "aaaa"});
    ExpectToMatch("^a{0}$", {""}, {"a"});
    ExpectToMatch("^a{0,2}b$", {"b", "ab", "aab"}, {"aaab"});
    ExpectToMatch("^(ab|c){2}$", {"abab", "abc", "cc"}, {"ab", "ccc"});
    ExpectToMatch("^x(ab){1,3}c$", {"xabc", "xababc", "xabababc"}, {"xc", "xab", "xababababc", "xaabbc"});
    ExpectToMatch("^a+?b*?c??$", {"a", "aab", "ac"}, {"b"});
}

TEST(Pattern, RepeatsWhatCanBeEmpty) {
    ExpectToMatch("^(a*)*b$", {"b", "aaab"}, {"a", "ac"});
    ExpectToMatch("^(a?b?)+$", {"", "ab", "ba"}, {"c"});
    ExpectToMatch("^(a*|b)*$", {"", "abba"}, {"c"});
    ExpectToMatch("^((a?)*){3}$", {"", "aaaa"}, {"b"});
}

TEST(Pattern, KnowsClasses) {
    ExpectToMatch("^[abx-z]$", {"a", "b", "y"}, {"c", "w", ""});
    ExpectToMatch("^[^a-c]$", {"d", "^"}, {"a", "c", ""});
    ExpectToMatch("^[a-]$", {"a", "-"}, {"b"});
    ExpectToMatch("^[-a]$", {"a", "-"}, {"b"});
    ExpectToMatch("^[\\]\\\\.*]$", {"]", "\\", ".", "*"}, {"a"});
    ExpectToMatch("^[\\b]$", {"\b"}, {"b"});
    ExpectToMatch("^[a^]$", {"a", "^"}, {"b"});
    ExpectToMatch("^[a-ac-e-g]$", {"a", "c", "d", "e", "-", "g"}, {"b", "f"});
    ExpectToMatch("^[--/]$", {"-", ".", "/"}, {",", "0"});
}

TEST(Pattern, TakesAHyphenBesideASetForItself) {
    ExpectToMatch("^[\\d-z]$", {"5", "-", "z"}, {"a", "y", ".", std::string(1, '\0')});
    ExpectToMatch("^[a-\\d]$", {"a", "-", "5"}, {"b", "."});
    ExpectToMatch("^[\\s-\\d]$", {" ", "-", "5"}, {"a", "."});
    ExpectToMatch("^[\\d-a-z]$", {"5", "-", "a", "z"}, {"b", "y"});
    ExpectToMatch("^[a-\\d-z]$", {"5", "-", "a", "z"}, {"b", "y"});
    ExpectToMatch("^[\\d--z]$", {"5", "-", "z"}, {".", "A", "y"});
    ExpectToMatch("^[\\w-]$", {"a", "-"}, {".", ","});
}

TEST(Pattern, KnowsEscapes) {
    ExpectToMatch("^\\d\\D$", {"1a", "0-"}, {"a1", "11"});
    ExpectToMatch("^\\w\\W$", {"a-", "_ ", "Z\xC3\xA1"}, {"-a", "aa"});
    ExpectToMatch("^\\s\\S$", {" a", "\ta", "\va"}, {"a ", "  "});
    ExpectToMatch("^[\\d_]$", {"5", "_"}, {"a"});
    ExpectToMatch("^[^\\D]$", {"5"}, {"a", "-"});
    ExpectToMatch("^[\\Sx]$", {"a", "/"}, {" "});
    ExpectToMatch("^\\f\\n\\r\\t\\v$", {"\f\n\r\t\v"}, {"fnrtv"});
    ExpectToMatch("^\\x41\\u00e1\\u00C1\\ud83d\\ude00$", {"A\xC3\xA1\xC3\x81\xF0\x9F\x98\x80"}, {"A"});
    ExpectToMatch("^\\^\\$\\|\\(\\)\\?\\*\\+\\.\\[\\]\\{\\}\\\\\\/\\-$", {"^$|()?*+.[]{}\\/-"}, {""});
}

/// All of ASCII, and some characters and bytes beyond.
std::vector<std::string> GetCharacters() {
    std::vector<std::string> characters{"\xC2\x80", "\xC3\xA1", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\x80", "\xFF"};
    for (char character = 0; character < 0x7F; ++character) {
        characters.emplace_back(1, character);
    }
    characters.emplace_back("\x7F");
    return characters;
}

TEST(Pattern, KnowsEachCharacterOfItsSets) {
    for (const auto& [letter, opposite, members] :
         {std::tuple<std::string, std::string, std::string>{"\\d", "\\D", "0123456789"},
          {"\\w", "\\W", "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz"},
          {"\\s", "\\S", "\t\n\v\f\r "}}) {
        for (const std::string& character : GetCharacters()) {
            const bool isMember = members.find(character) != std::string::npos;
            for (const std::string& pattern : {letter, "[" + letter + "]", "[^" + opposite + "]"}) {
                EXPECT_EQ(IsFound(pattern, character), isMember) << pattern << " in " << character;
            }
            for (const std::string& pattern : {opposite, "[" + opposite + "]", "[^" + letter + "]"}) {
                EXPECT_NE(IsFound(pattern, character), isMember) << pattern << " in " << character;
            }
            EXPECT_TRUE(IsFound("^[" + letter + opposite + "]$", character)) << letter << " in " << character;
        }
    }
}

TEST(Pattern, TakesEachEscapedCharacterThatHasNoMeaningForItself) {
    const std::string withMeaning = "DSWdfnrstuvwx";
    const std::string withoutSupport = "0123456789ABCEFGHIJKLMNOPQRTUVXYZabceghijklmopqyz";
    for (const std::string& character : GetCharacters()) {
        if (withMeaning.find(character) != std::string::npos) {
            continue;
        }
        if (withoutSupport.find(character) != std::string::npos) {
            EXPECT_FALSE(Compile("\\" + character).IsValid()) << character;
        } else {
            EXPECT_TRUE(IsFound("^\\" + character + "$", character)) << character;
        }
    }
}

TEST(Pattern, ReadsHexadecimalDigitsOfEitherCase) {
    ExpectToMatch("^\\u0123\\u4567\\u89ab\\ucdef$", {"\xC4\xA3\xE4\x95\xA7\xE8\xA6\xAB\xEC\xB7\xAF"}, {"\xC4\xA3"});
    ExpectToMatch("^\\u89AB\\uCDEF\\xFa$", {"\xE8\xA6\xAB\xEC\xB7\xAF\xC3\xBA"}, {"\xE8\xA6\xAB"});
    ExpectToMatch("^\\x411\\u00411$", {"A1A1"}, {"A", "AA"});
    // The last one is U+0130, which ends in the number of the digit 0.
    for (const std::string character : {"/", ":", "@", "G", "`", "g", "x", " ", "+", "-", "\xC4\xB0"}) {
        for (const std::string& digits :
             {"x4" + character, "x" + character + "4", "u004" + character, "u" + character + "041"}) {
            EXPECT_FALSE(Compile("\\" + digits + "41").IsValid()) << digits;
        }
    }
}

TEST(Pattern, ReadsTwoSurrogatesForOneCharacterAndAnyOtherForItself) {
    for (const auto& [escapes, character] : {std::pair<std::string, std::string>{"\\ud800\\udc00", "\xF0\x90\x80\x80"},
                                             {"\\uD800\\uDFFF", "\xF0\x90\x8F\xBF"},
                                             {"\\udbff\\udc00", "\xF4\x8F\xB0\x80"},
                                             {"\\udbff\\udfff", "\xF4\x8F\xBF\xBF"},
                                             {"\\ud7ff", "\xED\x9F\xBF"},
                                             {"\\ud800", "\xED\xA0\x80"},
                                             {"\\udbff", "\xED\xAF\xBF"},
                                             {"\\udc00", "\xED\xB0\x80"},
                                             {"\\udfff", "\xED\xBF\xBF"},
                                             {"\\ue000", "\xEE\x80\x80"}}) {
        ExpectToMatch("^" + escapes + "$", {character}, {character + character});
        ExpectToMatch("^[" + escapes + "]abcdef$", {character + "abcdef"}, {character});
    }
    ExpectToMatch("^\\ud83dabcdef$",
                  {"\xED\xA0\xBD"
                   "abcdef"},
                  {"\xED\xA0\xBD"});
    ExpectToMatch("^\\ud7ff\\udc00\\udc00\\u0041$",
                  {"\xED\x9F\xBF\xED\xB0\x80\xED\xB0\x80"
                   "A"},
                  {"A"});
    for (const std::string escapes :
         {"\\ud800\\ud800", "\\ud800\\udbff", "\\ud800\\ue000", "\\udbff\\uffff", "\\ud800\\u"}) {
        EXPECT_FALSE(Compile(escapes).IsValid()) << escapes;
    }
}

TEST(Pattern, TakesBracesThatAreNoQuantifierForThemselves) {
    ExpectToMatch("^a{$", {"a{"}, {"a"});
    ExpectToMatch("^a{,2}$", {"a{,2}"}, {"aa"});
    ExpectToMatch("^{a}]$", {"{a}]"}, {"a"});
}

TEST(Pattern, TakesAnyCharacterForOne) {
    ExpectToMatch("^.$", {"a", "\n", "\xC3\xA1", "\xE6\x97\xA5", "\xF0\x9F\x98\x80"}, {"", "aa"});
    ExpectToMatch("^[\xC3\xA0-\xC3\xAF]$", {"\xC3\xA1"}, {"\xC3\xB1", "a", "\xC3"});
    ExpectToMatch("^[^a]$", {"\xC3\xA1", "\xFF"}, {"\xC3\xA1\xC3\xA1"});
}

TEST(Pattern, TakesTheFirstAndTheLastCharacterOfEachLengthForOne) {
    for (const char* const text :
         {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        ExpectToMatch("^.$", {text}, {std::string(text) + text});
    }
}

TEST(Pattern, TakesEachByteThatIsNoTextForACharacter) {
    for (const char* const text : {"\xFF", "\x80", "\xC3", "\xED", "\xF8"}) {
        ExpectToMatch("^.$", {text}, {std::string(text) + text});
        ExpectToMatch(text, {text}, {"a", "\xC3\xA1"});
    }
    ExpectToMatch("^..$", {"\xC0\x80", "\xE6\x97"}, {"\xE6\x97\xA5"});
    ExpectToMatch("^...$", {"\xE0\x9F\xBF"}, {"\xE0\xA0\x80"});
    ExpectToMatch("^....$", {"\xF4\x90\x80\x80", "\xF0\x8F\xBF\xBF", "\xF8\x90\x80\x80", "\xF9\x80\x80\x80"},
                  {"\xF4\x8F\xBF\xBF"});
}

TEST(Pattern, ReadsTheShortestFormOfEachCharacterAlone) {
    for (const auto& [text, escape] : {std::pair<std::string, std::string>{"\x7F", "\\x7f"},
                                       {"\xC2\x80", "\\x80"},
                                       {"\xDF\xBF", "\\u07ff"},
                                       {"\xE0\xA0\x80", "\\u0800"},
                                       {"\xEF\xBF\xBF", "\\uffff"},
                                       {"\xF0\x90\x80\x80", "\\ud800\\udc00"},
                                       {"\xF4\x8F\xBF\xBF", "\\udbff\\udfff"}}) {
        ExpectToMatch("^.$", {text}, {});
        ExpectToMatch("^" + escape + "$", {text}, {});
        ExpectToMatch("^" + text + "$", {text}, {});
    }
    for (const std::string text :
         {"\xC1\xBF", "\xE0\x9F\xBF", "\xE0\x80\x80", "\xF0\x8F\xBF\xBF", "\xF5\x80\x80\x80", "\xF7\xBF\xBF\xBF",
          "\xF8\x90\x80\x80", "\xF8\x80\x80\x80\x80", "\xF8\x84\x80\x80\x80", "\xFB\xBF\xBF\xBF\xBF", "B\x80",
          "\x80\x80", "\xBF\xBF", "\xDF", "\xEF\xBF", "\xF4\x8F\xBF",
          "\xDF"
          "A",
          "\xEF\xBF"
          "A",
          "\xC3\xC3"}) {
        const std::string size = std::to_string(text.size());
        ExpectToMatch("^.{" + size + "}$", {text}, {});
        ExpectToMatch("[^\\x00-\\udbff\\udfff]", {text}, {"\x7F", "\xF4\x8F\xBF\xBF"});
    }
}

TEST(Pattern, ReadsEachSequenceAsFarAsItGoesAndNoFurther) {
    ExpectToMatch("^..$", {"\xC3\xA1\x80", "\xE6\x97\xA5\x80", "\xF0\x9F\x98\x80\x80"}, {"\xC3\xA1"});
    for (const std::string text : {"\xC3\xA1", "\xE6\x97\xA5", "\xF0\x9F\x98\x80"}) {
        Budget budget(1'000);
        const Pattern pattern = Compile("^.$");
        EXPECT_TRUE(pattern.IsFoundIn(text, budget)) << text;
        for (std::size_t size = 2; size < text.size(); ++size) {
            EXPECT_FALSE(pattern.IsFoundIn(std::string_view(text).substr(0, size), budget)) << text;
        }
        EXPECT_TRUE(pattern.IsFoundIn(std::string_view(text).substr(0, 1), budget)) << text;
    }
}

TEST(Pattern, IsNotValidWhereItCannotBeRead) {
    for (const std::string text : {"(",      ")",      "a)",
                                   "(a",     "[",      "[]",
                                   "[^]",    "[a",     "*",
                                   "+a",     "?",      "a**",
                                   "|*",     "(*)",    "^*",
                                   "$+",     "{2}",    "a{2}{3}",
                                   "a{3,2}", "\\",     "\\1",
                                   "\\0",    "\\b",    "\\B",
                                   "\\c",    "\\k<a>", "\\p{L}",
                                   "(?=a)",  "(?!a)",  "(?<a>b)",
                                   "[b-a]",  "[]a]",   "[^]a]",
                                   "[a-",    "[\\d-",  "\\x4",
                                   "\\xg0",  "\\u12",  "\\ud83d\\u0041"}) {
        EXPECT_FALSE(Compile(text).IsValid()) << text;
    }
    EXPECT_TRUE(Compile(std::string(255, '(') + std::string(255, ')')).IsValid());
    EXPECT_FALSE(Compile(std::string(256, '(') + std::string(256, ')')).IsValid());
    EXPECT_FALSE(Compile(std::string(1'000'000, '(')).IsValid());
}

TEST(Pattern, ReadsNothingBehindItsText) {
    const std::string behind = "41n]" + std::string(30'000, 'n');
    for (const std::string text : {"\\", "[", "[a", "[a-", "[\\", "\\x", "\\x4", "\\u004", "\\ud83d\\u", "(", "(?"}) {
        const std::string both = text + behind;
        Budget budget(5'000'000);
        EXPECT_FALSE(Pattern(std::string_view(both).substr(0, text.size()), budget).IsValid()) << text;
    }
}

/// What is said of why an expression is refused; empty if it is not.
std::string GetRefusal(const std::string& text, std::size_t steps) {
    Budget budget(steps);
    try {
        static_cast<void>(Pattern(text, budget));
        return "";
    } catch (const std::length_error& error) {
        return error.what();
    }
}

TEST(Pattern, IsRefusedWhereItIsTooLongWithItsRepetitions) {
    EXPECT_EQ(Compile("a{100}").GetSize(), 101u);
    EXPECT_EQ(Compile("a{19999}").GetSize(), Pattern::maxSize);
    EXPECT_EQ(Compile("b?a{0,9998}").GetSize(), Pattern::maxSize - 1);
    EXPECT_EQ(Compile("ba{0,9999}").GetSize(), Pattern::maxSize);
    for (const std::string text : {"a{20000}", "a{0,10000}", "ba{19999}", "bba{0,9999}", "a{2147483647}",
                                   "a{2147483648}", "(a{5000}){0,2147483647}", "a{99999999999,}"}) {
        EXPECT_EQ(GetRefusal(text, 5'000'000), "The pattern is too long.") << text;
    }
    for (const std::string text :
         {"a{20001}", "a{0,20001}", "(a{200}){200}", "(a?){200000}", "(a?){10001}", "a{1,99999999999}"}) {
        EXPECT_THROW(static_cast<void>(Compile(text)), std::length_error) << text;
    }
    EXPECT_THROW(static_cast<void>(Compile(std::string(20'001, 'a'))), std::length_error);
}

TEST(Pattern, IsRefusedWhereItIsTooLongBeforeWhatCannotBeRead) {
    EXPECT_FALSE(Compile("a{19998}|(").IsValid());
    EXPECT_THROW(static_cast<void>(Compile("a{19999}|(")), std::length_error) << "A split, its branch and a jump.";
}

TEST(Pattern, EndsWhereTheBudgetDoes) {
    const Pattern pattern = Compile("(a?){1000}b");
    Budget enough(1'000'000);
    EXPECT_FALSE(pattern.IsFoundIn(std::string(100, 'a'), enough));
    Budget little(10'000);
    EXPECT_THROW(static_cast<void>(pattern.IsFoundIn(std::string(100, 'a'), little)), std::length_error);
    Budget ranges(10'000);
    std::string manyRanges = "[";
    for (int index = 0; index < 1'000; ++index) {
        manyRanges += "b";
    }
    EXPECT_THROW(static_cast<void>(Compile(manyRanges + "]").IsFoundIn(std::string(100, 'a'), ranges)),
                 std::length_error);
}

/// `count` empty alternatives, of two steps each but the last.
std::string MakeAlternatives(int count) {
    return std::string(static_cast<std::size_t>(count - 1), '|');
}

TEST(Pattern, SpendsItsStepsOnAnEmptyTextAndOnAMatchAtOnce) {
    const Pattern pattern = Compile(MakeAlternatives(5'000));
    ASSERT_EQ(pattern.GetSize(), 9'999u);
    for (const std::string text : {"", "a"}) {
        Budget little(9'000);
        EXPECT_THROW(static_cast<void>(pattern.IsFoundIn(text, little)), std::length_error) << text;
        Budget enough(10'001);
        EXPECT_TRUE(pattern.IsFoundIn(text, enough)) << text;
    }
}

TEST(Pattern, IsFoundAfterASearchThatTheBudgetEnded) {
    Budget little(10);
    EXPECT_THROW(static_cast<void>(Compile("(a|b)*c").IsFoundIn("abab", little)), std::length_error);
    EXPECT_FALSE(IsFound("^abc", "ab"));
    EXPECT_TRUE(IsFound("^a", "a"));
}

TEST(Pattern, SpendsABudgetWhileItIsCompiled) {
    const std::string half = "(a{10000})";
    for (const auto& [text, most] : {std::pair<std::string, std::size_t>{MakeAlternatives(6'000), 60'000},
                                     {half + "{0}b", 50'000},
                                     {"[" + std::string(10'000, 'a') + "]", 11'000}}) {
        Budget enough(most);
        EXPECT_TRUE(Pattern(text, enough).IsValid()) << text.substr(0, 20);
        Budget little(9'000);
        EXPECT_THROW(static_cast<void>(Pattern(text, little)), std::length_error) << text.substr(0, 20);
    }
}

TEST(Pattern, SpendsAStepForEachByteAndInstructionWhileItIsCompiled) {
    // An instruction is written once for each thing that it becomes a part of.
    for (const auto& [text, steps] :
         {std::pair<std::string, std::size_t>{"", 1}, {"a", 5}, {"a|b", 12}, {"a{3}", 14}, {"a*", 12}, {"(a)", 10}}) {
        EXPECT_EQ(GetRefusal(text, steps), "") << text;
        EXPECT_EQ(GetRefusal(text, steps - 1), "The steps are used up.") << text;
    }
    // The alternative is written before what follows it is read.
    EXPECT_EQ(GetRefusal("a|*", 7), "The steps are used up.");
    EXPECT_EQ(GetRefusal("a|*", 8), "");
}

TEST(Pattern, IsNotReadWhereItIsLongerThanTheBudget) {
    Budget budget(3);
    EXPECT_THROW(static_cast<void>(Pattern("aaaa", budget)), std::length_error);
    EXPECT_NO_THROW(budget.Spend(3));
    EXPECT_THROW(budget.Spend(1), std::length_error);
}

TEST(Pattern, SpendsAStepForEachPositionInstructionAndRangeThatItTries) {
    struct Search {
        std::string pattern;
        std::string text;
        std::size_t steps;
    };
    for (const auto& [pattern, text, steps] : {Search{"a", "", 2},
                                               {"a", "b", 4},
                                               {"a", "bbbb", 10},
                                               {"[xyz]", "b", 7},
                                               {"[w-zy]", "bb", 10},
                                               {"\\W", "bb", 14}}) {
        const Pattern compiled = Compile(pattern);
        Budget enough(steps);
        EXPECT_FALSE(compiled.IsFoundIn(text, enough)) << pattern;
        Budget little(steps - 1);
        EXPECT_THROW(static_cast<void>(compiled.IsFoundIn(text, little)), std::length_error) << pattern;
    }
}

TEST(Pattern, IsFoundAfterASearchForWhichThereWasTooLittleMemory) {
    const Pattern many = Compile("a(b|c|d|e|f|g|h|i|j|k)");
    const Pattern one = Compile("a");
    bool hasFailed = true;
    for (int call = 1; hasFailed; ++call) {
        hasFailed = false;
        // A new thread has no memory yet that an earlier search took.
        std::thread([&] {
            Budget budget(1'000);
            try {
                const Tovra::Tests::MemoryFault fault(call);
                EXPECT_TRUE(many.IsFoundIn("ab", budget));
            } catch (const std::bad_alloc&) {
                hasFailed = true;
            }
            EXPECT_FALSE(one.IsFoundIn("b", budget)) << "After " << call << " calls.";
            EXPECT_TRUE(many.IsFoundIn("ab", budget)) << "After " << call << " calls.";
        }).join();
    }
}

TEST(Pattern, RepeatsWhatTakesNothingAtNoCost) {
    std::string many;
    for (int index = 0; index < 20'000; ++index) {
        many += "(){999999}";
    }
    ExpectToMatch("^" + many + "a(){2,}(|){0}()*$", {"a"}, {"", "aa"});
    EXPECT_EQ(Compile("(){0,999999}()+(){5}").GetSize(), 1u);
}

} // namespace
