#include <System/Error/Report.h>

#include <format>

namespace Tovra::System::Error {

namespace {

std::string ComposePosition(const Debug::CallStack& callStack) {
    return std::format("\nCallstack:\n\t[0]: {} at {}: {}\n", callStack.file, callStack.line, callStack.function);
}

std::string_view GetLabel(bool handled) {
    return handled ? "Exception: " : "Unhandled Exception: ";
}

} // namespace

std::string ComposeReport(const Assertion& assertion) {
    return std::format("Assertion: {}\n\tMessage: {}\n", assertion.condition, assertion.message) +
           ComposePosition(*assertion.callStack);
}

std::string ComposeReport(const Exception& exception, std::string_view message) {
    return std::format("{}{}\n\tMessage: {}\n\tCode:    0x{:016x}\n", GetLabel(exception.handled), exception.GetName(),
                       message, exception.GetErrorCode()) +
           ComposePosition(exception.callStack);
}

std::string ComposeReport(const std::exception& exception, bool handled) {
    return std::format("{}std::exception\n\tMessage: {}\n", GetLabel(handled), exception.what());
}

} // namespace Tovra::System::Error
