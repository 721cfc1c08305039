#include <System/Serialization/JsonSchemaWrapper.h>
#include <System/Serialization/Pattern.h>
#include <System/Serialization/SensibleSchema.h>

#include <rapidjson/document.h>
#include <rapidjson/internal/regex.h>
#include <rapidjson/internal/stack.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace {

/// The steps left to the validation that runs on this thread; null if none does.
thread_local Tovra::System::Serialization::Budget* s_currentBudget = nullptr;

} // namespace

/// Replaces the library's own regular expressions, which recurse without end where something is repeated that can be
/// empty, and follow every combination of alternatives separately. It must come before the library's first use of the
/// template, so it is in this file alone.
template <>
class rapidjson::internal::GenericRegex<rapidjson::UTF8<>, rapidjson::CrtAllocator> {
public:
    explicit GenericRegex(const char* text)
        : m_isComplement(*text == Tovra::System::Serialization::complementMark),
          m_pattern(Compile(text + (m_isComplement ? 1 : 0))) {}

    bool IsValid() const { return m_pattern.IsValid(); }

    bool Search(const char* text) const { return m_pattern.IsFoundIn(text, *s_currentBudget) != m_isComplement; }

private:
    /// Never used up: all patterns of the schema together stayed within it when the schema was copied.
    static Tovra::System::Serialization::Pattern Compile(const char* text) {
        Tovra::System::Serialization::Budget budget(Tovra::System::Serialization::maxPatternSteps);
        return {text, budget};
    }

    bool m_isComplement;
    Tovra::System::Serialization::Pattern m_pattern;
};

namespace rapidjson::internal {

template <typename Encoding, typename Allocator>
class Hasher;

} // namespace rapidjson::internal

/// Replaces the library's hash, the only means by which it compares values for "enum" and "uniqueItems". The library's
/// is the same for all members whose value equals their name, and when a member's name and value are exchanged.
template <class Allocator>
class rapidjson::internal::Hasher<rapidjson::UTF8<>, Allocator> {
public:
    explicit Hasher(Allocator* allocator, std::size_t capacity = 256) : m_hashes(allocator, capacity) {}

    bool Null() { return Push(Kind::Null, 0); }
    bool Bool(bool value) { return Push(Kind::Bool, value ? 1 : 0); }
    bool Int(int value) { return Int64(value); }
    bool Uint(unsigned value) { return Uint64(value); }
    bool Int64(std::int64_t value) {
        return Push(value < 0 ? Kind::Negative : Kind::Integer, static_cast<std::uint64_t>(value));
    }
    bool Uint64(std::uint64_t value) { return Push(Kind::Integer, value); }

    /// 1 and 1.0 are the same number.
    bool Double(double value) {
        constexpr double end = 18446744073709551616.0;
        if (value != std::trunc(value) || value < -end / 2 || value >= end) {
            return Push(Kind::Double, std::bit_cast<std::uint64_t>(value));
        }
        return value < 0 ? Int64(static_cast<std::int64_t>(value)) : Uint64(static_cast<std::uint64_t>(value));
    }

    bool String(const char* text, SizeType length, bool) {
        // FNV-1a. The standard library's hash of a text loses bits of texts of four to eight bytes.
        std::uint64_t hash = 0xCBF29CE484222325;
        for (const char byte : std::string_view(text, length)) {
            hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
        }
        return Push(Kind::String, hash);
    }

    bool StartArray() { return true; }
    bool EndArray(SizeType count) {
        std::uint64_t hash = count;
        for (const std::uint64_t element : Pop(count)) {
            hash = Mix(hash) ^ element;
        }
        return Push(Kind::Array, hash);
    }

    bool StartObject() { return true; }
    bool Key(const char* text, SizeType length, bool isCopied) { return String(text, length, isCopied); }

    /// Does not depend on the members' order.
    bool EndObject(SizeType count) {
        const std::span<const std::uint64_t> members = Pop(std::size_t{2} * count);
        std::uint64_t sum = count;
        for (std::size_t index = 0; index < members.size(); index += 2) {
            sum += Mix(Mix(members[index]) ^ members[index + 1]);
        }
        return Push(Kind::Object, sum);
    }

    std::uint64_t GetHashCode() const { return *m_hashes.template Top<std::uint64_t>(); }

private:
    enum class Kind : std::uint8_t { Null, Bool, Negative, Integer, Double, String, Array, Object };

