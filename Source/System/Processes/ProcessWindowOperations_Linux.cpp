#include <System/Desktop/X11_Linux.h>
#include <System/Desktop/Xcb_Linux.h>
#include <System/Processes/ProcessOperations.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <unordered_map>

namespace Tovra::System::Processes {

namespace X11 = Desktop::X11;
namespace Xcb = Desktop::Xcb;

using Xcb::Functions;
using Xcb::GeometryQuestion;
using Xcb::GetFunctions;
using Xcb::IsDone;
using Xcb::Question;
using Xcb::Reply;
using Xcb::Server;
using Xcb::Session;

namespace {

/// The names that the server has numbers for (EWMH).
#define TOVRA_X11_ATOMS(ATOM)                                                                                          \
    ATOM(activeWindow, "_NET_ACTIVE_WINDOW")                                                                           \
    ATOM(clientListStacking, "_NET_CLIENT_LIST_STACKING")                                                              \
    ATOM(name, "_NET_WM_NAME")                                                                                         \
    ATOM(processId, "_NET_WM_PID")                                                                                     \
    ATOM(restackWindow, "_NET_RESTACK_WINDOW")                                                                         \
    ATOM(state, "_NET_WM_STATE")                                                                                       \
    ATOM(stateHidden, "_NET_WM_STATE_HIDDEN")                                                                          \
    ATOM(supportingManagerCheck, "_NET_SUPPORTING_WM_CHECK")                                                           \
    ATOM(type, "_NET_WM_WINDOW_TYPE")                                                                                  \
    ATOM(typeCombo, "_NET_WM_WINDOW_TYPE_COMBO")                                                                       \
    ATOM(typeDesktop, "_NET_WM_WINDOW_TYPE_DESKTOP")                                                                   \
    ATOM(typeDialog, "_NET_WM_WINDOW_TYPE_DIALOG")                                                                     \
    ATOM(typeDock, "_NET_WM_WINDOW_TYPE_DOCK")                                                                         \
    ATOM(typeDragAndDrop, "_NET_WM_WINDOW_TYPE_DND")                                                                   \
    ATOM(typeDropdownMenu, "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU")                                                        \
    ATOM(typeMenu, "_NET_WM_WINDOW_TYPE_MENU")                                                                         \
    ATOM(typeNormal, "_NET_WM_WINDOW_TYPE_NORMAL")                                                                     \
    ATOM(typeNotification, "_NET_WM_WINDOW_TYPE_NOTIFICATION")                                                         \
    ATOM(typePopupMenu, "_NET_WM_WINDOW_TYPE_POPUP_MENU")                                                              \
    ATOM(typeSplash, "_NET_WM_WINDOW_TYPE_SPLASH")                                                                     \
    ATOM(typeToolbar, "_NET_WM_WINDOW_TYPE_TOOLBAR")                                                                   \
    ATOM(typeTooltip, "_NET_WM_WINDOW_TYPE_TOOLTIP")                                                                   \
    ATOM(typeUtility, "_NET_WM_WINDOW_TYPE_UTILITY")                                                                   \
    ATOM(utf8, "UTF8_STRING")

struct Atoms {
#define TOVRA_X11_ATOM_MEMBER(member, text) xcb_atom_t member;
    TOVRA_X11_ATOMS(TOVRA_X11_ATOM_MEMBER)
#undef TOVRA_X11_ATOM_MEMBER
};

struct AtomName {
    xcb_atom_t Atoms::* member;
    std::string_view text;
};

constexpr std::array atomNames{
#define TOVRA_X11_ATOM_NAME(member, text) AtomName{&Atoms::member, text},
    TOVRA_X11_ATOMS(TOVRA_X11_ATOM_NAME)
#undef TOVRA_X11_ATOM_NAME
};

using AtomQuestion = Question<&Functions::xcb_intern_atom, &Functions::xcb_intern_atom_reply>;
using AttributesQuestion = Question<&Functions::xcb_get_window_attributes, &Functions::xcb_get_window_attributes_reply>;
using ChildrenQuestion = Question<&Functions::xcb_query_tree, &Functions::xcb_query_tree_reply>;
using FocusQuestion = Question<&Functions::xcb_get_input_focus, &Functions::xcb_get_input_focus_reply>;
using PlaceQuestion = Question<&Functions::xcb_translate_coordinates, &Functions::xcb_translate_coordinates_reply>;
using ProcessesQuestion = Question<&Functions::xcb_res_query_client_ids, &Functions::xcb_res_query_client_ids_reply>;

/// What follows the fixed part of a reply.
template <class T, class Fixed>
std::span<const T> GetTail(const Reply<Fixed>& reply, std::size_t count) {
    return {reinterpret_cast<const T*>(reply.get() + 1), count};
}

/// The numbers of a property in format 32; empty if the window has none.
std::vector<std::uint32_t> GetNumbers(const Reply<xcb_get_property_reply_t>& reply) {
    if (reply == nullptr || reply->format != 32) {
        return {};
    }
    const auto numbers = GetTail<std::uint32_t>(reply, reply->value_len);
    return {numbers.begin(), numbers.end()};
}

/// A property of a window, at most so many units of 4 bytes of it. Types and states are few, and a stranger's endless
/// list of them must not fill our memory.
class PropertyQuestion : public Question<&Functions::xcb_get_property, &Functions::xcb_get_property_reply> {
public:
    PropertyQuestion(const Server& server, xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                     std::uint32_t length = 64)
        : Question(server, std::uint8_t{0}, window, property, type, 0U, length) {}

