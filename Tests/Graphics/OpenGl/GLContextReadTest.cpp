// A shader whose file changes while it is read.

#include <Fakes/ApplicationDirectoryOperations.h>
#include <Fakes/LogFileOperations.h>
#include <Graphics/OpenGl/GLContext.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestLogger.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <istream>
#include <utility>
#include <vector>

namespace {

/// Called once, before the next block is read from a stream.
std::function<void()> s_beforeRead;

} // namespace

// The linker (--wrap) redirects calls of `std::istream::read` to the second function, and calls of the first to it.
extern "C" {
std::istream* __real__ZNSt3__113basic_istreamIcNS_11char_traitsIcEEE4readEPcl(std::istream* stream, char* bytes,
                                                                              std::streamsize size);

std::istream* __wrap__ZNSt3__113basic_istreamIcNS_11char_traitsIcEEE4readEPcl(std::istream* stream, char* bytes,
                                                                              std::streamsize size) {
    if (s_beforeRead) {
        std::exchange(s_beforeRead, nullptr)();
    }
    return __real__ZNSt3__113basic_istreamIcNS_11char_traitsIcEEE4readEPcl(stream, bytes, size);
}
}

namespace Tovra::Tests {

namespace {

TEST(GLContextRead, LoadShaderFailsForAFileThatGetsShorter) {
    const TemporaryFolder folder;
    Fakes::applicationDirectoryOperations = {.executablePath = (folder.GetPath() / "Program").native()};
    TestLogger log;
    log.m_application.m_configCache.Initialize(nullptr);
    std::filesystem::create_directory(folder.GetPath() / "Shaders");
    ASSERT_TRUE(log.Initialize());
    const std::filesystem::path path = folder.Write("Shaders/A", "source");
    s_beforeRead = [&path] { std::filesystem::resize_file(path, 5); };
    Graphics::OpenGl::GLContext context;
    std::vector<char> buffer;
    EXPECT_FALSE(context.LoadShader("A", buffer));
    EXPECT_THAT(Fakes::logFileOperations.console,
                AreLogLines({"System] Error: Failed to load shader: \"" + path.native() + '"'}));
    EXPECT_TRUE(context.LoadShader("A", buffer));
}

} // namespace

} // namespace Tovra::Tests
