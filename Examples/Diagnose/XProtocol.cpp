#include "XProtocol.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Tovra::Fieldhost::Diagnose {

namespace {

constexpr std::size_t padding = 4;

/// Takes a number of two bytes, the most significant first; false if there are none.
bool TakeNumber(std::string_view& bytes, std::uint16_t& number) {
    if (bytes.size() < sizeof number) {
        return false;
    }
    number =
        static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) << 8U | static_cast<unsigned char>(bytes[1]));
    bytes.remove_prefix(sizeof number);
    return true;
}

/// Takes a text behind its length.
bool TakeText(std::string_view& bytes, std::string& text) {
    std::uint16_t size = 0;
    if (!TakeNumber(bytes, size) || bytes.size() < size) {
        return false;
    }
    text = bytes.substr(0, size);
    bytes.remove_prefix(size);
    return true;
}

/// Two bytes, the least significant first.
std::size_t GetLittleEndian(std::string_view bytes, std::size_t position) {
    return static_cast<std::size_t>(static_cast<unsigned char>(bytes[position]) |
                                    static_cast<unsigned char>(bytes[position + 1]) << 8U);
}

void AppendLittleEndian(std::string& bytes, std::size_t number) {
    bytes += static_cast<char>(number & 0xFFU);
    bytes += static_cast<char>(number >> 8U & 0xFFU);
}

void AppendPadded(std::string& bytes, std::string_view text) {
    bytes += text;
    bytes.append((padding - text.size() % padding) % padding, '\0');
}

/// A number of the machine's order.
template <class T>
std::optional<std::uint32_t> Read(std::span<const std::uint8_t> bytes, std::size_t position) {
    T number = 0;
    if (bytes.size() < position + sizeof number) {
        return std::nullopt;
    }
    std::memcpy(&number, &bytes[position], sizeof number);
    return number;
}

template <class T>
void Append(std::vector<std::uint8_t>& bytes, T number) {
    const std::size_t position = bytes.size();
    bytes.resize(position + sizeof number);
    std::memcpy(&bytes[position], &number, sizeof number);
}

// The first byte of a reply to a setup.
constexpr char failed = 0;
constexpr char success = 1;
constexpr char authenticate = 2;

constexpr std::size_t setupReplyHead = 8;

/// The text of a reply that is no success.
std::string GetReason(std::string_view reply) {
    std::string_view text = reply.substr(setupReplyHead);
    if (reply.front() == failed) {
        text = text.substr(0, static_cast<unsigned char>(reply[1]));
    }
    // The other one's length is not sent.
    text = text.substr(0, text.find('\0'));
    return std::string(text.substr(0, text.find_last_not_of("\r\n ") + 1));
}

/// Whether a reply that is no success asks for an authority. A refusal has only its text for that: servers on
/// X.Org's code say "Authorization required, but no authorization protocol specified", old ones "No protocol
/// specified".
bool AsksForAuthority(std::string_view reply, std::string_view reason) {
    constexpr auto none = std::string_view::npos;
    return reply.front() == authenticate || reason.find("uthori") != none ||
           reason.find("No protocol specified") != none;
}

} // namespace

std::vector<Authority> ParseAuthorities(std::string_view bytes) {
    std::vector<Authority> entries;
    for (;;) {
        Authority entry;
        if (!TakeNumber(bytes, entry.family) || !TakeText(bytes, entry.address) || !TakeText(bytes, entry.number) ||
            !TakeText(bytes, entry.name) || !TakeText(bytes, entry.data)) {
            return entries;
        }
        entries.push_back(std::move(entry));
    }
}

const Authority* FindAuthority(std::span<const Authority> entries, std::uint16_t family, std::string_view address,
                               std::string_view number) {
    const auto found = std::ranges::find_if(entries, [&](const Authority& entry) {
        const bool isOfAddress = entry.family == wildFamily || (entry.family == family && entry.address == address);
        return isOfAddress && (entry.number.empty() || entry.number == number) && entry.name == "MIT-MAGIC-COOKIE-1";
    });
    return found == entries.end() ? nullptr : &*found;
}

