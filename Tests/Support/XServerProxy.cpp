#include <Support/XServerProxy.h>

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace Tovra::Tests {

namespace {

bool SendAll(int descriptor, std::string_view data) {
    while (!data.empty()) {
        const ssize_t sent = send(descriptor, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/// What can be read; empty if the other side has closed the connection.
std::string Receive(int descriptor, int flags = 0) {
    std::array<char, 65536> buffer;
    const ssize_t count = recv(descriptor, buffer.data(), buffer.size(), flags);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

} // namespace

XServerProxy::XServerProxy(const std::string& serverDisplay, std::size_t limit, End end, std::function<void()> onEnd,
                           XListener::Network network)
    : XServerProxy(serverDisplay, limit, end, std::move(onEnd), network, Link{}) {}

XServerProxy::XServerProxy(const std::string& serverDisplay, Link link)
    : XServerProxy(serverDisplay, 0, End::Close, {}, XListener::Network::Local, link) {}

XServerProxy::XServerProxy(const std::string& serverDisplay, std::size_t limit, End end, std::function<void()> onEnd,
                           XListener::Network network, Link link)
    : m_serverDisplay(serverDisplay), m_limit(limit), m_end(end), m_onEnd(std::move(onEnd)), m_link(link),
      m_listener(network, SOMAXCONN), m_stop(eventfd(0, EFD_CLOEXEC)) {
    m_thread = std::thread([this] { Serve(); });
}

XServerProxy::~XServerProxy() {
    eventfd_write(m_stop, 1);
    m_thread.join();
    close(m_stop);
}

void XServerProxy::Serve() {
    bool isOpen = true;
    while (isOpen) {
        PreparePoll();
        poll(m_requests.data(), m_requests.size(), GetTimeout());
        isOpen = m_requests[0].revents == 0;
        for (std::size_t index = 0; isOpen && index < m_connections.size(); index++) {
            isOpen = Serve(m_connections[index], m_requests[2 + 2 * index].revents != 0,
                           m_requests[3 + 2 * index].revents != 0);
        }
        if (isOpen && m_requests[1].revents != 0 && m_accepts) {
            Connect();
        }
        std::erase_if(m_connections, [](const Connection& connection) { return connection.client < 0; });
    }
    for (const Connection& connection : m_connections) {
        close(connection.client);
        close(connection.server);
    }
    m_listener.Close(); // Further clients are refused.
}

/// `poll` ignores negative descriptors. While a piece of replies is on its way no other one is read, if the link is
/// slow: the server then waits as well.
void XServerProxy::PreparePoll() {
    m_requests = {{m_stop, POLLIN, 0}, {m_accepts ? m_listener.GetDescriptor() : -1, POLLIN, 0}};
    for (const Connection& connection : m_connections) {
        const bool isWaiting = m_link.bytesPerSecond != 0 && !connection.replies.empty();
        m_requests.push_back({connection.isSilent ? -1 : connection.client, POLLIN, 0});
        m_requests.push_back({connection.isSilent || isWaiting ? -1 : connection.server, POLLIN, 0});
    }
}

/// Until the next replies are due, in milliseconds; -1 if there are none.
int XServerProxy::GetTimeout() const {
    auto next = Clock::time_point::max();
    for (const Connection& connection : m_connections) {
        if (!connection.replies.empty() && !connection.isSilent) {
            next = std::min(next, connection.replies.front().due);
        }
    }
    if (next == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

void XServerProxy::Connect() {
    const int client = m_listener.Accept();
    const int server = XListener::Connect(m_serverDisplay);
    if (client >= 0 && server >= 0) {
        m_connections.push_back({.client = client, .server = server});
    } else {
        close(client);
        close(server);
    }
}

/// Forwards what there is; false if the proxy closes.
bool XServerProxy::Serve(Connection& connection, bool hasRequests, bool hasReplies) {
    if (connection.isSilent) {
        return true; // Since a moment ago.
    }
    Outcome outcome = SendDue(connection) ? Outcome::Forwarded : Outcome::Gone;
    if (hasRequests && outcome == Outcome::Forwarded) {
        outcome = ForwardRequests(connection);
    }
    if (hasReplies && outcome == Outcome::Forwarded) {
        outcome = ForwardReplies(connection);
    }
    if (outcome == Outcome::Gone) {
        // One side has closed its connection, so the other one is closed too.
        close(connection.client);
        close(connection.server);
        connection = {.client = -1, .server = -1};
    }
    return outcome != Outcome::Ended || EndAll();
}

XServerProxy::Outcome XServerProxy::ForwardRequests(const Connection& connection) {
    const std::string bytes = Receive(connection.client, MSG_PEEK);
    const bool isEnd = m_limit != 0 && m_byteCount + bytes.size() >= m_limit;
    // The byte at the limit stays unread: a connection that is closed then is reset.
    const std::size_t size = isEnd ? m_limit - m_byteCount - 1 : bytes.size();
    if (bytes.empty() || !SendAll(connection.server, bytes.substr(0, size))) {
        return Outcome::Gone;
    }
    std::string forwarded(size, '\0');
    recv(connection.client, forwarded.data(), size, 0);
    if (isEnd && m_end != End::Reset) {
        Receive(connection.client);
    }
    m_byteCount += size;
    return isEnd ? Outcome::Ended : Outcome::Forwarded;
}

XServerProxy::Outcome XServerProxy::ForwardReplies(Connection& connection) const {
    const std::string bytes = Receive(connection.server);
    if (bytes.empty()) {
        return Outcome::Gone;
    }
    if (m_link.bytesPerSecond == 0) {
        connection.replies.push_back({.due = Clock::now() + m_link.delay, .content = bytes});
    }
    for (std::size_t begin = 0; m_link.bytesPerSecond != 0 && begin < bytes.size(); begin += m_link.bytesPerSecond) {
        const std::chrono::seconds delay(1 + begin / m_link.bytesPerSecond);
        connection.replies.push_back(
            {.due = Clock::now() + delay, .content = bytes.substr(begin, m_link.bytesPerSecond)});
    }
    return SendDue(connection) && (!m_addsError || AddError(connection, bytes)) ? Outcome::Forwarded : Outcome::Gone;
}

/// Sends the replies that have been on their way for long enough. False if the client is gone.
bool XServerProxy::SendDue(Connection& connection) const {
    while (!connection.replies.empty() && connection.replies.front().due <= Clock::now()) {
        if (!SendAll(connection.client, connection.replies.front().content)) {
            return false;
        }
        connection.replies.pop_front();
    }
    return true;
}

/// Sends the error behind the reply to the setup request, which may come in pieces. False if the client is gone.
bool XServerProxy::AddError(Connection& connection, std::string_view bytes) {
    constexpr std::array<char, 32> badRequest{0, 1};
    constexpr std::size_t headSize = 8;
    if (connection.hasReplied) {
        return true;
    }
    std::string& setup = connection.setup;
    setup += bytes;
    if (setup.size() < headSize) {
        return true;
    }
    const std::size_t length = static_cast<unsigned char>(setup[6]) + 256UL * static_cast<unsigned char>(setup[7]);
    connection.hasReplied = setup.size() >= headSize + 4 * length;
    return !connection.hasReplied || SendAll(connection.client, {badRequest.data(), badRequest.size()});
}

/// The limit is reached; false if the proxy closes.
bool XServerProxy::EndAll() {
    if (m_onEnd) {
        m_onEnd();
    }
    m_limit = 0;
    for (Connection& connection : m_connections) {
        connection.isSilent = true;
        if (m_end == End::CloseReplies) {
            shutdown(connection.client, SHUT_WR);
        }
    }
    m_accepts = m_end == End::ServedSilence || m_end == End::CloseReplies;
    if (m_end == End::RefusedSilence) {
        m_listener.Close();
    }
    return m_end != End::Close && m_end != End::Reset;
}

} // namespace Tovra::Tests
