#include <System/Error/Assertion.h>

#include <exception>
#include <iostream>

namespace Tovra::System::Error {

void OnAssertion(const Assertion& assertion) {
    std::cerr << "Assertion: " << assertion.condition << "\n\tMessage: " << assertion.message
              << "\n\nCallstack:\n\t[0]: " << assertion.callStack->file << " at " << assertion.callStack->line << ": "
              << assertion.callStack->function << '\n';
    std::terminate();
}

} // namespace Tovra::System::Error
