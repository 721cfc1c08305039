#include <System/Error/Assertion.h>
#include <System/Error/ErrorHandler.h>

namespace Tovra::System::Error {

void OnAssertion(const Assertion& assertion) {
    ErrorHandler::s_instance.OnAssertion(assertion);
}

} // namespace Tovra::System::Error
