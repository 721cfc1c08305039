#include "DiagnosisOperations.h"
#include "Variables.h"

#include <System/FileSystem/ShortFile.h>
#include <System/X11/Glx_Linux.h>
#include <System/X11/Properties_Linux.h>
#include <System/X11/XServerProbe_Linux.h>

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

namespace Tovra::Fieldhost::Diagnose {

namespace X11 = System::X11;
namespace Xcb = X11::Xcb;

namespace {

using Clock = std::chrono::steady_clock;

/// The functions of XCB that only the diagnosis uses.
#define TOVRA_DIAGNOSIS_XCB_FUNCTIONS(CALL, PLAIN)                                                                     \
    CALL(xcb_query_extension)                                                                                          \
    CALL(xcb_query_extension_reply)                                                                                    \
    CALL(xcb_send_request)                                                                                             \
    CALL(xcb_wait_for_reply)
TOVRA_XCB_LIBRARY(XcbQueries, "libxcb.so.1", TOVRA_DIAGNOSIS_XCB_FUNCTIONS);

std::string GetHostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return gethostname(name.data(), name.size()) == 0 ? name.data() : "";
}

// --- The connection's setup -----------------------------------------------------------------------------------------

/// A socket that is connected, or -1 with `errno`.
int Connect(const sockaddr* address, socklen_t size, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) {
        errno = ETIMEDOUT;
        return -1;
    }
    const int descriptor = socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return -1;
    }
    // It limits a connect too (socket(7)).
    const timeval limit{.tv_sec = left.count() / 1000, .tv_usec = left.count() % 1000 * 1000};
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (connect(descriptor, address, size) == 0) {
        return descriptor;
    }
    const int error = errno;
    close(descriptor);
    errno = error;
    return -1;
}

