#include <System/X11/X11_Linux.h>
#include <System/X11/Xcb_Linux.h>

#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

// What the connection asks of its server at first use.

namespace Tovra::System::X11 {

using Xcb::Request;

namespace {

struct AtomName {
    xcb_atom_t Atoms::* member;
    std::string_view text;
};

constexpr std::array atomNames{
#define TOVRA_X11_ATOM_NAME(member, text) AtomName{&Atoms::member, text},
    TOVRA_X11_ATOMS(TOVRA_X11_ATOM_NAME)
#undef TOVRA_X11_ATOM_NAME
};

/// Sends all requests before the first reply is waited for: one round trip.
Atoms InternAtoms(const Connection& x11) {
    using AtomRequest = Request<&Connection::xcb_intern_atom, &Connection::xcb_intern_atom_reply>;
    std::vector<AtomRequest> requests;
    requests.reserve(atomNames.size());
    for (const AtomName& name : atomNames) {
        requests.emplace_back(x11, std::uint8_t{0}, static_cast<std::uint16_t>(name.text.size()), name.text.data());
    }
    Atoms atoms{};
    for (std::size_t index = 0; index < atomNames.size(); ++index) {
        if (const auto reply = requests[index].GetReply()) {
            atoms.*atomNames[index].member = reply->atom;
        }
    }
    return atoms;
}

} // namespace

const Atoms& Connection::GetAtoms() {
    return m_atoms.Get([this] { return InternAtoms(*this); });
}

ReportedProcessIds Connection::GetReportedProcessIds() {
    return m_reportedProcessIds.Get([this] { return FindReportedProcessIds(); });
}

bool Connection::HasRandr() {
    return m_hasRandr.Get([this] { return FindRandr(); });
}

bool Connection::HasCursorHiding() {
    return m_hasCursorHiding.Get([this] { return FindCursorHiding(); });
}

bool Connection::HasXTest() {
    return m_hasXTest.Get([this] { return FindXTest(); });
}

/// A request of an extension that the server lacks would end the connection. One round trip.
bool Connection::HasExtension(xcb_extension_t* extension) const {
    const auto* const data = xcb_get_extension_data(xcb, extension);
    return data != nullptr && data->present != 0;
}

ReportedProcessIds Connection::FindReportedProcessIds() {
    using VersionRequest = Request<&Connection::xcb_res_query_version, &Connection::xcb_res_query_version_reply>;
    if (!XcbResource::Load() || !HasExtension(xcb_res_id)) {
        return ReportedProcessIds::Missing;
    }
    const std::uint32_t ourBits = xcb_get_setup(xcb)->resource_id_base;
    const VersionRequest versionRequest(*this, std::uint8_t{1}, std::uint8_t{2});
    const Xcb::ProcessIdsRequest processesRequest(*this, {&ourBits, 1});
    const auto version = versionRequest.GetReply();
    // A server of an older version refuses the second request.
    const Xcb::ProcessIds processes = processesRequest.GetReply();
    const auto ours = processes.find(ourBits);
    if (version == nullptr || std::pair(version->server_major, version->server_minor) < std::pair(1, 2) ||
        ours == processes.end()) {
        return ReportedProcessIds::Missing;
    }
    return ours->second == static_cast<std::uint32_t>(getpid()) ? ReportedProcessIds::Ours
                                                                : ReportedProcessIds::Foreign;
}

bool Connection::FindRandr() {
    using VersionRequest = Request<&Connection::xcb_randr_query_version, &Connection::xcb_randr_query_version_reply>;
    if (!XcbRandr::Load() || !HasExtension(xcb_randr_id)) {
        return false;
    }
    const auto version = VersionRequest(*this, std::uint32_t{1}, std::uint32_t{5}).GetReply();
    return version != nullptr && std::pair(version->major_version, version->minor_version) >= std::pair(1U, 3U);
}

bool Connection::FindCursorHiding() {
    using VersionRequest = Request<&Connection::xcb_xfixes_query_version, &Connection::xcb_xfixes_query_version_reply>;
    if (!XcbXFixes::Load() || !HasExtension(xcb_xfixes_id)) {
        return false;
    }
    const auto version =
        VersionRequest(*this, std::uint32_t{XCB_XFIXES_MAJOR_VERSION}, std::uint32_t{XCB_XFIXES_MINOR_VERSION})
            .GetReply();
    return version != nullptr && version->major_version >= 4;
}

bool Connection::FindXTest() {
    int eventBase{};
    int errorBase{};
    int major{};
    int minor{};
    return XTest::Load() && XTestQueryExtension(display, &eventBase, &errorBase, &major, &minor) != False;
}

} // namespace Tovra::System::X11
