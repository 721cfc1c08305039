#pragma once

#include <System/Error/Assertion.h>
#include <System/Error/Exception.h>

#include <exception>
#include <filesystem>
#include <sstream>
#include <string>

namespace Tovra::System {
namespace Log {
class Logger;
}
namespace Runtime {
class Application;
}
} // namespace Tovra::System

namespace Tovra::System::Error {

/// The process-wide end of all failure paths: reports assertions, exceptions and fatal signals on the standard error
/// stream, in a dump file and in the log, and decides how the process ends. Constructed before `main`, so it works, in
/// a reduced way, without an application or a logger: reports then go to the working folder.
///
/// The report of an assertion or an exception needs a dump file that is there already, and overwrites it. Without one
/// nothing is reported, and the process ends.
///
/// It has no lock: two threads that report at once share its state.
class ErrorHandler {
public:
    /// The process's one handler.
    static ErrorHandler s_instance;

    /// Takes over `std::terminate` and the signals SIGTERM, SIGSEGV, SIGINT, SIGILL, SIGABRT and SIGFPE. Not safe in a
    /// signal handler.
    ErrorHandler();

    ErrorHandler(const ErrorHandler&) = delete;
    ErrorHandler& operator=(const ErrorHandler&) = delete;

    /// Takes dump folder and name from the application, and makes the folder. False if that can't be made: the dump
    /// folder is then the working folder, under the name that was known before. Asserts that an application exists.
    /// Main thread. Not safe in a signal handler.
    bool Initialize(Runtime::Application& application);

    /// Reports from now on in the log as well. Main thread. Not safe in a signal handler. Not owned, and never
    /// taken back: what is reported after the logger's end goes wrong.
    void SetLogger(Log::Logger& logger);

    /// Reports a broken precondition, in the dump file first, and ends the process through `std::terminate`, which
    /// comes back to `OnTermination`. Any thread. Not safe in a signal handler.
    [[noreturn]] void OnAssertion(const Assertion& assertion) noexcept;

    /// Reports an exception, on the standard error stream first, as unhandled unless it was marked as handled. Ends the
    /// process through `std::terminate` if there is no dump file to write to. Throws what the log throws. Any thread.
    /// Not safe in a signal handler.
    void OnException(const Exception& exception);
    void OnException(const std::exception& exception, bool handled);

    /// Reports a signal; then the process ends by `abort`, whatever the signal was. If it is ending so already, or
    /// while an exception is on its way, whose handled one it then reports, it returns instead. Any thread. Asserts
    /// that an application exists, as it logs. Throws what the log throws. Runs in a signal handler although it is not
    /// safe there: it uses streams and the log, which is accepted.
    void OnSignal(int signal);

    /// Reports the exception that is being handled as unhandled and ends the process by `abort`. Throws again what is
    /// neither an `Exception` nor a `std::exception`. Without an exception it ends the process by using up the stack.
    /// Not safe in a signal handler.
    void OnTermination();

    /// Gives the file that a report at `time`, in seconds since the epoch, is to be written to. True, on purpose, for
    /// the first candidate that is already there; false, with `path` untouched, after a million that are not. In a path
    /// that is no UTF-8 each byte from 0x80 on is the character U+DC00 plus the byte. Not safe in a signal handler.
    bool GenerateDumpingFilePath(long time, std::wstring& path) const;

private:
    /// None of these is safe in a signal handler.

    /// The file for a report at that time; ends the process through `std::terminate` if there is none.
    std::filesystem::path FindDumpingFile(long time) const;

    /// `GenerateDumpingFilePath`, with the path's bytes as the system has them.
    bool FindCandidate(long time, std::string& path) const;

    /// Reports the exception that is being handled; throws on what is of neither hierarchy. Without one it ends in
    /// `std::terminate`.
    void ReportCurrentException();

    const char* GetSignalText(int signal) const;

    /// Empties the stream that messages are composed in.
    void ResetMessage();

    Log::Logger* m_logger = nullptr;
    std::wstring m_applicationName;
    std::wstring m_dumpDirectory;
    std::string m_message;
    std::ostringstream m_messageStream;
    bool m_unhandledException = false;
    bool m_isTerminating = false;
};

/// What `std::terminate` and the signals lead to: the same operations of `ErrorHandler::s_instance`, as safe in a
/// signal handler as those.
void TerminationHandler();
void SignalHandler(int signal);

} // namespace Tovra::System::Error
