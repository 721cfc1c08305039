#include <System/Utilities/String.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Tovra::System::Utilities::String;
using namespace std::string_literals;

std::string Trimmed(std::string text, const char* characters) {
    String::Trim(text, characters);
    return text;
}

std::string ToUtf16(std::string_view text) {
    return String::Utf8ToUtf16(text.data(), text.size());
}

std::string ToUtf8(std::u16string_view text) {
    return String::Utf16ToUtf8(text.data(), text.size());
}

std::string ToHex(std::string_view bytes, std::size_t bytesPerLine, bool withText) {
    return String::BytesToHex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), bytesPerLine,
                              withText);
}

std::vector<unsigned char> FromHex(std::string_view text) {
    std::vector<unsigned char> bytes((text.size() + 1) / 2, 0x55);
    String::HexToBytes(text.data(), text.size(), bytes.data());
    return bytes;
}

std::string FromBase64(std::string_view text) {
    std::vector<unsigned char> bytes;
    EXPECT_EQ(String::Base64Decode(text.data(), text.size(), bytes), bytes.size());
    return {bytes.begin(), bytes.end()};
}

/// The capacity of a text of that length after reserving room.
std::size_t GetCapacity(std::size_t reserved, std::size_t length) {
    std::string text;
    text.reserve(reserved);
    text.append(length, ' ');
    return text.capacity();
}

TEST(String, TrimRemovesTheSetsCharactersFromBothEnds) {
    EXPECT_EQ(Trimmed(" \t a b\t ", " \t"), "a b");
    EXPECT_EQ(Trimmed("xab", "x"), "ab");
    EXPECT_EQ(Trimmed("abx", "x"), "ab");
    EXPECT_EQ(Trimmed("ab", "x"), "ab");
}

TEST(String, TrimLeavesAnEmptyText) {
    EXPECT_EQ(Trimmed("", " "), "");
}

TEST(String, TrimEmptiesATextOfOnlySuchCharacters) {
    EXPECT_EQ(Trimmed("  \t", " \t"), "");
}

TEST(String, TrimEmptySetLeavesTheText) {
    EXPECT_EQ(Trimmed(" a ", ""), " a ");
    EXPECT_EQ(Trimmed("", ""), "");
}

TEST(String, TrimTakesZeroBytesForPartOfTheText) {
    EXPECT_EQ(Trimmed(" \0 "s, " "), "\0"s);
}

TEST(String, Utf8ToUtf16GivesLittleEndianUnits) {
    EXPECT_EQ(ToUtf16("A"), "\x41\x00"s);
    EXPECT_EQ(ToUtf16("\u00FC"), "\xFC\x00"s);
    EXPECT_EQ(ToUtf16("\u20AC"), "\xAC\x20"s);
    EXPECT_EQ(ToUtf16("\uFFFF"), "\xFF\xFF"s);
    EXPECT_EQ(ToUtf16(""), "");
    EXPECT_EQ(ToUtf16("a\0b"s), "a\0\0\0b\0"s);
}

TEST(String, Utf8ToUtf16WritesAPairFrom0x10000On) {
    EXPECT_EQ(ToUtf16("\U0001F600"), "\x3D\xD8\x00\xDE"s);
    EXPECT_EQ(ToUtf16("\U00010000"), "\x00\xD8\x00\xDC"s);
    EXPECT_EQ(ToUtf16("\U0010FFFF"), "\xFF\xDB\xFF\xDF"s);
}

TEST(String, Utf8ToUtf16StopsWithoutATraceAtAStrayContinuationByte) {
    EXPECT_EQ(ToUtf16("A\x80"
                      "B"),
              "A\0"s);
    EXPECT_EQ(ToUtf16("\xBF"), "");
}

TEST(String, Utf8ToUtf16StopsAtAByteThatOpensNoSequence) {
    for (const char* byte : {"\xF8", "\xFC", "\xFE", "\xFF"}) {
        EXPECT_EQ(ToUtf16("A"s + byte + "\x80\x80\x80\x80" + "B"), "A\0"s);
    }
}

TEST(String, Utf8ToUtf16StopsInsideASequenceAtAByteThatDoesNotContinueIt) {
    EXPECT_EQ(ToUtf16("A\xC3"
                      "BC"),
              "A\0"s);
    EXPECT_EQ(ToUtf16("A\xE2\x82"
                      "BC"),
              "A\0"s);
    EXPECT_EQ(ToUtf16("A\xF0\x9F\xC3\xBC"
                      "C"),
              "A\0"s);
}