    bool Push(Kind kind, std::uint64_t value) {
        *m_hashes.template Push<std::uint64_t>() = Mix(Mix(1 + static_cast<std::uint64_t>(kind)) ^ value);
        return true;
    }

    std::span<const std::uint64_t> Pop(std::size_t count) {
        return {m_hashes.template Pop<std::uint64_t>(count), count};
    }

    /// Makes each bit of the result depend on each bit of the value. Different values stay different.
    static std::uint64_t Mix(std::uint64_t value) {
        for (int round = 0; round < 3; ++round) {
            value = (value ^ (value >> 32)) * 0x9E3779B97F4A7C15;
        }
        return value ^ (value >> 32);
    }

    Stack<Allocator> m_hashes;
};

#include <rapidjson/schema.h>

namespace Tovra::System::Serialization {

namespace {

/// The bytes that are looked through in one step.
constexpr std::size_t bytesOfOneStep = 256;

/// Accepts a document up to a depth at which a recursion over its levels is safe on any stack.
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

/// The memory of a validation. All of it is freed with this object, since the library's objects can't be destroyed
/// after an exception.
class ValidationMemory {
public:
    static constexpr bool kNeedFree = true;

    ValidationMemory() = default;
    ~ValidationMemory() {
        for (Block* block = m_ends.next; block != &m_ends;) {
            std::free(std::exchange(block, block->next));
        }
    }
    ValidationMemory(const ValidationMemory&) = delete;
    ValidationMemory& operator=(const ValidationMemory&) = delete;

    void* Malloc(std::size_t size) {
        if (m_totals.blocks == maxBlocks) {
            throw std::length_error("The validation takes too much memory.");
        }
        if (m_stepsOfBlock > 0) {
            s_currentBudget->Spend(m_stepsOfBlock);
        }
        void* const memory = std::malloc(sizeof(Block) + size);
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        auto* const block = new (memory) Block{&m_ends, m_ends.next, &m_totals, size};
        block->previous->next = block->next->previous = block;
        ++m_totals.blocks;
        m_totals.bytes += size;
        return block + 1;
    }

    void* Realloc(void* memory, std::size_t oldSize, std::size_t newSize) {
        void* const grown = Malloc(newSize);
        if (memory != nullptr) {
            std::memcpy(grown, memory, std::min(oldSize, newSize));
        }
        Free(memory);
        return grown;
    }

    static void Free(void* memory) {
        if (memory != nullptr) {
            Block* const block = static_cast<Block*>(memory) - 1;
            block->previous->next = block->next;
            block->next->previous = block->previous;
            --block->totals->blocks;
            block->totals->bytes -= block->size;
            std::free(block);
        }
    }

    /// The steps that each further block costs: one for its validator, and those that it takes to read the current
    /// text.
    void SetStepsOfBlock(std::size_t steps) { m_stepsOfBlock = steps; }

    /// The steps that the library takes at each value: it visits all validators, and the elements compared for
    /// "uniqueItems".
    std::size_t GetSteps() const {
        const std::size_t ordinary = m_totals.blocks * ordinarySize;
        return 1 + m_totals.blocks + (std::max(m_totals.bytes, ordinary) - ordinary) / bytesOfOneStep;
    }

private:
    /// Enough for some thousand validators at a time, which the library nests in each other.
    static constexpr std::size_t maxBlocks = 10'000;
    /// The bytes that a block may have at the cost of its one step: those of a validator, or of a list as it is at
    /// first. What is beyond is elements, or copies of text.
    static constexpr std::size_t ordinarySize = 1024;

    struct Totals {
        std::size_t blocks = 0;
        std::size_t bytes = 0;
    };

    struct alignas(std::max_align_t) Block {
        Block* previous;
        Block* next;
        Totals* totals;
        std::size_t size;
    };

    std::size_t m_stepsOfBlock = 0;
    Totals m_totals;
    Block m_ends{&m_ends, &m_ends, &m_totals, 0};
};

using Validator = rapidjson::GenericSchemaValidator<rapidjson::SchemaDocument,
                                                    rapidjson::BaseReaderHandler<rapidjson::UTF8<>>, ValidationMemory>;

/// The validation of one document, with a limit to its cost.
class Validation {
public:
    explicit Validation(const rapidjson::SchemaDocument& schema)
        : m_validator(*new(m_memory.Malloc(sizeof(Validator))) Validator(schema, &m_memory)) {
        s_currentBudget = &m_budget;
        m_memory.SetStepsOfBlock(1);
    }
    ~Validation() { s_currentBudget = nullptr; }
    Validation(const Validation&) = delete;
    Validation& operator=(const Validation&) = delete;