    /// The first of the numbers, or 0.
    std::uint32_t TakeNumber() const {
        const std::vector<std::uint32_t> numbers = GetNumbers(Take());
        return numbers.empty() ? 0 : numbers.front();
    }
};

/// Asks for all numbers of names at once: one round trip.
Atoms InternAtoms(const Server& server) {
    std::vector<AtomQuestion> questions;
    questions.reserve(atomNames.size());
    for (const AtomName& name : atomNames) {
        questions.emplace_back(server, std::uint8_t{0}, static_cast<std::uint16_t>(name.text.size()), name.text.data());
    }
    Atoms atoms{};
    for (std::size_t index = 0; index < atomNames.size(); ++index) {
        if (const auto reply = questions[index].Take()) {
            atoms.*atomNames[index].member = reply->atom;
        }
    }
    return atoms;
}

/// The numbers of the names: one round trip at the first call.
const Atoms& GetAtoms(const Server& server) {
    static const Atoms s_atoms = InternAtoms(server);
    return s_atoms;
}

/// The windows that the list is made of.
struct Stacking {
    bool isManaged = false;            ///< Whether a window manager runs.
    std::vector<xcb_window_t> windows; ///< Front to back.
};

/// The window by which the window manager showed last that it runs, or none if none did. A guess, by which the next
/// question about it needs no round trip of its own.
std::atomic<xcb_window_t> s_checkWindow = XCB_WINDOW_NONE;

/// Asks for the window manager's list or, without one, for the root's children; both go from back to front. One round
/// trip, up to two more if the window manager has come or gone.
class StackingQuestions {
public:
    explicit StackingQuestions(const Server& server)
        : m_server(server),
          m_list(server, server.root, GetAtoms(server).clientListStacking, XCB_ATOM_WINDOW, longestList),
          m_check(server, server.root, GetAtoms(server).supportingManagerCheck, XCB_ATOM_WINDOW),
          m_guess(s_checkWindow) {
        if (m_guess == XCB_WINDOW_NONE) {
            m_children.emplace(server, server.root);
        } else {
            m_guessed.emplace(AskBack(m_guess));
        }
    }

    Stacking Take() const {
        const auto list = m_list.Take();
        const xcb_window_t checkWindow = m_check.TakeNumber();
        const bool isManaged = IsAlive(checkWindow) && list != nullptr && list->type == XCB_ATOM_WINDOW;
        s_checkWindow = isManaged ? checkWindow : XCB_WINDOW_NONE;
        Stacking stacking = {.isManaged = isManaged, .windows = {}};
        if (m_children || !isManaged) {
            stacking.windows = TakeChildren();
        }
        if (isManaged) {
            stacking.windows = GetNumbers(list);
        }
        std::ranges::reverse(stacking.windows);
        return stacking;
    }

private:
    PropertyQuestion AskBack(xcb_window_t checkWindow) const {
        return {m_server, checkWindow, GetAtoms(m_server).supportingManagerCheck, XCB_ATOM_WINDOW};
    }

