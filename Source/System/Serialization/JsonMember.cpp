#include <System/Serialization/JsonMember.h>

#include <rapidjson/document.h>

namespace Tovra::System::Serialization {

const rapidjson::Value* FindMember(const rapidjson::Value& object, const char* name) {
    if (!object.IsObject()) {
        return nullptr;
    }
    const auto member = object.FindMember(name);
    return member != object.MemberEnd() ? &member->value : nullptr;
}

} // namespace Tovra::System::Serialization
