#pragma once

#include "Json.h"
#include "XProtocol.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The seam of the diagnosis to the operating system: what a host alone knows. `Sections` asks it; the rules, which
/// need no host, are in `Outcomes`, `Problems`, `Text` and `XProtocol`.
namespace Tovra::Fieldhost::Diagnose {

/// Whether the process was started with a standard output. Call it before a descriptor is opened. Any thread.
bool HasStandardOutput();

/// The operating system and the machine: uname(3).
struct SystemNames {
    std::string system;  ///< Such as "Linux".
    std::string release; ///< Of its kernel.
    std::string machine; ///< Such as "x86_64".
};
SystemNames GetSystemNames(); ///< Any thread.

/// A file or folder, by the rights of this process.
struct FileFacts {
    bool exists = false; ///< False also where this process may not look.
    bool isFolder = false;
    bool isRegularFile = false;
    bool isReadable = false;
    bool isWritable = false;
    bool isExecutable = false;             ///< For a folder: what is in it can be reached.
    std::uint32_t mode = 0;                ///< Its permission bits.
    std::int64_t owner = 0;                ///< A user's id.
    std::optional<std::int64_t> freeBytes; ///< What this process may still write to its file system, if known.
};

/// stat(2), faccessat(2) with AT_EACCESS, statvfs(3). Links are followed. Any thread.
FileFacts GetFileFacts(const std::string& path);

/// The user by whose rights the process acts: geteuid(2). Any thread.
std::int64_t GetUser();

/// A library that is opened at run time.
struct LibraryFacts {
    std::string name; ///< Its file, such as "libX11.so.6".
    std::string use;  ///< What fails without it.
    bool isFound = false;
};

/// The libraries that the tool opens at run time, each opened once here; none on macOS. A library's own code runs, so
/// call it in a child.
std::vector<LibraryFacts> LookForLibraries();

/// The file with what is shown to an X server.
struct AuthorityFacts {
    std::string file;
    std::string from; ///< The environment variable that tells where it is.
    bool isReadable = false;
    bool hasEntry = false; ///< Whether it has an entry for the display.
};

/// What came of the attempt to reach the display, without any library.
struct DisplayContact {
    std::optional<std::string> name;    ///< The display's, as the environment gives it; nothing on macOS.
    std::optional<std::string> address; ///< The socket or the host and port that `result` is of; nothing in a lookup.
    SetupResult result;                 ///< "Accepted", or why not.
    std::optional<AuthorityFacts> authority; ///< Nothing on macOS.
};

/// The addresses of a host, in numbers; none if it is unknown: getaddrinfo(3), which runs the name service's code and
/// has no time limit, so call it in a child. Not needed on macOS, where it finds none.
std::vector<std::string> LookUpHost(const std::string& name);

/// Calls `LookUpHost` with a time limit; nothing if it took longer.
using HostLookup = std::function<std::optional<std::vector<std::string>>(const std::string& name)>;

/// Asks the display for a connection, and gives it `patience` to accept that at any of its addresses and to reply, not
/// counting `lookUp`. `contact` is filled step by step; if `lookUp` ends the process, it says that the lookup was too
/// slow, or that the socket may not be opened. The connection is kept until the process ends, since a server may reset
/// when its last client leaves. Linux: the server that DISPLAY names, by a socket; macOS: whether the process belongs
/// to a session of the window server (`CGSessionCopyCurrentDictionary`).
void ContactDisplay(std::chrono::milliseconds patience, const HostLookup& lookUp, DisplayContact& contact);

/// A server that has accepted the process.
struct ServerFacts {
    bool isConnected = false; ///< Whether the tool's own way to connect works.
    Json server;              ///< Null on macOS, as the next ones.
    Json windowManager;       ///< Also null if none runs.
    Json::Array extensions;
    bool isXwayland = false;
};

/// Connects to the display as the tool does. May take as long as the watchdog allows the server; call it in a child.
ServerFacts DescribeServer();

/// A right that someone has to give to this process.
struct PermissionFacts {
    std::string name;
    std::string use; ///< What fails without it.
    bool isGranted = false;
};

/// macOS: the rights that a person gives in the system's settings; they are read, never asked for. Linux: the devices
/// of graphics cards, and whether other users' processes can be seen.
std::vector<PermissionFacts> ListPermissions();

} // namespace Tovra::Fieldhost::Diagnose
