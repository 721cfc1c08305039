#include <Text.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

} // namespace

} // namespace Tovra::Tests
