#include <System/Error/ErrorHandler.h>
#include <System/Error/Exception.h>

namespace Tovra::System::Error {

std::uint64_t Exception::GetErrorCode() const {
    return 0;
}

const char* Exception::GetName() const {
    return "Tovra::Exception";
}

void Exception::ComposeMessage(std::ostream& stream) const {
    ComposeStaticMessage(stream, nullptr);
}

void Exception::SetHandled() const {
    handled = true;
    ErrorHandler::s_instance.OnException(*this);
}

void ComposeStaticMessage(std::ostream& stream, const char* message) {
    stream << (message != nullptr ? message : "No message provided.");
}

void SystemErrorDetails::ComposeMessage(std::ostream& stream) const {
    if (systemName != nullptr) {
        stream << "\t\t System name: " << systemName << '\n';
    }
    if (systemGuid != GUID::Empty()) {
        stream << "\t\t GUID: " << systemGuid.ToString() << '\n';
    }
}

} // namespace Tovra::System::Error

namespace Tovra {

using System::Debug::CallStack;
using System::Error::CategoryID;
using System::Error::SystemErrorDetails;

SystemCreationException::SystemCreationException(const CallStack& position, const SystemErrorDetails& details)
    : ExceptionWithDetails(position, System::Error::Error<CategoryID::System, 2>::packedCode, details) {}

const char* SystemCreationException::GetName() const {
    return "Tovra::SystemCreationException";
}

void SystemCreationException::ComposeMessage(std::ostream& stream) const {
    stream << "Creation of system failed.\n";
    GetDetails().ComposeMessage(stream);
}

SystemInitializationException::SystemInitializationException(const CallStack& position,
                                                             const SystemErrorDetails& details)
    : ExceptionWithDetails(position, System::Error::Error<CategoryID::System, 3>::packedCode, details) {}

const char* SystemInitializationException::GetName() const {
    return "Tovra::SystemInitializationException";
}

void SystemInitializationException::ComposeMessage(std::ostream& stream) const {
    stream << "Initialization of system failed.\n";
    GetDetails().ComposeMessage(stream);
}

} // namespace Tovra
