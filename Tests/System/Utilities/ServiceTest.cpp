#include <Fakes/Service.h>
#include <System/FileSystem/Path.h>
#include <System/Utilities/Service.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using Tovra::System::Utilities::Service;
using Tovra::Tests::Fakes::service;

TEST(Service, StatusOfARunningServiceIsFour) {
    EXPECT_EQ(static_cast<int>(Service::Status::Running), 4);
    EXPECT_EQ(static_cast<int>(Service::Status::Unknown), 0);
}

TEST(Service, AnswersAsThePlatformAnswers) {
    for (const bool answer : {false, true}) {
        service.isInstalled = service.isRunning = service.install = service.uninstall = service.start = service.stop =
            answer;
        EXPECT_EQ(Service::IsInstalled("Name"), answer);
        EXPECT_EQ(Service::IsRunning("Name"), answer);
        EXPECT_EQ(Service::Install("Name", "/Path", "Description"), answer);
        EXPECT_EQ(Service::Uninstall("Name"), answer);
        EXPECT_EQ(Service::Start("Name"), answer);
        EXPECT_EQ(Service::Stop("Name"), answer);
    }
    service.status = Service::Status::Running;
    EXPECT_EQ(Service::GetStatus("Name"), Service::Status::Running);
}

TEST(Service, HandsItsArgumentsToThePlatform) {
    Service::IsInstalled("A");
    Service::GetStatus("B");
    Service::IsRunning("C");
    Service::Install("D", "/opt/d", "A service.");
    Service::Uninstall("E");
    Service::Start("F");
    Service::Stop("G");
    EXPECT_THAT(service.calls, ElementsAre("IsInstalled A", "GetStatus B", "IsRunning C", "Install D /opt/d A service.",
                                           "Uninstall E", "Start F", "Stop G"));
}

} // namespace
