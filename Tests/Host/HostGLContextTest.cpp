#include <Graphics/OpenGl/GLContext.h>
#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <Support/EnvironmentValue.h>
#include <Support/Folders.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/RepeatedWork.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <Support/X11Sync.h>
#include <Support/XServer.h>
#include <Support/XServerProxy.h>
#include <System/Desktop/Window.h>
#include <System/X11/Glx_Linux.h>
#include <System/X11/X11_Linux.h>
#include <System/X11/Xcb_Linux.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace Tovra::Tests {

namespace {

namespace Glx = System::X11::Glx;
namespace X11 = System::X11;
using namespace Graphics::OpenGl;
using ::testing::IsEmpty;
using ::testing::StrEq;

constexpr int windowSize = 64;

/// Whether this process leaves calls of Xlib and the driver by a jump, which leaks their memory.
bool s_leavesDriver = false;

/// An OpenGL entry point beyond those of `GLContext`.
template <class Signature>
Signature* GetFunction(const char* name) {
    return reinterpret_cast<Signature*>(GLContextGetEntryPointPlatformNative(name));
}

/// A function of Xlib that only tests use.
template <class Signature>
Signature* GetXlibFunction(const char* name) {
    return reinterpret_cast<Signature*>(dlsym(dlopen("libX11.so.6", RTLD_LAZY), name));
}

/// A shown window like the tool's. Converts to its native handle, 0 without a server.
class ShownWindow : public System::Desktop::Window {
public:
    ShownWindow() : Window(nullptr, "Window", {}, {.width = windowSize, .height = windowSize}, Style{}) {
        if (Create()) {
            Show();
        }
    }

    operator unsigned long() const { return reinterpret_cast<unsigned long>(GetHandle()); }
};

using Pixel = std::array<unsigned char, 4>;

Pixel ReadPixel(int x, int y);

unsigned int GetError() {
    return GetFunction<unsigned int()>("glGetError")();
}

std::string GetShader(const char* name) {
    return Tovra::Tests::GetTestsFolder() / "Shaders" / name;
}

/// A function of a library, which is loaded if need be.
#define TOVRA_LOAD(library, name) reinterpret_cast<decltype(&::name)>(dlsym(dlopen(library, RTLD_LAZY), #name))

/// Number of GLX contexts that the server keeps for this process, by the X resource extension (1.0,
/// QueryClientResources).
std::uint32_t CountContexts() {
    namespace Xcb = System::X11::Xcb;
    constexpr const char* xcb = "libxcb.so.1";
    constexpr const char* xcbRes = "libxcb-res.so.0";
    const std::string_view kind = "GLXContext";
    const Xcb::Session session;
    xcb_connection_t* const connection = session.GetConnection()->xcb;
    const auto atom = Xcb::Reply<xcb_intern_atom_reply_t>(TOVRA_LOAD(xcb, xcb_intern_atom_reply)(
        connection, TOVRA_LOAD(xcb, xcb_intern_atom)(connection, 0, kind.size(), kind.data()), nullptr));
    const auto own = TOVRA_LOAD(xcb, xcb_get_setup)(connection)->resource_id_base;
    const auto reply =
        Xcb::Reply<xcb_res_query_client_resources_reply_t>(TOVRA_LOAD(xcbRes, xcb_res_query_client_resources_reply)(
            connection, TOVRA_LOAD(xcbRes, xcb_res_query_client_resources)(connection, own), nullptr));
    const std::span types(TOVRA_LOAD(xcbRes, xcb_res_query_client_resources_types)(reply.get()), reply->num_types);
    const auto found = std::ranges::find(types, atom->atom, &xcb_res_type_t::resource_type);
    return found == types.end() ? 0 : found->count;
}

/// Creates and destroys a context. Returns an exit status: 0, 1 without a window, 255 without a context.
int CheckOpenGl();

/// The same through a proxy that may close the connection.
int CheckOpenGlThrough(const XServerProxy& proxy) {
    s_leavesDriver = true;
    const EnvironmentValue display("DISPLAY", proxy.GetDisplayName());
    return CheckOpenGl();
}

/// Whether the child of a status has returned what `CheckOpenGl` returns.
bool HasEnded(int status) {
    return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 1 || WEXITSTATUS(status) == 255);
}

