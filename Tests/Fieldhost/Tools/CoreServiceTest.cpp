#include "SetupToolTest.h"

namespace Tovra::Tests {

namespace {

using Fakes::service;
using System::Utilities::Service;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class CoreServiceTest : public SetupToolTest {
protected:
    CoreServiceTest() { Renew(PlatformType::Windows, "10.0"); }
};

const std::vector<std::string> everyOption{"-ics", "-ucs", "-scs", "-tcs"};

TEST_F(CoreServiceTest, IsUnsupportedOnEveryPlatformButWindows) {
    for (const PlatformType type : {PlatformType::MacOS, PlatformType::Linux, PlatformType::LinuxVariant}) {
        for (const std::string& option : everyOption) {
            Renew(type, "10.0");
            EXPECT_EQ(Run({option}), GetResultOutput("Platform Unsupported", -1, "\"previous\": false")) << option;
            EXPECT_EQ(GetStatus(), -1) << option;
            EXPECT_THAT(service.calls, IsEmpty());
        }
    }
}

TEST_F(CoreServiceTest, IsSilentWithStatusZeroBelowWindows62) {
    for (const std::string version : {"", "5.9", "6.0", "6.1"}) {
        for (const std::string& option : everyOption) {
            Renew(PlatformType::Windows, version);
            EXPECT_EQ(Run({option}), "") << option;
            EXPECT_EQ(GetStatus(), 0) << option;
            EXPECT_THAT(Fakes::standardStreams.writes, IsEmpty());
            EXPECT_THAT(service.calls, IsEmpty());
        }
    }
}

TEST_F(CoreServiceTest, IsSupportedFromWindows62On) {
    for (const std::string version : {"6.2", "7.0", "10.0"}) {
        Renew(PlatformType::Windows, version);
        EXPECT_EQ(Run({"-ucs"}), GetResultOutput("Success", 0, "\"previous\": false")) << version;
    }
}

TEST_F(CoreServiceTest, InstallWhenInstalledNeedsNoRightsAndDoesNothing) {
    service.isInstalled = true;
    EXPECT_EQ(Run({"-ics"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls, ElementsAre("IsInstalled TovraCoreService"));
}

TEST_F(CoreServiceTest, InstallNeedsRights) {
    EXPECT_EQ(Run({"-ics"}), GetResultOutput("Missing Rights", -2, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), -2);
    EXPECT_THAT(service.calls, ElementsAre("IsInstalled TovraCoreService"));
}

TEST_F(CoreServiceTest, InstallTakesTheServiceBesideTheTool) {
    SetElevated(true);
    Fakes::applicationDirectoryOperations.executablePath = "/opt/tovra/TovraFieldhostSetupTool";
    service.install = true;
    EXPECT_EQ(Run({"-ics"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls,
                ElementsAre("IsInstalled TovraCoreService", "Install TovraCoreService /opt/tovra/TovraCoreService "
                                                            "AI powered UI automation service by tovra GmbH."));
}

TEST_F(CoreServiceTest, InstallDoublesNoSeparatorBehindTheToolsFolder) {
    SetElevated(true);
    Fakes::applicationDirectoryOperations.executablePath = "/TovraFieldhostSetupTool";
    Run({"-ics"});
    EXPECT_THAT(service.calls.back(), StartsWith("Install TovraCoreService /TovraCoreService AI"));
}

TEST_F(CoreServiceTest, InstallTakesTheServicesBareNameIfTheToolsFolderIsNotKnown) {
    SetElevated(true);
    unsetenv("HOME");
    Run({"-ics"});
    EXPECT_THAT(service.calls.back(), StartsWith("Install TovraCoreService TovraCoreService AI"));
}

TEST_F(CoreServiceTest, InstallReportsFailure) {
    SetElevated(true);
    EXPECT_EQ(Run({"-ics"}), GetResultOutput("Failed", 1, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(CoreServiceTest, UninstallWhenNotInstalledNeedsNoRightsAndDoesNothing) {
    EXPECT_EQ(Run({"-ucs"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls, ElementsAre("IsInstalled TovraCoreService"));
}

TEST_F(CoreServiceTest, UninstallNeedsRights) {
    service.isInstalled = true;
    EXPECT_EQ(Run({"-ucs"}), GetResultOutput("Missing Rights", -2, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), -2);
}

TEST_F(CoreServiceTest, UninstallReportsWhetherItWasUninstalled) {
    SetElevated(true);
    service.isInstalled = true;
    service.uninstall = true;
    EXPECT_EQ(Run({"-ucs"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls, ElementsAre("IsInstalled TovraCoreService", "Uninstall TovraCoreService"));
}

TEST_F(CoreServiceTest, UninstallKeepsTheSystemsReasonOutOfTheResult) {
    SetElevated(true);
    service.isInstalled = true;
    service.error = EACCES;
    EXPECT_EQ(Run({"-ucs"}), GetResultOutput("Failed", 1, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(CoreServiceTest, StartWhenRunningNeedsNoRightsAndDoesNothing) {
    service.status = Service::Status::Running;
    EXPECT_EQ(Run({"-scs"}), GetResultOutput("Success", 0, "\"previous\": true"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls, ElementsAre("GetStatus TovraCoreService"));
}

TEST_F(CoreServiceTest, StartNeedsRights) {
    EXPECT_EQ(Run({"-scs"}), GetResultOutput("Missing Rights", -2, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), -2);
}

TEST_F(CoreServiceTest, StartDoesNotAskWhetherTheServiceIsInstalled) {
    SetElevated(true);
    service.start = true;
    EXPECT_EQ(Run({"-scs"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls, ElementsAre("GetStatus TovraCoreService", "Start TovraCoreService"));
}

TEST_F(CoreServiceTest, StartReportsFailure) {
    SetElevated(true);
    EXPECT_EQ(Run({"-scs"}), GetResultOutput("Failed", 1, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(CoreServiceTest, StopWhenNotRunningSucceedsWithTrue) {
    for (const int status : {0, 1, 3, 5}) {
        Renew(PlatformType::Windows, "10.0");
        service.status = Service::Status{status};
        EXPECT_EQ(Run({"-tcs"}), GetResultOutput("Success", 0, "\"previous\": true")) << status;
        EXPECT_EQ(GetStatus(), 0);
        EXPECT_THAT(service.calls, ElementsAre("GetStatus TovraCoreService"));
    }
}

TEST_F(CoreServiceTest, StopNeedsRights) {
    service.status = Service::Status::Running;
    EXPECT_EQ(Run({"-tcs"}), GetResultOutput("Missing Rights", -2, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), -2);
}

TEST_F(CoreServiceTest, StopReportsWhetherItWasStopped) {
    SetElevated(true);
    service.status = Service::Status::Running;
    service.stop = true;
    EXPECT_EQ(Run({"-tcs"}), GetResultOutput("Success", 0, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 0);
    EXPECT_THAT(service.calls, ElementsAre("GetStatus TovraCoreService", "Stop TovraCoreService"));
    Renew(PlatformType::Windows, "10.0");
    SetElevated(true);
    service.status = Service::Status::Running;
    EXPECT_EQ(Run({"-tcs"}), GetResultOutput("Failed", 1, "\"previous\": false"));
    EXPECT_EQ(GetStatus(), 1);
}

TEST_F(CoreServiceTest, EachCommandReportsUnderItsParameter) {
    using Fieldhost::Tools::Application;
    struct Row {
        int parameter;
        void (Application::*command)();
        void (*makeIdle)(); ///< Sets a state in which the command has nothing to do.
        void (*makeBusy)();
    };
    const auto nothing = [] {};
    const auto install = [] { service.isInstalled = true; };
    const auto start = [] { service.status = Service::Status::Running; };
    for (const auto& [parameter, command, makeIdle, makeBusy] :
         {Row{9, &Application::InstallCoreService, install, nothing},
          Row{10, &Application::UninstallCoreService, nothing, install},
          Row{11, &Application::StartCoreService, start, nothing},
          Row{12, &Application::StopCoreService, nothing, start}}) {
        EXPECT_EQ(GetReport(command, PlatformType::MacOS), parameter * 10 + 3);
        EXPECT_EQ(GetReport(command, PlatformType::Windows, "6.1"), parameter * 10 + 4);
        EXPECT_EQ(GetReport(command, PlatformType::Windows, "6.2", makeIdle), parameter * 10 + 1);
        EXPECT_EQ(GetReport(command, PlatformType::Windows, "6.2", makeBusy), parameter * 10 + 5);
    }
}

} // namespace

} // namespace Tovra::Tests
