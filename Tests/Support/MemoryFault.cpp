#include <Support/MemoryFault.h>

#include <cerrno>

namespace Tovra::Tests {

namespace {

/// Zero where no call is to fail any more.
thread_local int s_callsToFault = 0;

} // namespace

MemoryFault::MemoryFault(int call) {
    s_callsToFault = call;
}

MemoryFault::~MemoryFault() {
    s_callsToFault = 0;
}

bool MemoryFault::HasOccurred() {
    return s_callsToFault == 0;
}

bool MemoryFault::IsThisCall() {
    if (s_callsToFault == 0 || --s_callsToFault > 0) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace Tovra::Tests
