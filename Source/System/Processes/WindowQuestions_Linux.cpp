#include <System/Desktop/Properties_Linux.h>
#include <System/Desktop/Stacking_Linux.h>
#include <System/Desktop/X11_Linux.h>
#include <System/Processes/ProcessOperations.h>
#include <System/Processes/WindowQuestions_Linux.h>
#include <System/Utilities/Utf8.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <iterator>
#include <limits>
#include <string_view>

namespace Tovra::System::Processes {

namespace X11 = Desktop::X11;
namespace Xcb = Desktop::Xcb;

using Xcb::Functions;
using Xcb::GeometryQuestion;
using Xcb::GetAtoms;
using Xcb::PropertyQuestion;
using Xcb::Question;
using Xcb::Reply;
using Xcb::Server;

namespace {

using AttributesQuestion = Question<&Functions::xcb_get_window_attributes, &Functions::xcb_get_window_attributes_reply>;
using PlaceQuestion = Question<&Functions::xcb_translate_coordinates, &Functions::xcb_translate_coordinates_reply>;
using PropertyReply = Reply<xcb_get_property_reply_t>;

/// The client area in root coordinates.
class BoundsQuestions {
public:
    BoundsQuestions(const Server& server, xcb_window_t window)
        : m_geometry(server, window), m_place(server, window, server.root, std::int16_t{0}, std::int16_t{0}) {}

    void Answer([[maybe_unused]] const Server& server, WindowListEntry& entry) const {
        const auto geometry = m_geometry.Take();
        const auto place = m_place.Take();
        if (geometry != nullptr && place != nullptr) {
            entry.bounds = {.x = static_cast<double>(place->dst_x),
                            .y = static_cast<double>(place->dst_y),
                            .width = static_cast<double>(geometry->width),
                            .height = static_cast<double>(geometry->height)};
        }
    }

private:
    GeometryQuestion m_geometry;
    PlaceQuestion m_place;
};

/// Whether a window takes its place among the normal ones, by the first of its types that is known here; without any it
/// does (EWMH).
bool IsNormalType(const Xcb::Atoms& atoms, std::span<const xcb_atom_t> types) {
    const std::array normalTypes = {atoms.typeNormal,  atoms.typeDialog, atoms.typeUtility,
                                    atoms.typeToolbar, atoms.typeMenu,   atoms.typeSplash};
    const std::array otherTypes = {atoms.typeDock,         atoms.typeDesktop,    atoms.typeNotification,
                                   atoms.typeDropdownMenu, atoms.typePopupMenu,  atoms.typeTooltip,
                                   atoms.typeCombo,        atoms.typeDragAndDrop};
    const auto known = std::ranges::find_if(
        types, [&](xcb_atom_t type) { return Xcb::Holds(normalTypes, type) || Xcb::Holds(otherTypes, type); });
    return known == types.end() || Xcb::Holds(normalTypes, *known);
}

/// The layer, and whether the window is on the screen.
class StateQuestions {
public:
    StateQuestions(const Server& server, xcb_window_t window)
        : m_attributes(server, window), m_types(server, window, GetAtoms(server).type, XCB_ATOM_ATOM),
          m_states(server, window, GetAtoms(server).state, XCB_ATOM_ATOM) {}

    void Answer(const Server& server, WindowListEntry& entry) const {
        const auto attributes = m_attributes.Take();
        const auto types = Xcb::GetNumbers(m_types.Take());
        const auto states = Xcb::GetNumbers(m_states.Take());
        if (attributes == nullptr) {
            return;
        }
        const bool isNormal = attributes->override_redirect == 0 &&
                              attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
                              IsNormalType(GetAtoms(server), types);
        entry.layer = isNormal ? 0 : 1;
        entry.isOnScreen =
            attributes->map_state == XCB_MAP_STATE_VIEWABLE && !Xcb::Holds(states, GetAtoms(server).stateHidden);
    }

private:
    AttributesQuestion m_attributes;
    PropertyQuestion m_types;
    PropertyQuestion m_states;
};

/// A process by the number that was told; nothing if none can have it. The server tells 0 for one that it can't see.
std::optional<std::int32_t> ToProcess(std::uint32_t number) {
    constexpr std::uint32_t most = std::numeric_limits<std::int32_t>::max();
    return number == 0 || number > most ? std::nullopt : std::optional(static_cast<std::int32_t>(number));
}

/// The name of this machine as programs give it to their windows; empty if it has none.
std::string GetHostName() {
    std::array<char, HOST_NAME_MAX + 1> name = {};
    return gethostname(name.data(), name.size()) == 0 ? std::string(name.data()) : std::string();
}

/// What a property in format 8 holds.
std::string_view GetBytes(const PropertyReply& property) {
    const auto bytes = Xcb::GetTail<char>(property, property->value_len);
    return {bytes.data(), bytes.size()};
}

/// What a window says of its owner, which anybody may write there and nobody checks.
class ClaimQuestions {
public:
    ClaimQuestions(const Server& server, xcb_window_t window)
        : m_process(server, window, GetAtoms(server).processId, XCB_ATOM_CARDINAL),
          m_machine(server, window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_GET_PROPERTY_TYPE_ANY) {}

