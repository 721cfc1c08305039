#include "SetupToolTest.h"

namespace Tovra::Tests {

namespace {

using Fakes::hidOverUsb;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FieldhostHidOverUsbTest : public SetupToolTest {
protected:
    FieldhostHidOverUsbTest() { Renew(PlatformType::Linux); }
};

TEST_F(FieldhostHidOverUsbTest, AreUnsupportedOnEveryPlatformButLinux) {
    for (const PlatformType type : {PlatformType::Windows, PlatformType::MacOS}) {
        for (const std::string option : {"-ehu", "-dhu"}) {
            Renew(type, "10.0");
            EXPECT_EQ(Run({option}), GetResultOutput("Platform Unsupported", -1, "\"previous\": false")) << option;
            EXPECT_EQ(GetStatus(), -1) << option;
        }
        Renew(type, "10.0");
        EXPECT_EQ(Run({"-chu"}), GetResultOutput("Platform Unsupported", -1, "\"value\": false"));
        EXPECT_EQ(GetStatus(), -1);
        EXPECT_THAT(hidOverUsb.calls, IsEmpty());
    }
}

TEST_F(FieldhostHidOverUsbTest, AreSupportedOnBothLinuxPlatformsOfAnyVersion) {
    for (const PlatformType type : {PlatformType::Linux, PlatformType::LinuxVariant}) {
        Renew(type, "0.1");
        EXPECT_EQ(Run({"-chu"}), GetResultOutput("Success", 0, "\"value\": false"));
        EXPECT_EQ(GetStatus(), 0);
    }
}

TEST_F(FieldhostHidOverUsbTest, CheckNeedsNoRightsAndSucceedsWithBothStates) {
    EXPECT_EQ(Run({"-chu"}), GetResultOutput("Success", 0, "\"value\": false"));
    Renew(PlatformType::Linux);
    hidOverUsb.isEnabled = true;
    EXPECT_EQ(Run({"-chu"}), GetResultOutput("Success", 0, "\"value\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled"));
}

TEST_F(FieldhostHidOverUsbTest, EnableWhenEnabledNeedsNoRightsAndDoesNothing) {
    hidOverUsb.isEnabled = true;
    EXPECT_EQ(Run({"-ehu"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled"));
}

TEST_F(FieldhostHidOverUsbTest, EnableWhenDisabledNeedsRights) {
    EXPECT_EQ(Run({"-ehu"}), GetResultOutput("Missing Rights", -2, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), -2);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled"));
}

TEST_F(FieldhostHidOverUsbTest, EnableReportsWhetherItWasEnabled) {
    SetElevated(true);
    hidOverUsb.enable = true;
    EXPECT_EQ(Run({"-ehu"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled", "Enable"));
    Renew(PlatformType::Linux);
    SetElevated(true);
    hidOverUsb.enable = false;
    EXPECT_EQ(Run({"-ehu"}), GetResultOutput("Failed", 1, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(FieldhostHidOverUsbTest, DisableWhenDisabledNeedsNoRightsAndDoesNothing) {
    EXPECT_EQ(Run({"-dhu"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled"));
}

TEST_F(FieldhostHidOverUsbTest, DisableWhenEnabledNeedsRights) {
    hidOverUsb.isEnabled = true;
    EXPECT_EQ(Run({"-dhu"}), GetResultOutput("Missing Rights", -2, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), -2);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled"));
}

TEST_F(FieldhostHidOverUsbTest, DisableReportsWhetherItWasDisabled) {
    SetElevated(true);
    hidOverUsb.isEnabled = true;
    hidOverUsb.disable = true;
    EXPECT_EQ(Run({"-dhu"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled", "Disable"));
    Renew(PlatformType::Linux);
    SetElevated(true);
    hidOverUsb.isEnabled = true;
    hidOverUsb.disable = false;
    EXPECT_EQ(Run({"-dhu"}), GetResultOutput("Failed", 1, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(FieldhostHidOverUsbTest, EachCommandReportsUnderItsParameter) {
    using Fieldhost::Tools::Application;
    const auto enable = [] { hidOverUsb.isEnabled = true; };
    EXPECT_EQ(GetReport(&Application::EnableHidOverUsb, PlatformType::MacOS), 63);
    EXPECT_EQ(GetReport(&Application::DisableHidOverUsb, PlatformType::MacOS), 73);
    EXPECT_EQ(GetReport(&Application::CheckHidOverUsb, PlatformType::MacOS), 83);
    EXPECT_EQ(GetReport(&Application::EnableHidOverUsb, PlatformType::Linux, "", enable), 61);
    EXPECT_EQ(GetReport(&Application::DisableHidOverUsb, PlatformType::Linux), 71);
    EXPECT_EQ(GetReport(&Application::CheckHidOverUsb, PlatformType::Linux), 81);
    EXPECT_EQ(GetReport(&Application::EnableHidOverUsb, PlatformType::Linux), 65);
    EXPECT_EQ(GetReport(&Application::DisableHidOverUsb, PlatformType::Linux, "", enable), 75);
}

} // namespace

} // namespace Tovra::Tests
