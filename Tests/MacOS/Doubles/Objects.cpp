#include <MacOS/Doubles/Objects.h>

#include <algorithm>
#include <set>

namespace Tovra::Tests::Doubles {

namespace {

using Constants = std::map<std::string, Object>;

/// Strings of the program's text, by their content. Unlike other objects they outlive the tests.
Constants& GetConstants() {
    static auto& s_constants = *new Constants;
    return s_constants;
}

const char* GetName(Kind kind) {
    switch (kind) {
    case Kind::Array:
        return "Array";
    case Kind::Boolean:
        return "Boolean";
    case Kind::Bundle:
        return "Bundle";
    case Kind::Data:
        return "Data";
    case Kind::Dictionary:
        return "Dictionary";
    case Kind::DisplayMode:
        return "DisplayMode";
    case Kind::Element:
        return "Element";
    case Kind::Event:
        return "Event";
    case Kind::Geometry:
        return "Geometry";
    case Kind::Number:
        return "Number";
    case Kind::String:
        return "String";
    case Kind::Url:
        return "Url";
    }
    return "?";
}

Object* Find(const void* pointer) {
    if (const auto found = objects.all.find(pointer); found != objects.all.end()) {
        return found->second.get();
    }
    if (pointer == &GetTrue()) {
        return &GetTrue();
    }
    const auto found =
        std::ranges::find_if(GetConstants(), [pointer](auto& entry) { return &entry.second == pointer; });
    return found == GetConstants().end() ? nullptr : &found->second;
}

std::string Describe(const Object& object) {
    if (object.isConstant) {
        return object.kind == Kind::String ? '"' + object.text + '"' : "true";
    }
    return std::string(GetName(object.kind)) + '#' + std::to_string(object.number);
}

/// The objects that an object owns.
std::vector<Object*> GetOwned(const Object& object) {
    std::vector<Object*> owned = object.elements;
    for (const auto& [key, value] : object.entries) {
        owned.push_back(value);
    }
    owned.insert(owned.end(), object.extras.begin(), object.extras.end());
    return owned;
}

struct Maker {
    Object& operator()(std::monostate) const { return Make(Kind::Data); }
    Object& operator()(bool flag) const {
        Object& object = Make(Kind::Boolean);
        object.flag = flag;
        return object;
    }
    Object& operator()(const std::string& text) const {
        Object& object = Make(Kind::String);
        object.text = text;
        return object;
    }
    Object& operator()(const Dictionary& entries) const {
        Object& object = Make(Kind::Dictionary);
        for (const auto& [key, value] : entries) {
            object.entries.emplace_back(key, &Make(value));
        }
        return object;
    }
    Object& operator()(const std::vector<Value>& elements) const {
        Object& object = Make(Kind::Array);
        for (const Value& element : elements) {
            object.elements.push_back(&Make(element));
        }
        return object;
    }
    Object& operator()(auto number) const {
        Object& object = Make(Kind::Number);
        object.value = number;
        return object;
    }
};

} // namespace

Object& Make(Kind kind) {
    auto made = std::make_unique<Object>(Object{.kind = kind, .number = ++objects.counts[kind]});
    Object& object = *made;
    objects.all.emplace(&object, std::move(made));
    return object;
}

Object& Make(const Value& value) {
    return std::visit(Maker(), static_cast<const Value::variant&>(value));
}

void Unreference(Object& object) {
    if (object.isConstant) {
        return;
    }
    if (object.references == 0) {
        ReportMisuse(Describe(object) + " was released too often");
        return;
    }
    if (--object.references == 0) {
        for (Object* const owned : GetOwned(object)) {
            Unreference(*owned);
        }
    }
}

std::vector<std::string> GetLeaks() {
    std::set<const Object*> owned;
    for (const auto& [pointer, object] : objects.all) {
        if (object->references > 0) {
            for (const Object* const part : GetOwned(*object)) {
                // What has other references, too, is left over even without its owner.
                if (part->references == 1) {
                    owned.insert(part);
                }
            }
        }
    }
    std::vector<std::string> leaks;
    for (const auto& [pointer, object] : objects.all) {
        if (object->references > 0 && !owned.contains(object.get())) {
            leaks.push_back(Describe(*object));
        }
    }
    std::ranges::sort(leaks);
    return leaks;
}

std::string Describe(const void* pointer) {
    if (pointer == nullptr) {
        return "null";
    }
    const Object* const object = Find(pointer);
    return object == nullptr ? "*" : Describe(*object);
}

Object* Check(const Call& call, const void* reference) {
    Object* const object = reference == nullptr ? nullptr : Find(reference);
    if (object == nullptr) {
        call.ReportMisuse(reference == nullptr ? "null" : "no object");
        return nullptr;
    }
    if (object->references == 0) {
        call.ReportMisuse(Describe(*object) + " was released before");
        return nullptr;
    }
    return object;
}

Object* Check(const Call& call, const void* reference, Kind kind) {
    Object* const object = Check(call, reference);
    if (object != nullptr && object->kind != kind) {
        call.ReportMisuse(Describe(*object) + " is no " + GetName(kind));
        return nullptr;
    }
    return object;
}

void TouchEnd(void* buffer, std::size_t size) {
    if (buffer != nullptr && size > 0) {
        auto* const end = static_cast<volatile char*>(buffer) + size - 1;
        *end = *end;
    }
}

Object& AddExtra(Object& owner, Object& extra) {
    owner.extras.push_back(&extra);
    return extra;
}

std::string GetText(const Call& call, CFStringRef string) {
    const Object* const object = Check(call, string, Kind::String);
    return object == nullptr ? std::string() : object->text;
}

Object& GetConstantString(const char* text) {
    const auto [constant, isNew] = GetConstants().try_emplace(text, Object{.kind = Kind::String, .isConstant = true});
    if (isNew) {
        constant->second.text = text;
    }
    return constant->second;
}

Object& GetTrue() {
    static Object& s_true = *new Object{.kind = Kind::Boolean, .isConstant = true, .flag = true};
    return s_true;
}

} // namespace Tovra::Tests::Doubles
