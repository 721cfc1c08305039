#pragma once

#include <System/Serialization/RapidJsonTypes.h>

namespace Tovra::System::Serialization {

/// The value of the first member of that name; null if there is none, or if `object` is no object. Lives as long as the
/// object does. Any thread.
const rapidjson::Value* FindMember(const rapidjson::Value& object, const char* name);

} // namespace Tovra::System::Serialization
