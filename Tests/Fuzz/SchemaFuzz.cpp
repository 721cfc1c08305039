// Oracle: the verdicts on equivalent schemas and documents
// Reaches: Tovra::System::Serialization::JsonSchemaWrapper::Compile
// Reaches: Tovra::System::Serialization::JsonSchemaWrapper::Validate
// Reaches: Tovra::System::Serialization::CopySensibleSchema Tovra::System::Serialization::Pattern::IsFoundIn

#include <System/Serialization/JsonSchemaWrapper.h>

#include <Fuzz/Input.h>
#include <Fuzz/Json.h>
#include <Fuzz/Outcome.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Json;
using Fuzz::Outcome;
using Tovra::System::Serialization::JsonSchemaWrapper;
using Tovra::System::Serialization::JsonWrapper;

using Kind = Json::Kind;

Outcome s_valid("a document that is valid by a schema that is not empty");
Outcome s_invalid("a document that is invalid");
Outcome s_none("a schema that counts as none");
Outcome s_reference("a schema with a reference");
Outcome s_pattern("a schema with a pattern");

/// The keywords that a validator may name as its reason.
constexpr auto keywords = std::to_array<std::string_view>({"type",
                                                           "enum",
                                                           "allOf",
                                                           "anyOf",
                                                           "oneOf",
                                                           "not",
                                                           "minimum",
                                                           "maximum",
                                                           "multipleOf",
                                                           "minLength",
                                                           "maxLength",
                                                           "pattern",
                                                           "items",
                                                           "additionalItems",
                                                           "minItems",
                                                           "maxItems",
                                                           "uniqueItems",
                                                           "required",
                                                           "dependencies",
                                                           "minProperties",
                                                           "patternProperties",
                                                           "maxProperties",
                                                           "additionalProperties"});

/// Unknown: the validation took too long.
enum class Verdict : std::uint8_t { None, Valid, Invalid, Unknown };

void Parse(const Json& json, const JsonWrapper& wrapper) {
    const std::string text = Fuzz::WriteJson(json);
    wrapper.GetDocument()->Parse<rapidjson::kParseIterativeFlag>(text.c_str(), text.size());
    Expect(!wrapper.GetDocument()->HasParseError(), "what is written is read", text);
}

Verdict GetVerdict(const Json& schema, const Json& document) {
    const JsonWrapper schemaJson;
    Parse(schema, schemaJson);
    JsonSchemaWrapper wrapper;
    if (!wrapper.Compile(schemaJson)) {
        return Verdict::None;
    }
    const JsonWrapper documentJson;
    Parse(document, documentJson);
    std::string error = "untouched";
    if (wrapper.Validate(documentJson, error)) {
        Expect(error == "untouched", "a valid document leaves the reason alone", error);
        return Verdict::Valid;
    }
    constexpr std::string_view reason = "Failed to validate against schema";
    constexpr std::string_view introduction = " at keyword: ";
    if (error == reason) {
        return Verdict::Unknown;
    }
    Expect(error.starts_with(reason) && error.substr(reason.size()).starts_with(introduction), "the reason is told",
           error);
    Expect(std::ranges::find(keywords, error.substr(reason.size() + introduction.size())) != keywords.end(),
           "the reason is a keyword", error);
    return Verdict::Invalid;
}

Json MakeText(std::string_view text) {
    return {.kind = Kind::Text, .text = std::string(text)};
}

Json MakeArray(std::vector<Json> elements) {
    return {.kind = Kind::Array, .elements = std::move(elements)};
}

Json MakeObject(std::vector<std::pair<std::string, Json>> members) {
    return {.kind = Kind::Object, .members = std::move(members)};
}

Json MakeObject(std::string_view name, Json value) {
    return MakeObject({{std::string(name), std::move(value)}});
}

Json MakeTrue() {
    return {.kind = Kind::Bool, .flag = true};
}

/// The schema at another place of a document: its references begin with the path of that.
Json Move(Json schema, std::string_view path) {
    for (Json& element : schema.elements) {
        element = Move(std::move(element), path);
    }
    for (auto& [name, value] : schema.members) {
        if (name == "$ref" && value.kind == Kind::Text && (value.text == "#" || value.text.starts_with("#/"))) {
            value.text.insert(1, path);
        } else {
            value = Move(std::move(value), path);
        }
    }
    return schema;
}

