#include <Fakes/ErrorHandler.h>
#include <System/Error/Report.h>

#include <cstdio>
#include <exception>

// It searches for no file, and installs no signal or terminate handler.

namespace Tovra::System::Error {

namespace {

void Report(const std::string& text) {
    const std::lock_guard lock(Tests::Fakes::errorHandlerMutex);
    Tests::Fakes::errorHandler.reports.push_back(text);
    std::fputs(text.c_str(), stderr);
}

} // namespace

ErrorHandler ErrorHandler::s_instance;

ErrorHandler::ErrorHandler() = default;

ErrorHandler::~ErrorHandler() = default;

bool ErrorHandler::Initialize(Runtime::Application&) {
    ++Tests::Fakes::errorHandler.initializations;
    return Tests::Fakes::errorHandler.initialize;
}

void ErrorHandler::SetLogger(Log::Logger& logger) {
    Tests::Fakes::errorHandler.logger = &logger;
}

void ErrorHandler::OnAssertion(const Assertion& assertion) noexcept {
    std::fputs(ComposeReport(assertion).c_str(), stderr);
    std::terminate();
}

void ErrorHandler::OnException(const Exception& exception) {
    std::ostringstream message;
    exception.ComposeMessage(message);
    Report(ComposeReport(exception, message.str()));
}

void ErrorHandler::OnException(const std::exception& exception, bool handled) {
    Report(ComposeReport(exception, handled));
}

void ErrorHandler::OnSignal(int signal) {
    Tests::Fakes::errorHandler.signals.push_back(signal);
}

void ErrorHandler::OnTermination() {}

bool ErrorHandler::GenerateDumpingFilePath(long, std::wstring&) const {
    return false;
}

} // namespace Tovra::System::Error
