#include <System/Utilities/Utf8.h>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
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
                                        "\xC3\xC3\xA1", "\x80\x80", "\xC3\xC0", "\xE2\x82\xC0", "\xFE", "\xFF"}) {
        EXPECT_FALSE(IsUtf8(text)) << testing::PrintToString(text);
        EXPECT_FALSE(IsUtf8("á" + std::string(text))) << testing::PrintToString(text);
    }
}

TEST(Utf8, HoldsNoSequenceThatWouldGoOnInThePageBehindIt) {
    const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const pages = mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char* const end = static_cast<char*>(pages) + pageSize;
    ASSERT_EQ(mprotect(end, pageSize, PROT_NONE), 0);
    for (const std::string_view text : {"\xC3", "\xE2\x82", "\xF0\x9F\x98"}) {
        std::ranges::copy(text, end - text.size());
        EXPECT_FALSE(IsUtf8({end - text.size(), text.size()})) << testing::PrintToString(text);
    }
    munmap(pages, 2 * pageSize);
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
