// The process that ErrorHandlerTest.cpp starts: performs the actions that its arguments name, in order.

#include <Support/InterruptedBuffer.h>
#include <Support/StreamPieces.h>
#include <Support/SystemOperations.h>
#include <System/Environment/DirectoryCache.h>
#include <System/Error/ErrorHandler.h>
#include <System/Error/SurroundingLibrary.h>
#include <System/Log/LineHead.h>
#include <System/Log/Logger.h>
#include <System/Log/LoggerConfig.h>
#include <System/Runtime/Application.h>
#include <System/Utilities/BlockedSignals.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <format>
#include <iostream>
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
using Tovra::System::Log::Logger;
using Tovra::System::Log::LoggerConfig;
using Tovra::System::Log::StreamID;
using Tovra::System::Runtime::Application;
using Tovra::System::Utilities::BlockedSignals;

namespace MessageType = Tovra::System::Log::MessageType;

using Actions = std::span<char* const>;

void Run(Actions actions);

/// An application with a user folder that has not been started.
class ChildApplication final : public Application {
public:
    explicit ChildApplication(std::wstring name) : Application(std::move(name)) {
        Tovra::System::Environment::DirectoryCache::Initialize();
        m_configCache.Initialize(nullptr);
    }

    /// Adds a logger whose system stream passes messages from `severity` on, to the application and to the handler.
    void AddLogger(MessageType::ID severity) {
        LoggerConfig config;
        config.SetDefaults();
        config.m_maxFileSize = 0; // The smallest: a full file is replaced soon.
        config.m_streamSeverities.assign(config.m_streamSeverities.size(), {});
        config.m_streamSeverities.at(static_cast<std::size_t>(severity)) |= StreamID::System;
        m_logSystem = {new Logger, std::default_delete<Logger>()};
        m_logSystem->Initialize(&config);
        ErrorHandler::s_instance.SetLogger(*m_logSystem);
    }

    Logger& GetLogger() { return *m_logSystem; }
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

/// Sets the message's stream to a failed state.
class SpoilingException final : public Tovra::System::Error::Exception {
public:
    SpoilingException() : Exception(GetPosition()) {}

    void ComposeMessage(std::ostream& stream) const override {
        stream << "Spoilt.";
        stream.setstate(std::ios_base::badbit);
    }
};

/// Raises a signal while it is reported.
class SignallingException final : public std::exception {
public:
    const char* what() const noexcept override {
        std::raise(SIGTERM);
        return "Text.";
    }
};

void AccessInvalidAddress() {
    *reinterpret_cast<volatile int*>(8) = 0;
}

std::atomic<bool> isReported;

/// Says when it is reported.
class TellingException final : public std::exception {
public:
    const char* what() const noexcept override {
        isReported = true;
        return "Text.";
    }
};

/// Has the stack's limit, in KiB, for a text.
class StackLimitException final : public std::exception {
public:
    const char* what() const noexcept override {
        rlimit stack{};
        getrlimit(RLIMIT_STACK, &stack);
        static std::string s_text;
        s_text = std::to_string(stack.rlim_cur / 1024);
        return s_text.c_str();
    }
};

/// Faults while it is reported.
class FaultingException final : public std::exception {
public:
    const char* what() const noexcept override {
        AccessInvalidAddress();
        return "Text.";
    }
};

[[noreturn]] void FailAssertion(const char* message) {
    Tovra::System::Error::OnAssertion({"config != nullptr", message, &GetPosition()});
}

/// Fails an assertion during the destruction of static objects, if armed.
struct FailureAtExit {
    ~FailureAtExit() {
        if (isArmed) {
            FailAssertion("");
        }
    }

