#include <System/Device/Usb/HidOverUsb.h>
#include <System/FileSystem/Path.h>
#include <System/RemoteDesktop/ChildSession.h>
#include <System/Utilities/Service.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Tovra::System::Device::Usb::HidOverUsb;
using Tovra::System::RemoteDesktop::ChildSession;
using Tovra::System::RemoteDesktop::RemoteProcessInfo;
using Tovra::System::Utilities::Service;

TEST(InertServices, ServiceAnswersItsConstantsWhateverIsGiven) {
    for (const char* name : {"", "TovraCoreService", "systemd-journald"}) {
        EXPECT_FALSE(Service::IsInstalled(name));
        EXPECT_EQ(static_cast<int>(Service::GetStatus(name)), 0);
        EXPECT_FALSE(Service::IsRunning(name));
        EXPECT_FALSE(Service::Install(name, "", ""));
        EXPECT_FALSE(Service::Install(name, "/bin/true", "Does nothing."));
        EXPECT_FALSE(Service::Uninstall(name));
        EXPECT_FALSE(Service::Start(name));
        EXPECT_FALSE(Service::Stop(name));
    }
}

TEST(InertServices, ChildSessionAnswersItsConstants) {
    EXPECT_FALSE(ChildSession::IsEnabled());
    EXPECT_FALSE(ChildSession::Enable());
    EXPECT_FALSE(ChildSession::IsEnabled());
    EXPECT_FALSE(ChildSession::Disable());
    EXPECT_FALSE(ChildSession::Disconnect());
    EXPECT_EQ(ChildSession::GetSessionId(), 0xFFFFFFFFu);
}

TEST(InertServices, ChildSessionLeavesTheListAsItCame) {
    std::vector<RemoteProcessInfo> list = {{.processId = 3}};
    ChildSession::GetProcessList(0, list);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].processId, 3u);
}

TEST(InertServices, HidOverUsbAnswersItsConstants) {
    EXPECT_FALSE(HidOverUsb::Enable());
    EXPECT_FALSE(HidOverUsb::IsEnabled());
    EXPECT_FALSE(HidOverUsb::Disable());
}

TEST(InertServices, HidOverUsbIsNeverInitialized) {
    HidOverUsb device;
    EXPECT_FALSE(device.Initialize());
    EXPECT_FALSE(device.IsInitialized());
    device.SendReport(1, nullptr, 0);
    device.Destroy();
    EXPECT_FALSE(device.IsInitialized());
}

} // namespace
