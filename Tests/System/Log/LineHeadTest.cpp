#include <System/Log/LineHead.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <string>
#include <utility>

namespace {

/// Whether the next call of `strftime` is interrupted by SIGTERM.
bool s_isInterrupted = false;

} // namespace

// The linker (--wrap) redirects calls of `strftime` to the second function, and calls of the first to `strftime`.
extern "C" {
std::size_t __real_strftime(char* text, std::size_t size, const char* format, const std::tm* time);

std::size_t __wrap_strftime(char* text, std::size_t size, const char* format, const std::tm* time) {
    if (std::exchange(s_isInterrupted, false)) {
        std::raise(SIGTERM);
    }
    return __real_strftime(text, size, format, time);
}
}

namespace {

using Tovra::System::Log::AppendTime;
using Tovra::System::Log::Line;

std::string GetTimeText(std::time_t second) {
    Line line;
    AppendTime(line, std::chrono::system_clock::from_time_t(second));
    return std::string(line.GetText());
}

TEST(LineHead, IsRightForASignalsHandlerThatInterruptsItInANewSecond) {
    constexpr std::time_t second = 1'700'000'000;
    const std::string before = GetTimeText(second);
    static std::string s_text;
    s_text.clear();
    const auto previous = std::signal(SIGTERM, [](int) { s_text = GetTimeText(second + 1); });
    s_isInterrupted = true;
    const std::string text = GetTimeText(second + 1);
    std::signal(SIGTERM, previous);
    EXPECT_EQ(s_text, text);
    EXPECT_NE(text, before);
}

} // namespace
