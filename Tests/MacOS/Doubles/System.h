#pragma once

#include <MacOS/Doubles/Calls.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Tovra::Tests::Doubles {

/// A process of the table.
struct Process {
    std::int32_t id = 0;
    std::string path = {};      ///< Of its executable; empty if it can't be read.
    std::uint32_t userId = 501; ///< The effective one.
    int signalError = 0;        ///< Error of sending it any signal, such as `EPERM`; 0 for success.
};

/// For how many more processes the reply to a size query has room.
inline constexpr std::size_t tableSlack = 5;

/// The process table.
struct Processes {
    std::vector<Process> all;
    std::function<void()> onSizeQuery; ///< Called after its size was asked for: the table may have grown by the time
                                       ///< that it is read.
};

inline Processes& processes = Fakes::GetState<Processes>();

/// Values by the names of `sysctlbyname`, as bytes.
struct SystemControls {
    std::map<std::string, std::string> values;
};

inline SystemControls& systemControls = Fakes::GetState<SystemControls>();

/// What the dynamic linker knows.
struct Image {
    std::string path; ///< Of the executable; empty for that of this process.
};

inline Image& image = Fakes::GetState<Image>();

} // namespace Tovra::Tests::Doubles
