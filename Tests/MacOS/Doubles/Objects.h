#pragma once

#include <CoreGraphics/CoreGraphics.h>
#include <MacOS/Doubles/Calls.h>

#include <array>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Tovra::Tests::Doubles {

/// The kinds of objects, as `CFGetTypeID` tells them apart.
enum class Kind : std::uint8_t {
    Array = 1,
    Boolean,
    Bundle,
    Data, ///< Never asked for: it stands for any unexpected kind.
    Dictionary,
    DisplayMode,
    Element,
    Event,
    Geometry,
    Number,
    String,
    Url,
};

/// An object of the system. It stays after its last release, so that a use of it is noticed.
struct Object {
    Kind kind;
    int number = 0;          ///< From 1 among those of its kind, for records.
    long references = 1;     ///< 0 once it is released.
    bool isConstant = false; ///< Lives as long as the process.

    std::string text = {};                                     ///< Of a string, or the path of a URL or a bundle.
    bool flag = false;                                         ///< Of a boolean.
    std::variant<std::int64_t, double> value = {};             ///< Of a number.
    std::vector<Object*> elements = {};                        ///< Of an array; each is owned.
    std::vector<std::pair<std::string, Object*>> entries = {}; ///< Of a dictionary; each is owned.
    std::vector<Object*> extras = {};                          ///< Other owned objects, which were handed out.

    std::variant<CGPoint, CGSize> geometry = {}; ///< Of a geometry.

    std::int32_t processId = 0; ///< Of an element.
    int window = 0;             ///< Of an element that is a window, its number; 0 for an application.

    std::uint32_t flags = 0; ///< Of a display mode, as the following fields.
    std::size_t width = 0;
    std::size_t height = 0;
    double refreshRate = 0;

    std::uint32_t eventType = 0; ///< Of an event, as the following fields.
    CGPoint position = {};
    std::uint32_t button = 0;
    std::int64_t clickState = 1;
    std::uint32_t scrollUnit = 0;
    std::vector<std::int32_t> wheels = {};
};

/// What an object is made from. `std::monostate` stands for an object of an unexpected kind.
struct Value : std::variant<std::monostate, bool, std::int64_t, double, std::string, std::map<std::string, Value>,
                            std::vector<Value>> {
    using variant::variant;
    Value(std::integral auto number)
        requires(!std::same_as<decltype(number), bool>)
        : variant(static_cast<std::int64_t>(number)) {}
    Value(const char* text) : variant(std::string(text)) {}
};

/// A dictionary.
using Dictionary = std::map<std::string, Value>;

/// All objects that were made.
struct Objects {
    std::map<const void*, std::unique_ptr<Object>> all;
    std::map<Kind, int> counts;
};

inline Objects& objects = Fakes::GetState<Objects>();

/// Makes an object with one reference.
Object& Make(Kind kind);
Object& Make(const Value& value);

/// A string of the program's text, always the same one for a text. It outlives the tests.
Object& GetConstantString(const char* text);

/// The boolean that is true, likewise.
Object& GetTrue();

/// As the reference that macOS has for an object of this kind.
template <class Reference>
Reference ToReference(Object& object) {
    return reinterpret_cast<Reference>(&object);
}

/// Takes a reference away without a record.
void Unreference(Object& object);

/// The objects that were neither released nor belong to another one, such as "Event#1".
std::vector<std::string> GetLeaks();

/// The object behind a reference, of this kind; null, after a report, if it is null, released, of another kind or no
/// object at all.
Object* Check(const Call& call, const void* reference, Kind kind);

/// The same for any kind.
Object* Check(const Call& call, const void* reference);

/// Touches the last byte of a caller's buffer, for AddressSanitizer, if there is a buffer.
void TouchEnd(void* buffer, std::size_t size);

/// Overwrites a caller's output, as a failing call may.
template <class Output>
void Spoil(Output& output) {
    std::memset(&output, 0xA5, sizeof(output));
}

/// Moves an object to the objects that another one owns and hands out.
Object& AddExtra(Object& owner, Object& extra);

/// The text of a string; empty, after a report, if it is none.
std::string GetText(const Call& call, CFStringRef string);

} // namespace Tovra::Tests::Doubles
