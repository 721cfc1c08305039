#pragma once

// The parts of the X protocol that tell why a server refuses a client, and which versions its extensions have: Xlib
// prints or hides the one, and has a library for each of the other. Bytes only, so these are rules of both hosts.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::Fieldhost::Diagnose {

/// An entry of an authority file (Xauth(7)): what to show to a server.
struct Authority {
    std::uint16_t family = 0; ///< Of the address: one of those below, or X11's number of a kind of network.
    std::string address;      ///< The host's name for `localFamily`, else the bytes of the address.
    std::string number;       ///< The display's number in decimal; empty for any.
    std::string name;         ///< Of the protocol, such as "MIT-MAGIC-COOKIE-1".
    std::string data;         ///< The secret. Never printed.
};

inline constexpr std::uint16_t internetFamily = 0;  ///< An address of 4 bytes.
inline constexpr std::uint16_t internet6Family = 6; ///< An address of 16 bytes.
inline constexpr std::uint16_t localFamily = 256;   ///< A host's name.
inline constexpr std::uint16_t wildFamily = 65535;  ///< Any address.

/// The entries of an authority file's content, up to the first that is not whole.
std::vector<Authority> ParseAuthorities(std::string_view bytes);

/// The first entry for that server with a secret of the kind that Xlib sends always ("MIT-MAGIC-COOKIE-1"), or null.
/// Points into `entries`.
const Authority* FindAuthority(std::span<const Authority> entries, std::uint16_t family, std::string_view address,
                               std::string_view number);

/// A client's first bytes: the request for a connection, with an authority if there is one. Least significant byte
/// first.
std::string ComposeSetup(const Authority* authority);

/// How far a request for a connection came.
enum class Contact {
    NoName,        ///< No display is named.
    MalformedName, ///< What is named is no display.
    HostNotFound,  ///< The host has no address.
    LookupTimeout, ///< The host's address was not found in time.
    NoServer,      ///< Nothing is listening.
    NotAllowed,    ///< The user may not connect.
    Silent,        ///< The connection was not accepted in time, or no whole reply came.
    Closed,        ///< The connection was closed before a whole reply.
    Answered,      ///< There is a reply.
};

/// What has come of a connect(2) with a time limit (SO_SNDTIMEO in socket(7)) that failed with that `errno`.
Contact JudgeConnectError(int error);

/// The number of bytes that a reply to a setup has, as its beginning tells; nothing while that is too short.
std::optional<std::size_t> GetSetupReplySize(std::string_view bytes);

/// What came of a request for a connection.
struct SetupResult {
    std::string outcome;               ///< "Accepted", or why not: the document's name for it.
    std::optional<std::string> reason; ///< The server's text.
};

/// Judges a request for a connection by its reply and by whether it carried an authority. It is "NoAuthority" only if
/// it carried none and the server asks for one.
SetupResult JudgeSetup(Contact contact, std::string_view reply, bool hasAuthority);

/// How an extension tells its version.
struct VersionQuery {
    /// The sizes of the numbers in request and reply.
    enum class Form {
        Unasked, ///< It is not asked.
        Wide,    ///< 32 bits each.
        Small,   ///< 8 bits each in the request, 16 in the reply.
        Plain,   ///< None in the request, 16 bits each in the reply.
        XTest,   ///< 8 and 16 bits; the major version stands in the reply's second byte.
    };

    std::string_view name; ///< Of the extension.
    Form form = Form::Unasked;
    std::uint8_t request = 0; ///< Its number among those of the extension.
    std::uint16_t major = 0;  ///< The version to ask for.
    std::uint16_t minor = 0;
};

/// The extensions that are reported.
inline constexpr std::array versionQueries{
    VersionQuery{"RANDR", VersionQuery::Form::Wide, 0, 1, 6},
    VersionQuery{"XTEST", VersionQuery::Form::XTest, 0, 2, 2},
    VersionQuery{"X-Resource", VersionQuery::Form::Small, 0, 1, 2},
    VersionQuery{"XFIXES", VersionQuery::Form::Wide, 0, 6, 0},
    VersionQuery{"Composite", VersionQuery::Form::Wide, 0, 0, 4},
    VersionQuery{"SHAPE", VersionQuery::Form::Plain, 0, 0, 0},
    VersionQuery{"GLX", VersionQuery::Form::Wide, 7, 1, 4},
    VersionQuery{"XKEYBOARD", VersionQuery::Form::Unasked, 0, 0, 0},
    VersionQuery{"XWAYLAND", VersionQuery::Form::Unasked, 0, 0, 0},
};

/// The bytes of the request for a version, in this machine's order. The extension's number and the length, in the first
/// byte and in the third and fourth, are left to the sender.
std::vector<std::uint8_t> ComposeVersionRequest(const VersionQuery& query);

/// "1.6", from the bytes of the reply in this machine's order; nothing if they are too few.
std::optional<std::string> ReadVersion(const VersionQuery& query, std::span<const std::uint8_t> reply);

} // namespace Tovra::Fieldhost::Diagnose
