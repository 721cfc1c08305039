#pragma once

#include <poll.h>

#include <functional>

namespace Tovra::Tests {

/// During its life, this program's own calls of `poll` on the thread that made it go to a function instead. At most one
/// per thread. In `HostTests` alone.
class ReplacedPoll {
public:
    using Function = std::function<int(pollfd* requests, nfds_t count, int timeout)>;

    explicit ReplacedPoll(Function function);
    ReplacedPoll(const ReplacedPoll&) = delete;
    ReplacedPoll& operator=(const ReplacedPoll&) = delete;
    ~ReplacedPoll();

private:
    Function m_function;
};

} // namespace Tovra::Tests
