#include <Json.h>
#include <Outcomes.h>
#include <Problems.h>
#include <Text.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests {

namespace {

using namespace Fieldhost::Diagnose;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(DiagnosisJson, ReplacesBytesThatAreNotUtf8) {
    EXPECT_EQ(Json("a\xC3\xA9\xFF"
                   "b\xE2\x82")
                  .GetText(),
              "a\xC3\xA9\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(Json("\xF0\x9F\x98\x80\xFF").GetText(), "\xF0\x9F\x98\x80\xEF\xBF\xBD");
}

TEST(DiagnosisJson, ReadsWhatItWrites) {
    const Json json = Json::Object{{"text", "line\n\"quoted\""},
                                   {"nothing", nullptr},
                                   {"numbers", Json::Array{1, std::int64_t{1} << 40, -1}},
                                   {"yes", true},
                                   {"empty", Json::Object()}};
    EXPECT_EQ(Parse(Write(json)), json);
    EXPECT_EQ(Write(Json::Object{{"a", 1}}), "{\n  \"a\": 1\n}\n");
    EXPECT_EQ(Parse("{"), std::nullopt);
}

TEST(DiagnosisJson, ASearchForWhatIsNotThereIsNull) {
    EXPECT_TRUE(Json()["a"]["b"].IsNull());
    EXPECT_TRUE(Json(Json::Object{{"a", 1}})["b"].IsNull());
    EXPECT_EQ(Json(1).GetText(), "");
}

TEST(DiagnosisOutcomes, KnowSoftwareRenderersByTheirNames) {
    EXPECT_EQ(GetKindOfRenderer(""), "Unknown");
    EXPECT_EQ(GetKindOfRenderer("llvmpipe (LLVM 15.0.6, 256 bits)"), "Software");
    EXPECT_EQ(GetKindOfRenderer("softpipe"), "Software");
    EXPECT_EQ(GetKindOfRenderer("Apple Software Renderer"), "Software");
    EXPECT_EQ(GetKindOfRenderer("Mesa Intel(R) UHD Graphics 620 (KBL GT2)"), "Accelerated");
    EXPECT_EQ(GetKindOfRenderer("Apple M1"), "Accelerated");
}

TEST(DiagnosisOutcomes, OpenGlThatWasNotTriedHasNoOutcomeOfItsOwn) {
    EXPECT_EQ(ComposeOpenGl(Json(), false)["outcome"], Json("NotTried"));
    EXPECT_EQ(ComposeOpenGl(Json::Object{{"outcome", "Crashed"}}, true)["outcome"], Json("Crashed"));
}

Json GetLibraries(bool isFound, const char* use) {
    return Json::Array{Json::Object{{"name", "lib"}, {"use", use}, {"isFound", isFound}}};
}

std::string GetDisplayOutcome(const char* contact, const char* desktop, const Json& libraries) {
    const DisplayContact display{.name = ":0", .address = {}, .result = {contact, {}}, .authority = {}};
    return ComposeDisplay(display, libraries, Json::Object{{"outcome", desktop}})["outcome"].GetText();
}

TEST(DiagnosisOutcomes, TheContactGoesBeforeTheLibrariesAndTheServer) {
    EXPECT_EQ(GetDisplayOutcome("Silent", "Lost", GetLibraries(false, "windows")), "Silent");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "Lost", GetLibraries(false, "windows")), "LibraryMissing");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "Lost", GetLibraries(true, "windows")), "Lost");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "Lost", GetLibraries(false, "the mouse")), "Lost");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "Connected", Json()), "Connected");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "TimedOut", Json()), "TimedOut");
}