    struct Claim {
        bool isThere = false;                       ///< Whether there still is such a window.
        std::optional<std::int32_t> processId = {}; ///< If it is one of this machine.
    };

    Claim Take(std::string_view hostName) const {
        const PropertyReply process = m_process.Take();
        const PropertyReply machine = m_machine.Take();
        // Of whatever type: a machine's name is the same bytes in all encodings.
        const bool isLocal =
            !hostName.empty() && machine != nullptr && machine->format == 8 && CutAtNul(GetBytes(machine)) == hostName;
        return {.isThere = process != nullptr,
                .processId = isLocal ? ToProcess(Xcb::GetNumber(process)) : std::nullopt};
    }

private:
    PropertyQuestion m_process;
    PropertyQuestion m_machine;
};

/// The processes that windows belong to: those that the server knows to have made them. Only where it knows nothing,
/// those that the windows name. Where it tells numbers that are not ours, nobody's but our own windows: those who speak
/// to it may live where it does, and name numbers from there.
class OwnerQuestions {
public:
    OwnerQuestions(const Server& server, const WindowListEntries& entries) : m_told(Xcb::GetToldProcesses(server)) {
        if (m_told == Xcb::ToldProcesses::Ours) {
            m_processes.emplace(server, GetNumbers(entries));
        }
        m_claims.reserve(entries.size());
        for (const WindowListEntry& entry : entries) {
            m_claims.emplace_back(server, entry.number.value_or(0));
        }
    }

    void Answer(const Server& server, WindowListEntries& entries) const {
        const Xcb::ProcessNumbers processes = m_processes ? m_processes->Take() : Xcb::ProcessNumbers();
        const std::string hostName = GetHostName();
        for (std::size_t index = 0; index < entries.size(); ++index) {
            const ClaimQuestions::Claim claim = m_claims[index].Take(hostName);
            // Of a window that is gone the connection may live on.
            if (!claim.isThere) {
                continue;
            }
            WindowListEntry& entry = entries[index];
            if (m_told == Xcb::ToldProcesses::Others) {
                entry.ownerId =
                    Xcb::IsOwn(server, entry.number.value_or(0)) ? std::optional<std::int32_t>(getpid()) : std::nullopt;
                continue;
            }
            const auto made = processes.find(Xcb::GetConnectionBits(server, entry.number.value_or(0)));
            // A process that the server can't see is none of ours, whatever its window names.
            entry.ownerId = made == processes.end() ? claim.processId : ToProcess(made->second);
        }
    }

private:
    static std::vector<std::uint32_t> GetNumbers(const WindowListEntries& entries) {
        std::vector<std::uint32_t> numbers;
        numbers.reserve(entries.size());
        std::ranges::transform(entries, std::back_inserter(numbers),
                               [](const WindowListEntry& entry) { return entry.number.value_or(0); });
        return numbers;
    }

    Xcb::ToldProcesses m_told;
    std::optional<Xcb::ProcessesQuestion> m_processes;
    std::vector<ClaimQuestions> m_claims;
};

/// A text of whatever encoding in UTF-8; nothing if it can't be read. No round trip once Xlib knows the encodings'
/// names.
std::optional<std::string> Convert(XTextProperty text) {
    bool isConverted = false;
    char** parts = nullptr;
    int count = 0;
    X11::Run([&text, &isConverted, &parts, &count](Display* display) {
        isConverted = X11::GetFunctions().Xutf8TextPropertyToTextList(display, &text, &parts, &count) >= Success;
    });
    if (!isConverted) {
        return std::nullopt;
    }
    std::string result = count > 0 ? parts[0] : "";
    if (parts != nullptr) {
        X11::GetFunctions().XFreeStringList(parts);
    }
    // Xlib lets escape sequences stand that it can't read, those among them that the text's end has cut.
    return result.find('\x1B') == std::string::npos ? std::optional(result) : std::nullopt;
}

/// The text of a property; nothing if it is none, or not there as a whole.
std::optional<std::string> GetText(const Server& server, const PropertyReply& property) {
    if (property == nullptr || property->format != 8 || property->bytes_after != 0) {
        return std::nullopt;
    }
    if (property->type == GetAtoms(server).utf8) {
        const std::string_view text = GetBytes(property);
        return Utilities::IsUtf8(CutAtNul(text)) ? std::optional<std::string>(text) : std::nullopt;
    }
    return Convert({.value = reinterpret_cast<unsigned char*>(property.get() + 1),
                    .encoding = property->type,
                    .format = property->format,
                    .nitems = property->value_len});
}

/// The title.
class NameQuestions {
public:
    NameQuestions(const Server& server, xcb_window_t window)
        : m_name(server, window, GetAtoms(server).name, GetAtoms(server).utf8, longestName),
          m_oldName(server, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, longestName) {}