/// The same value with its members in the opposite order, without those that count for nothing.
Json Reverse(Json json) {
    for (Json& element : json.elements) {
        element = Reverse(std::move(element));
    }
    std::set<std::string> names;
    std::erase_if(json.members, [&names](const auto& member) { return !names.insert(member.first).second; });
    for (auto& [name, value] : json.members) {
        value = Reverse(std::move(value));
    }
    std::ranges::reverse(json.members);
    return json;
}

bool Holds(const Json& json, std::string_view name) {
    return json.Find(name) != nullptr ||
           std::ranges::any_of(json.elements, [name](const Json& element) { return Holds(element, name); }) ||
           std::ranges::any_of(json.members, [name](const auto& member) { return Holds(member.second, name); });
}

Verdict Negate(Verdict verdict) {
    return verdict == Verdict::Valid ? Verdict::Invalid : verdict == Verdict::Invalid ? Verdict::Valid : verdict;
}

/// Compares verdicts with that on a schema and a document.
class Comparison {
public:
    Comparison(const Json& schema, const Json& document)
        : m_schema(schema), m_document(document), m_verdict(GetVerdict(schema, document)) {}

    Verdict Get() const { return m_verdict; }

    /// Expects the verdict unless one of both schemas is beyond the limits.
    void Check(const char* rule, const Json& schema, const Json& document, Verdict expected) const {
        const Verdict actual = GetVerdict(schema, document);
        const bool areKnown = actual != Verdict::None && actual != Verdict::Unknown && expected != Verdict::None &&
                              expected != Verdict::Unknown;
        Expect(!areKnown || actual == expected, rule, Fuzz::WriteJson(schema), Fuzz::WriteJson(document),
               static_cast<int>(actual), static_cast<int>(expected));
    }

    void CheckCombinations() const {
        Check("allOf of a schema", MakeObject("allOf", MakeArray({Move(m_schema, "/allOf/0")})), m_document, m_verdict);
        Check("anyOf of a schema", MakeObject("anyOf", MakeArray({Move(m_schema, "/anyOf/0")})), m_document, m_verdict);
        Check("oneOf of a schema", MakeObject("oneOf", MakeArray({Move(m_schema, "/oneOf/0")})), m_document, m_verdict);
        Check("oneOf of a schema twice",
              MakeObject("oneOf", MakeArray({Move(m_schema, "/oneOf/0"), Move(m_schema, "/oneOf/1")})), m_document,
              m_verdict == Verdict::Valid ? Verdict::Invalid : m_verdict);
        Check("not of a schema", MakeObject("not", Move(m_schema, "/not")), m_document, Negate(m_verdict));
        Check("not of not of a schema", MakeObject("not", MakeObject("not", Move(m_schema, "/not/not"))), m_document,
              m_verdict);
        Check("a reference to a schema",
              MakeObject({{"$ref", MakeText("#/definitions/s")},
                          {"definitions", MakeObject("s", Move(m_schema, "/definitions/s"))}}),
              m_document, m_verdict);
    }

    void CheckContainers() const {
        const Json inArray = MakeArray({m_document});
        Check("items", MakeObject("items", Move(m_schema, "/items")), inArray, m_verdict);
        Check("a list of items", MakeObject("items", MakeArray({Move(m_schema, "/items/0")})), inArray, m_verdict);
        Check("additional items",
              MakeObject(
                  {{"items", MakeArray({MakeObject({})})}, {"additionalItems", Move(m_schema, "/additionalItems")}}),
              MakeArray({Json(), m_document}), m_verdict);
        const Json inObject = MakeObject("k", m_document);
        Check("a property", MakeObject("properties", MakeObject("k", Move(m_schema, "/properties/k"))), inObject,
              m_verdict);
        Check("additional properties", MakeObject("additionalProperties", Move(m_schema, "/additionalProperties")),
              inObject, m_verdict);
        Check("a pattern of properties",
              MakeObject("patternProperties", MakeObject("k", Move(m_schema, "/patternProperties/k"))), inObject,
              m_verdict);
        for (const auto& [name, value] : m_document.members) {
            // Any other character would have to be escaped in a path.
            if (std::ranges::all_of(name, [](unsigned char character) { return std::isalpha(character) != 0; })) {
                Check("a dependency",
                      MakeObject("dependencies", MakeObject(name, Move(m_schema, "/dependencies/" + name))), m_document,
                      m_verdict);
            }
        }
    }

