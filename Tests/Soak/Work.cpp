#include <Graphics/OpenGl/GLContext.h>
#include <System/Desktop/PanelOperations.h>
#include <System/Desktop/Window.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Log/Log.h>
#include <System/Log/LoggerConfig.h>
#include <System/Runtime/Application.h>

#include <Soak/Work.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::Tests::Soak {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Graphics::OpenGl::GLContext;
using System::Desktop::Window;
using System::Device::Display::DisplayCache;
using System::Log::LoggerConfig;

std::int64_t GetMemory() {
    std::int64_t total = 0;
    std::int64_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

std::int64_t CountDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors)) - 1; // Without the iterator's own.
}

/// Logs from one thread until it is stopped, nearly 1000 lines a second.
class Writer {
public:
    explicit Writer(int number) : m_number(number), m_thread([this] { Write(); }) {}

    /// How many lines it has logged.
    std::int64_t Stop() {
        m_isStopped = true;
        m_thread.join();
        return m_count;
    }

private:
    void Write() {
        std::array<char, 32> text{};
        for (; !m_isStopped; ++m_count) {
            std::snprintf(text.data(), text.size(), "%02d %010lld", m_number, static_cast<long long>(m_count));
            TOVRA_LOG(System, Always, text.data());
            std::this_thread::sleep_for(1ms);
        }
    }

    int m_number;
    std::int64_t m_count = 0;
    std::atomic<bool> m_isStopped = false;
    std::thread m_thread;
};

class SoakApplication final : public System::Runtime::Application {
public:
    SoakApplication(std::chrono::seconds duration, const std::filesystem::path& folder)
        : Application(L"Soak"), m_duration(duration), m_folder(folder), m_samples(folder / sampleFile) {}

    void OnPreSystemInitialization(Application&, System::Runtime::PreSystemInitializationEvent& event) override {
        if (event.m_config != nullptr && event.m_config->GetTypeID() == LoggerConfig::s_typeID) {
            // The lowest limit counts, so files change often.
            static_cast<LoggerConfig*>(event.m_config)->m_maxFileSize = 0;
        }
    }

    void Main(const System::Runtime::ApplicationParameters&) override {
        Initialize();
        System::Runtime::GetSystem<DisplayCache>().AddOnRefreshedCallback(this, [this] { ++m_sample.refreshes; });
        std::vector<std::unique_ptr<Writer>> writers;
        for (int number = 0; number < threadCount; ++number) {
            writers.push_back(std::make_unique<Writer>(number));
        }
        for (const auto start = Clock::now(); Clock::now() < start + m_duration;) {
            UseWindow();
            TakeSample(std::chrono::floor<std::chrono::seconds>(Clock::now() - start).count());
        }
        std::ofstream counts(m_folder / lineCountFile);
        for (const auto& writer : writers) {
            counts << writer->Stop() << '\n';
        }
    }

private:
    void UseWindow() {
        Window window(this, "Soak", {10, 10}, {200, 100}, Window::Style{3});
        if (!window.Create()) {
            ++m_sample.failures;
            System::Desktop::RunMainLoop(20ms);
            return;
        }
        window.SetEventCallback([](const auto&) { return true; });
        window.Show();
        window.Update();
        if (++m_sample.windows % windowsOfContext == 0) {
            UseContext(window);
        }
        System::Desktop::RunMainLoop(5ms);
    }

    void UseContext(const Window& window) {
        const auto handle = reinterpret_cast<unsigned long>(window.GetHandle());
        GLContext context;
        if (context.Initialize(handle, window.GetClassName())) {
            ++m_sample.contexts;
            // Without a frame: libGLX keeps 72 bytes for each window that had one, and the heap splits at them.
            context.Destroy(handle);
        }
    }

    void TakeSample(std::int64_t second) {
        if (second == m_sample.second) {
            return;
        }
        m_sample.second = second;
        m_samples << second << ' ' << GetMemory() << ' ' << CountDescriptors() << ' ' << m_sample.windows << ' '
                  << m_sample.contexts << ' ' << m_sample.failures << ' ' << m_sample.refreshes << std::endl;
    }

    std::chrono::seconds m_duration;
    std::filesystem::path m_folder;
    std::ofstream m_samples;
    Sample m_sample{};
};

} // namespace

void Work(std::chrono::seconds duration, const std::filesystem::path& folder) {
    SoakApplication application(duration, folder);
    SoakApplication::Run(System::Runtime::ApplicationParameters());
}

} // namespace Tovra::Tests::Soak
