#include <MacOS/Doubles/CoreFoundation.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace Tovra::Tests::Doubles;

namespace {

CFTypeID GetTypeId(Kind kind) {
    return static_cast<CFTypeID>(kind);
}

/// Sets `result` to a number; false if it has another value then.
template <class Result>
bool Convert(const Object& number, Result& result) {
    return std::visit(
        [&result](auto value) {
            if constexpr (std::is_integral_v<Result>) {
                if (value < decltype(value){std::numeric_limits<Result>::min()} ||
                    value > decltype(value){std::numeric_limits<Result>::max()}) {
                    return false;
                }
            }
            result = static_cast<Result>(value);
            return static_cast<decltype(value)>(result) == value;
        },
        number.value);
}

/// An extent of a rectangle in a dictionary; false if there is none.
bool ReadExtent(const Object& dictionary, const char* key, double& extent) {
    const auto entry = std::ranges::find(dictionary.entries, key, &std::pair<std::string, Object*>::first);
    return entry != dictionary.entries.end() && entry->second->kind == Kind::Number && Convert(*entry->second, extent);
}

} // namespace

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = ToReference<CFBooleanRef>(GetTrue());
const CFStringRef kCFBundleNameKey = ToReference<CFStringRef>(GetConstantString("CFBundleName"));

CFTypeRef CFRetain(CFTypeRef reference) {
    const Call call("CFRetain", reference);
    if (Object* const object = Check(call, reference)) {
        object->references += object->isConstant ? 0 : 1;
    }
    return reference;
}

void CFRelease(CFTypeRef reference) {
    const Call call("CFRelease", reference);
    if (Object* const object = Check(call, reference)) {
        Unreference(*object);
    }
}

CFTypeID CFGetTypeID(CFTypeRef reference) {
    const Call call("CFGetTypeID", reference);
    const Object* const object = Check(call, reference);
    return object == nullptr ? 0 : GetTypeId(object->kind);
}

// Arrays.

CFTypeID CFArrayGetTypeID() {
    return GetTypeId(Kind::Array);
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    const Call call("CFArrayGetCount", array);
    const Object* const object = Check(call, array, Kind::Array);
    return object == nullptr ? 0 : static_cast<CFIndex>(object->elements.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    const Call call("CFArrayGetValueAtIndex", array, index);
    Object* const object = Check(call, array, Kind::Array);
    if (object == nullptr) {
        return nullptr;
    }
    if (index < 0 || index >= static_cast<CFIndex>(object->elements.size())) {
        call.ReportMisuse("no such index");
        return nullptr;
    }
    return call.GivesOtherKind() ? &AddExtra(*object, Make(Kind::Data))
                                 : object->elements[static_cast<std::size_t>(index)];
}

// Booleans.

CFTypeID CFBooleanGetTypeID() {
    return GetTypeId(Kind::Boolean);
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    const Call call("CFBooleanGetValue", boolean);
    const Object* const object = Check(call, boolean, Kind::Boolean);
    return object != nullptr && object->flag;
}

// Bundles.

CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url) {
    const Call call("CFBundleCreate", allocator, url);
    const Object* const location = Check(call, url, Kind::Url);
    const auto found = location == nullptr ? bundles.all.end() : bundles.all.find(location->text);
    if (call.Fails() || found == bundles.all.end()) {
        return nullptr;
    }
    Object& bundle = Make(Kind::Bundle);
    bundle.text = found->first;
    for (const auto& [key, value] : found->second) {
        bundle.entries.emplace_back(key, &Make(value));
    }
    return ToReference<CFBundleRef>(bundle);
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key) {
    const Call call("CFBundleGetValueForInfoDictionaryKey", bundle, key);
    Object* const object = Check(call, bundle, Kind::Bundle);
    const std::string name = GetText(call, key);
    if (call.Fails() || object == nullptr) {
        return nullptr;
    }
    if (call.GivesOtherKind()) {
        return &AddExtra(*object, Make(Kind::Data));
    }
    const auto entry = std::ranges::find(object->entries, name, &std::pair<std::string, Object*>::first);
    return entry == object->entries.end() ? nullptr : entry->second;
}

// Dictionaries.

CFTypeID CFDictionaryGetTypeID() {
    return GetTypeId(Kind::Dictionary);
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const Call call("CFDictionaryGetValue", dictionary, key);
    Object* const object = Check(call, dictionary, Kind::Dictionary);
    const std::string name = GetText(call, static_cast<CFStringRef>(key));
    if (call.Fails() || object == nullptr) {
        return nullptr;
    }
    if (call.GivesOtherKind()) {
        return &AddExtra(*object, Make(Kind::Data));
    }
    const auto entry = std::ranges::find(object->entries, name, &std::pair<std::string, Object*>::first);
    return entry == object->entries.end() ? nullptr : entry->second;
}

bool CGRectMakeWithDictionaryRepresentation(CFDictionaryRef dictionary, CGRect* rectangle) {
    const Call call("CGRectMakeWithDictionaryRepresentation", dictionary, rectangle);
    const Object* const object = Check(call, dictionary, Kind::Dictionary);
    CGRect read;
    if (call.Fails() || object == nullptr || !ReadExtent(*object, "X", read.origin.x) ||
        !ReadExtent(*object, "Y", read.origin.y) || !ReadExtent(*object, "Width", read.size.width) ||
        !ReadExtent(*object, "Height", read.size.height)) {
        Spoil(*rectangle);
        return false;
    }
    *rectangle = read;
    return true;
}

// Numbers.

CFTypeID CFNumberGetTypeID() {
    return GetTypeId(Kind::Number);
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    const Call call("CFNumberGetValue", number, type, value);
    const Object* const object = Check(call, number, Kind::Number);
    if (call.Fails() || object == nullptr) {
        return false;
    }
    switch (type) {
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return Convert(*object, *static_cast<std::int32_t*>(value));
    case kCFNumberDoubleType:
        return Convert(*object, *static_cast<double*>(value));
    default:
        call.ReportMisuse("no such type of a number");
        return false;
    }
}

// Strings.

CFStringRef __CFStringMakeConstantString(const char* text) {
    return ToReference<CFStringRef>(GetConstantString(text));
}

CFTypeID CFStringGetTypeID() {
    return GetTypeId(Kind::String);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
    const Call call("CFStringCreateWithCString", allocator, text, encoding);
    return call.Fails() ? nullptr : ToReference<CFStringRef>(Make(Value(text)));
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
    const Call call("CFStringGetCString", string, buffer, size, encoding);
    const std::string text = GetText(call, string);
    if (size < 1 || encoding != kCFStringEncodingUTF8) {
        call.ReportMisuse("no buffer, or an encoding of which the double knows nothing");
        return false;
    }
    const auto room = static_cast<std::size_t>(size);
    TouchEnd(buffer, room);
    const bool fits = text.size() < room && !call.Fails();
    // What does not fit is written in part.
    const std::size_t length = fits ? text.size() : std::min(text.size() / 2, room - 1);
    std::memcpy(buffer, text.data(), length);
    if (fits) {
        buffer[length] = '\0';
    }
    return fits;
}

// URLs.

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory) {
    const std::string text(reinterpret_cast<const char*>(path), static_cast<std::size_t>(length));
    const Call call("CFURLCreateFromFileSystemRepresentation", allocator, text, length, isDirectory);
    if (call.Fails()) {
        return nullptr;
    }
    Object& url = Make(Kind::Url);
    url.text = text;
    return ToReference<CFURLRef>(url);
}
}
