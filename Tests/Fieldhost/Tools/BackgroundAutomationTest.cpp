#include "SetupToolTest.h"

namespace Tovra::Tests {

namespace {

using Fakes::childSession;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BackgroundAutomationTest : public SetupToolTest {
protected:
    BackgroundAutomationTest() { Renew(PlatformType::Windows, "10.0"); }
};

TEST_F(BackgroundAutomationTest, IsUnsupportedOnEveryPlatformButWindows) {
    for (const PlatformType type : {PlatformType::MacOS, PlatformType::Linux, PlatformType::LinuxVariant}) {
        for (const std::string option : {"-eba", "-dba", "-fba"}) {
            Renew(type, "10.0");
            EXPECT_EQ(Run({option}), GetResultOutput("Platform Unsupported", -1, "\"previous\": false")) << option;
            EXPECT_EQ(GetStatus(), -1) << option;
        }
        Renew(type, "10.0");
        EXPECT_EQ(Run({"-cba"}), GetResultOutput("Platform Unsupported", -1, "\"value\": false"));
        EXPECT_EQ(GetStatus(), -1);
        EXPECT_THAT(childSession.calls, IsEmpty());
    }
}

TEST_F(BackgroundAutomationTest, IsUnsupportedBelowWindows62) {
    for (const std::string version : {"", "5.9", "6.0", "6.1", "6.1.7601"}) {
        for (const std::string option : {"-eba", "-dba", "-fba"}) {
            Renew(PlatformType::Windows, version);
            EXPECT_EQ(Run({option}), GetResultOutput("OS Version Unsupported", -2, "\"previous\": false")) << option;
            EXPECT_EQ(GetStatus(), -2) << option;
        }
        Renew(PlatformType::Windows, version);
        EXPECT_EQ(Run({"-cba"}), GetResultOutput("OS Version Unsupported", -2, "\"value\": false"));
        EXPECT_EQ(GetStatus(), -2);
        EXPECT_THAT(childSession.calls, IsEmpty());
    }
}

TEST_F(BackgroundAutomationTest, IsSupportedFromWindows62On) {
    for (const std::string version : {"6.2", "6.3", "7.0", "10.0", "11.1"}) {
        Renew(PlatformType::Windows, version);
        EXPECT_EQ(Run({"-cba"}), GetResultOutput("Success", 0, "\"value\": false")) << version;
        EXPECT_EQ(GetStatus(), 0) << version;
    }
}

TEST_F(BackgroundAutomationTest, CheckNeedsNoRightsAndSucceedsWithBothStates) {
    EXPECT_EQ(Run({"-cba"}), GetResultOutput("Success", 0, "\"value\": false"));
    EXPECT_EQ(GetStatus(), 0);
    Renew(PlatformType::Windows, "10.0");
    childSession.isEnabled = true;
    EXPECT_EQ(Run({"-cba"}), GetResultOutput("Success", 0, "\"value\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled"));
}

TEST_F(BackgroundAutomationTest, EnableWhenEnabledNeedsNoRightsAndDoesNothing) {
    childSession.isEnabled = true;
    EXPECT_EQ(Run({"-eba"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled"));
}

TEST_F(BackgroundAutomationTest, EnableWhenDisabledNeedsRights) {
    EXPECT_EQ(Run({"-eba"}), GetResultOutput("Missing Rights", -3, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), -3);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled"));
}

TEST_F(BackgroundAutomationTest, EnableReportsWhetherItWasEnabled) {
    SetElevated(true);
    childSession.enable = true;
    EXPECT_EQ(Run({"-eba"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled", "Enable"));
    Renew(PlatformType::Windows, "10.0");
    SetElevated(true);
    childSession.enable = false;
    EXPECT_EQ(Run({"-eba"}), GetResultOutput("Failed", 1, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(BackgroundAutomationTest, DisableWhenDisabledNeedsNoRightsAndDoesNothing) {
    EXPECT_EQ(Run({"-dba"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled"));
}

TEST_F(BackgroundAutomationTest, DisableWhenEnabledNeedsRights) {
    childSession.isEnabled = true;
    EXPECT_EQ(Run({"-dba"}), GetResultOutput("Missing Rights", -3, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), -3);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled"));
}

TEST_F(BackgroundAutomationTest, DisableReportsWhetherItWasDisabled) {
    SetElevated(true);
    childSession.isEnabled = true;
    childSession.disable = true;
    EXPECT_EQ(Run({"-dba"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled", "Disable"));
    Renew(PlatformType::Windows, "10.0");
    SetElevated(true);
    childSession.isEnabled = true;
    childSession.disable = false;
    EXPECT_EQ(Run({"-dba"}), GetResultOutput("Failed", 1, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(BackgroundAutomationTest, EachCommandReportsUnderItsParameterAndARefusedRepairUnderThatOfEnable) {
    using Fieldhost::Tools::Application;
    struct Row {
        int parameter;
        int refusingParameter;
        void (Application::*command)();
        void (*makeIdle)(); ///< Sets a state in which the command has nothing to do.
    };
    const auto nothing = [] {};
    const auto enable = [] { childSession.isEnabled = true; };
    for (const auto& [parameter, refusingParameter, command, makeIdle] :
         {Row{1, 1, &Application::EnableBackgroundAutomation, enable},
          Row{2, 2, &Application::DisableBackgroundAutomation, nothing},
          Row{3, 3, &Application::CheckBackgroundAutomation, nothing},
          Row{4, 1, &Application::FixBackgroundAutomation, nothing}}) {
        EXPECT_EQ(GetReport(command, PlatformType::MacOS), refusingParameter * 10 + 3);
        EXPECT_EQ(GetReport(command, PlatformType::Windows, "6.1"), refusingParameter * 10 + 4);
        EXPECT_EQ(GetReport(command, PlatformType::Windows, "6.2", makeIdle), parameter * 10 + 1);
    }
    EXPECT_EQ(GetReport(&Application::EnableBackgroundAutomation, PlatformType::Windows, "6.2", nothing), 15);
    EXPECT_EQ(GetReport(&Application::DisableBackgroundAutomation, PlatformType::Windows, "6.2", enable), 25);
}

class BackgroundAutomationRepairTest : public BackgroundAutomationTest {
protected:
    static void Add(std::int32_t id, const std::string& name, bool staysWhenKilled) {
        Fakes::processOperations.processes.push_back(
            {.id = id, .path = "/opt/tovra/" + name, .staysWhenKilled = staysWhenKilled});
    }

    static std::vector<std::int32_t> GetKilled() {
        std::vector<std::int32_t> killed;
        for (const auto& signal : Fakes::processOperations.GetKills()) {
            killed.push_back(signal.id);
        }
        return killed;
    }
};

TEST_F(BackgroundAutomationRepairTest, EndsEveryExecutionToolAndNothingElse) {
    Add(20, "TovraFieldhostExecutionTool", false);
    Add(21, "TovraFieldhostExecutionTool2", false);
    Add(22, "TovraFieldhostExecutionToo", false);
    Add(23, "TovraFieldhostExecutionTool", false);
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Success", 0, "\"value\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(GetKilled(), ElementsAre(20, 23));
    EXPECT_THAT(childSession.calls, IsEmpty());
}

TEST_F(BackgroundAutomationRepairTest, WithoutExecutionToolSucceedsWithFalse) {
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Success", 0, "\"value\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(GetKilled(), IsEmpty());
}

TEST_F(BackgroundAutomationRepairTest, SucceedsWithFalseWhereTheProcessTableCannotBeRead) {
    Add(20, "TovraFieldhostExecutionTool", true);
    Fakes::processOperations.tableFault = {.call = 1, .error = EPERM};
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Success", 0, "\"value\": false"));
    EXPECT_THAT(GetKilled(), IsEmpty());
}

TEST_F(BackgroundAutomationRepairTest, FailsIfTheExecutionToolSurvives) {
    Add(20, "TovraFieldhostExecutionTool", true);
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Failed", 1, "\"value\": false"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(BackgroundAutomationRepairTest, FailsIfTheLastOneSurvives) {
    Add(20, "TovraFieldhostExecutionTool", false);
    Add(21, "TovraFieldhostExecutionTool", true);
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Failed", 1, "\"value\": false"));
    EXPECT_THAT(GetKilled(), ElementsAre(20, 21));
}

TEST_F(BackgroundAutomationRepairTest, DoesNotReportAnEarlierSurvivor) {
    Add(20, "TovraFieldhostExecutionTool", true);
    Add(21, "TovraFieldhostExecutionTool", false);
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Success", 0, "\"value\": true"));
    EXPECT_EQ(GetStatus(), 0);
}

TEST_F(BackgroundAutomationRepairTest, CountsAProcessOfAnotherUserThatCantBeKilledAsSurvivor) {
    Add(20, "TovraFieldhostExecutionTool", false);
    Fakes::processOperations.processes.back().signalError = EPERM;
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Failed", 1, "\"value\": false"));
}

TEST_F(BackgroundAutomationRepairTest, NeedsNoRights) {
    SetElevated(true);
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Success", 0, "\"value\": false"));
    Renew(PlatformType::Windows, "10.0");
    EXPECT_EQ(Run({"-fba"}), GetResultOutput("Success", 0, "\"value\": false"));
}

TEST_F(BackgroundAutomationRepairTest, TouchesNoProcessWhereItIsUnsupported) {
    for (const std::string version : {"", "6.1"}) {
        Renew(PlatformType::Windows, version);
        Add(20, "TovraFieldhostExecutionTool", false);
        Run({"-fba"});
        EXPECT_THAT(GetKilled(), IsEmpty());
    }
}

} // namespace

} // namespace Tovra::Tests