    bool isArmed = false;
};

FailureAtExit failureAtExit;

/// Runs the remaining actions during stack unwinding.
class Unwinding {
public:
    explicit Unwinding(Actions rest) : m_rest(rest) {}
    ~Unwinding() noexcept(false) { Run(m_rest); }
    Unwinding(const Unwinding&) = delete;
    Unwinding& operator=(const Unwinding&) = delete;

private:
    Actions m_rest;
};

void Say(const std::string& text) {
    std::puts(text.c_str());
    std::fflush(stdout);
}

void Initialize() {
    Say(ErrorHandler::s_instance.Initialize(*application) ? "initialized" : "not initialized");
}

/// After this each message throws a `std::filesystem::filesystem_error`, after its line on the console.
void RemoveLogFile() {
    const std::filesystem::path folder = std::filesystem::path(Tovra::System::Runtime::GetUserFolder()) / "Logs";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with("Name_2")) {
            std::filesystem::remove(entry.path());
        }
    }
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
    std::string text = result ? "found " : "nothing ";
    for (const wchar_t character : path) {
        text += character < 0x80 ? std::string(1, static_cast<char>(character))
                                 : std::format("<{:x}>", static_cast<unsigned int>(character));
    }
    Say(text);
}

/// Captures `std::cerr`, once an action has made it.
std::unique_ptr<Tovra::Tests::StreamPieces> errorPieces;

/// From now on SIGTERM interrupts the next text that the stream takes.
void Interrupt(std::ostream& stream) {
    static std::unique_ptr<Tovra::Tests::InterruptedBuffer> buffer;
    buffer = std::make_unique<Tovra::Tests::InterruptedBuffer>(stream);
}

void TellErrorPieces() {
    for (const std::string& piece : errorPieces->Get()) {
        Say("<" + piece + ">");
    }
    Say(errorPieces->GetFlushedCount() == errorPieces->Get().size() ? "flushed" : "not flushed");
}

void TellErrorBase() {
    const std::ios_base::fmtflags flags = std::cerr.flags();
    Say(std::string("base") + ((flags & std::ios_base::dec) != 0 ? " dec" : "") +
        ((flags & std::ios_base::hex) != 0 ? " hex" : "") + ((flags & std::ios_base::oct) != 0 ? " oct" : "") + " '" +
        std::cerr.fill() + "'");
}

void TellNextDescriptor() {
    Say("next descriptor " + std::to_string(dup(STDOUT_FILENO)));
}

void UseUpDescriptors() {
    const rlimit few{.rlim_cur = 3, .rlim_max = 3};
    setrlimit(RLIMIT_NOFILE, &few);
}

