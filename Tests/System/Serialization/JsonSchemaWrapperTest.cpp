#include <Support/InChild.h>
#include <Support/MemoryFault.h>
#include <Support/SystemOperations.h>
#include <System/Serialization/JsonSchemaWrapper.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/resource.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace {

using Tovra::System::Serialization::JsonSchemaWrapper;
using Tovra::System::Serialization::JsonWrapper;
using Tovra::Tests::MemoryFault;

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

/// The error of a validation; "valid" for none.
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

/// Expects a schema to accept the first document and refuse the second.
void ExpectToTellApart(const std::string& schema, const std::string& valid, const std::string& invalid,
                       const std::string& keyword) {
    EXPECT_EQ(Validate(schema, valid), "valid") << schema;
    EXPECT_EQ(Validate(schema, invalid), "Failed to validate against schema at keyword: " + keyword) << schema;
}

TEST(JsonSchemaWrapper, CompilesNoSchemaThatAppliesItself) {
    for (const char* const schema : {
             R"({"$ref": "#"})",
             R"({"not": {"$ref": "#/a"}, "a": {"$ref": "#/b"}, "b": {"$ref": "#/a"}})",
             R"({"properties": {"a": {"$ref": "#/properties/a"}}})",
             R"({"not": {"$ref": "#"}})",
             R"({"allOf": [{}, {"$ref": "#"}]})",
             R"({"anyOf": [{"$ref": "#"}]})",
             R"({"oneOf": [{"not": {"$ref": "#"}}]})",
             R"({"dependencies": {"a": {"$ref": "#"}}})",
             R"({"items": {"$ref": "#/a"}, "a": {"not": {"$ref": "#/a"}}})",
         }) {
        EXPECT_FALSE(Compiles(schema)) << schema;
    }
    EXPECT_TRUE(Compiles(R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/a"}})")) << "Nothing refers there.";
}

TEST(JsonSchemaWrapper, CompilesASchemaThatLeadsBackToItselfByParts) {
    const std::string tree = R"({"type": "object", "properties": {"left": {"$ref": "#"}, "right": {"$ref": "#"}},
                                 "items": {"$ref": "#"}, "additionalProperties": {"not": {"type": "array"}}})";
    EXPECT_EQ(Validate(tree, R"({"left": {"right": {}}})"), "valid");
    EXPECT_EQ(Validate(tree, R"({"left": {"right": 1}})"), "Failed to validate against schema at keyword: type");
    EXPECT_EQ(Validate(R"({"allOf": [{"$ref": "#/a"}, {"$ref": "#/a"}], "a": {"type": "object"}})", "{}"), "valid");
}

/// A schema of `levels` levels, each of which refers twice to the next.
std::string MakeDoublingSchema(int levels) {
    std::string schema = R"({"$ref": "#/level0", )";
    for (int level = 0; level < levels; ++level) {
        const std::string next = R"({"$ref": "#/level)" + std::to_string(level + 1) + "\"}";
        schema += "\"level" + std::to_string(level) + R"(": {"allOf": [)" + next + ", " + next + "]}, ";
    }
    return schema + "\"level" + std::to_string(levels) + R"(": {"type": "object"}})";
}

TEST(JsonSchemaWrapper, CompilesNoSchemaThatAppliesAThousandToOneValue) {
    EXPECT_TRUE(Compiles(MakeDoublingSchema(7)));
    EXPECT_FALSE(Compiles(MakeDoublingSchema(9)));
    EXPECT_FALSE(Compiles(MakeDoublingSchema(60)));
    ExpectToTellApart(MakeDoublingSchema(5), "{}", "[]", "allOf");
}

