#pragma once

#include <Support/XListener.h>

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Tovra::Tests {

/// Listens where an X server would, and does with its clients what a test says.
class FakeXServer {
public:
    /// `serve(client, number)` runs on a thread of its own for each client; they are numbered from 0. When it returns,
    /// the connection is closed. When this object's life ends, its calls on `client` fail.
    explicit FakeXServer(std::function<void(int, std::size_t)> serve);
    ~FakeXServer();
    FakeXServer(const FakeXServer&) = delete;
    FakeXServer& operator=(const FakeXServer&) = delete;

    /// The value of DISPLAY that leads here.
    std::string GetDisplayName() const { return m_listener.GetDisplayName(); }

private:
    void Accept();
    void Serve(int client, std::size_t number);

    std::function<void(int, std::size_t)> m_serve;
    XListener m_listener;
    std::mutex m_mutex;
    std::vector<int> m_clients; ///< By their numbers; -1 for those that were closed.
    std::vector<std::thread> m_threads;
    std::thread m_acceptor;
};

/// Reads from a client until it closes its connection.
void ReadToTheEnd(int client);

/// Reads a client's setup request, without its authorization; false if the client is gone. A server reads it before it
/// replies: Xlib takes an earlier reply for an event or for the reply to another request.
bool ReadSetup(int client);

/// Sends to a client; false if it is gone.
bool Send(int client, std::string_view bytes);

} // namespace Tovra::Tests
