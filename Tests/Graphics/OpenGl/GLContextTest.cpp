#include <Fakes/ApplicationDirectoryOperations.h>
#include <Fakes/GLContextPlatformNative.h>
#include <Fakes/LogFileOperations.h>
#include <Graphics/OpenGl/GLContext.h>
#include <Support/Assertions.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestLogger.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace Tovra::Tests {

namespace {

using Fakes::glContextPlatformNative;
using Fakes::logFileOperations;
using Graphics::OpenGl::GLContext;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr unsigned int vertexShader = 35633;
constexpr unsigned int fragmentShader = 35632;

const std::vector<std::string> entryPointNames{"glCreateShader",
                                               "glShaderSource",
                                               "glCompileShader",
                                               "glGetShaderiv",
                                               "glGetShaderInfoLog",
                                               "glCreateProgram",
                                               "glAttachShader",
                                               "glDeleteShader",
                                               "glLinkProgram",
                                               "glUseProgram",
                                               "glGetProgramiv",
                                               "glGetProgramInfoLog",
                                               "glGetUniformLocation",
                                               "glGetUniformBlockIndex",
                                               "glUniformBlockBinding",
                                               "glUniform1f",
                                               "glUniform2f",
                                               "glUniform4f",
                                               "glUniform1iv",
                                               "glUniformMatrix4fv",
                                               "glGenVertexArrays",
                                               "glVertexAttribPointer",
                                               "glEnableVertexAttribArray",
                                               "glBindVertexArray",
                                               "glBindBufferBase",
                                               "glDeleteVertexArrays",
                                               "glDeleteBuffers",
                                               "glGenBuffers",
                                               "glBindBuffer",
                                               "glBufferData",
                                               "glBufferSubData",
                                               "glBindBufferRange",
                                               "glActiveTexture",
                                               "glGenerateMipmap",
                                               "glCompressedTexImage2D",
                                               "glTexImage3D",
                                               "glTexSubImage3D",
                                               "glDrawArraysInstanced"};

const std::vector<std::string> setupNames{"glGetString", "glEnable", "glBlendFunc", "glClearColor", "glClearDepth"};

/// A logging application in a temporary folder with an empty "Shaders" folder.
class GLContextTest : public ::testing::Test {
protected:
    GLContextTest() {
        Fakes::applicationDirectoryOperations = {.executablePath = (m_folder.GetPath() / "Program").native()};
        m_log.m_application.m_configCache.Initialize(nullptr);
        std::filesystem::create_directory(m_folder.GetPath() / "Shaders");
        EXPECT_TRUE(m_log.Initialize());
    }

    /// Returns an initialised context, with no calls recorded.
    void Initialize() {
        ASSERT_TRUE(m_context.Initialize(7, "Class"));
        glContextPlatformNative.calls.clear();
    }

    /// A shader's path as in a log line.
    std::string GetLogged(const std::string& name) const {
        return '"' + (m_folder.GetPath() / "Shaders" / name).native() + '"';
    }

    TemporaryFolder m_folder;
    TestLogger m_log;
    GLContext m_context;
    std::vector<char> m_buffer{'o', 'l', 'd', '!'};
    const std::string& m_console = logFileOperations.console;
};

/// Fills the stack below with bytes other than 0, where the next call has its local variables.
void FillStack() {
    std::array<volatile char, 16384> filling;
    std::ranges::fill(filling, '#');
}

} // namespace

TEST_F(GLContextTest, InitializeMakesAContextReadsItsVersionAndSetsItsState) {
    EXPECT_TRUE(m_context.Initialize(7, "Class"));
    EXPECT_EQ(m_context.GetVersion(), "3.2 Fake");
    EXPECT_THAT(glContextPlatformNative.calls,
                ElementsAre("Initialize(7, Class)", "glGetString(7938)", "glEnable(2929)", "glEnable(2884)",
                            "glEnable(3042)", "glBlendFunc(770, 771)", "glClearColor(0, 0, 0, 0)", "glClearDepth(1)"));
}