TEST(String, Utf8ToUtf16WritesNothingForASequenceCutOffByTheEnd) {
    EXPECT_EQ(ToUtf16("A\xC3"), "A\0"s);
    EXPECT_EQ(ToUtf16("A\xE2\x82"), "A\0"s);
    EXPECT_EQ(ToUtf16("A\xF0\x9F\x98"), "A\0"s);
}

TEST(String, Utf8ToUtf16ReadsNoByteBehindTheSize) {
    EXPECT_EQ(String::Utf8ToUtf16("AB", 1), "A\0"s);
    EXPECT_EQ(String::Utf8ToUtf16("\u00FC", 1), "");
    EXPECT_EQ(String::Utf8ToUtf16("A\u20AC", 3), "A\0"s);
    EXPECT_EQ(String::Utf8ToUtf16("A\u20AC", 2), "A\0"s);
    EXPECT_EQ(String::Utf8ToUtf16("A\U0001F600", 4), "A\0"s);
    EXPECT_EQ(String::Utf8ToUtf16("A", 0), "");
    // ASCII is converted in blocks.
    const std::string text(48, 'a');
    for (std::size_t size = 0; size <= text.size(); ++size) {
        ASSERT_EQ(String::Utf8ToUtf16(text.data(), size).size(), size * 2);
    }
}

TEST(String, Utf8ToUtf16ReadsNoPageBehindTheText) {
    const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const pages = mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char* const end = static_cast<char*>(pages) + pageSize;
    ASSERT_EQ(mprotect(end, pageSize, PROT_NONE), 0);
    std::memset(pages, 'a', pageSize);
    // ASCII is converted in blocks: reads some that end where the page does, with a remainder and without.
    for (std::size_t size = 0; size <= 48; ++size) {
        EXPECT_EQ(String::Utf8ToUtf16(end - size, size).size(), size * 2);
    }
    munmap(pages, 2 * pageSize);
}

TEST(String, Utf8ToUtf16ReservesTwoBytesAByte) {
    EXPECT_EQ(ToUtf16(std::string(100, 'A')).capacity(), GetCapacity(200, 200));
    EXPECT_EQ(ToUtf16("\u20AC" + std::string(97, 'A')).capacity(), GetCapacity(200, 196));
}

TEST(String, Utf8ToUtf16LooksForNoOverlongFormSurrogateOrExcess) {
    EXPECT_EQ(ToUtf16("\xC0\x80"), "\0\0"s);
    EXPECT_EQ(ToUtf16("\xE0\x81\x81"), "A\0"s);
    EXPECT_EQ(ToUtf16("\xED\xA0\xBD"), "\x3D\xD8"s);
    EXPECT_EQ(ToUtf16("\xF0\x80\x81\x81"), "A\0"s);
    EXPECT_EQ(ToUtf16("\xF4\x90\x80\x80"), "\x00\xDC\x00\xDC"s);
    EXPECT_EQ(ToUtf16("\xF7\xBF\xBF\xBF"), "\xBF\xDF\xFF\xDF"s);
}

TEST(String, Utf8ToUtf16ConvertsAlikeWhereverASequenceStands) {
    // ASCII is converted in blocks: puts the sequence at each place in and after them.
    for (std::size_t before = 0; before < 40; ++before) {
        for (std::size_t after = 0; after < 40; ++after) {
            std::string expected;
            for (std::size_t index = 0; index < before; ++index) {
                expected += "a\0"s;
            }
            expected += "\xAC\x20"s;
            for (std::size_t index = 0; index < after; ++index) {
                expected += "b\0"s;
            }
            ASSERT_EQ(ToUtf16(std::string(before, 'a') + "\u20AC" + std::string(after, 'b')), expected);
        }
    }
}

