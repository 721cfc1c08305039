#include <System/Error/ErrorHandler.h>
#include <System/Error/ErrorHandlerOperations.h>
#include <System/Log/Line.h>
#include <System/Log/LineHead.h>
#include <System/Log/Log.h>
#include <System/Log/Logger.h>
#include <System/Runtime/Application.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <format>
#include <fstream>
#include <iostream>
#include <string_view>
#include <system_error>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Error {

using Log::StreamID;
using Log::MessageType::ID;

namespace {

constexpr int candidateLimit = 1'000'000;

/// The order in which they are taken over.
constexpr std::array handledSignals{SIGTERM, SIGSEGV, SIGINT, SIGILL, SIGABRT, SIGFPE};

long GetTime() {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

std::string FormatLocalTime(long time) {
    const std::tm local = Log::GetLocalTime(time);
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%FT%H-%M-%S", &local)};
}

/// A folder that files are looked for in. It is opened, so that the walk to it is made once and not for each of a
/// million files; one that can't be is walked to each time, as it may still let its files be asked for.
class OpenedFolder {
public:
    /// `path` has the separator behind it; an empty one is no folder.
    explicit OpenedFolder(const std::string& path) : m_descriptor(OpenFolder(path.c_str())), m_pathSize(path.size()) {}
    ~OpenedFolder() {
        if (m_descriptor != noFolder) {
            CloseFolder(m_descriptor);
        }
    }
    OpenedFolder(const OpenedFolder&) = delete;
    OpenedFolder& operator=(const OpenedFolder&) = delete;

    /// Whether there is something under `path`, which begins with the folder's.
    bool Holds(const std::string& path) const {
        return Exists(m_descriptor, path.c_str() + (m_descriptor != noFolder ? m_pathSize : 0));
    }

private:
    int m_descriptor;
    std::size_t m_pathSize;
};

/// A path that is no UTF-8 keeps its ASCII, and each other byte becomes a character behind U+DC00, which no text holds.
std::wstring Widen(const std::string& path) {
    try {
        return std::filesystem::path(path).wstring();
    } catch (const std::exception&) {
        std::wstring wide;
        for (const char byte : path) {
            const auto value = static_cast<unsigned char>(byte);
            wide += static_cast<wchar_t>(value < 0x80 ? value : 0xDC00 + value);
        }
        return wide;
    }
}

std::string ComposePosition(const Debug::CallStack& callStack) {
    return std::format("\nCallstack:\n\t[0]: {} at {}: {}\n", callStack.file, callStack.line, callStack.function);
}

std::string ComposeBlock(const Assertion& assertion) {
    return std::format("Assertion: {}\n\tMessage: {}\n", assertion.condition, assertion.message) +
           ComposePosition(*assertion.callStack);
}

std::string_view GetLabel(bool handled) {
    return handled ? "Exception: " : "Unhandled Exception: ";
}

/// In one piece, so that what others print stands before or behind it.
void WriteToStandardError(std::string_view block) {
    std::cerr.write(block.data(), static_cast<std::streamsize>(block.size())).flush();
}

/// The same with a line end behind it, without allocating.
void WriteLineToStandardError(std::string_view text) {
    Log::Line line;
    line.Append(text);
    line.Append('\n');
    WriteToStandardError(line.GetText());
}

/// A file that can't be opened is passed over in silence: the standard error stream has the report as well.
void WriteDump(const std::filesystem::path& path, std::string_view block) {
    std::ofstream(path, std::ios::out | std::ios::trunc) << block;
}

} // namespace

// The first object that there is, and the last that goes, as far as the host's linker orders by it: what fails while
// the others come and go is reported as well.
[[gnu::init_priority(101)]] ErrorHandler ErrorHandler::s_instance;

ErrorHandler::ErrorHandler() {
    std::set_terminate(TerminationHandler);
    if (std::get_terminate() != TerminationHandler) {
        WriteLineToStandardError("Failed to register termination handler.");
    }
    for (const int handledSignal : handledSignals) {
        std::signal(handledSignal, SignalHandler);
    }
}

bool ErrorHandler::Initialize(Runtime::Application& application) {
    const std::filesystem::path directory = std::filesystem::path(Runtime::GetUserFolder()) / "Logs";
    std::error_code error;
    if (!Exists(noFolder, directory.c_str()) && !std::filesystem::create_directories(directory, error)) {
        m_dumpDirectory.clear();
        return false;
    }
    m_dumpDirectory = directory.wstring();
    m_applicationName = application.GetName();
    ResetMessage();
    return true;
}

void ErrorHandler::SetLogger(Log::Logger& logger) {
    m_logger = &logger;
}

// What the log throws ends here as well, since an assertion never unwinds. NOLINTNEXTLINE(bugprone-exception-escape)
void ErrorHandler::OnAssertion(const Assertion& assertion) noexcept {
    const std::filesystem::path path = FindDumpingFile(GetTime());
    const std::string block = ComposeBlock(assertion);
    WriteDump(path, block);
    WriteToStandardError(block);
    if (m_logger != nullptr) {
        const Debug::CallStack& position = *assertion.callStack;
        m_logger->Write<StreamID::Default, ID::Critical>("Condition: '", assertion.condition, "' in file '",
                                                         position.file, "', line '", position.line, "', function '",
                                                         position.function, "' with message: ", assertion.message);
    }
    m_isTerminating = true;
    std::terminate();
}

void ErrorHandler::OnException(const Exception& exception) {
    const long time = GetTime();
    const std::uint64_t errorCode = exception.GetErrorCode();
    const bool handled = exception.handled;
    exception.ComposeMessage(m_messageStream);
    m_messageStream.flush();
    m_message = m_messageStream.str();
    const std::filesystem::path path = FindDumpingFile(time);
    m_unhandledException = m_unhandledException || !handled;
    const std::string block = std::format("{}{}\n\tMessage: {}\n\tCode:    0x{:016x}\n", GetLabel(handled),
                                          exception.GetName(), m_message, errorCode) +
                              ComposePosition(exception.callStack);
    // The other way round than for an assertion, and meant: who watches the stream learns of an exception even where
    // the file keeps the report waiting.
    WriteToStandardError(block);
    // Meant: `hex` stays set on the stream, beside `dec`, so that its numbers are decimal as before.
    std::cerr.setf(std::ios_base::hex);
    WriteDump(path, block);
    if (m_logger != nullptr) {
        const Debug::CallStack& position = exception.callStack;
        m_logger->Write<StreamID::Default, ID::Error>("Exception: '", exception.GetName(), "' in file '", position.file,
                                                      "', line '", position.line, "', function '", position.function,
                                                      "' with message: ", m_message);
    }
    ResetMessage();
}

void ErrorHandler::OnException(const std::exception& exception, bool handled) {
    const std::filesystem::path path = FindDumpingFile(GetTime());
    m_unhandledException = m_unhandledException || !handled;
    const std::string block = std::format("{}std::exception\n\tMessage: {}\n", GetLabel(handled), exception.what());
    WriteToStandardError(block);
    WriteDump(path, block);
    if (m_logger != nullptr) {
        m_logger->Write<StreamID::Default, ID::Error>("Exception: 'std::exception' with message: ", exception.what());
    }
    ResetMessage();
}

void ErrorHandler::OnSignal(int signal) {
    if (signal == SIGABRT && m_isTerminating) {
        TOVRA_LOG(System, Info, "Shutting down due to a forced abortion or error.");
    } else {
        const char* const text = GetSignalText(signal);
        WriteLineToStandardError(text);
        if (signal == SIGINT) {
            TOVRA_LOG(System, Warning, text);
        } else {
            TOVRA_LOG(System, Error, text);
        }
    }
    if (std::uncaught_exceptions() == 0) {
        if (!m_isTerminating) {
            m_isTerminating = true;
            std::abort();
        }
        return;
    }
    constexpr const char* text = "Signal handler detected unhandled exceptions.";
    WriteLineToStandardError(text);
    TOVRA_LOG(System, Error, text);
    ReportCurrentException();
}

void ErrorHandler::OnTermination() {
    // Without a current exception, as behind an assertion, the report comes back here through `std::terminate` at once,
    // until the stack is used up and the process dies of that. Meant: callers tell an assertion from an exception by
    // this end. It takes the stack alone, so that must not be all the memory there is.
    LimitStack();
    ReportCurrentException();
    std::abort();
}

bool ErrorHandler::GenerateDumpingFilePath(long time, std::wstring& path) const {
    std::string found;
    if (!FindCandidate(time, found)) {
        return false;
    }
    path = Widen(found);
    return true;
}

bool ErrorHandler::FindCandidate(long time, std::string& path) const {
    std::error_code error;
    const std::filesystem::path directory =
        m_dumpDirectory.empty() ? std::filesystem::current_path(error) : std::filesystem::path(m_dumpDirectory);
    const std::filesystem::path name(m_applicationName.empty() ? L"ERROR_" : m_applicationName + L"_ERROR_");
    const std::string stem = (directory / name).native() + FormatLocalTime(time);
    // Not always the directory: a name may begin with folders of its own, or at the root.
    const OpenedFolder folder(stem.substr(0, stem.rfind('/') + 1));
    std::string candidate = stem + ".log";
    for (int number = 1; number <= candidateLimit; ++number) {
        // It stops at a file that is there, which is then overwritten, and finds nothing where none is. Meant: reports
        // go only where somebody has laid a file for them, and callers count on the silent end otherwise.
        if (folder.Holds(candidate)) {
            path = candidate;
            return true;
        }
        candidate.resize(stem.size());
        candidate.append("_").append(std::to_string(number)).append(".log");
    }
    return false;
}

std::filesystem::path ErrorHandler::FindDumpingFile(long time) const {
    // A failed search ends in `std::terminate`, which comes to the same report again as long as an exception is being
    // handled. It is not made twice, or the process would take hours to end.
    static thread_local bool s_hasFailed = false;
    std::string path;
    if (s_hasFailed || !FindCandidate(time, path)) {
        s_hasFailed = true;
        std::terminate();
    }
    return path;
}

void ErrorHandler::ReportCurrentException() {
    try {
        throw;
    } catch (const std::exception& exception) {
        OnException(exception, false);
    } catch (const Exception& exception) {
        OnException(exception);
    }
}

const char* ErrorHandler::GetSignalText(int signal) const {
    switch (signal) {
    case SIGINT:
        return "Signal 'SIGINT' was raised (most likely by an user, script, etc.) to initiate an interruption of "
               "program execution.";
    case SIGILL:
        return "Signal 'SIGILL' was raised to due to an invalid instruction. Executable may be invalid.";
    case SIGABRT:
        return m_unhandledException
                   ? "Signal 'SIGABRT' was raised due to an abnormal condition like an unhandled exception."
                   : "Signal 'SIGABRT' was raised due to an unknown abnormal condition.";
    case SIGFPE:
        return "Signal 'SIGFPE' was raised to due to an erronouse arithmetic operation such as a divide by zero.";
    case SIGSEGV:
        return "Signal 'SIGSEGV' was raised due to an invalid memory access (segmentation fault).";
    case SIGTERM:
        return m_unhandledException
                   ? "Signal 'SIGTERM' was raised to terminate the program due to an unhandled exception."
                   : "Signal 'SIGTERM' was raised to terminate the program due to an unknown reason.";
    default:
        return "Unknown signal was raised.";
    }
}

void ErrorHandler::ResetMessage() {
    m_messageStream.str({});
    m_messageStream.clear();
}

void TerminationHandler() {
    ErrorHandler::s_instance.OnTermination();
}

void SignalHandler(int signal) {
    ErrorHandler::s_instance.OnSignal(signal);
}

} // namespace Tovra::System::Error
