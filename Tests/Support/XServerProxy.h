#pragma once

#include <poll.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace Tovra::Tests {

/// A proxy of a local X server. It forwards the bytes of clients and server, but no descriptors, and can close all
/// connections for good at a chosen byte of what clients send: for them the server dies at that moment.
class XServerProxy {
public:
    /// `serverDisplay` is the server's ":number". The byte number `limit` of all that clients send is not forwarded,
    /// and the proxy closes; 0 is no limit. `onClose` is called just before, on another thread.
    explicit XServerProxy(const std::string& serverDisplay, std::size_t limit = 0, std::function<void()> onClose = {});
    ~XServerProxy();
    XServerProxy(const XServerProxy&) = delete;
    XServerProxy& operator=(const XServerProxy&) = delete;

    /// From now on a server that accepts a client sends an error (BadRequest, to no request) right behind that reply.
    void AddErrorToSetup() { m_addsError = true; }

    /// The value of DISPLAY that leads to the proxy: a number that was found free.
    std::string GetDisplayName() const { return ':' + std::to_string(m_number); }

    /// How many bytes clients have sent so far.
    std::size_t GetByteCount() const { return m_byteCount; }

private:
    enum class Outcome { Forwarded, Gone, Closed };

    struct Connection {
        int client;
        int server;
        bool hasReplied = false;
    };

    void Listen();
    void Serve();
    bool Serve(Connection& connection, bool hasRequests, bool hasReplies);
    void Connect();
    Outcome Forward(int from, int to, bool isFromClient);
    bool AddError(Connection& connection);

    std::string m_serverDisplay;
    std::size_t m_limit;
    std::function<void()> m_onClose;
    std::atomic<std::size_t> m_byteCount = 0;
    std::atomic<bool> m_addsError = false;
    int m_number = 0;
    int m_listener = -1;
    int m_stop = -1; ///< Becomes readable when the object's life ends.
    std::vector<Connection> m_connections;
    /// What the thread waits for. Not on its stack: a forked child has none, so the memory would count as leaked there.
    std::vector<pollfd> m_requests;
    std::thread m_thread;
};

} // namespace Tovra::Tests