/// A server as this process's display. Tests work in a child process.
class HostGLContextTest : public ApplicationTest {
protected:
    /// The driver's version for a core profile, as glxinfo prints it.
    std::string GetReferenceVersion();

    XServer m_server;
    EnvironmentValue m_display{"DISPLAY", m_server.GetDisplayName()};
};

} // namespace

TEST_F(HostGLContextTest, VersionIsThatOfTheDriversCoreProfile) {
    const std::string reference = GetReferenceVersion();
    ASSERT_THAT(reference, ::testing::HasSubstr("(Core Profile)"));
    const auto makeContext = [&reference] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        EXPECT_EQ(context.GetVersion(), reference);
        EXPECT_EQ(GetError(), 0U);
        context.Destroy(window);
        EXPECT_TRUE(Tests::SyncX11());
    };
    EXPECT_IN_CHILD(makeContext(), IsEmpty());
}

TEST_F(HostGLContextTest, ContextHasTheProfileTheBuffersAndTheState) {
    const auto inspect = [] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        const auto isEnabled = GetFunction<unsigned char(unsigned int)>("glIsEnabled");
        for (const unsigned int capability : {0x0B71U, 0x0B44U, 0x0BE2U}) {
            EXPECT_EQ(isEnabled(capability), 1) << capability;
        }
        const auto getInteger = GetFunction<void(unsigned int, int*)>("glGetIntegerv");
        for (const auto& [name, expected] : {std::pair(0x9126U, 1), // Profile: core.
                                             {0x0C32U, 1},          // Double buffer.
                                             {0x0BE1U, 0x0302},
                                             {0x0BE0U, 0x0303}}) {
            int value = -1;
            getInteger(name, &value);
            EXPECT_EQ(value, expected) << name;
        }
        const auto getAttachment =
            GetFunction<void(unsigned int, unsigned int, unsigned int, int*)>("glGetFramebufferAttachmentParameteriv");
        for (const unsigned int size : {0x8212U, 0x8213U, 0x8214U, 0x8215U}) {
            int bits = 0;
            getAttachment(0x8D40, 0x0402, size, &bits); // The back buffer's red, green, blue, alpha.
            EXPECT_EQ(bits, 8) << size;
        }
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(inspect(), IsEmpty());
}

TEST_F(HostGLContextTest, DrawsWithShadersAndStaysTransparentElsewhere) {
    const auto draw = [] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        const unsigned int program =
            context.CreateProgram(GetShader("Picture.vert").c_str(), GetShader("Picture.frag").c_str());
        ASSERT_NE(program, 0U);
        unsigned int vertexArray = 0;
        context.glGenVertexArrays(1, &vertexArray);
        context.glBindVertexArray(vertexArray);
        context.glUseProgram(program);
        context.FrameStart(window);
        GetFunction<void(unsigned int)>("glClear")(0x4100);                         // Colour and depth.
        context.glUniform2f(context.glGetUniformLocation(program, "offset"), 1, 0); // The right half.
        context.glUniform4f(context.glGetUniformLocation(program, "colour"), 1, 0, 1, 1);
        context.glDrawArraysInstanced(5, 0, 4, 1); // A strip of triangles.
        EXPECT_EQ(ReadPixel(windowSize - 1, 1), (Pixel{255, 0, 255, 255}));
        EXPECT_EQ(ReadPixel(1, 1), (Pixel{0, 0, 0, 0}));
        EXPECT_EQ(GetError(), 0U);
        context.FrameEnd(window);
        // A row of the window's pixels, alpha included, from left to right.
        std::array<unsigned long, windowSize> row{};
        const auto getImage = GetXlibFunction<decltype(XGetImage)>("XGetImage");
        XImage* const image = getImage(X11::GetConnection()->display, window, 0, 1, windowSize, 1, AllPlanes, ZPixmap);
        for (int x = 0; x < windowSize; ++x) {
            row.at(static_cast<std::size_t>(x)) = XGetPixel(image, x, 0);
        }
        XDestroyImage(image);
        std::array<unsigned long, windowSize> expected{};
        std::ranges::fill(std::span(expected).last(windowSize / 2), 0xFFFF00FF);
        EXPECT_EQ(row, expected);
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(draw(), IsEmpty());
}

