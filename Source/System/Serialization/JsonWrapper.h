#pragma once

#include <System/Serialization/RapidJsonTypes.h>

#include <memory>

namespace Tovra::System::Serialization {

/// A JSON document that keeps the library behind it out of the headers. Parses nothing: callers parse into the
/// document.
class JsonWrapper {
public:
    /// Makes an empty document: a null value.
    JsonWrapper();
    ~JsonWrapper();
    JsonWrapper(const JsonWrapper&) = delete;
    JsonWrapper& operator=(const JsonWrapper&) = delete;

    /// Takes the other's document and leaves it without one.
    JsonWrapper(JsonWrapper&& other) noexcept;

    /// The document, to parse into or to read from. Owned by the wrapper; null only after a move.
    rapidjson::Document* GetDocument() const { return m_document.get(); }

private:
    std::unique_ptr<rapidjson::Document> m_document;
};

} // namespace Tovra::System::Serialization