/// A document with nothing wrong.
Json::Object GetGoodDocument() {
    return {{"display", Json::Object{{"outcome", "Connected"}}},
            {"server", Json::Object{{"vendor", "X"}}},
            {"windowManager", Json::Object{{"name", "W"}}},
            {"displays", Json::Array{Json::Object{{"id", 1}}}},
            {"extensions", Json::Array{Json::Object{{"name", "RANDR"}, {"isPresent", true}}}},
            {"wayland", Json::Object{{"display", nullptr}, {"isBehindServer", false}}},
            {"libraries", GetLibraries(true, "windows")},
            {"openGl", Json::Object{{"outcome", "Success"}, {"kind", "Accelerated"}}},
            {"permissions", Json::Array{Json::Object{{"name", "P"}, {"use", "U"}, {"isGranted", true}}}},
            {"tool", Json::Object{{"isExecutable", true}}},
            {"namesakes", Json::Array()},
            {"schema", Json::Object{{"isReadable", true}, {"compiles", true}}},
            {"folders", *Parse(R"({"home": {}, "isHomeUtf8": true,
                                   "logs": {"path": "L", "exists": true, "isFolder": true, "isWritable": true}})")}};
}

using Names = std::vector<std::pair<std::string, bool>>;

/// The problems' names, and whether each is a failure, of the good document with one member replaced.
Names FindNames(const std::string& member = "", const std::string& text = "null") {
    Json::Object document = GetGoodDocument();
    for (auto& [name, value] : document) {
        if (name == member) {
            value = *Parse(text);
        }
    }
    Names names;
    const Json problems = FindProblems(document);
    for (const Json& problem : problems.GetElements()) {
        EXPECT_NE(problem["text"].GetText(), "");
        names.emplace_back(problem["name"].GetText(), problem["isFailure"] == Json(true));
    }
    return names;
}

TEST(DiagnosisProblems, ThereAreNoneWhereAllIsWell) {
    EXPECT_EQ(FindNames(), Names());
}

TEST(DiagnosisProblems, EachOutcomeOfTheDisplayIsAFailure) {
    for (const auto& [outcome, name] :
         std::vector<std::pair<std::string, std::string>>{{"NoDisplay", "NoDisplay"},
                                                          {"MalformedName", "MalformedName"},
                                                          {"HostNotFound", "HostNotFound"},
                                                          {"NoServer", "NoServer"},
                                                          {"Silent", "ServerSilent"},
                                                          {"Closed", "ServerClosed"},
                                                          {"NotAnXServer", "NotAnXServer"},
                                                          {"NoAuthority", "NoAuthority"},
                                                          {"Refused", "ServerRefuses"},
                                                          {"Lost", "ConnectionLost"},
                                                          {"TimedOut", "ServerSlow"},
                                                          {"Crashed", "LibraryCrashed"}}) {
        EXPECT_EQ(FindNames("display", R"({"outcome": ")" + outcome + "\"}"), (Names{{name, true}}));
    }
}

TEST(DiagnosisProblems, EachOutcomeOfOpenGlIsAFailure) {
    for (const auto& [outcome, name] : std::vector<std::pair<std::string, std::string>>{{"NoWindow", "NoWindow"},
                                                                                        {"NoContext", "NoOpenGl"},
                                                                                        {"TimedOut", "DriverSilent"},
                                                                                        {"Crashed", "DriverCrashed"}}) {
        EXPECT_EQ(FindNames("openGl", R"({"outcome": ")" + outcome + "\"}"), (Names{{name, true}}));
    }
    EXPECT_EQ(FindNames("openGl", R"({"outcome": "NotTried"})"), Names());
    EXPECT_EQ(FindNames("openGl", R"({"outcome": "Success", "kind": "Software"})"), (Names{{"SoftwareOpenGl", false}}));
}

TEST(DiagnosisProblems, AMissingLibraryIsAFailureWhereTheToolNeedsIt) {
    const auto find = [](const std::string& use) {
        return FindNames("libraries", R"([{"name": "l", "isFound": false, "use": ")" + use + "\"}]");
    };
    EXPECT_EQ(find("windows"), (Names{{"LibraryMissing", true}}));
    EXPECT_EQ(find("OpenGL"), (Names{{"LibraryMissing", true}}));
    EXPECT_EQ(find("the mouse"), (Names{{"LibraryMissing", false}}));
}

