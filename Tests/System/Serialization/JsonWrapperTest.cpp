#include <System/Serialization/JsonWrapper.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <type_traits>
#include <utility>

namespace {

using Tovra::System::Serialization::JsonWrapper;

static_assert(!std::is_copy_constructible_v<JsonWrapper> && !std::is_copy_assignable_v<JsonWrapper>);

TEST(JsonWrapper, HoldsAnEmptyDocument) {
    const JsonWrapper json;
    ASSERT_NE(json.GetDocument(), nullptr);
    EXPECT_TRUE(json.GetDocument()->IsNull());
}

TEST(JsonWrapper, ParsesOnAStackOf1024Bytes) {
    const JsonWrapper json;
    std::size_t capacity = 0;
    const auto generate = [&capacity](rapidjson::Document& document) {
        document.Null();
        capacity = document.GetStackCapacity();
        return true;
    };
    json.GetDocument()->Populate(generate);
    EXPECT_EQ(capacity, 1024u);
}

TEST(JsonWrapper, IsParsedIntoByItsCaller) {
    const JsonWrapper json;
    rapidjson::StringStream stream(R"({"key": 7})");
    json.GetDocument()->ParseStream(stream);
    EXPECT_EQ((*json.GetDocument())["key"].GetInt(), 7);
}

TEST(JsonWrapper, HasNoDocumentAfterAMove) {
    JsonWrapper json;
    const rapidjson::Document* const document = json.GetDocument();
    const JsonWrapper taken(std::move(json));
    EXPECT_EQ(taken.GetDocument(), document);
    EXPECT_EQ(json.GetDocument(), nullptr);
}

} // namespace
