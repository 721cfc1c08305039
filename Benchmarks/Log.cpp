// Measures the log against spdlog doing the same work, and against the work that no log can do without. Fails if a
// ratio is above its bound.

#include <System/Error/ErrorHandler.h>
#include <System/Log/Log.h>
#include <System/Log/LoggerConfig.h>
#include <System/Runtime/Application.h>

#include <Comparison.h>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

TOVRA_LOG_CONTEXT(System);

namespace {

using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::Require;
using Tovra::Benchmarks::Tell;
using Tovra::System::Log::Logger;
using Tovra::System::Log::LoggerConfig;

/// The threshold of the branch that a filtered statement is measured against. Like a log context, any function can
/// change it.
std::uint16_t s_threshold = 2;

/// A temporary folder, removed with its content at the end.
class Folder {
public:
    Folder() {
        std::string pattern = std::filesystem::temp_directory_path() / "TovraBenchmark-XXXXXX";
        Require(mkdtemp(pattern.data()) != nullptr, "No temporary folder can be made.");
        m_path = pattern;
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path& GetPath() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// An application whose logger writes to a folder.
class LoggingApplication final : public Tovra::System::Runtime::Application {
public:
    explicit LoggingApplication(const std::filesystem::path& folder) : Application(L"Benchmark") {
        m_logSystem = {new Logger, [](Logger* logger) { delete logger; }};
        LoggerConfig config;
        config.SetDefaults();
        config.m_directory = folder.wstring();
        Require(m_logSystem->Initialize(&config), "The log can't be opened.");
    }
};

/// Redirects the standard output to the null device while the object exists.
class SilentConsole {
public:
    SilentConsole() : m_descriptor(dup(STDOUT_FILENO)) {
        const int null = open("/dev/null", O_WRONLY);
        Require(m_descriptor >= 0 && null >= 0 && dup2(null, STDOUT_FILENO) >= 0, "The console can't be silenced.");
        close(null);
    }
    ~SilentConsole() {
        dup2(m_descriptor, STDOUT_FILENO);
        close(m_descriptor);
    }
    SilentConsole(const SilentConsole&) = delete;
    SilentConsole& operator=(const SilentConsole&) = delete;

private:
    int m_descriptor;
};

void RunThreads(int count, const std::function<void()>& work) {
    std::vector<std::thread> threads;
    for (int index = 0; index < count; ++index) {
        threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

bool CompareLines() {
    constexpr int lineCount = 4000;
    const Folder folder;
    const Folder theirFolder;
    const LoggingApplication application(folder.GetPath());

    const std::filesystem::path theirPath = theirFolder.GetPath() / "log.txt";
    const auto console = std::make_shared<spdlog::sinks::stdout_sink_mt>();
    const auto file = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(theirPath, 104'857'600, 10);
    spdlog::logger logger("System", {console, file});
    logger.flush_on(spdlog::level::trace);

    const auto ours = [](int count) {
        for (int index = 0; index < count; ++index) {
            TOVRA_LOG(System, Info, "Process '", index, "' terminated successfully.");
        }
    };
    const auto bare = [&logger](int count) {
        for (int index = 0; index < count; ++index) {
            logger.info("Process '{}' terminated successfully.", index);
        }
    };
    // The same work as ours, which notices at each line that its file was removed or its folder renamed.
    const auto theirs = [&logger, &theirPath](int count) {
        for (int index = 0; index < count; ++index) {
            logger.info("Process '{}' terminated successfully.", index);
            Keep(std::filesystem::file_size(theirPath));
        }
    };
    const auto fromThreads = [](const auto& work) {
        const SilentConsole silence;
        constexpr int threadCount = 8;
        RunThreads(threadCount, [&work] { work(lineCount / threadCount); });
    };
    const auto fromOne = [](const auto& work) {
        const SilentConsole silence;
        work(lineCount);
    };
    bool areKept =
        Compare("log line, spdlog asking for the size", 0.8, [&] { fromOne(ours); }, [&] { fromOne(theirs); });
    areKept &= Compare("the same from 8 threads", 1.0, [&] { fromThreads(ours); }, [&] { fromThreads(theirs); });
    // Without a bound: spdlog counts the bytes that it has written, so it never asks, and goes on writing to a file
    // that was removed.
    Tell("log line, spdlog asking for nothing", [&] { fromOne(ours); }, [&] { fromOne(bare); });
    return areKept;
}

/// What a branch that is never taken would do.
[[gnu::noinline]] void DoNothing(int value) {
    asm volatile("" : : "r"(value) : "memory");
}

bool CompareFilteredStatement() {
    constexpr int count = 1'000'000;
    const auto ours = [] {
        for (int index = 0; index < count; ++index) {
            asm volatile("" : : : "memory");
            TOVRA_LOG(System, Debug, "Number ", index * 2);
        }
    };
    const auto theirs = [] {
        for (int index = 0; index < count; ++index) {
            asm volatile("" : "+m"(s_threshold) : : "memory");
            if (s_threshold <= 0) {
                DoNothing(index * 2);
            }
        }
    };
    return Compare("filtered statement, branch", 1.1, ours, theirs, 301);
}

bool CompareStart() {
    const Folder folder;
    for (int index = 0; index < 10'000; ++index) {
        std::string name = "Benchmark_2026-11-13T16-13-08." + std::to_string(index) + ".log";
        std::ofstream(folder.GetPath() / name) << "line\n";
    }
    const auto ours = [&folder] { const LoggingApplication application(folder.GetPath()); };
    const auto theirs = [&folder] {
        std::filesystem::file_time_type newest = std::filesystem::file_time_type::min();
        for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath())) {
            newest = std::max(newest, entry.last_write_time());
        }
        Keep(newest);
    };
    return Compare("start among 10,000 files, one pass", 1.3, ours, theirs, 31);
}

/// The search for a dump file when there is none, against the system calls that it can't do without.
bool CompareSearch() {
    const Folder folder;
    std::filesystem::current_path(folder.GetPath());
    const auto ours = [] {
        std::wstring path;
        Require(!Tovra::System::Error::ErrorHandler::s_instance.GenerateDumpingFilePath(1'000'000'000, path),
                "There is a file to report to.");
    };
    const auto theirs = [] {
        const int descriptor = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int number = 0; number < 1'000'000; ++number) {
            struct stat status{};
            const std::string name = "ERROR_2001-09-09T01-46-40_" + std::to_string(number) + ".log";
            Keep(fstatat(descriptor, name.c_str(), &status, 0));
        }
        close(descriptor);
    };
    const bool isKept = Compare("dump file search, bare questions", 1.2, ours, theirs, 5);
    std::filesystem::current_path("/");
    return isKept;
}

} // namespace

int main() {
    bool areKept = CompareLines();
    areKept &= CompareFilteredStatement();
    areKept &= CompareStart();
    areKept &= CompareSearch();
    return areKept ? 0 : 1;
}
