#include <System/Serialization/JsonSchemaWrapper.h>

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/schema.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Tovra::System::Serialization {

namespace {

/// Accepts the events of a document up to a depth that the library, which recurses with the nesting, stands on any
/// stack. The time that a validation takes grows with the square of the depth as well.
class NestingLimit : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, NestingLimit> {
public:
    bool StartObject() { return Enter(); }
    bool EndObject(rapidjson::SizeType) { return Leave(); }
    bool StartArray() { return Enter(); }
    bool EndArray(rapidjson::SizeType) { return Leave(); }

private:
    static constexpr int maxDepth = 256;

    bool Enter() { return ++m_depth <= maxDepth; }

    bool Leave() {
        --m_depth;
        return true;
    }

    int m_depth = 0;
};

bool IsNestedTooDeep(const rapidjson::Document& document) {
    NestingLimit limit;
    return !document.Accept(limit);
}

/// The memory that the library reads a document's patterns into, with all their repetitions written out. What patterns
/// mean to take stays far below the limit; beyond it `std::length_error` is thrown. All of it is freed with the object,
/// as the library forgets some when it is left by an exception.
class PatternMemory {
public:
    void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }

    void* Realloc(void* memory, std::size_t oldSize, std::size_t newSize) {
        m_size += newSize - oldSize;
        if (m_size > limit) {
            throw std::length_error("The patterns take too much memory.");
        }
        Block grown(std::malloc(newSize), &std::free);
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        if (memory == nullptr) {
            return m_blocks.emplace_back(std::move(grown)).get();
        }
        std::memcpy(grown.get(), memory, oldSize);
        // What grows was made last, or nearly so.
        const auto block = std::ranges::find(m_blocks.rbegin(), m_blocks.rend(), memory, &Block::get);
        *block = std::move(grown);
        return block->get();
    }

    static void Free(void*) {}

private:
    using Block = std::unique_ptr<void, decltype(&std::free)>;

    static constexpr std::size_t limit = 64 << 20;

    std::vector<Block> m_blocks;
    std::size_t m_size = 0; ///< Of all patterns so far.
};

/// Finds what a schema may hold that the library would not come back from.
class SchemaLimits {
public:
    explicit SchemaLimits(const rapidjson::Value& document) : m_document(document) {}

    bool AreKept() { return AreKept(m_document); }

private:
    static constexpr int tooMany = 10'000; ///< Schemas, in a document and for one value.
    static constexpr int maxDepth = 256;

    /// Any object of the document counts as a schema, as it does for the library, which takes time with the square of
    /// their number.
    bool AreKept(const rapidjson::Value& value) {
        if (value.IsArray()) {
            return std::ranges::all_of(value.GetArray(), [this](const auto& element) { return AreKept(element); });
        }
        return !value.IsObject() ||
               (Count(value, 1) < tooMany && m_counts.size() < tooMany && ArePatternsKept(value) &&
                std::ranges::all_of(value.GetObject(), [this](const auto& member) { return AreKept(member.value); }));
    }

    /// How many schemas apply to a value of a document where one schema does: those that it refers to and those that it
    /// combines. The library follows them by recursion, without end if they lead back to it.
    int Count(const rapidjson::Value& schema, int depth) {
        if (!schema.IsObject()) {
            return 0;
        }
        // One that is met while it is counted leads back to itself.
        const auto [entry, isNew] = m_counts.try_emplace(&schema, tooMany);
        if (!isNew || depth > maxDepth) {
            return entry->second;
        }
        const int count = std::min(tooMany, 1 + CountParts(schema, depth + 1));
        return m_counts[&schema] = count;
    }

    int CountParts(const rapidjson::Value& schema, int depth) {
        if (const rapidjson::Value* const target = FindTarget(schema)) {
            // The library looks for members in whatever a schema refers to.
            return target->IsObject() ? Count(*target, depth) : tooMany;
        }
        int count = 0;
        for (const auto& [key, value] : schema.GetObject()) {
            const std::string_view name = GetText(key);
            if (name == "not") {
                count += Count(value, depth);
            } else if (value.IsArray() && (name == "allOf" || name == "anyOf" || name == "oneOf")) {
                for (const rapidjson::Value& part : value.GetArray()) {
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

    /// What the schema refers to within the document, or null.
    const rapidjson::Value* FindTarget(const rapidjson::Value& schema) const {
        const auto reference = schema.FindMember("$ref");
        if (reference == schema.MemberEnd() || !reference->value.IsString() ||
            !GetText(reference->value).starts_with('#')) {
            return nullptr;
        }
        const std::string_view text = GetText(reference->value);
        const rapidjson::Pointer pointer(text.data(), text.size());
        return pointer.IsValid() ? pointer.Get(m_document) : nullptr;
    }

    bool ArePatternsKept(const rapidjson::Value& schema) {
        const auto pattern = schema.FindMember("pattern");
        if (pattern != schema.MemberEnd() && pattern->value.IsString() && !IsPatternKept(GetText(pattern->value))) {
            return false;
        }
        const auto patterns = schema.FindMember("patternProperties");
        return patterns == schema.MemberEnd() || !patterns->value.IsObject() ||
               std::ranges::all_of(patterns->value.GetObject(),
                                   [this](const auto& member) { return IsPatternKept(GetText(member.name)); });
    }

    /// Whether the library can read a pattern, and has room for it beside those before it.
    bool IsPatternKept(std::string_view pattern) {
        try {
            using Regex = rapidjson::internal::GenericRegex<rapidjson::UTF8<>, PatternMemory>;
            const Regex regex(std::string(pattern).c_str(), &m_patternMemory);
            return true;
        } catch (const std::logic_error&) {
            return false;
        }
    }

    static std::string_view GetText(const rapidjson::Value& string) {
        return {string.GetString(), string.GetStringLength()};
    }

    const rapidjson::Value& m_document;
    std::unordered_map<const rapidjson::Value*, int> m_counts;
    PatternMemory m_patternMemory;
};

} // namespace

JsonSchemaWrapper::JsonSchemaWrapper() = default;

JsonSchemaWrapper::~JsonSchemaWrapper() = default;

bool JsonSchemaWrapper::Compile(const JsonWrapper& schema) {
    const rapidjson::Document* const document = schema.GetDocument();
    if (document == nullptr || IsNestedTooDeep(*document) || !SchemaLimits(*document).AreKept()) {
        return false;
    }
    m_schema = std::make_unique<rapidjson::SchemaDocument>(*document);
    return true;
}

bool JsonSchemaWrapper::Validate(const JsonWrapper& json, std::string& error) const {
    const rapidjson::Document* const document = json.GetDocument();
    if (document == nullptr) {
        // The text speaks of the schema, though the document is what is missing; callers know it as it stands.
        error = "The schema json needs to be valid";
        return false;
    }
    if (m_schema == nullptr) {
        error = "No schema was loaded and compiled";
        return false;
    }
    rapidjson::SchemaValidator validator(*m_schema);
    if (!IsNestedTooDeep(*document) && document->Accept(validator)) {
        return true;
    }
    error = "Failed to validate against schema";
    if (const char* const keyword = validator.GetInvalidSchemaKeyword()) {
        error.append(" at keyword: ").append(keyword);
    }
    return false;
}

} // namespace Tovra::System::Serialization
