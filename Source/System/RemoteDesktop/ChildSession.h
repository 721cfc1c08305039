#pragma once

#include <cstdint>
#include <vector>

namespace Tovra::System::RemoteDesktop {

/// A process that runs in a remote session.
struct RemoteProcessInfo {
    std::uint32_t processId = 0;
};

/// The child session that background automation runs in. Not available on this platform: each function returns a
/// constant. Any thread.
class ChildSession {
public:
    /// The id that means no session.
    static constexpr unsigned int noSession = 0xFFFFFFFF;

    /// Whether child sessions are enabled. Here false.
    static bool IsEnabled();
    static bool IsEnabledPlatform();

    /// Enables child sessions. False on failure, and here.
    static bool Enable();
    static bool EnablePlatform();

    /// Disables child sessions. False on failure, and here.
    static bool Disable();
    static bool DisablePlatform();

    /// Disconnects the child session. False on failure, and here.
    static bool Disconnect();
    static bool DisconnectPlatform();

    /// The id of the child session. Here `noSession`.
    static unsigned int GetSessionId();
    static unsigned int GetSessionIdPlatform();

    /// Gives the processes of a session. Here `list` is left unchanged.
    static void GetProcessList(unsigned int session, std::vector<RemoteProcessInfo>& list);
    static void GetProcessListPlatform(unsigned int session, std::vector<RemoteProcessInfo>& list);
};

} // namespace Tovra::System::RemoteDesktop
