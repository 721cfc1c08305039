#pragma once

#include <cerrno>

namespace Tovra::Tests::Fakes {

/// Makes one call of a faked function fail, or all from one on, with a result and `errno`. Assigning a new fault counts
/// anew: `{.call = 2, .error = EIO}`, `{.call = 1, .lasts = true}`. `failure` is what the function returns on an error.
template <class Result = int, Result failure = Result(-1)>
struct Fault {
    int call = 0;       ///< The first call that fails, from 1; 0 for none.
    bool lasts = false; ///< Whether all later calls fail, too.
    Result result = failure;
    int error = 0;
    int calls = 0; ///< How often the function was called so far.

    /// Counts a call. True if it fails; `errno` is set then.
    bool Strikes() {
        ++calls;
        const bool strikes = call != 0 && (lasts ? calls >= call : calls == call);
        if (strikes) {
            errno = error;
        }
        return strikes;
    }
};

} // namespace Tovra::Tests::Fakes