std::string ComposeSetup(const Authority* authority) {
    constexpr std::size_t version = 11;
    const std::string_view name = authority == nullptr ? std::string_view() : authority->name;
    const std::string_view data = authority == nullptr ? std::string_view() : authority->data;
    std::string bytes{'l', '\0'};
    AppendLittleEndian(bytes, version);
    AppendLittleEndian(bytes, 0);
    AppendLittleEndian(bytes, name.size());
    AppendLittleEndian(bytes, data.size());
    AppendLittleEndian(bytes, 0);
    AppendPadded(bytes, name);
    AppendPadded(bytes, data);
    return bytes;
}

Contact JudgeConnectError(int error) {
    switch (error) {
    case EINPROGRESS: // The time limit, over a network.
    case EAGAIN:      // The time limit, while the backlog of a local socket is full.
    case ETIMEDOUT:
        return Contact::Silent;
    case EACCES:
    case EPERM:
        return Contact::NotAllowed;
    default:
        return Contact::NoServer;
    }
}

std::optional<std::size_t> GetSetupReplySize(std::string_view bytes) {
    if (bytes.size() < setupReplyHead) {
        return std::nullopt;
    }
    return setupReplyHead + padding * GetLittleEndian(bytes, setupReplyHead - 2);
}

SetupResult JudgeSetup(Contact contact, std::string_view reply, bool hasAuthority) {
    // Whatever else came: this is not the first byte of an X server's reply.
    if (!reply.empty() && (reply.front() < failed || reply.front() > authenticate)) {
        return {"NotAnXServer", std::nullopt};
    }
    switch (contact) {
    case Contact::NoName:
        return {"NoDisplay", std::nullopt};
    case Contact::MalformedName:
        return {"MalformedName", std::nullopt};
    case Contact::HostNotFound:
        return {"HostNotFound", std::nullopt};
    case Contact::LookupTimeout:
        return {"TimedOut", std::nullopt};
    case Contact::NoServer:
        return {"NoServer", std::nullopt};
    case Contact::NotAllowed:
        return {"NotAllowed", std::nullopt};
    case Contact::Silent:
        return {"Silent", std::nullopt};
    // As forwarders do to a client without their authority.
    case Contact::Closed:
        return {"Closed", std::nullopt};
    case Contact::Answered:
        break;
    }
    if (reply.size() < setupReplyHead) {
        return {"NotAnXServer", std::nullopt};
    }
    if (reply.front() == success) {
        return {"Accepted", std::nullopt};
    }
    const std::string reason = GetReason(reply);
    return {!hasAuthority && AsksForAuthority(reply, reason) ? "NoAuthority" : "Refused", reason};
}

std::vector<std::uint8_t> ComposeVersionRequest(const VersionQuery& query) {
    std::vector<std::uint8_t> bytes{0, query.request, 0, 0};
    switch (query.form) {
    case VersionQuery::Form::Wide:
        Append(bytes, std::uint32_t{query.major});
        Append(bytes, std::uint32_t{query.minor});
        break;
    case VersionQuery::Form::Small:
        Append(bytes, static_cast<std::uint8_t>(query.major));
        Append(bytes, static_cast<std::uint8_t>(query.minor));
        Append(bytes, std::uint16_t{0});
        break;
    case VersionQuery::Form::XTest:
        Append(bytes, static_cast<std::uint8_t>(query.major));
        Append(bytes, std::uint8_t{0});
        Append(bytes, query.minor);
        break;
    case VersionQuery::Form::Plain:
    case VersionQuery::Form::Unasked:
        break;
    }
    return bytes;
}

std::optional<std::string> ReadVersion(const VersionQuery& query, std::span<const std::uint8_t> reply) {
    constexpr std::size_t content = 8;
    std::optional<std::uint32_t> major;
    std::optional<std::uint32_t> minor;
    switch (query.form) {
    case VersionQuery::Form::Wide:
        major = Read<std::uint32_t>(reply, content);
        minor = Read<std::uint32_t>(reply, content + sizeof(std::uint32_t));
        break;
    case VersionQuery::Form::Small:
    case VersionQuery::Form::Plain:
        major = Read<std::uint16_t>(reply, content);
        minor = Read<std::uint16_t>(reply, content + sizeof(std::uint16_t));
        break;
    case VersionQuery::Form::XTest:
        major = Read<std::uint8_t>(reply, 1);
        minor = Read<std::uint16_t>(reply, content);
        break;
    case VersionQuery::Form::Unasked:
        break;
    }
    if (!major || !minor) {
        return std::nullopt;
    }
    return std::to_string(*major) + '.' + std::to_string(*minor);
}

} // namespace Tovra::Fieldhost::Diagnose
