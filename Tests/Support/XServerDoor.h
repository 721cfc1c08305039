#pragma once

#include <poll.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace Tovra::Tests {

/// A door before a local X server, which passes on what clients and server say, and can fall shut for good at a chosen
/// point of what the clients say: the server dies for them at that moment. Passes no descriptors.
class XServerDoor {
public:
    /// `serverDisplay` is the server's ":number". With the byte number `limit` of all that clients send the door falls
    /// shut, without that byte having gone through; 0 leaves it open. `onShut` is called just before, on another
    /// thread.
    explicit XServerDoor(const std::string& serverDisplay, std::size_t limit = 0, std::function<void()> onShut = {});
    ~XServerDoor();
    XServerDoor(const XServerDoor&) = delete;
    XServerDoor& operator=(const XServerDoor&) = delete;

    /// What the variable DISPLAY must hold to come through the door: a number that was found free.
    std::string GetDisplayName() const { return ':' + std::to_string(m_number); }

    /// How many bytes clients have sent so far.
    std::size_t GetByteCount() const { return m_byteCount; }

private:
    enum class Outcome { Passed, Gone, Shut };

    struct Connection {
        int client;
        int server;
    };

    void Listen();
    void Serve();
    bool Serve(Connection& connection, bool clientSpeaks, bool serverSpeaks);
    void Connect();
    Outcome PassOn(int from, int to, bool isFromClient);

    std::string m_serverDisplay;
    std::size_t m_limit;
    std::function<void()> m_onShut;
    std::atomic<std::size_t> m_byteCount = 0;
    int m_number = 0;
    int m_listener = -1;
    int m_stop = -1; ///< Becomes readable when the object's life ends.
    std::vector<Connection> m_connections;
    /// What the thread waits for. Not on its stack, which a forked child has not, and whose memory would count as
    /// leaked.
    std::vector<pollfd> m_requests;
    std::thread m_thread;
};

} // namespace Tovra::Tests
