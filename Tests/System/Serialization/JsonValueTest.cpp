#include <System/Serialization/JsonValue.h>
#include <System/Serialization/JsonWrapper.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::System::Serialization {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::SizeIs;

/// A document and its outermost value.
class JsonValueTest : public ::testing::Test {
protected:
    JsonValue Parse(const std::string& text) {
        m_json.GetDocument()->Parse(text.data(), text.size());
        EXPECT_FALSE(m_json.GetDocument()->HasParseError()) << text;
        return JsonValue(m_json.GetDocument());
    }

private:
    JsonWrapper m_json;
};

void ExpectNothing(const JsonValue& value) {
    EXPECT_FALSE(value.IsObject());
    EXPECT_FALSE(value.IsArray());
    EXPECT_FALSE(value.Find("name").Exists());
    EXPECT_THAT(value.GetMembers(), IsEmpty());
    EXPECT_THAT(value.GetElements(), IsEmpty());
    EXPECT_EQ(value.GetText(), std::nullopt);
    EXPECT_EQ(value.GetBool(), std::nullopt);
    EXPECT_EQ(value.GetNumber(), std::nullopt);
    EXPECT_EQ(value.GetInteger(), std::nullopt);
}

} // namespace

TEST_F(JsonValueTest, IsNothingWhereThereIsNoValue) {
    for (const JsonValue& value : {JsonValue(), JsonValue(nullptr), Parse("{}").Find("name")}) {
        EXPECT_FALSE(value.Exists());
        EXPECT_FALSE(value.IsNull());
        ExpectNothing(value);
    }
}

TEST_F(JsonValueTest, TellsNullFromAMissingValue) {
    const JsonValue value = Parse(R"({"name": null})").Find("name");
    EXPECT_TRUE(value.Exists());
    EXPECT_TRUE(value.IsNull());
    ExpectNothing(value);
    EXPECT_FALSE(Parse("0").IsNull());
}

TEST_F(JsonValueTest, FindsTheFirstMemberOfAName) {
    const JsonValue value = Parse(R"({"other": 1, "name": 2, "name": 3, "name\u0000x": 4})");
    EXPECT_TRUE(value.IsObject());
    EXPECT_THAT(value.Find("name").GetInteger(), Optional(2));
    EXPECT_FALSE(value.Find("Name").Exists());
    EXPECT_FALSE(Parse(R"(["name"])").Find("name").Exists());
}

TEST_F(JsonValueTest, HasTheMembersOfAnObjectInTheirOrder) {
    const JsonValue value = Parse(R"({"z": 1, "a": [], "a": 2, "a\u0000b": 3})");
    std::vector<std::string_view> names;
    std::vector<std::optional<std::int64_t>> integers;
    for (const auto& [name, member] : value.GetMembers()) {
        names.push_back(name);
        integers.push_back(member.GetInteger());
    }
    EXPECT_THAT(names, ElementsAre("z", "a", "a", std::string_view("a\0b", 3)));
    EXPECT_THAT(integers, ElementsAre(1, std::nullopt, 2, 3));
    EXPECT_THAT(Parse("[{}]").GetMembers(), IsEmpty());
}

TEST_F(JsonValueTest, HasTheElementsOfAnArrayInTheirOrder) {
    const JsonValue value = Parse(R"([1, "two", []])");
    EXPECT_TRUE(value.IsArray());
    const auto elements = value.GetElements();
    ASSERT_THAT(elements, SizeIs(3));
    EXPECT_THAT(elements[0].GetInteger(), Optional(1));
    EXPECT_THAT(elements[1].GetText(), Optional(std::string_view("two")));
    EXPECT_TRUE(elements[2].IsArray());
    EXPECT_THAT(elements[2].GetElements(), IsEmpty());
    EXPECT_THAT(Parse(R"({"a": 1})").GetElements(), IsEmpty());
}

TEST_F(JsonValueTest, HasTheWholeText) {
    EXPECT_THAT(Parse(R"("a\u0000b")").GetText(), Optional(std::string_view("a\0b", 3)));
    EXPECT_THAT(Parse(R"("")").GetText(), Optional(std::string_view()));
    EXPECT_EQ(Parse("1").GetText(), std::nullopt);
}

TEST_F(JsonValueTest, TakesOnlyTrueAndFalseForTruth) {
    EXPECT_THAT(Parse("true").GetBool(), Optional(true));
    EXPECT_THAT(Parse("false").GetBool(), Optional(false));
    for (const char* const text : {"1", "0", R"("true")"}) {
        EXPECT_EQ(Parse(text).GetBool(), std::nullopt) << text;
    }
}

TEST_F(JsonValueTest, HasEachNumberAsADouble) {
    EXPECT_THAT(Parse("1.5").GetNumber(), Optional(1.5));
    EXPECT_THAT(Parse("-2").GetNumber(), Optional(-2.0));
    EXPECT_THAT(Parse("18446744073709551615").GetNumber(), Optional(18446744073709551616.0));
    EXPECT_EQ(Parse(R"("1")").GetNumber(), std::nullopt);
}

TEST_F(JsonValueTest, HasAnIntegerOnlyWhereOneIsWritten) {
    using Limits = std::numeric_limits<std::int64_t>;
    EXPECT_THAT(Parse("9223372036854775807").GetInteger(), Optional(Limits::max()));
    EXPECT_THAT(Parse("-9223372036854775808").GetInteger(), Optional(Limits::min()));
    for (const char* const text : {"9223372036854775808", "-9223372036854775809", "1.0", "1e3", R"("1")"}) {
        EXPECT_EQ(Parse(text).GetInteger(), std::nullopt) << text;
    }
}

} // namespace Tovra::System::Serialization
