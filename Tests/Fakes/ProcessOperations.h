#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// A process that the fake shows.
struct FakeProcess {
    std::int32_t id = 0;
    std::string path = {};               ///< Of its executable.
    std::uint32_t effectiveUserId = 501; ///< 0 for an elevated one.
    int signalError = 0;                 ///< What sending it any signal fails with, such as `EPERM`; 0 for success.
    bool staysWhenKilled = false;        ///< Whether it is still there after a kill that succeeded.
    int pathError = 0;                   ///< What asking for its path fails with; 0 for success.
};

/// The operating system as the process operations see it, set by the test.
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
    std::optional<std::size_t> tableSize = {}; ///< What both table queries give as size instead of the true one.
    std::map<std::string, std::string> bundleNames = {}; ///< Display names by the paths of the bundles.
    std::int32_t spawnedId = 5000;                       ///< The number that the next started process gets.

    std::vector<Signal> signals = {}; ///< What was sent, in order, existence probes (signal 0) included.
    std::vector<Spawn> spawns = {};   ///< What was started, in order.
    int freedTables = 0;              ///< How many tables were given back.

    Fault<> signalFault = {};
    Fault<> tableFault = {}; ///< The first call of a walk asks for the size, the second for the data.
    Fault<void*, nullptr> allocationFault = {};
    Fault<int, 0> pathFault = {};
    Fault<int, 0> informationFault = {};
    Fault<> spawnFault = {}; ///< `result` is the error number.

    /// The signals that were sent but for the existence probes.
    std::vector<Signal> GetKills() const;
};

inline ProcessOperations& processOperations = GetState<ProcessOperations>();

} // namespace Tovra::Tests::Fakes
