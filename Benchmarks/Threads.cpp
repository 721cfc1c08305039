// Measures the thread manager's threads against those of the standard library and of the system: ThreadsBenchmark
// [row ...]

#include <System/Runtime/Application.h>
#include <System/Threads/ThreadManager.h>

#include <Comparison.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <thread>

namespace {

using Tovra::Benchmarks::AtMost;
using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadEntryPointCallback;
using Tovra::System::Threads::ThreadManager;

/// The most threads that a manager creates in its life.
constexpr std::size_t threadCount = 15;

std::atomic<bool> mayEnd;
std::atomic<std::size_t> runs;

void Work() {
    mayEnd.wait(false);
    ++runs;
}

class WorkCallback final : public ThreadEntryPointCallback {
public:
    void Run() override { Work(); }
};

void LetGo() {
    mayEnd = true;
    mayEnd.notify_all();
}

void RunInManager() {
    mayEnd = false;
    std::array<Thread*, threadCount> threads{};
    ThreadManager manager;
    for (Thread*& thread : threads) {
        manager.TryCreateThread(std::make_unique<WorkCallback>(), thread);
    }
    LetGo();
    for (const Thread* const thread : threads) {
        while (thread->GetStatus() != Thread::Status::None) {
            std::this_thread::yield();
        }
    }
}

void RunInStandardThreads() {
    mayEnd = false;
    std::array<std::thread, threadCount> threads;
    for (std::thread& thread : threads) {
        thread = std::thread(Work);
    }
    LetGo();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void RunDetached() {
    mayEnd = false;
    const std::size_t wanted = runs + threadCount;
    const auto work = [](void*) -> void* {
        Work();
        return nullptr;
    };
    for (std::size_t index = 0; index < threadCount; ++index) {
        pthread_t thread{};
        pthread_create(&thread, nullptr, work, nullptr);
        pthread_detach(thread);
    }
    LetGo();
    while (runs != wanted) {
        std::this_thread::yield();
    }
}

} // namespace

int main(int count, char** arguments) {
    Tovra::Benchmarks::ChooseRows(count, arguments);
    constexpr int rounds = 301;
    Tovra::System::Runtime::Application application(L"ThreadsBenchmark");
    Tovra::Benchmarks::Compare("A thread's life", RunInManager,
                               {{"peer", "`std::thread`", AtMost(1.2), RunInStandardThreads},
                                {"limit", "threads that nobody waits for", AtMost(1.2), RunDetached}},
                               rounds);
    // Once more to warm up.
    Tovra::Benchmarks::Require(runs == (3 * rounds + 1) * threadCount, "A thread did not run.");
}
