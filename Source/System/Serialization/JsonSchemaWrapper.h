#pragma once

#include <System/Serialization/JsonWrapper.h>

#include <memory>
#include <string>

namespace Tovra::System::Serialization {

/// A compiled JSON schema (draft 4), against which documents are validated. One thread at a time.
class JsonSchemaWrapper {
public:
    JsonSchemaWrapper();
    ~JsonSchemaWrapper();
    JsonSchemaWrapper(const JsonSchemaWrapper&) = delete;
    JsonSchemaWrapper& operator=(const JsonSchemaWrapper&) = delete;

    /// Compiles a schema, whose document need not live on. Whether it makes sense is not tested: what it fails to
    /// constrain is valid. A schema compiled before is replaced.
    ///
    /// False, with the schema compiled before kept, if there is no document, if memory runs out, or if the library
    /// would recurse or loop without end on the schema: it is nested deeper than 256, or beyond the limits of
    /// `CopySensibleSchema`.
    bool Compile(const JsonWrapper& schema);

    /// Whether the document is valid. If not, `error` is replaced by the reason; otherwise it is left untouched. Of
    /// equal keys the first one counts. Nothing is valid without a compiled schema, and no document whose validation
    /// takes too long (some seconds) or too much memory.
    bool Validate(const JsonWrapper& json, std::string& error) const;

    /// The compiled schema, or null. Owned by the wrapper; the next `Compile` replaces it.
    rapidjson::SchemaDocument* GetSchema() const { return m_schema.get(); }

private:
    std::unique_ptr<rapidjson::SchemaDocument> m_schema;
};

} // namespace Tovra::System::Serialization
