// Oracle: a model of the section, over nlohmann's JSON reader
// Reaches: Tovra::System::Log::LoggerConfig::Load

#include <System/Log/LoggerConfig.h>
#include <System/Runtime/Application.h>

#include <Fuzz/Input.h>
#include <Fuzz/Json.h>
#include <Fuzz/LogSection.h>
#include <Fuzz/Outcome.h>
#include <rapidjson/document.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Outcome;

Outcome s_used("a section with an element that is used");
Outcome s_refused("a section that is refused");
Outcome s_skipped("an element that is skipped");
Outcome s_toggled("an entry that gains streams by an element of another severity");

} // namespace

// A section, loaded twice, gives the streams of the model.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The defaults are an application's.
    static const Tovra::System::Runtime::Application application(L"LogSectionFuzz");
    const std::string text(Fuzz::GetText(data, size));
    const std::optional<Fuzz::Json> json = Fuzz::ReadJson(text);
    rapidjson::Document document;
    if (!json || document.Parse<rapidjson::kParseIterativeFlag>(text.c_str(), text.size()).HasParseError()) {
        return 0;
    }
    Tovra::System::Log::LoggerConfig config;
    config.SetDefaults();
    Fuzz::LogSection model;
    for (int round = 0; round < 2; ++round) {
        const bool expected = model.Load(*json);
        Expect(config.Load(&document) == expected, "both take the section or refuse it", text);
        for (std::size_t index = 0; index < model.GetMasks().size(); ++index) {
            Expect(config.m_streamSeverities.at(index).GetBits() == model.GetMasks()[index],
                   "both give a severity the same streams", text, Fuzz::LogSection::severities[index],
                   config.m_streamSeverities[index].GetBits(), model.GetMasks()[index]);
        }
        s_refused.Note(!expected);
        s_skipped.Note(expected && round == 0 && model.GetCount() < json->Find("streams")->elements.size());
    }
    s_used.Note(model.GetCount() > 0);
    s_toggled.Note(model.HasToggled());
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    constexpr std::array<std::string_view, 25> fragments{R"({"name":"All","severity":"Debug"})",
                                                         R"({"id":3,"severity":"Error"})",
                                                         R"({"name":"DisplayCache","id":-1,"severity":"Always"})",
                                                         R"({"severity":"Critical"})",
                                                         R"("All")",
                                                         R"("Default")",
                                                         R"("ThreadingSystem")",
                                                         R"("GraphicsX")",
                                                         R"("all")",
                                                         R"("Info")",
                                                         R"("Verbose")",
                                                         R"("Loud")",
                                                         "0",
                                                         "1",
                                                         "524288",
                                                         "2097151",
                                                         "2097152",
                                                         "4294967295",
                                                         "4294967296",
                                                         "-1",
                                                         "1.0",
                                                         "null",
                                                         "[]",
                                                         "{}",
                                                         R"({"streams":[]})"};
    constexpr std::array<std::string_view, 5> names{"streams", "severity", "id", "name", "other"};
    return Fuzz::MutateJson(data, size, maxSize, seed, fragments, names);
}
