#pragma once

#include <System/Error/Assertion.h>
#include <System/Error/Exception.h>

#include <atomic>
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

/// The end of all failure paths of the process. A program links one of two implementations: the product's
/// (`Tovra::Framework`), which the comments below describe, or one for development (`Tovra::DevelopmentFramework`).
///
/// The product's reports assertions and exceptions on the standard error stream, in a dump file and in the log, reports
/// fatal signals on that stream and in the log, and decides how the process ends. It is constructed before `main` and
/// works without a logger or an initialised application; dump files are then looked for in the working folder.
///
/// Intentional: the report of an assertion or an exception overwrites a dump file that already exists. Without one
/// nothing is reported and the process ends.
///
/// The development handler prints each report on the standard error stream at once, and nowhere else: there are no dump
/// files, and `Initialize` always succeeds. It installs a handler of `std::terminate` and none of signals.
/// `OnAssertion` and `OnTermination` end the process by `abort`; `OnException` returns.
///
/// Not locked: threads that report at the same time share its state.
class ErrorHandler {
public:
    /// The only instance; lives from before `main` until the process's exit.
    static ErrorHandler s_instance;

    /// Installs the handlers of `std::terminate` and of the signals SIGTERM, SIGSEGV, SIGINT, SIGILL, SIGABRT and
    /// SIGFPE. Not safe in a signal handler.
    ErrorHandler();

    /// Puts back the handlers that were there before, where its own are still installed: libraries are unloaded after
    /// it, and a failure there would be reported with destroyed state. Not safe in a signal handler.
    ~ErrorHandler();

    ErrorHandler(const ErrorHandler&) = delete;
    ErrorHandler& operator=(const ErrorHandler&) = delete;

    /// Sets the dump folder, `Logs` in the user folder, which is created if it is missing, and the name that dump files
    /// begin with, the application's. False if the folder can't be created: dump files then go to the working folder,
    /// under the name known before. Asserts that an application exists. Main thread. Not safe in a signal handler.
    bool Initialize(Runtime::Application& application);

    /// From now on reports go to the log as well. Not owned. Main thread. Not safe in a signal handler.
    /// Intentional: the pointer is never cleared, so nothing may be reported after the logger's destruction.
    void SetLogger(Log::Logger& logger);

    /// Reports a failed assertion, in the dump file first, and ends the process through `std::terminate`, which calls
    /// `OnTermination`. Any thread. Not safe in a signal handler.
    [[noreturn]] void OnAssertion(const Assertion& assertion) noexcept;

    /// Reports an exception, on the standard error stream first, as unhandled unless it is marked as handled. Ends the
    /// process through `std::terminate` if there is no dump file. Throws what the log throws. Any thread. Not safe in a
    /// signal handler.
    void OnException(const Exception& exception);
    void OnException(const std::exception& exception, bool handled);

    /// Reports a signal, then ends the process by `abort`, whatever the signal was. It returns instead if the process
    /// is already being ended by the handler, and while an exception is propagating: it then reports the exception that
    /// is being handled as `OnTermination` does. A fault (SIGSEGV, SIGILL, SIGFPE) has its default action when it
    /// returns from one, or while the process is being ended: the same instruction would call it without end. Asserts
    /// that an application exists, as it logs. Throws what the log throws. Any thread.
    /// Intentional: runs in a signal handler, although streams and the log are not safe there.
    void OnSignal(int signal);

    /// Reports the exception that is being handled, as unhandled unless it is marked as handled, and ends the process
    /// by `abort`. Rethrows one that is neither an `Exception` nor a `std::exception`. Any thread. Not safe in a signal
    /// handler.
    /// Intentional: without an exception it calls itself until the stack overflows; callers recognise an assertion by
    /// that end.
    void OnTermination();

    /// Finds the dump file for a report at `time`, in seconds since the epoch. True if there is one; false, with `path`
    /// untouched, after a million candidates that don't exist. In a path that is not UTF-8 each byte from 0x80 on
    /// becomes the character U+DC00 plus the byte. Not safe in a signal handler.
    /// Intentional: only a file that already exists is found.
    bool GenerateDumpingFilePath(long time, std::wstring& path) const;

private:
    // None of these is safe in a signal handler.

    /// The dump file for a report at `time`, in seconds since the epoch; ends the process through `std::terminate` if
    /// there is none.
    std::filesystem::path FindDumpingFile(long time) const;

    /// `GenerateDumpingFilePath` with the path in the system's own bytes.
    bool FindCandidate(long time, std::string& path) const;

    /// Reports the exception that is being handled; rethrows one of neither hierarchy. Without one it ends in
    /// `std::terminate`.
    void ReportCurrentException();

    const char* GetSignalText(int signal) const;

    /// Clears the stream in which messages are composed.
    void ResetMessage();

    Log::Logger* m_logger = nullptr;
    std::wstring m_applicationName;
    std::wstring m_dumpDirectory;
    std::string m_message;
    std::ostringstream m_messageStream;
    bool m_unhandledException = false;
    std::atomic<bool> m_isTerminating = false;
};

/// The installed handlers: they call `OnTermination` and `OnSignal` of `ErrorHandler::s_instance` and are as safe in a
/// signal handler as those.
inline void TerminationHandler() {
    ErrorHandler::s_instance.OnTermination();
}
inline void SignalHandler(int signal) {
    ErrorHandler::s_instance.OnSignal(signal);
}

} // namespace Tovra::System::Error
