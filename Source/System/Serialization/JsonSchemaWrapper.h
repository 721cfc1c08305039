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
    /// would recurse or loop without end on the schema or take minutes for it. That is so if it
    /// - is nested deeper than 256;
    /// - is too large: 3,000 schemas, references and names, each of which counts once more for every 16 levels that it
    ///   is nested in and for every 256 bytes of the names that it is under; 20,000 instructions of patterns;
    ///   5,000,000 steps to read and match these;
    /// - applies itself or 1,000 others to one value;
    /// - contains what the library takes for an unusable schema though it is none: a "$ref" in a value of "enum", or a
    ///   property with the name of a keyword.
    bool Compile(const JsonWrapper& schema);

    /// Whether the document is valid. If not, `error` is replaced by the reason; otherwise it is left untouched. Of
    /// equal keys the first one counts. Nothing is valid without a compiled schema, and no document that is nested
    /// deeper than 256 or whose validation takes too long (some seconds) or too much memory.
    bool Validate(const JsonWrapper& json, std::string& error) const;

    /// The compiled schema, or null. Owned by the wrapper; the next `Compile` replaces it.
    rapidjson::SchemaDocument* GetSchema() const { return m_schema.get(); }

private:
    std::unique_ptr<rapidjson::SchemaDocument> m_schema;
};

} // namespace Tovra::System::Serialization
