#include <Support/ReplacedPoll.h>

#include <utility>

namespace {

constinit thread_local const Tovra::Tests::ReplacedPoll::Function* s_function = nullptr;

} // namespace

namespace Tovra::Tests {

ReplacedPoll::ReplacedPoll(Function function) : m_function(std::move(function)) {
    s_function = &m_function;
}

ReplacedPoll::~ReplacedPoll() {
    s_function = nullptr;
}

} // namespace Tovra::Tests

// The linker (--wrap) redirects calls of `poll` to the second function, and calls of the first to `poll`.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int __real_poll(pollfd* requests, nfds_t count, int timeout);
extern "C" int __wrap_poll(pollfd* requests, nfds_t count, int timeout);

extern "C" int __wrap_poll(pollfd* requests, nfds_t count, int timeout) {
    return s_function != nullptr ? (*s_function)(requests, count, timeout) : __real_poll(requests, count, timeout);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
