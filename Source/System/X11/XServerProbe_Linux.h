#pragma once

// An internal header of the Linux host: whether an X server answers, found out without Xlib.

#include <System/FileSystem/Descriptor.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace Tovra::System::X11 {

/// Where a display name leads: the socket is tried first, then the host. An empty one is not tried.
struct ServerRoute {
    std::string socketPath; ///< Of a local socket, and its abstract name.
    std::string host;
    std::string port; ///< In decimal.
};

/// The route of a display name, "[protocol/][host]:display[.screen]" or the path of a socket (X(7)); nothing if it is
/// none. Looks whether there is a file of that path. Any thread.
std::optional<ServerRoute> ParseDisplayName(std::string_view name);

/// A connection of its own to an X server, which tells whether that server answers. Xlib has no time limit, so it is
/// not used here.
///
/// Keep the object while Xlib connects: a server may reset when its last connection goes.
class ServerProbe {
public:
    /// Asks the server of a display name for a connection, and gives it `patience` to answer. Null and empty names are
    /// no display.
    explicit ServerProbe(const char* displayName, std::chrono::milliseconds patience = std::chrono::seconds(5));

    /// True if the server answered in time, be it with a refusal or by closing the connection, which carries no
    /// authority. False if it can't be connected to, stays silent, or replies what no X server does.
    bool HasAnswered() const { return m_answered; }

    /// The connection's socket; -1 if there is none. Closed at the end of this object's life.
    int GetSocket() const { return m_socket.Get(); }

private:
    ServerProbe(const ServerRoute& route, std::chrono::steady_clock::time_point deadline);

    FileSystem::Descriptor m_socket;
    bool m_answered;
};

} // namespace Tovra::System::X11
