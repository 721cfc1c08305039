#pragma once

#include <Support/XListener.h>

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Tovra::Tests {

/// A proxy of a local X server. It forwards the bytes of clients and server, but no descriptors, and can stop doing so
/// at a chosen byte of what clients send.
class XServerProxy {
public:
    /// What happens at that byte, which is not forwarded.
    enum class End {
        Close,          ///< All connections are closed for good: for the clients the server dies at that moment.
        Reset,          ///< The same, and to the clients it is an error of the socket.
        CloseReplies,   ///< The clients so far read the end of their connections, but may go on sending.
        Silence,        ///< Nothing is forwarded any more, and nobody accepted: a stopped server.
        RefusedSilence, ///< The same, but new clients are refused.
        ServedSilence,  ///< The clients so far get no replies any more. New ones are served.
    };

    /// What happens to the server's bytes on their way.
    struct Link {
        std::chrono::milliseconds delay{0};
        std::size_t bytesPerSecond = 0; ///< 0 for no limit.
    };

    /// `serverDisplay` is the server's ":number". `limit` is the byte's number in all that clients send; 0 is no limit.
    /// `onEnd` is called just before the end, on another thread.
    explicit XServerProxy(const std::string& serverDisplay, std::size_t limit = 0, End end = End::Close,
                          std::function<void()> onEnd = {}, XListener::Network network = XListener::Network::Local);
    XServerProxy(const std::string& serverDisplay, Link link);
    ~XServerProxy();
    XServerProxy(const XServerProxy&) = delete;
    XServerProxy& operator=(const XServerProxy&) = delete;

    /// From now on a server that accepts a client sends an error (BadRequest, to no request) right behind that reply.
    void AddErrorToSetup() { m_addsError = true; }

    /// The value of DISPLAY that leads to the proxy: a number that was found free.
    std::string GetDisplayName() const { return m_listener.GetDisplayName(); }

    /// How many bytes clients have sent so far.
    std::size_t GetByteCount() const { return m_byteCount; }

private:
    using Clock = std::chrono::steady_clock;

    enum class Outcome { Forwarded, Gone, Ended };

    struct Bytes {
        Clock::time_point due;
        std::string content;
    };

    struct Connection {
        int client;
        int server;
        bool hasReplied = false; ///< To the setup request; not used unless an error is added.
        bool isSilent = false;
        std::string setup = {};         ///< The reply to the setup request, as far as it has come.
        std::deque<Bytes> replies = {}; ///< On their way.
    };

    XServerProxy(const std::string& serverDisplay, std::size_t limit, End end, std::function<void()> onEnd,
                 XListener::Network network, Link link);

    void Serve();
    void PreparePoll();
    int GetTimeout() const;
    bool Serve(Connection& connection, bool hasRequests, bool hasReplies);
    void Connect();
    Outcome ForwardRequests(const Connection& connection);
    Outcome ForwardReplies(Connection& connection) const;
    bool SendDue(Connection& connection) const;
    static bool AddError(Connection& connection, std::string_view bytes);
    bool EndAll();

    std::string m_serverDisplay;
    std::size_t m_limit;
    End m_end;
    std::function<void()> m_onEnd;
    Link m_link;
    std::atomic<std::size_t> m_byteCount = 0;
    std::atomic<bool> m_addsError = false;
    XListener m_listener;
    bool m_accepts = true;
    int m_stop; ///< Becomes readable when the object's life ends.
    std::vector<Connection> m_connections;
    /// What the thread waits for. Not on its stack: a forked child has none, so the memory would count as leaked there.
    std::vector<pollfd> m_requests;
    std::thread m_thread;
};

} // namespace Tovra::Tests
