#include <System/Serialization/SensibleSchema.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

/// The copy of a schema; "none" if it is refused.
std::string Copy(const std::string& text) {
    rapidjson::Document schema;
    schema.Parse<rapidjson::kParseIterativeFlag>(text.c_str());
    EXPECT_FALSE(schema.HasParseError()) << text;
    rapidjson::Document copy;
    if (!Tovra::System::Serialization::CopySensibleSchema(schema, copy)) {
        return "none";
    }
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    copy.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

bool IsCopied(const std::string& schema) {
    return Copy(schema) != "none";
}

/// Expects these members in the copy of a schema, and these definitions behind the one that each copy has.
void ExpectCopy(const std::string& schema, const std::string& members, const std::string& targets = "") {
    EXPECT_EQ(Copy(schema), "{" + members + (members.empty() ? "" : ",") + R"("definitions":{"refusal":{"not":{}})" +
                                (targets.empty() ? "" : ",") + targets + "}}")
        << schema;
}

/// The same text any number of times, separated by commas.
std::string Repeat(const std::string& text, int count) {
    std::string all = text;
    for (int index = 1; index < count; ++index) {
        all += "," + text;
    }
    return all;
}

/// The members of an object, each with another name and this value.
std::string MakeMembers(int count, const std::string& value) {
    std::string members = R"("0":)" + value;
    for (int index = 1; index < count; ++index) {
        members += ",\"" + std::to_string(index) + "\":" + value;
    }
    return members;
}

// The schema itself is the first of 256 levels.
TEST(SensibleSchema, IsNestedInNoMoreThan256Levels) {
    const auto makeSchema = [](std::size_t arrays) {
        return R"({"enum": [)" + std::string(arrays, '[') + std::string(arrays, ']') + "]}";
    };
    EXPECT_TRUE(IsCopied(makeSchema(255)));
    EXPECT_FALSE(IsCopied(makeSchema(256)));
}

TEST(SensibleSchema, KeepsAllThatConstrainsAnything) {
    const std::string members =
        R"("type":["string"],"enum":[1,{"a":[true]}],"allOf":[{}],"anyOf":[{}],"oneOf":[{}],"not":{},"minimum":1,)"
        R"("maximum":2.5,"multipleOf":3,"minLength":1,"maxLength":2,"minItems":3,"maxItems":4,"minProperties":5,)"
        R"("maxProperties":6,"exclusiveMinimum":true,"exclusiveMaximum":false,"uniqueItems":true,"pattern":"a",)"
        R"("items":[{},{}],"additionalItems":{"not":{}},"required":["a"],"dependencies":{"a":["b"],"b":{}},)"
        R"("additionalProperties":{"not":{}},"properties":{"a":{},"b":{}})";
    ExpectCopy("{" + members + "}", members);
    ExpectCopy(R"({"title":"a","type":"null","description":"b","format":"c"})", R"("type":["null"])");
}

TEST(SensibleSchema, KeepsOnlyValuesOfTheKeywordsTypes) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> keywords{
        {"$ref", {}},
        {"type", {}},
        {"enum", {}},
        {"allOf", {}},
        {"anyOf", {}},
        {"oneOf", {}},
        {"not", {"{}"}},
        {"minimum", {"7"}},
        {"maximum", {"7"}},
        {"multipleOf", {"7"}},
        {"minLength", {"7"}},
        {"maxLength", {"7"}},
        {"minItems", {"7"}},
        {"maxItems", {"7"}},
        {"minProperties", {"7"}},
        {"maxProperties", {"7"}},
        {"exclusiveMinimum", {"true"}},
        {"exclusiveMaximum", {"true"}},
        {"uniqueItems", {"true"}},
        {"pattern", {}},
        {"items", {"{}"}},
        {"additionalItems", {"true", "{}"}},
        {"required", {}},
        {"dependencies", {}},
        {"patternProperties", {}},
        {"additionalProperties", {"true", "{}"}},
        {"properties", {}},
    };
    for (const auto& [keyword, kept] : keywords) {
        for (const std::string value : {"null", "true", "7", R"("(")", "[]", "{}"}) {
            const std::string member = "\"" + keyword + "\":" + value;
            ExpectCopy("{" + member + "}", std::ranges::count(kept, value) > 0 ? member : "");
        }
    }
    for (const char* const schema : {"null", "true", "7", R"("text")", "[]", R"([{"not":{}}])"}) {
        ExpectCopy(schema, "");
    }
}

TEST(SensibleSchema, RefersToTheDocumentAndToEachSchemaUnderOneName) {
    ExpectCopy(R"({"items":{"$ref":"#"}})", R"("items":{"$ref":"#"})");
    ExpectCopy(R"({"items":{"$ref":"#/a"},"a":{"items":{"$ref":"#/a"}}})",
               R"("items":{"$ref":"#/definitions/target0"})",
               R"("target0":{"items":{"$ref":"#/definitions/target0"}})");
    ExpectCopy(
        R"({"items":[{"$ref":"#/b"},{"$ref":"#/a"},{"$ref":"#/c"}],"a":{"not":{}},"b":{"uniqueItems":true},)"
        R"("c":{"$ref":"#/b"}})",
        R"("items":[{"$ref":"#/definitions/target0"},{"$ref":"#/definitions/target1"},{"$ref":"#/definitions/target0"}])",
        R"("target0":{"uniqueItems":true},"target1":{"not":{}})");
}

TEST(SensibleSchema, RefersToNothingThatIsNoSchema) {
    for (const char* const value : {"null", "true", "7", R"("text")", "[]"}) {
        ExpectCopy(std::string(R"({"items":{"$ref":"#/a"},"a":)") + value + "}", R"("items":{})");
    }
    ExpectCopy(R"({"items":{"$ref":"#/a"}})", R"("items":{})");
}

// The library's and our time grow with both.
TEST(SensibleSchema, CountsAReferenceAndEachThatItLeadsTo) {
    EXPECT_TRUE(IsCopied(R"({"items":[)" + Repeat(R"({"$ref":"#/a"})", 1'499) + "]}"));
    EXPECT_FALSE(IsCopied(R"({"items":[)" + Repeat(R"({"$ref":"#/a"})", 1'500) + "]}"));
    EXPECT_TRUE(IsCopied(R"({"items":[)" + Repeat(R"({"$ref":"#/a"})", 999) + R"(],"a":{"$ref":"#/b"}})"));
    EXPECT_FALSE(IsCopied(R"({"items":[)" + Repeat(R"({"$ref":"#/a"})", 1'000) + R"(],"a":{"$ref":"#/b"}})"));
}

TEST(SensibleSchema, CountsWhatIsNoSchemaOnTheLevelAroundIt) {
    const auto makeSchema = [](int count) {
        std::string schema = R"({"items":[)" + Repeat("0", count) + "]}";
        for (int level = 1; level < 15; ++level) {
            schema.insert(0, R"({"items":)").append("}");
        }
        return schema;
    };
    EXPECT_TRUE(IsCopied(makeSchema(3'000 - 15)));
    EXPECT_FALSE(IsCopied(makeSchema(3'000 - 14)));
}

TEST(SensibleSchema, HasNoEnumerationOfWhatTheLibraryTakesForAReferenceOrCannotRead) {
    EXPECT_FALSE(IsCopied(R"({"enum":[{"$ref":"#/a"}]})"));
    EXPECT_FALSE(IsCopied(R"({"enum":[{"$ref":7}]})"));
    EXPECT_FALSE(IsCopied(R"({"enum":[{"patternProperties":7}]})"));
    EXPECT_FALSE(IsCopied(R"({"enum":[{"dependencies":{"a":[7]}}]})"));
    for (const std::string members :
         {R"("enum":[{"dependencies":7}])", R"("enum":[{"dependencies":{"a":["b"],"c":7}}])",
          R"("enum":[{"a":{"a{20001}":1},"pattern":{"a{20001}":1}}])"}) {
        ExpectCopy("{" + members + "}", members);
    }
}

TEST(SensibleSchema, CombinesOnlySchemas) {
    ExpectCopy(R"({"allOf":[7,{"not":{}},null]})", R"("allOf":[{"not":{}}])");
    ExpectCopy(R"({"anyOf":[{"not":{}},7],"oneOf":[7,{"not":{}}]})", "");
}

TEST(SensibleSchema, ListsTheNamesThatTheLibraryTakesForProperties) {
    const std::string names = R"("required":["a"],"dependencies":{"b":["c"],"d":{}})";
    const auto listWith = [](const std::string& reference) {
        const std::string property = R"({"$ref":"#/definitions/)" + reference + "\"}";
        return R"(,"properties":{"a":)" + property + R"(,"b":)" + property + R"(,"c":)" + property + R"(,"d":)" +
               property + "}";
    };
    for (const std::string rest : {"true", "7", R"("text")"}) {
        ExpectCopy("{" + names + R"(,"additionalProperties":)" + rest + "}",
                   names + (rest == "true" ? R"(,"additionalProperties":true)" : ""));
    }
    ExpectCopy("{" + names + R"(,"additionalProperties":false})",
               names + R"(,"additionalProperties":false)" + listWith("refusal"));
    ExpectCopy("{" + names + R"(,"additionalProperties":{"not":{}}})",
               names + R"(,"additionalProperties":{"not":{}})" + listWith("target0"), R"("target0":{"not":{}})");
}

TEST(SensibleSchema, MakesAPatternOfAllThatIsAdditionalBesidePatterns) {
    for (const std::string rest : {"true", "7", R"("text")"}) {
        ExpectCopy(R"({"patternProperties":{"a":{}},"additionalProperties":)" + rest + "}",
                   R"("patternProperties":{"a":{}})");
    }
    const std::string reference = R"({"$ref":"#/definitions/target0"})";
    ExpectCopy(R"({"patternProperties":{"a":{}},"properties":7,"additionalProperties":{}})",
               R"("patternProperties":{"a":{},"\u0001a":)" + reference + "}", R"("target0":{})");
    // Behind a null character, too, the properties are no additional ones.
    const std::string properties = R"("properties":{"b\\^$.|?*+()[]{}-":{},"c\u0000d":{},"e":{}})";
    ExpectCopy(
        R"({"patternProperties":{"a":{},"(":{},"^b|c$":{}},)" + properties + R"(,"additionalProperties":{}})",
        R"("patternProperties":{"a":{},"^b|c$":{},"\u0001a|^b|c$|^b\\\\\\^\\$\\.\\|\\?\\*\\+\\(\\)\\[\\]\\{\\}-$)"
        R"(|^c\\x00d$|^e$":)" +
            reference + "}," + properties,
        R"("target0":{})");
}

TEST(SensibleSchema, CountsThePatternOfAllThatIsAdditional) {
    const auto makeSchema = [](const std::string& count) {
        return R"({"pattern":"","patternProperties":{"a{)" + count + R"(}":{}},"additionalProperties":{}})";
    };
    EXPECT_TRUE(IsCopied(makeSchema("9998")));
    EXPECT_FALSE(IsCopied(makeSchema("9999")));
}

TEST(SensibleSchema, AppliesLessThanAThousandDependenciesToAValue) {
    EXPECT_TRUE(IsCopied(R"({"dependencies":{)" + MakeMembers(998, "{}") + "}}"));
    EXPECT_FALSE(IsCopied(R"({"dependencies":{)" + MakeMembers(999, "{}") + "}}"));
    EXPECT_TRUE(IsCopied(R"({"dependencies":{)" + MakeMembers(1'400, R"(["a"])") + "}}")) << "Names are no schemas.";
}

TEST(SensibleSchema, AppliesLessThanAThousandSchemasToAValueWhatIsNegatedAmongThem) {
    const auto makeSchema = [](int count) {
        return R"({"anyOf":[)" + Repeat("{}", count) + R"(],"not":{"allOf":[)" + Repeat("{}", 600) + "]}}";
    };
    EXPECT_TRUE(IsCopied(makeSchema(397)));
    EXPECT_FALSE(IsCopied(makeSchema(398)));
}

// The first is the schema itself, and each two more are a "not" and what it refers to.
TEST(SensibleSchema, AppliesNoMoreThan256SchemasWithinEachOther) {
    const auto makeSchema = [](int references, const std::string& last) {
        std::string schema = R"({"not":{"$ref":"#/1"})";
        for (int index = 1; index < references; ++index) {
            schema += ",\"" + std::to_string(index) + R"(":{"not":{"$ref":"#/)" + std::to_string(index + 1) + "\"}}";
        }
        return schema + ",\"" + std::to_string(references) + "\":" + last + "}";
    };
    EXPECT_TRUE(IsCopied(makeSchema(127, R"({"not":{}})")));
    EXPECT_FALSE(IsCopied(makeSchema(128, "{}")));
}

} // namespace
