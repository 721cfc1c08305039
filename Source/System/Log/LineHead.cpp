#include <System/Log/LineHead.h>
#include <System/Log/LogRules.h>
#include <System/Utilities/BlockedSignals.h>

#include <limits>
#include <mutex>

namespace Tovra::System::Log {

namespace {

/// The second of a thread's last line, and its text. Computing the local time costs more than all the rest of a line.
struct SecondText {
    std::time_t second = std::numeric_limits<std::time_t>::min();
    std::array<char, 64> characters{};
    std::size_t size = 0;
};

constinit thread_local SecondText s_secondText;

std::string_view GetSecondText(std::time_t second) {
    SecondText& text = s_secondText;
    if (text.second != second) {
        const std::tm localTime = GetLocalTime(second);
        text.size = std::strftime(text.characters.data(), text.characters.size(), "[%FT%T.", &localTime);
        text.second = second;
    }
    return {text.characters.data(), text.size};
}

} // namespace

std::tm GetLocalTime(std::time_t time) {
    static constinit std::mutex s_mutex;
    std::tm localTime{};
    // Unlike `localtime`, `localtime_r` need not read the variable TZ: localtime(3). `tzset` is not guaranteed to be
    // safe on two threads at once.
    const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::All); // The C library takes a lock, too.
    const std::lock_guard lock(s_mutex);
    tzset();
    localtime_r(&time, &localTime);
    return localTime;
}

void AppendTime(Line& line, std::chrono::system_clock::time_point time) {
    constexpr std::int64_t microsecondsPerSecond = 1'000'000;
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count() % microsecondsPerSecond;
    line.Append(GetSecondText(std::chrono::system_clock::to_time_t(time)));
    const std::array<char, 7> fraction = GetFraction(microseconds);
    line.Append(std::string_view(fraction.data(), fraction.size()));
}

} // namespace Tovra::System::Log
