#pragma once

#include <Fakes/State.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests::Doubles {

/// Functions that both systems have, wrapped by the linker. `kill` goes to the double's processes and is never the real
/// one; nothing is started.
struct LinuxCalls {
    std::vector<std::pair<int, int>> signals; ///< Process id and signal, in order.
    std::vector<std::string> spawned;         ///< Path and arguments, and environment, such as "/a|x|y in HOME=/".
    std::set<const void*> spawnObjects;       ///< Initialised ones.
    short spawnFlags = 0;
};

inline LinuxCalls& linuxCalls = Fakes::GetState<LinuxCalls>();

} // namespace Tovra::Tests::Doubles
