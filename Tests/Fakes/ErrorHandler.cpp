#include <Fakes/ErrorHandler.h>

#include <cstdio>
#include <exception>
#include <format>

// It searches for no file, and installs no signal or terminate handler.

namespace Tovra::System::Error {

namespace {

std::string ComposePosition(const Debug::CallStack& callStack) {
    return std::format("\nCallstack:\n\t[0]: {} at {}: {}\n", callStack.file, callStack.line, callStack.function);
}

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
    const std::string text = std::format("Assertion: {}\n\tMessage: {}\n", assertion.condition, assertion.message) +
                             ComposePosition(*assertion.callStack);
    std::fputs(text.c_str(), stderr);
    std::terminate();
}

void ErrorHandler::OnException(const Exception& exception) {
    std::ostringstream message;
    exception.ComposeMessage(message);
    Report(std::format("{}{}\n\tMessage: {}\n\tCode:    0x{:016x}\n",
                       exception.handled ? "Exception: " : "Unhandled Exception: ", exception.GetName(), message.str(),
                       exception.GetErrorCode()) +
           ComposePosition(exception.callStack));
}

void ErrorHandler::OnException(const std::exception& exception, bool handled) {
    Report(std::format("{}std::exception\n\tMessage: {}\n",
                       handled ? "Exception: " : "Unhandled Exception: ", exception.what()));
}

void ErrorHandler::OnSignal(int signal) {
    Tests::Fakes::errorHandler.signals.push_back(signal);
}

void ErrorHandler::OnTermination() {}

bool ErrorHandler::GenerateDumpingFilePath(long, std::wstring&) const {
    return false;
}

void TerminationHandler() {
    ErrorHandler::s_instance.OnTermination();
}

void SignalHandler(int signal) {
    ErrorHandler::s_instance.OnSignal(signal);
}

} // namespace Tovra::System::Error
