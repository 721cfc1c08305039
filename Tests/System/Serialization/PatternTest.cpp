#include <System/Serialization/Pattern.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
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

TEST(Pattern, IsNotValidWhereItCannotBeRead) {
    for (const std::string text :
         {"(",      ")",     "a)",      "(a",    "[",       "[]",   "[^]",   "[a",     "*",
          "+a",     "?",     "a**",     "|*",    "(*)",     "^*",   "$+",    "{2}",    "a{2}{3}",
          "a{3,2}", "\\",    "\\1",     "\\0",   "\\b",     "\\B",  "\\c",   "\\k<a>", "\\p{L}",
          "(?=a)",  "(?!a)", "(?<a>b)", "[b-a]", "[a-\\d]", "\\x4", "\\xg0", "\\u12",  "\\ud83d\\u0041"}) {
        EXPECT_FALSE(Compile(text).IsValid()) << text;
    }
    EXPECT_TRUE(Compile(std::string(255, '(') + std::string(255, ')')).IsValid());
    EXPECT_FALSE(Compile(std::string(256, '(') + std::string(256, ')')).IsValid());
    EXPECT_FALSE(Compile(std::string(1'000'000, '(')).IsValid());
}

TEST(Pattern, IsRefusedWhereItIsTooLongWithItsRepetitions) {
    EXPECT_EQ(Compile("a{100}").GetSize(), 101u);
    EXPECT_TRUE(Compile("a{19999}").IsValid());
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

TEST(Pattern, RepeatsWhatTakesNothingAtNoCost) {
    std::string many;
    for (int index = 0; index < 20'000; ++index) {
        many += "(){999999}";
    }
    ExpectToMatch("^" + many + "a(){2,}(|){0}()*$", {"a"}, {"", "aa"});
    EXPECT_EQ(Compile("(){0,999999}()+(){5}").GetSize(), 1u);
}

} // namespace
