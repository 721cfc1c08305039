#include <Problems.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests {

namespace {

using namespace Fieldhost::Diagnose;

Json GetLibraries() {
    return Json::Array{Json::Object{{"name", "lib"}, {"use", "windows"}, {"isFound", true}}};
}

/// A document with nothing wrong.
Json::Object GetGoodDocument() {
    return {{"display", Json::Object{{"outcome", "Connected"}}},
            {"server", Json::Object{{"vendor", "X"}}},
            {"windowManager", Json::Object{{"name", "W"}}},
            {"displays", Json::Array{Json::Object{{"id", 1}}}},
            {"extensions", Json::Array{Json::Object{{"name", "RANDR"}, {"isPresent", true}}}},
            {"wayland", Json::Object{{"display", nullptr}, {"isBehindServer", false}}},
            {"libraries", GetLibraries()},
            {"openGl", Json::Object{{"outcome", "Success"}, {"kind", "Accelerated"}}},
            {"permissions", Json::Array{Json::Object{{"name", "P"}, {"use", "U"}, {"isGranted", true}}}},
            {"tool", Json::Object{{"isExecutable", true}}},
            {"namesakes", Json::Array()},
            {"schema", Json::Object{{"isReadable", true}, {"compiles", true}}},
            {"folders", *Parse(R"({"home": {}, "isHomeUtf8": true,
                                   "logs": {"path": "L", "exists": true, "isFolder": true, "isWritable": true}})")}};
}

using Names = std::vector<std::pair<std::string, bool>>;

/// The problems of the good document with one member replaced.
Json FindProblemsOf(const std::string& member, const std::string& text) {
    Json::Object document = GetGoodDocument();
    for (auto& [name, value] : document) {
        if (name == member) {
            value = *Parse(text);
        }
    }
    return FindProblems(document);
}

/// The text of the only problem.
std::string FindText(const std::string& member, const std::string& text) {
    const Json problems = FindProblemsOf(member, text);
    EXPECT_EQ(problems.GetElements().size(), 1U);
    return problems.GetElements().at(0)["text"].GetText();
}

/// Their names, and whether each is a failure.
Names FindNames(const std::string& member = "", const std::string& text = "null") {
    Names names;
    const Json problems = FindProblemsOf(member, text);
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
                                                          {"NotAllowed", "NotAllowed"},
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

TEST(DiagnosisProblems, ATimeoutBeforeTheAddressIsTheNameServices) {
    const auto find = [](const std::string& members) {
        return FindNames("display", R"({"outcome": "TimedOut", )" + members + "}");
    };
    EXPECT_EQ(find(R"("name": "host:0", "address": null)"), (Names{{"NameServiceSlow", true}}));
    EXPECT_EQ(find(R"("name": "host:0", "address": "host:6000")"), (Names{{"ServerSlow", true}}));
    EXPECT_EQ(find(R"("name": null, "address": null)"), (Names{{"ServerSlow", true}})); // On macOS.
    EXPECT_EQ(FindNames("display", R"({"outcome": "NoServer", "name": "host:0", "address": null})"),
              (Names{{"NoServer", true}}));
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

TEST(DiagnosisProblems, APermissionIsTheUsersOnLinuxAndTheProgramsOnMacOs) {
    const auto find = [](const std::string& name, const std::string& use) {
        return FindText("permissions", R"([{"isGranted": false, "name": ")" + name + R"(", "use": ")" + use + "\"}]");
    };
    EXPECT_EQ(
        find("/dev/dri/renderD128", "accelerated OpenGL"),
        "This user may not open /dev/dri/renderD128, which accelerated OpenGL needs. Add the user to the device's "
        "group.");
    EXPECT_EQ(find("/proc", "finding processes of others"),
              "/proc hides other users' processes (hidepid), so they are not found. Mount it without hidepid.");
    EXPECT_EQ(
        find("Accessibility", "windows of others and the mouse"),
        "This program has no right to Accessibility, which is needed for windows of others and the mouse. Grant it "
        "to this program; the right of another one does not count.");
}

TEST(DiagnosisProblems, TextsSayWhatIsSo) {
    EXPECT_EQ(FindText("folders", R"({"home": null})"),
              "HOME is not set: programs on the framework log to the folder Logs in the working folder.");
    EXPECT_EQ(FindText("extensions", R"([{"isPresent": false, "name": "GLX"}])"),
              "The X server lacks GLX, or hides it from untrusted clients. With ssh use -Y.");
    EXPECT_EQ(
        FindText("display", R"({"outcome": "Refused"})"),
        "The X server refuses this program. See the reason: it may not know the cookie, or have as many clients as "
        "it can serve.");
    EXPECT_EQ(
        FindText("display", R"({"outcome": "NotAllowed"})"),
        "This user may not connect to that address. Start the program as the user who is logged in to the desktop, "
        "or correct the permissions of the server's socket.");
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

} // namespace

} // namespace Tovra::Tests
