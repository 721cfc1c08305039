// A process that ends as ErrorHandlerTest.cpp wants to see it end: its arguments say what it does, one after the other.

#include <System/Environment/DirectoryCache.h>
#include <System/Error/ErrorHandler.h>
#include <System/Runtime/Application.h>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using Tovra::System::Debug::CallStack;
using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Error::ErrorHandler;
using Tovra::System::Runtime::Application;

using Actions = std::span<char* const>;

void Run(Actions actions);

/// An application that knows its user folder and has not been started.
class ChildApplication final : public Application {
public:
    explicit ChildApplication(std::wstring name) : Application(std::move(name)) {
        Tovra::System::Environment::DirectoryCache::Initialize();
        m_configCache.Initialize(nullptr);
    }
};

std::unique_ptr<ChildApplication> application;

class ForeignException {};

const CallStack& GetPosition() {
    static const CallStack position("/x/Source/System/Log/Logger.cpp", 26, "Write");
    return position;
}

ErrorException<CategoryID::LogFileState, 30> MakeException() {
    return {GetPosition(), {"Internal state doesn't match file state."}};
}

[[noreturn]] void FailAssertion(const char* message) {
    Tovra::System::Error::OnAssertion({"config != nullptr", message, &GetPosition()});
}

/// Does the rest while an exception is on its way.
class Unwinding {
public:
    explicit Unwinding(Actions rest) : m_rest(rest) {}
    ~Unwinding() noexcept(false) { Run(m_rest); }
    Unwinding(const Unwinding&) = delete;
    Unwinding& operator=(const Unwinding&) = delete;

private:
    Actions m_rest;
};

void Initialize() {
    const bool result = ErrorHandler::s_instance.Initialize(*application);
    std::puts(result ? "initialized" : "not initialized");
    std::fflush(stdout);
}

void InitializeWithoutApplication() {
    alignas(ChildApplication) static std::byte storage[sizeof(ChildApplication)];
    auto* const gone = std::construct_at(reinterpret_cast<ChildApplication*>(storage), L"Gone");
    std::destroy_at(gone);
    ErrorHandler::s_instance.Initialize(*gone);
}

void Search() {
    std::wstring path = L"untouched";
    const bool result = ErrorHandler::s_instance.GenerateDumpingFilePath(1'000'000'000, path);
    std::printf("%s %ls\n", result ? "found" : "nothing", path.c_str());
    std::fflush(stdout);
}

template <class Thrown>
void ReportHandled(const Thrown& thrown) {
    try {
        throw thrown;
    } catch (const Tovra::System::Error::Exception& exception) {
        exception.SetHandled();
    } catch (const std::exception& exception) {
        ErrorHandler::s_instance.OnException(exception, true);
    }
}

/// What the processor itself raises.
void DivideByZero() {
    asm volatile("xorl %%ecx, %%ecx\n\tmovl $1, %%eax\n\tcltd\n\tidivl %%ecx" ::: "eax", "ecx", "edx", "cc");
}

const std::map<std::string, void (*)()> simpleActions{
    {"application", [] { application = std::make_unique<ChildApplication>(L"Name"); }},
    {"nameless application", [] { application = std::make_unique<ChildApplication>(L""); }},
    {"application of a long name", [] { application = std::make_unique<ChildApplication>(std::wstring(300, L'n')); }},
    {"application without home folder",
     [] {
         setenv("HOME", "/dev/null", 1);
         application.reset();
         application = std::make_unique<ChildApplication>(L"Other");
     }},
    {"initialize", Initialize},
    {"initialize without application", InitializeWithoutApplication},
    {"search", Search},
    {"abort", [] { std::abort(); }},
    {"access an invalid address", [] { *reinterpret_cast<volatile int*>(8) = 0; }},
    {"execute an invalid instruction", [] { asm volatile("ud2"); }},
    {"divide by zero", DivideByZero},
    {"assertion", [] { FailAssertion("Function parameter 'config' must be non-null."); }},
    {"assertion without message", [] { FailAssertion(""); }},
    {"terminate", [] { std::terminate(); }},
    {"exception", [] { throw MakeException(); }},
    {"std::exception", [] { throw std::runtime_error("Text."); }},
    {"foreign exception", [] { throw ForeignException(); }},
    {"handled exception", [] { ReportHandled(MakeException()); }},
    {"handled std::exception", [] { ReportHandled(std::runtime_error("Text.")); }},
    {"handled exception without message", [] { ReportHandled(Tovra::System::Error::Exception(GetPosition())); }},
    {"handled system exception",
     [] {
         ReportHandled(
             Tovra::SystemInitializationException(GetPosition(), {"LogSystem", Tovra::System::GUID::Empty()}));
     }},
    {"ready",
     [] {
         std::puts("ready");
         std::fflush(stdout);
         for (;;) {
             pause();
         }
     }},
    {"remove the working folder", [] { rmdir(std::filesystem::current_path().c_str()); }},
};

const std::map<std::string, void (*)(Actions rest)> enclosingActions{
    {"in thread:", [](Actions rest) { std::thread([rest] { Run(rest); }).join(); }},
    {"in catch of exception:",
     [](Actions rest) {
         try {
             throw MakeException();
         } catch (...) {
             Run(rest);
         }
     }},
    {"in catch of std::exception:",
     [](Actions rest) {
         try {
             throw std::runtime_error("Text.");
         } catch (...) {
             Run(rest);
         }
     }},
    {"in catch of foreign exception:",
     [](Actions rest) {
         try {
             throw ForeignException();
         } catch (...) {
             Run(rest);
         }
     }},
    {"in unwinding:",
     [](Actions rest) {
         try {
             const Unwinding unwinding(rest);
             throw ForeignException();
         } catch (const ForeignException&) {
             std::puts("caught");
         }
     }},
};

void Run(Actions actions) {
    if (actions.empty()) {
        return;
    }
    const std::string action = actions.front();
    const Actions rest = actions.subspan(1);
    if (const auto enclosing = enclosingActions.find(action); enclosing != enclosingActions.end()) {
        enclosing->second(rest);
        return;
    }
    if (action.starts_with("raise ")) {
        std::raise(std::stoi(action.substr(6)));
    } else if (action.starts_with("OnSignal ")) {
        ErrorHandler::s_instance.OnSignal(std::stoi(action.substr(9)));
    } else {
        simpleActions.at(action)();
    }
    Run(rest);
}

} // namespace

int main(int argc, char** argv) {
    // What most tests see is a crash; none wants the core of it.
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);
    Run(Actions(argv, static_cast<std::size_t>(argc)).subspan(1));
    std::puts("end");
    return 0;
}
