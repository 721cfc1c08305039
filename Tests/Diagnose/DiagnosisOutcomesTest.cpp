#include <Outcomes.h>
#include <gtest/gtest.h>

#include <string>

namespace Tovra::Tests {

namespace {

using namespace Fieldhost::Diagnose;

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
    EXPECT_EQ(GetDisplayOutcome("Accepted", "Crashed", GetLibraries(false, "windows")), "Crashed");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "Connected", Json()), "Connected");
    EXPECT_EQ(GetDisplayOutcome("Accepted", "TimedOut", Json()), "TimedOut");
}

} // namespace

} // namespace Tovra::Tests