    /// A window manager that crashed leaves everything on the root, but not its own window, which names itself (EWMH).
    bool IsAlive(xcb_window_t checkWindow) const {
        const xcb_window_t guessed = m_guessed ? m_guessed->TakeNumber() : XCB_WINDOW_NONE;
        if (checkWindow == XCB_WINDOW_NONE) {
            return false;
        }
        return (checkWindow == m_guess ? guessed : AskBack(checkWindow).TakeNumber()) == checkWindow;
    }

    std::vector<xcb_window_t> TakeChildren() const {
        const auto children = (m_children ? *m_children : ChildrenQuestion(m_server, m_server.root)).Take();
        if (children == nullptr) {
            return {};
        }
        const auto windows = GetTail<xcb_window_t>(children, children->children_len);
        return {windows.begin(), windows.end()};
    }

    /// Of all windows, in units of 4 bytes.
    static constexpr std::uint32_t longestList = 1U << 20;

    const Server& m_server;
    PropertyQuestion m_list;
    PropertyQuestion m_check;
    xcb_window_t m_guess;
    std::optional<PropertyQuestion> m_guessed;
    std::optional<ChildrenQuestion> m_children;
};

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

bool Holds(std::span<const std::uint32_t> numbers, std::uint32_t number) {
    return std::ranges::find(numbers, number) != numbers.end();
}

/// Whether a window takes its place among the normal ones, by the first of its types that is known here; without any it
/// does (EWMH).
bool IsNormalType(const Atoms& atoms, std::span<const xcb_atom_t> types) {
    const std::array normalTypes = {atoms.typeNormal,  atoms.typeDialog, atoms.typeUtility,
                                    atoms.typeToolbar, atoms.typeMenu,   atoms.typeSplash};
    const std::array otherTypes = {atoms.typeDock,         atoms.typeDesktop,    atoms.typeNotification,
                                   atoms.typeDropdownMenu, atoms.typePopupMenu,  atoms.typeTooltip,
                                   atoms.typeCombo,        atoms.typeDragAndDrop};
    const auto known = std::ranges::find_if(
        types, [&](xcb_atom_t type) { return Holds(normalTypes, type) || Holds(otherTypes, type); });
    return known == types.end() || Holds(normalTypes, *known);
}

/// The layer, and whether the window is on the screen.
class StateQuestions {
public:
    StateQuestions(const Server& server, xcb_window_t window)
        : m_attributes(server, window), m_types(server, window, GetAtoms(server).type, XCB_ATOM_ATOM),
          m_states(server, window, GetAtoms(server).state, XCB_ATOM_ATOM) {}

    void Answer(const Server& server, WindowListEntry& entry) const {
        const auto attributes = m_attributes.Take();
        const auto types = GetNumbers(m_types.Take());
        const auto states = GetNumbers(m_states.Take());
        if (attributes == nullptr) {
            return;
        }
        const bool isNormal = attributes->override_redirect == 0 &&
                              attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
                              IsNormalType(GetAtoms(server), types);
        entry.layer = isNormal ? 0 : 1;
        entry.isOnScreen =
            attributes->map_state == XCB_MAP_STATE_VIEWABLE && !Holds(states, GetAtoms(server).stateHidden);
    }

private:
    AttributesQuestion m_attributes;
    PropertyQuestion m_types;
    PropertyQuestion m_states;
};

/// The process that the window says it belongs to (EWMH).
class OwnerQuestion {
public:
    OwnerQuestion(const Server& server, xcb_window_t window)
        : m_processId(server, window, GetAtoms(server).processId, XCB_ATOM_CARDINAL) {}