TEST_F(GLContextTest, TableHoldsThe38EntryPointsInTheirOrder) {
    Initialize();
    std::vector<std::string> requested = glContextPlatformNative.requested;
    std::erase_if(requested, [](const std::string& name) { return std::ranges::count(setupNames, name) != 0; });
    EXPECT_EQ(requested.size(), 38U);
    EXPECT_THAT(requested, ElementsAreArray(entryPointNames));
    EXPECT_LT(static_cast<void*>(&m_context.glCreateShader), static_cast<void*>(&m_context.glShaderSource));
    EXPECT_EQ(&m_context.glDrawArraysInstanced -
                  reinterpret_cast<decltype(&m_context.glDrawArraysInstanced)>(&m_context.glCreateShader),
              37);
}

TEST_F(GLContextTest, FindsEntryPointsBeyondTheTableOnceThereIsAContext) {
    using Enable = void (*)(unsigned int);
    EXPECT_EQ(m_context.FindEntryPoint<Enable>("glEnable"), nullptr);
    EXPECT_THAT(glContextPlatformNative.requested, IsEmpty()) << "Without a context no driver may be asked.";
    Initialize();
    EXPECT_EQ(reinterpret_cast<Graphics::OpenGl::EntryPoint>(m_context.FindEntryPoint<Enable>("glEnable")),
              Fakes::GetFakeEntryPoint("glEnable"));
}

