#include <Structure/SourceRules.h>
#include <Support/Folders.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::Tests::FindViolations;

TEST(SourceRules, HoldForTheWholeSource) {
    const std::filesystem::path root = Tovra::Tests::GetSourceFolder();
    std::size_t fileCount = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::string extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp" && extension != ".mm") {
            continue;
        }
        ++fileCount;
        std::ifstream file(entry.path());
        const std::string text(std::istreambuf_iterator<char>(file), {});
        EXPECT_THAT(FindViolations(entry.path().lexically_relative(root), text), IsEmpty());
    }
    EXPECT_GT(fileCount, 0u);
}

TEST(SourceRules, RefuseAnIncludeThatPointsUp) {
    EXPECT_THAT(FindViolations("System/Types/GUID.cpp", "\n#include <System/Log/Log.h>\n"),
                ElementsAre("System/Types/GUID.cpp:2: <System/Log/Log.h> points up"));
    EXPECT_THAT(FindViolations("System/Log/Log.h", "#include <System/Environment/Variable.h>"),
                ElementsAre("System/Log/Log.h:1: <System/Environment/Variable.h> points up"));
    EXPECT_THAT(FindViolations("System/Processes/Process.cpp", "#  include <System/Runtime/Application.h>"),
                ElementsAre("System/Processes/Process.cpp:1: <System/Runtime/Application.h> points up"));
    EXPECT_THAT(FindViolations("System/Runtime/Application.h", "#include \"Fieldhost/Tools/Application.h\""),
                ElementsAre("System/Runtime/Application.h:1: <Fieldhost/Tools/Application.h> points up"));
}

