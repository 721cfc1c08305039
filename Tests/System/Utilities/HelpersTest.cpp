#include <Fakes/PlatformOperations.h>
#include <System/Utilities/Helpers.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Tovra::System::Utilities::Helpers::GetSysctlString;
using Tovra::Tests::Fakes::platformOperations;
using namespace std::string_literals;

class GetSysctlStringTest : public testing::Test {
protected:
    GetSysctlStringTest() { platformOperations = {}; }
};

TEST_F(GetSysctlStringTest, RemovesTheTerminatingZero) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    EXPECT_EQ(GetSysctlString("name"), "14.2.1");
}

TEST_F(GetSysctlStringTest, RemovesOnlyOneZero) {
    platformOperations.systemControls["name"] = "14\0\0"s;
    EXPECT_EQ(GetSysctlString("name"), "14\0"s);
}

TEST_F(GetSysctlStringTest, KeepsATextWithoutTerminatingZero) {
    platformOperations.systemControls["name"] = "14";
    EXPECT_EQ(GetSysctlString("name"), "14");
}

TEST_F(GetSysctlStringTest, IsEmptyForAnUnknownName) {
    EXPECT_EQ(GetSysctlString("name"), "");
}

TEST_F(GetSysctlStringTest, IsEmptyForAValueWithoutBytes) {
    platformOperations.systemControls["name"] = "";
    EXPECT_EQ(GetSysctlString("name"), "");
    EXPECT_EQ(platformOperations.systemControlFault.calls, 1);
}

TEST_F(GetSysctlStringTest, IsEmptyIfTheSecondReadingFails) {
    platformOperations.systemControls["name"] = "14\0"s;
    platformOperations.systemControlFault = {.call = 2, .error = ENOMEM};
    EXPECT_EQ(GetSysctlString("name"), "");
    EXPECT_EQ(platformOperations.systemControlFault.calls, 2);
}

TEST_F(GetSysctlStringTest, IsEmptyIfTheSecondReadingGivesNothing) {
    platformOperations.systemControls["name"] = "14\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = ""; };
    EXPECT_EQ(GetSysctlString("name"), "");
}

TEST_F(GetSysctlStringTest, KeepsTheFirstLengthIfTheValueHasBecomeShorter) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = "15\0"s; };
    EXPECT_EQ(GetSysctlString("name"), "15\0\0\0\0"s);
}

TEST_F(GetSysctlStringTest, LooksForTheZeroAtTheEndOfTheFirstLength) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = "15"; };
    EXPECT_EQ(GetSysctlString("name"), "15\0\0\0\0"s);
}

} // namespace
