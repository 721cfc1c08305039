#include <Json.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

namespace Tovra::Tests {

namespace {

using namespace Fieldhost::Diagnose;

TEST(DiagnosisJson, ReplacesBytesThatAreNotUtf8) {
    EXPECT_EQ(Json("a\xC3\xA9\xFF"
                   "b\xE2\x82")
                  .GetText(),
              "a\xC3\xA9\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Json("\xF0\x9F\x98\x80\xFF").GetText(), "\xF0\x9F\x98\x80\xEF\xBF\xBD");
}

TEST(DiagnosisJson, ReadsWhatItWrites) {
    const Json json = Json::Object{{"text", "line\n\"quoted\""},
                                   {"nothing", nullptr},
                                   {"numbers", Json::Array{1, std::int64_t{1} << 40, -1}},
                                   {"yes", true},
                                   {"empty", Json::Object()}};
    EXPECT_EQ(Parse(Write(json)), json);
    EXPECT_EQ(Write(Json::Object{{"a", 1}}), "{\n  \"a\": 1\n}\n");
    EXPECT_EQ(Parse("{"), std::nullopt);
}

TEST(DiagnosisJson, ASearchForWhatIsNotThereIsNull) {
    EXPECT_TRUE(Json()["a"]["b"].IsNull());
    EXPECT_TRUE(Json(Json::Object{{"a", 1}})["b"].IsNull());
    EXPECT_EQ(Json(1).GetText(), "");
}

} // namespace

} // namespace Tovra::Tests
