#include <System/X11/Xcb_Linux.h>

#include <vector>

namespace Tovra::System::X11::Xcb {

Session::Session() : m_connection(X11::GetConnection()) {
    if (m_connection != nullptr && m_connection->xcb == nullptr) {
        m_connection = nullptr;
    }
}

Session::~Session() {
    if (m_connection != nullptr && !IsIntact(*m_connection)) {
        AbandonConnection();
    }
}

bool IsIntact(const Connection& x11) {
    return x11.xcb_connection_has_error(x11.xcb) == 0;
}

Reply<xcb_generic_error_t> GetError(const Connection& x11, xcb_void_cookie_t cookie) {
    return Reply<xcb_generic_error_t>(x11.xcb_request_check(x11.xcb, cookie));
}

bool IsDone(const Connection& x11, xcb_void_cookie_t cookie) {
    return GetError(x11, cookie) == nullptr && IsIntact(x11);
}

std::uint32_t GetClientBits(const Connection& x11, std::uint32_t id) {
    return id & ~x11.xcb_get_setup(x11.xcb)->resource_id_mask;
}

bool IsOwn(const Connection& x11, std::uint32_t id) {
    return GetClientBits(x11, id) == x11.xcb_get_setup(x11.xcb)->resource_id_base;
}

ProcessIdsRequest::ProcessIdsRequest(const Connection& x11, std::span<const std::uint32_t> ids)
    : m_x11(x11), m_request(Send(x11, ids)) {}

ProcessIds ProcessIdsRequest::GetReply() const {
    ProcessIds processes;
    const auto reply = m_request.GetReply();
    if (reply == nullptr) {
        return processes;
    }
    // The reply leaves out clients that the server knows nothing of, so positions in it mean nothing.
    Lists lists(reply);
    for (std::uint32_t index = 0; index < reply->num_ids; ++index) {
        const auto client = lists.Take<xcb_res_client_id_value_t>(1);
        if (client.empty()) {
            break;
        }
        const std::size_t count = client.front().length / sizeof(std::uint32_t);
        const auto values = lists.Take<std::uint32_t>(count);
        if (count == 1 && !values.empty()) {
            processes.emplace(GetClientBits(m_x11, client.front().spec.client), values.front());
        }
    }
    return processes;
}

ProcessIdsRequest::ClientIdsRequest ProcessIdsRequest::Send(const Connection& x11, std::span<const std::uint32_t> ids) {
    std::vector<xcb_res_client_id_spec_t> clients;
    clients.reserve(ids.size());
    for (const std::uint32_t id : ids) {
        clients.push_back({.client = id, .mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    }
    return ClientIdsRequest(x11, static_cast<std::uint32_t>(clients.size()), clients.data());
}

} // namespace Tovra::System::X11::Xcb