TEST(SourceRules, AllowAnIncludeThatPointsDownOrStaysLevel) {
    EXPECT_THAT(FindViolations("Fieldhost/Tools/Main.cpp", "#include <System/Runtime/Application.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("Graphics/OpenGl/GLContext.cpp", "#include <System/Desktop/Window.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Types/GUID.cpp", "#include <string>"), IsEmpty());
}

TEST(SourceRules, MakeTheRoomsOfTheDesktopAChain) {
    EXPECT_THAT(FindViolations("Graphics/OpenGl/GLContext_Linux.cpp", "#include <System/X11/Glx_Linux.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Desktop/Window_Linux.cpp", "#include <System/Device/Display/DisplayCache.h>"),
                IsEmpty());
    EXPECT_THAT(FindViolations("System/Desktop/PanelRules.cpp", "#include <Graphics/OpenGl/GLContext.h>"),
                ElementsAre("System/Desktop/PanelRules.cpp:1: <Graphics/OpenGl/GLContext.h> points up"));
    EXPECT_THAT(FindViolations("System/Device/Mouse/Mouse.cpp", "#include <System/Desktop/PanelOperations.h>"),
                ElementsAre("System/Device/Mouse/Mouse.cpp:1: <System/Desktop/PanelOperations.h> points up"));
    EXPECT_THAT(FindViolations("System/Processes/ProcessWindow.cpp", "#include <System/Device/Mouse/Mouse.h>"),
                ElementsAre("System/Processes/ProcessWindow.cpp:1: <System/Device/Mouse/Mouse.h> points up"));
    EXPECT_THAT(FindViolations("System/X11/X11_Linux.cpp", "#include <System/Processes/Process.h>"),
                ElementsAre("System/X11/X11_Linux.cpp:1: <System/Processes/Process.h> points up"));
    EXPECT_THAT(FindViolations("System/Log/Logger.cpp", "#include <System/RemoteDesktop/ChildSession.h>"),
                ElementsAre("System/Log/Logger.cpp:1: <System/RemoteDesktop/ChildSession.h> points up"));
}

TEST(SourceRules, LetEveryRoomAssert) {
    EXPECT_THAT(FindViolations("System/Types/SafeCast.h", "#include <System/Error/Assertion.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Types/SafeCast.h", "#include <System/Error/Exception.h>"),
                ElementsAre("System/Types/SafeCast.h:1: <System/Error/Exception.h> points up"));
}

TEST(SourceRules, LetNoRoomButTheFrameSeeWhatTheErrorHandlerSees) {
    EXPECT_THAT(FindViolations("System/Error/ErrorHandler.cpp", "#include <System/Runtime/Application.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Error/ErrorHandler.h", "#include <System/Runtime/Application.h>"),
                ElementsAre("System/Error/ErrorHandler.h:1: <System/Runtime/Application.h> points up"));
    EXPECT_THAT(FindViolations("System/Error/Assertion.cpp", "#include <System/Error/ErrorHandler.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Error/Assertion.h", "#include <System/Error/ErrorHandler.h>"),
                ElementsAre("System/Error/Assertion.h:1: <System/Error/ErrorHandler.h> points up"));
}

TEST(SourceRules, LetRoomsBelowTheFrameReachTheApplicationThroughItsAccessAlone) {
    EXPECT_THAT(FindViolations("System/Log/Log.h", "#include <System/Runtime/ApplicationAccess.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Log/Log.h", "#include <System/Runtime/Application.h>"),
                ElementsAre("System/Log/Log.h:1: <System/Runtime/Application.h> points up"));
}

TEST(SourceRules, RefuseRapidJsonInAHeader) {
    EXPECT_THAT(
        FindViolations("System/Serialization/JsonWrapper.h", "#include <rapidjson/document.h>"),
        ElementsAre("System/Serialization/JsonWrapper.h:1: <rapidjson/document.h> shows RapidJSON in a header"));
    EXPECT_THAT(FindViolations("System/Serialization/JsonWrapper.cpp", "#include <rapidjson/document.h>"), IsEmpty());
}

TEST(SourceRules, RefuseAToolkitOutsideTheFilesOfItsHost) {
    constexpr auto fault = " shows a toolkit outside the files of its host";
    EXPECT_THAT(FindViolations("System/Desktop/Window.h", "#include <X11/Xlib.h>"),
                ElementsAre(std::string("System/Desktop/Window.h:1: <X11/Xlib.h>") + fault));
    EXPECT_THAT(FindViolations("System/Desktop/Window.cpp", "#import <AppKit/AppKit.h>"),
                ElementsAre(std::string("System/Desktop/Window.cpp:1: <AppKit/AppKit.h>") + fault));
    EXPECT_THAT(FindViolations("System/Desktop/Window_MacOS.mm", "#include <GL/glx.h>"),
                ElementsAre(std::string("System/Desktop/Window_MacOS.mm:1: <GL/glx.h>") + fault));
    EXPECT_THAT(FindViolations("System/Processes/ProcessWindow.cpp", "#include <xcb/xcb.h>"),
                ElementsAre(std::string("System/Processes/ProcessWindow.cpp:1: <xcb/xcb.h>") + fault));
    EXPECT_THAT(FindViolations("System/X11/X11_Linux.h", "#include <X11/Xlib.h>"), IsEmpty());
    EXPECT_THAT(FindViolations("System/Desktop/Window_MacOS.mm", "#import <AppKit/AppKit.h>"), IsEmpty());
}

TEST(SourceRules, RefuseAHostsHeaderOutsideThatHost) {
    constexpr auto fault = " takes a host's header outside the files of that host";
    EXPECT_THAT(FindViolations("System/Desktop/Window.cpp", "#include <System/X11/X11_Linux.h>"),
                ElementsAre(std::string("System/Desktop/Window.cpp:1: <System/X11/X11_Linux.h>") + fault));
    EXPECT_THAT(FindViolations("System/Desktop/Panel_MacOS.mm", "#include <System/X11/X11_Linux.h>"),
                ElementsAre(std::string("System/Desktop/Panel_MacOS.mm:1: <System/X11/X11_Linux.h>") + fault));
    EXPECT_THAT(FindViolations("System/Desktop/Panel_Linux.cpp", "#include <System/X11/X11_Linux.h>"), IsEmpty());
}

TEST(SourceRules, RefuseAPlatformConditionOutsideTheFilesOfAHost) {
    EXPECT_THAT(FindViolations("System/Utilities/Platform.cpp", "#ifdef __APPLE__\n#endif\n#  elif defined(__linux__)"),
                ElementsAre("System/Utilities/Platform.cpp:1: asks for the platform by __APPLE__",
                            "System/Utilities/Platform.cpp:3: asks for the platform by __linux__"));
    EXPECT_THAT(FindViolations("System/Utilities/Platform_Host.cpp", "#if !defined(_WIN32)"),
                ElementsAre("System/Utilities/Platform_Host.cpp:1: asks for the platform by _WIN32"));
    EXPECT_THAT(FindViolations("System/Utilities/Platform_Linux.cpp", "#ifdef __x86_64__\n#ifdef __linux__"),
                IsEmpty());
    EXPECT_THAT(FindViolations("System/Utilities/Platform.cpp", "#ifdef NDEBUG\n// #ifdef __linux__"), IsEmpty());
}

TEST(SourceRules, RefuseAFileWithoutARoom) {
    EXPECT_THAT(FindViolations("System/Odds/Ends.h", ""), ElementsAre("System/Odds/Ends.h:1: stands in no known room"));
}

} // namespace
