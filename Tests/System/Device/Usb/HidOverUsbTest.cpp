#include <Fakes/HidOverUsb.h>
#include <System/Device/Usb/HidOverUsb.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using Tovra::System::Device::Usb::HidOverUsb;
using Tovra::Tests::Fakes::hidOverUsb;

TEST(HidOverUsb, AnswersAsThePlatformAnswers) {
    for (const bool answer : {false, true}) {
        hidOverUsb.isEnabled = hidOverUsb.enable = hidOverUsb.disable = answer;
        hidOverUsb.calls.clear();
        EXPECT_EQ(HidOverUsb::IsEnabled(), answer);
        EXPECT_EQ(HidOverUsb::Enable(), answer);
        EXPECT_EQ(HidOverUsb::Disable(), answer);
        EXPECT_THAT(hidOverUsb.calls, ElementsAre("IsEnabled", "Enable", "Disable"));
    }
}

TEST(HidOverUsb, IsNotInitializedAtFirst) {
    EXPECT_FALSE(HidOverUsb().IsInitialized());
}

TEST(HidOverUsb, StaysUninitializedWhereThePlatformRefuses) {
    HidOverUsb device;
    EXPECT_FALSE(device.Initialize());
    EXPECT_FALSE(device.IsInitialized());
}

TEST(HidOverUsb, IsInitializedUntilItIsDestroyed) {
    hidOverUsb.initialize = true;
    HidOverUsb device;
    EXPECT_TRUE(device.Initialize());
    EXPECT_TRUE(device.IsInitialized());
    device.Destroy();
    EXPECT_FALSE(device.IsInitialized());
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("Initialize", "Destroy"));
}

TEST(HidOverUsb, LosesItsStateWhereASecondInitializeIsRefused) {
    hidOverUsb.initialize = true;
    HidOverUsb device;
    device.Initialize();
    hidOverUsb.initialize = false;
    EXPECT_FALSE(device.Initialize());
    EXPECT_FALSE(device.IsInitialized());
}

TEST(HidOverUsb, HandsAReportToThePlatform) {
    constexpr unsigned char data[] = {'a', 'b', 'c'};
    HidOverUsb().SendReport(1, data, 2);
    EXPECT_THAT(hidOverUsb.calls, ElementsAre("SendReport 1 ab"));
}

} // namespace
