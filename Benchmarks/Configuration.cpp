// Measures how the time to load a configuration grows with its size, against another library that parses it, and
// against what the library that we use takes by itself: ConfigurationBenchmark [row ...]

#include <System/FileSystem/Path.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>

#include <Comparison.h>
#include <rapidjson/document.h>
#include <rapidjson/filereadstream.h>
#include <rapidjson/schema.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <format>
#include <fstream>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>

namespace {

using Tovra::Benchmarks::AtMost;
using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::IsChosen;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::NoBound;
using Tovra::Benchmarks::Require;
using Tovra::Benchmarks::Work;
using Tovra::System::FileSystem::Path;
using Tovra::System::Runtime::ApplicationConfigCache;

constexpr const char* validatedRow = "A further byte of configuration, 1 KB to 3 MB";
constexpr const char* unvalidatedRow = "A further byte of configuration without a schema, 1 KB to 100 MB";
constexpr const char* refusedRow = "A configuration of 100 MB, which is refused";

constexpr const char* peerName = "nlohmann-json, parsing alone";
constexpr const char* parsingName = "RapidJSON, parsing alone";
constexpr const char* noValidationReason = "it validates nothing";
constexpr const char* schemaName = "/Schemas/Halvorn-Configuration-2501.json";

/// A configuration of at least that many bytes: entries of systems with some values each.
class File {
public:
    explicit File(std::size_t size) {
        std::ofstream file(m_path);
        std::size_t written = 0;
        for (int index = 0; written < size; ++index) {
            const std::string entry = std::format(
                R"({}{{"name": "System {}", "configuration": {{"text": "{:0200}", "values": [{}, 2.5, true]}}}})",
                index == 0 ? "{\"settings\": [\n" : ",\n", index, index, index);
            file << entry;
            written += entry.size();
        }
        Require(static_cast<bool>(file << "\n]}\n"), "The configuration can't be written.");
    }
    ~File() { std::remove(m_path.c_str()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const std::string& GetPath() const { return m_path; }

private:
    std::string m_path = std::filesystem::temp_directory_path() / std::format("Configuration-{}.json", getpid());
};

/// The library's own validation. Of types with another allocator, as ours replaces parts of those with the library's.
class Allocator : public rapidjson::CrtAllocator {};
using SchemaOfLibrary = rapidjson::GenericSchemaDocument<rapidjson::Value, Allocator>;
using ValidatorOfLibrary =
    rapidjson::GenericSchemaValidator<SchemaOfLibrary, rapidjson::BaseReaderHandler<rapidjson::UTF8<>>, Allocator>;

rapidjson::Document Parse(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    Require(file != nullptr, ("It can't be opened: " + path).c_str());
    std::array<char, 65536> buffer;
    rapidjson::FileReadStream stream(file, buffer.data(), buffer.size());
    rapidjson::Document document;
    document.ParseStream<rapidjson::kParseIterativeFlag>(stream);
    std::fclose(file);
    Require(!document.HasParseError(), ("It can't be parsed: " + path).c_str());
    return document;
}

void ParseByPeer(const std::string& path) {
    std::ifstream stream(path);
    Keep(nlohmann::json::parse(stream).size());
}

/// Loading a configuration of that size, which is accepted or refused.
Work MakeLoad(ApplicationConfigCache& cache, const std::string& path, bool isAccepted) {
    return [&cache, path, isAccepted] {
        Require(cache.Load(Path(path)) == isAccepted,
                isAccepted ? "A configuration is refused." : "A configuration is accepted that should be refused.");
    };
}

int GetRounds(std::size_t bytes) {
    return bytes < 1'000'000 ? 31 : bytes < 100'000'000 ? 11 : 5;
}

void CompareValidated(ApplicationConfigCache& cache) {
    const rapidjson::Document schemaDocument = Parse(cache.GetApplicationDirectory() + schemaName);
    const SchemaOfLibrary schema(schemaDocument);
    for (const std::size_t bytes : std::initializer_list<std::size_t>{1'000, 10'000, 100'000, 1'000'000, 3'000'000}) {
        const File file(bytes);
        const auto validate = [&file, &schema] {
            ValidatorOfLibrary validator(schema);
            Require(Parse(file.GetPath()).Accept(validator), "The limit refuses a configuration.");
        };
        Compare(validatedRow, MakeLoad(cache, file.GetPath(), true),
                {{"peer", peerName, NoBound(noValidationReason), [&file] { ParseByPeer(file.GetPath()); }},
                 {"limit", "RapidJSON, parsing and validating", AtMost(1.3), validate}},
                GetRounds(bytes), static_cast<long long>(bytes));
    }
}

void CompareUnvalidated() {
    ApplicationConfigCache cache;
    for (const std::size_t bytes :
         std::initializer_list<std::size_t>{1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000}) {
        const File file(bytes);
        Compare(unvalidatedRow, MakeLoad(cache, file.GetPath(), true),
                {{"peer", peerName, AtMost(1.0), [&file] { ParseByPeer(file.GetPath()); }},
                 {"limit", parsingName, AtMost(1.2), [&file] { Keep(Parse(file.GetPath())); }}},
                GetRounds(bytes), static_cast<long long>(bytes));
    }
}

/// How long it takes until a configuration is refused whose validation takes too many steps.
void CompareRefused(ApplicationConfigCache& cache) {
    constexpr std::size_t bytes = 100'000'000;
    const File file(bytes);
    Compare(refusedRow, MakeLoad(cache, file.GetPath(), false),
            {{"peer", peerName, AtMost(1.0), [&file] { ParseByPeer(file.GetPath()); }},
             {"limit", parsingName, NoBound(noValidationReason), [&file] { Keep(Parse(file.GetPath())); }}},
            GetRounds(bytes));
}

} // namespace

int main(int count, char** arguments) {
    Tovra::Benchmarks::ChooseRows(count, arguments);
    const Tovra::System::Runtime::Application application(L"ConfigurationBenchmark");
    ApplicationConfigCache cache;
    Require(cache.Initialize(nullptr) && cache.CanValidate(), "There is no schema.");
    if (IsChosen(validatedRow)) {
        CompareValidated(cache);
    }
    if (IsChosen(unvalidatedRow)) {
        CompareUnvalidated();
    }
    if (IsChosen(refusedRow)) {
        CompareRefused(cache);
    }
}