    void Answer([[maybe_unused]] const Server& server, WindowListEntry& entry) const {
        if (const std::uint32_t processId = m_processId.TakeNumber(); processId != 0) {
            entry.ownerId = static_cast<std::int32_t>(processId);
        }
    }

private:
    PropertyQuestion m_processId;
};

std::string CutAtNul(std::span<const char> text) {
    return {text.begin(), std::ranges::find(text, '\0')};
}

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
    return result;
}

/// The text of a property; nothing if there is none.
std::optional<std::string> GetText(const Server& server, const Reply<xcb_get_property_reply_t>& reply) {
    if (reply == nullptr || reply->format != 8) {
        return std::nullopt;
    }
    if (reply->type == GetAtoms(server).utf8) {
        return CutAtNul(GetTail<char>(reply, reply->value_len));
    }
    return Convert({.value = reinterpret_cast<unsigned char*>(reply.get() + 1),
                    .encoding = reply->type,
                    .format = reply->format,
                    .nitems = reply->value_len});
}

/// The title.
class NameQuestions {
public:
    NameQuestions(const Server& server, xcb_window_t window)
        : m_name(server, window, GetAtoms(server).name, GetAtoms(server).utf8, longestName),
          m_oldName(server, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, longestName) {}

    void Answer(const Server& server, WindowListEntry& entry) const {
        const auto name = m_name.Take();
        const auto oldName = m_oldName.Take();
        // Of another type it comes without its text.
        const bool hasName = name != nullptr && name->type == GetAtoms(server).utf8;
        entry.name = GetText(server, hasName ? name : oldName);
    }

private:
    /// In units of 4 bytes. Too long a title is none, so it need not be read to its end.
    static constexpr std::uint32_t longestName = windowTextBufferSize;

    PropertyQuestion m_name;
    PropertyQuestion m_oldName;
};

using Entries = std::vector<WindowListEntry>;

/// The same questions about several windows, asked before the first answer is waited for.
template <class Questions>
class QuestionsOfAll {
public:
    QuestionsOfAll(const Server& server, const Entries& entries) {
        m_questions.reserve(entries.size());
        for (const WindowListEntry& entry : entries) {
            m_questions.emplace_back(server, entry.number.value_or(0));
        }
    }

