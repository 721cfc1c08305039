#include <Support/ReplacedCalls.h>

namespace Tovra::Tests {

namespace {

constinit thread_local const ReplacedCalls* s_replaced = nullptr;

/// Calls the replacement, if there is one, otherwise the function of the system.
template <class Replacement, class... Arguments>
auto Call(Replacement ReplacedCalls::* replacement, auto* own, Arguments... arguments) {
    const bool isReplaced = s_replaced != nullptr && s_replaced->*replacement;
    return isReplaced ? (s_replaced->*replacement)(arguments...) : own(arguments...);
}

} // namespace

ReplacedCalls::ReplacedCalls() {
    s_replaced = this;
}

ReplacedCalls::~ReplacedCalls() {
    s_replaced = nullptr;
}

} // namespace Tovra::Tests

// The linker (--wrap) redirects calls of `fork` to the second of two functions, and calls of the first to `fork`.
extern "C" {
pid_t __real_fork();
pid_t __wrap_fork();
int __real_poll(pollfd* requests, nfds_t count, int timeout);
int __wrap_poll(pollfd* requests, nfds_t count, int timeout);
ssize_t __real_read(int descriptor, void* data, std::size_t size);
ssize_t __wrap_read(int descriptor, void* data, std::size_t size);
ssize_t __real_write(int descriptor, const void* data, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* data, std::size_t size);

pid_t __wrap_fork() {
    return Tovra::Tests::Call(&Tovra::Tests::ReplacedCalls::fork, &__real_fork);
}

int __wrap_poll(pollfd* requests, nfds_t count, int timeout) {
    return Tovra::Tests::Call(&Tovra::Tests::ReplacedCalls::poll, &__real_poll, requests, count, timeout);
}

ssize_t __wrap_read(int descriptor, void* data, std::size_t size) {
    return Tovra::Tests::Call(&Tovra::Tests::ReplacedCalls::read, &__real_read, descriptor, data, size);
}

ssize_t __wrap_write(int descriptor, const void* data, std::size_t size) {
    return Tovra::Tests::Call(&Tovra::Tests::ReplacedCalls::write, &__real_write, descriptor, data, size);
}
}
