#pragma once

#include <vector>

namespace Tovra::Tests::Fakes {

/// What assigns a fresh state to each fake of the program.
inline std::vector<void (*)()>& GetResets() {
    static std::vector<void (*)()> s_resets;
    return s_resets;
}

/// Puts every fake back to what a test finds at first.
inline void ResetAll() {
    for (const auto reset : GetResets()) {
        reset();
    }
}

/// The one state of a fake, a class that `{}` makes as a test finds it at first. It is assigned anew behind
/// each test, so no test has to.
template <class State>
State& GetState() {
    static State s_state;
    [[maybe_unused]] static void (*const s_reset)() = GetResets().emplace_back([] { s_state = {}; });
    return s_state;
}

} // namespace Tovra::Tests::Fakes
