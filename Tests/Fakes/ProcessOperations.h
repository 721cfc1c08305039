#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// A process of the fake.
struct FakeProcess {
    std::int32_t id = 0;
    std::string path = {};               ///< Of its executable.
    std::uint32_t effectiveUserId = 501; ///< 0 for an elevated one.
    int signalError = 0;                 ///< Error of sending it any signal, such as `EPERM`; 0 for success.
    bool staysWhenKilled = false;        ///< Whether it is still there after a successful kill.
    int pathError = 0;                   ///< Error of reading its path; 0 for success.
    int incarnation = 0;                 ///< Tells processes apart that have the same id one after the other.
};

/// The operating system's processes, set by the test.
struct ProcessOperations {
    struct Signal {
        std::int32_t id;
        int signal;
        friend bool operator==(const Signal&, const Signal&) = default;
    };

    struct Spawn {
        std::string path;
        std::vector<std::string> arguments;
        std::vector<std::string> environment;
    };

    std::int32_t currentId = 4711;
    std::vector<FakeProcess> processes = {{.id = 4711, .path = "/opt/tovra/TovraFieldhostSetupTool"}};
    std::optional<std::size_t> tableSize = {}; ///< Size that both table queries return instead of the true one.
    std::map<std::string, std::string> bundleNames = {}; ///< Display names by bundle path.
    std::int32_t spawnedId = 5000;                       ///< Process id of the next started process.

    std::function<void()> onPathRead = {}; ///< Called after a path was read.

    std::vector<Signal> signals = {};     ///< Sent signals, in order, including existence probes (signal 0).
    std::map<int, FakeProcess> held = {}; ///< The held processes, by descriptor, as they were then.
    int holds = 0;                        ///< How often a process was held.
    std::vector<Spawn> spawns = {};       ///< Started processes, in order.
    int freedTables = 0;                  ///< How many tables were freed.

    Fault<> signalFault = {}; ///< Of signals to held processes too.
    Fault<> holdFault = {};
    Fault<> tableFault = {}; ///< The first call of a walk queries the size, the second the data.
    Fault<void*, nullptr> allocationFault = {};
    Fault<int, 0> pathFault = {};
    Fault<int, 0> informationFault = {};
    Fault<> spawnFault = {}; ///< `result` is the error number.

    /// The signals sent, without existence probes.
    std::vector<Signal> GetKills() const;
};

inline ProcessOperations& processOperations = GetState<ProcessOperations>();

} // namespace Tovra::Tests::Fakes
