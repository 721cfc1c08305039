#pragma once

#include <Fuzz/Input.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace Tovra::Tests::Fuzz {

/// The size of the shortest reply; its field `length` counts the rest, in units of 4 bytes.
constexpr std::size_t shortestReply = 32;

/// What a reply is padded with. A server writes anything there.
constexpr char padding = 'P';

/// The bytes of a value.
template <class Value>
std::string GetBytes(const Value& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

/// A reply that has the size that it states, as libxcb reads no other one: `bytes`, padded.
inline std::string MakeReply(std::string bytes) {
    while (bytes.size() < shortestReply || bytes.size() % 4 != 0) {
        bytes += padding;
    }
    const auto length = static_cast<std::uint32_t>((bytes.size() - shortestReply) / 4);
    return bytes.replace(offsetof(xcb_generic_reply_t, length), sizeof length, GetBytes(length));
}

/// A reply of a fixed part and lists.
template <class Fixed>
std::string MakeReply(const Fixed& fixed, std::string_view tail = {}) {
    return MakeReply(GetBytes(fixed).append(tail));
}

/// The replies that nobody has taken yet, by the sequence numbers of their requests.
inline std::map<unsigned int, std::string> s_replies;
inline unsigned int s_lastRequest = 0;

/// Sends a reply; an empty one stands for an error.
template <class Cookie>
Cookie Send(std::string reply) {
    const unsigned int number = ++s_lastRequest;
    s_replies.emplace(number, std::move(reply));
    return {number};
}

/// A function of XCB that waits for a reply: memory of exactly its size, or null for an error.
template <class Result, class Cookie>
Result* Take(xcb_connection_t*, Cookie cookie, xcb_generic_error_t**) {
    const auto found = s_replies.find(cookie.sequence);
    Expect(found != s_replies.end(), "a reply is taken once", cookie.sequence);
    const std::string reply = found->second;
    s_replies.erase(found);
    if (reply.empty()) {
        return nullptr;
    }
    void* const memory = std::malloc(reply.size());
    std::memcpy(memory, reply.data(), reply.size());
    return static_cast<Result*>(memory);
}

/// Reports replies that nobody has taken.
inline void ExpectNoReplies() {
    Expect(s_replies.empty(), "every reply is taken", s_replies.size());
}

} // namespace Tovra::Tests::Fuzz
