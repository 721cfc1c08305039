#include <Fakes/PlatformOperations.h>
#include <System/Utilities/Helpers.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Tovra::System::Utilities::Helpers::GetSysctlString;
using Tovra::Tests::Fakes::platformOperations;
using namespace std::string_literals;

class HelpersTest : public testing::Test {
protected:
    HelpersTest() { platformOperations = {}; }
};

TEST_F(HelpersTest, SysctlStringRemovesTheTerminatingZero) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    EXPECT_EQ(GetSysctlString("name"), "14.2.1");
}

TEST_F(HelpersTest, SysctlStringRemovesOnlyOneZero) {
    platformOperations.systemControls["name"] = "14\0\0"s;
    EXPECT_EQ(GetSysctlString("name"), "14\0"s);
}

TEST_F(HelpersTest, SysctlStringKeepsATextWithoutTerminatingZero) {
    platformOperations.systemControls["name"] = "14";
    EXPECT_EQ(GetSysctlString("name"), "14");
}

TEST_F(HelpersTest, SysctlStringIsEmptyForAnUnknownName) {
    EXPECT_EQ(GetSysctlString("name"), "");
}

TEST_F(HelpersTest, SysctlStringIsEmptyForAValueWithoutBytes) {
    platformOperations.systemControls["name"] = "";
    EXPECT_EQ(GetSysctlString("name"), "");
    EXPECT_EQ(platformOperations.systemControlFault.calls, 1);
}

TEST_F(HelpersTest, SysctlStringIsEmptyIfTheSecondReadingFails) {
    platformOperations.systemControls["name"] = "14\0"s;
    platformOperations.systemControlFault = {.call = 2, .error = ENOMEM};
    EXPECT_EQ(GetSysctlString("name"), "");
    EXPECT_EQ(platformOperations.systemControlFault.calls, 2);
}

TEST_F(HelpersTest, SysctlStringIsEmptyIfTheSecondReadingGivesNothing) {
    platformOperations.systemControls["name"] = "14\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = ""; };
    EXPECT_EQ(GetSysctlString("name"), "");
}

TEST_F(HelpersTest, SysctlStringKeepsTheFirstLengthIfTheValueHasBecomeShorter) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = "15\0"s; };
    EXPECT_EQ(GetSysctlString("name"), "15\0\0\0\0"s);
}

TEST_F(HelpersTest, SysctlStringLooksForTheZeroAtTheEndOfTheFirstLength) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = "15"; };
    EXPECT_EQ(GetSysctlString("name"), "15\0\0\0\0"s);
}

} // namespace
