#include "SetupToolTest.h"

#include <System/Desktop/Window.h>

#include <gtest/gtest.h>

using Tovra::System::Desktop::Window;
namespace Math = Tovra::System::Math;

namespace {

/// Arguments of a window's constructor that can't be read from the window.
struct Construction {
    void* application = nullptr;
    const char* name = nullptr;
    std::uint32_t style = 0;
};

Construction s_construction;

} // namespace

// The linker (--wrap) redirects calls of the constructor to the second function, and calls of the first to the
// constructor.
extern "C" {
void __real__ZN5Tovra6System7Desktop6WindowC1EPvPKcNS0_4Math11Coordinate2ENS6_5Size2ENS2_5StyleE(
    Window* window, void* application, const char* name, Math::Coordinate2 position, Math::Size2 size,
    Window::Style style);

void __wrap__ZN5Tovra6System7Desktop6WindowC1EPvPKcNS0_4Math11Coordinate2ENS6_5Size2ENS2_5StyleE(
    Window* window, void* application, const char* name, Math::Coordinate2 position, Math::Size2 size,
    Window::Style style) {
    s_construction = {application, name, static_cast<std::uint32_t>(style)};
    __real__ZN5Tovra6System7Desktop6WindowC1EPvPKcNS0_4Math11Coordinate2ENS6_5Size2ENS2_5StyleE(
        window, application, name, position, size, style);
}
}

namespace Tovra::Tests {

namespace {

using OpenGlCheckWindowTest = SetupToolTest;

TEST_F(OpenGlCheckWindowTest, IsMadeForTheApplicationInStyleThree) {
    Run({"-cgl"});
    EXPECT_EQ(s_construction.application, &*m_application);
    EXPECT_STREQ(s_construction.name, "TovraFieldhostSetupTool");
    EXPECT_EQ(s_construction.style, 3u);
}

} // namespace

} // namespace Tovra::Tests