    void Answer(const Server& server, Entries& entries) const {
        for (std::size_t index = 0; index < entries.size(); ++index) {
            m_questions[index].Answer(server, entries[index]);
        }
    }

private:
    std::vector<Questions> m_questions;
};

/// The processes behind the connections that made the windows: one request, however many there are.
class ConnectionsQuestion {
public:
    ConnectionsQuestion(const Server& server, const Entries& entries) {
        if (!Xcb::TellsProcesses(server)) {
            return;
        }
        std::vector<xcb_res_client_id_spec_t> connections;
        connections.reserve(entries.size());
        for (const WindowListEntry& entry : entries) {
            connections.push_back(
                {.client = entry.number.value_or(0), .mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
        }
        m_processes.emplace(server, static_cast<std::uint32_t>(connections.size()), connections.data());
    }

    /// Gives owners to those that have none yet.
    void Answer(const Server& server, Entries& entries) const {
        const auto reply = m_processes ? m_processes->Take() : nullptr;
        if (reply == nullptr) {
            return;
        }
        // Windows that the server knows nothing of are left out of the answer, so it goes by the connection's bits.
        const std::uint32_t connectionBits = ~GetFunctions().xcb_get_setup(server.connection)->resource_id_mask;
        std::unordered_map<std::uint32_t, std::int32_t> processes;
        for (auto answers = GetFunctions().xcb_res_query_client_ids_ids_iterator(reply.get()); answers.rem > 0;
             GetFunctions().xcb_res_client_id_value_next(&answers)) {
            if (GetFunctions().xcb_res_client_id_value_value_length(answers.data) == 1) {
                processes.emplace(
                    answers.data->spec.client & connectionBits,
                    static_cast<std::int32_t>(*GetFunctions().xcb_res_client_id_value_value(answers.data)));
            }
        }
        for (WindowListEntry& entry : entries) {
            const auto process = processes.find(entry.number.value_or(0) & connectionBits);
            if (!entry.ownerId && process != processes.end()) {
                entry.ownerId = process->second;
            }
        }
    }

private:
    std::optional<ProcessesQuestion> m_processes;
};

/// All questions about a batch of windows, which are on their way together: one round trip.
class Batch {
public:
    Batch(const Server& server, const Entries& entries, WindowListFields fields) {
        const auto ask = [&](auto& questions, WindowListFields when) {
            if (fields.HasAny(when)) {
                questions.emplace(server, entries);
            }
        };
        ask(m_bounds, WindowListField::Bounds);
        ask(m_states, WindowListField::Layer | WindowListField::IsOnScreen);
        ask(m_owners, WindowListField::OwnerId);
        ask(m_connections, WindowListField::OwnerId);
        ask(m_names, WindowListField::Name);
    }

    void Answer(const Server& server, Entries& entries) const {
        const auto answer = [&](const auto& questions) {
            if (questions) {
                questions->Answer(server, entries);
            }
        };
        answer(m_bounds);
        answer(m_states);
        answer(m_owners);
        answer(m_connections);
        answer(m_names);
    }

private:
    std::optional<QuestionsOfAll<BoundsQuestions>> m_bounds;
    std::optional<QuestionsOfAll<StateQuestions>> m_states;
    std::optional<QuestionsOfAll<OwnerQuestion>> m_owners;
    std::optional<ConnectionsQuestion> m_connections;
    std::optional<QuestionsOfAll<NameQuestions>> m_names;
};

Entries MakeEntries(std::span<const xcb_window_t> windows) {
    Entries entries;
    entries.reserve(windows.size());
    for (const xcb_window_t window : windows) {
        entries.push_back({.number = window});
    }
    return entries;
}

/// What is known of one window, be it on the list or not. One round trip.
WindowListEntry GetEntry(const Server& server, xcb_window_t window, WindowListFields fields) {
    Entries entries = MakeEntries({&window, 1});
    Batch(server, entries, fields).Answer(server, entries);
    return entries.front();
}

/// The file name of the owner's executable, which is what a process goes by. One round trip.
std::optional<std::string> GetOwnerName(const Server& server, xcb_window_t window) {
    const std::int32_t owner = GetEntry(server, window, WindowListField::OwnerId).ownerId.value_or(0);
    std::array<char, 4096> path;
    if (owner < 1 || GetProcessPath(owner, path.data(), path.size()) < 1) {
        return std::nullopt;
    }
    const std::string_view text = path.data();
    return std::string(text.substr(text.rfind('/') + 1));
}

/// Takes the answers of a batch, and asks further for the owners of windows with empty titles.
void Answer(const Server& server, const Batch& batch, WindowListFields fields, Entries& entries) {
    batch.Answer(server, entries);
    if (!fields.HasAny(WindowListField::OwnerName)) {
        return;
    }
    for (WindowListEntry& entry : entries) {
        if (entry.name == "") {
            entry.ownerName = GetOwnerName(server, entry.number.value_or(0));
        }
    }
}

/// What must be known of each window of a query.
WindowListFields GetFields(const WindowListQuery& query) {
    return query.option == WindowListOption::OnScreenOnly ? query.fields | WindowListField::IsOnScreen : query.fields;
}

bool IsShown(const WindowListQuery& query, const WindowListEntry& entry) {
    return query.option != WindowListOption::OnScreenOnly || entry.isOnScreen.value_or(false);
}

/// Reads a batch: one round trip, or two if only those at a point count, of which there are few.
Entries Read(const Server& server, std::span<const xcb_window_t> windows, const WindowListQuery& query) {
    Entries entries = MakeEntries(windows);
    WindowListFields fields = GetFields(query);
    if (query.point) {
        Batch(server, entries, WindowListField::Bounds).Answer(server, entries);
        std::erase_if(entries, [&query](const WindowListEntry& entry) {
            return !entry.bounds || !entry.bounds->Contains(*query.point);
        });
        fields &= ~WindowListFields(WindowListField::Bounds);
    }
    if (!entries.empty()) {
        Answer(server, Batch(server, entries, fields), fields, entries);
    }
    return entries;
}

/// Shows the windows in batches that double in size, since what is looked for is mostly in front.
void WalkBatches(const Server& server, const WindowListQuery& query, const WindowListVisitor& visitor) {
    const Stacking stacking = StackingQuestions(server).Take();
    std::span<const xcb_window_t> rest = stacking.windows;
    for (std::size_t batchSize = 8; !rest.empty(); batchSize *= 2) {
        const auto batch = rest.first(std::min(batchSize, rest.size()));
        rest = rest.subspan(batch.size());
        for (const WindowListEntry& entry : Read(server, batch, query)) {
            if (IsShown(query, entry) && visitor(entry) == VisitorAction::Stop) {
                return;
            }
        }
    }
}

/// Shows one window, if it is on the list. It is asked about together with the list.
void ShowOne(const Server& server, xcb_window_t window, const WindowListQuery& query,
             const WindowListVisitor& visitor) {
    const StackingQuestions stacking(server);
    Entries entries = MakeEntries({&window, 1});
    const WindowListFields fields = GetFields(query);
    const Batch batch(server, entries, fields);
    const bool isOnList = Holds(stacking.Take().windows, window);
    Answer(server, batch, fields, entries);
    if (isOnList && IsShown(query, entries.front())) {
        visitor(entries.front());
    }
}

/// The root's child that holds a window, or none. A round trip for each level.
xcb_window_t GetTopLevel(const Server& server, xcb_window_t window) {
    while (window != XCB_WINDOW_NONE) {
        const auto reply = ChildrenQuestion(server, window).Take();
        const xcb_window_t parent = reply == nullptr ? XCB_WINDOW_NONE : reply->parent;
        if (parent == server.root) {
            return window;
        }
        window = parent;
    }
    return XCB_WINDOW_NONE;
}

/// The window that has the keyboard, or none: the window manager's active one; without one, that which holds the focus,
/// if a window does. One round trip; without a window manager also one for each level.
xcb_window_t GetFocused(const Server& server) {
    const StackingQuestions stacking(server);
    const PropertyQuestion active(server, server.root, GetAtoms(server).activeWindow, XCB_ATOM_WINDOW);
    const FocusQuestion focus(server);
    const bool isManaged = stacking.Take().isManaged;
    const xcb_window_t activeWindow = active.TakeNumber();
    const auto reply = focus.Take();
    if (isManaged) {
        return activeWindow;
    }
    return reply == nullptr || reply->focus == XCB_INPUT_FOCUS_POINTER_ROOT ? XCB_WINDOW_NONE
                                                                            : GetTopLevel(server, reply->focus);
}

/// Asks the window manager for something that it does with one of its windows (EWMH). One round trip.
bool SendToManager(const Server& server, xcb_window_t window, xcb_atom_t type,
                   const std::array<std::uint32_t, 5>& data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::ranges::copy(data, event.data.data32);
    return IsDone(server, GetFunctions().xcb_send_event_checked(server.connection, 0, server.root,
                                                                XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY |
                                                                    XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                                                                reinterpret_cast<const char*>(&event)));
}

constexpr std::uint32_t fromPager = 2; ///< A request by the person, which window managers heed.

bool Focus(const Server& server, xcb_window_t window) {
    if (StackingQuestions(server).Take().isManaged) {
        return SendToManager(server, window, GetAtoms(server).activeWindow, {fromPager, XCB_CURRENT_TIME});
    }
    return IsDone(server, GetFunctions().xcb_set_input_focus_checked(server.connection, XCB_INPUT_FOCUS_POINTER_ROOT,
                                                                     window, XCB_CURRENT_TIME));
}

bool Raise(const Server& server, xcb_window_t window) {
    const GeometryQuestion geometry(server, window);
    const bool isManaged = StackingQuestions(server).Take().isManaged;
    // A window manager takes a message for a window that is gone without a word.
    if (geometry.Take() == nullptr) {
        return false;
    }
    if (isManaged) {
        return SendToManager(server, window, GetAtoms(server).restackWindow,
                             {fromPager, XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE});
    }
    const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
    return IsDone(server, GetFunctions().xcb_configure_window_checked(server.connection, window,
                                                                      XCB_CONFIG_WINDOW_STACK_MODE, &mode));
}

/// What the accessibility layer answers where it can't do a thing.
constexpr std::int32_t accessibilityFailure = -25200;

} // namespace

/// X11 has no accessibility layer of its own: an application is its process, a window its X window with the bounds that
/// it had when it was looked up, so that measuring many of them takes no round trips.
struct AccessibilityElement {
    std::int32_t processId = 0;
    xcb_window_t window = XCB_WINDOW_NONE;
    std::optional<WindowBounds> bounds = {};
};

// One round trip for a window by its number: its frame, name, owner, visibility. Otherwise one for the list and one for
// each batch of windows (of 8, 16, 32 …) until the visitor stops: all windows of a process among 200 take 6. The
// window under a point takes one for the list, one for the bounds of each batch and one for what lies at the point: 3
// if it is among the first 8 windows.
void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor) {
    const Session session;
    const Server* const server = session.GetServer();
    if (server == nullptr) {
        return;
    }
    const auto only = query.option == WindowListOption::IncludingWindow ? query.window : query.only;
    if (only) {
        ShowOne(*server, *only, query, visitor);
    } else {
        WalkBatches(*server, query, visitor);
    }
}

void ReleaseAccessibilityElement(AccessibilityElement* element) {
    delete element;
}

// Two round trips; without a window manager also one for each level down to the focus.
std::int32_t GetFrontProcessId() {
    const Session session;
    const Server* const server = session.GetServer();
    const xcb_window_t window = server == nullptr ? XCB_WINDOW_NONE : GetFocused(*server);
    return window == XCB_WINDOW_NONE ? 0 : GetEntry(*server, window, WindowListField::OwnerId).ownerId.value_or(0);
}

HeldAccessibilityElement CreateApplicationElement(std::int32_t processId) {
    return HeldAccessibilityElement(processId < 1 ? nullptr : new AccessibilityElement{.processId = processId});
}

// Two round trips for the process that has the focus. X11 keeps no focus for the others: theirs is their frontmost
// normal window on the screen, which takes a walk through the list.
HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application) {
    const Session session;
    const Server* const server = session.GetServer();
    if (server == nullptr) {
        return nullptr;
    }
    const auto makeElement = [&application](const WindowListEntry& entry) {
        return HeldAccessibilityElement(new AccessibilityElement{
            .processId = application.processId, .window = entry.number.value_or(0), .bounds = entry.bounds});
    };
    const WindowListFields fields = WindowListField::OwnerId | WindowListField::Bounds;
    const WindowListEntry focused = GetEntry(*server, GetFocused(*server), fields);
    if (focused.ownerId == application.processId) {
        return makeElement(focused);
    }
    HeldAccessibilityElement element;
    WalkWindowList({.option = WindowListOption::OnScreenOnly, .fields = fields | WindowListField::Layer},
                   [&application, &makeElement, &element](const WindowListEntry& entry) {
                       if (entry.ownerId != application.processId || entry.layer != 0) {
                           return VisitorAction::Continue;
                       }
                       element = makeElement(entry);
                       return VisitorAction::Stop;
                   });
    return element;
}

