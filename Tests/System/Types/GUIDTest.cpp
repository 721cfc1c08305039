#include <Fakes/RandomOperations.h>
#include <System/Types/GUID.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using Tovra::System::GUID;
using Tovra::Tests::Fakes::randomOperations;

constexpr GUID sample = {0x0123456789ABCDEF, 0xFEDCBA9876543210};
constexpr std::string_view sampleText = "{01234567-89AB-CDEF-FEDC-BA9876543210}";

static_assert(std::is_trivially_copyable_v<GUID>);
static_assert(sizeof(GUID) == 16);

bool IsValid(std::string_view text) {
    return GUID::IsValidGuidFormat(text.data(), text.size());
}

GUID Parse(std::string_view text) {
    return GUID::ParseFromString(text.data(), text.size());
}

TEST(GUID, MapsItsGroupsToTheWords) {
    EXPECT_EQ(sample.ToString(), sampleText);
    EXPECT_EQ(Parse(sampleText), sample);
    EXPECT_EQ((GUID{0x1000000020003000, 0x4000500000000006}).ToString(), "{10000000-2000-3000-4000-500000000006}");
}

TEST(GUID, LowerCaseWithoutBracesComesBackUpperCaseInBraces) {
    EXPECT_EQ(Parse("01234567-89ab-cdef-fedc-ba9876543210").ToString(), sampleText);
    EXPECT_EQ(Parse("{01234567-89aB-cDEf-FeDC-bA9876543210}"), sample);
}

TEST(GUID, ThirtySevenCharactersAreInvalid) {
    EXPECT_FALSE(IsValid(sampleText.substr(0, 37)));
    EXPECT_FALSE(IsValid(sampleText.substr(1)));
    EXPECT_EQ(Parse(sampleText.substr(1)), GUID::Empty());
    EXPECT_FALSE(IsValid(""));
    EXPECT_FALSE(IsValid(std::string(sampleText) + '}'));
}

TEST(GUID, BracesAreAllOrNothing) {
    EXPECT_TRUE(IsValid(sampleText.substr(1, 36)));
    EXPECT_FALSE(IsValid("01234567-89AB-CDEF-FEDC-BA987654321000"));
    EXPECT_FALSE(IsValid("{01234567-89AB-CDEF-FEDC-BA987654321"));
    EXPECT_FALSE(IsValid("{01234567-89AB-CDEF-FEDC-BA98765432100"));
    EXPECT_FALSE(IsValid("001234567-89AB-CDEF-FEDC-BA9876543210}"));
    EXPECT_FALSE(IsValid("(01234567-89AB-CDEF-FEDC-BA9876543210)"));
    EXPECT_FALSE(IsValid(" 01234567-89AB-CDEF-FEDC-BA9876543210 "));
}

TEST(GUID, EachPositionTakesItsOwnKindOfCharacter) {
    const std::string_view bare = sampleText.substr(1, 36);
    for (std::size_t index = 0; index < bare.size(); ++index) {
        const bool isHyphen = index == 8 || index == 13 || index == 18 || index == 23;
        for (int code = 0; code < 256; ++code) {
            std::string text(bare);
            text[index] = static_cast<char>(code);
            const bool isDigit =
                (code >= '0' && code <= '9') || (code >= 'A' && code <= 'F') || (code >= 'a' && code <= 'f');
            const bool isValid = isHyphen ? code == '-' : isDigit;
            ASSERT_EQ(IsValid(text), isValid) << text;
            ASSERT_EQ(IsValid('{' + text + '}'), isValid) << text;
            ASSERT_EQ(Parse(text) == GUID::Empty(), !isValid) << text;
        }
    }
}

TEST(GUID, HyphenlessFormIsInvalid) {
    EXPECT_FALSE(IsValid("0123456789ABCDEFFEDCBA9876543210"));
    EXPECT_FALSE(IsValid("0123456789ABCDEFFEDCBA98765432100000"));
}

TEST(GUID, TryParseGivesTheValueOfAValidText) {
    GUID result;
    EXPECT_TRUE(GUID::TryParseFromString(sampleText.data(), sampleText.size(), result));
    EXPECT_EQ(result, sample);
}

TEST(GUID, TryParseZeroesTheResultOfAnInvalidText) {
    GUID result = sample;
    EXPECT_FALSE(GUID::TryParseFromString(sampleText.data(), 37, result));
    EXPECT_EQ(result, GUID::Empty());
}

TEST(GUID, TryParseCountsTheValidZeroAsAFailure) {
    const std::string_view zero = "{00000000-0000-0000-0000-000000000000}";
    EXPECT_TRUE(IsValid(zero));
    GUID result = sample;
    EXPECT_FALSE(GUID::TryParseFromString(zero.data(), zero.size(), result));
    EXPECT_EQ(result, GUID::Empty());
    EXPECT_EQ(result.ToString(), zero);
}

TEST(GUID, TryParseNeedsOnlyOneWord) {
    GUID result;
    EXPECT_TRUE(GUID::TryParseFromString("00000000-0000-0000-0000-000000000001", 36, result));
    EXPECT_TRUE(GUID::TryParseFromString("00000000-0000-0001-0000-000000000000", 36, result));
}

TEST(GUID, IsNotWrittenBelowThirtyEightCharacters) {
    char buffer[40] = "untouched";
    GUID::WriteToString(sample, buffer, 37);
    EXPECT_STREQ(buffer, "untouched");
    GUID::WriteToString(sample, buffer, 0);
    EXPECT_STREQ(buffer, "untouched");
}