TEST(JsonSchemaWrapper, FollowsReferencesToReferences) {
    std::string chain = R"({"$ref": "#/link0", )";
    for (int link = 0; link < 200; ++link) {
        chain += "\"link" + std::to_string(link) + R"(": {"$ref": "#/link)" + std::to_string(link + 1) + "\"}, ";
    }
    ExpectToTellApart(chain + R"("link200": {"type": "object"}})", "{}", "[]", "type");
}

TEST(JsonSchemaWrapper, CompilesNoSchemaOfMoreThanThreeThousandParts) {
    const auto makeSchema = [](int count, const std::string& keyword) {
        std::string schema = "{\"" + keyword + "\": {";
        for (int index = 1; index < count; ++index) {
            schema += "\"" + std::to_string(index) + "\": {}, ";
        }
        return schema + R"("last": {"type": "object"}}})";
    };
    ExpectToTellApart(makeSchema(2'999, "properties"), "{}", R"({"last": 1})", "type");
    EXPECT_FALSE(Compiles(makeSchema(3'000, "properties")));
    EXPECT_FALSE(Compiles(makeSchema(100'000, "properties")));
    EXPECT_TRUE(Compiles(makeSchema(100'000, "what nobody knows")));
}

TEST(JsonSchemaWrapper, CountsAPartOnceMoreForEverySixteenSchemasAroundIt) {
    const auto makeSchema = [](int depth, int count) {
        std::string schema = "{\"required\": [\"0\"";
        for (int index = 1; index < count; ++index) {
            schema += ", \"" + std::to_string(index) + "\"";
        }
        schema += "]}";
        for (int level = 1; level < depth; ++level) {
            schema.insert(0, R"({"items": )").append("}");
        }
        return schema;
    };
    EXPECT_TRUE(Compiles(makeSchema(15, 3'000 - 15)));
    EXPECT_FALSE(Compiles(makeSchema(15, 3'000 - 14)));
    EXPECT_TRUE(Compiles(makeSchema(16, (3'000 - 15 - 2) / 2)));
    EXPECT_FALSE(Compiles(makeSchema(16, (3'000 - 15 - 2) / 2 + 1)));
    EXPECT_TRUE(Compiles(makeSchema(250, 5)));
    EXPECT_FALSE(Compiles(makeSchema(250, 80)));
}

/// Any number of names as a list, in JSON.
std::string MakeNames(int count) {
    std::string names = "[\"0\"";
    for (int index = 1; index < count; ++index) {
        names += ", \"" + std::to_string(index) + "\"";
    }
    return names + "]";
}

TEST(JsonSchemaWrapper, CountsAPartOnceMoreForEvery256BytesOfTheNamesAround) {
    for (const std::string keyword : {"properties", "patternProperties", "dependencies"}) {
        SCOPED_TRACE(keyword);
        const auto makeSchema = [&](std::size_t nameSize, int count) {
            return "{\"" + keyword + "\": {\"" + std::string(nameSize, 'n') + "\": {\"required\": " + MakeNames(count) +
                   "}}}";
        };
        EXPECT_TRUE(Compiles(makeSchema(255, 2'998)));
        EXPECT_FALSE(Compiles(makeSchema(255, 2'999)));
        EXPECT_TRUE(Compiles(makeSchema(256, 1'498)));
        EXPECT_FALSE(Compiles(makeSchema(256, 1'499)));
    }
    const auto makeValue = [](std::size_t nameSize, int count) {
        return R"({"enum": [{")" + std::string(nameSize, 'n') + "\": " + MakeNames(count) + "}]}";
    };
    EXPECT_TRUE(Compiles(makeValue(255, 2'997)));
    EXPECT_FALSE(Compiles(makeValue(255, 2'998)));
    EXPECT_TRUE(Compiles(makeValue(256, 1'498)));
    EXPECT_FALSE(Compiles(makeValue(256, 1'499)));
}

TEST(JsonSchemaWrapper, CountsThePartsBesideALongNameOnce) {
    const auto makeSchema = [](int count) {
        return R"({"properties": {")" + std::string(256, 'n') + R"(": {}, "m": {"required": )" + MakeNames(count) +
               "}}}";
    };
    EXPECT_TRUE(Compiles(makeSchema(2'996)));
    EXPECT_FALSE(Compiles(makeSchema(2'997)));
}

// The library would compare the paths of each two of these for minutes.
TEST(JsonSchemaWrapper, CompilesNoSchemaOfManyPartsUnderAVeryLongName) {
    std::string schema = R"({"properties": {")" + std::string(200'000, 'n') + R"(": {"properties": {"last": {})";
    for (int index = 0; index < 2'900; ++index) {
        schema += ", \"" + std::to_string(index) + "\": {}";
    }
    EXPECT_FALSE(Compiles(schema + "}}}}"));
}

TEST(JsonSchemaWrapper, CountsANameTwiceThatIsAnAdditionalProperty) {
    const auto makeSchema = [](int count) {
        return R"({"additionalProperties": false, "required": )" + MakeNames(count) + "}";
    };
    EXPECT_TRUE(Compiles(makeSchema(1'499)));
    EXPECT_FALSE(Compiles(makeSchema(1'500)));
}

TEST(JsonSchemaWrapper, CompilesNoSchemaOfMoreThanThreeThousandPartsThatAreNoSchemas) {
    const auto makeParts = [](int count, bool isNamed) {
        std::string parts;
        for (int index = 0; index < count; ++index) {
            parts += (index > 0 ? "," : "") + (isNamed ? "\"" + std::to_string(index) + "\":0" : std::string("0"));
        }
        return isNamed ? "{" + parts + "}" : "[" + parts + "]";
    };
    for (const std::string keyword : {"items", "properties", "patternProperties"}) {
        const bool isNamed = keyword != "items";
        EXPECT_TRUE(Compiles("{\"" + keyword + "\":" + makeParts(2'999, isNamed) + "}")) << keyword;
        EXPECT_FALSE(Compiles("{\"" + keyword + "\":" + makeParts(3'000, isNamed) + "}")) << keyword;
    }
}

TEST(JsonSchemaWrapper, CompilesNoListsOfMoreThanThreeThousandNames) {
    for (const std::string keyword : {"required", "enum"}) {
        EXPECT_TRUE(Compiles("{\"" + keyword + "\": " + MakeNames(2'999) + "}")) << keyword;
        EXPECT_FALSE(Compiles("{\"" + keyword + "\": " + MakeNames(3'000) + "}")) << keyword;
    }
    EXPECT_FALSE(Compiles(R"({"dependencies": {"a": )" + MakeNames(3'000) + "}}"));
}

TEST(JsonSchemaWrapper, IsNotConstrainedByAReferenceToWhatIsNoSchema) {
    for (const char* const reference : {"#/title", "#/missing", "#/list", "#/list/0", "#/number"}) {
        const std::string part = std::string(R"({"$ref": ")") + reference + R"(", "type": "object"})";
        const std::string rest = R"(, "title": "text", "list": [1], "number": 1})";
        EXPECT_EQ(Validate(R"({"properties": {"a": )" + part + "}" + rest, R"({"a": 1})"), "valid");
        EXPECT_EQ(Validate(R"({"allOf": [)" + part + "]" + rest, "1"), "valid");
        EXPECT_EQ(Validate(R"({"anyOf": [)" + part + "]" + rest, "1"), "valid");
        EXPECT_EQ(Validate(R"({"items": [)" + part + "]" + rest, "[1]"), "valid");
        EXPECT_EQ(Validate(R"({"patternProperties": {"a": )" + part + "}" + rest, R"({"a": 1})"), "valid");
        EXPECT_EQ(Validate(R"({"dependencies": {"a": )" + part + "}" + rest, R"({"a": 1})"), "valid");
    }
}

TEST(JsonSchemaWrapper, TakesAReferenceThatLeadsNowhereInTheDocumentForNone) {
    for (const char* const reference : {R"("other.json#/a")", R"("no pointer")", R"("#no pointer")", R"("")", "1"}) {
        ExpectToTellApart(std::string(R"({"properties": {"a": {"type": "object", "$ref": )") + reference + "}}}",
                          R"({"a": {}})", R"({"a": 1})", "type");
    }
}

TEST(JsonSchemaWrapper, RefersToAnyPlaceOfTheDocument) {
    ExpectToTellApart(R"({"items": {"$ref": "#/lists/0/1"}, "lists": [[{}, {"type": "null"}]]})", "[null]", "[1]",
                      "type");
    ExpectToTellApart(R"({"items": {"$ref": "#/a~1b/%C3%A1"}, "a/b": {"á": {"type": "null"}}})", "[null]", "[1]",
                      "type");
    ExpectToTellApart(R"({"items": {"$ref": "#/definitions/0"}, "definitions": {"0": {"type": "null"}}})", "[null]",
                      "[1]", "type");
    ExpectToTellApart(R"({"items": {"$ref": "#/a"}, "a": {"items": {"$ref": "#/b"}}, "b": {"type": "null"}})",
                      "[[null]]", "[[1]]", "type");
}

TEST(JsonSchemaWrapper, IsNotConstrainedByAPartThatIsNoSchema) {
    for (const std::string part : {"true", "false", "null", "5", "\"text\"", "[]", "[{}]"}) {
        for (const std::string keyword : {"allOf", "anyOf", "oneOf"}) {
            EXPECT_EQ(Validate("{\"" + keyword + "\": [" + part + "]}", "1"), "valid") << keyword << part;
        }
        EXPECT_EQ(Validate(R"({"not": )" + part + "}", "1"), "valid") << part;
        EXPECT_EQ(Validate(R"({"items": [)" + part + "]}", "[1]"), "valid") << part;
        EXPECT_EQ(Validate(R"({"properties": {"a": )" + part + "}}", R"({"a": 1})"), "valid") << part;
        EXPECT_EQ(Validate(R"({"patternProperties": {"a": )" + part + "}}", R"({"a": 1})"), "valid") << part;
        EXPECT_EQ(Validate(R"({"patternProperties": )" + part + "}", R"({"a": 1})"), "valid") << part;
    }
    for (const std::string part : {"true", "false", "null", "5", "\"text\"", "[]", "[5]"}) {
        EXPECT_EQ(Validate(R"({"dependencies": {"a": )" + part + "}}", R"({"a": 1})"), "valid") << part;
    }
}

TEST(JsonSchemaWrapper, IsConstrainedByThePartsBesideOneThatIsNoSchema) {
    ExpectToTellApart(R"({"allOf": [true, {"type": "null"}]})", "null", "1", "allOf");
    EXPECT_EQ(Validate(R"({"anyOf": [{"type": "null"}, true]})", "1"), "valid");
    EXPECT_EQ(Validate(R"({"oneOf": [{"type": "null"}, true]})", "1"), "valid");
    ExpectToTellApart(R"({"items": [true, {"type": "null"}]})", "[1, null]", "[1, 1]", "type");
    ExpectToTellApart(R"({"patternProperties": {"a": true, "b": {"type": "null"}}})", R"({"a": 1})", R"({"b": 1})",
                      "patternProperties");
}

TEST(JsonSchemaWrapper, IsNotConstrainedByTypesThatAreNone) {
    for (const char* const type : {"7", "null", "[]", "{}", R"("any")", R"(["any", 7])", R"("Integer")"}) {
        EXPECT_EQ(Validate(std::string(R"({"type": )") + type + "}", "1"), "valid") << type;
    }
    ExpectToTellApart(R"({"type": ["any", "null"]})", "null", "1", "type");
    ExpectToTellApart(R"({"type": ["null", "string", "null"]})", "\"a\"", "1", "type");
}

TEST(JsonSchemaWrapper, TakesTheFirstOfEqualKeysOfASchema) {
    ExpectToTellApart(R"({"type": "null", "type": "object"})", "null", "{}", "type");
    ExpectToTellApart(R"({"properties": {"a": {"type": "null"}, "a": {}}})", R"({"a": null})", R"({"a": 1})", "type");
    ExpectToTellApart(R"({"dependencies": {"a": ["b"], "a": ["c"]}})", R"({"a": 1, "b": 1})", R"({"a": 1, "c": 1})",
                      "dependencies");
    ExpectToTellApart(R"({"dependencies": {"a": {"required": ["b"]}, "a": ["c"]}})", R"({"a": 1, "b": 1})",
                      R"({"a": 1, "c": 1})", "dependencies");
    ExpectToTellApart(R"({"patternProperties": {"a": {"type": "null"}, "a": {}}})", R"({"a": null})", R"({"a": 1})",
                      "patternProperties");
}

TEST(JsonSchemaWrapper, TakesTheFirstOfEqualKeysOfADocument) {
    const std::string schema = R"({"properties": {"a": {"type": "null"}}, "maxProperties": 1})";
    ExpectToTellApart(schema, R"({"a": null, "a": 1})", R"({"a": 1, "a": null})", "type");
    ExpectToTellApart(R"({"properties": {"a\u0000b": {"type": "null"}}, "maxProperties": 2})",
                      R"({"a\u0000b": null, "a": 1, "a\u0000b": 1})", R"({"a": null, "a\u0000b": 1})", "type");
    ExpectToTellApart(R"({"enum": [{"a": [1]}]})", R"({"a": [1], "a": 2})", R"({"a": 2, "a": [1]})", "enum");
    EXPECT_EQ(Validate(R"({"enum": [{"a": [1], "a": 2}]})", R"({"a": [1]})"), "valid");
}

TEST(JsonSchemaWrapper, ComparesWholeValues) {
    const std::vector<std::string> values = {"{}",
                                             R"({"name": "name"})",
                                             R"({"other": "other"})",
                                             R"({"a": "b"})",
                                             R"({"b": "a"})",
                                             R"({"a": "a", "b": "b"})",
                                             R"({"a": "b", "b": "a"})",
                                             R"({"a": {"a": "a"}})",
                                             R"([{}, {}])",
                                             R"([{"a": "a"}, {}])",
                                             R"([{}, {"a": "a"}])",
                                             "[]",
                                             "[[]]",
                                             "[[], []]",
                                             "[[[]]]",
                                             "[1, 2]",
                                             "[2, 1]",
                                             "[[1], 2]",
                                             "[[1, 2]]",
                                             "[101]",
                                             "[365]",
                                             "[1, 3]",
                                             "[2, 1660993807230849618]",
                                             R"({"a": 76863})",
                                             R"({"a": 117885})",
                                             "null",
                                             "true",
                                             "false",
                                             "0",
                                             "1",
                                             "-1",
                                             "3000000000",
                                             "9223372039002259457",
                                             "0.5",
                                             "-0.5",
                                             "18446744073709551615",
                                             "18446744073709551616",
                                             "-9223372036854775808",
                                             "9223372036854775808",
                                             "9007199254740993",
                                             "9007199254740992",
                                             "1e300",
                                             "-1e300",
                                             "-1e19",
                                             "-2e19",
                                             R"("")",
                                             R"("0")",
                                             R"("1")",
                                             R"("a")",
                                             R"("\u0000")",
                                             R"("null")",
                                             R"("abca")",
                                             R"("abcA")",
                                             R"("[]")"};
    for (std::size_t one = 0; one < values.size(); ++one) {
        for (std::size_t other = 0; other < values.size(); ++other) {
            EXPECT_EQ(Validate(R"({"enum": [)" + values[one] + "]}", values[other]) == "valid", one == other)
                << values[one] << " and " << values[other];
            EXPECT_EQ(Validate(R"({"uniqueItems": true})", "[" + values[one] + ", " + values[other] + "]") == "valid",
                      one != other)
                << values[one] << " and " << values[other];
        }
        const std::string schema = R"({"enum": [[)" + values[one] + ", 1]]}";
        EXPECT_EQ(Validate(schema, "[" + values[one] + ", 1]"), "valid") << values[one];
        EXPECT_NE(Validate(schema, "[" + values[one] + ", 2]"), "valid") << values[one];
    }
}

TEST(JsonSchemaWrapper, TakesForEqualWhatIsWrittenInAnotherWay) {
    for (const auto& [one, other] :
         {std::pair(R"({"a": 1, "b": [{}]})", R"({"b": [{}], "a": 1})"), std::pair("1", "1.0"), std::pair("0", "-0.0"),
          std::pair("-2", "-20e-1"), std::pair("3000000000", "3e9"),
          std::pair("18446744073709551616", "1.8446744073709551616e19"), std::pair("10000000000000000000", "1e19"),
          std::pair("-7000000000000000000", "-7e18"), std::pair("-9223372036854775808", "-9223372036854775808.0"),
          std::pair(R"("a")", R"("\u0061")")}) {
        const std::string pair = std::string("[") + one + ", " + other + "]";
        EXPECT_EQ(Validate(std::string(R"({"enum": [)") + one + "]}", other), "valid") << pair;
        EXPECT_EQ(Validate(R"({"uniqueItems": true})", pair),
                  "Failed to validate against schema at keyword: uniqueItems")
            << pair;
        // What is behind it in the same value counts as well.
        const std::string list = std::string(R"({"enum": [[)") + one + ", 7]]}";
        EXPECT_EQ(Validate(list, std::string("[") + other + ", 7]"), "valid") << pair;
        EXPECT_NE(Validate(list, std::string("[") + other + ", 8]"), "valid") << pair;
        const std::string reversed = std::string(R"({"enum": [[)") + other + ", 7]]}";
        EXPECT_EQ(Validate(reversed, std::string("[") + one + ", 7]"), "valid") << pair;
        EXPECT_NE(Validate(reversed, std::string("[") + one + ", 8]"), "valid") << pair;
    }
}

TEST(JsonSchemaWrapper, KnowsSizesOfAnyNumberOfDigits) {
    for (const std::string size : {"4294967295", "4294967296", "18446744073709551615", "18446744073709551616"}) {
        ExpectToTellApart(R"({"minItems": )" + size + "}", "{}", "[]", "minItems");
        ExpectToTellApart(R"({"minLength": )" + size + "}", "[]", R"("a")", "minLength");
        ExpectToTellApart(R"({"minProperties": )" + size + "}", "[]", R"({"a": 1})", "minProperties");
        EXPECT_EQ(Validate(R"({"maxItems": )" + size + "}", "[1]"), "valid");
        EXPECT_EQ(Validate(R"({"maxLength": )" + size + "}", R"("a")"), "valid");
        EXPECT_EQ(Validate(R"({"maxProperties": )" + size + "}", R"({"a": 1})"), "valid");
    }
    for (const std::string size : {"-1", "2.5", "-18446744073709551616"}) {
        EXPECT_EQ(Validate(R"({"minItems": )" + size + "}", "[1]"), "valid") << "It is no size: " << size;
        EXPECT_EQ(Validate(R"({"maxItems": )" + size + "}", "[1, 2, 3]"), "valid") << "It is no size: " << size;
    }
}

TEST(JsonSchemaWrapper, TellsWhatIsAdditionalBesidePatterns) {
    const std::string none = R"({"patternProperties": {"^a": {"type": "null"}}, "properties": {"b": {}},
                                 "additionalProperties": false})";
    ExpectToTellApart(none, R"({"a1": null, "b": 1, "a2": null})", R"({"a1": null, "c": 1})", "additionalProperties");
    ExpectToTellApart(none, "{}", R"({"a1": 1})", "patternProperties");
    ExpectToTellApart(none, R"({"b": 1})", R"({"c": {"d": [1]}})", "additionalProperties");
    const std::string texts = R"({"patternProperties": {"^a": {"type": "null"}}, "properties": {"b.": {}},
                                  "additionalProperties": {"type": "string"}})";
    ExpectToTellApart(texts, R"({"a1": null, "b.": 1, "c": "text"})", R"({"a1": "text"})", "patternProperties");
    ExpectToTellApart(texts, R"({"c": "text"})", R"({"c": null})", "patternProperties");
    ExpectToTellApart(texts, R"({"b.": 1})", R"({"bc": 1})", "patternProperties");
    ExpectToTellApart(R"({"additionalProperties": false})", "{}", R"({"a": 1})", "additionalProperties");
}

/// A pattern of as many groups in each other as can be read, around an "a".
const std::string deepestPattern = std::string(255, '(') + "a" + std::string(255, ')');

TEST(JsonSchemaWrapper, TellsWhatIsAdditionalBesideADeeplyNestedPattern) {
    ExpectToTellApart(R"({"patternProperties": {")" + deepestPattern +
                          R"(": {}}, "additionalProperties": {"type": "null"}})",
                      R"({"a": 1, "b": null})", R"({"b": 1})", "patternProperties");
}

TEST(JsonSchemaWrapper, TellsWhatIsAdditionalBesidePatternsOfAlternatives) {
    const std::string rest = R"("properties": {"d": {}}, "additionalProperties": {"type": "null"}})";
    ExpectToTellApart(R"({"patternProperties": {"^a|b$": {}, "c|": {"type": "number"}}, )" + rest,
                      R"({"ax": 1, "xb": 1, "x": 1})", R"({"x": null})", "patternProperties");
    ExpectToTellApart(R"({"patternProperties": {"^a|b$": {}, "^c": {}}, )" + rest,
                      R"({"ax": 1, "xb": 1, "cx": 1, "d": 1, "xa": null})", R"({"xa": 1})", "patternProperties");
}

TEST(JsonSchemaWrapper, ReadsAPatternThatBeginsWithAControlCharacter) {
    for (const std::string& pattern : {std::string("a"), std::string("?a"), deepestPattern}) {
        ExpectToTellApart(R"({"pattern": "\u0001)" + pattern + "\"}", R"("\u0001a")", R"("b")", "pattern");
        ExpectToTellApart(R"({"patternProperties": {"\u0001)" + pattern + R"(": {"type": "null"}}})",
                          R"({"b": 1, "\u0001a": null})", R"({"\u0001a": 1})", "patternProperties");
    }
}

TEST(JsonSchemaWrapper, TellsWhatIsAdditionalBesideNamesWithAZeroByte) {
    for (const std::string name : {R"(a\u0000b)", R"(\u0000)", R"(\u0000abc)", R"(abc\u0000)"}) {
        const std::string schema =
            R"({"properties": {")" + name +
            R"(": {}}, "patternProperties": {"^x": {}}, "additionalProperties": {"type": "integer"}})";
        ExpectToTellApart(schema, R"({"abc": 1, "x": "text"})", R"({"abc": "text"})", "patternProperties");
        ExpectToTellApart(schema, R"({"": 1})", R"({"": "text"})", "patternProperties");
        // The name can't be told from others, so its property must be valid as an additional one, too.
        ExpectToTellApart(schema, "{\"" + name + "\": 1}", "{\"" + name + "\": \"text\"}", "patternProperties");
    }
}

TEST(JsonSchemaWrapper, HasNothingAdditionalBesideTheEmptyPattern) {
    const std::string pattern = R"("patternProperties": {"": {"type": "null"}})";
    ExpectToTellApart("{" + pattern + R"(, "required": ["a"], "additionalProperties": false})",
                      R"({"a": null, "b": null})", R"({"a": 1})", "patternProperties");
    ExpectToTellApart("{" + pattern + R"(, "additionalProperties": {"type": "string"}})", R"({"": null, "b": null})",
                      R"({"b": "text"})", "patternProperties");
}

TEST(JsonSchemaWrapper, TellsWhatIsAdditionalThoughItIsRequired) {
    const std::string keyword = "additionalProperties";
    EXPECT_EQ(Validate(R"({"required": ["a"], "additionalProperties": false})", R"({"a": 1})"),
              "Failed to validate against schema at keyword: additionalProperties");
    ExpectToTellApart(R"({"required": ["a"], "properties": {"a": {}}, "additionalProperties": false})", R"({"a": 1})",
                      R"({"a": 1, "b": 1})", keyword);
    ExpectToTellApart(R"({"dependencies": {"a": ["b"]}, "additionalProperties": false})", "{}", R"({"b": 1})", keyword);
    ExpectToTellApart(R"({"dependencies": {"a": {}}, "additionalProperties": {"type": "null"}})", R"({"a": null})",
                      R"({"a": 1})", "type");
    ExpectToTellApart(R"({"required": ["ab"], "patternProperties": {"^a": {}}, "additionalProperties": false})",
                      R"({"ab": 1})", R"({"ab": 1, "b": 1})", keyword);
}

TEST(JsonSchemaWrapper, CompilesNoEnumerationOfWhatTheLibraryTakesForAReference) {
    EXPECT_FALSE(Compiles(R"({"enum": [{"$ref": "#/enum/0"}]})"));
    EXPECT_FALSE(Compiles(R"({"enum": [[{"a": {"$ref": "#/enum/0/0/a"}}]]})"));
    EXPECT_FALSE(Compiles(R"({"enum": [{"patternProperties": 5}]})"));
    EXPECT_FALSE(Compiles(R"({"enum": [{"dependencies": {"a": [5]}}]})"));
    ExpectToTellApart(R"({"enum": [{"patternProperties": {"(": 1}, "pattern": "*"}, {"pattern": {"pattern": 1}}]})",
                      R"({"patternProperties": {"(": 1}, "pattern": "*"})", "{}", "enum");
}

TEST(JsonSchemaWrapper, KnowsPropertiesThatAreCalledLikeKeywords) {
    for (const std::string name : {"$ref", "not", "allOf", "enum", "items", "dependencies", "patternProperties"}) {
        ExpectToTellApart(R"({"properties": {")" + name + R"(": {"type": "null"}}})", "{\"" + name + "\": null}",
                          "{\"" + name + "\": 1}", "type");
    }
    EXPECT_FALSE(Compiles(R"({"properties": {"dependencies": {"enum": [1]}}})")) << "The library asserts on it.";
    EXPECT_FALSE(Compiles(R"({"dependencies": {"patternProperties": ["a"]}})")) << "The library asserts on it.";
}

TEST(JsonSchemaWrapper, MatchesPatterns) {
    ExpectToTellApart(R"({"pattern": "^a{2,3}$"})", "\"aaa\"", "\"a\"", "pattern");
    ExpectToTellApart(R"({"pattern": "(a*)*b$"})", "\"aab\"", "\"aa\"", "pattern");
    ExpectToTellApart(R"({"pattern": "^([A-Za-z]*-?)*$"})", "\"ab-c--d\"", "\"ab-1\"", "pattern");
    ExpectToTellApart(R"({"patternProperties": {"^á": {"type": "null"}}})", R"({"ab": 1, "áb": null})", R"({"áb": 1})",
                      "patternProperties");
    ExpectToTellApart(R"({"pattern": "^.[à-ï]$"})", "\"日é\"", "\"日\"", "pattern");
}

TEST(JsonSchemaWrapper, MatchesATextAsFarAsItsFirstZeroByte) {
    ExpectToTellApart(R"({"pattern": "^ab$"})", R"("ab\u0000c")", R"("a\u0000b")", "pattern");
    EXPECT_EQ(Validate(R"({"pattern": "^ab\u0000c$"})", "\"x\""), "valid") << "Such a pattern constrains nothing.";
    EXPECT_EQ(Validate(R"({"patternProperties": {"a\u0000b": {"not": {}}}})", R"({"a": 1})"), "valid");
}

TEST(JsonSchemaWrapper, IsNotConstrainedByAPatternThatCannotBeRead) {
    for (const char* const pattern : {"(", ")", "[", "[]", "*", "a**", "a{2,1}", "{2}", R"(\\1)", R"(\\b)", "(?=a)"}) {
        EXPECT_EQ(Validate(std::string(R"({"pattern": ")") + pattern + "\"}", "\"x\""), "valid") << pattern;
        EXPECT_EQ(Validate(std::string(R"({"patternProperties": {")") + pattern + R"(": {"not": {}}}})", R"({"x": 1})"),
                  "valid")
            << pattern;
    }
}

TEST(JsonSchemaWrapper, CompilesNoPatternsThatAreTooLongWithTheirRepetitions) {
    for (const char* const pattern : {"a{100000000}", "((a{300}){300}){300}", "(a?){200000}", "a{1,4294967294}",
                                      "a{20001}", "(a{100}){200}b", "a{99999999999999999999}"}) {
        EXPECT_FALSE(Compiles(std::string(R"({"pattern": ")") + pattern + "\"}")) << pattern;
        EXPECT_FALSE(Compiles(std::string(R"({"items": {"patternProperties": {")") + pattern + "\": {}}}}")) << pattern;
    }
    EXPECT_TRUE(Compiles(R"({"pattern": "(a{100}){190}"})"));
    EXPECT_TRUE(Compiles(R"({"properties": {"a": {"pattern": "a{9000}"}, "b": {"pattern": "a{9000}"}}})"));
    EXPECT_FALSE(Compiles(
        R"({"properties": {"a": {"pattern": "a{9000}"}, "b": {"pattern": "a{9000}"}, "c": {"pattern": "a{9000}"}}})"));
    EXPECT_TRUE(Compiles(R"({"pattern": "[{99999999}]\\{99999999}"})")) << "No quantifiers.";
}

TEST(JsonSchemaWrapper, CompilesNoEnumerationOfPatternsThatAreTooLong) {
    for (const std::string value :
         {R"({"pattern": "a{9999}"})", R"({"patternProperties": {"a{9999}": 1}})", R"({"pattern": "a{9999}\u0000"})",
          R"({"patternProperties": {"a{9999}\u0000": 1}})"}) {
        EXPECT_TRUE(Compiles("{\"enum\": [" + value + ", " + value + "]}")) << value;
        EXPECT_FALSE(Compiles("{\"enum\": [" + value + ", [" + value + ", {\"a\": " + value + "}]]}")) << value;
    }
    EXPECT_TRUE(Compiles(R"({"enum": ["a{99999}", {"a": "a{99999}"}]})"));
}

TEST(JsonSchemaWrapper, CompilesNoPatternsThatTakeTooManyStepsToRead) {
    std::string patterns = R"({"patternProperties": {"(a{9999}){0}": {})";
    for (int index = 0; index < 500; ++index) {
        patterns += ", \"(a{9999}){0}(" + std::to_string(index) + "\": {}";
    }
    EXPECT_FALSE(Compiles(patterns + "}}"));
}

TEST(JsonSchemaWrapper, ReadsPatternsOnceForAllNames) {
    std::string names = "\"0\"";
    for (int index = 1; index < 1'000; ++index) {
        names += ",\"" + std::to_string(index) + "\"";
    }
    EXPECT_TRUE(
        Compiles(R"({"patternProperties": {"^[0-9]+a{9000}": {}}, "additionalProperties": false, "required": [)" +
                 names + "]}"));
}

/// Expects that a validation ends without a result, within the test's time limit.
void ExpectToGiveUp(const std::string& schema, const std::string& document) {
    EXPECT_EQ(Validate(schema, document), "Failed to validate against schema");
}

/// A value in as many objects.
std::string Nest(int depth) {
    std::string document = "1";
    for (int level = 0; level < depth; ++level) {
        document = R"({"a": )" + document + "}";
    }
    return document;
}

TEST(JsonSchemaWrapper, GivesUpWhereAppliedSchemasDoubleWithTheDepth) {
    ExpectToGiveUp(R"({"properties": {"a": {"$ref": "#"}}, "allOf": [{"properties": {"a": {"$ref": "#"}}}]})",
                   Nest(200));
}

std::string MakeLongArray(int count) {
    std::string array = "[0";
    for (int index = 1; index < count; ++index) {
        array += "," + std::to_string(index);
    }
    return array + "]";
}

/// An array of the same value any number of times.
std::string MakeUniformArray(const std::string& value, int count) {
    std::string array = "[" + value;
    for (int index = 1; index < count; ++index) {
        array += "," + value;
    }
    return array + "]";
}

TEST(JsonSchemaWrapper, GivesUpComparingTooManyElements) {
    // The library's list of them grows by half, so each list that was not given back would count.
    EXPECT_EQ(Validate(R"({"uniqueItems": true})", MakeLongArray(9'000)), "valid");
    ExpectToGiveUp(R"({"uniqueItems": true})", MakeLongArray(14'000));
    ExpectToGiveUp(R"({"uniqueItems": true})", MakeLongArray(200'000));
    EXPECT_EQ(Validate(R"({"items": {"type": "integer"}})", MakeLongArray(200'000)), "valid");
}

/// A schema that applies 450 others, each of that text, to one value.
std::string MakeWideSchema(const std::string& part) {
    std::string parts = part;
    for (int index = 1; index < 450; ++index) {
        parts += "," + part;
    }
    return R"({"allOf": [)" + parts + "]}";
}

TEST(JsonSchemaWrapper, GivesUpReadingTooLongATextTooOften) {
    for (const std::string part : {R"({"minLength": 1})", R"({"not": {"enum": [""]}})"}) {
        EXPECT_EQ(Validate(MakeWideSchema(part), '"' + std::string(100'000, 'a') + '"'), "valid") << part;
        ExpectToGiveUp(MakeWideSchema(part), '"' + std::string(2'000'000, 'a') + '"');
    }
    ExpectToGiveUp(MakeWideSchema(R"({"items": {"minLength": 1}})"), "[\"" + std::string(2'000'000, 'a') + "\"]");
    EXPECT_EQ(Validate(R"({"minLength": 1})", '"' + std::string(10'000'000, 'a') + '"'), "valid");
}

TEST(JsonSchemaWrapper, ReadsEachValueAroundALongTextAtItsOwnCost) {
    const std::string schema = R"({"items": )" + MakeWideSchema(R"({"minLength": 1})") + "}";
    const auto repeat = [](const std::string& value) {
        std::string values;
        for (int index = 0; index < 1'500; ++index) {
            values += value + ',';
        }
        return values;
    };
    // Each third costs more than what is left in the end, so that twice as much would be noticed.
    const std::string document =
        '[' + repeat("0") + '"' + std::string(100'000, 'a') + "\"," + repeat("0") + repeat("\"a\"") + "0]";
    EXPECT_EQ(Validate(schema, document), "valid");
}

TEST(JsonSchemaWrapper, GivesUpApplyingManySchemasToTooManyValues) {
    const std::string schema = R"({"items": )" + MakeWideSchema(R"({"minLength": 1})") + "}";
    EXPECT_EQ(Validate(schema, MakeLongArray(100)), "valid");
    ExpectToGiveUp(schema, MakeLongArray(200'000));
}

TEST(JsonSchemaWrapper, SpendsAStepForEachBlockOfItsSchemasAtEachValue) {
    // Three blocks each: the schema's validator and its two lists. What these take at first does not count beside.
    const std::string schema = MakeWideSchema(R"({"minItems": 1})");
    EXPECT_EQ(Validate(schema, MakeUniformArray("0", 2'500)), "valid");
    ExpectToGiveUp(schema, MakeUniformArray("0", 5'000));
}

TEST(JsonSchemaWrapper, SpendsAStepForEachValueBesideThoseOfTheBlocks) {
    // Three blocks and the value itself: 5,000,000 steps are enough for 1,250,000 values.
    EXPECT_EQ(Validate("{}", MakeUniformArray("0", 1'100'000)), "valid");
    ExpectToGiveUp("{}", MakeUniformArray("0", 1'400'000));
}

TEST(JsonSchemaWrapper, LooksThroughATextIn256BytesAStep) {
    const std::string schema = MakeWideSchema(R"({"minItems": 1})");
    EXPECT_EQ(Validate(schema, MakeUniformArray('"' + std::string(255, 'a') + '"', 2'500)), "valid");
    ExpectToGiveUp(schema, MakeUniformArray('"' + std::string(256, 'a') + '"', 2'500));
}

/// A wide schema that applies to the value of "a", too.
std::string MakeWideSchemaOfAnyDepth() {
    std::string schema = MakeWideSchema(R"({"minLength": 1})");
    schema.back() = ',';
    return schema + R"("properties": {"a": {"$ref": "#"}}})";
}

TEST(JsonSchemaWrapper, GivesUpWhereTooManySchemasApplyAtATime) {
    EXPECT_EQ(Validate(MakeWideSchemaOfAnyDepth(), Nest(5)), "valid");
    ExpectToGiveUp(MakeWideSchemaOfAnyDepth(), Nest(20));
}

/// The most memory that this process has had so far, in KiB.
std::int64_t GetLargestMemory() {
    rusage usage{};
    EXPECT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
    return Tovra::Tests::GetLargestMemory(usage);
}

TEST(JsonSchemaWrapper, GivesUpReadingTooLongAKeyTooOften) {
    const std::string schema = MakeWideSchema(R"({"minProperties": 1})");
    EXPECT_EQ(Validate(schema, "{\"" + std::string(100'000, 'a') + "\": 1}"), "valid");
    const std::int64_t before = GetLargestMemory();
    ExpectToGiveUp(schema, "{\"" + std::string(2'000'000, 'a') + "\": 1}");
    EXPECT_LT(GetLargestMemory() - before, 300'000) << "Each of the schemas has copied the key.";
}

TEST(JsonSchemaWrapper, GivesUpMatchingTooLongATextWithTooLongAPattern) {
    const std::string schema = R"({"pattern": "(a?){6000}b"})";
    EXPECT_EQ(Validate(schema, '"' + std::string(100, 'a') + "b\""), "valid");
    ExpectToGiveUp(schema, '"' + std::string(100'000, 'a') + '"');
}

TEST(JsonSchemaWrapper, GivesUpMatchingTooManyTextsWithTooLongAPattern) {
    std::string texts = "[\"\"";
    for (int index = 0; index < 1'000; ++index) {
        texts += ",\"\"";
    }
    ExpectToGiveUp(R"({"items": {"pattern": ")" + std::string(6'000, '|') + "\"}}", texts + "]");
}

TEST(JsonSchemaWrapperDeathTest, KeepsNoMemoryOfAValidation) {
    JsonSchemaWrapper wide;
    JsonSchemaWrapper deep;
    ASSERT_TRUE(wide.Compile(Parse(R"({"items": )" + MakeWideSchema(R"({"minLength": 1})") + "}")));
    ASSERT_TRUE(deep.Compile(Parse(MakeWideSchemaOfAnyDepth())));
    const JsonWrapper manyValues = Parse(MakeUniformArray("0", 500));
    const JsonWrapper tooDeep = Parse(Nest(20));
    const auto validateOften = [&] {
        std::string error;
        EXPECT_TRUE(wide.Validate(manyValues, error));
        for (int index = 0; index < 50; ++index) {
            // The library does not come to free anything where its validation is broken off.
            EXPECT_FALSE(deep.Validate(tooDeep, error));
        }
    };
    const auto validateTwiceAsOften = [&] {
        validateOften();
        const std::int64_t before = GetLargestMemory();
        validateOften();
        EXPECT_LT(GetLargestMemory() - before, 100'000) << "KiB";
    };
    // A child's largest memory is its own, not that of the tests before it.
    EXPECT_EQ(Tovra::Tests::RunInChild(validateTwiceAsOften), "");
}

const std::string schemaOfManyParts = R"({
    "type": "object", "required": ["a"], "properties": {"a": {"$ref": "#/definitions/part"}, "b": {"enum": [{"c": [1]}]}},
    "patternProperties": {"^x": {"pattern": "^(a|b)*$", "minimum": 1}}, "additionalProperties": {"type": "null"},
    "dependencies": {"b": ["a"], "a": {"not": {"maxProperties": 1}}}, "allOf": [{"anyOf": [{}, {"oneOf": [{}]}]}],
    "definitions": {"part": {"items": [{}, {"uniqueItems": true}], "additionalItems": {"maxLength": 9}}}})";

TEST(JsonSchemaWrapperDeathTest, CompilesNoSchemaForWhichThereIsTooLittleMemory) {
    const JsonWrapper json = Parse(schemaOfManyParts);
    const auto compileWithFaults = [&] {
        int call = 1;
        for (bool isCompiled = false; !isCompiled; ++call) {
            JsonSchemaWrapper wrapper;
            const MemoryFault fault(call);
            isCompiled = wrapper.Compile(json);
            EXPECT_EQ(isCompiled, !MemoryFault::HasOccurred()) << "After " << call << " calls.";
            EXPECT_EQ(isCompiled, wrapper.GetSchema() != nullptr);
        }
        EXPECT_GT(call, 100);
    };
    // The library does not free what it had taken by then, so a child takes it.
    EXPECT_EQ(Tovra::Tests::RunInChild(compileWithFaults), "");
}

TEST(JsonSchemaWrapperDeathTest, HoldsNoDocumentForValidForWhichThereIsTooLittleMemory) {
    JsonSchemaWrapper wrapper;
    ASSERT_TRUE(wrapper.Compile(Parse(schemaOfManyParts)));
    const JsonWrapper json = Parse(R"({"a": [1, [2, 3], "text"], "b": {"c": [1]}, "x": "abab", "y": null})");
    const std::string earlier(100, ' '); // So that the message needs no memory.
    const auto validateWithFaults = [&] {
        int call = 1;
        for (bool isValid = false; !isValid; ++call) {
            std::string error = earlier;
            const MemoryFault fault(call);
            isValid = wrapper.Validate(json, error);
            EXPECT_EQ(isValid, !MemoryFault::HasOccurred()) << "After " << call << " calls.";
            EXPECT_EQ(isValid, error == earlier);
        }
        EXPECT_GT(call, 40);
    };
    EXPECT_IN_CHILD(validateWithFaults(), "");
}

} // namespace
