// Label: threaded

#include <Support/ConsoleFile.h>
#include <Support/TestLogger.h>

#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <ctime>
#include <functional>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Tovra::System::Log::Logger;
using Tovra::System::Log::StreamID;
using Tovra::Tests::ConsoleFile;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::TestLogger;
namespace MessageType = Tovra::System::Log::MessageType;

constexpr int threadCount = 16;
constexpr int linesPerThread = 125'000;
constexpr std::uint64_t limit = 10'485'760;

std::string Read(const std::filesystem::path& path) {
    std::string text(std::filesystem::file_size(path), '\0');
    std::ifstream(path, std::ios::binary).read(text.data(), static_cast<std::streamsize>(text.size()));
    return text;
}

/// Limits the lines per second so that a file takes longer than a second to fill: names have whole seconds, and a file
/// that is filled within the second of its name is emptied.
class Pace {
public:
    void Wait() {
        while (true) {
            const std::time_t now = std::time(nullptr);
            std::time_t second = m_second;
            if (second < now && m_second.compare_exchange_strong(second, now)) {
                m_count = 0;
            }
            if (m_count++ < s_linesPerSecond) {
                return;
            }
            std::this_thread::sleep_until(std::chrono::system_clock::from_time_t(now + 1));
        }
    }

private:
    // A little less than a file of lines of `lineSize` bytes.
    static constexpr int s_linesPerSecond = 180'000;

    std::atomic<std::time_t> m_second = 0;
    std::atomic<int> m_count = 0;
};

/// Counts the lines of each thread, and expects them to be whole and in order.
class LineCounts {
public:
    /// Adds the next part of the log. Lines are `[…Z | System] <thread> <number>`, both numbers of fixed width.
    void Add(std::string_view text) {
        constexpr std::string_view form = "[dddd-dd-ddTdd:dd:dd.dddddddZ | System] dd dddddd\n";
        ASSERT_EQ(text.size() % form.size(), 0u);
        for (std::size_t begin = 0; begin < text.size(); begin += form.size()) {
            const std::string_view line = text.substr(begin, form.size());
            ASSERT_TRUE(HasForm(line, form)) << "Line '" << line << "' at " << begin;
            const int thread = GetNumber(line.substr(40, 2));
            ASSERT_LT(thread, threadCount);
            ASSERT_EQ(GetNumber(line.substr(43, 6)), m_counts[static_cast<std::size_t>(thread)]) << "Thread " << thread;
            ++m_counts[static_cast<std::size_t>(thread)];
        }
    }

    const std::array<int, threadCount>& Get() const { return m_counts; }

private:
    static bool HasForm(std::string_view line, std::string_view form) {
        for (std::size_t index = 0; index < form.size(); ++index) {
            if (form[index] == 'd' ? line[index] < '0' || line[index] > '9' : line[index] != form[index]) {
                return false;
            }
        }
        return true;
    }

    static int GetNumber(std::string_view digits) {
        int number = -1;
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return number;
    }

    std::array<int, threadCount> m_counts{};
};

/// Logs from many threads at once; each line has the number of its thread and its own. `onHalf` is called once,
/// halfway.
void LogFromManyThreads(Logger& logger, const std::function<void()>& onHalf) {
    Pace pace;
    std::atomic<int> total = 0;
    const auto work = [&](int thread) {
        std::array<char, 10> text{};
        for (int number = 0; number < linesPerThread; ++number) {
            pace.Wait();
            std::snprintf(text.data(), text.size(), "%02d %06d", thread, number);
            logger.Write<StreamID::System, MessageType::ID::Always>(text.data());
            if (++total == threadCount * linesPerThread / 2) {
                onHalf();
            }
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back(work, thread);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class HostLoggerSoakTest : public ::testing::Test {
protected:
    HostLoggerSoakTest() { m_log.m_config.m_maxFileSize = 0; }

    /// Counts lines in the log's files, and expects each but the last to be full.
    std::array<int, threadCount> CountFileLines() {
        LineCounts counts;
        const auto names = m_log.GetFileNames();
        for (const std::string& name : names) {
            const std::string text = Read(m_log.GetFolder() / name);
            EXPECT_TRUE(text.size() >= limit || name == names.back()) << name;
            counts.Add(text);
        }
        return counts.Get();
    }

    TemporaryFolder m_folder;
    std::filesystem::path m_console = m_folder.GetPath() / "console";
    TestLogger m_log;
};

TEST_F(HostLoggerSoakTest, BringsEveryLineWholeAndOnceIntoTheFiles) {
    ASSERT_TRUE(m_log.Initialize());
    {
        const ConsoleFile console("/dev/null");
        LogFromManyThreads(m_log.GetLogger(), [] {});
    }
    EXPECT_GE(m_log.GetFileNames().size(), 8u);
    std::array<int, threadCount> all{};
    all.fill(linesPerThread);
    EXPECT_EQ(CountFileLines(), all);
}

TEST_F(HostLoggerSoakTest, BringsEveryLineToTheConsoleAloneAfterTheShutdown) {
    ASSERT_TRUE(m_log.Initialize());
    std::vector<std::string> names;
    std::uintmax_t size = 0;
    {
        const ConsoleFile console(m_console);
        LogFromManyThreads(m_log.GetLogger(), [&] {
            m_log.GetLogger().OnShutdown();
            names = m_log.GetFileNames();
            size = std::filesystem::file_size(m_log.GetFolder() / names.back());
        });
    }
    EXPECT_EQ(m_log.GetFileNames(), names);
    EXPECT_EQ(std::filesystem::file_size(m_log.GetFolder() / names.back()), size);
    // Each thread's lines up to the shutdown are in the files, without gaps.
    int inFiles = 0;
    for (const int count : CountFileLines()) {
        inFiles += count;
    }
    EXPECT_GE(inFiles, threadCount * linesPerThread / 2 - threadCount);
    LineCounts counts;
    counts.Add(Read(m_console));
    std::array<int, threadCount> all{};
    all.fill(linesPerThread);
    EXPECT_EQ(counts.Get(), all);
}

} // namespace
