#include <System/Processes/ProcessOperations.h>
#include <System/Processes/WindowRequests_Linux.h>
#include <System/Utilities/Utf8.h>
#include <System/X11/Properties_Linux.h>
#include <System/X11/X11_Linux.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <limits>
#include <string_view>

namespace Tovra::System::Processes {

namespace Xcb = X11::Xcb;

using X11::Connection;
using Xcb::GeometryRequest;
using Xcb::PropertyReply;
using Xcb::PropertyRequest;
using Xcb::Request;

namespace {

using AttributesRequest = Request<&Connection::xcb_get_window_attributes, &Connection::xcb_get_window_attributes_reply>;
using PositionRequest = Request<&Connection::xcb_translate_coordinates, &Connection::xcb_translate_coordinates_reply>;

xcb_window_t GetWindow(const WindowListEntry& entry) {
    return entry.number.value_or(XCB_WINDOW_NONE);
}

/// The client area in root coordinates.
class BoundsRequests {
public:
    BoundsRequests(Connection& x11, xcb_window_t window)
        : m_geometry(x11, window), m_position(x11, window, x11.root, std::int16_t{0}, std::int16_t{0}) {}

    void Fill([[maybe_unused]] Connection& x11, WindowListEntry& entry) const {
        const auto geometry = m_geometry.GetReply();
        const auto position = m_position.GetReply();
        if (geometry != nullptr && position != nullptr) {
            entry.bounds = {.x = static_cast<double>(position->dst_x),
                            .y = static_cast<double>(position->dst_y),
                            .width = static_cast<double>(geometry->width),
                            .height = static_cast<double>(geometry->height)};
        }
    }

private:
    GeometryRequest m_geometry;
    PositionRequest m_position;
};

/// Whether a window is stacked among the normal ones, by the first of its types that is known here; one without such a
/// type is (EWMH).
bool IsNormalType(const X11::Atoms& atoms, std::span<const xcb_atom_t> types) {
    const std::array normalTypes = {atoms.typeNormal,  atoms.typeDialog, atoms.typeUtility,
                                    atoms.typeToolbar, atoms.typeMenu,   atoms.typeSplash};
    const std::array otherTypes = {atoms.typeDock,         atoms.typeDesktop,    atoms.typeNotification,
                                   atoms.typeDropdownMenu, atoms.typePopupMenu,  atoms.typeTooltip,
                                   atoms.typeCombo,        atoms.typeDragAndDrop};
    const auto known = std::ranges::find_if(
        types, [&](xcb_atom_t type) { return Xcb::Contains(normalTypes, type) || Xcb::Contains(otherTypes, type); });
    return known == types.end() || Xcb::Contains(normalTypes, *known);
}

/// The layer, and whether the window is on the screen.
class StateRequests {
public:
    StateRequests(Connection& x11, xcb_window_t window)
        : m_attributes(x11, window), m_types(x11, window, x11.GetAtoms().type, XCB_ATOM_ATOM),
          m_states(x11, window, x11.GetAtoms().state, XCB_ATOM_ATOM) {}

    void Fill(Connection& x11, WindowListEntry& entry) const {
        const auto attributes = m_attributes.GetReply();
        const auto types = Xcb::GetNumbers(m_types.GetReply());
        const auto states = Xcb::GetNumbers(m_states.GetReply());
        if (attributes == nullptr) {
            return;
        }
        const bool isNormal = attributes->override_redirect == 0 &&
                              attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
                              IsNormalType(x11.GetAtoms(), types);
        entry.layer = isNormal ? 0 : 1;
        entry.isOnScreen =
            attributes->map_state == XCB_MAP_STATE_VIEWABLE && !Xcb::Contains(states, x11.GetAtoms().stateHidden);
    }

private:
    AttributesRequest m_attributes;
    PropertyRequest m_types;
    PropertyRequest m_states;
};

/// A reported process id; nothing if it is none. The server reports 0 for a process that it can't see.
std::optional<std::int32_t> ToProcess(std::uint32_t number) {
    constexpr std::uint32_t most = std::numeric_limits<std::int32_t>::max();
    return number == 0 || number > most ? std::nullopt : std::optional(static_cast<std::int32_t>(number));
}

/// This machine's name as clients write it into WM_CLIENT_MACHINE; empty if it has none.
std::string GetHostName() {
    std::array<char, HOST_NAME_MAX + 1> name = {};
    return gethostname(name.data(), name.size()) == 0 ? std::string(name.data()) : std::string();
}

/// The content of a property in format 8.
std::string_view GetBytes(const PropertyReply& property) {
    const auto bytes = Xcb::GetTail<char>(property, property->value_len);
    return {bytes.data(), bytes.size()};
}

/// The owner that a window's properties name. Any client may write them, and nobody checks them.
class ClaimRequests {
public:
    ClaimRequests(Connection& x11, xcb_window_t window)
        : m_process(x11, window, x11.GetAtoms().processId, XCB_ATOM_CARDINAL),
          m_machine(x11, window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_GET_PROPERTY_TYPE_ANY) {}

