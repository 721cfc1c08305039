#pragma once

#include <cstdint>
#include <vector>

namespace Tovra::System::RemoteDesktop {

/// A process that runs in a remote session.
struct RemoteProcessInfo {
    std::uint32_t processId = 0;
};

/// The child session in which background automation runs. Inert on this platform: each operation answers a constant.
/// Any thread.
class ChildSession {
public:
    /// Stands for no session.
    static constexpr unsigned int noSession = 0xFFFFFFFF;

    /// Whether child sessions are switched on. Here false.
    static bool IsEnabled();
    static bool IsEnabledPlatform();

    /// Switches child sessions on. False on failure, and here.
    static bool Enable();
    static bool EnablePlatform();

    /// Switches child sessions off. False on failure, and here.
    static bool Disable();
    static bool DisablePlatform();

    /// Ends the connection to the child session. False on failure, and here.
    static bool Disconnect();
    static bool DisconnectPlatform();

    /// The number of the child session. Here `noSession`.
    static unsigned int GetSessionId();
    static unsigned int GetSessionIdPlatform();

    /// Gives the processes of a session. Here the list is left as it came.
    static void GetProcessList(unsigned int session, std::vector<RemoteProcessInfo>& list);
    static void GetProcessListPlatform(unsigned int session, std::vector<RemoteProcessInfo>& list);
};

} // namespace Tovra::System::RemoteDesktop