TEST(String, Utf16ToUtf8WritesOneToFourBytes) {
    EXPECT_EQ(ToUtf8(u"\u007F"), "\x7F");
    EXPECT_EQ(ToUtf8(u"\u0080"), "\xC2\x80");
    EXPECT_EQ(ToUtf8(u"\u07FF"), "\xDF\xBF");
    EXPECT_EQ(ToUtf8(u"\u0800"), "\xE0\xA0\x80");
    EXPECT_EQ(ToUtf8(u"\uFFFF"), "\xEF\xBF\xBF");
    EXPECT_EQ(ToUtf8(u"\U00010000"), "\xF0\x90\x80\x80");
    EXPECT_EQ(ToUtf8(u"\U0001F621"), "\xF0\x9F\x98\xA1");
    EXPECT_EQ(ToUtf8(u"\U0010FFFF"), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(ToUtf8(u""), "");
}

TEST(String, Utf16ToUtf8JoinsAPair) {
    constexpr char16_t pair[] = {0xD83D, 0xDE00};
    EXPECT_EQ(String::Utf16ToUtf8(pair, 2), "\xF0\x9F\x98\x80");
    EXPECT_EQ(ToUtf8(u"a\U0001F600b"), "a\xF0\x9F\x98\x80"
                                       "b");
}

TEST(String, Utf16ToUtf8TakesALoneLowSurrogateForAnOrdinaryUnit) {
    constexpr char16_t low[] = {0xDE00, u'a'};
    EXPECT_EQ(String::Utf16ToUtf8(low, 2), "\xED\xB8\x80"
                                           "a");
}

TEST(String, Utf16ToUtf8TakesTheUnitBehindAHighSurrogateUnseen) {
    constexpr char16_t letter[] = {0xD800, u'A', u'B'};
    EXPECT_EQ(String::Utf16ToUtf8(letter, 3), "\xE2\x91\x81"
                                              "B"); // 0x2400 + 0x41
    constexpr char16_t high[] = {0xDBFF, 0xFFFF, u'B'};
    EXPECT_EQ(String::Utf16ToUtf8(high, 3), "\xF4\x91\xBF\xBF"
                                            "B"); // 0x102000 + 0xFFFF
}

TEST(String, Utf16ToUtf8ReadsOneUnitPastTheCountBehindAHighSurrogate) {
    constexpr char16_t units[] = {u'a', 0xD83D, 0xDE00};
    EXPECT_EQ(String::Utf16ToUtf8(units, 2), "a\xF0\x9F\x98\x80");
}

TEST(String, Utf16ToUtf8ReadsNoOtherUnitBehindTheCount) {
    EXPECT_EQ(String::Utf16ToUtf8(u"ab", 1), "a");
    EXPECT_EQ(String::Utf16ToUtf8(u"a", 0), "");
    constexpr char16_t units[] = {0xD83D, 0xDE00, u'b'};
    EXPECT_EQ(String::Utf16ToUtf8(units, 1), "\xF0\x9F\x98\x80");
    EXPECT_EQ(String::Utf16ToUtf8(units, 2), "\xF0\x9F\x98\x80");
}

TEST(String, Utf16ToUtf8ReservesFourBytesAUnit) {
    EXPECT_EQ(ToUtf8(std::u16string(100, u'A')).capacity(), GetCapacity(400, 100));
}

TEST(String, Utf16ToUtf8WritesAZeroByteForAZeroUnit) {
    constexpr char16_t units[] = {u'a', 0, u'b'};
    EXPECT_EQ(String::Utf16ToUtf8(units, 3), "a\0b"s);
}

TEST(String, BytesToHexWritesTwoDigitsAndABlankForEachByte) {
    EXPECT_EQ(ToHex("\x00\x0F\xA5\xFF"s, 0, false), "00 0F A5 FF ");
}

TEST(String, BytesToHexNothingGivesNothing) {
    EXPECT_EQ(ToHex("", 0, false), "");
    EXPECT_EQ(ToHex("", 16, true), "");
    EXPECT_EQ(String::BytesToHex(nullptr, 0, 1, true), "");
}

TEST(String, BytesToHexEndsALineInItsText) {
    EXPECT_EQ(ToHex("AB", 1, true), "41  A\n42 ");
    EXPECT_EQ(ToHex("AB\nD\x7F\x80\xFFHi", 3, true), "41 42 0A  AB.\n44 7F 80  D..\nFF 48 69 ");
}

TEST(String, BytesToHexShowsABlankAsItselfInTheText) {
    EXPECT_EQ(ToHex(" ~\x1F"
                    "A",
                    3, true),
              "20 7E 1F   ~.\n41 ");
}

TEST(String, BytesToHexReadsNoByteBehindTheSize) {
    const unsigned char bytes[] = {'A', 'B', 'C', 'D'};
    EXPECT_EQ(String::BytesToHex(bytes, 1, 1, true), "41 ");
    EXPECT_EQ(String::BytesToHex(bytes, 2, 1, true), "41  A\n42 ");
    EXPECT_EQ(String::BytesToHex(bytes, 3, 0, true), "41 42 43 ");
    EXPECT_EQ(String::BytesToHex(bytes, 0, 1, true), "");
}

TEST(String, BytesToHexEndsALineInANewlineWithoutText) {
    EXPECT_EQ(ToHex("ABC", 2, false), "41 42 \n43 ");
}

TEST(String, BytesToHexGivesTheLastLineNoEndEvenIfItIsFull) {
    EXPECT_EQ(ToHex("ABCD", 2, false), "41 42 \n43 44 ");
    EXPECT_EQ(ToHex("ABCD", 2, true), "41 42  AB\n43 44 ");
    EXPECT_EQ(ToHex("AB", 2, true), "41 42 ");
    EXPECT_EQ(ToHex("A", 1, true), "41 ");
}

TEST(String, BytesToHexZeroBytesALineNeverEndOne) {
    EXPECT_EQ(ToHex("AB", 0, true), "41 42 ");
}

TEST(String, BytesToHexReservesByItsLineCount) {
    EXPECT_EQ(ToHex(std::string(100, 'A'), 10, true).capacity(), GetCapacity(10 + 10 * 10 + 100 * 3, 408));
    EXPECT_EQ(ToHex(std::string(100, 'A'), 0, true).capacity(), GetCapacity(100 * 3, 300));
    EXPECT_EQ(ToHex(std::string(21, 'A'), 0, true).capacity(), GetCapacity(63, 63)) << "One more would be rounded up.";
    // Without text there is no room for the blanks, so the text grows once.
    EXPECT_EQ(ToHex(std::string(100, 'A'), 10, false).capacity(), GetCapacity(10 + 100 * 2, 309));
}

TEST(String, BytesToHexWritesLongLinesWhole) {
    std::string expected;
    for (int index = 0; index < 5000; ++index) {
        expected += "5A ";
    }
    EXPECT_EQ(ToHex(std::string(5000, 'Z'), 0, false), expected);
    EXPECT_EQ(ToHex(std::string(5000, 'Z'), 5000, true), expected);
    EXPECT_EQ(ToHex(std::string(10000, 'Z'), 5000, true), expected + ' ' + std::string(5000, 'Z') + '\n' + expected);
}

TEST(String, HexToByteGivesTheValueOfADigitAndZeroOtherwise) {
    for (int code = 0; code < 256; ++code) {
        const std::string_view digits = "0123456789abcdef";
        const std::string_view upperDigits = "0123456789ABCDEF";
        const auto digit = static_cast<char>(code);
        const std::size_t place = std::min(digits.find(digit), upperDigits.find(digit));
        EXPECT_EQ(String::HexToByte(digit), place == std::string_view::npos ? 0 : place) << code;
    }
}

TEST(String, HexToBytesReadsPairsHighDigitFirst) {
    EXPECT_THAT(FromHex("01aBFf"), ElementsAre(0x01, 0xAB, 0xFF));
    EXPECT_THAT(FromHex(""), IsEmpty());
}

TEST(String, HexToBytesOddFinalDigitFillsTheHighHalf) {
    EXPECT_THAT(FromHex("ABC"), ElementsAre(0xAB, 0xC0));
    EXPECT_THAT(FromHex("7"), ElementsAre(0x70));
}

TEST(String, HexToBytesCountsANonDigitAsZero) {
    EXPECT_THAT(FromHex("zz"), ElementsAre(0x00));
    EXPECT_THAT(FromHex("z1 2"), ElementsAre(0x01, 0x02));
}

TEST(String, HexToBytesWritesNotOneByteMore) {
    std::array<unsigned char, 3> bytes = {1, 2, 3};
    String::HexToBytes("ABC", 3, bytes.data());
    EXPECT_THAT(bytes, ElementsAre(0xAB, 0xC0, 3));
}

TEST(String, HexToBytesReadsNoDigitBehindTheSize) {
    std::array<unsigned char, 3> bytes = {1, 2, 3};
    String::HexToBytes("ABCD", 3, bytes.data());
    EXPECT_THAT(bytes, ElementsAre(0xAB, 0xC0, 3));
    String::HexToBytes("12", 0, bytes.data());
    EXPECT_THAT(bytes, ElementsAre(0xAB, 0xC0, 3));
    String::HexToBytes("1234", 2, bytes.data());
    EXPECT_THAT(bytes, ElementsAre(0x12, 0xC0, 3));
}

TEST(String, Base64DecodeReadsNoCharacterBehindTheSize) {
    // Groups of four are decoded at once: puts the end at each place in and after them.
    for (std::size_t size = 0; size <= 12; ++size) {
        std::vector<unsigned char> bytes;
        EXPECT_EQ(String::Base64Decode("TWFuTWFuTWFu", size, bytes), size * 3 / 4) << size;
        EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string("ManManMan").substr(0, size * 3 / 4));
    }
}

