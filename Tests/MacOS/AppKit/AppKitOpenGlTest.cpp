#include "Desktop.h"

#include <Graphics/OpenGl/EntryPoints.h>
#include <Graphics/OpenGl/GLContext.h>
#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <System/Desktop/Window.h>
#include <System/Desktop/WindowPlatformNative.h>

#include <OpenGL/gl3.h>
#include <gmock/gmock.h>

namespace Tovra::Tests::AppKit {

namespace {

using namespace Graphics::OpenGl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// Runs `body` with the number of a new panel.
void RunWithPanel(const std::function<void(unsigned long panel)>& body) {
    RunOnDesktop([&body] {
        void* const handle = System::Desktop::WindowCreatePlatformNative(0, 0, 80, 60);
        ASSERT_NE(handle, nullptr);
        TakeMessages();
        body(reinterpret_cast<unsigned long>(handle));
    });
}

/// An OpenGL function of the current context.
template <class Function>
Function GetFunction(const char* name) {
    return reinterpret_cast<Function>(GLContextGetEntryPointPlatformNative(name));
}

int GetInteger(GLenum name) {
    // Not among the entry points.
    GLint value = -1;
    glGetIntegerv(name, &value);
    return value;
}

TEST(AppKitOpenGl, AContextIsCreatedInThisOrder) {
    RunWithPanel([](unsigned long panel) {
        EXPECT_NE(GLContextInitializePlatformNative(panel, "ignored"), nullptr);
        EXPECT_THAT(TakeMessages(),
                    ElementsAre("initWithAttributes: 99 12800 8 24 11 8 5 73 0",
                                "initWithFormat:shareContext: format nil", "setValues:forParameter: 0 236",
                                "setView: contentView", "makeCurrentContext"));
        EXPECT_EQ(GetToolkit().objects.at("PixelFormat"), 0);
        EXPECT_EQ(GetToolkit().objects.at("Context"), 1);
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

TEST(AppKitOpenGl, AContextIsCurrentAndHasTheCoreProfile) {
    RunWithPanel([](unsigned long panel) {
        ASSERT_NE(GLContextInitializePlatformNative(panel, nullptr), nullptr);
        EXPECT_GE(GetInteger(GL_MAJOR_VERSION) * 10 + GetInteger(GL_MINOR_VERSION), 32);
        EXPECT_EQ(GetInteger(GL_CONTEXT_PROFILE_MASK), GL_CONTEXT_CORE_PROFILE_BIT);
    });
}

TEST(AppKitOpenGl, EveryEntryPointIsFoundByItsName) {
    RunWithPanel([](unsigned long panel) {
        ASSERT_NE(GLContextInitializePlatformNative(panel, nullptr), nullptr);
#define TOVRA_EXPECT_FOUND(Result, name, parameters)                                                                   \
    EXPECT_EQ(GetFunction<void*>(#name), reinterpret_cast<void*>(&::name)) << #name;
        TOVRA_OPENGL_ENTRY_POINTS(TOVRA_EXPECT_FOUND)
        TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_EXPECT_FOUND)
        EXPECT_EQ(GetFunction<void*>("glNoSuchFunction"), nullptr);
        EXPECT_EQ(GetFunction<void*>(""), nullptr);
    });
}

TEST(AppKitOpenGl, AFrameEndsByASwapOfTheBuffers) {
    RunWithPanel([](unsigned long panel) {
        void* const context = GLContextInitializePlatformNative(panel, nullptr);
        TakeMessages();
        GLContextFrameStartPlatformNative(panel, context);
        EXPECT_THAT(TakeMessages(), IsEmpty());
        GLContextFrameEndPlatformNative(panel, context);
        EXPECT_THAT(TakeMessages(), ElementsAre("flushBuffer"));
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

TEST(AppKitOpenGl, AContextFollowsThePanelsSize) {
    RunWithPanel([](unsigned long panel) {
        void* const context = GLContextInitializePlatformNative(panel, nullptr);
        System::Desktop::WindowSetSizePlatformNative(reinterpret_cast<void*>(panel), 200, 100);
        TakeMessages();
        GLContextResizePlatformNative(panel, context);
        EXPECT_THAT(TakeMessages(), ElementsAre("update"));
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

TEST(AppKitOpenGl, AContextIsClearedAndReleased) {
    RunWithPanel([](unsigned long panel) {
        void* const context = GLContextInitializePlatformNative(panel, nullptr);
        TakeMessages();
        GLContextDestroyPlatformNative(panel, context);
        EXPECT_THAT(TakeMessages(), ElementsAre("clearDrawable"));
        EXPECT_EQ(GetToolkit().objects.at("Context"), 0);
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

TEST(AppKitOpenGl, WithoutAPixelFormatThereIsNoContext) {
    RunWithPanel([](unsigned long panel) {
        GetToolkit().hasPixelFormats = false;
        EXPECT_EQ(GLContextInitializePlatformNative(panel, nullptr), nullptr);
        EXPECT_THAT(TakeMessages(), ElementsAre(StartsWith("initWithAttributes: ")));
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

TEST(AppKitOpenGl, AContextThatCanNotBeMadeIsNull) {
    RunWithPanel([](unsigned long panel) {
        GetToolkit().hasContexts = false;
        EXPECT_EQ(GLContextInitializePlatformNative(panel, nullptr), nullptr);
        EXPECT_EQ(GetToolkit().objects.at("PixelFormat"), 0);
        EXPECT_EQ(GetToolkit().objects.at("Temporary"), 0);
    });
}

TEST(AppKitOpenGl, TheNullContextIsLeftAlone) {
    RunWithPanel([](unsigned long panel) {
        GLContextFrameStartPlatformNative(panel, nullptr);
        GLContextFrameEndPlatformNative(panel, nullptr);
        GLContextResizePlatformNative(panel, nullptr);
        GLContextDestroyPlatformNative(panel, nullptr);
        EXPECT_THAT(TakeMessages(), IsEmpty());
    });
}

TEST(AppKitOpenGl, DrawsByTheRulesAboveIt) {
    RunOnDesktop([] {
        System::Desktop::Window window(nullptr, "Window", {}, {.width = 80, .height = 60}, {});
        ASSERT_TRUE(window.Create());
        const auto panel = reinterpret_cast<unsigned long>(window.GetHandle());
        GLContext context;
        ASSERT_TRUE(context.Initialize(panel, "Window"));
        context.FrameStart(panel);
        glClearColor(1, 0.5F, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        std::array<std::uint8_t, 4> pixel{};
        glReadPixels(79, 59, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
        EXPECT_THAT(pixel, ElementsAre(255, ::testing::AnyOf(127, 128), 0, 255));
        context.FrameEnd(panel);
        context.Destroy(panel);
    });
}

} // namespace

} // namespace Tovra::Tests::AppKit
