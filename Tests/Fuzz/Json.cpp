#include <Fuzz/Input.h>
#include <Fuzz/Json.h>

#include <algorithm>
#include <bit>
#include <nlohmann/json.hpp>
#include <random>

namespace Tovra::Tests::Fuzz {

namespace {

/// Builds a value from the events of the reader. The library's own values would keep the last of equal names alone.
class Builder : public nlohmann::json_sax<nlohmann::json> {
public:
    Json Take() { return std::move(m_root); }

    bool null() override { return Add({}); }
    bool boolean(bool value) override { return Add({.kind = Json::Kind::Bool, .flag = value}); }
    bool number_integer(number_integer_t value) override {
        return Add(
            {.kind = Json::Kind::Integer, .isNegative = value < 0, .integer = std::bit_cast<std::uint64_t>(value)});
    }
    bool number_unsigned(number_unsigned_t value) override {
        return Add({.kind = Json::Kind::Integer, .integer = value});
    }
    bool number_float(number_float_t value, const string_t&) override {
        return Add({.kind = Json::Kind::Double, .number = value});
    }
    bool string(string_t& value) override { return Add({.kind = Json::Kind::Text, .text = value}); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return Open(Json::Kind::Object); }
    bool key(string_t& name) override {
        m_open.back()->members.emplace_back(name, Json());
        return true;
    }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t) override { return Open(Json::Kind::Array); }
    bool end_array() override { return Close(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

private:
    Json* Place() {
        if (m_open.empty()) {
            return &m_root;
        }
        Json& parent = *m_open.back();
        return parent.kind == Json::Kind::Object ? &parent.members.back().second : &parent.elements.emplace_back();
    }

    bool Add(Json value) {
        *Place() = std::move(value);
        return true;
    }

    bool Open(Json::Kind kind) {
        // A value that is open has no sibling yet that would move it.
        Json* const place = Place();
        place->kind = kind;
        m_open.push_back(place);
        return true;
    }

    bool Close() {
        m_open.pop_back();
        return true;
    }

    Json m_root;
    std::vector<Json*> m_open;
};

nlohmann::json ToScalar(const Json& json) {
    switch (json.kind) {
    case Json::Kind::Bool:
        return json.flag;
    case Json::Kind::Integer:
        return json.isNegative ? nlohmann::json(std::bit_cast<std::int64_t>(json.integer))
                               : nlohmann::json(json.integer);
    case Json::Kind::Double:
        return json.number;
    case Json::Kind::Text:
        return json.text;
    default:
        return nullptr;
    }
}

std::string WriteScalar(const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

/// Changes one place of a tree.
class Mutation {
public:
    Mutation(Json& root, unsigned int seed, std::span<const std::string_view> fragments,
             std::span<const std::string_view> names)
        : m_root(root), m_random(seed), m_fragments(fragments), m_names(names) {
        Collect(root);
    }

    void Run() {
        Json& place = *Pick(m_places);
        switch (Roll(9)) {
        case 0:
            place = MakeFragment();
            break;
        case 1:
            place = Json(*Pick(m_places));
            break;
        case 2:
            place = {.kind = Json::Kind::Array, .elements = {Json(place)}};
            break;
        case 3:
            place = {.kind = Json::Kind::Object, .members = {{MakeName(), Json(place)}}};
            break;
        case 4:
            ChangeScalar(place);
            break;
        case 5:
        case 6:
            Insert(*PickContainer());
            break;
        default:
            ChangeItems(*PickContainer());
        }
    }

private:
    void Collect(Json& json) {
        m_places.push_back(&json);
        if (json.kind == Json::Kind::Array || json.kind == Json::Kind::Object) {
            m_containers.push_back(&json);
        }
        for (Json& element : json.elements) {
            Collect(element);
        }
        for (auto& [name, value] : json.members) {
            Collect(value);
        }
    }

    std::size_t Roll(std::size_t count) { return m_random() % count; }

    template <class T>
    T Pick(std::span<const T> items) {
        return items[Roll(items.size())];
    }
    template <class T>
    T Pick(const std::vector<T>& items) {
        return items[Roll(items.size())];
    }

    Json* PickContainer() { return m_containers.empty() ? &m_root : Pick(m_containers); }

    Json MakeFragment() { return ReadJson(Pick(m_fragments)).value(); }

    std::string MakeName() { return std::string(Pick(m_names)); }

    void Insert(Json& container) {
        if (container.kind == Json::Kind::Object) {
            container.members.emplace(container.members.begin() + GetPosition(container.members.size() + 1), MakeName(),
                                      MakeFragment());
        } else if (container.kind == Json::Kind::Array) {
            container.elements.insert(container.elements.begin() + GetPosition(container.elements.size() + 1),
                                      MakeFragment());
        } else {
            container = MakeFragment();
        }
    }

    void ChangeItems(Json& container) {
        if (!container.members.empty()) {
            if (Roll(4) == 0) {
                container.members[Roll(container.members.size())].first = MakeName();
            } else {
                ChangeItems(container.members);
            }
        } else if (!container.elements.empty()) {
            ChangeItems(container.elements);
        } else {
            Insert(container);
        }
    }

    /// Removes an item, doubles one, or exchanges two.
    template <class Item>
    void ChangeItems(std::vector<Item>& items) {
        const auto first = items.begin() + GetPosition(items.size());
        const auto second = items.begin() + GetPosition(items.size());
        switch (Roll(3)) {
        case 0:
            items.erase(first);
            break;
        case 1:
            items.insert(second, Item(*first));
            break;
        default:
            std::iter_swap(first, second);
        }
    }

    std::ptrdiff_t GetPosition(std::size_t count) { return static_cast<std::ptrdiff_t>(Roll(count)); }

    void ChangeScalar(Json& place) {
        if (place.kind == Json::Kind::Text) {
            place.text.resize(place.text.size() + 16);
            auto* const bytes = reinterpret_cast<std::uint8_t*>(place.text.data());
            place.text.resize(LLVMFuzzerMutate(bytes, place.text.size() - 16, place.text.size()));
        } else if (place.kind == Json::Kind::Integer) {
            place.integer += Roll(2) == 0 ? 1 : static_cast<std::uint64_t>(-1);
            place.isNegative = Roll(4) == 0;
        } else {
            place = MakeFragment();
        }
    }

    Json& m_root;
    std::minstd_rand m_random;
    std::span<const std::string_view> m_fragments;
    std::span<const std::string_view> m_names;
    std::vector<Json*> m_places;
    std::vector<Json*> m_containers;
};

} // namespace

const Json* Json::Find(std::string_view name) const {
    const auto found = std::ranges::find(members, name, &std::pair<std::string, Json>::first);
    return found == members.end() ? nullptr : &found->second;
}

int Json::GetDepth() const {
    int depth = 0;
    for (const Json& element : elements) {
        depth = std::max(depth, element.GetDepth());
    }
    for (const auto& [name, value] : members) {
        depth = std::max(depth, value.GetDepth());
    }
    return depth + (kind == Kind::Array || kind == Kind::Object ? 1 : 0);
}

std::optional<Json> ReadJson(std::string_view text) {
    Builder builder;
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder)) {
        return std::nullopt;
    }
    return builder.Take();
}

std::string WriteJson(const Json& json) {
    std::string text;
    std::string separator;
    if (json.kind == Json::Kind::Array) {
        for (const Json& element : json.elements) {
            text += std::exchange(separator, ",") + WriteJson(element);
        }
        return "[" + text + "]";
    }
    if (json.kind == Json::Kind::Object) {
        for (const auto& [name, value] : json.members) {
            text += std::exchange(separator, ",") + WriteScalar(name) + ":" + WriteJson(value);
        }
        return "{" + text + "}";
    }
    return WriteScalar(ToScalar(json));
}

std::size_t MutateJson(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned int seed,
                       std::span<const std::string_view> fragments, std::span<const std::string_view> names) {
    // Bytes at times, so that texts that are no JSON, and unusual ones, come up as well.
    std::optional<Json> json = seed % 8 == 0 ? std::nullopt : ReadJson(GetText(data, size));
    if (!json) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    Mutation(*json, seed, fragments, names).Run();
    const std::string text = WriteJson(*json);
    return text.size() > maxSize ? LLVMFuzzerMutate(data, size, maxSize) : WriteInput(text, data, maxSize);
}

} // namespace Tovra::Tests::Fuzz