/// Every write to a file fails from now on.
void LetNoFileGrow() {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit none{};
    setrlimit(RLIMIT_FSIZE, &none);
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

/// Makes the processor raise SIGFPE, where a division does that.
void DivideByZero() {
#ifdef __x86_64__
    asm volatile("xorl %%ecx, %%ecx\n\tmovl $1, %%eax\n\tcltd\n\tidivl %%ecx" ::: "eax", "ecx", "edx", "cc");
#else
    std::raise(SIGFPE);
#endif
}

/// Makes the processor raise SIGILL.
void ExecuteInvalidInstruction() {
#ifdef __x86_64__
    asm volatile("ud2");
#else
    asm volatile("udf #0");
#endif
}

/// Lets the thread compute the local time in a time zone that it reads from a pipe, and get a signal meanwhile.
void RaiseWhileTimeIsComputed(int signal) {
    const std::filesystem::path pipe = std::filesystem::current_path() / "zone";
    mkfifo(pipe.c_str(), 0600);
    setenv("TZ", (":" + pipe.string()).c_str(), 1);
    const pthread_t reader = pthread_self();
    std::thread writer([&pipe, reader, signal] {
        int descriptor = -1;
        while (descriptor < 0) {
            descriptor = open(pipe.c_str(), O_WRONLY | O_NONBLOCK); // Fails until the pipe is being read.
        }
        pthread_kill(reader, signal);
        close(descriptor);
    });
    Tovra::System::Log::GetLocalTime(0);
    writer.join();
}

/// Reads from a pipe that has something to read only when a signal meanwhile has been reported.
void ReadDuringSignal() {
    const auto [input, output] = Tovra::Tests::MakePipe();
    std::thread writer([output, reader = pthread_self(), id = Tovra::Tests::GetCurrentThread()] {
        while (!Tovra::Tests::IsThreadBlocked(id)) {
            std::this_thread::yield();
        }
        pthread_kill(reader, SIGTERM);
        while (!isReported) {
            std::this_thread::yield();
        }
        Say("wrote " + std::to_string(write(output, "text", 4)));
    });
    std::array<char, 16> text{};
    const ssize_t size = read(input, text.data(), text.size());
    writer.join();
    Say("read " + std::to_string(size));
}

void TellFaultAction() {
    struct sigaction action{};
    sigaction(SIGSEGV, nullptr, &action);
    Say(action.sa_handler == SIG_DFL ? "default" : "handled");
}

/// Lets four threads fill one log file after the other, without end. They receive signals once they run: while threads
/// are created, a signal may interrupt the allocator, and a sanitizer doesn't know the new thread's stack yet.
void LogWithoutEnd() {
    constexpr int threadCount = 4;
    const std::string text(900, 'x');
    const auto log = [&text] {
        for (;;) {
            application->GetLogger().Write<StreamID::Default, MessageType::ID::Info>(text);
        }
    };
    {
        const BlockedSignals blocked(BlockedSignals::Kind::All);
        for (int count = 1; count < threadCount; ++count) {
            std::thread([&log] {
                sigset_t none;
                sigemptyset(&none);
                pthread_sigmask(SIG_SETMASK, &none, nullptr);
                log();
            }).detach();
        }
    }
    log();
}

const std::map<std::string, void (*)()> simpleActions{
    {"application", [] { application = std::make_unique<ChildApplication>(L"Name"); }},
    {"nameless application", [] { application = std::make_unique<ChildApplication>(L""); }},
    {"application of a long name", [] { application = std::make_unique<ChildApplication>(std::wstring(300, L'n')); }},
    {"application of an absolute name",
     [] { application = std::make_unique<ChildApplication>((std::filesystem::current_path() / "Name").wstring()); }},
    {"application without home folder",
     [] {
         setenv("HOME", "/dev/null", 1);
         application.reset();
         application = std::make_unique<ChildApplication>(L"Other");
     }},
    {"logger", [] { application->AddLogger(MessageType::ID::Info); }},
    {"logger of errors", [] { application->AddLogger(MessageType::ID::Error); }},
    {"logger of critical messages", [] { application->AddLogger(MessageType::ID::Critical); }},
    {"write the console's lines nowhere",
     [] {
         Say("nowhere");
         dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
     }},
    {"log without end", LogWithoutEnd},
    {"shut the logger down", [] { application->GetLogger().OnShutdown(); }},
    {"remove the log file", RemoveLogFile},
    {"initialize", Initialize},
    {"initialize silently", [] { ErrorHandler::s_instance.Initialize(*application); }},
    {"initialize without application", InitializeWithoutApplication},
    {"search", Search},
    {"take std::cerr", [] { errorPieces = std::make_unique<Tovra::Tests::StreamPieces>(std::cerr); }},
    {"interrupt std::cout", [] { Interrupt(std::cout); }},
    {"interrupt std::cerr", [] { Interrupt(std::cerr); }},
    {"log", [] { application->GetLogger().Write<StreamID::Default, MessageType::ID::Info>("interrupted"); }},
    {"tell what std::cerr was given", TellErrorPieces},
    {"tell the base of std::cerr", TellErrorBase},
    {"tell the next descriptor", TellNextDescriptor},
    {"use up the descriptors", UseUpDescriptors},
    {"let no file grow", LetNoFileGrow},
    {"allow everyone everything", [] { umask(0); }},
    {"abort", [] { std::abort(); }},
    {"access an invalid address", AccessInvalidAddress},
    {"execute an invalid instruction", ExecuteInvalidInstruction},
    {"divide by zero", DivideByZero},
    {"assertion", [] { FailAssertion("Function parameter 'config' must be non-null."); }},
    {"assertion without message", [] { FailAssertion(""); }},
    {"assertion at exit", [] { failureAtExit.isArmed = true; }},
    {"terminate", [] { std::terminate(); }},
    {"terminate at unload", [] { Tovra::Tests::CallAtUnload([](int) { std::terminate(); }, 0); }},
    {"exception", [] { throw MakeException(); }},
    {"std::exception", [] { throw std::runtime_error("Text."); }},
    {"foreign exception", [] { throw ForeignException(); }},
    {"handled exception", [] { ReportHandled(MakeException()); }},
    {"handled std::exception", [] { ReportHandled(std::runtime_error("Text.")); }},
    {"handled exception without message", [] { ReportHandled(Tovra::System::Error::Exception(GetPosition())); }},
    {"handled spoiling exception", [] { ReportHandled(SpoilingException()); }},
    {"handled system exception",
     [] {
         ReportHandled(
             Tovra::SystemInitializationException(GetPosition(), {"LogSystem", Tovra::System::GUID::Empty()}));
     }},
    {"exception that tells the stack's limit", [] { throw StackLimitException(); }},
    {"read during a signal", ReadDuringSignal},
    {"tell the action of SIGSEGV", TellFaultAction},
    {"ready",
     [] {
         Say("ready");
         for (;;) {
             pause();
         }
     }},
    {"let others handle SIGINT",
     [] {
         std::signal(SIGINT, [](int) {
             dprintf(STDERR_FILENO, "Others.\n");
             _exit(43);
         });
     }},
    {"let others handle termination",
     [] {
         std::set_terminate([] {
             dprintf(STDERR_FILENO, "Others.\n");
             _exit(43);
         });
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
    {"in catch of signalling exception:",
     [](Actions rest) {
         try {
             throw SignallingException();
         } catch (...) {
             Run(rest);
         }
     }},
    {"in catch of telling exception:",
     [](Actions rest) {
         try {
             throw TellingException();
         } catch (...) {
             Run(rest);
         }
     }},
    {"in catch of faulting exception:",
     [](Actions rest) {
         try {
             throw FaultingException();
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
             Say("caught");
         }
     }},
};

void RunSimple(const std::string& action) {
    if (action.starts_with("raise ")) {
        std::raise(std::stoi(action.substr(6)));
    } else if (action.starts_with("at unload raise ")) {
        Tovra::Tests::CallAtUnload([](int signal) { std::raise(signal); }, std::stoi(action.substr(16)));
    } else if (action.starts_with("while the time is computed raise ")) {
        RaiseWhileTimeIsComputed(std::stoi(action.substr(33)));
    } else if (action.starts_with("TZ=")) {
        setenv("TZ", action.c_str() + 3, 1);
    } else if (action.starts_with("OnSignal ")) {
        ErrorHandler::s_instance.OnSignal(std::stoi(action.substr(9)));
    } else {
        simpleActions.at(action)();
    }
}

void RunAndCatch(const std::string& action) {
    try {
        RunSimple(action);
    } catch (const std::exception&) {
        Say("caught std::exception");
    } catch (const Tovra::System::Error::Exception&) {
        Say("caught exception");
    } catch (const ForeignException&) {
        Say("caught foreign exception");
    }
}

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
    if (action.starts_with("catch ")) {
        RunAndCatch(action.substr(6));
    } else {
        RunSimple(action);
    }
    Run(rest);
}

} // namespace

int main(int argc, char** argv) {
    // Most tests make it crash: no core dumps.
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);
    Run(Actions(argv, static_cast<std::size_t>(argc)).subspan(1));
    Say("end");
    return 0;
}
