#include <Support/XServerProxy.h>

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Tovra::Tests {

namespace {

/// The address where an X server of that display name, ":number", listens.
sockaddr_un GetAddress(const std::string& displayName) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/tmp/.X11-unix/X" + displayName.substr(1);
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

void Check(bool succeeded, const char* what) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

bool SendAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t sent = send(descriptor, data, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        data += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

} // namespace

XServerProxy::XServerProxy(const std::string& serverDisplay, std::size_t limit, std::function<void()> onClose)
    : m_serverDisplay(serverDisplay), m_limit(limit), m_onClose(std::move(onClose)) {
    Listen();
    m_stop = eventfd(0, EFD_CLOEXEC);
    m_thread = std::thread([this] { Serve(); });
}

XServerProxy::~XServerProxy() {
    eventfd_write(m_stop, 1);
    m_thread.join();
    close(m_stop);
    unlink(GetAddress(GetDisplayName()).sun_path);
}

void XServerProxy::Listen() {
    // Servers that look for a free number start at 0.
    constexpr int firstNumber = 1000;
    constexpr int lastNumber = 2000;
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    for (m_number = firstNumber; m_number < lastNumber; m_number++) {
        const sockaddr_un address = GetAddress(GetDisplayName());
        if (bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            break;
        }
        Check(errno == EADDRINUSE, "bind");
    }
    Check(listen(m_listener, SOMAXCONN) == 0, "listen");
}

void XServerProxy::Serve() {
    bool isOpen = true;
    while (isOpen) {
        m_requests = {{m_stop, POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const Connection& connection : m_connections) {
            m_requests.push_back({connection.client, POLLIN, 0});
            m_requests.push_back({connection.server, POLLIN, 0});
        }
        poll(m_requests.data(), m_requests.size(), -1);
        isOpen = m_requests[0].revents == 0;
        for (std::size_t index = 0; isOpen && index < m_connections.size(); index++) {
            isOpen = Serve(m_connections[index], m_requests[2 + 2 * index].revents != 0,
                           m_requests[3 + 2 * index].revents != 0);
        }
        if (isOpen && m_requests[1].revents != 0) {
            Connect();
        }
        std::erase_if(m_connections, [](const Connection& connection) { return connection.client < 0; });
    }
    for (const Connection& connection : m_connections) {
        close(connection.client);
        close(connection.server);
    }
    // Further clients are refused.
    close(m_listener);
}

void XServerProxy::Connect() {
    const sockaddr_un address = GetAddress(m_serverDisplay);
    const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (client >= 0 && connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        m_connections.push_back({client, server});
    } else {
        close(client);
        close(server);
    }
}

/// Forwards what there is; false if the proxy closes.
bool XServerProxy::Serve(Connection& connection, bool hasRequests, bool hasReplies) {
    Outcome outcome = Outcome::Forwarded;
    if (hasRequests) {
        outcome = Forward(connection.client, connection.server, true);
    }
    if (hasReplies && outcome == Outcome::Forwarded) {
        outcome = Forward(connection.server, connection.client, false);
    }
    if (hasReplies && outcome == Outcome::Forwarded && m_addsError && !AddError(connection)) {
        outcome = Outcome::Gone;
    }
    if (outcome == Outcome::Gone) {
        // One side has closed its connection, so the other one is closed too.
        close(connection.client);
        close(connection.server);
        connection = {-1, -1};
    }
    return outcome != Outcome::Closed;
}

/// Sends the error behind the first reply of a connection. False if the client is gone.
bool XServerProxy::AddError(Connection& connection) {
    constexpr std::array<char, 32> badRequest{0, 1};
    return std::exchange(connection.hasReplied, true) ||
           SendAll(connection.client, badRequest.data(), badRequest.size());
}

XServerProxy::Outcome XServerProxy::Forward(int from, int to, bool isFromClient) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(from, buffer.data(), buffer.size());
    if (count <= 0) {
        return Outcome::Gone;
    }
    const auto size = static_cast<std::size_t>(count);
    if (isFromClient && m_limit != 0 && m_byteCount + size >= m_limit) {
        SendAll(to, buffer.data(), m_limit - m_byteCount - 1);
        if (m_onClose) {
            m_onClose();
        }
        return Outcome::Closed;
    }
    m_byteCount += isFromClient ? size : 0;
    return SendAll(to, buffer.data(), size) ? Outcome::Forwarded : Outcome::Gone;
}

} // namespace Tovra::Tests
