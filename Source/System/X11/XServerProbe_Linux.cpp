#include <System/Utilities/BlockedSignals.h>
#include <System/Utilities/Number.h>
#include <System/X11/XServerProbe_Linux.h>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace Tovra::System::X11 {

namespace {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// The display's number in "display[.screen]".
std::optional<std::uint16_t> ParseNumbers(std::string_view text) {
    const auto display = Utilities::TakeNumber<std::uint16_t>(text);
    if (text.empty()) {
        return display;
    }
    const bool isScreen = text.front() == '.';
    text.remove_prefix(1);
    return isScreen && Utilities::TakeNumber<std::uint16_t>(text) && text.empty() ? display : std::nullopt;
}

/// A path names the socket itself, with or without a screen behind it.
ServerRoute ParseSocketPath(std::string path) {
    struct stat information{};
    if (stat(path.c_str(), &information) != 0) {
        path.resize(std::min(path.size(), path.rfind('.')));
    }
    return {std::move(path), "", ""};
}

/// Waits until the socket is ready for what `events` says.
bool WaitFor(int socketDescriptor, short events, Deadline deadline) {
    pollfd request{.fd = socketDescriptor, .events = events, .revents = {}};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int ready = poll(&request, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

bool HasConnected(int socketDescriptor, Deadline deadline) {
    int error{};
    socklen_t size = sizeof error;
    return WaitFor(socketDescriptor, POLLOUT, deadline) &&
           getsockopt(socketDescriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

/// Connects a socket that does not block. EAGAIN means that a local server's backlog is full (unix(7)); nothing tells
/// when there is room again.
bool ConnectInTime(int socketDescriptor, const sockaddr* address, socklen_t size, Deadline deadline) {
    while (connect(socketDescriptor, address, size) != 0) {
        if (errno == EINPROGRESS) {
            return HasConnected(socketDescriptor, deadline);
        }
        if (errno != EAGAIN || Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

/// A connected socket that the caller closes, or nothing.
std::optional<int> Connect(const sockaddr* address, socklen_t size, Deadline deadline) {
    FileSystem::Descriptor descriptor(socket(address->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // Fails as well where there is no socket.
    return ConnectInTime(descriptor.Get(), address, size, deadline) ? std::optional(descriptor.Release())
                                                                    : std::nullopt;
}

/// Servers listen on the abstract socket of that name, on the file, or on both.
std::optional<int> ConnectLocally(const std::string& path, Deadline deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return std::nullopt;
    }
    constexpr std::size_t prefix = offsetof(sockaddr_un, sun_path) + 1;
    path.copy(address.sun_path + 1, path.size());
    if (const auto descriptor =
            Connect(reinterpret_cast<sockaddr*>(&address), static_cast<socklen_t>(prefix + path.size()), deadline)) {
        return descriptor;
    }
    std::memset(address.sun_path, 0, sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    return Connect(reinterpret_cast<sockaddr*>(&address), sizeof address, deadline);
}

Addresses LookUp(const std::string& host, const std::string& port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* addresses = nullptr;
    const bool found = getaddrinfo(host.c_str(), port.c_str(), &hints, &addresses) == 0;
    return Addresses(found ? addresses : nullptr);
}

/// Looks a name up on a thread of its own, since the resolver has no time limit; a late answer is dropped there. Where
/// no thread can be made, this one waits for the resolver.
Addresses Resolve(const std::string& host, const std::string& port, Deadline deadline) {
    std::promise<Addresses> promise;
    std::future<Addresses> answer = promise.get_future();
    const auto lookUp = [host, port](std::promise<Addresses> result) { result.set_value(LookUp(host, port)); };
    try {
        const Utilities::BlockedSignals blocked(Utilities::BlockedSignals::Kind::AllButFaults);
        std::thread(lookUp, std::move(promise)).detach();
    } catch (const std::system_error&) {
        return LookUp(host, port);
    }
    return answer.wait_until(deadline) == std::future_status::ready ? answer.get() : nullptr;
}

std::optional<int> ConnectOverNetwork(const ServerRoute& route, Deadline deadline) {
    if (route.host.empty()) {
        return std::nullopt;
    }
    const Addresses addresses = Resolve(route.host, route.port, deadline);
    for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
        if (const auto descriptor = Connect(address->ai_addr, address->ai_addrlen, deadline)) {
            return descriptor;
        }
    }
    return std::nullopt;
}

std::optional<int> Connect(const ServerRoute& route, Deadline deadline) {
    const auto descriptor = ConnectLocally(route.socketPath, deadline);
    return descriptor ? descriptor : ConnectOverNetwork(route, deadline);
}

/// Asks for a connection without authority. The first byte of any reply is 0 to 2 (X protocol, connection setup). A
/// forwarder such as ssh closes the connection instead, which is an answer too: what Xlib sends has an authority.
bool AnswersSetup(int socketDescriptor, Deadline deadline) {
    constexpr std::array<std::uint8_t, 12> littleEndianVersion11{'l', 0, 11};
    // Fails if the server has closed the connection already, which is found out below.
    send(socketDescriptor, littleEndianVersion11.data(), littleEndianVersion11.size(), MSG_NOSIGNAL);
    std::uint8_t status{};
    return WaitFor(socketDescriptor, POLLIN, deadline) &&
           (recv(socketDescriptor, &status, sizeof status, 0) < 1 || status <= 2);
}

} // namespace

// xcb_parse_display is no help: it drops the protocol, knows no paths before libxcb 1.16, and takes numbers beyond all
// limits for others.
std::optional<ServerRoute> ParseDisplayName(std::string_view name) {
    constexpr std::string_view localPrefix = "unix:";
    const std::string_view path = name.starts_with(localPrefix) ? name.substr(localPrefix.size()) : name;
    if (path.starts_with('/')) {
        return ParseSocketPath(std::string(path));
    }
    const std::size_t colon = name.rfind(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    // No number is treated like one beyond the last port.
    const std::uint16_t number = ParseNumbers(name.substr(colon + 1)).value_or(UINT16_MAX);
    constexpr std::uint16_t firstPort = 6000;
    if (number > UINT16_MAX - firstPort) {
        return std::nullopt;
    }
    std::string_view host = name.substr(0, colon);
    const std::size_t slash = host.rfind('/');
    const std::string_view protocol = slash == std::string_view::npos ? "" : host.substr(0, slash);
    host.remove_prefix(slash + 1); // Nothing where there is no slash: one beyond the last position is 0.
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    const std::string local = "/tmp/.X11-unix/X" + std::to_string(number);
    if (protocol == "unix" || host == "unix") {
        return ServerRoute{local, "", ""};
    }
    const std::string port = std::to_string(firstPort + number);
    return host.empty() ? ServerRoute{protocol.empty() ? local : "", "localhost", port}
                        : ServerRoute{"", std::string(host), port};
}

ServerProbe::ServerProbe(const char* displayName, std::chrono::milliseconds patience)
    : ServerProbe((displayName != nullptr ? ParseDisplayName(displayName) : std::nullopt).value_or(ServerRoute()),
                  Clock::now() + patience) {}

ServerProbe::ServerProbe(const ServerRoute& route, Deadline deadline)
    : m_socket(Connect(route, deadline).value_or(-1)),
      m_answered(m_socket.IsOpen() && AnswersSetup(m_socket.Get(), deadline)) {}

} // namespace Tovra::System::X11
