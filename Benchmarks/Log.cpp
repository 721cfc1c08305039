// Measures the log against spdlog doing the same work, and against what the contract demands of the system:
// LogBenchmark [row ...]

#include <System/Error/ErrorHandler.h>
#include <System/Log/Log.h>
#include <System/Log/LoggerConfig.h>
#include <System/Runtime/Application.h>

#include <Programs.h>
#include <dirent.h>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <format>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

TOVRA_LOG_CONTEXT(System);

namespace {

using Tovra::Benchmarks::AtMost;
using Tovra::Benchmarks::Compare;
using Tovra::Benchmarks::IsChosen;
using Tovra::Benchmarks::Keep;
using Tovra::Benchmarks::MakeRun;
using Tovra::Benchmarks::NoBound;
using Tovra::Benchmarks::Require;
using Tovra::Benchmarks::Work;
using Tovra::System::Log::Logger;
using Tovra::System::Log::LoggerConfig;

constexpr const char* startRow = "A start among 10,000 files";
constexpr const char* filesRow = "A further file in the log's folder, 100 to 100,000";

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

/// Our log, spdlog, and the bare system calls, each with a file of its own, while the console is the null device.
class Logs {
public:
    Logs() : m_application(m_folder.GetPath()) {
        constexpr std::size_t maxSize = 104'857'600;
        const auto console = std::make_shared<spdlog::sinks::stdout_sink_mt>();
        const auto file = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(m_theirPath, maxSize, 10);
        m_logger = std::make_unique<spdlog::logger>("System", spdlog::sinks_init_list{console, file});
        m_logger->flush_on(spdlog::level::trace);
        {
            const SilentConsole silence;
            WriteOurs(1);
        }
        std::ifstream ours(std::filesystem::directory_iterator(m_folder.GetPath())->path());
        Require(static_cast<bool>(std::getline(ours, m_line)), "Nothing was logged.");
        m_line += '\n';
        m_descriptor = open(m_barePath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        Require(m_descriptor >= 0, "The limit's file can't be opened.");
    }
    ~Logs() { close(m_descriptor); }
    Logs(const Logs&) = delete;
    Logs& operator=(const Logs&) = delete;

    static void WriteOurs(int count) {
        for (int index = 0; index < count; ++index) {
            TOVRA_LOG(System, Info, "Process '", index, "' terminated successfully.");
        }
    }

    /// The same work as ours, which notices at each line that its file was removed or its folder renamed.
    void WriteTheirs(int count) const {
        for (int index = 0; index < count; ++index) {
            m_logger->info("Process '{}' terminated successfully.", index);
            Keep(std::filesystem::file_size(m_theirPath));
        }
    }

    /// spdlog counts the bytes that it has written, so it never asks, and goes on writing to a file that was removed.
    void WriteTheirsWithoutAsking(int count) const {
        for (int index = 0; index < count; ++index) {
            m_logger->info("Process '{}' terminated successfully.", index);
        }
    }

    /// The two writes of a line and the question for the size.
    void WriteBare(int count) const {
        for (int index = 0; index < count; ++index) {
            struct statx status{};
            Require(write(STDOUT_FILENO, m_line.data(), m_line.size()) > 0 &&
                        write(m_descriptor, m_line.data(), m_line.size()) > 0 &&
                        statx(AT_FDCWD, m_barePath.c_str(), 0, STATX_TYPE | STATX_SIZE, &status) == 0,
                    "The limit's line can't be written.");
        }
    }

private:
    Folder m_folder;
    Folder m_otherFolder;
    std::filesystem::path m_theirPath = m_otherFolder.GetPath() / "log.txt";
    std::filesystem::path m_barePath = m_otherFolder.GetPath() / "bare.txt";
    LoggingApplication m_application;
    std::unique_ptr<spdlog::logger> m_logger;
    std::string m_line;
    int m_descriptor = -1;
};

/// The work of that many threads that write `count` lines each.
template <class Write>
Work FromThreads(int threadCount, int count, const Write& write) {
    return [=] {
        const SilentConsole silence;
        std::vector<std::thread> threads;
        for (int index = 0; index < threadCount; ++index) {
            threads.emplace_back(write, count);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    };
}

template <class Write>
Work FromOne(const Write& write) {
    return [=] {
        const SilentConsole silence;
        write(4000);
    };
}

void CompareLines() {
    const Logs logs;
    const auto theirs = [&logs](int count) { logs.WriteTheirs(count); };
    const auto withoutAsking = [&logs](int count) { logs.WriteTheirsWithoutAsking(count); };
    const auto bare = [&logs](int count) { logs.WriteBare(count); };
    Compare("A log line", FromOne(Logs::WriteOurs),
            {{"peer", "spdlog asking for the size", AtMost(0.8), FromOne(theirs)},
             {"peer", "spdlog asking for nothing", NoBound("it does not notice that its file was removed"),
              FromOne(withoutAsking)},
             {"limit", "two writes and the question for the size", AtMost(1.25), FromOne(bare)}});
    Compare("A log line, from 8 threads", FromThreads(8, 500, Logs::WriteOurs),
            {{"peer", "spdlog asking for the size", AtMost(1.0), FromThreads(8, 500, theirs)},
             {"limit", "two writes and the question for the size", AtMost(1.25), FromThreads(8, 500, bare)}});
}

void CompareThreads() {
    const Logs logs;
    const auto theirs = [&logs](int count) { logs.WriteTheirs(count); };
    const auto bare = [&logs](int count) { logs.WriteBare(count); };
    for (const int count : {1, 2, 4, 8, 16, 32}) {
        Compare("A further thread that logs, 1 to 32", FromThreads(count, 250, Logs::WriteOurs),
                {{"peer", "spdlog asking for the size", AtMost(1.0), FromThreads(count, 250, theirs)},
                 {"limit", "two writes and the question for the size", AtMost(1.25), FromThreads(count, 250, bare)}},
                31, count);
    }
}

/// What a branch that is never taken would do.
[[gnu::noinline]] void DoNothing(int value) {
    asm volatile("" : : "r"(value) : "memory");
}

void CompareFilteredStatement() {
    constexpr int count = 1'000'000;
    const auto ours = [] {
        for (int index = 0; index < count; ++index) {
            asm volatile("" : : : "memory");
            TOVRA_LOG(System, Debug, "Number ", index * 2);
        }
    };
    const spdlog::logger logger("System");
    spdlog::logger* const theirLogger = const_cast<spdlog::logger*>(&logger);
    const auto theirs = [theirLogger] {
        for (int index = 0; index < count; ++index) {
            asm volatile("" : : : "memory");
            theirLogger->debug("Number {}", index * 2);
        }
    };
    const auto branch = [] {
        for (int index = 0; index < count; ++index) {
            asm volatile("" : "+m"(s_threshold) : : "memory");
            if (s_threshold <= 0) {
                DoNothing(index * 2);
            }
        }
    };
    Compare("A filtered statement", ours,
            {{"peer", "spdlog", AtMost(1.0), theirs}, {"limit", "a branch", AtMost(1.1), branch}}, 301);
}

/// One pass over a folder by the system calls alone: the newest time of a file.
void VisitFiles(const std::filesystem::path& path) {
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(dirent64) std::array<char, 32768> entries;
    std::int64_t newest = 0;
    for (ssize_t length = 0; (length = getdents64(folder, entries.data(), entries.size())) > 0;) {
        for (ssize_t offset = 0; offset < length;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(entries.data() + offset);
            offset += entry->d_reclen;
            struct statx status{};
            if (statx(folder, entry->d_name, 0, STATX_TYPE | STATX_MTIME, &status) == 0) {
                newest = std::max<std::int64_t>(newest, status.stx_mtime.tv_sec);
            }
        }
    }
    close(folder);
    Keep(newest);
}

void AddFiles(const Folder& folder, int from, int to) {
    for (int index = from; index < to; ++index) {
        std::ofstream(folder.GetPath() / std::format("Benchmark_2026-11-13T16-13-08.{}.log", index)) << "line\n";
    }
}

/// A start among that many files.
void CompareStart(const Folder& folder, const char* row, int rounds, int size) {
    const std::string path = folder.GetPath();
    const auto ours = [&folder] { const LoggingApplication application(folder.GetPath()); };
    const auto pass = [&folder] {
        std::filesystem::file_time_type newest = std::filesystem::file_time_type::min();
        for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath())) {
            newest = std::max(newest, entry.last_write_time());
        }
        Keep(newest);
    };
    Compare(row, ours,
            {{"peer", "`find -name … -mtime +30`", AtMost(1.0),
              MakeRun({"find", path, "-name", "Benchmark_*.log", "-type", "f", "-mtime", "+30"}),
              MakeRun({"find", "/dev/null", "-maxdepth", "0"})},
             {"limit", "one pass by the standard library", AtMost(1.3), pass},
             {"limit", "one pass by system calls", AtMost(1.5), [&folder] { VisitFiles(folder.GetPath()); }}},
            rounds, size);
}

void CompareStarts() {
    const Folder folder;
    int count = 0;
    for (const int wanted : {100, 1'000, 10'000, 100'000}) {
        AddFiles(folder, count, wanted);
        count = wanted;
        CompareStart(folder, filesRow, wanted < 100'000 ? 31 : 7, wanted);
    }
}

/// The search for a dump file when there is none, against the questions that the contract has it ask.
void CompareSearch() {
    constexpr int count = 1'000'000;
    const Folder folder;
    std::filesystem::current_path(folder.GetPath());
    const auto ours = [] {
        std::wstring path;
        Require(!Tovra::System::Error::ErrorHandler::s_instance.GenerateDumpingFilePath(1'000'000'000, path),
                "There is a file to report to.");
    };
    const auto theirs = [] {
        for (int number = 0; number < count; ++number) {
            Keep(std::filesystem::exists(std::format("ERROR_2001-09-09T01-46-40_{}.log", number)));
        }
    };
    const auto bare = [] {
        const int descriptor = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        std::array<char, 64> name{"ERROR_2001-09-09T01-46-40_"};
        char* const digits = name.data() + std::strlen(name.data());
        for (int number = 0; number < count; ++number) {
            struct stat status{};
            std::strcpy(std::to_chars(digits, name.end(), number).ptr, ".log");
            Keep(fstatat(descriptor, name.data(), &status, 0));
        }
        close(descriptor);
    };
    Compare("The search for a dump file", ours,
            {{"peer", "`std::filesystem::exists`", AtMost(1.0), theirs},
             {"limit", "the questions alone", AtMost(1.2), bare}},
            7);
    std::filesystem::current_path("/");
}

} // namespace

int main(int count, char** arguments) {
    Tovra::Benchmarks::ChooseRows(count, arguments);
    CompareLines();
    CompareThreads();
    CompareFilteredStatement();
    if (IsChosen(startRow)) {
        const Folder folder;
        AddFiles(folder, 0, 10'000);
        CompareStart(folder, startRow, 31, 0);
    }
    if (IsChosen(filesRow)) {
        CompareStarts();
    }
    CompareSearch();
}
