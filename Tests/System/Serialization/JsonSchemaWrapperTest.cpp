#include <System/Serialization/JsonSchemaWrapper.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <utility>

namespace {

using Tovra::System::Serialization::JsonSchemaWrapper;
using Tovra::System::Serialization::JsonWrapper;

JsonWrapper Parse(const std::string& text) {
    JsonWrapper json;
    rapidjson::StringStream stream(text.c_str());
    json.GetDocument()->ParseStream<rapidjson::kParseIterativeFlag>(stream);
    EXPECT_FALSE(json.GetDocument()->HasParseError()) << text;
    return json;
}

std::string Nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

/// The error of validating; "valid" if there is none.
std::string Validate(const std::string& schema, const std::string& document) {
    JsonSchemaWrapper wrapper;
    EXPECT_TRUE(wrapper.Compile(Parse(schema)));
    std::string error = "valid";
    EXPECT_EQ(wrapper.Validate(Parse(document), error), error == "valid");
    return error;
}

TEST(JsonSchemaWrapper, HasNoSchemaAtFirst) {
    const JsonSchemaWrapper schema;
    EXPECT_EQ(schema.GetSchema(), nullptr);
    std::string error;
    EXPECT_FALSE(schema.Validate(Parse("{}"), error));
    EXPECT_EQ(error, "No schema was loaded and compiled");
}

TEST(JsonSchemaWrapper, MissesTheDocumentBeforeTheSchema) {
    JsonWrapper json;
    const JsonWrapper taken(std::move(json));
    std::string error;
    EXPECT_FALSE(JsonSchemaWrapper().Validate(json, error));
    EXPECT_EQ(error, "The schema json needs to be valid");
}

TEST(JsonSchemaWrapper, CompilesNothingWithoutADocument) {
    JsonWrapper json;
    const JsonWrapper taken(std::move(json));
    JsonSchemaWrapper schema;
    EXPECT_FALSE(schema.Compile(json));
    EXPECT_EQ(schema.GetSchema(), nullptr);
}

TEST(JsonSchemaWrapper, OfAnEmptyDocumentAcceptsEverything) {
    JsonSchemaWrapper schema;
    EXPECT_TRUE(schema.Compile(JsonWrapper()));
    EXPECT_NE(schema.GetSchema(), nullptr);
    std::string error;
    for (const char* const document : {"{}", "[]", "null", "7", R"({"a": [1, {"b": "c"}]})"}) {
        EXPECT_TRUE(schema.Validate(Parse(document), error)) << document;
    }
}

TEST(JsonSchemaWrapper, AcceptsWhatASenselessSchemaFailsToConstrain) {
    EXPECT_EQ(Validate(R"({"required": 7, "properties": "a", "no such keyword": []})", "{}"), "valid");
    EXPECT_EQ(Validate("7", "[]"), "valid");
}

TEST(JsonSchemaWrapper, NamesTheKeywordThatFailed) {
    const std::string prefix = "Failed to validate against schema at keyword: ";
    EXPECT_EQ(Validate(R"({"required": ["a"]})", "{}"), prefix + "required");
    EXPECT_EQ(Validate(R"({"type": "object"})", "[]"), prefix + "type");
    EXPECT_EQ(Validate(R"({"properties": {"a": {"enum": [1, 2]}}})", R"({"a": 3})"), prefix + "enum");
    EXPECT_EQ(Validate(R"({"required": ["a"]})", R"({"a": 3})"), "valid");
}

TEST(JsonSchemaWrapper, LeavesTheErrorUntouchedOnSuccess) {
    JsonSchemaWrapper schema;
    schema.Compile(Parse(R"({"type": "object"})"));
    std::string error = "earlier";
    EXPECT_TRUE(schema.Validate(Parse("{}"), error));
    EXPECT_EQ(error, "earlier");
}

TEST(JsonSchemaWrapper, ReplacesTheErrorOnFailure) {
    JsonSchemaWrapper schema;
    schema.Compile(Parse(R"({"type": "object"})"));
    std::string error = "earlier";
    EXPECT_FALSE(schema.Validate(Parse("[]"), error));
    EXPECT_EQ(error, "Failed to validate against schema at keyword: type");
}

TEST(JsonSchemaWrapper, DoesNotNeedItsDocumentAfterwards) {
    JsonSchemaWrapper schema;
    {
        const JsonWrapper json = Parse(R"({"properties": {"name": {"enum": ["All"], "pattern": "^A"}}})");
        schema.Compile(json);
    }
    std::string error;
    EXPECT_TRUE(schema.Validate(Parse(R"({"name": "All"})"), error));
    EXPECT_FALSE(schema.Validate(Parse(R"({"name": "Ball"})"), error));
}

TEST(JsonSchemaWrapper, ValidatesSeveralTimes) {
    JsonSchemaWrapper schema;
    schema.Compile(Parse(R"({"type": "object"})"));
    std::string error;
    EXPECT_FALSE(schema.Validate(Parse("[]"), error));
    EXPECT_TRUE(schema.Validate(Parse("{}"), error));
    EXPECT_FALSE(schema.Validate(Parse("7"), error));
}

TEST(JsonSchemaWrapper, RefusesWhatIsNestedTooDeep) {
    EXPECT_EQ(Validate("{}", Nested(256)), "valid");
    EXPECT_EQ(Validate("{}", Nested(257)), "Failed to validate against schema");
    EXPECT_EQ(Validate("{}", Nested(1'000'000)), "Failed to validate against schema");
}

TEST(JsonSchemaWrapper, CompilesASchemaOfAnyNestingOrNone) {
    JsonSchemaWrapper schema;
    EXPECT_FALSE(schema.Compile(Parse(Nested(1'000'000))));
    EXPECT_EQ(schema.GetSchema(), nullptr);
    std::string nots = "{}";
    for (int depth = 1; depth < 256; ++depth) {
        nots = R"({"not": )" + nots + "}";
    }
    EXPECT_TRUE(schema.Compile(Parse(nots)));
}

bool Compiles(const std::string& schema) {
    JsonSchemaWrapper wrapper;
    const bool isCompiled = wrapper.Compile(Parse(schema));
    EXPECT_EQ(wrapper.GetSchema() != nullptr, isCompiled);
    return isCompiled;
}

TEST(JsonSchemaWrapper, CompilesNoSchemaThatAppliesItself) {
    for (const char* const schema : {
             R"({"$ref": "#"})",
             R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/a"}})",
             R"({"properties": {"a": {"$ref": "#/properties/a"}}})",
             R"({"not": {"$ref": "#"}})",
             R"({"allOf": [{}, {"$ref": "#"}]})",
             R"({"anyOf": [{"$ref": "#"}]})",
             R"({"oneOf": [{"not": {"$ref": "#"}}]})",
             R"({"dependencies": {"a": {"$ref": "#"}}})",
         }) {
        EXPECT_FALSE(Compiles(schema)) << schema;
    }
}

TEST(JsonSchemaWrapper, CompilesASchemaThatLeadsBackToItselfByParts) {
    const std::string tree = R"({"type": "object", "properties": {"left": {"$ref": "#"}, "right": {"$ref": "#"}},
                                 "items": {"$ref": "#"}, "additionalProperties": {"not": {"type": "array"}}})";
    EXPECT_EQ(Validate(tree, R"({"left": {"right": {}}})"), "valid");
    EXPECT_EQ(Validate(tree, R"({"left": {"right": 1}})"), "Failed to validate against schema at keyword: type");
    EXPECT_EQ(Validate(R"({"allOf": [{"$ref": "#/a"}, {"$ref": "#/a"}], "a": {"type": "object"}})", "{}"), "valid");
}

TEST(JsonSchemaWrapper, CompilesNoSchemaThatAppliesThousandsToOneValue) {
    std::string schema = "{";
    for (int level = 0; level < 30; ++level) {
        const std::string next = "{\"$ref\": \"#/" + std::to_string(level + 1) + "\"}";
        schema += "\"" + std::to_string(level) + "\": {\"allOf\": [" + next + ", " + next + "]}, ";
    }
    EXPECT_FALSE(Compiles(schema + "\"30\": {}}"));
    std::string chain = "{";
    for (int link = 0; link < 5'000; ++link) {
        chain += "\"" + std::to_string(link) + "\": {\"$ref\": \"#/" + std::to_string(link + 1) + "\"}, ";
    }
    EXPECT_FALSE(Compiles(chain + "\"5000\": {}}"));
}

TEST(JsonSchemaWrapper, CompilesNoSchemaOfTenThousandObjects) {
    const auto makeSchema = [](int count) {
        std::string schema = "{";
        for (int index = 2; index < count; ++index) {
            schema += "\"" + std::to_string(index) + "\": {}, ";
        }
        return schema + R"("last": {}})";
    };
    EXPECT_TRUE(Compiles(makeSchema(1'000)));
    EXPECT_FALSE(Compiles(makeSchema(10'000)));
    EXPECT_FALSE(Compiles(makeSchema(100'000)));
}

TEST(JsonSchemaWrapper, CompilesNoSchemaThatRefersToWhatIsNone) {
    EXPECT_FALSE(Compiles(R"({"title": "text", "properties": {"a": {"$ref": "#/title"}}})"));
    EXPECT_TRUE(Compiles(R"({"properties": {"a": {"$ref": "#/missing"}, "b": {"$ref": "no pointer"}}})"));
    EXPECT_TRUE(Compiles(R"({"properties": {"a": {"$ref": 1}, "b": {"$ref": "#no pointer"}}})"));
}

TEST(JsonSchemaWrapper, CompilesNoPatternsThatTogetherTakeTooMuchMemory) {
    const auto makeSchema = [](int count) {
        std::string schema = R"({"properties": {)";
        for (int property = 0; property < count; ++property) {
            schema += "\"" + std::to_string(property) + R"(": {"pattern": "a{500000}"}, )";
        }
        return schema + R"("last": {}}})";
    };
    EXPECT_TRUE(Compiles(makeSchema(1)));
    EXPECT_FALSE(Compiles(makeSchema(20)));
}

TEST(JsonSchemaWrapper, CompilesNoPatternThatTheLibraryCanNotStand) {
    for (const char* const pattern :
         {"a()", "(", "a{100000000}", "((a{300}){300}){300}", "(a{100000000}", "a{1,4294967294}",
          "(((a{300})?{300})*{300}", "ab|{300}|{300}|{300}", "a{300}(){300}(){300}", "[{]a{100000000}"}) {
        EXPECT_FALSE(Compiles(std::string(R"({"pattern": ")") + pattern + "\"}")) << pattern;
        EXPECT_FALSE(Compiles(std::string(R"({"items": {"patternProperties": {")") + pattern + "\": {}}}}")) << pattern;
    }
    EXPECT_TRUE(Compiles(R"x({"pattern": "[", "patternProperties": {")": {}, "a{2,}{": {}}})x"));
    EXPECT_TRUE(Compiles(R"({"pattern": "(a{100}){100}"})"));
    EXPECT_TRUE(Compiles(R"({"pattern": "[{99999999}]\\{99999999}"})")) << "No quantifiers.";
    EXPECT_EQ(Validate(R"({"pattern": "^a{2,3}$"})", "\"aaa\""), "valid");
    EXPECT_EQ(Validate(R"({"pattern": "^a{2,3}$"})", "\"a\""), "Failed to validate against schema at keyword: pattern");
}

} // namespace