/// Servers listen on the abstract socket of that name, on the file, or on both. Returns the socket, or -1 with `errno`.
int ConnectLocally(const std::string& path, Clock::time_point deadline) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() + 1 >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    path.copy(address.sun_path + 1, path.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
    const int descriptor = Connect(reinterpret_cast<const sockaddr*>(&address), size, deadline);
    if (descriptor >= 0 || errno == EAGAIN) {
        return descriptor;
    }
    std::memset(address.sun_path, 0, sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    return Connect(reinterpret_cast<const sockaddr*>(&address), sizeof address, deadline);
}

/// The address at the other end, as authorities name it.
std::pair<std::uint16_t, std::string> GetPeer(int socketDescriptor) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    if (getpeername(socketDescriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0) {
        if (peer.ss_family == AF_INET) {
            const auto& address = reinterpret_cast<const sockaddr_in&>(peer).sin_addr;
            if (ntohl(address.s_addr) != INADDR_LOOPBACK) {
                return {internetFamily, std::string(reinterpret_cast<const char*>(&address), sizeof address)};
            }
        } else if (peer.ss_family == AF_INET6) {
            const auto& address = reinterpret_cast<const sockaddr_in6&>(peer).sin6_addr;
            if (!IN6_IS_ADDR_LOOPBACK(&address)) {
                return {internet6Family, std::string(reinterpret_cast<const char*>(&address), sizeof address)};
            }
        }
    }
    return {localFamily, GetHostName()};
}

struct Conversation {
    Contact contact = Contact::NoServer;
    int socketDescriptor = -1;
    Clock::time_point deadline; ///< For all attempts to connect and the reply together.
    std::string reply;
};

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

/// The addresses of a host and a port, which may be null. `flags` are those of getaddrinfo(3).
Addresses GetAddresses(const char* host, const char* port, int flags) {
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    return {getaddrinfo(host, port, &hints, &found) == 0 ? found : nullptr, &freeaddrinfo};
}

/// Tries a host's addresses one after the other. Returns what has come of them if none can be connected to: the first
/// reason other than that nothing is listening.
Contact ConnectOverNetwork(const std::vector<std::string>& hosts, const std::string& port, Conversation& conversation) {
    Contact contact = hosts.empty() ? Contact::HostNotFound : Contact::NoServer;
    for (const std::string& host : hosts) {
        const Addresses address = GetAddresses(host.c_str(), port.c_str(), AI_NUMERICHOST | AI_NUMERICSERV);
        if (address == nullptr) {
            continue;
        }
        conversation.socketDescriptor = Connect(address->ai_addr, address->ai_addrlen, conversation.deadline);
        if (conversation.socketDescriptor >= 0) {
            break;
        }
        if (contact == Contact::NoServer) {
            contact = JudgeConnectError(errno);
        }
    }
    return contact;
}

/// Tries the host of a route, after its socket. A socket that the user may not open stays the outcome unless something
/// is found at the host.
void ContactHost(const X11::ServerRoute& route, std::chrono::milliseconds patience, const HostLookup& lookUp,
                 DisplayContact& contact, Conversation& conversation) {
    const bool isSocketForbidden = conversation.contact == Contact::NotAllowed;
    if (!isSocketForbidden) {
        conversation.contact = Contact::LookupTimeout;
        contact.address.reset();
    }
    contact.result = JudgeSetup(conversation.contact, "", false); // The lookup may end the process.
    const auto hosts = lookUp(route.host);
    if (!hosts) {
        return;
    }
    conversation.deadline = Clock::now() + patience; // The lookup has had a limit of its own.
    const Contact ofHost = ConnectOverNetwork(*hosts, route.port, conversation);
    const bool isFound = conversation.socketDescriptor >= 0 || ofHost == Contact::Silent;
    if (isFound || !isSocketForbidden) {
        conversation.contact = ofHost;
        contact.address = route.host + ':' + route.port;
    }
}

/// Sends the setup and reads the whole reply.
void Converse(const std::string& setup, Conversation& conversation) {
    send(conversation.socketDescriptor, setup.data(), setup.size(), MSG_NOSIGNAL);
    std::array<char, 4096> buffer{};
    for (;;) {
        const auto size = GetSetupReplySize(conversation.reply);
        if (size && conversation.reply.size() >= *size) {
            conversation.contact = Contact::Answered;
            return;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(conversation.deadline - Clock::now()).count();
        pollfd request{conversation.socketDescriptor, POLLIN, 0};
        const int ready = poll(&request, 1, static_cast<int>(std::max<decltype(left)>(left, 0)));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            conversation.contact = Contact::Silent;
            return;
        }
        const ssize_t count = recv(conversation.socketDescriptor, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            conversation.contact = Contact::Closed;
            return;
        }
        conversation.reply.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

/// The display's number in a name that has been parsed, or in the name of its socket.
std::string GetNumber(const std::string& displayName, const X11::ServerRoute& route) {
    const std::size_t colon = displayName.rfind(':');
    if (colon != std::string::npos && displayName.find('/', colon) == std::string::npos) {
        const std::string behind = displayName.substr(colon + 1);
        return behind.substr(0, behind.find('.'));
    }
    const std::size_t last = route.socketPath.find_last_not_of("0123456789");
    return route.socketPath.substr(last + 1);
}

std::optional<AuthorityFacts> FindAuthorityFile() {
    if (const auto file = GetVariable("XAUTHORITY")) {
        return AuthorityFacts{.file = *file, .from = "XAUTHORITY"};
    }
    if (const auto home = GetVariable("HOME")) {
        return AuthorityFacts{.file = *home + "/.Xauthority", .from = "HOME"};
    }
    return std::nullopt;
}

// --- The server -----------------------------------------------------------------------------------------------------

std::vector<std::uint8_t> Ask(const X11::Connection& x11, const XcbQueries& queries, const VersionQuery& query,
                              std::uint8_t majorOpcode) {
    std::vector<std::uint8_t> bytes = ComposeVersionRequest(query);
    // XCB uses the two before the first.
    std::array<iovec, 3> parts{};
    parts[2] = {bytes.data(), bytes.size()};
    xcb_protocol_request_t request{.count = 1, .ext = nullptr, .opcode = majorOpcode, .isvoid = 0};
    const unsigned int cookie = queries.xcb_send_request(x11.xcb, XCB_REQUEST_CHECKED, &parts[2], &request);
    xcb_generic_error_t* error = nullptr;
    const Xcb::Reply<void> reply(queries.xcb_wait_for_reply(x11.xcb, cookie, &error));
    std::free(error);
    constexpr std::size_t size = 32; // Of the fixed part of a reply.
    const auto* const first = static_cast<const std::uint8_t*>(reply.get());
    return first == nullptr ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(first, first + size);
}

Json::Array ListExtensions(const X11::Connection& x11) {
    XcbQueries queries;
    Json::Array extensions;
    if (x11.xcb == nullptr || !queries.Load()) {
        return extensions;
    }
    for (const VersionQuery& query : versionQueries) {
        const auto cookie =
            queries.xcb_query_extension(x11.xcb, static_cast<std::uint16_t>(query.name.size()), query.name.data());
        const Xcb::Reply<xcb_query_extension_reply_t> reply(
            queries.xcb_query_extension_reply(x11.xcb, cookie, nullptr));
        const bool isPresent = reply != nullptr && reply->present != 0;
        std::optional<std::string> version;
        if (isPresent && query.form != VersionQuery::Form::Unasked) {
            version = ReadVersion(query, Ask(x11, queries, query, reply->major_opcode));
        }
        extensions.emplace_back(Json::Object{{"name", query.name}, {"isPresent", isPresent}, {"version", version}});
    }
    return extensions;
}

/// The name of the window manager that has announced itself (EWMH, _NET_SUPPORTING_WM_CHECK).
Json DescribeWindowManager(X11::Connection& x11) {
    if (x11.xcb == nullptr) {
        return nullptr;
    }
    const X11::Atoms& atoms = x11.GetAtoms();
    const auto getCheck = [&](xcb_window_t window) {
        return Xcb::GetNumber(
            Xcb::PropertyRequest(x11, window, atoms.supportingManagerCheck, XCB_ATOM_WINDOW).GetReply());
    };
    const xcb_window_t window = getCheck(x11.root);
    // One that has ended may leave the root's property behind.
    if (window == XCB_WINDOW_NONE || getCheck(window) != window) {
        return nullptr;
    }
    const auto name = Xcb::PropertyRequest(x11, window, atoms.name, atoms.utf8).GetReply();
    std::optional<std::string> text;
    if (Xcb::Has(name, atoms.utf8, 8)) {
        const auto characters = Xcb::GetTail<char>(name, name->value_len);
        text.emplace(characters.begin(), characters.end());
    }
    return Json::Object{{"name", text}};
}

/// Xwayland names its outputs so; it has an extension only since version 23.
bool HasOutputOfXwayland(X11::Connection& x11) {
    using ResourcesRequest = Xcb::Request<&X11::Connection::xcb_randr_get_screen_resources_current,
                                          &X11::Connection::xcb_randr_get_screen_resources_current_reply>;
    using OutputRequest =
        Xcb::Request<&X11::Connection::xcb_randr_get_output_info, &X11::Connection::xcb_randr_get_output_info_reply>;
    if (x11.xcb == nullptr || !x11.HasRandr()) {
        return false;
    }
    const auto resources = ResourcesRequest(x11, x11.root).GetReply();
    if (resources == nullptr) {
        return false;
    }
    Xcb::Lists lists(resources);
    lists.Take<xcb_randr_crtc_t>(resources->num_crtcs);
    return std::ranges::any_of(lists.Take<xcb_randr_output_t>(resources->num_outputs), [&](xcb_randr_output_t output) {
        const auto information = OutputRequest(x11, output, xcb_timestamp_t{XCB_CURRENT_TIME}).GetReply();
        if (information == nullptr) {
            return false;
        }
        Xcb::Lists parts(information);
        parts.Take<xcb_randr_crtc_t>(information->num_crtcs);
        parts.Take<xcb_randr_mode_t>(information->num_modes);
        parts.Take<xcb_randr_output_t>(information->num_clones);
        const auto name = parts.Take<char>(information->name_len);
        return std::string_view(name.data(), name.size()).starts_with("XWAYLAND");
    });
}

} // namespace

std::vector<LibraryFacts> LookForLibraries() {
    std::vector<LibraryFacts> libraries{{"libX11.so.6", "windows"},
                                        {"libXfixes.so.3", "windows"},
                                        {"libGL.so.1", "OpenGL"},
                                        {"libX11-xcb.so.1", "displays and windows of others"},
                                        {"libxcb.so.1", "displays and windows of others"},
                                        {"libxcb-randr.so.0", "displays"},
                                        {"libxcb-res.so.0", "processes of windows"},
                                        {"libxcb-xfixes.so.0", "hiding the pointer"},
                                        {"libXtst.so.6", "the mouse"}};
    for (LibraryFacts& library : libraries) {
        library.isFound = X11::Library(library.name.c_str()).IsOpen();
    }
    return libraries;
}

std::vector<std::string> LookUpHost(const std::string& name) {
    std::vector<std::string> hosts;
    const Addresses addresses = GetAddresses(name.c_str(), nullptr, 0);
    for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
        std::array<char, NI_MAXHOST> host{};
        if (getnameinfo(address->ai_addr, address->ai_addrlen, host.data(), host.size(), nullptr, 0, NI_NUMERICHOST) ==
            0) {
            hosts.emplace_back(host.data());
        }
    }
    return hosts;
}

void ContactDisplay(std::chrono::milliseconds patience, const HostLookup& lookUp, DisplayContact& contact) {
    contact.name = GetVariable("DISPLAY");
    contact.authority = FindAuthorityFile();
    const auto route = X11::ParseDisplayName(contact.name.value_or(""));
    std::vector<Authority> entries;
    if (contact.authority) {
        constexpr std::size_t limit = std::size_t{1} << 20;
        const auto content = System::FileSystem::ReadShortFile(contact.authority->file, limit);
        contact.authority->isReadable = content.has_value();
        entries = ParseAuthorities(content.value_or(""));
    }
    if (!route) {
        contact.result = JudgeSetup(contact.name ? Contact::MalformedName : Contact::NoName, "", false);
        return;
    }
    Conversation conversation;
    conversation.deadline = Clock::now() + patience;
    if (!route->socketPath.empty()) {
        contact.address = route->socketPath;
        conversation.socketDescriptor = ConnectLocally(route->socketPath, conversation.deadline);
        if (conversation.socketDescriptor < 0) {
            conversation.contact = JudgeConnectError(errno);
        }
    }
    if (conversation.socketDescriptor < 0 && conversation.contact != Contact::Silent && !route->host.empty()) {
        ContactHost(*route, patience, lookUp, contact, conversation);
    }
    const Authority* authority = nullptr;
    if (conversation.socketDescriptor >= 0) {
        const auto [family, address] = GetPeer(conversation.socketDescriptor);
        authority = FindAuthority(entries, family, address, GetNumber(contact.name.value_or(""), *route));
        Converse(ComposeSetup(authority), conversation);
    }
    if (contact.authority) {
        contact.authority->hasEntry = authority != nullptr;
    }
    contact.result = JudgeSetup(conversation.contact, conversation.reply, authority != nullptr);
}

ServerFacts DescribeServer() {
    X11::Connection* const x11 = X11::GetConnection();
    ServerFacts facts;
    if (x11 == nullptr) {
        return facts;
    }
    const auto information = reinterpret_cast<_XPrivDisplay>(x11->display);
    facts.server = Json::Object{
        {"vendor", information->vendor == nullptr ? "" : information->vendor},
        {"release", std::int64_t{information->release}},
        {"protocol",
         std::to_string(information->proto_major_version) + '.' + std::to_string(information->proto_minor_version)},
    };
    facts.windowManager = DescribeWindowManager(*x11);
    facts.extensions = ListExtensions(*x11);
    facts.isXwayland = HasOutputOfXwayland(*x11);
    facts.isConnected = x11->Sync();
    return facts;
}

std::vector<PermissionFacts> ListPermissions() {
    std::vector<PermissionFacts> permissions;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", error)) {
        const std::string path = entry.path().string();
        if (entry.path().filename().string().starts_with("renderD")) {
            const FileFacts facts = GetFileFacts(path);
            permissions.push_back({path, "accelerated OpenGL", facts.isReadable && facts.isWritable});
        }
    }
    std::ranges::sort(permissions, {}, &PermissionFacts::name);
    // Mounted with hidepid=2, /proc shows no processes of other users (proc(5)).
    permissions.push_back({"/proc", "finding processes of others", GetFileFacts("/proc/1").exists});
    return permissions;
}

} // namespace Tovra::Fieldhost::Diagnose
