#pragma once

#include <Fakes/State.h>
#include <System/RemoteDesktop/ChildSession.h>

#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the operations on the child session return.
struct ChildSession {
    bool isEnabled = false;
    bool enable = false;
    bool disable = false;
    bool disconnect = false;
    unsigned int sessionId = System::RemoteDesktop::ChildSession::noSession;
    std::vector<System::RemoteDesktop::RemoteProcessInfo> processes; ///< Appended to the caller's list.

    /// Each call with its arguments: "GetProcessList 7".
    std::vector<std::string> calls;
};

inline ChildSession& childSession = GetState<ChildSession>();

} // namespace Tovra::Tests::Fakes
