// Label: threaded

#include <Support/InChild.h>
#include <Support/XServerFixture.h>
#include <System/X11/Glx_Linux.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <array>
#include <string_view>
#include <vector>

namespace Tovra::Tests {

namespace {

namespace Glx = System::X11::Glx;
namespace X11 = System::X11;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StrEq;

/// What a driver has, as addresses alone; their visuals have the ids 10, 11 and 12. It does not offer the last one.
std::array<XVisualInfo, 3> s_visuals;

std::array<GLXFBConfig, 3> s_configurations;

std::vector<void*> s_freed;

GLXFBConfig GetConfiguration(std::size_t index) {
    return reinterpret_cast<GLXFBConfig>(&s_visuals.at(index));
}

Glx::Functions MakeDriver() {
    for (std::size_t index = 0; index < s_visuals.size(); index++) {
        s_visuals.at(index).visualid = 10 + index;
        s_configurations.at(index) = GetConfiguration(index);
    }
    Glx::Functions glx;
    glx.glXChooseFBConfig = [](Display*, int, const int*, int* count) {
        *count = 2;
        return s_configurations.data();
    };
    glx.glXGetFBConfigAttrib = [](Display*, GLXFBConfig configuration, int attribute, int* value) {
        EXPECT_EQ(attribute, GLX_VISUAL_ID);
        *value = static_cast<int>(reinterpret_cast<XVisualInfo*>(configuration)->visualid);
        return Success;
    };
    glx.glXGetVisualFromFBConfig = [](Display*, GLXFBConfig configuration) {
        return reinterpret_cast<XVisualInfo*>(configuration);
    };
    return glx;
}

/// This process's connection, which frees nothing, but notes it.
const X11::Connection& GetConnection() {
    X11::Connection& x11 = *X11::GetConnection();
    x11.XFree = [](void* memory) {
        s_freed.push_back(memory);
        return 1;
    };
    return x11;
}

class GlxTest : public XServerFixture {};

} // namespace

TEST_F(GlxTest, ChoosesTheOfferedConfigurationOfAVisualAndFreesTheOffer) {
    const auto choose = [] {
        const X11::Connection& x11 = GetConnection();
        const Glx::Functions glx = MakeDriver();
        EXPECT_EQ(Glx::ChooseConfiguration(x11, glx, 10), GetConfiguration(0));
        EXPECT_THAT(s_freed, ElementsAre(s_configurations.data()));
        EXPECT_EQ(Glx::ChooseConfiguration(x11, glx, 11), GetConfiguration(1));
        EXPECT_EQ(Glx::ChooseConfiguration(x11, glx, 12), nullptr);
        EXPECT_THAT(s_freed, ElementsAre(s_configurations.data(), s_configurations.data(), s_configurations.data()));
    };
    EXPECT_IN_CHILD(choose(), IsEmpty());
}

TEST_F(GlxTest, FindsTheVisualOfTheBestConfigurationAndFreesIt) {
    const auto find = [] {
        const X11::Connection& x11 = GetConnection();
        XVisualInfo visual{};
        EXPECT_TRUE(Glx::FindVisual(x11, MakeDriver(), visual));
        EXPECT_EQ(visual.visualid, 10U);
        EXPECT_THAT(s_freed, ElementsAre(s_visuals.data(), s_configurations.data()));
    };
    EXPECT_IN_CHILD(find(), IsEmpty());
}

TEST_F(GlxTest, FindsNothingWithoutAnOfferWhateverItsSizeIsSaidToBe) {
    const auto find = [] {
        const X11::Connection& x11 = GetConnection();
        Glx::Functions glx = MakeDriver();
        glx.glXChooseFBConfig = [](Display*, int, const int*, int* count) -> GLXFBConfig* {
            *count = 2;
            return nullptr;
        };
        EXPECT_EQ(Glx::ChooseConfiguration(x11, glx, 10), nullptr);
        XVisualInfo visual{};
        EXPECT_FALSE(Glx::FindVisual(x11, glx, visual));
        EXPECT_THAT(s_freed, IsEmpty()) << "There was nothing.";
    };
    EXPECT_IN_CHILD(find(), IsEmpty());
}

// As Mesa's software driver asks, which goes on without looking at the reply.
TEST_F(GlxTest, LeavesADriverThatWouldGoOnWithoutTheReplyForAnExtension) {
    const auto ask = [] {
        static const X11::Connection& s_x11 = *X11::GetConnection();
        static const auto s_send = reinterpret_cast<decltype(&::xcb_query_extension)>(
            dlsym(dlopen("libxcb.so.1", RTLD_LAZY), "xcb_query_extension"));
        shutdown(ConnectionNumber(s_x11.display), SHUT_RDWR);
        const X11::Call<void (*)()> driver(+[] {
            constexpr std::string_view name = "MIT-SHM";
            const auto cookie = s_send(s_x11.xcb, name.size(), name.data());
            xcb_query_extension_reply(s_x11.xcb, cookie, nullptr);
            ADD_FAILURE() << "It goes on.";
        });
        driver();
        EXPECT_EQ(X11::GetConnection(), nullptr);
    };
    EXPECT_IN_CHILD(ask(), StrEq(lossReport));
}

} // namespace Tovra::Tests