    struct Claim {
        bool isThere = false;                       ///< Whether the window still exists.
        std::optional<std::int32_t> processId = {}; ///< Only of a client on this machine.
    };

    Claim GetReply(std::string_view hostName) const {
        const PropertyReply process = m_process.GetReply();
        const PropertyReply machine = m_machine.GetReply();
        // Of any type: a machine's name has the same bytes in all encodings.
        const bool isLocal =
            !hostName.empty() && machine != nullptr && machine->format == 8 && CutAtNul(GetBytes(machine)) == hostName;
        return {.isThere = process != nullptr,
                .processId = isLocal ? ToProcess(Xcb::GetNumber(process)) : std::nullopt};
    }

private:
    PropertyRequest m_process;
    PropertyRequest m_machine;
};

/// The owners of windows: the processes that made them, as the server reports. Only where it reports none, the ones
/// that the windows' properties name. If it reports foreign process ids, only our own windows have an owner: other
/// clients may live in the server's process namespace and name ids from there.
class OwnerRequests {
public:
    OwnerRequests(Connection& x11, const WindowListEntries& entries) : m_reported(x11.GetReportedProcessIds()) {
        if (m_reported == X11::ReportedProcessIds::Ours) {
            m_processes.emplace(x11, GetNumbers(entries));
        }
        m_claims.reserve(entries.size());
        for (const WindowListEntry& entry : entries) {
            m_claims.emplace_back(x11, GetWindow(entry));
        }
    }

    void Fill(Connection& x11, WindowListEntries& entries) const {
        const Xcb::ProcessIds processes = m_processes ? m_processes->GetReply() : Xcb::ProcessIds();
        const std::string hostName = GetHostName();
        for (std::size_t index = 0; index < entries.size(); ++index) {
            const ClaimRequests::Claim claim = m_claims[index].GetReply(hostName);
            // The client of a window that is gone may still be connected.
            if (!claim.isThere) {
                continue;
            }
            WindowListEntry& entry = entries[index];
            if (m_reported == X11::ReportedProcessIds::Foreign) {
                entry.ownerId =
                    Xcb::IsOwn(x11, GetWindow(entry)) ? std::optional<std::int32_t>(getpid()) : std::nullopt;
                continue;
            }
            const auto made = processes.find(Xcb::GetClientBits(x11, GetWindow(entry)));
            // A process that the server can't see is none that we could see, whatever its window names.
            entry.ownerId = made == processes.end() ? claim.processId : ToProcess(made->second);
        }
    }

private:
    static std::vector<std::uint32_t> GetNumbers(const WindowListEntries& entries) {
        std::vector<std::uint32_t> numbers(entries.size());
        std::ranges::transform(entries, numbers.begin(), GetWindow);
        return numbers;
    }

    X11::ReportedProcessIds m_reported;
    std::optional<Xcb::ProcessIdsRequest> m_processes;
    std::vector<ClaimRequests> m_claims;
};

/// Converts a text of any encoding to UTF-8; nothing if it can't be converted. No round trip once Xlib has the atoms of
/// the encodings.
std::optional<std::string> Convert(const Connection& x11, XTextProperty text) {
    char** parts = nullptr;
    int count{}; // At least 1 if there is a list.
    const int status = x11.Xutf8TextPropertyToTextList(x11.display, &text, &parts, &count);
    std::string result;
    if (parts != nullptr) {
        result = parts[0];
        x11.XFreeStringList(parts);
    }
    if (status < Success || X11::IsConnectionLost()) {
        return std::nullopt;
    }
    // Xlib leaves escape sequences in the text that it can't read, among them one that the text's end has cut, and
    // passes on surrogates where compound text changes to UTF-8.
    return result.find('\x1B') == std::string::npos && Utilities::IsUtf8(result) ? std::optional(result) : std::nullopt;
}

/// The text of a property; nothing if it is no text or longer than what was read.
std::optional<std::string> GetText(Connection& x11, const PropertyReply& property) {
    if (property == nullptr || property->format != 8 || property->bytes_after != 0) {
        return std::nullopt;
    }
    if (property->type == x11.GetAtoms().utf8) {
        const std::string_view text = GetBytes(property);
        return Utilities::IsUtf8(CutAtNul(text)) ? std::optional<std::string>(text) : std::nullopt;
    }
    return Convert(x11, {.value = reinterpret_cast<unsigned char*>(property.get() + 1),
                         .encoding = property->type,
                         .format = property->format,
                         .nitems = GetBytes(property).size()});
}

/// The title.
class NameRequests {
public:
    NameRequests(Connection& x11, xcb_window_t window)
        : m_name(x11, window, x11.GetAtoms().name, x11.GetAtoms().utf8, longestName),
          m_oldName(x11, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, longestName) {}

