#pragma once

// An internal header of the Linux host: requests through XCB, for work that sends the server many at once.
//
// Xlib waits for the reply to each request. XCB sends requests on the same connection without waiting, so a batch costs
// one round trip. A request that the server refuses, as for a window that is gone, or that the end of the connection
// leaves open has no reply; it ends no process.

#include <System/X11/X11_Linux.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <type_traits>
#include <unordered_map>
#include <utility>

namespace Tovra::System::X11::Xcb {

/// A scope that uses XCB. At its end all threads learn of a connection that was lost meanwhile. Any thread.
class Session {
public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// The connection; null if there is none or XCB is missing.
    Connection* GetConnection() const { return m_connection; }

private:
    Connection* m_connection;
};

/// Frees a reply.
struct ReplyDeleter {
    void operator()(void* reply) const { std::free(reply); }
};

/// The server's reply, or null.
template <class T>
using Reply = std::unique_ptr<T, ReplyDeleter>;

/// The lists that follow the fixed part of a reply, taken in their order. The server states how long each is, and may
/// state what is false: xcb's own functions for lists believe it, so none of them is used.
class Lists {
public:
    /// `reply` must not be null, and has to live as long as what is taken.
    template <class Fixed>
    explicit Lists(const Reply<Fixed>& reply) {
        constexpr std::size_t shortest = 32; // What a reply has at least, beside `length` units of 4 bytes.
        static_assert(sizeof(Fixed) >= shortest);
        const std::size_t size = shortest + std::size_t{4} * reply->length;
        if (size > sizeof(Fixed)) {
            m_rest = {reinterpret_cast<const std::byte*>(reply.get() + 1), size - sizeof(Fixed)};
        }
    }

    /// The next list, of `count` values. If the reply ends before, those that are whole, and then nothing any more.
    template <class T>
    std::span<const T> Take(std::size_t count) {
        const auto* const values = reinterpret_cast<const T*>(m_rest.data());
        const std::size_t whole = m_rest.size() / sizeof(T);
        if (count > whole) {
            m_rest = {};
            return {values, whole};
        }
        m_rest = m_rest.subspan(count * sizeof(T));
        return {values, count};
    }

private:
    std::span<const std::byte> m_rest;
};

/// The first list of a reply.
template <class T, class Fixed>
std::span<const T> GetTail(const Reply<Fixed>& reply, std::size_t count) {
    return Lists(reply).template Take<T>(count);
}

/// The result type of a function, by `decltype`. Never defined.
template <class Result, class... Arguments>
Result GetResultOf(XcbCall<Result (*)(Arguments...)>);

/// A request that has been sent, made of the functions that send it and that wait for its reply.
template <auto send, auto wait>
class Request {
public:
    /// Sends the request, with the arguments that `send` takes behind the connection.
    template <class... Arguments>
    explicit Request(const Connection& x11, Arguments... arguments)
        : m_x11(x11), m_cookie((x11.*send)(x11.xcb, arguments...)) {}

    /// Waits for the reply: null if there is none. Call it once, always: a reply that nobody takes stays in memory.
    auto GetReply() const {
        auto* const reply = (m_x11.*wait)(m_x11.xcb, m_cookie, nullptr);
        return Reply<std::remove_pointer_t<decltype(reply)>>(reply);
    }

private:
    const Connection& m_x11;
    decltype(GetResultOf(std::declval<const Connection&>().*send)) m_cookie;
};

/// Asks for a window's position and size.
using GeometryRequest = Request<&Connection::xcb_get_geometry, &Connection::xcb_get_geometry_reply>;

/// Whether XCB has found no error on the connection so far. No round trip.
bool IsIntact(const Connection& x11);

/// The server's error at a request that has no reply, or null: one round trip. Null too if the connection was lost.
Reply<xcb_generic_error_t> GetError(const Connection& x11, xcb_void_cookie_t cookie);

/// Whether the server has carried out a request that has no reply: one round trip.
bool IsDone(const Connection& x11, xcb_void_cookie_t cookie);

/// Process ids of clients, by the bits of their windows' ids. 0 stands for a process that the server can't see.
using ProcessIds = std::unordered_map<std::uint32_t, std::uint32_t>;

/// The bits of an X id that identify the client that created the resource.
std::uint32_t GetClientBits(const Connection& x11, std::uint32_t id);

/// Whether the resource was created through this process's connection.
bool IsOwn(const Connection& x11, std::uint32_t id);

/// Asks for the process ids of the clients that made some windows: one request, however many there are. Only where the
/// server has the X resource extension.
class ProcessIdsRequest {
public:
    ProcessIdsRequest(const Connection& x11, std::span<const std::uint32_t> ids);

    /// Clients on other machines, and those that are gone, are left out.
    ProcessIds GetReply() const;

private:
    using ClientIdsRequest =
        Request<&Connection::xcb_res_query_client_ids, &Connection::xcb_res_query_client_ids_reply>;

    static ClientIdsRequest Send(const Connection& x11, std::span<const std::uint32_t> ids);

    const Connection& m_x11;
    ClientIdsRequest m_request;
};

} // namespace Tovra::System::X11::Xcb
