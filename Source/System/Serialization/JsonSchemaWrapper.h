#pragma once

#include <System/Serialization/JsonWrapper.h>

#include <memory>
#include <string>

namespace Tovra::System::Serialization {

/// Holds a compiled JSON schema (draft 4) and validates documents against it.
class JsonSchemaWrapper {
public:
    JsonSchemaWrapper();
    ~JsonSchemaWrapper();
    JsonSchemaWrapper(const JsonSchemaWrapper&) = delete;
    JsonSchemaWrapper& operator=(const JsonSchemaWrapper&) = delete;

    /// Compiles a schema, whose document need not live on. Whether it makes sense is not tested: what it fails to
    /// constrain is valid. False only for one that the library behind it would not come back from: nested deeper than
    /// 256, larger than 3,000 schemas, references and names (each counts once more for every 16 that it is nested in),
    /// or with one that applies itself or 1,000 others to one value, or with patterns of more than 20,000 steps with
    /// their repetitions written out.
    bool Compile(const JsonWrapper& schema);

    /// Whether the document is valid. If not, `error` is replaced by the reason; otherwise it is left untouched. Of
    /// equal keys the first one counts. A document whose validation takes too long (some seconds) or too much memory is
    /// not valid.
    bool Validate(const JsonWrapper& json, std::string& error) const;

    /// The compiled schema, or null. Owned by the wrapper.
    rapidjson::SchemaDocument* GetSchema() const { return m_schema.get(); }

private:
    std::unique_ptr<rapidjson::SchemaDocument> m_schema;
};

} // namespace Tovra::System::Serialization
