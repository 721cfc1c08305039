#include <Text.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Tovra::Tests {

namespace {

using namespace Fieldhost::Diagnose;

TEST(DiagnosisText, HasTheProblemsAndALineAValue) {
    const Json document = *Parse(R"({"openGl": {"isFast": true, "kind": null, "freeBytes": 7},
        "displays": [{"id": 1, "x": 2}], "none": [], "name": "a\u001bb",
        "problems": [{"name": "A", "text": "It fails.", "isFailure": true},
                     {"name": "B", "text": "Look.", "isFailure": false}]})");
    EXPECT_EQ(ComposeText(document), "Failure: It fails.\nWarning: Look.\n\n"
                                     "OpenGL:\n  Fast: yes\n  Kind: -\n  Free bytes: 7\n"
                                     "Displays:\n  Id: 1, X: 2\nNone: none\nName: a?b\n");
    EXPECT_THAT(ComposeText(Json::Object{{"problems", Json::Array()}}),
                ::testing::StartsWith("No problem was found.\n"));
}

TEST(DiagnosisText, HasNoControlCharacters) {
    const auto getLine = [](const std::string& text) {
        const Json problem = Json::Object{{"text", text}};
        const std::string line = ComposeText(Json::Object{{"name", text}, {"problems", Json::Array{problem}}});
        EXPECT_TRUE(line.starts_with("Warning: "));
        const std::string warning = line.substr(9, line.find('\n') - 9);
        EXPECT_EQ(line, "Warning: " + warning + "\n\nName: " + warning + '\n') << "Both texts are printed alike.";
        return warning;
    };
    EXPECT_EQ(getLine("a\x1B[2Jb\x7F\n\t"), "a?[2Jb???");
    // U+0080, U+009B (which begins control sequences), and U+009F.
    EXPECT_EQ(getLine("a\xC2\x80"
                      "b\xC2\x9B"
                      "c\xC2\x9F"),
              "a?b?c?");
    // U+00A0, U+00C2, U+06C0, U+FFFD; U+209B has the byte 9B.
    const std::string printable = "\xC2\xA0 \xC3\x82 \xDB\x80 \xEF\xBF\xBD \xE2\x82\x9B";
    EXPECT_EQ(getLine(printable), printable);
    EXPECT_EQ(getLine("\xC2"), "\xEF\xBF\xBD");
}

} // namespace

} // namespace Tovra::Tests
