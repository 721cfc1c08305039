#include <System/Types/CharacterArray.h>
#include <System/Types/GUID.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>

namespace {

using Tovra::System::GUID;
using Tovra::System::Constexpr::CharacterArray;

template <CharacterArray<128> name, GUID guid>
struct Named {
    static constexpr CharacterArray<128> s_name = name;
    static constexpr GUID s_guid = guid;
};

using First = Named<CharacterArray<128>("LogSystem"), GUID{0x0123456789ABCDEF, 0xFEDCBA9876543210}>;

static_assert(std::same_as<First, Named<"LogSystem", GUID{0x0123456789ABCDEF, 0xFEDCBA9876543210}>>);
static_assert(!std::same_as<First, Named<"LogSystem2", GUID{0x0123456789ABCDEF, 0xFEDCBA9876543210}>>);
static_assert(!std::same_as<First, Named<"LogSystem", GUID{0x0123456789ABCDEF, 0xFEDCBA9876543211}>>);
static_assert(std::same_as<decltype(First::s_name.m_length), std::uint64_t>);

TEST(CharacterArray, IsCarriedByAType) {
    EXPECT_STREQ(First::s_name.GetText(), "LogSystem");
    EXPECT_EQ(First::s_guid.ToString(), "{01234567-89AB-CDEF-FEDC-BA9876543210}");
}

TEST(CharacterArray, CountsItsText) {
    EXPECT_EQ(CharacterArray<128>("Log System Configuration").GetLength(), 24u);
    EXPECT_EQ(CharacterArray<128>("").GetLength(), 0u);
    EXPECT_EQ(CharacterArray<128>().GetLength(), 0u);
}

TEST(CharacterArray, IsZeroFilledBehindItsText) {
    constexpr CharacterArray<128> text = "Log";
    EXPECT_EQ(text.m_characters.size(), 128u);
    EXPECT_TRUE(std::all_of(text.m_characters.begin() + 3, text.m_characters.end(), [](char c) { return c == '\0'; }));
}

TEST(CharacterArray, TakesNothingThatStandsBehindItsText) {
    const struct {
        char text[4] = {'L', 'o', 'g', '\0'};
        char behind[4] = {'x', 'x', 'x', 'x'};
    } here;
    EXPECT_EQ(CharacterArray<128>(here.text), CharacterArray<128>("Log"));
}

TEST(CharacterArray, FillsUpToItsTerminatingZero) {
    static_assert(std::constructible_from<CharacterArray<4>, const char(&)[4]>);
    static_assert(!std::constructible_from<CharacterArray<4>, const char(&)[5]>);
    EXPECT_STREQ(CharacterArray<4>("abc").GetText(), "abc");
}

TEST(CharacterArray, ReadsAsAStringView) {
    const CharacterArray<128> text = "Log";
    EXPECT_EQ(std::string_view(text), "Log");
}

} // namespace