TEST(DiagnosisProblems, TheDesktopIsWarnedAbout) {
    for (const auto& [extension, name] : std::vector<std::pair<std::string, std::string>>{
             {"RANDR", "NoRandr"}, {"XTEST", "NoXTest"}, {"X-Resource", "NoXResource"}, {"GLX", "NoGlx"}}) {
        EXPECT_EQ(FindNames("extensions", R"([{"isPresent": false, "name": ")" + extension + "\"}]"),
                  (Names{{name, false}}));
    }
    EXPECT_EQ(FindNames("extensions", R"([{"isPresent": false, "name": "XWAYLAND"}])"), Names());
    EXPECT_EQ(FindNames("windowManager"), (Names{{"NoWindowManager", false}}));
    EXPECT_EQ(FindNames("displays", "[]"), (Names{{"NoMonitor", false}}));
    EXPECT_EQ(FindNames("wayland", R"({"isBehindServer": true})"), (Names{{"Wayland", false}}));
    EXPECT_EQ(FindNames("wayland", R"({"display": "wayland-0", "isBehindServer": false})"), Names());
    EXPECT_EQ(FindNames("permissions", R"([{"name": "P", "use": "U", "isGranted": false}])"),
              (Names{{"NotPermitted", false}}));
}

TEST(DiagnosisProblems, FilesAndNamesakesAreLookedAt) {
    EXPECT_EQ(FindNames("tool", R"({"isExecutable": false})"), (Names{{"NoTool", true}}));
    EXPECT_EQ(FindNames("schema", R"({"isReadable": false, "compiles": false})"), (Names{{"NoSchema", false}}));
    EXPECT_EQ(FindNames("schema", R"({"isReadable": true, "compiles": false})"), (Names{{"BrokenSchema", false}}));
    EXPECT_EQ(FindNames("folders", R"({"home": null})"), (Names{{"NoHome", false}}));
    EXPECT_EQ(FindNames("folders", R"({"home": {}, "isHomeUtf8": false})"), (Names{{"HomeNotUtf8", true}}));
    EXPECT_EQ(FindNames("folders", R"({"home": {}, "logs": {"exists": false, "canBeMade": false}})"),
              (Names{{"NoLogs", false}}));
    EXPECT_EQ(FindNames("folders", R"({"home": {}, "logs": {"exists": true, "isFolder": false}})"),
              (Names{{"NoLogs", false}}));
    EXPECT_EQ(FindNames("folders", R"({"home": {}, "logs": {"exists": true, "isFolder": true, "isWritable": false}})"),
              (Names{{"NoLogs", false}}));
    EXPECT_EQ(FindNames("namesakes", R"([{"id": 7}])"), (Names{{"Namesakes", false}}));
}

TEST(DiagnosisProblems, FailuresComeFirst) {
    Json::Object document = GetGoodDocument();
    document[0].second = *Parse(R"({"outcome": "Connected"})");
    document[2].second = nullptr;                              // A warning.
    document[9].second = *Parse(R"({"isExecutable": false})"); // A failure that is found later.
    const Json problems = FindProblems(document);
    ASSERT_EQ(problems.GetElements().size(), 2U);
    EXPECT_EQ(problems.GetElements()[0]["name"], Json("NoTool"));
}

TEST(DiagnosisText, HasTheProblemsAndALineAValue) {
    const Json document = *Parse(R"({"openGl": {"isFast": true, "kind": null, "freeBytes": 7},
        "displays": [{"id": 1, "x": 2}], "none": [], "name": "a\u001bb",
        "problems": [{"name": "A", "text": "It fails.", "isFailure": true},
                     {"name": "B", "text": "Look.", "isFailure": false}]})");
    EXPECT_EQ(ComposeText(document), "Failure: It fails.\nWarning: Look.\n\n"
                                     "OpenGL:\n  Fast: yes\n  Kind: -\n  Free bytes: 7\n"
                                     "Displays:\n  Id: 1, X: 2\nNone: none\nName: a?b\n");
    EXPECT_THAT(ComposeText(Json::Object{{"problems", Json::Array()}}), StartsWith("No problem was found.\n"));
}

} // namespace

} // namespace Tovra::Tests
