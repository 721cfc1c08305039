#include <Support/Child.h>
#include <Support/XListener.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Tovra::Tests {

namespace {

sockaddr_un GetLocalAddress(const std::string& displayName) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/tmp/.X11-unix/X" + displayName.substr(1);
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

sockaddr_in GetLoopbackAddress(int number) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    constexpr int firstPort = 6000;
    address.sin_port = htons(static_cast<std::uint16_t>(firstPort + number));
    return address;
}

} // namespace

XListener::XListener(Network network, int backlog)
    : m_network(network),
      m_descriptor(socket(network == Network::Loopback ? AF_INET : AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    // Servers that look for a free number start at 0.
    constexpr int firstNumber = 1000;
    constexpr int lastNumber = 2000;
    for (m_number = firstNumber; m_number < lastNumber && !Bind(); m_number++) {
        ThrowIf(errno != EADDRINUSE, "bind");
    }
    ThrowIf(listen(m_descriptor, backlog) != 0, "listen");
}

XListener::~XListener() {
    Close();
    if (m_network == Network::Local) {
        unlink(GetLocalAddress(GetDisplayName()).sun_path);
    }
}

std::string XListener::GetDisplayName() const {
    return (m_network == Network::Loopback ? "127.0.0.1:" : ":") + std::to_string(m_number);
}

int XListener::Accept() const {
    return accept4(m_descriptor, nullptr, nullptr, SOCK_CLOEXEC);
}

std::vector<int> XListener::FillBacklog() const {
    std::vector<int> clients;
    for (int client = 0; (client = Connect(GetDisplayName(), SOCK_NONBLOCK)) >= 0;) {
        clients.push_back(client);
    }
    return clients;
}

void XListener::EmptyBacklog(const std::vector<int>& clients) const {
    for (const int client : clients) {
        close(Accept());
        close(client);
    }
}

void XListener::Close() {
    if (m_descriptor >= 0) {
        close(std::exchange(m_descriptor, -1));
    }
}

int XListener::Connect(const std::string& displayName, int flags) {
    const sockaddr_un address = GetLocalAddress(displayName);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        return descriptor;
    }
    close(descriptor);
    return -1;
}

bool XListener::Bind() const {
    if (m_network == Network::Loopback) {
        const sockaddr_in address = GetLoopbackAddress(m_number);
        return bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    const sockaddr_un address = GetLocalAddress(GetDisplayName());
    return bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

} // namespace Tovra::Tests
