#include "Desktop.h"

#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>

#include <gmock/gmock.h>

namespace Tovra::Tests::AppKit {

namespace {

using Fieldhost::Tools::TouchPlatformApplication;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

TEST(AppKitApplication, IsCreatedOnce) {
    RunOnDesktop([] {
        void* const application = GetApplication();
        EXPECT_NE(application, nullptr);
        TouchPlatformApplication();
        EXPECT_EQ(GetApplication(), application);
    });
}

TEST(AppKitApplication, WithoutAWindowServerIsReportedAndWindowsAreNotCreated) {
    const std::string errors = RunOn("", [] {
        TouchPlatformApplication();
        System::Desktop::Window window(nullptr, "Window", {}, {.width = 1, .height = 1}, {});
        EXPECT_FALSE(window.Create());
    });
    EXPECT_THAT(errors, MatchesRegex("[^\n]*\\] Exception: [^\n]*Unable to connect to X Server[^\n]*\n"
                                     "[^\n]*\\] Exception: [^\n]*\n"));
}

TEST(AppKitApplication, LeavesNothingToAPoolOfTheCallers) {
    RunOn("", [] {
        ReplaceApplication(MakeTemporary);
        TouchPlatformApplication();
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

} // namespace

} // namespace Tovra::Tests::AppKit
