// Lets the framework work for a long time and measures what it takes: Soak [seconds]. The default is an hour.
//
// A first program works all the time. Halfway its X server is killed, and another server and a second program are
// started: a process connects only once, so the first one goes on without displays and windows. Each program's memory,
// descriptors and resources in the server have to stay flat, and its log complete.

#include <Support/Monitors.h>
#include <Support/Program.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServer.h>
#include <System/Log/LogRules.h>

#include <Soak/LogReader.h>
#include <Soak/Work.h>
#include <fcntl.h>
#include <unistd.h>
#include <xcb/res.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <format>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Tovra::Tests::Soak {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// A value at a second.
struct Point {
    double second;
    double value;
};

/// By how much the values rise in a second: the slope of the line with the least squares of distances.
double GetSlope(const std::vector<Point>& points) {
    double seconds = 0;
    double values = 0;
    for (const Point& point : points) {
        seconds += point.second / static_cast<double>(points.size());
        values += point.value / static_cast<double>(points.size());
    }
    double product = 0;
    double square = 0;
    for (const Point& point : points) {
        product += (point.second - seconds) * (point.value - values);
        square += (point.second - seconds) * (point.second - seconds);
    }
    return product / square;
}

/// What has been found wrong is printed at once, and decides the exit status.
class Verdict {
public:
    void Expect(bool isRight, const std::string& text) {
        std::cout << (isRight ? "    " : "WRONG: ") << text << std::endl;
        m_isRight = m_isRight && isRight;
    }

    /// Expects that the values do not rise by more than `allowance` in the time of the points, nor `slope` a second
    /// more.
    void ExpectFlat(const std::string& what, const std::vector<Point>& points, double allowance, double slope) {
        constexpr std::size_t fewest = 10;
        if (points.size() < fewest) {
            Expect(false, std::format("{}: only {} samples", what, points.size()));
            return;
        }
        const double bound = allowance / (points.back().second - points.front().second) + slope;
        const double measured = GetSlope(points);
        Expect(measured <= bound, std::format("{}: {:.0f} to {:.0f}, slope {:.4f} a second, at most {:.4f}", what,
                                              points.front().value, points.back().value, measured, bound));
    }

    bool IsRight() const { return m_isRight; }

private:
    bool m_isRight = true;
};

/// Counts the resources that the clients of a server have in it.
class ResourceCounter {
public:
    explicit ResourceCounter(const std::string& displayName) : m_connection(xcb_connect(displayName.c_str(), nullptr)) {
        if (xcb_connection_has_error(m_connection) != 0) {
            throw std::runtime_error("The X server takes no client.");
        }
    }
    ~ResourceCounter() { xcb_disconnect(m_connection); }
    ResourceCounter(const ResourceCounter&) = delete;
    ResourceCounter& operator=(const ResourceCounter&) = delete;

    /// Of all clients but itself.
    double Count() const {
        const std::uint32_t own = xcb_get_setup(m_connection)->resource_id_base;
        double count = 0;
        const Reply<xcb_res_query_clients_reply_t> clients(
            xcb_res_query_clients_reply(m_connection, xcb_res_query_clients(m_connection), nullptr));
        for (int index = 0; clients && index < xcb_res_query_clients_clients_length(clients.get()); ++index) {
            const std::uint32_t base = xcb_res_query_clients_clients(clients.get())[index].resource_base;
            count += base != own ? Count(base) : 0;
        }
        return count;
    }

private:
    struct Free {
        void operator()(void* reply) const { std::free(reply); }
    };
    template <class T>
    using Reply = std::unique_ptr<T, Free>;

    double Count(std::uint32_t client) const {
        double count = 0;
        const Reply<xcb_res_query_client_resources_reply_t> types(xcb_res_query_client_resources_reply(
            m_connection, xcb_res_query_client_resources(m_connection, client), nullptr));
        for (int index = 0; types && index < xcb_res_query_client_resources_types_length(types.get()); ++index) {
            count += xcb_res_query_client_resources_types(types.get())[index].count;
        }
        return count;
    }

    xcb_connection_t* m_connection;
};

/// A server whose second monitor is plugged and unplugged.
class Desktop {
public:
    Desktop() { RunXrandr({"--addmode", "DUMMY1", "1024x768"}); }

    XServer& GetServer() { return m_server; }

    void ChangeMonitors() {
        ++m_changeCount;
        m_isPlugged = !m_isPlugged;
        RunXrandr(m_isPlugged ? std::vector<std::string>{"--output", "DUMMY1", "--mode", "1024x768", "--pos", "1024x0"}
                              : std::vector<std::string>{"--output", "DUMMY1", "--off"});
    }

    int GetChangeCount() const { return m_changeCount; }