TEST(String, Base64DecodeDecodesTheStandardAlphabet) {
    EXPECT_EQ(FromBase64("TWFu"), "Man");
    EXPECT_EQ(FromBase64("+/+/"), "\xFB\xFF\xBF");
    EXPECT_EQ(FromBase64("AAAAAAA"), "\0\0\0\0\0"s) << "Also where no group is whole.";
    EXPECT_EQ(FromBase64("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"),
              "\x00\x10\x83\x10\x51\x87\x20\x92\x8B\x30\xD3\x8F\x41\x14\x93\x51\x55\x97\x61\x96\x9B\x71\xD7\x9F"
              "\x82\x18\xA3\x92\x59\xA7\xA2\x9A\xAB\xB2\xDB\xAF\xC3\x1C\xB3\xD3\x5D\xB7\xE3\x9E\xBB\xF3\xDF\xBF"s);
    EXPECT_EQ(FromBase64(""), "");
}

TEST(String, Base64DecodeEndsAtPaddingAndNeedsNone) {
    EXPECT_EQ(FromBase64("TWE="), "Ma");
    EXPECT_EQ(FromBase64("TWE"), "Ma");
    EXPECT_EQ(FromBase64("TQ=="), "M");
    EXPECT_EQ(FromBase64("TWE=TWFu"), "Ma");
    EXPECT_EQ(FromBase64("===="), "");
}