    void CheckOrder() const {
        Check("a schema in another order", Reverse(m_schema), m_document, m_verdict);
        Check("a document in another order", m_schema, Reverse(m_document), m_verdict);
    }

    void CheckEquality() const {
        const Json other = MakeArray({m_document});
        const Json reversed = Reverse(m_document);
        const Json unique = MakeObject("uniqueItems", MakeTrue());
        Check("a value of its enumeration", MakeObject("enum", MakeArray({other, reversed})), m_document,
              Verdict::Valid);
        Check("a value of no enumeration", MakeObject("enum", MakeArray({other})), m_document, Verdict::Invalid);
        Check("the same value twice", unique, MakeArray({m_document, reversed}), Verdict::Invalid);
        Check("two values", unique, MakeArray({m_document, other}), Verdict::Valid);
    }

private:
    const Json& m_schema;
    const Json& m_document;
    Verdict m_verdict;
};

} // namespace

// An array of a schema and a document: schemas that mean the same give the same verdict, and a schema's opposite gives
// the other one. Another validator's verdicts are compared by compare_schemas.py.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<Json> pair = Fuzz::ReadJson(Fuzz::GetText(data, size));
    constexpr int maxDepth = 240;
    if (!pair || pair->elements.size() != 2 || pair->GetDepth() > maxDepth) {
        return 0;
    }
    const Json& schema = pair->elements[0];
    const Json& document = pair->elements[1];
    const Comparison comparison(schema, document);
    const Verdict verdict = comparison.Get();
    s_none.Note(verdict == Verdict::None);
    s_invalid.Note(verdict == Verdict::Invalid);
    s_valid.Note(verdict == Verdict::Valid && !schema.members.empty());
    s_reference.Note(verdict != Verdict::None && Holds(schema, "$ref"));
    s_pattern.Note(verdict != Verdict::None && Holds(schema, "pattern"));
    comparison.CheckEquality();
    if (schema.kind != Kind::Object) {
        Expect(verdict == Verdict::Valid, "what is no schema constrains nothing", Fuzz::WriteJson(*pair));
        return 0;
    }
    Expect(GetVerdict(schema, document) == verdict, "the same again", Fuzz::WriteJson(*pair));
    comparison.CheckCombinations();
    comparison.CheckContainers();
    comparison.CheckOrder();
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    constexpr std::array<std::string_view, 42> fragments{R"({"type":"object"})",
                                                         R"({"type":["string","null"]})",
                                                         R"({"enum":["a",1,null]})",
                                                         R"({"minimum":1})",
                                                         R"({"maximum":3,"exclusiveMaximum":true})",
                                                         R"({"multipleOf":2})",
                                                         R"({"minLength":2})",
                                                         R"({"pattern":"^a*b$"})",
                                                         R"({"items":{"type":"integer"}})",
                                                         R"({"items":[{},{"type":"null"}],"additionalItems":false})",
                                                         R"({"minItems":1})",
                                                         R"({"uniqueItems":true})",
                                                         R"({"required":["a"]})",
                                                         R"({"properties":{"a":{"type":"null"}}})",
                                                         R"({"properties":{"a":{}},"additionalProperties":false})",
                                                         R"({"patternProperties":{"^a":{"type":"null"}}})",
                                                         R"({"dependencies":{"a":["b"]}})",
                                                         R"({"not":{}})",
                                                         R"({"anyOf":[{"type":"null"},{"minimum":2}]})",
                                                         R"({"$ref":"#/definitions/a"})",
                                                         R"({"$ref":"#"})",
                                                         R"("a")",
                                                         R"("ab")",
                                                         R"("\u00e1b")",
                                                         R"("")",
                                                         R"("^(a|b)+$")",
                                                         R"("a{2,3}")",
                                                         R"("[^a-c]")",
                                                         R"("string")",
                                                         R"("integer")",
                                                         R"("#/properties/a")",
                                                         "0",
                                                         "1",
                                                         "2",
                                                         "-1",
                                                         "1.5",
                                                         "1e20",
                                                         "true",
                                                         "null",
                                                         "[]",
                                                         "{}",
                                                         R"(["a","b"])"};
    std::vector<std::string_view> names(keywords.begin(), keywords.end());
    names.insert(names.end(), {"exclusiveMinimum", "exclusiveMaximum", "properties", "definitions", "$ref", "a", "b",
                               "ab", "^a", ""});
    return Fuzz::MutateJson(data, size, maxSize, seed, fragments, names);
}