TEST(GUID, IsWrittenWithoutATerminatingZero) {
    std::string buffer(40, '#');
    GUID::WriteToString(sample, buffer.data(), 38);
    EXPECT_EQ(buffer, std::string(sampleText) + "##");
    buffer.assign(40, '#');
    GUID::WriteToString(sample, buffer.data(), 40);
    EXPECT_EQ(buffer, std::string(sampleText) + "##");
}

TEST(GUID, ComparesByBothWords) {
    EXPECT_LT((GUID{1, 2}), (GUID{2, 1}));
    EXPECT_NE((GUID{1, 2}), (GUID{1, 3}));
    EXPECT_EQ(GUID(), GUID::Empty());
}

TEST(GUID, IsMadeAsVersionFour) {
    std::set<GUID> made;
    for (int round = 0; round < 64; ++round) {
        const GUID guid = GUID::Create();
        EXPECT_EQ(guid.m_high >> 12 & 0xF, 4u);
        EXPECT_EQ(guid.m_low >> 62, 2u);
        made.insert(guid);
    }
    EXPECT_EQ(made.size(), 64u);
}

TEST(GUID, IsMadeWithAllOtherBitsFree) {
    GUID anySet;
    GUID allSet = {~0ull, ~0ull};
    for (int round = 0; round < 256; ++round) {
        const GUID guid = GUID::Create();
        anySet = {anySet.m_high | guid.m_high, anySet.m_low | guid.m_low};
        allSet = {allSet.m_high & guid.m_high, allSet.m_low & guid.m_low};
    }
    EXPECT_EQ(anySet.m_high, 0xFFFFFFFFFFFF4FFFu);
    EXPECT_EQ(anySet.m_low, 0xBFFFFFFFFFFFFFFFu);
    EXPECT_EQ(allSet.m_high, 0x0000000000004000u);
    EXPECT_EQ(allSet.m_low, 0x8000000000000000u);
}

/// Readings of the clock whose bits and their combinations all differ.
constexpr std::int64_t firstTime = 0x0123456789ABCDEF;
constexpr std::int64_t secondTime = 0x01234567F2C45A31;

/// Makes an identity from these readings and eight numbers.
GUID Make(std::vector<int> numbers) {
    randomOperations = {.times = {firstTime, secondTime}, .numbers = std::move(numbers)};
    return GUID::Create();
}

TEST(GUID, IsMadeOfFourNumbersInTheirPlaces) {
    const GUID guid = Make({0x1111, 0x2222, 0x3333, 0x4444, 0x5555, 0x6666, 0x7777, 0x1888});
    EXPECT_EQ(guid.ToString(), "{33334444-1111-4222-B777-188855556666}");
}

TEST(GUID, IsMadeWithNumbersWhoseHalvesOverlap) {
    const GUID guid = Make({0x7FFF0001, 0x10000002, 0x10003, 0x20000004, 5, 0x40000006, 7, 0x8});
    EXPECT_EQ(guid.ToString(), "{20030004-1001-4002-8007-000840050006}");
}

TEST(GUID, IsMadeFromTwoReadingsOfTheClockWithAWaitBetween) {
    Make({});
    EXPECT_THAT(randomOperations.calls, ElementsAre("Clock", "Seed", "Draw", "Seed", "Draw", "Seed", "Draw", "Seed",
                                                    "Draw", testing::StartsWith("Wait "), "Clock", "Seed", "Draw",
                                                    "Seed", "Draw", "Seed", "Draw", "Seed", "Draw"));
}

TEST(GUID, WaitsForTheFirstNumberModuloFiveInMilliseconds) {
    for (int number = 0; number < 10; ++number) {
        Make({0, number, 3, 3, 3, 3, 3, 3});
        EXPECT_EQ(randomOperations.calls.at(9), "Wait " + std::to_string(number % 5));
    }
    Make({1, 0, 3, 3, 3, 3, 3, 3});
    EXPECT_EQ(randomOperations.calls.at(9), "Wait 1") << "65536 leaves a rest of 1.";
}

TEST(GUID, SeedsEachNumberWithItsOwnMixtureOfTheReadings) {
    Make({});
    const std::vector<unsigned int>& seeds = randomOperations.seeds;
    ASSERT_EQ(seeds.size(), 8u);
    EXPECT_EQ(seeds[0], 0x89ABCDEFu);
    EXPECT_EQ(seeds[2], 0x456789ABu ^ 0x89ABCDEFu);
    EXPECT_EQ(seeds[4], 0xF2C45A31u ^ 0x89ABCDEFu);
    EXPECT_EQ(seeds[6], 0xF2C45A31u | 0x456789ABu);
}

TEST(GUID, TakesOneAddressOnTheStackForAllFourNumbers) {
    Make({});
    const std::vector<unsigned int>& seeds = randomOperations.seeds;
    ASSERT_EQ(seeds.size(), 8u);
    const unsigned int address = seeds[1] ^ seeds[0] << 8;
    EXPECT_EQ(seeds[3] ^ seeds[2] << 8, address);
    EXPECT_EQ(seeds[5] ^ seeds[4] << 8, address);
    EXPECT_EQ(seeds[7] ^ seeds[6] << 8, address);
#if !__has_feature(address_sanitizer) // It places such variables on the heap.
    const auto here = static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&address) >> 16);
    EXPECT_THAT(address, testing::AnyOf(here, here - 1)) << "Within 64 KiB.";
#endif
}

} // namespace
