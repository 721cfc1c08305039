#include <System/Error/ErrorHandlerOperations.h>

#include <sys/resource.h>
#include <sys/stat.h>

namespace Tovra::System::Error {

bool Exists(int folder, const char* name) {
    struct stat status{};
    return fstatat(folder, name, &status, 0) == 0;
}

SignalAction GetSignalAction(int signal) {
    SignalAction action{};
    sigaction(signal, nullptr, &action);
    return action;
}

SignalAction ExchangeSignalAction(int signal, const SignalAction& action) {
    SignalAction previous{};
    sigaction(signal, &action, &previous);
    return previous;
}

void LimitStack() {
    constexpr rlim_t limitBytes = rlim_t{64} * 1024 * 1024;
    rlimit stack{};
    if (getrlimit(RLIMIT_STACK, &stack) == 0 && stack.rlim_cur > limitBytes) {
        stack.rlim_cur = limitBytes;
        setrlimit(RLIMIT_STACK, &stack);
    }
}

} // namespace Tovra::System::Error
