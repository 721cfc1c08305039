#include <Support/FakeXServer.h>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace Tovra::Tests {

FakeXServer::FakeXServer(std::function<void(int, std::size_t)> serve)
    : m_serve(std::move(serve)), m_listener(XListener::Network::Local, SOMAXCONN), m_acceptor([this] { Accept(); }) {}

FakeXServer::~FakeXServer() {
    shutdown(m_listener.GetDescriptor(), SHUT_RDWR); // Wakes the acceptor.
    m_acceptor.join();
    {
        const std::lock_guard lock(m_mutex);
        for (const int client : m_clients) {
            shutdown(client, SHUT_RDWR);
        }
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

void FakeXServer::Accept() {
    for (int client = 0; (client = m_listener.Accept()) >= 0;) {
        const std::lock_guard lock(m_mutex);
        m_clients.push_back(client);
        m_threads.emplace_back([this, client, number = m_threads.size()] { Serve(client, number); });
    }
}

void FakeXServer::Serve(int client, std::size_t number) {
    m_serve(client, number);
    const std::lock_guard lock(m_mutex);
    close(client);
    m_clients[number] = -1;
}

void ReadToTheEnd(int client) {
    std::array<char, 4096> buffer;
    while (recv(client, buffer.data(), buffer.size(), 0) > 0) {
    }
}

bool ReadSetup(int client) {
    std::array<char, 12> request{};
    return recv(client, request.data(), request.size(), MSG_WAITALL) == static_cast<ssize_t>(request.size());
}

bool Send(int client, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

} // namespace Tovra::Tests
