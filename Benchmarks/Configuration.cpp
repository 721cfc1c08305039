// Measures how the time to load a configuration grows with its size, against another library that parses it without
// validating it, and against parsing alone. Whether a configuration is
// accepted does not matter here.

#include <System/FileSystem/Path.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>

#include <Comparison.h>
#include <rapidjson/document.h>
#include <rapidjson/filereadstream.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <format>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

namespace {

using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::Require;
using Tovra::System::FileSystem::Path;
using Tovra::System::Runtime::ApplicationConfigCache;

/// Writes a configuration of at least that many bytes: entries of systems with some values each.
void Write(const std::string& path, std::size_t size) {
    std::ofstream file(path);
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

void ParseAlone(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    std::array<char, 65536> buffer;
    rapidjson::FileReadStream stream(file, buffer.data(), buffer.size());
    rapidjson::Document document;
    document.ParseStream<rapidjson::kParseIterativeFlag>(stream);
    std::fclose(file);
    Require(!document.HasParseError(), "The limit can't parse the configuration.");
}

} // namespace

int main() {
    const Tovra::System::Runtime::Application application(L"ConfigurationBenchmark");
    ApplicationConfigCache cache;
    Require(cache.Initialize(nullptr) && cache.CanValidate(), "There is no schema.");
    const std::string path = std::filesystem::temp_directory_path() / std::format("Configuration-{}.json", getpid());
    for (std::size_t size = 1'000; size <= 100'000'000; size *= 10) {
        Write(path, size);
        const auto ours = [&cache, &path] { Keep(cache.Load(Path(path))); };
        const auto theirs = [&path] {
            std::ifstream file(path);
            Keep(nlohmann::json::parse(file).size());
        };
        if (!cache.Load(Path(path))) {
            std::fprintf(stderr, "A configuration of %zu bytes is refused.\n", size);
        }
        const int rounds = size < 1'000'000 ? 31 : size < 100'000'000 ? 11 : 5;
        Compare("A further byte of configuration, 1 KB to 100 MB", ours,
                {{"peer", "nlohmann-json, which validates nothing", 1.0, theirs},
                 {"limit", "RapidJSON, parsing alone", 0, [&path] { ParseAlone(path); }}},
                rounds, static_cast<long long>(size));
    }
    std::remove(path.c_str());
}