    void Answer(const Server& server, WindowListEntry& entry) const {
        const PropertyReply name = m_name.Take();
        const PropertyReply oldName = m_oldName.Take();
        entry.name = GetText(server, IsTitle(server, name) ? name : oldName);
    }

private:
    /// Whether a window has a title by that property. One that was not read to its end is too long, but is one.
    static bool IsTitle(const Server& server, const PropertyReply& name) {
        return Xcb::Has(name, GetAtoms(server).utf8, 8) &&
               (name->bytes_after != 0 || Utilities::IsUtf8(CutAtNul(GetBytes(name))));
    }

    /// In units of 4 bytes. Too long a title is none, so it need not be read to its end.
    static constexpr std::uint32_t longestName = windowTextBufferSize;

    PropertyQuestion m_name;
    PropertyQuestion m_oldName;
};

/// The same questions about several windows, asked before the first answer is waited for.
template <class Questions>
class QuestionsOfAll {
public:
    QuestionsOfAll(const Server& server, const WindowListEntries& entries) {
        m_questions.reserve(entries.size());
        for (const WindowListEntry& entry : entries) {
            m_questions.emplace_back(server, entry.number.value_or(0));
        }
    }

    void Answer(const Server& server, WindowListEntries& entries) const {
        for (std::size_t index = 0; index < entries.size(); ++index) {
            m_questions[index].Answer(server, entries[index]);
        }
    }

private:
    std::vector<Questions> m_questions;
};

/// The file name of the owner's executable. One round trip.
std::optional<std::string> GetOwnerName(const Server& server, xcb_window_t window) {
    const std::int32_t owner = AskAbout(server, window, WindowListField::OwnerId).ownerId.value_or(0);
    std::array<char, 4096> path;
    if (owner < 1 || GetProcessPath(owner, path.data(), path.size()) < 1) {
        return std::nullopt;
    }
    const std::string_view text = path.data();
    return std::string(text.substr(text.rfind('/') + 1));
}

} // namespace

struct WindowQuestions::Parts {
    std::optional<QuestionsOfAll<BoundsQuestions>> bounds = {};
    std::optional<QuestionsOfAll<StateQuestions>> states = {};
    std::optional<OwnerQuestions> owners = {};
    std::optional<QuestionsOfAll<NameQuestions>> names = {};
};

WindowQuestions::WindowQuestions(const Server& server, const WindowListEntries& entries, WindowListFields fields)
    : m_server(server), m_fields(fields), m_parts(std::make_unique<Parts>()) {
    const auto ask = [&](auto& questions, WindowListFields when) {
        if (fields.HasAny(when)) {
            questions.emplace(server, entries);
        }
    };
    ask(m_parts->bounds, WindowListField::Bounds);
    ask(m_parts->states, WindowListField::Layer | WindowListField::IsOnScreen);
    ask(m_parts->owners, WindowListField::OwnerId);
    ask(m_parts->names, WindowListField::Name);
}

WindowQuestions::~WindowQuestions() = default;

void WindowQuestions::Answer(WindowListEntries& entries) const {
    const auto answer = [this, &entries](const auto& questions) {
        if (questions) {
            questions->Answer(m_server, entries);
        }
    };
    answer(m_parts->bounds);
    answer(m_parts->states);
    answer(m_parts->owners);
    answer(m_parts->names);
    if (!m_fields.HasAny(WindowListField::OwnerName)) {
        return;
    }
    for (WindowListEntry& entry : entries) {
        if (entry.name && CutAtNul(*entry.name).empty()) {
            entry.ownerName = GetOwnerName(m_server, entry.number.value_or(0));
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

WindowListEntry AskAbout(const Server& server, xcb_window_t window, WindowListFields fields) {
    WindowListEntries entries = MakeEntries({&window, 1});
    WindowQuestions(server, entries, fields).Answer(entries);
    return entries.front();
}

} // namespace Tovra::System::Processes
