#include <Support/WindowManager.h>

#include <gtest/gtest.h>

#include <chrono>

namespace Tovra::Tests {

namespace {

Program MakeManager(const XServer& server) {
    Program program{.path = "openbox", .arguments = {"--startup", "echo Started"}};
    program.environment = server.GetEnvironment();
    program.timeLimit = std::chrono::seconds(120);
    return program;
}

} // namespace

WindowManager::WindowManager(const XServer& server) : m_program(MakeManager(server)) {
    EXPECT_TRUE(m_program.WaitForOutput("Started"));
}

} // namespace Tovra::Tests