    void CountResources(double second) { m_resources.push_back({second, m_counter->Count()}); }
    const std::vector<Point>& GetResources() const { return m_resources; }

    void Kill() {
        m_counter.reset();
        m_server.Kill();
    }

private:
    void RunXrandr(const std::vector<std::string>& arguments) {
        const ProgramResult result =
            Run({.path = "xrandr", .arguments = arguments, .environment = m_server.GetEnvironment()});
        if (result.status != 0) {
            throw std::runtime_error("xrandr: " + result.errors);
        }
    }

    TemporaryFolder m_folder;
    XServer m_server{GetMonitorServerArguments(m_folder), "Xorg"};
    std::optional<ResourceCounter> m_counter{m_server.GetDisplayName()};
    std::vector<Point> m_resources;
    int m_changeCount = 0;
    bool m_isPlugged = false;
};

/// A process that works, with a home folder of its own.
class Worker {
public:
    Worker(const XServer& server, std::chrono::seconds duration)
        : m_device(open("/dev/null", O_WRONLY | O_CLOEXEC)), m_logs(m_home.GetPath() / ".tovra" / "Logs") {
        Program program{.path = "/proc/self/exe",
                        .arguments = {"--work", std::to_string(duration.count()), m_home.GetPath()},
                        .environment = server.GetEnvironment()};
        program.environment["HOME"] = m_home.GetPath();
        program.descriptors = {{STDOUT_FILENO, m_device}};
        program.timeLimit = duration + 120s;
        m_program.emplace(program);
        m_reader = std::thread([this] { ReadLog(); });
    }
    ~Worker() {
        StopReader();
        close(m_device);
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Waits for its end, and expects that nothing went wrong but what it prints.
    void Finish(Verdict& verdict, const std::string& errors) {
        const ProgramResult result = m_program->Wait();
        StopReader();
        verdict.Expect(result.status == 0, std::format("exit status {}, signal {}", result.status, result.signal));
        verdict.Expect(result.errors == errors, std::format("standard error stream: '{}'", result.errors));
        m_logs.ReadLastFile();
        verdict.Expect(m_logs.GetError().empty(), "log: " + m_logs.GetError());
        std::int64_t total = 0;
        std::int64_t found = 0;
        std::ifstream counts(m_home.GetPath() / lineCountFile);
        for (const std::int64_t count : m_logs.GetCounts()) {
            std::int64_t logged = -1;
            counts >> logged;
            total += logged;
            found += count;
        }
        verdict.Expect(total > 0 && found == total,
                       std::format("{} of {} lines in {} files", found, total, m_logs.GetFileCount()));
        // Threads may add some lines to a file that is full. A short soak on a slow machine may not fill one.
        constexpr auto limit = static_cast<std::int64_t>(System::Log::lowestMaxFileSize);
        verdict.Expect(m_logs.GetFileCount() > m_logs.GetByteCount() / (limit + limit / 20),
                       std::format("{} bytes of log, a file for each {}", m_logs.GetByteCount(), limit));
    }

    std::vector<Sample> ReadSamples() const {
        std::vector<Sample> samples;
        std::ifstream file(m_home.GetPath() / sampleFile);
        for (Sample sample{}; file >> sample.second >> sample.memory >> sample.descriptors >> sample.windows >>
                              sample.contexts >> sample.failures >> sample.refreshes;) {
            samples.push_back(sample);
        }
        return samples;
    }

private:
    void ReadLog() {
        while (!m_isStopped) {
            m_logs.ReadFullFiles();
            std::this_thread::sleep_for(1s);
        }
    }

    void StopReader() {
        m_isStopped = true;
        if (m_reader.joinable()) {
            m_reader.join();
        }
    }

    TemporaryFolder m_home;
    int m_device;
    LogReader m_logs;
    std::optional<RunningProgram> m_program;
    std::atomic<bool> m_isStopped = false;
    std::thread m_reader; ///< Reads on its own, as there may be more lines than it can read in a second.
};

void ExpectFlat(Verdict& verdict, const std::vector<Sample>& samples, std::int64_t begin, std::int64_t end) {
    std::vector<Point> memory;
    std::vector<Point> descriptors;
    for (const Sample& sample : samples) {
        if (sample.second >= begin && sample.second < end) {
            const auto second = static_cast<double>(sample.second);
            memory.push_back({second, static_cast<double>(sample.memory)});
            descriptors.push_back({second, static_cast<double>(sample.descriptors)});
        }
    }
    // Heaps of many threads go up and down, so a little is allowed whatever the time.
    constexpr double memoryAllowance = 1'000'000;
    constexpr double memorySlope = 300;
    verdict.ExpectFlat("memory in bytes", memory, memoryAllowance, memorySlope);
    verdict.ExpectFlat("descriptors", descriptors, 0.9, 0);
}

std::vector<Point> GetPointsFrom(const std::vector<Point>& points, double second) {
    std::vector<Point> rest;
    std::ranges::copy_if(points, std::back_inserter(rest),
                         [second](const Point& point) { return point.second >= second; });
    return rest;
}

/// A phase with fewer windows shows nothing.
constexpr std::int64_t fewestWindows = 50;

/// The part of a phase before it counts.
constexpr double warmUp = 0.25;

/// A program with its server. Windows come and go while they are counted, so a few resources more are allowed.
void ExpectFlatWithServer(Verdict& verdict, const Desktop& desktop, const std::vector<Sample>& samples,
                          std::int64_t duration) {
    const auto begin = static_cast<std::int64_t>(warmUp * static_cast<double>(duration));
    ExpectFlat(verdict, samples, begin, duration);
    const auto points = desktop.GetResources();
    if (points.empty()) {
        verdict.Expect(false, "no resources were counted");
        return;
    }
    verdict.ExpectFlat("resources in the X server",
                       GetPointsFrom(points, points.front().second + static_cast<double>(begin)), 10, 0);
    const auto last =
        std::ranges::find_if(samples, [duration](const Sample& sample) { return sample.second + 1 >= duration; });
    const Sample& done = last != samples.end() ? *last : samples.back();
    // How many there are in a second depends on the machine. The last change may not have been seen yet.
    verdict.Expect(done.windows >= fewestWindows && done.contexts >= fewestWindows / windowsOfContext &&
                       done.refreshes >= desktop.GetChangeCount() - 1,
                   std::format("{} windows, {} contexts, {} refreshes of the displays after {} changes", done.windows,
                               done.contexts, done.refreshes, desktop.GetChangeCount()));
}

/// Changes the monitors of a desktop and counts its resources for so long.
void Serve(std::chrono::seconds duration, Desktop& desktop, Clock::time_point start) {
    constexpr int secondsOfMonitor = 5;
    const auto end = Clock::now() + duration;
    for (int second = 0; Clock::now() < end; ++second) {
        std::this_thread::sleep_for(1s);
        if (second % secondsOfMonitor == 0) {
            desktop.ChangeMonitors();
        }
        desktop.CountResources(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

bool Run(std::chrono::seconds duration) {
    const auto half = duration / 2;
    const auto start = Clock::now();
    Verdict verdict;
    Desktop first;
    Worker lasting(first.GetServer(), duration);
    Serve(half, first, start);
    first.Kill();
    const auto lostAt = std::chrono::ceil<std::chrono::seconds>(Clock::now() - start);
    Desktop second;
    const auto secondDuration = std::max(duration - lostAt, 1s);
    Worker later(second.GetServer(), secondDuration);
    Serve(secondDuration, second, start);

    std::cout << "The first program, with its server:" << std::endl;
    const auto samples = lasting.ReadSamples();
    ExpectFlatWithServer(verdict, first, samples, half.count());
    std::cout << "The same after its server was killed:" << std::endl;
    const auto rest = static_cast<double>((duration - lostAt).count());
    ExpectFlat(verdict, samples, lostAt.count() + static_cast<std::int64_t>(rest * warmUp), duration.count());
    verdict.Expect(!samples.empty() && samples.back().failures >= fewestWindows,
                   std::format("{} windows failed", samples.empty() ? 0 : samples.back().failures));
    lasting.Finish(verdict, lossReport);
    std::cout << "The second program:" << std::endl;
    ExpectFlatWithServer(verdict, second, later.ReadSamples(), secondDuration.count());
    later.Finish(verdict, "");
    return verdict.IsRight();
}

} // namespace

} // namespace Tovra::Tests::Soak

namespace {

std::chrono::seconds ReadSeconds(const char* text) {
    std::chrono::seconds::rep seconds = 0;
    std::from_chars(text, text + std::char_traits<char>::length(text), seconds);
    return std::chrono::seconds(seconds);
}

} // namespace

int main(int argc, char** argv) {
    using namespace Tovra::Tests;
    if (argc == 4 && std::string(argv[1]) == "--work") {
        Soak::Work(ReadSeconds(argv[2]), argv[3]);
        return EXIT_SUCCESS;
    }
    constexpr std::chrono::seconds shortest{60};
    const std::chrono::seconds duration = argc > 1 ? ReadSeconds(argv[1]) : std::chrono::hours(1);
    if (argc > 2 || duration < shortest) {
        std::cerr << "Usage: Soak [seconds, at least " << shortest.count() << "]\n";
        return EXIT_FAILURE;
    }
    return Soak::Run(duration) ? EXIT_SUCCESS : EXIT_FAILURE;
}
