#include <System/Error/ErrorHandler.h>
#include <System/Error/ErrorHandlerOperations.h>
#include <System/Error/Report.h>
#include <System/FileSystem/Descriptor.h>
#include <System/FileSystem/FileOperations.h>
#include <System/FileSystem/PrivateFile.h>
#include <System/FileSystem/ProgramFolders.h>
#include <System/Log/Line.h>
#include <System/Log/LineHead.h>
#include <System/Log/Log.h>
#include <System/Log/LogFile.h>
#include <System/Log/Logger.h>
#include <System/Log/OutputStreams.h>
#include <System/Runtime/Application.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::System::Error {

using Log::StreamID;
using Log::MessageType::ID;

namespace {

constexpr int candidateLimit = 1'000'000;

/// In the order in which their handlers are installed.
constexpr std::array handledSignals{SIGTERM, SIGSEGV, SIGINT, SIGILL, SIGABRT, SIGFPE};

/// Those of them that a faulting instruction raises.
constexpr std::array instructionFaults{SIGSEGV, SIGILL, SIGFPE};

// What the handler puts back at its destruction. A program may begin with ignored signals, and a library that is loaded
// with it, such as a crash reporter, may have installed handlers with flags that `std::signal` doesn't know.
std::array<SignalAction, handledSignals.size()> s_previousActions;
std::terminate_handler s_previousTerminationHandler = nullptr;

long GetSecondsSinceEpoch() {
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

std::string FormatLocalTime(long time) {
    const std::tm local = Log::GetLocalTime(time);
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%FT%H-%M-%S", &local)};
}

/// A folder to look for files in. It is kept open, so that its path is resolved once and not for each of a million
/// files. If it can't be opened, the path is resolved each time, as looking up a file may still be allowed.
class OpenedFolder {
public:
    /// `path` ends in a separator, or is empty: names are then relative to the working folder.
    explicit OpenedFolder(const std::string& path)
        : m_folder(FileSystem::OpenFolder(path.c_str())), m_pathSize(path.size()) {}

    /// Whether `path`, which begins with the folder's path, exists.
    bool Contains(const std::string& path) const {
        return m_folder.IsOpen() ? Exists(m_folder.Get(), path.c_str() + m_pathSize) : Exists(noFolder, path.c_str());
    }

private:
    FileSystem::Descriptor m_folder;
    std::size_t m_pathSize;
};

/// Converts a path to wide characters. In one that is not UTF-8, ASCII is kept and each other byte becomes U+DC00 plus
/// the byte, a surrogate that no valid text contains.
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

/// Writes the block in one piece, so that other output comes before or after it.
void WriteToStandardError(std::string_view block) {
    WriteAndFlush(Log::OutputStream::Error, block);
}

/// Writes the text and a line end in one piece, without allocating.
void WriteLineToStandardError(std::string_view text) {
    Log::Line line;
    line.Append(text);
    line.Append('\n');
    WriteToStandardError(line.GetText());
}

/// Writes a dump with the precautions of a log file. One that can't be opened is ignored: the standard error stream
/// gets the report as well.
void WriteDump(const std::filesystem::path& path, std::string_view block) {
    Log::LogFile file;
    file.open(path, std::ios_base::out);
    file.write(block);
}

/// Whether the folder was made; no exception tells why not.
bool MakeFolder(const std::filesystem::path& path) {
    try {
        return FileSystem::MakePrivateFolders(path);
    } catch (const std::filesystem::filesystem_error&) {
        return false;
    }
}

/// Lets the next fault end the process where the signal handler's return would only lead back to the handler. That is
/// so after a fault, whose instruction is executed again, and while the process ends by `abort`: the kernel ignores the
/// SIGABRT of the first process of a process namespace, such as a container's, and `abort` goes on to a trap, which on
/// some processors is one of these faults.
void RestoreFaultActions(int signal, bool isTerminating) {
    for (const int faultSignal : instructionFaults) {
        if (isTerminating || faultSignal == signal) {
            std::signal(faultSignal, SIG_DFL);
        }
    }
}

} // namespace

// Constructed first and destroyed last, as far as the host's linker follows the priority, so that failures while other
// static objects are constructed and destroyed are reported too. Only what the construction of the program's
// application object waits for comes before it, and that object comes next: a signal between them would miss the
// application.
[[gnu::init_priority(102)]] ErrorHandler ErrorHandler::s_instance;

ErrorHandler::ErrorHandler() {
    s_previousTerminationHandler = std::set_terminate(TerminationHandler);
    if (std::get_terminate() != TerminationHandler) {
        WriteLineToStandardError("Failed to register termination handler.");
    }
    // What `std::signal` would install, which knows too little of the action before to put it back.
    SignalAction action{};
    action.sa_handler = SignalHandler;
    action.sa_flags = SA_RESTART;
    std::ranges::transform(handledSignals, s_previousActions.begin(),
                           [&action](int signal) { return ExchangeSignalAction(signal, action); });
}

ErrorHandler::~ErrorHandler() {
    const SignalAction* previous = s_previousActions.data();
    for (const int signal : handledSignals) {
        // A handler that someone else has installed since is theirs to take away, and is never out of its place.
        if (GetSignalAction(signal).sa_handler == SignalHandler) {
            ExchangeSignalAction(signal, *previous);
        }
        ++previous;
    }
    if (std::get_terminate() == TerminationHandler) {
        std::set_terminate(s_previousTerminationHandler);
    }
}

bool ErrorHandler::Initialize(Runtime::Application& application) {
    const std::filesystem::path directory = FileSystem::GetLogFolder(Runtime::GetUserFolder());
    if (!Exists(noFolder, directory.c_str()) && !MakeFolder(directory)) {
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

// Ends the process at an exception from the log too: an assertion never unwinds.
// NOLINTNEXTLINE(bugprone-exception-escape)
void ErrorHandler::OnAssertion(const Assertion& assertion) noexcept {
    const std::filesystem::path path = FindDumpingFile(GetSecondsSinceEpoch());
    const std::string block = ComposeReport(assertion);
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
    const long time = GetSecondsSinceEpoch();
    exception.ComposeMessage(m_messageStream);
    m_messageStream.flush();
    m_message = m_messageStream.str();
    const std::filesystem::path path = FindDumpingFile(time);
    m_unhandledException = m_unhandledException || !exception.handled;
    const std::string block = ComposeReport(exception, m_message);
    // Intentional: the standard error stream comes first, unlike for an assertion. Its readers see the exception even
    // while writing the file blocks.
    WriteToStandardError(block);
    // Intentional: `hex` stays set on the stream beside `dec`, so its numbers are still decimal.
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
    const std::filesystem::path path = FindDumpingFile(GetSecondsSinceEpoch());
    m_unhandledException = m_unhandledException || !handled;
    const std::string block = ComposeReport(exception, handled);
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
        // Of several threads that handle a signal, one ends the process.
        if (!m_isTerminating.exchange(true)) {
            std::abort();
        }
        RestoreFaultActions(signal, true);
        return;
    }
    constexpr const char* text = "Signal handler detected unhandled exceptions.";
    WriteLineToStandardError(text);
    TOVRA_LOG(System, Error, text);
    ReportCurrentException();
    RestoreFaultActions(signal, m_isTerminating);
}

void ErrorHandler::OnTermination() {
    // Intentional: without a current exception, as after an assertion, `throw` calls `std::terminate` and so this
    // function again, until the stack overflows and the process dies of it. Callers tell an assertion from an exception
    // by this end. The stack is limited first, so that it doesn't use up the machine's memory.
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
    // Not always `directory`: the application's name may contain folders or begin at the root.
    const OpenedFolder folder(stem.substr(0, stem.rfind('/') + 1));
    std::string candidate = stem + ".log";
    for (int number = 1; number <= candidateLimit; ++number) {
        // Intentional: the search stops at a file that exists, which is then overwritten, and finds nothing where none
        // exists. Reports are written only to a dump file that already exists; without one, callers count on a silent
        // end.
        if (folder.Contains(candidate)) {
            path = candidate;
            return true;
        }
        candidate.resize(stem.size());
        candidate.append("_").append(std::to_string(number)).append(".log");
    }
    return false;
}

std::filesystem::path ErrorHandler::FindDumpingFile(long time) const {
    // A failed search ends in `std::terminate`, which leads to the same report again while an exception is being
    // handled. The search is not repeated, or the process would take hours to end.
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
    // Intentional: some texts are misspelled, by "an user", "to due to" and "erronouse"; reports are compared by them.
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

} // namespace Tovra::System::Error