TEST_F(GLContextTest, EachFieldHoldsTheEntryPointOfItsName) {
    Initialize();
#define TOVRA_EXPECT_ENTRY_POINT(Result, name, parameters)                                                             \
    EXPECT_EQ(reinterpret_cast<Graphics::OpenGl::EntryPoint>(m_context.name), Fakes::GetFakeEntryPoint(#name)) << #name;
    TOVRA_OPENGL_ENTRY_POINTS(TOVRA_EXPECT_ENTRY_POINT)
}

TEST_F(GLContextTest, InitializeWithoutAPlatformContextFailsAndDoesNothingElse) {
    glContextPlatformNative.context = nullptr;
    EXPECT_FALSE(m_context.Initialize(7, "Class"));
    EXPECT_EQ(m_context.GetVersion(), "");
    EXPECT_FALSE(m_context.ValidateInterface());
    EXPECT_THAT(glContextPlatformNative.requested, IsEmpty());
    EXPECT_THAT(glContextPlatformNative.calls, ElementsAre("Initialize(7, Class)"));
    EXPECT_EQ(m_console, "");
}

TEST_F(GLContextTest, InitializeFailsForEachMissingEntryPointAfterTheVersionWasReadAndSetsNoState) {
    for (const std::string& name : entryPointNames) {
        glContextPlatformNative = {};
        glContextPlatformNative.missing = {name};
        GLContext context;
        EXPECT_FALSE(context.Initialize(7, "Class")) << name;
        EXPECT_FALSE(context.ValidateInterface()) << name;
        EXPECT_EQ(context.GetVersion(), "3.2 Fake") << name;
        EXPECT_THAT(glContextPlatformNative.calls, ElementsAre("Initialize(7, Class)", "glGetString(7938)")) << name;
        EXPECT_EQ(context.CompileShader("", vertexShader), 0U) << name;
        EXPECT_THAT(m_console, AreLogLines({"System] Error: Failed to initialize platform, not all OpenGL interfaces "
                                            "where loaded."}))
            << name;
        logFileOperations.console.clear();
    }
}

TEST_F(GLContextTest, InitializeFailsWithoutTheEntryPointsOfItsOwnAndCallsNone) {
    for (const std::string& name : setupNames) {
        glContextPlatformNative = {};
        glContextPlatformNative.missing = {name};
        GLContext context;
        EXPECT_FALSE(context.Initialize(7, "Class")) << name;
        EXPECT_TRUE(context.ValidateInterface()) << name;
        EXPECT_EQ(context.GetVersion(), name == "glGetString" ? "" : "3.2 Fake") << name;
    }
}

TEST_F(GLContextTest, VersionOfADriverWithoutOneIsEmpty) {
    glContextPlatformNative.version = nullptr;
    EXPECT_TRUE(m_context.Initialize(7, "Class"));
    EXPECT_EQ(m_context.GetVersion(), "");
}

TEST_F(GLContextTest, InterfaceIsValidExactlyIfNoEntryPointIsMissing) {
    EXPECT_FALSE(m_context.ValidateInterface());
    Initialize();
    EXPECT_TRUE(m_context.ValidateInterface());
    m_context.glDrawArraysInstanced = nullptr;
    EXPECT_FALSE(m_context.ValidateInterface());
}

TEST_F(GLContextTest, FramesResizeAndDestroyGoToThePlatformAsTheyAre) {
    Initialize();
    m_context.FrameStart(7);
    m_context.FrameEnd(8);
    m_context.Resize(9);
    m_context.Destroy(10);
    EXPECT_THAT(glContextPlatformNative.calls,
                ElementsAre("FrameStart(7, 9)", "FrameEnd(8, 9)", "Resize(9, 9)", "Destroy(10, 9)"));
}

TEST_F(GLContextTest, DestroyWithoutAContextDoesNothing) {
    m_context.Destroy(7);
    EXPECT_THAT(glContextPlatformNative.calls, IsEmpty());
    Initialize();
    m_context.Destroy(7);
    m_context.Destroy(7);
    EXPECT_THAT(glContextPlatformNative.calls, ElementsAre("Destroy(7, 9)"));
}

TEST_F(GLContextTest, AContextThatIsNotWholeIsDestroyedAsWell) {
    glContextPlatformNative.missing = {"glCreateShader"};
    EXPECT_FALSE(m_context.Initialize(7, "Class"));
    m_context.Destroy(7);
    EXPECT_EQ(glContextPlatformNative.calls.back(), "Destroy(7, 9)");
}

TEST_F(GLContextTest, AContextThatIsDestroyedIsForgottenAndCanBeMadeAgain) {
    Initialize();
    m_context.Destroy(7);
    EXPECT_EQ(m_context.GetVersion(), "3.2 Fake") << "It has told its version already.";
    m_context.FrameEnd(7);
    EXPECT_EQ(glContextPlatformNative.calls.back(), "FrameEnd(7, 0)");
    EXPECT_TRUE(m_context.Initialize(7, "Class"));
    m_context.Destroy(7);
    EXPECT_EQ(glContextPlatformNative.calls.back(), "Destroy(7, 9)");
}

TEST(GLContext, LoadShaderWithoutAnApplicationIsAnAssertionFailure) {
    EXPECT_ASSERTION(
        {
            std::vector<char> buffer;
            GLContext().LoadShader("A", buffer);
        },
        "s_instance != nullptr", "Ilegal attempt to access a non-existent application instance.");
}

TEST_F(GLContextTest, LoadShaderReadsAFileBesideTheExecutableAndPutsAZeroByteBehindIt) {
    m_folder.Write("Shaders/A.vert", std::string_view("void\0main\r\n", 11));
    EXPECT_TRUE(m_context.LoadShader("A.vert", m_buffer));
    EXPECT_EQ(std::string(m_buffer.begin(), m_buffer.end()), std::string("void\0main\r\n\0", 12));
}

TEST_F(GLContextTest, LoadShaderOfAnEmptyFileGivesOneZeroByte) {
    m_folder.Write("Shaders/Empty", "");
    EXPECT_TRUE(m_context.LoadShader("Empty", m_buffer));
    EXPECT_THAT(m_buffer, ElementsAre('\0'));
}

TEST_F(GLContextTest, LoadShaderOfAnAbsoluteNameIgnoresTheFolder) {
    m_folder.Write("Shaders/A", "inside");
    const std::filesystem::path outside = m_folder.Write("A", "out");
    EXPECT_TRUE(m_context.LoadShader(outside.c_str(), m_buffer));
    EXPECT_THAT(m_buffer, ElementsAre('o', 'u', 't', '\0'));
}

TEST_F(GLContextTest, LoadShaderFailsForWhatIsNoFile) {
    EXPECT_FALSE(m_context.LoadShader("Missing", m_buffer));
    EXPECT_FALSE(m_context.LoadShader("", m_buffer));
    EXPECT_FALSE(m_context.LoadShader("/dev/null", m_buffer));
    EXPECT_THAT(m_buffer, ElementsAre('o', 'l', 'd', '!'));
    const std::string line = "System] Error: Failed to load shader: ";
    EXPECT_THAT(m_console, AreLogLines({line + GetLogged("Missing"), line + GetLogged(""), line + "\"/dev/null\""}));
}

TEST_F(GLContextTest, LoadShaderFailsForAFileThatCannotBeOpened) {
    m_folder.Write("Shaders/A", "source");
    const auto loadWithoutDescriptors = [this] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        const bool isUntouched = !m_context.LoadShader("A", m_buffer) && m_buffer.size() == 4;
        std::fputs(m_console.c_str(), stderr);
        std::_Exit(isUntouched ? 0 : 1);
    };
    EXPECT_EXIT(loadWithoutDescriptors(), ::testing::ExitedWithCode(0),
                AreLogLines({"System] Error: Can't open shader: " + GetLogged("A")}));
}

TEST_F(GLContextTest, CompileShaderWithoutInitializeGivesNoneAndDoesNothing) {
    EXPECT_EQ(m_context.CompileShader("void main() {}", vertexShader), 0U);
    EXPECT_THAT(glContextPlatformNative.calls, IsEmpty());
}

TEST_F(GLContextTest, CompileShaderGivesTheShader) {
    Initialize();
    EXPECT_EQ(m_context.CompileShader("void main() {}", vertexShader), 1U);
    EXPECT_THAT(glContextPlatformNative.shaderSources, ElementsAre("void main() {}"));
    EXPECT_THAT(glContextPlatformNative.calls, ElementsAre("glCreateShader(35633)", "glShaderSource(1, 1, 0)",
                                                           "glCompileShader(1)", "glGetShaderiv(1, 35713)"));
    EXPECT_EQ(m_console, "");
}

TEST_F(GLContextTest, CompileShaderLeavesAFailedShaderUndeleted) {
    Initialize();
    glContextPlatformNative.brokenTypes = {fragmentShader};
    glContextPlatformNative.infoLog.assign(2000, 'x');
    EXPECT_EQ(m_context.CompileShader("nonsense", fragmentShader), 0U);
    EXPECT_THAT(glContextPlatformNative.calls,
                ElementsAre("glCreateShader(35632)", "glShaderSource(1001, 1, 0)", "glCompileShader(1001)",
                            "glGetShaderiv(1001, 35713)", "glGetShaderInfoLog(1001, 512)"));
    EXPECT_THAT(m_console, AreLogLines({"System] Error: OpenGL: Failed to compile shader type 35632 with error " +
                                        std::string(511, 'x')}));
}

TEST_F(GLContextTest, AnErrorsTextIsReadIntoAZeroedBuffer) {
    Initialize();
    glContextPlatformNative.brokenTypes = {vertexShader};
    glContextPlatformNative.links = false;
    for (const std::string text : {"", "0:1: not so"}) {
        logFileOperations.console.clear();
        glContextPlatformNative.infoLog = text;
        FillStack();
        EXPECT_EQ(m_context.CompileShader("nonsense", vertexShader), 0U);
        FillStack();
        EXPECT_EQ(m_context.CreateProgram("/dev/null", "/dev/null"), 0U);
        const std::string failedLoad = "System] Error: Failed to load shader: \"/dev/null\"";
        EXPECT_THAT(
            m_console,
            AreLogLines({"System] Error: OpenGL: Failed to compile shader type 35633 with error " + text, failedLoad,
                         failedLoad,
                         "System] Error: OpenGL: Failed to link program (/dev/null, /dev/null) with error " + text}));
    }
}

TEST_F(GLContextTest, AStatusThatTheDriverDoesNotGiveIsAFailure) {
    Initialize();
    glContextPlatformNative.givesStatus = false;
    EXPECT_EQ(m_context.CompileShader("void main() {}", vertexShader), 0U);
    EXPECT_EQ(m_context.CreateProgram("missing", "missing"), 0U);
    EXPECT_EQ(glContextPlatformNative.calls.back(), "glGetProgramInfoLog(2, 512)");
}

TEST_F(GLContextTest, CreateProgramWithoutInitializeGivesNoneAndDoesNothing) {
    EXPECT_EQ(m_context.CreateProgram("A", "B"), 0U);
    EXPECT_THAT(glContextPlatformNative.calls, IsEmpty());
}

TEST_F(GLContextTest, CreateProgramDeletesItsShadersBeforeItLinks) {
    Initialize();
    m_folder.Write("Shaders/A", "a longer vertex source");
    m_folder.Write("Shaders/B", "fragment");
    EXPECT_EQ(m_context.CreateProgram("A", "B"), 3U);
    EXPECT_THAT(glContextPlatformNative.shaderSources, ElementsAre("a longer vertex source", "fragment"));
    EXPECT_THAT(glContextPlatformNative.calls,
                ElementsAre("glCreateShader(35633)", "glShaderSource(1, 1, 0)", "glCompileShader(1)",
                            "glGetShaderiv(1, 35713)", "glCreateShader(35632)", "glShaderSource(2, 1, 0)",
                            "glCompileShader(2)", "glGetShaderiv(2, 35713)", "glCreateProgram()",
                            "glAttachShader(3, 1)", "glAttachShader(3, 2)", "glDeleteShader(1)", "glDeleteShader(2)",
                            "glLinkProgram(3)", "glGetProgramiv(3, 35714)"));
}

TEST_F(GLContextTest, CreateProgramCarriesShadersThatCannotBeLoadedAsZeroToAFailingLink) {
    Initialize();
    glContextPlatformNative.links = false;
    EXPECT_EQ(m_context.CreateProgram("A", "B"), 0U);
    EXPECT_THAT(glContextPlatformNative.calls,
                ElementsAre("glCreateProgram()", "glAttachShader(1, 0)", "glAttachShader(1, 0)", "glDeleteShader(0)",
                            "glDeleteShader(0)", "glLinkProgram(1)", "glGetProgramiv(1, 35714)",
                            "glGetProgramInfoLog(1, 512)"));
    EXPECT_THAT(m_console,
                AreLogLines({"System] Error: Failed to load shader: " + GetLogged("A"),
                             "System] Error: Failed to load shader: " + GetLogged("B"),
                             "System] Error: OpenGL: Failed to link program (A, B) with error 0:1: not so"}));
}

TEST_F(GLContextTest, CreateProgramEndsAtAVertexShaderThatDoesNotCompile) {
    Initialize();
    m_folder.Write("Shaders/A", "nonsense");
    m_folder.Write("Shaders/B", "fragment");
    glContextPlatformNative.brokenTypes = {vertexShader};
    EXPECT_EQ(m_context.CreateProgram("A", "B"), 0U);
    EXPECT_THAT(glContextPlatformNative.shaderSources, ElementsAre("nonsense"));
    EXPECT_EQ(glContextPlatformNative.calls.back(), "glGetShaderInfoLog(1001, 512)");
}

TEST_F(GLContextTest, CreateProgramEndsAtAFragmentShaderThatDoesNotCompile) {
    Initialize();
    m_folder.Write("Shaders/A", "vertex");
    m_folder.Write("Shaders/B", "nonsense");
    glContextPlatformNative.brokenTypes = {fragmentShader};
    EXPECT_EQ(m_context.CreateProgram("A", "B"), 0U);
    EXPECT_THAT(glContextPlatformNative.shaderSources, ElementsAre("vertex", "nonsense"));
    EXPECT_EQ(glContextPlatformNative.calls.back(), "glGetShaderInfoLog(1002, 512)");
}

TEST_F(GLContextTest, CreateProgramGoesOnWithoutAVertexShader) {
    Initialize();
    m_folder.Write("Shaders/B", "fragment");
    EXPECT_EQ(m_context.CreateProgram("A", "B"), 2U);
    EXPECT_THAT(glContextPlatformNative.calls,
                ::testing::IsSupersetOf({"glAttachShader(2, 0)", "glAttachShader(2, 1)"}));
}

} // namespace Tovra::Tests
