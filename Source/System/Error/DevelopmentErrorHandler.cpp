#include <System/Error/ErrorHandler.h>
#include <System/Error/Report.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>

// The error handler for developing a program: it prints each failure at once and writes no files. An assertion and an
// exception that nobody catches end the process by `abort`, where a debugger stops. Signals keep their usual actions.

namespace Tovra::System::Error {

namespace {

void Print(const std::string& report) {
    std::cerr << report << std::flush;
}

} // namespace

// Before the program's own static objects, as the other error handler.
[[gnu::init_priority(102)]] ErrorHandler ErrorHandler::s_instance;

ErrorHandler::ErrorHandler() {
    std::set_terminate(TerminationHandler);
}

ErrorHandler::~ErrorHandler() = default;

bool ErrorHandler::Initialize(Runtime::Application&) {
    return true;
}

void ErrorHandler::SetLogger(Log::Logger&) {}

// NOLINTNEXTLINE(bugprone-exception-escape) An exception of the stream ends the process too.
void ErrorHandler::OnAssertion(const Assertion& assertion) noexcept {
    Print(ComposeReport(assertion));
    std::abort();
}

void ErrorHandler::OnException(const Exception& exception) {
    std::ostringstream message;
    exception.ComposeMessage(message);
    Print(ComposeReport(exception, message.str()));
}

void ErrorHandler::OnException(const std::exception& exception, bool handled) {
    Print(ComposeReport(exception, handled));
}

void ErrorHandler::OnSignal(int signal) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void ErrorHandler::OnTermination() {
    if (std::current_exception() != nullptr) {
        ReportCurrentException();
    } else {
        Print("Terminated without an exception.\n");
    }
    std::abort();
}

void ErrorHandler::ReportCurrentException() {
    try {
        throw;
    } catch (const std::exception& exception) {
        OnException(exception, false);
    } catch (const Exception& exception) {
        OnException(exception);
    } catch (...) {
        Print("Unhandled Exception: of an unknown type\n");
    }
}

bool ErrorHandler::GenerateDumpingFilePath(long, std::wstring&) const {
    return false;
}

} // namespace Tovra::System::Error
