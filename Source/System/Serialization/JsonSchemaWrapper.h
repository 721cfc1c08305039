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
    /// constrain is valid. False only for a document that the library behind it would not come back from: nested too
    /// deep or with too many objects (10,000) to be a schema, or with one that applies itself or that many others to
    /// one value, that refers to what is none, or has a pattern that can't be read, or patterns that take 64 MiB.
    bool Compile(const JsonWrapper& schema);

    /// Whether the document is valid. If not, `error` is replaced by the reason; otherwise it is left untouched.
    bool Validate(const JsonWrapper& json, std::string& error) const;

    /// The compiled schema, or null. Owned by the wrapper.
    rapidjson::SchemaDocument* GetSchema() const { return m_schema.get(); }

private:
    std::unique_ptr<rapidjson::SchemaDocument> m_schema;
};

} // namespace Tovra::System::Serialization
