#include <System/Serialization/SensibleSchema.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

namespace {

/// Whether a schema is copied whose only value is an array within arrays, so many in all.
bool IsCopied(std::size_t arrays) {
    const std::string text = R"({"enum": [)" + std::string(arrays, '[') + std::string(arrays, ']') + "]}";
    rapidjson::Document schema;
    schema.Parse<rapidjson::kParseIterativeFlag>(text.c_str());
    EXPECT_FALSE(schema.HasParseError());
    rapidjson::Document copy;
    return Tovra::System::Serialization::CopySensibleSchema(schema, copy);
}

// The schema itself is the first of 256 levels.
TEST(SensibleSchema, IsNestedInNoMoreThan256Levels) {
    EXPECT_TRUE(IsCopied(255));
    EXPECT_FALSE(IsCopied(256));
}

} // namespace
