#include <System/Serialization/JsonWrapper.h>

#include <rapidjson/document.h>

namespace Tovra::System::Serialization {

JsonWrapper::JsonWrapper() : m_document(std::make_unique<rapidjson::Document>(nullptr, 1024)) {}

JsonWrapper::~JsonWrapper() = default;

JsonWrapper::JsonWrapper(JsonWrapper&&) noexcept = default;

} // namespace Tovra::System::Serialization
