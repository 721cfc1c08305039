#pragma once

#include <vector>

namespace Tovra::Tests::Fakes {

/// Functions that assign a fresh state, one for each fake.
inline std::vector<void (*)()>& GetResets() {
    static std::vector<void (*)()> s_resets;
    return s_resets;
}

/// Resets every fake to its initial state.
inline void ResetAll() {
    for (const auto reset : GetResets()) {
        reset();
    }
}

/// The single state of a fake. It is reset to `{}` after each test and its fixture, so no test has to; a function in it
/// that a fixture's destructor can reach must not refer to locals of the test.
template <class State>
State& GetState() {
    static State s_state;
    [[maybe_unused]] static void (*const s_reset)() = GetResets().emplace_back([] { s_state = {}; });
    return s_state;
}

} // namespace Tovra::Tests::Fakes
