#pragma once

#include <cerrno>

namespace Tovra::Tests::Fakes {

/// Makes one call of a faked function fail with a result and `errno`.
template <class Result = int>
struct Fault {
    int call = 0; ///< Which call fails, from 1; 0 for none.
    Result result = static_cast<Result>(-1);
    int error = 0;
    int calls = 0; ///< How often the function was called so far.

    /// Counts a call; true if it is the one to fail, with `errno` set.
    bool Strikes() {
        if (++calls != call) {
            return false;
        }
        errno = error;
        return true;
    }
};

} // namespace Tovra::Tests::Fakes
