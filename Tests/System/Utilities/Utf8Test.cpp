#include <System/Utilities/Utf8.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace Tovra::System::Utilities {

namespace {

TEST(Utf8, HoldsSequencesOfEveryLengthFromTheFirstToTheLastCharacter) {
    for (const std::string_view text : {"", "a", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                                        "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(IsUtf8(text)) << testing::PrintToString(text);
        EXPECT_TRUE(IsUtf8("a" + std::string(text) + "á")) << testing::PrintToString(text);
    }
    EXPECT_TRUE(IsUtf8(std::string_view("a\0á", 4)));
}

TEST(Utf8, HoldsNoByteOutsideASequence) {
    for (const std::string_view text : {"\x80", "\xBF", "\xC3",
                                        "\xC3"
                                        "a",
                                        "\xE2\x82",
                                        "\xE2\x82"
                                        "a",
                                        "\xF0\x9F\x98",
                                        "\xF0\x9F\x98"
                                        "a",
                                        "\xC3\xC3\xA1", "\xFE", "\xFF"}) {
        EXPECT_FALSE(IsUtf8(text)) << testing::PrintToString(text);
        EXPECT_FALSE(IsUtf8("á" + std::string(text))) << testing::PrintToString(text);
    }
}

TEST(Utf8, HoldsNoSurrogateAndNothingBeyondUnicode) {
    for (const std::string_view text : {"\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"}) {
        EXPECT_FALSE(IsUtf8(text)) << testing::PrintToString(text);
    }
}

TEST(Utf8, HoldsNothingThatIsEncodedLongerThanItNeedBe) {
    for (const std::string_view text :
         {"\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF"}) {
        EXPECT_FALSE(IsUtf8(text)) << testing::PrintToString(text);
    }
}

} // namespace

} // namespace Tovra::System::Utilities
