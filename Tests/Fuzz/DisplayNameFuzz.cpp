// Oracle: libxcb's xcb_parse_display, and X(7) for paths
// Reaches: Tovra::System::X11::ServerProbe::ServerProbe

#include <System/X11/XServerProbe_Linux.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <netdb.h>
#include <sanitizer/lsan_interface.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;

using Fuzz::Expect;
using Fuzz::Outcome;

Outcome s_local("a display of this machine");
Outcome s_host("a display of a host");
Outcome s_bracketed("a host in brackets");
Outcome s_protocol("a protocol");
Outcome s_path("the path of a socket");
Outcome s_screen("the path of a socket, and a screen");
Outcome s_refused("a name that both refuse");
Outcome s_strict("a number that libxcb takes and no display has");

/// Where it was tried to connect to: "@/path" for an abstract socket, "/path", or "host port".
using Attempts = std::vector<std::string>;
Attempts s_attempts;

} // namespace

// No connection is made: each attempt is noted and fails.
extern "C" {

int __wrap_connect(int, const sockaddr* address, socklen_t size) {
    Expect(address->sa_family == AF_UNIX, "only local sockets are connected to directly");
    const auto* const bytes = reinterpret_cast<const char*>(address) + offsetof(sockaddr_un, sun_path);
    const std::string path(bytes, size - offsetof(sockaddr_un, sun_path));
    s_attempts.push_back(path.starts_with('\0') ? '@' + path.substr(1) : path.substr(0, path.find('\0')));
    errno = ECONNREFUSED;
    return -1;
}

int __wrap_getaddrinfo(const char* host, const char* port, const addrinfo*, addrinfo**) {
    s_attempts.push_back(std::string(host) + ' ' + port);
    return EAI_NONAME;
}
}

namespace {

/// The path of a socket that nobody listens on.
const std::string& GetSocketPath() {
    static const std::string s_socketPath = [] {
        std::array<char, 32> folder{"/tmp/DisplayNameFuzzXXXXXX"};
        Expect(mkdtemp(folder.data()) != nullptr, "there is a temporary folder");
        std::string path = std::string(folder.data()) + "/socket";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        Expect(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "there is a socket");
        close(descriptor);
        return path;
    }();
    [[maybe_unused]] static const int s_isRemoved =
        std::atexit([] { std::filesystem::remove_all(std::filesystem::path(GetSocketPath()).parent_path()); });
    return s_socketPath;
}

struct Parsed {
    std::string host;
    int display = 0;
};

std::optional<Parsed> ParseByPeer(const std::string& name) {
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    // An empty name would mean the variable DISPLAY.
    if (name.empty() || xcb_parse_display(name.c_str(), &host, &display, &screen) == 0) {
        return std::nullopt;
    }
    Parsed parsed{.host = host, .display = display};
    std::free(host);
    return parsed;
}

/// Whether these are digits alone, of a number that is not above `most`.
bool IsNumber(const std::string& text, unsigned long most) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
           std::strtoull(text.c_str(), nullptr, 10) <= most;
}

/// Whether the part behind the colon is a display's number, and perhaps a screen's. libxcb also takes signs, blanks and
/// what does not fit.
bool HasNumbers(const std::string& name) {
    const std::string numbers = name.substr(name.rfind(':') + 1);
    const std::size_t point = numbers.find('.');
    constexpr unsigned long largest = 65535;
    return IsNumber(numbers.substr(0, point), largest - 6000) &&
           (point == std::string::npos || IsNumber(numbers.substr(point + 1), largest));
}

Attempts MakeLocal(const std::string& path) {
    return {'@' + path, path};
}

/// Where a name that is no path leads.
Attempts FindRoute(const std::string& name) {
    const std::optional<Parsed> parsed = ParseByPeer(name);
    if (s_refused.Note(!parsed) || s_strict.Note(!HasNumbers(name))) {
        return {};
    }
    const std::string local = "/tmp/.X11-unix/X" + std::to_string(parsed->display);
    const std::string port = ' ' + std::to_string(6000 + parsed->display);
    const std::size_t slash = name.rfind('/');
    const std::string protocol = slash == std::string::npos ? "" : name.substr(0, slash);
    s_protocol.Note(!protocol.empty());
    std::string host = parsed->host;
    if (s_bracketed.Note(host.size() > 1 && host.starts_with('[') && host.ends_with(']'))) {
        host = host.substr(1, host.size() - 2);
    }
    Attempts attempts;
    if (s_local.Note(protocol == "unix" || host == "unix" || (host.empty() && protocol.empty()))) {
        attempts = MakeLocal(local);
    }
    if (host.empty() && protocol != "unix") {
        attempts.push_back("localhost" + port);
    } else if (s_host.Note(attempts.empty())) {
        attempts.push_back(host + port);
    }
    return attempts;
}

/// A path leads to that socket, without a screen behind it, and nowhere else. Not every libxcb takes paths, so this is
/// compared with X(7).
void CheckPath(const std::string& name, const std::string& path) {
    const std::string& known = GetSocketPath();
    for (const std::string& attempt : s_attempts) {
        Expect(path.starts_with(attempt.substr(attempt.starts_with('@') ? 1 : 0)), "a path leads to no other place",
               name, attempt);
    }
    const bool isScreen = path.starts_with(known + '.') && IsNumber(path.substr(known.size() + 1), 9);
    if (s_path.Note(path == known) || s_screen.Note(isScreen)) {
        Expect(s_attempts == MakeLocal(known), "a path leads to its socket", name, s_attempts.size());
    }
}

bool HasServer(const std::string& name) {
    // The thread that looks a host up may not have freed its own yet when libFuzzer looks for leaks.
    const __lsan::ScopedDisabler disabler;
    return Tovra::System::X11::ServerProbe(name.c_str()).HasAnswered();
}

} // namespace

// A display's name leads where libxcb finds it to lead; a name of which libxcb takes a number that is none leads
// nowhere. The character `@` stands for the path of a socket.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string name(Fuzz::GetText(data, size));
    name.resize(std::min(name.size(), name.find('\0')));
    for (std::size_t mark = 0; (mark = name.find('@', mark)) != std::string::npos; mark += GetSocketPath().size()) {
        name.replace(mark, 1, GetSocketPath());
    }
    s_attempts.clear();
    Expect(!HasServer(name), "nobody answers", name);

    const std::string path = name.starts_with("unix:") ? name.substr(5) : name;
    if (path.starts_with('/')) {
        CheckPath(name, path);
        return 0;
    }
    const Attempts expected = FindRoute(name);
    Expect(s_attempts == expected, "the name leads to the same place", name, s_attempts.size(), expected.size(),
           s_attempts.empty() ? "" : s_attempts.front(), expected.empty() ? "" : expected.front());
    return 0;
}