    bool Accept(const rapidjson::Value& value) {
        m_budget.Spend(m_memory.GetSteps());
        if (value.IsObject()) {
            return AcceptObject(value);
        }
        if (value.IsArray()) {
            return AcceptArray(value);
        }
        return value.IsString() ? AcceptText(value) : value.Accept(m_validator);
    }

    /// The keyword that failed, or null.
    const char* GetKeyword() const {
        static const rapidjson::Pointer s_refusal(refusalPointer);
        return m_validator.GetInvalidSchemaPointer() == s_refusal ? "additionalProperties"
                                                                  : m_validator.GetInvalidSchemaKeyword();
    }

private:
    static constexpr std::size_t maxSteps = 5'000'000;

    /// Of equal keys the first one counts, as for everyone who reads the document.
    bool AcceptObject(const rapidjson::Value& object) {
        if (!m_validator.StartObject()) {
            return false;
        }
        std::unordered_set<std::string_view> keys;
        for (const auto& [key, value] : object.GetObject()) {
            if (keys.emplace(key.GetString(), key.GetStringLength()).second && !(AcceptKey(key) && Accept(value))) {
                return false;
            }
        }
        return m_validator.EndObject(static_cast<rapidjson::SizeType>(keys.size()));
    }

    /// Each validator keeps a copy of the key.
    bool AcceptKey(const rapidjson::Value& key) {
        m_budget.Spend(CountSteps(key) * m_memory.GetSteps());
        return m_validator.Key(key.GetString(), key.GetStringLength(), false);
    }

    bool AcceptText(const rapidjson::Value& text) {
        m_budget.Spend(CountSteps(text) * m_memory.GetSteps());
        m_memory.SetStepsOfBlock(1 + CountSteps(text));
        const bool isValid = text.Accept(m_validator);
        m_memory.SetStepsOfBlock(1);
        return isValid;
    }

    /// How much there is in a text to look through, beside the step that any value is.
    static std::size_t CountSteps(const rapidjson::Value& text) { return text.GetStringLength() / bytesOfOneStep; }

    bool AcceptArray(const rapidjson::Value& array) {
        return m_validator.StartArray() &&
               std::ranges::all_of(array.GetArray(), [this](const auto& element) { return Accept(element); }) &&
               m_validator.EndArray(array.Size());
    }

    Budget m_budget{maxSteps};
    ValidationMemory m_memory;
    Validator& m_validator; ///< Never destroyed: it owns nothing but that memory.
};

} // namespace

JsonSchemaWrapper::JsonSchemaWrapper() = default;

JsonSchemaWrapper::~JsonSchemaWrapper() = default;

bool JsonSchemaWrapper::Compile(const JsonWrapper& schema) {
    const rapidjson::Document* const document = schema.GetDocument();
    if (document == nullptr || IsNestedTooDeep(*document)) {
        return false;
    }
    try {
        rapidjson::Document copy;
        if (!CopySensibleSchema(*document, copy)) {
            return false;
        }
        m_schema = std::make_unique<rapidjson::SchemaDocument>(copy);
        return true;
    } catch (const std::exception&) {
        return false; // Memory ran out, or the library asserted.
    }
}

bool JsonSchemaWrapper::Validate(const JsonWrapper& json, std::string& error) const {
    const rapidjson::Document* const document = json.GetDocument();
    if (document == nullptr) {
        // Intentional: the text names the schema although the document is missing; callers know it as it stands.
        error = "The schema json needs to be valid";
        return false;
    }
    if (m_schema == nullptr) {
        error = "No schema was loaded and compiled";
        return false;
    }
    constexpr const char* failure = "Failed to validate against schema";
    const char* keyword = nullptr;
    try {
        Validation validation(*m_schema);
        if (!IsNestedTooDeep(*document) && validation.Accept(*document)) {
            return true;
        }
        keyword = validation.GetKeyword();
    } catch (const std::exception&) {
        error = failure; // It took too many steps or too much memory: not known to be valid.
        return false;
    }
    error = failure;
    if (keyword != nullptr) {
        error.append(" at keyword: ").append(keyword);
    }
    return false;
}

} // namespace Tovra::System::Serialization