TEST_F(HostGLContextTest, FollowsTheWindowsSize) {
    const auto resize = [] {
        ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        window.SetRectangle({.left = 0, .top = 0, .right = 2 * windowSize, .bottom = 2 * windowSize});
        context.Resize(window);
        context.FrameEnd(window);
        GetFunction<void(float, float, float, float)>("glClearColor")(0, 1, 0, 1);
        GetFunction<void(unsigned int)>("glClear")(0x4000);
        EXPECT_EQ(ReadPixel(2 * windowSize - 1, 2 * windowSize - 1), (Pixel{0, 255, 0, 255}));
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(resize(), IsEmpty());
}

TEST_F(HostGLContextTest, RefusesShadersThatTheDriverRefuses) {
    const auto compile = [] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        const std::string vertex = GetShader("Picture.vert");
        const std::string fragment = GetShader("Picture.frag");
        const TemporaryFolder folder;
        const std::string broken = folder.Write("Broken", "#version 150\nnonsense");
        EXPECT_EQ(context.CompileShader("#version 150\nnonsense", 35633), 0U);
        EXPECT_EQ(context.CreateProgram(broken.c_str(), fragment.c_str()), 0U);
        EXPECT_EQ(context.CreateProgram(vertex.c_str(), broken.c_str()), 0U);
        EXPECT_EQ(context.CreateProgram("/missing", "/missing"), 0U);
        EXPECT_NE(context.CreateProgram(vertex.c_str(), fragment.c_str()), 0U);
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(compile(), IsEmpty());
}

TEST_F(HostGLContextTest, ADriverWithoutTheVersionLeavesNothingBehind) {
    const auto refuse = [] {
        EnvironmentValue version("MESA_GL_VERSION_OVERRIDE", "3.1");
        const ShownWindow window;
        GLContext context;
        EXPECT_FALSE(context.Initialize(window, ""));
        EXPECT_EQ(context.GetVersion(), "");
        EXPECT_EQ(GetFunction<void*()>("glXGetCurrentContext")(), nullptr);
        EXPECT_TRUE(Tests::SyncX11());
    };
    EXPECT_IN_CHILD(refuse(), StrEq("Exception: GLXBadFBConfig\n"));
}

TEST_F(HostGLContextTest, RefusedRequestsOfAnotherThreadLeaveItAlone) {
    const auto makeContexts = [] {
        const ShownWindow window;
        const RepeatedWork refused(MakeRefusedRequest);
        for (int count = 0; count < 30 || refused.GetCount() < 30; ++count) {
            GLContext context;
            EXPECT_TRUE(context.Initialize(window, ""));
            context.Destroy(window);
        }
    };
    EXPECT_IN_CHILD(makeContexts(), ::testing::StartsWith("Exception: BadWindow"));
}

TEST_F(HostGLContextTest, DrawsOpaqueOnAServerWithoutTransparentWindows) {
    const XServer server({"-screen", "0", "1024x768x24", "-extension", "Composite"});
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    const auto draw = [] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        GetFunction<void(float, float, float, float)>("glClearColor")(1, 0, 1, 0);
        GetFunction<void(unsigned int)>("glClear")(0x4000);
        EXPECT_EQ(ReadPixel(1, 1), (Pixel{255, 0, 255, 0}));
        context.FrameEnd(window);
        const auto getImage = GetXlibFunction<decltype(XGetImage)>("XGetImage");
        const X11::Connection* const x11 = X11::GetConnection();
        XImage* const image = getImage(x11->display, x11->root, 1, 1, 1, 1, AllPlanes, ZPixmap);
        const unsigned long seen = XGetPixel(image, 0, 0);
        XDestroyImage(image);
        EXPECT_EQ(seen & 0xFFFFFF, 0xFF00FFU);
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(draw(), IsEmpty());
}

/// The host's table of functions, for tests to replace some.
Glx::Functions& GetGlxFunctions() {
    return const_cast<Glx::Functions&>(*Glx::GetFunctions());
}

/// The depth of the window's visual.
int GetDepth(unsigned long window) {
    XWindowAttributes attributes{};
    const X11::Connection* const x11 = X11::GetConnection();
    x11->XGetWindowAttributes(x11->display, window, &attributes);
    return attributes.depth;
}

TEST_F(HostGLContextTest, DrawsOpaqueWithADriverWithoutTransparentWindows) {
    const auto makeContext = [] {
        static auto s_choose = GetGlxFunctions().glXChooseFBConfig;
        GetGlxFunctions().glXChooseFBConfig = [](Display* display, int screen, const int* wanted, int* count) {
            GLXFBConfig* const all = s_choose(display, screen, wanted, count);
            *count = static_cast<int>(
                std::remove_if(all, all + *count,
                               [display](GLXFBConfig configuration) {
                                   XVisualInfo* const visual =
                                       GetGlxFunctions().glXGetVisualFromFBConfig(display, configuration);
                                   const bool isTransparent = visual != nullptr && visual->depth == 32;
                                   X11::GetConnection()->XFree(visual);
                                   return isTransparent;
                               }) -
                all);
            return all;
        };
        const ShownWindow window;
        EXPECT_EQ(GetDepth(window), 24);
        GLContext context;
        EXPECT_TRUE(context.Initialize(window, ""));
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(makeContext(), IsEmpty());
}

TEST_F(HostGLContextTest, PassesOverAConfigurationWithoutAVisual) {
    const auto makeContext = [] {
        // None with the visual of a transparent window, so that each is asked for its own.
        GetGlxFunctions().glXGetFBConfigAttrib = [](Display*, GLXFBConfig, int, int*) { return GLX_BAD_ATTRIBUTE; };
        static const auto s_getVisual = GetGlxFunctions().glXGetVisualFromFBConfig;
        static std::vector<GLXFBConfig> s_asked;
        GetGlxFunctions().glXGetVisualFromFBConfig = [](Display* display, GLXFBConfig configuration) -> XVisualInfo* {
            s_asked.push_back(configuration);
            return s_asked.size() == 1 ? nullptr : s_getVisual(display, configuration);
        };
        const ShownWindow window;
        ASSERT_EQ(s_asked.size(), 2U);
        EXPECT_NE(s_asked[0], s_asked[1]);
        XVisualInfo* const second = s_getVisual(X11::GetConnection()->display, s_asked[1]);
        EXPECT_EQ(GetDepth(window), second->depth);
        X11::GetConnection()->XFree(second);
    };
    EXPECT_IN_CHILD(makeContext(), IsEmpty());
}

TEST_F(HostGLContextTest, RefusesADriverThatCanNotBeAskedForAVersion) {
    const auto makeContext = [] {
        static const auto s_getAddress = GetGlxFunctions().glXGetProcAddressARB;
        GetGlxFunctions().glXGetProcAddressARB = [](const GLubyte* name) {
            const bool isHidden = reinterpret_cast<const char*>(name) == std::string_view("glXCreateContextAttribsARB");
            return isHidden ? nullptr : s_getAddress(name);
        };
        const ShownWindow window;
        GLContext context;
        EXPECT_FALSE(context.Initialize(window, ""));
        EXPECT_EQ(CountContexts(), 0U);
        GetGlxFunctions().glXGetProcAddressARB = s_getAddress;
        EXPECT_TRUE(context.Initialize(window, ""));
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(makeContext(), IsEmpty());
}

TEST_F(HostGLContextTest, AWindowIsTransparentAllTheSameWhereNoContextCanBeMade) {
    const auto makeWindow = [] {
        GetGlxFunctions().glXChooseFBConfig = [](Display*, int, const int*, int*) -> GLXFBConfig* { return nullptr; };
        GetGlxFunctions().glXDestroyContext = [](Display*, GLXContext) { ADD_FAILURE() << "There is none."; };
        const ShownWindow window;
        EXPECT_EQ(GetDepth(window), 32);
        EXPECT_FALSE(GLContext().Initialize(window, ""));
        EXPECT_EQ(CountContexts(), 0U);
    };
    EXPECT_IN_CHILD(makeWindow(), IsEmpty());
}

TEST_F(HostGLContextTest, AServerWithoutTransparentWindowsIsNotAskedForOneThatContextsCanBeMadeWith) {
    const XServer server({"-screen", "0", "1024x768x24", "-extension", "Composite"});
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    const auto makeWindow = [] {
        // The visual of each configuration reads as none, like that of a transparent window here.
        GetGlxFunctions().glXGetFBConfigAttrib = [](Display*, GLXFBConfig, int, int*) { return GLX_BAD_ATTRIBUTE; };
        const ShownWindow window;
        EXPECT_EQ(GetDepth(window), 24);
    };
    EXPECT_IN_CHILD(makeWindow(), IsEmpty());
}

TEST_F(HostGLContextTest, NoMoreThanTheVersionIsAskedFor) {
    const auto makeContext = [] {
        EnvironmentValue version("MESA_GL_VERSION_OVERRIDE", "3.2");
        const ShownWindow window;
        GLContext context;
        EXPECT_TRUE(context.Initialize(window, ""));
        EXPECT_THAT(context.GetVersion(), ::testing::StartsWith("3.2 (Core Profile)"));
        context.Destroy(window);
    };
    EXPECT_IN_CHILD(makeContext(), IsEmpty());
}

TEST_F(HostGLContextTest, DestroyLeavesNoContextOnTheServer) {
    const auto destroy = [] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        EXPECT_EQ(CountContexts(), 1U);
        context.Destroy(window);
        EXPECT_EQ(CountContexts(), 0U);
        context.Destroy(window);
        EXPECT_TRUE(Tests::SyncX11());
    };
    EXPECT_IN_CHILD(destroy(), IsEmpty());
}

TEST_F(HostGLContextTest, AContextThatCanNotBeMadeCurrentIsNotKept) {
    const auto refuse = [] {
        // From here on the process uses this libGL.so.1.
        ASSERT_NE(dlopen((GetBinaryFolder() / "RefusingDriver/libGL.so.1").c_str(), RTLD_LAZY), nullptr);
        const ShownWindow window;
        EXPECT_FALSE(GLContext().Initialize(window, ""));
        EXPECT_EQ(CountContexts(), 0U);
    };
    EXPECT_IN_CHILD(refuse(), IsEmpty());
}

TEST_F(HostGLContextTest, AContextIsNotMadeIfTheServerIsLostMeanwhile) {
    const auto lose = [] {
        s_leavesDriver = true;
        static const auto s_makeCurrent = GetGlxFunctions().glXMakeCurrent;
        GetGlxFunctions().glXMakeCurrent = [](Display* display, GLXDrawable drawable, GLXContext context) {
            const Bool isCurrent = s_makeCurrent(display, drawable, context);
            EXPECT_NE(isCurrent, False);
            shutdown(ConnectionNumber(display), SHUT_RDWR);
            return isCurrent;
        };
        const ShownWindow window;
        EXPECT_FALSE(GLContext().Initialize(window, ""));
    };
    EXPECT_IN_CHILD(lose(), StrEq(lossReport));
}

TEST_F(HostGLContextTest, RefusesWhatIsNoWindow) {
    EXPECT_IN_CHILD(EXPECT_FALSE(GLContext().Initialize(1, "")),
                    StrEq("Exception: BadWindow (invalid Window parameter)\n"));
}

TEST_F(HostGLContextTest, RefusesWithoutTheDriversLibrary) {
    const auto hideLibrary = [] {
        HideLibrary("libGL.so.1");
        GLContext context;
        const ShownWindow window;
        EXPECT_FALSE(context.Initialize(window, ""));
        EXPECT_EQ(context.GetVersion(), "");
        context.FrameEnd(window);
        EXPECT_EQ(GLContextGetEntryPointPlatformNative("glEnable"), nullptr);
    };
    EXPECT_IN_CHILD(hideLibrary(), IsEmpty());
}

TEST(HostGLContext, RefusesWithoutADisplay) {
    const EnvironmentValue display("DISPLAY", std::nullopt);
    EXPECT_IN_CHILD(EXPECT_FALSE(GLContext().Initialize(1, "")), IsEmpty());
}

TEST_F(HostGLContextTest, DestroyEndsOnlyItsOwnContext) {
    const auto destroy = [] {
        const ShownWindow window;
        GLContext first;
        GLContext second;
        ASSERT_TRUE(first.Initialize(window, ""));
        ASSERT_TRUE(second.Initialize(window, ""));
        const auto getCurrent = GetFunction<void*()>("glXGetCurrentContext");
        void* const current = getCurrent();
        first.Destroy(window);
        EXPECT_EQ(getCurrent(), current);
        second.Destroy(window);
        EXPECT_EQ(getCurrent(), nullptr);
        GLContext().Destroy(window);
    };
    EXPECT_IN_CHILD(destroy(), IsEmpty());
}

TEST_F(HostGLContextTest, AKilledServerLeavesEveryOperationHarmless) {
    const auto killServer = [this] {
        const ShownWindow window;
        GLContext context;
        ASSERT_TRUE(context.Initialize(window, ""));
        m_server.Kill();
        context.FrameStart(window);
        context.FrameEnd(window);
        context.Resize(window);
        context.FrameEnd(window);
        context.Destroy(window);
        EXPECT_FALSE(GLContext().Initialize(window, ""));
    };
    EXPECT_IN_CHILD(killServer(), StrEq(lossReport));
}

TEST_F(HostGLContextTest, ALossAtAnyByteOfItsRequestsIsAFailureAndNoMore) {
    const XServerProxy whole(m_server.GetDisplayName());
    EXPECT_EXIT(std::exit(CheckOpenGlThrough(whole)), ::testing::ExitedWithCode(0), "");
    const std::size_t size = whole.GetByteCount();
    constexpr std::size_t cutCount = 60;
    for (std::size_t cut = 1; cut <= cutCount; ++cut) {
        const XServerProxy proxy(m_server.GetDisplayName(), size * cut / cutCount);
        EXPECT_EXIT(std::exit(CheckOpenGlThrough(proxy)), HasEnded, ::testing::AnyOf(IsEmpty(), StrEq(lossReport)))
            << "Cut at byte " << size * cut / cutCount << " of " << size;
    }
}

TEST_F(HostGLContextTest, ALossAtAnyMomentIsAFailureAndNoMore) {
    const auto checkWithLoss = [](std::chrono::microseconds delay) {
        s_leavesDriver = true;
        const int connection = ConnectionNumber(X11::GetConnection()->display);
        std::thread([connection, delay] {
            std::this_thread::sleep_for(delay);
            shutdown(connection, SHUT_RDWR);
        }).detach();
        std::exit(CheckOpenGl());
    };
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(std::exit(CheckOpenGl()), ::testing::ExitedWithCode(0), "");
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    constexpr int momentCount = 40;
    for (int moment = 0; moment < momentCount; ++moment) {
        EXPECT_EXIT(checkWithLoss(whole * moment / momentCount), HasEnded,
                    ::testing::AnyOf(IsEmpty(), StrEq(lossReport)));
    }
}

namespace {

std::string HostGLContextTest::GetReferenceVersion() {
    const ProgramResult result =
        Tests::Run({.path = "glxinfo", .arguments = {"-B"}, .environment = m_server.GetEnvironment()});
    const std::string label = "OpenGL core profile version string: ";
    const std::size_t begin = result.output.find(label) + label.size();
    return result.output.substr(begin, result.output.find('\n', begin) - begin);
}

Pixel ReadPixel(int x, int y) {
    constexpr unsigned int rgba = 0x1908;
    constexpr unsigned int unsignedByte = 0x1401;
    Pixel pixel{};
    GetFunction<void(int, int, int, int, unsigned int, unsigned int, void*)>("glReadPixels")(
        x, y, 1, 1, rgba, unsignedByte, pixel.data());
    return pixel;
}

int CheckOpenGl() {
    const ShownWindow window;
    if (window == 0) {
        return 1;
    }
    GLContext context;
    if (!context.Initialize(window, "")) {
        return 255;
    }
    context.Destroy(window);
    return 0;
}

} // namespace

} // namespace Tovra::Tests

/// Called by LeakSanitizer at the process's end. What a lost connection leaks in Xlib and the driver is not our leak.
extern "C" int __lsan_is_turned_off() { // NOLINT(bugprone-reserved-identifier): the sanitizer's own name.
    return static_cast<int>(Tovra::Tests::s_leavesDriver);
}
