#include <System/Serialization/JsonSchemaWrapper.h>

#include <rapidjson/document.h>
#include <rapidjson/schema.h>

namespace Tovra::System::Serialization {

namespace {

/// Accepts the events of a document up to a depth that the library, which recurses with the nesting, stands on any
/// stack. The time that a validation takes grows with the square of the depth as well.
class NestingLimit : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, NestingLimit> {
public:
    bool StartObject() { return Enter(); }
    bool EndObject(rapidjson::SizeType) { return Leave(); }
    bool StartArray() { return Enter(); }
    bool EndArray(rapidjson::SizeType) { return Leave(); }

private:
    static constexpr int maxDepth = 256;

    bool Enter() { return ++m_depth <= maxDepth; }

    bool Leave() {
        --m_depth;
        return true;
    }

    int m_depth = 0;
};

bool IsNestedTooDeep(const rapidjson::Document& document) {
    NestingLimit limit;
    return !document.Accept(limit);
}

} // namespace

JsonSchemaWrapper::JsonSchemaWrapper() = default;

JsonSchemaWrapper::~JsonSchemaWrapper() = default;

bool JsonSchemaWrapper::Compile(const JsonWrapper& schema) {
    const rapidjson::Document* const document = schema.GetDocument();
    if (document == nullptr || IsNestedTooDeep(*document)) {
        return false;
    }
    m_schema = std::make_unique<rapidjson::SchemaDocument>(*document);
    return true;
}

bool JsonSchemaWrapper::Validate(const JsonWrapper& json, std::string& error) const {
    const rapidjson::Document* const document = json.GetDocument();
    if (document == nullptr) {
        // The text speaks of the schema, though the document is what is missing; callers know it as it stands.
        error = "The schema json needs to be valid";
        return false;
    }
    if (m_schema == nullptr) {
        error = "No schema was loaded and compiled";
        return false;
    }
    rapidjson::SchemaValidator validator(*m_schema);
    if (!IsNestedTooDeep(*document) && document->Accept(validator)) {
        return true;
    }
    error = "Failed to validate against schema";
    if (const char* const keyword = validator.GetInvalidSchemaKeyword()) {
        error.append(" at keyword: ").append(keyword);
    }
    return false;
}

} // namespace Tovra::System::Serialization
