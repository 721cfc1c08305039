#include <System/Desktop/X11_Linux.h>
#include <System/Desktop/Xcb_Linux.h>

#include <unistd.h>

#include <utility>
#include <vector>

namespace Tovra::System::Desktop::Xcb {

namespace {

Functions s_functions;

using RandrVersionQuestion = Question<&Functions::xcb_randr_query_version, &Functions::xcb_randr_query_version_reply>;
using ResourceVersionQuestion = Question<&Functions::xcb_res_query_version, &Functions::xcb_res_query_version_reply>;
using XFixesVersionQuestion =
    Question<&Functions::xcb_xfixes_query_version, &Functions::xcb_xfixes_query_version_reply>;

#define TOVRA_XCB_LOAD(library, name) X11::LoadFunction(library, #name, s_functions.name)&&

bool LoadFunctions() {
    void* const x11Xcb = dlopen("libX11-xcb.so.1", RTLD_LAZY);
    void* const xcb = dlopen("libxcb.so.1", RTLD_LAZY);
    return x11Xcb != nullptr && xcb != nullptr && TOVRA_XCB_FUNCTIONS(TOVRA_XCB_LOAD) true;
}

bool LoadResourceFunctions() {
    void* const xcbRes = dlopen("libxcb-res.so.0", RTLD_LAZY);
    return xcbRes != nullptr && TOVRA_XCB_RESOURCE_FUNCTIONS(TOVRA_XCB_LOAD) true;
}

bool LoadRandrFunctions() {
    void* const xcbRandr = dlopen("libxcb-randr.so.0", RTLD_LAZY);
    return xcbRandr != nullptr && TOVRA_XCB_RANDR_FUNCTIONS(TOVRA_XCB_LOAD) true;
}

bool LoadXFixesFunctions() {
    void* const xcbXfixes = dlopen("libxcb-xfixes.so.0", RTLD_LAZY);
    return xcbXfixes != nullptr && TOVRA_XCB_XFIXES_FUNCTIONS(TOVRA_XCB_LOAD) true;
}

#undef TOVRA_XCB_LOAD

/// A request of an extension that the server lacks would end the connection. One round trip.
bool HasExtension(const Server& server, xcb_extension_t* extension) {
    const auto* const data = s_functions.xcb_get_extension_data(server.connection, extension);
    return data != nullptr && data->present != 0;
}

ToldProcesses AskWhoseProcessesItTells(const Server& server) {
    if (!LoadResourceFunctions() || !HasExtension(server, s_functions.xcb_res_id)) {
        return ToldProcesses::Nothing;
    }
    const std::uint32_t ourConnection = s_functions.xcb_get_setup(server.connection)->resource_id_base;
    const ResourceVersionQuestion versionQuestion(server, std::uint8_t{1}, std::uint8_t{2});
    const ProcessesQuestion processesQuestion(server, {&ourConnection, 1});
    const auto version = versionQuestion.Take();
    // A server of an older version refuses the second question.
    const ProcessNumbers processes = processesQuestion.Take();
    const auto ours = processes.find(ourConnection);
    if (version == nullptr || std::pair(version->server_major, version->server_minor) < std::pair(1, 2) ||
        ours == processes.end()) {
        return ToldProcesses::Nothing;
    }
    return ours->second == static_cast<std::uint32_t>(getpid()) ? ToldProcesses::Ours : ToldProcesses::Others;
}

bool AskWhetherItTellsDisplays(const Server& server) {
    if (!LoadRandrFunctions() || !HasExtension(server, s_functions.xcb_randr_id)) {
        return false;
    }
    const auto version = RandrVersionQuestion(server, std::uint32_t{1}, std::uint32_t{5}).Take();
    return version != nullptr && std::pair(version->major_version, version->minor_version) >= std::pair(1U, 3U);
}

bool AskWhetherItHidesCursor(const Server& server) {
    if (!LoadXFixesFunctions() || !HasExtension(server, s_functions.xcb_xfixes_id)) {
        return false;
    }
    const auto version =
        XFixesVersionQuestion(server, std::uint32_t{XCB_XFIXES_MAJOR_VERSION}, std::uint32_t{XCB_XFIXES_MINOR_VERSION})
            .Take();
    return version != nullptr && version->major_version >= 4;
}

Server FindServer() {
    Server server;
    Display* const display = X11::GetDisplay();
    if (display == nullptr || !LoadFunctions()) {
        return server;
    }
    server.connection = s_functions.XGetXCBConnection(display);
    server.root = static_cast<xcb_window_t>(DefaultRootWindow(display));
    return server;
}

/// The server, or null if there is none, or none any more.
const Server* GetServer() {
    static const Server s_server = FindServer();
    return s_server.connection == nullptr || X11::GetDisplay() == nullptr ? nullptr : &s_server;
}

} // namespace

const Functions& GetFunctions() {
    return s_functions;
}

ToldProcesses GetToldProcesses(const Server& server) {
    static const ToldProcesses s_told = AskWhoseProcessesItTells(server);
    return s_told;
}

bool TellsDisplays(const Server& server) {
    static const bool s_tells = AskWhetherItTellsDisplays(server);
    return s_tells;
}

bool HidesCursor(const Server& server) {
    static const bool s_hides = AskWhetherItHidesCursor(server);
    return s_hides;
}

std::uint32_t GetConnectionBits(const Server& server, std::uint32_t number) {
    return number & ~s_functions.xcb_get_setup(server.connection)->resource_id_mask;
}

bool IsOwn(const Server& server, std::uint32_t number) {
    return GetConnectionBits(server, number) == s_functions.xcb_get_setup(server.connection)->resource_id_base;
}

ProcessesQuestion::ProcessesQuestion(const Server& server, std::span<const std::uint32_t> numbers)
    : m_server(server), m_question(Ask(server, numbers)) {}

ProcessNumbers ProcessesQuestion::Take() const {
    ProcessNumbers processes;
    const auto reply = m_question.Take();
    if (reply == nullptr) {
        return processes;
    }
    // Connections of which the server knows nothing are left out of the answer, so their places in it tell nothing.
    for (auto answers = s_functions.xcb_res_query_client_ids_ids_iterator(reply.get()); answers.rem > 0;
         s_functions.xcb_res_client_id_value_next(&answers)) {
        if (s_functions.xcb_res_client_id_value_value_length(answers.data) == 1) {
            processes.emplace(GetConnectionBits(m_server, answers.data->spec.client),
                              *s_functions.xcb_res_client_id_value_value(answers.data));
        }
    }
    return processes;
}

ProcessesQuestion::ClientIdsQuestion ProcessesQuestion::Ask(const Server& server,
                                                            std::span<const std::uint32_t> numbers) {
    std::vector<xcb_res_client_id_spec_t> connections;
    connections.reserve(numbers.size());
    for (const std::uint32_t number : numbers) {
        connections.push_back({.client = number, .mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    }
    return ClientIdsQuestion(server, static_cast<std::uint32_t>(connections.size()), connections.data());
}

Session::Session() : m_server(Xcb::GetServer()) {}

Session::~Session() {
    if (m_server != nullptr && !IsConnected(*m_server)) {
        X11::AbandonConnection();
    }
}

bool IsConnected(const Server& server) {
    return s_functions.xcb_connection_has_error(server.connection) == 0;
}

bool IsDone(const Server& server, xcb_void_cookie_t cookie) {
    const Reply<xcb_generic_error_t> error(s_functions.xcb_request_check(server.connection, cookie));
    return error == nullptr && IsConnected(server);
}

} // namespace Tovra::System::Desktop::Xcb
