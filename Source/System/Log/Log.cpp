#include <System/Error/Assertion.h>
#include <System/Log/Log.h>
#include <System/Runtime/ApplicationAccess.h>

namespace Tovra::System::Log {

Logger* GetLogger(const char* file, std::uint64_t line, const char* function) {
    if (!Runtime::HasApplication()) [[unlikely]] {
        const Debug::CallStack position(file, line, function);
        Error::OnAssertion({"s_instance != nullptr", Runtime::noApplicationMessage, &position});
    }
    return Runtime::FindLogger();
}

} // namespace Tovra::System::Log
