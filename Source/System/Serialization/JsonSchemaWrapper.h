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
    /// constrain is valid. False only for a document that is nested too deep to be a schema. The schema is trusted, as
    /// it is part of the installation: the library behind it stands no reference that leads back to itself.
    bool Compile(const JsonWrapper& schema);

    /// Whether the document is valid. If not, `error` is replaced by the reason; otherwise it is left untouched.
    bool Validate(const JsonWrapper& json, std::string& error) const;

    /// The compiled schema, or null. Owned by the wrapper.
    rapidjson::SchemaDocument* GetSchema() const { return m_schema.get(); }

private:
    std::unique_ptr<rapidjson::SchemaDocument> m_schema;
};

} // namespace Tovra::System::Serialization
