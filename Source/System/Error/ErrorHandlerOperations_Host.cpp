#include <System/Error/ErrorHandlerOperations.h>

#include <sys/resource.h>

namespace Tovra::System::Error {

void LimitStack() {
    constexpr rlim_t limit = rlim_t{64} * 1024 * 1024;
    rlimit stack{};
    if (getrlimit(RLIMIT_STACK, &stack) == 0 && stack.rlim_cur > limit) {
        stack.rlim_cur = limit;
        setrlimit(RLIMIT_STACK, &stack);
    }
}

} // namespace Tovra::System::Error
