#include <Fakes/PlatformOperations.h>
#include <System/Utilities/Helpers.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Tovra::System::Utilities::Helpers::GetSysctlString;
using Tovra::Tests::Fakes::platformOperations;
using namespace std::string_literals;

TEST(Helpers, SysctlStringRemovesTheTerminatingZero) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    EXPECT_EQ(GetSysctlString("name"), "14.2.1");
}

TEST(Helpers, SysctlStringRemovesOnlyOneZero) {
    platformOperations.systemControls["name"] = "14\0\0"s;
    EXPECT_EQ(GetSysctlString("name"), "14\0"s);
}

TEST(Helpers, SysctlStringKeepsATextWithoutTerminatingZero) {
    platformOperations.systemControls["name"] = "14";
    EXPECT_EQ(GetSysctlString("name"), "14");
}

TEST(Helpers, SysctlStringIsEmptyForAnUnknownName) {
    EXPECT_EQ(GetSysctlString("name"), "");
}

TEST(Helpers, SysctlStringIsEmptyForAValueWithoutBytes) {
    platformOperations.systemControls["name"] = "";
    EXPECT_EQ(GetSysctlString("name"), "");
    EXPECT_EQ(platformOperations.systemControlFault.calls, 1);
}

TEST(Helpers, SysctlStringIsEmptyIfTheSecondReadingFails) {
    platformOperations.systemControls["name"] = "14\0"s;
    platformOperations.systemControlFault = {.call = 2, .error = ENOMEM};
    EXPECT_EQ(GetSysctlString("name"), "");
    EXPECT_EQ(platformOperations.systemControlFault.calls, 2);
}

TEST(Helpers, SysctlStringIsEmptyIfTheSecondReadingGivesNothing) {
    platformOperations.systemControls["name"] = "14\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = ""; };
    EXPECT_EQ(GetSysctlString("name"), "");
}

TEST(Helpers, SysctlStringKeepsTheFirstLengthIfTheValueHasBecomeShorter) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = "15\0"s; };
    EXPECT_EQ(GetSysctlString("name"), "15\0\0\0\0"s);
}

TEST(Helpers, SysctlStringLooksForTheZeroAtTheEndOfTheFirstLength) {
    platformOperations.systemControls["name"] = "14.2.1\0"s;
    platformOperations.onSystemControl = [] { platformOperations.systemControls["name"] = "15"; };
    EXPECT_EQ(GetSysctlString("name"), "15\0\0\0\0"s);
}

} // namespace