    void Fill(Connection& x11, WindowListEntry& entry) const {
        const PropertyReply name = m_name.GetReply();
        const PropertyReply oldName = m_oldName.GetReply();
        entry.name = GetText(x11, IsTitle(x11, name) ? name : oldName);
    }

private:
    /// Whether the property is a title in UTF-8. One that was not read to its end is too long, but it is one.
    static bool IsTitle(Connection& x11, const PropertyReply& name) {
        return Xcb::Has(name, x11.GetAtoms().utf8, 8) &&
               (name->bytes_after != 0 || Utilities::IsUtf8(CutAtNul(GetBytes(name))));
    }

    /// In units of 4 bytes. A title that is too long counts as none, so it need not be read to its end.
    static constexpr std::uint32_t longestName = windowTextBufferSize;

    PropertyRequest m_name;
    PropertyRequest m_oldName;
};

/// The same requests about several windows, all sent before the first reply is waited for.
template <class Requests>
class RequestsForAll {
public:
    RequestsForAll(Connection& x11, const WindowListEntries& entries) {
        m_requests.reserve(entries.size());
        for (const WindowListEntry& entry : entries) {
            m_requests.emplace_back(x11, GetWindow(entry));
        }
    }

    void Fill(Connection& x11, WindowListEntries& entries) const {
        for (std::size_t index = 0; index < entries.size(); ++index) {
            m_requests[index].Fill(x11, entries[index]);
        }
    }

private:
    std::vector<Requests> m_requests;
};

/// The file name of the owner's executable. One round trip.
std::optional<std::string> GetOwnerName(Connection& x11, xcb_window_t window) {
    const std::int32_t owner = GetEntry(x11, window, WindowListField::OwnerId).ownerId.value_or(0); // 0 has no path.
    std::array<char, 4096> path;
    if (GetProcessPath(owner, path.data(), path.size()) < 1) {
        return std::nullopt;
    }
    const std::string_view text = path.data();
    return std::string(text.substr(text.rfind('/') + 1));
}

} // namespace

struct WindowRequests::Parts {
    std::optional<RequestsForAll<BoundsRequests>> bounds = {};
    std::optional<RequestsForAll<StateRequests>> states = {};
    std::optional<OwnerRequests> owners = {};
    std::optional<RequestsForAll<NameRequests>> names = {};
};

WindowRequests::WindowRequests(Connection& x11, const WindowListEntries& entries, WindowListFields fields)
    : m_x11(x11), m_fields(fields), m_parts(std::make_unique<Parts>()) {
    const auto ask = [&](auto& requests, WindowListFields when) {
        if (fields.HasAny(when)) {
            requests.emplace(x11, entries);
        }
    };
    ask(m_parts->bounds, WindowListField::Bounds);
    ask(m_parts->states, WindowListField::Layer | WindowListField::IsOnScreen);
    ask(m_parts->owners, WindowListField::OwnerId);
    ask(m_parts->names, WindowListField::Name);
}

WindowRequests::~WindowRequests() = default;

void WindowRequests::Fill(WindowListEntries& entries) const {
    const auto fill = [this, &entries](const auto& requests) {
        if (requests) {
            requests->Fill(m_x11, entries);
        }
    };
    fill(m_parts->bounds);
    fill(m_parts->states);
    fill(m_parts->owners);
    fill(m_parts->names);
    if (!m_fields.HasAny(WindowListField::OwnerName)) {
        return;
    }
    for (WindowListEntry& entry : entries) {
        if (entry.name && CutAtNul(*entry.name).empty()) {
            entry.ownerName = GetOwnerName(m_x11, GetWindow(entry));
        }
    }
}

WindowListEntries MakeEntries(std::span<const xcb_window_t> windows) {
    WindowListEntries entries;
    entries.reserve(windows.size());
    for (const xcb_window_t window : windows) {
        entries.push_back({.number = window});
    }
    return entries;
}

WindowListEntry GetEntry(Connection& x11, xcb_window_t window, WindowListFields fields) {
    WindowListEntries entries = MakeEntries({&window, 1});
    WindowRequests(x11, entries, fields).Fill(entries);
    return entries.front();
}

} // namespace Tovra::System::Processes