// A walk through the list.
std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount) {
    std::vector<HeldAccessibilityElement> windows;
    WalkWindowList({.fields = WindowListField::OwnerId | WindowListField::Bounds},
                   [&application, maximumCount, &windows](const WindowListEntry& entry) {
                       if (entry.ownerId == application.processId) {
                           windows.emplace_back(new AccessibilityElement{.processId = application.processId,
                                                                         .window = entry.number.value_or(0),
                                                                         .bounds = entry.bounds});
                       }
                       return windows.size() < maximumCount ? VisitorAction::Continue : VisitorAction::Stop;
                   });
    return windows;
}

std::int32_t CopyWindowPosition(AccessibilityElement& window, double& x, double& y) {
    if (!window.bounds) {
        return accessibilityFailure;
    }
    x = window.bounds->x;
    y = window.bounds->y;
    return 0;
}

std::int32_t CopyWindowSize(AccessibilityElement& window, double& width, double& height) {
    if (!window.bounds) {
        return accessibilityFailure;
    }
    width = window.bounds->width;
    height = window.bounds->height;
    return 0;
}

// Two round trips.
std::int32_t SetFocusedWindow([[maybe_unused]] AccessibilityElement& application, AccessibilityElement& window) {
    const Session session;
    return session.GetServer() != nullptr && Focus(*session.GetServer(), window.window) ? 0 : accessibilityFailure;
}

// Two round trips.
std::int32_t RaiseWindow(AccessibilityElement& window) {
    const Session session;
    return session.GetServer() != nullptr && Raise(*session.GetServer(), window.window) ? 0 : accessibilityFailure;
}

} // namespace Tovra::System::Processes
