#include <System/Serialization/JsonMember.h>
#include <System/Serialization/Pattern.h>
#include <System/Serialization/SensibleSchema.h>

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Tovra::System::Serialization {

namespace {

using rapidjson::Value;

constexpr int maxDepth = 256;

std::string_view GetText(const Value& string) {
    return {string.GetString(), string.GetStringLength()};
}

/// The text up to its first null character, where the library stops reading a pattern, or a text to match.
std::string_view GetTextToNull(const Value& string) {
    return GetText(string).substr(0, GetText(string).find('\0'));
}

/// Calls `visitor` with the name and the value of the first member of each name.
template <class Visitor>
void VisitMembers(const Value& object, const Visitor& visitor) {
    std::unordered_set<std::string_view> names;
    for (const auto& [name, value] : object.GetObject()) {
        if (names.insert(GetText(name)).second) {
            visitor(name, value);
        }
    }
}

/// Thrown where a schema can't be used at all.
class Unusable {};

/// Limits the depth of nested calls: throws `Unusable` at the limit.
class Nesting {
public:
    explicit Nesting(int& depth) : m_depth(depth) {
        if (m_depth == maxDepth) {
            throw Unusable();
        }
        ++m_depth;
    }
    ~Nesting() { --m_depth; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

private:
    int& m_depth;
};

class Copier {
public:
    Copier(const Value& source, rapidjson::Document& copy)
        : m_source(source), m_copy(copy), m_allocator(copy.GetAllocator()) {}

    void CopyAll() {
        Value root = CopySchema(m_source);
        Value definitions(rapidjson::kObjectType);
        Value refusal(rapidjson::kObjectType);
        Add(refusal, "not", Value(rapidjson::kObjectType));
        Add(definitions, "refusal", std::move(refusal));
        // Copying a target may add further ones.
        for (std::size_t index = 0; index < m_targets.size(); ++index) {
            Value target = CopySchema(*m_targets[index]);
            definitions.AddMember(MakeText(GetTargetName(index)), target, m_allocator);
        }
        Add(root, "definitions", std::move(definitions));
        static_cast<Value&>(m_copy).Swap(root);
    }

private:
    /// The library's time grows with the square of their number and with the length of their paths.
    static constexpr std::size_t maxParts = 3'000;
    static constexpr int depthOfOnePart = 16;
    static constexpr std::size_t namesOfOnePart = 256; ///< Bytes.

    Value CopySchema(const Value& schema) {
        const Nesting nesting(m_depth);
        Count(1);
        Value copy(rapidjson::kObjectType);
        if (IsReference(schema)) {
            // A reference stands for the schema that it refers to; the other keywords beside it are ignored.
            const Value* const target = FindTarget(schema);
            if (target != nullptr) {
                copy.AddMember("$ref", MakeReference(*target), m_allocator);
            }
            return copy;
        }
        CopyOfAnyType(schema, copy);
        CopyLimits(schema, copy);
        CopyOfArrays(schema, copy);
        CopyOfObjects(schema, copy);
        return copy;
    }

    /// Whether the schema refers to a place within the document. Any other reference is ignored, like an unknown
    /// keyword.
    static bool IsReference(const Value& schema) {
        const Value* const reference = FindMember(schema, "$ref");
        return reference != nullptr && reference->IsString() && GetText(*reference).starts_with('#') &&
               GetPointer(*reference).IsValid();
    }

    static rapidjson::Pointer GetPointer(const Value& reference) {
        return {reference.GetString(), reference.GetStringLength()};
    }

    /// The schema at the end of the references, or null. Throws `Unusable` if they go in a circle.
    const Value* FindTarget(const Value& schema) {
        const Value* target = &schema;
        std::unordered_set<const Value*> passed;
        while (target != nullptr && IsReference(*target)) {
            Count(1);
            if (!passed.insert(target).second) {
                throw Unusable();
            }
            target = GetPointer(*FindMember(*target, "$ref")).Get(m_source);
        }
        return target != nullptr && target->IsObject() ? target : nullptr;
    }

    Value MakeReference(const Value& target) {
        if (&target == &m_source) {
            return MakeText("#");
        }
        const auto [entry, isNew] = m_indices.try_emplace(&target, m_targets.size());
        if (isNew) {
            m_targets.push_back(&target);
        }
        return MakeText("#/definitions/" + GetTargetName(entry->second));
    }

    /// The name of a target in "definitions"; no mere number, which the library would take for an index of an array.
    static std::string GetTargetName(std::size_t index) { return "target" + std::to_string(index); }

    void CopyOfAnyType(const Value& schema, Value& copy) {
        CopyTypes(schema, copy);
        CopyEnumeration(schema, copy);
        CopyCombination(schema, copy, "allOf", true);
        CopyCombination(schema, copy, "anyOf", false);
        CopyCombination(schema, copy, "oneOf", false);
        if (const Value* const part = FindMember(schema, "not"); part != nullptr && part->IsObject()) {
            Add(copy, "not", CopySchema(*part));
        }
    }

    void CopyTypes(const Value& schema, Value& copy) {
        constexpr std::array<std::string_view, 7> known{"null",   "boolean", "object", "array",
                                                        "string", "number",  "integer"};
        const Value* const type = FindMember(schema, "type");
        if (type == nullptr) {
            return;
        }
        Value types(rapidjson::kArrayType);
        for (const std::string_view name : known) {
            const auto isName = [name](const Value& value) { return value.IsString() && GetText(value) == name; };
            if (type->IsArray() ? std::ranges::any_of(type->GetArray(), isName) : isName(*type)) {
                types.PushBack(MakeText(std::string(name)), m_allocator);
            }
        }
        AddUnlessEmpty(copy, "type", std::move(types));
    }

    void CopyEnumeration(const Value& schema, Value& copy) {
        const Value* const values = FindMember(schema, "enum");
        if (values != nullptr && values->IsArray()) {
            Value copies(rapidjson::kArrayType);
            for (const Value& value : values->GetArray()) {
                copies.PushBack(CopyValue(value), m_allocator);
            }
            AddUnlessEmpty(copy, "enum", std::move(copies));
        }
    }

    /// Copies a value of "enum". The library takes any object in it for a schema: it would resolve its references, so
    /// those are refused, and it compiles its patterns, so those are counted.
    Value CopyValue(const Value& value) {
        const Nesting nesting(m_depth);
        Count(1);
        if (value.IsArray()) {
            Value copy(rapidjson::kArrayType);
            for (const Value& element : value.GetArray()) {
                copy.PushBack(CopyValue(element), m_allocator);
            }
            return copy;
        }
        if (!value.IsObject()) {
            return {value, m_allocator};
        }
        Value copy(rapidjson::kObjectType);
        VisitMembers(value, [&](const Value& name, const Value& member) {
            if (GetText(name) == "$ref") {
                throw Unusable();
            }
            if (GetText(name) == "pattern" && member.IsString()) {
                CompilePattern(GetTextToNull(member));
            } else if (GetText(name) == "patternProperties" && member.IsObject()) {
                VisitMembers(member, [this](const Value& key, const Value&) { CompilePattern(GetTextToNull(key)); });
            }
            copy.AddMember(Value(name, m_allocator), CopyUnder(name, member, &Copier::CopyValue), m_allocator);
        });
        return copy;
    }

    /// Copies "allOf", "anyOf" or "oneOf". A member that is no schema constrains nothing: "allOf" is copied without it,
    /// "anyOf" and "oneOf" are then not copied at all.
    void CopyCombination(const Value& schema, Value& copy, const char* keyword, bool isForAll) {
        const Value* const parts = FindMember(schema, keyword);
        if (parts == nullptr || !parts->IsArray()) {
            return;
        }
        Value copies(rapidjson::kArrayType);
        for (const Value& part : parts->GetArray()) {
            if (part.IsObject()) {
                copies.PushBack(CopySchema(part), m_allocator);
            } else if (!isForAll) {
                return;
            }
        }
        AddUnlessEmpty(copy, keyword, std::move(copies));
    }

    /// Copies the keywords of one number, flag or pattern: the limits of numbers, of sizes and of text.
    void CopyLimits(const Value& schema, Value& copy) {
        for (const char* const keyword : {"minimum", "maximum", "multipleOf"}) {
            if (const Value* const number = FindMember(schema, keyword); number != nullptr && number->IsNumber()) {
                Add(copy, keyword, Value(*number, m_allocator));
            }
        }
        for (const char* const keyword :
             {"minLength", "maxLength", "minItems", "maxItems", "minProperties", "maxProperties"}) {
            if (const Value* const size = FindMember(schema, keyword); size != nullptr && size->IsNumber()) {
                Add(copy, keyword, MakeSize(*size));
            }
        }
        for (const char* const keyword : {"exclusiveMinimum", "exclusiveMaximum", "uniqueItems"}) {
            if (const Value* const flag = FindMember(schema, keyword); flag != nullptr && flag->IsBool()) {
                Add(copy, keyword, Value(flag->GetBool()));
            }
        }
        if (const Value* const pattern = FindMember(schema, "pattern"); pattern != nullptr && ReadPattern(*pattern)) {
            Add(copy, "pattern", MakePattern(GetText(*pattern)));
        }
    }

    /// The library ignores a size beyond 32 bits. The largest of 32 bits means the same: no value reaches it.
    Value MakeSize(const Value& size) const {
        constexpr rapidjson::SizeType largest = std::numeric_limits<rapidjson::SizeType>::max();
        // The parser reads an integer beyond 64 bits as a double.
        const bool isTooLarge =
            size.IsUint64() ? size.GetUint64() > largest : size.GetDouble() >= 18446744073709551616.0;
        return isTooLarge ? Value(largest) : Value(size, m_allocator);
    }

    void CopyOfArrays(const Value& schema, Value& copy) {
        if (const Value* const items = FindMember(schema, "items"); items != nullptr && items->IsObject()) {
            Add(copy, "items", CopySchema(*items));
        } else if (items != nullptr && items->IsArray()) {
            Value copies(rapidjson::kArrayType);
            for (const Value& item : items->GetArray()) {
                copies.PushBack(CopySchemaOrNone(item), m_allocator);
            }
            AddUnlessEmpty(copy, "items", std::move(copies));
        }
        CopyRest(schema, copy, "additionalItems");
    }

    void CopyOfObjects(const Value& schema, Value& copy) {
        CopyRequired(schema, copy);
        CopyDependencies(schema, copy);
        Value properties = CopyProperties(schema);
        const std::vector<Pattern> patterns = CopyPatternProperties(schema, copy);
        AddUnlistedNames(schema, copy, patterns, properties);
        AddUnlessEmpty(copy, "properties", std::move(properties));
    }

    Value CopyProperties(const Value& schema) {
        Value copies(rapidjson::kObjectType);
        if (const Value* const properties = FindMember(schema, "properties");
            properties != nullptr && properties->IsObject()) {
            VisitMembers(*properties, [&](const Value& name, const Value& property) {
                copies.AddMember(Value(name, m_allocator), CopyUnder(name, property, &Copier::CopySchemaOrNone),
                                 m_allocator);
            });
        }
        return copies;
    }

    /// The library takes each name in "required" and "dependencies" for one of "properties". Where neither "properties"
    /// nor a pattern names it, it is an additional one and gets that schema.
    void AddUnlistedNames(const Value& schema, const Value& copy, const std::vector<Pattern>& patterns,
                          Value& properties) {
        const Value* const rest = FindMember(schema, "additionalProperties");
        if (rest == nullptr || !(rest->IsFalse() || rest->IsObject())) {
            return;
        }
        std::unordered_set<std::string> known;
        for (const auto& property : properties.GetObject()) {
            known.emplace(GetText(property.name));
        }
        const auto addName = [&](const Value& name) {
            if (known.emplace(GetText(name)).second && !IsNamedByPattern(patterns, GetTextToNull(name))) {
                Count(1);
                Value property(rapidjson::kObjectType);
                Add(property, "$ref", rest->IsFalse() ? MakeText(refusalPointer) : MakeReference(*rest));
                properties.AddMember(Value(name, m_allocator), property, m_allocator);
            }
        };
        if (const Value* const required = FindMember(copy, "required")) {
            std::ranges::for_each(required->GetArray(), addName);
        }
        if (const Value* const dependencies = FindMember(copy, "dependencies")) {
            for (const auto& [name, dependency] : dependencies->GetObject()) {
                addName(name);
                if (dependency.IsArray()) {
                    std::ranges::for_each(dependency.GetArray(), addName);
                }
            }
        }
    }

    /// Whether a pattern matches the name.
    bool IsNamedByPattern(const std::vector<Pattern>& patterns, std::string_view name) {
        return std::ranges::any_of(patterns,
                                   [&](const Pattern& pattern) { return pattern.IsFoundIn(name, m_patternSteps); });
    }

    void CopyRequired(const Value& schema, Value& copy) {
        if (const Value* const required = FindMember(schema, "required"); required != nullptr && required->IsArray()) {
            AddUnlessEmpty(copy, "required", CopyNames(*required));
        }
    }

    void CopyDependencies(const Value& schema, Value& copy) {
        const Value* const dependencies = FindMember(schema, "dependencies");
        if (dependencies == nullptr || !dependencies->IsObject()) {
            return;
        }
        Value copies(rapidjson::kObjectType);
        VisitMembers(*dependencies, [&](const Value& name, const Value& dependency) {
            if (dependency.IsObject()) {
                copies.AddMember(Value(name, m_allocator), CopyUnder(name, dependency, &Copier::CopySchema),
                                 m_allocator);
            } else if (dependency.IsArray()) {
                copies.AddMember(Value(name, m_allocator), CopyNames(dependency), m_allocator);
            }
        });
        AddUnlessEmpty(copy, "dependencies", std::move(copies));
    }

    /// Copies "patternProperties" and "additionalProperties". Returns the patterns that can be read.
    std::vector<Pattern> CopyPatternProperties(const Value& schema, Value& copy) {
        const Value* const members = FindMember(schema, "patternProperties");
        Value copies(rapidjson::kObjectType);
        std::vector<Pattern> patterns;
        std::string known;
        if (members != nullptr && members->IsObject()) {
            VisitMembers(*members, [&](const Value& name, const Value& property) {
                if (std::optional<Pattern> pattern = ReadPattern(name)) {
                    patterns.push_back(std::move(*pattern));
                    copies.AddMember(MakePattern(GetText(name)), CopyUnder(name, property, &Copier::CopySchemaOrNone),
                                     m_allocator);
                    known.append("|").append(GetText(name));
                }
            });
        }
        if (copies.ObjectEmpty()) {
            CopyRest(schema, copy, "additionalProperties");
            return patterns;
        }
        const Value* const rest = FindMember(schema, "additionalProperties");
        if (rest != nullptr && rest->IsFalse()) {
            // The library loses its place where only a pattern allows a property; a schema that refuses everything does
            // the same.
            Value refusal(rapidjson::kObjectType);
            Add(refusal, "$ref", MakeText(refusalPointer));
            Add(copy, "additionalProperties", std::move(refusal));
        } else if (rest != nullptr && rest->IsObject()) {
            // The library accepts a value that is valid by either a pattern's schema or this one. So this one becomes
            // the schema of a pattern that all other names match.
            AppendProperties(schema, known);
            known.front() = complementMark;
            CompilePattern(known);
            Value pattern = MakeText(known);
            Value property(rapidjson::kObjectType);
            Add(property, "$ref", MakeReference(*rest));
            copies.AddMember(pattern, property, m_allocator);
        }
        Add(copy, "patternProperties", std::move(copies));
        return patterns;
    }

    /// Appends each of the schema's properties to the alternatives of a pattern. A name with a null character never
    /// matches, as texts are matched only up to theirs, so it counts as additional too.
    static void AppendProperties(const Value& schema, std::string& alternatives) {
        const Value* const properties = FindMember(schema, "properties");
        if (properties == nullptr || !properties->IsObject()) {
            return;
        }
        for (const auto& member : properties->GetObject()) {
            alternatives += "|^";
            for (const char character : GetText(member.name)) {
                if (character == '\0') {
                    alternatives += "\\x00";
                    continue;
                }
                if (std::string_view("\\^$.|?*+()[]{}").find(character) != std::string_view::npos) {
                    alternatives += '\\';
                }
                alternatives += character;
            }
            alternatives += '$';
        }
    }

    /// Copies the keyword for all other elements or members: a schema, or whether there may be any.
    void CopyRest(const Value& schema, Value& copy, const char* keyword) {
        const Value* const rest = FindMember(schema, keyword);
        if (rest != nullptr && rest->IsObject()) {
            Add(copy, keyword, CopySchema(*rest));
        } else if (rest != nullptr && rest->IsBool()) {
            Add(copy, keyword, Value(rest->GetBool()));
        }
    }

    /// Copies a schema. What is no schema becomes one that constrains nothing.
    Value CopySchemaOrNone(const Value& schema) {
        if (schema.IsObject()) {
            return CopySchema(schema);
        }
        Count(1);
        return Value(rapidjson::kObjectType);
    }

    /// Copies a part that has a name, which is in the paths of all that the part contains.
    Value CopyUnder(const Value& name, const Value& part, Value (Copier::*copy)(const Value&)) {
        m_namesSize += name.GetStringLength();
        Value result = (this->*copy)(part);
        m_namesSize -= name.GetStringLength();
        return result;
    }

    Value CopyNames(const Value& names) {
        Value copies(rapidjson::kArrayType);
        for (const Value& name : names.GetArray()) {
            Count(1);
            if (name.IsString()) {
                copies.PushBack(Value(name, m_allocator), m_allocator);
            }
        }
        return copies;
    }

    /// The pattern that a value is, or none if it can't be read. The library would read one only up to a null
    /// character.
    std::optional<Pattern> ReadPattern(const Value& value) {
        if (!value.IsString() || GetText(value) != GetTextToNull(value)) {
            return std::nullopt;
        }
        Pattern pattern = CompilePattern(GetText(value));
        return pattern.IsValid() ? std::optional(std::move(pattern)) : std::nullopt;
    }

    Pattern CompilePattern(std::string_view text) {
        Pattern pattern(text, m_patternSteps);
        m_patternSize += pattern.GetSize();
        if (m_patternSize > Pattern::maxSize) {
            throw Unusable();
        }
        return pattern;
    }

    /// The text of a pattern in the copy, in which only patterns of our own begin with the mark.
    Value MakePattern(std::string_view text) const {
        return text.starts_with(complementMark) ? MakeText("\\x01" + std::string(text.substr(1)))
                                                : MakeText(std::string(text));
    }

    void Count(std::size_t parts) {
        m_parts += parts * (1 + static_cast<std::size_t>(m_depth / depthOfOnePart) + m_namesSize / namesOfOnePart);
        if (m_parts > maxParts) {
            throw Unusable();
        }
    }

    Value MakeText(const std::string& text) const {
        return {text.data(), static_cast<rapidjson::SizeType>(text.size()), m_allocator};
    }

    void Add(Value& object, const char* name, Value value) const {
        object.AddMember(rapidjson::StringRef(name), value, m_allocator);
    }

    void AddUnlessEmpty(Value& object, const char* name, Value value) const {
        if (value.IsArray() ? !value.Empty() : !value.ObjectEmpty()) {
            Add(object, name, std::move(value));
        }
    }

    const Value& m_source;
    rapidjson::Document& m_copy;
    rapidjson::Document::AllocatorType& m_allocator;
    std::vector<const Value*> m_targets; ///< The schemas that are referred to, in the order in which they were met.
    std::unordered_map<const Value*, std::size_t> m_indices;
    std::size_t m_namesSize = 0; ///< Of the names on the path of what is being copied.
    std::size_t m_parts = 0;
    std::size_t m_patternSize = 0;
    Budget m_patternSteps{maxPatternSteps};
    int m_depth = 0;
};

/// Finds in a copy what the library would recurse into without end, or assert on.
class LibraryLimits {
public:
    explicit LibraryLimits(const Value& copy) : m_copy(copy) {}

    bool AreKept() { return AreKept(m_copy); }

private:
    static constexpr int tooMany = 1'000;

    bool AreKept(const Value& value) {
        if (value.IsArray()) {
            return std::ranges::all_of(value.GetArray(), [this](const auto& element) { return AreKept(element); });
        }
        return !value.IsObject() ||
               (Count(value, 1) < tooMany && IsReadable(value) &&
                std::ranges::all_of(value.GetObject(), [this](const auto& member) { return AreKept(member.value); }));
    }

    /// Whether the library can read the object as a schema. It takes any object for one, even the one of "properties",
    /// in which a property may have the name of a keyword whose type the library does not test.
    static bool IsReadable(const Value& object) {
        const Value* const patterns = FindMember(object, "patternProperties");
        const Value* const dependencies = FindMember(object, "dependencies");
        const auto isReadable = [](const auto& dependency) {
            return !dependency.value.IsArray() ||
                   std::ranges::all_of(dependency.value.GetArray(), [](const Value& name) { return name.IsString(); });
        };
        return (patterns == nullptr || patterns->IsObject()) &&
               (dependencies == nullptr || !dependencies->IsObject() ||
                std::ranges::all_of(dependencies->GetObject(), isReadable));
    }

    /// The number of schemas that apply to a value to which this one applies: itself, those that it refers to and those
    /// that it combines.
    int Count(const Value& schema, int depth) {
        if (!schema.IsObject()) {
            return 0;
        }
        // One that is met again while it is counted refers to itself: too many.
        const auto [entry, isNew] = m_counts.try_emplace(&schema, tooMany);
        if (!isNew || depth > maxDepth) {
            return entry->second;
        }
        const int count = std::min(tooMany, 1 + CountParts(schema, depth + 1));
        return m_counts[&schema] = count;
    }

    int CountParts(const Value& schema, int depth) {
        if (const Value* const reference = FindMember(schema, "$ref"); reference != nullptr && reference->IsString()) {
            // In a copy each leads to a schema of its "definitions", or to the copy itself.
            return Count(*rapidjson::Pointer(reference->GetString(), reference->GetStringLength()).Get(m_copy), depth);
        }
        int count = 0;
        for (const auto& [key, value] : schema.GetObject()) {
            const std::string_view name = GetText(key);
            if (name == "not") {
                count += Count(value, depth);
            } else if (value.IsArray() && (name == "allOf" || name == "anyOf" || name == "oneOf")) {
                for (const Value& part : value.GetArray()) {
                    count = std::min(tooMany, count + Count(part, depth));
                }
            } else if (value.IsObject() && name == "dependencies") {
                for (const auto& dependency : value.GetObject()) {
                    count = std::min(tooMany, count + Count(dependency.value, depth));
                }
            }
        }
        return count;
    }

    const Value& m_copy;
    std::unordered_map<const Value*, int> m_counts;
};

} // namespace

bool CopySensibleSchema(const Value& schema, rapidjson::Document& copy) {
    try {
        Copier(schema, copy).CopyAll();
        return LibraryLimits(copy).AreKept();
    } catch (const Unusable&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
}

} // namespace Tovra::System::Serialization