TEST(String, Base64DecodeEndsForGoodAtAnyForeignCharacter) {
    EXPECT_EQ(FromBase64("TW E="), "M");
    EXPECT_EQ(FromBase64("TWFu\nTWFu"), "Man");
    EXPECT_EQ(FromBase64("TWFuT-FuTWFu"), "Man");
    EXPECT_EQ(FromBase64("TWFu\0TWFu"s), "Man");
    EXPECT_EQ(FromBase64("TWFu_WFu"), "Man");
}

TEST(String, Base64DecodeEndsAtForeignCharactersInEachPlaceOfAGroup) {
    const std::string text = "TWFuTWFu";
    const std::size_t decoded[] = {0, 0, 1, 2, 3, 3, 4, 5};
    for (std::size_t place = 0; place < text.size(); ++place) {
        for (int code = 0; code < 128; ++code) {
            std::string changed = text;
            changed[place] = static_cast<char>(code);
            const bool isOfTheAlphabet = std::isalnum(code) != 0 || code == '+' || code == '/';
            ASSERT_EQ(FromBase64(changed).size(), isOfTheAlphabet ? 6 : decoded[place]) << place << ' ' << code;
        }
    }
}

TEST(String, Base64DecodeSkipsBytesAbove0x7F) {
    EXPECT_EQ(FromBase64("\xC3\xBCTWFu"), "Man");
    EXPECT_EQ(FromBase64("TWFuT\xFFWFuTWFu"), "ManManMan");
    for (std::size_t place = 0; place <= 8; ++place) {
        for (int code = 128; code < 256; ++code) {
            std::string text = "TWFuTWFu";
            text.insert(place, 1, static_cast<char>(code));
            ASSERT_EQ(FromBase64(text), "ManMan") << place << ' ' << code;
        }
    }
}

TEST(String, Base64DecodeDropsBitsLeftOver) {
    EXPECT_EQ(FromBase64("T"), "");
    EXPECT_EQ(FromBase64("TWFuT"), "Man");
    EXPECT_EQ(FromBase64("TX"), "M");
}

TEST(String, Base64DecodeAppendsAndReturnsTheWholeSize) {
    std::vector<unsigned char> bytes = {1, 2, 3};
    EXPECT_EQ(String::Base64Decode("TWE=", 4, bytes), 5u);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 'M', 'a'));
    EXPECT_EQ(String::Base64Decode("=", 1, bytes), 5u);
    EXPECT_EQ(String::Base64Decode("", 0, bytes), 5u);
    EXPECT_EQ(bytes.size(), 5u);
}

} // namespace
