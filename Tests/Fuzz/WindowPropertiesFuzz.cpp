// Oracle: a model of the window list, and the C library's iconv for titles
// Reaches: Tovra::System::Processes::WalkWindowList Tovra::System::Processes::WindowRequests::Fill
// Reaches: Tovra::System::X11::Xcb::StackingRequests::GetReply Tovra::System::X11::Xcb::GetNumbers
// Reaches: Tovra::System::X11::Xcb::ProcessIdsRequest::GetReply

#include <System/Processes/ProcessWindowOperations.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <Fuzz/XConnection.h>
#include <Fuzz/XReplies.h>
#include <iconv.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;
namespace Processes = Tovra::System::Processes;
namespace X11 = Tovra::System::X11;

using Fuzz::Expect;
using Fuzz::GetBytes;
using Fuzz::MakeReply;
using Fuzz::Outcome;
using Fuzz::Send;
using Fuzz::Take;
using Processes::WindowListEntry;
using Processes::WindowListField;

Outcome s_managed("a list of a window manager");
Outcome s_unmanaged("a list of the root's children");
Outcome s_gone("a window that is gone");
Outcome s_utf8("a title in UTF-8");
Outcome s_notUtf8("a title that is not UTF-8 in spite of its type");
Outcome s_latin("a title in Latin-1");
Outcome s_compound("a title in compound text");
Outcome s_long("a title that is too long");
Outcome s_typed("a window that is not a normal one by its type");
Outcome s_hidden("a window that is hidden by its state");
Outcome s_reported("an owner that the server reports");
Outcome s_claimed("an owner that the window names");
Outcome s_foreign("an owner of another machine");
Outcome s_ownerName("an owner's name in place of an empty title");
Outcome s_more("more values of a property stated than the reply has");
Outcome s_fewer("fewer values of a property stated than the reply has");
Outcome s_moreChildren("more children stated than the reply has");
Outcome s_fewerChildren("fewer children stated than the reply has");
Outcome s_moreClients("more clients stated than the reply has");
Outcome s_fewerClients("fewer clients stated than the reply has");
Outcome s_longClient("more of a client stated than the reply has");
Outcome s_shortClient("less of a client stated than the reply has");

struct Property {
    xcb_atom_t type = XCB_ATOM_NONE;
    std::uint8_t format = 0;
    std::string content;
    std::optional<std::uint32_t> count = {}; ///< A false number of values.
};

struct Geometry {
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
};

struct Window {
    Geometry geometry;
    bool isOverride = false;
    bool isInputOnly = false;
    std::uint8_t mapState = XCB_MAP_STATE_VIEWABLE;
    std::map<xcb_atom_t, Property> properties;
};

/// What the server has.
struct Server {
    std::map<xcb_window_t, Window> windows;
    std::vector<xcb_window_t> children;
    std::map<std::uint32_t, std::uint32_t> clients; ///< Process ids by the client's bits.
    /// Numbers of values that are stated falsely: of the tree, the clients, and the bytes behind each of these.
    std::optional<std::uint16_t> childCount;
    std::optional<std::uint32_t> clientCount;
    std::optional<std::uint32_t> clientLength;
    /// What replies have said of a window's client since the last walk began: its process id, or nothing.
    std::map<xcb_window_t, std::set<std::optional<std::uint32_t>>> reported;

    bool HasFalseClients() const { return clientCount || clientLength; }
};

Server s_server;

const Window* FindWindow(xcb_window_t window) {
    const auto found = s_server.windows.find(window);
    return found == s_server.windows.end() ? nullptr : &found->second;
}

xcb_get_geometry_cookie_t SendGeometry(xcb_connection_t*, xcb_drawable_t id) {
    const Window* const window = FindWindow(id);
    xcb_get_geometry_reply_t reply{};
    if (window != nullptr) {
        reply.width = window->geometry.width;
        reply.height = window->geometry.height;
    }
    return Send<xcb_get_geometry_cookie_t>(window == nullptr ? "" : MakeReply(reply));
}

xcb_translate_coordinates_cookie_t SendPosition(xcb_connection_t*, xcb_window_t id, xcb_window_t, std::int16_t,
                                                std::int16_t) {
    const Window* const window = FindWindow(id);
    xcb_translate_coordinates_reply_t reply{};
    if (window != nullptr) {
        reply.dst_x = window->geometry.x;
        reply.dst_y = window->geometry.y;
    }
    return Send<xcb_translate_coordinates_cookie_t>(window == nullptr ? "" : MakeReply(reply));
}

xcb_get_window_attributes_cookie_t SendAttributes(xcb_connection_t*, xcb_window_t id) {
    const Window* const window = FindWindow(id);
    xcb_get_window_attributes_reply_t reply{};
    if (window != nullptr) {
        reply._class = window->isInputOnly ? XCB_WINDOW_CLASS_INPUT_ONLY : XCB_WINDOW_CLASS_INPUT_OUTPUT;
        reply.map_state = window->mapState;
        reply.override_redirect = window->isOverride ? 1 : 0;
    }
    return Send<xcb_get_window_attributes_cookie_t>(window == nullptr ? "" : MakeReply(reply));
}

xcb_query_tree_cookie_t SendTree(xcb_connection_t*, xcb_window_t) {
    xcb_query_tree_reply_t reply{};
    reply.children_len = s_server.childCount.value_or(static_cast<std::uint16_t>(s_server.children.size()));
    return Send<xcb_query_tree_cookie_t>(MakeReply(reply, {reinterpret_cast<const char*>(s_server.children.data()),
                                                           s_server.children.size() * sizeof(xcb_window_t)}));
}

/// X protocol, GetProperty: of another type only type, format and length are told.
xcb_get_property_cookie_t SendProperty(xcb_connection_t*, std::uint8_t isDeleted, xcb_window_t id, xcb_atom_t name,
                                       xcb_atom_t type, std::uint32_t offset, std::uint32_t length) {
    Expect(isDeleted == 0 && offset == 0, "a property is read from its beginning and stays");
    const Window* const window = FindWindow(id);
    if (window == nullptr) {
        return Send<xcb_get_property_cookie_t>("");
    }
    const auto found = window->properties.find(name);
    xcb_get_property_reply_t reply{};
    std::string_view content;
    if (found != window->properties.end()) {
        const Property& property = found->second;
        reply.type = property.type;
        reply.format = property.format;
        const bool isAsked = type == XCB_GET_PROPERTY_TYPE_ANY || type == property.type;
        content = isAsked ? std::string_view(property.content).substr(0, std::size_t{4} * length) : "";
        reply.bytes_after = static_cast<std::uint32_t>(property.content.size() - content.size());
        reply.value_len = property.count.value_or(static_cast<std::uint32_t>(content.size() / (property.format / 8U)));
    }
    return Send<xcb_get_property_cookie_t>(MakeReply(reply, content));
}

/// The bits of an id that tell the client.
std::uint32_t GetClientMask() {
    const X11::Connection& x11 = Fuzz::GetXConnection();
    return ~x11.xcb_get_setup(x11.xcb)->resource_id_mask;
}

/// The process ids by the client's bits, as a reply has them: words for the client, the mask and the number of bytes
/// that follow, of which 4 are a process id.
std::map<std::uint32_t, std::uint32_t> ReadClients(const std::string& values, std::uint32_t count) {
    std::vector<std::uint32_t> words(values.size() / 4);
    if (!words.empty()) {
        std::memcpy(words.data(), values.data(), words.size() * 4);
    }
    std::map<std::uint32_t, std::uint32_t> clients;
    std::size_t begin = 0;
    for (; count > 0 && begin + 3 <= words.size(); --count) {
        const std::size_t size = words[begin + 2] / 4;
        if (size == 1 && begin + 3 < words.size()) {
            clients.emplace(words[begin] & GetClientMask(), words[begin + 3]);
        }
        s_shortClient.Note(size == 0);
        begin += 3 + size;
    }
    s_longClient.Note(begin > words.size());
    s_moreClients.Note(count > 0 && begin == words.size());
    s_fewerClients.Note(count == 0 && begin < words.size());
    return clients;
}

xcb_res_query_client_ids_cookie_t SendClientIds(xcb_connection_t*, std::uint32_t count,
                                                const xcb_res_client_id_spec_t* specs) {
    xcb_res_query_client_ids_reply_t reply{};
    std::string values;
    const std::uint32_t mask = GetClientMask();
    for (std::uint32_t index = 0; index < count; ++index) {
        const auto client = s_server.clients.find(specs[index].client & mask);
        if (client != s_server.clients.end()) {
            const xcb_res_client_id_value_t value{
                .spec = {.client = client->first, .mask = XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID},
                .length = s_server.clientLength.value_or(4)};
            values += GetBytes(value) + GetBytes(client->second);
            ++reply.num_ids;
        }
    }
    reply.num_ids = s_server.clientCount.value_or(reply.num_ids);
    const auto reported = ReadClients(values, reply.num_ids);
    for (std::uint32_t index = 0; index < count; ++index) {
        const auto client = reported.find(specs[index].client & mask);
        s_server.reported[specs[index].client].insert(client == reported.end() ? std::nullopt
                                                                               : std::optional(client->second));
    }
    return Send<xcb_res_query_client_ids_cookie_t>(MakeReply(reply, values));
}

/// Atoms by the words for them, and those of properties.
struct Names {
    explicit Names(X11::Connection& x11) {
        const X11::Atoms& atoms = x11.GetAtoms();
        const auto intern = [&x11](const char* name) {
            return static_cast<xcb_atom_t>(x11.XInternAtom(x11.display, name, False));
        };
        types = {{"utf8", atoms.utf8},       {"string", XCB_ATOM_STRING}, {"compound", intern("COMPOUND_TEXT")},
                 {"text", intern("TEXT")},   {"atom", XCB_ATOM_ATOM},     {"cardinal", XCB_ATOM_CARDINAL},
                 {"window", XCB_ATOM_WINDOW}};
        properties = {{"name", atoms.name},
                      {"oldname", XCB_ATOM_WM_NAME},
                      {"type", atoms.type},
                      {"state", atoms.state},
                      {"pid", atoms.processId},
                      {"machine", XCB_ATOM_WM_CLIENT_MACHINE},
                      {"list", atoms.clientListStacking},
                      {"check", atoms.supportingManagerCheck}};
        normal = {{"normal", atoms.typeNormal},   {"dialog", atoms.typeDialog}, {"utility", atoms.typeUtility},
                  {"toolbar", atoms.typeToolbar}, {"menu", atoms.typeMenu},     {"splash", atoms.typeSplash}};
        other = {{"dock", atoms.typeDock},
                 {"desktop", atoms.typeDesktop},
                 {"notification", atoms.typeNotification},
                 {"dropdown", atoms.typeDropdownMenu},
                 {"popup", atoms.typePopupMenu},
                 {"tooltip", atoms.typeTooltip},
                 {"combo", atoms.typeCombo},
                 {"dnd", atoms.typeDragAndDrop}};
        hidden = atoms.stateHidden;
    }

    using Map = std::map<std::string, xcb_atom_t>;

    Map types;
    Map properties;
    Map normal;
    Map other;
    xcb_atom_t hidden;
};

const Names& GetNames() {
    static const Names& s_names = *new Names(Fuzz::GetXConnection());
    return s_names;
}

/// A number, the name of a type or state of windows, or "me" for our own process id.
std::uint32_t ReadNumber(const std::string& word) {
    for (const Names::Map& map : {GetNames().normal, GetNames().other}) {
        if (const auto found = map.find(word); found != map.end()) {
            return found->second;
        }
    }
    return word == "hidden" ? GetNames().hidden
           : word == "me"   ? static_cast<std::uint32_t>(getpid())
                            : static_cast<std::uint32_t>(std::strtoul(word.c_str(), nullptr, 0));
}

std::string GetHostName() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

/// Reads the description of the server, see the seeds. Lines belong to the window of the last "window" before them, and
/// to the root before the first.
class Reader {
public:
    void Read(std::string_view text) {
        s_server = {};
        m_window = &s_server.windows[Fuzz::GetXConnection().root];
        for (const std::string& line : Fuzz::GetLines(text)) {
            const std::vector<std::string> words = Fuzz::GetWords(line);
            if (!words.empty()) {
                ReadLine(words, line);
            }
        }
    }

private:
    void ReadLine(const std::vector<std::string>& words, const std::string& line) {
        const auto number = [&words](std::size_t index) { return index < words.size() ? ReadNumber(words[index]) : 0; };
        if (words[0] == "window") {
            m_window = &s_server.windows[number(1)];
        } else if (words[0] == "tree") {
            for (std::size_t index = 1; index < words.size(); ++index) {
                s_server.children.push_back(number(index));
            }
        } else if (words[0] == "client") {
            const std::uint32_t mask = GetClientMask();
            s_server.clients[number(1) & mask] = number(2);
        } else if (words[0] == "count" && words.size() == 3) {
            ReadCount(words[1], number(2));
        } else if (words[0] == "at") {
            m_window->geometry = {static_cast<std::int16_t>(number(1)), static_cast<std::int16_t>(number(2)),
                                  static_cast<std::uint16_t>(number(3)), static_cast<std::uint16_t>(number(4))};
        } else if (words[0] == "override") {
            m_window->isOverride = true;
        } else if (words[0] == "inputonly") {
            m_window->isInputOnly = true;
        } else if (words[0] == "map") {
            m_window->mapState = static_cast<std::uint8_t>(number(1) % 3);
        } else if (const auto name = GetNames().properties.find(words[0]); name != GetNames().properties.end()) {
            ReadProperty(name->second, words, line);
        }
    }

    /// A number of values that is false: of the root's children, the clients, the bytes behind each of these, or of a
    /// property.
    void ReadCount(const std::string& word, std::uint32_t count) {
        if (word == "tree") {
            s_server.childCount = static_cast<std::uint16_t>(count);
        } else if (word == "clients") {
            s_server.clientCount = count;
        } else if (word == "length") {
            s_server.clientLength = count;
        } else if (const auto name = GetNames().properties.find(word); name != GetNames().properties.end()) {
            if (const auto property = m_window->properties.find(name->second); property != m_window->properties.end()) {
                property->second.count = count;
            }
        }
    }

    /// "name utf8 8 text": the property, its type, its format, and its content.
    void ReadProperty(xcb_atom_t name, const std::vector<std::string>& words, const std::string& line) {
        const auto type = words.size() < 3 ? GetNames().types.end() : GetNames().types.find(words[1]);
        const bool hasBytes = words.size() >= 3 && words[2] == "8";
        if (type == GetNames().types.end() || !(hasBytes || words[2] == "32" || words[2] == "16")) {
            return;
        }
        Property property{
            .type = type->second, .format = static_cast<std::uint8_t>(std::stoi(words[2])), .content = {}};
        if (hasBytes) {
            const std::string start = words[0] + ' ' + words[1] + " 8 ";
            property.content = line.starts_with(start) ? Fuzz::Unescape(line.substr(start.size())) : "";
            // Long texts without long inputs, and this machine's name.
            if (property.content.starts_with("*")) {
                property.content = std::string(1020 + property.content.size(), '*');
            } else if (property.content == "here") {
                property.content = GetHostName();
            }
        }
        for (std::size_t index = 3; !hasBytes && index < words.size(); ++index) {
            const std::uint32_t number = ReadNumber(words[index]);
            property.content.append(reinterpret_cast<const char*>(&number), property.format / 8U);
        }
        m_window->properties[name] = property;
    }

    Window* m_window = nullptr;
};

const Property* FindProperty(xcb_window_t id, const char* name) {
    const Window* const window = FindWindow(id);
    const auto found = window == nullptr ? std::map<xcb_atom_t, Property>::const_iterator()
                                         : window->properties.find(GetNames().properties.at(name));
    return window == nullptr || found == window->properties.end() ? nullptr : &found->second;
}

/// The content that is read of a property, of which a client asks for `most` bytes: with a false number of values as
/// many as it states, but no more than the reply has, padding included.
std::string GetContent(const Property& property, std::size_t most) {
    std::string content = property.content.substr(0, most);
    if (!property.count) {
        return content;
    }
    content.append((4 - content.size() % 4) % 4, Fuzz::padding);
    const std::size_t stated = std::size_t{*property.count} * (property.format / 8U);
    s_more.Note(stated > content.size());
    s_fewer.Note(stated < property.content.size());
    return content.substr(0, stated);
}

/// The numbers of a property of that type, as far as the first 64, which are read of short lists.
std::vector<std::uint32_t> GetNumbers(xcb_window_t id, const char* name, const char* type, std::size_t most = 64) {
    const Property* const property = FindProperty(id, name);
    if (property == nullptr || property->type != GetNames().types.at(type) || property->format != 32) {
        return {};
    }
    const std::string content = GetContent(*property, most * 4);
    std::vector<std::uint32_t> numbers(content.size() / 4);
    if (!numbers.empty()) {
        std::memcpy(numbers.data(), content.data(), numbers.size() * 4);
    }
    return numbers;
}

std::uint32_t GetNumber(xcb_window_t id, const char* name, const char* type) {
    const auto numbers = GetNumbers(id, name, type);
    return numbers.empty() ? 0 : numbers.front();
}

std::string CutAtNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

/// Converts a whole text; nothing if a part of it is invalid.
std::optional<std::string> Convert(const char* from, const std::string& text, const char* to = "UTF-8") {
    const iconv_t descriptor = iconv_open(to, from);
    std::string result(text.size() * 2 + 1, '\0');
    char* input = const_cast<char*>(text.data());
    char* output = result.data();
    std::size_t inputLeft = text.size();
    std::size_t outputLeft = result.size();
    const bool isConverted =
        iconv(descriptor, &input, &inputLeft, &output, &outputLeft) != static_cast<std::size_t>(-1);
    iconv_close(descriptor);
    result.resize(result.size() - outputLeft);
    return isConverted ? std::optional(result) : std::nullopt;
}

/// From UTF-8 to UTF-8 the C library takes sequences for numbers beyond the last code point, which UTF-16 can't have.
bool IsUtf8(const std::string& text) {
    return Convert("UTF-8", text, "UTF-16LE").has_value();
}

bool HasControls(const std::string& text) {
    return std::ranges::any_of(text, [](unsigned char byte) { return byte < 0x20 || (byte >= 0x7F && byte < 0xA0); });
}

/// The longest title that is read, in bytes.
constexpr std::size_t longestTitle = 1024;

void CheckTitle(xcb_window_t id, const std::optional<std::string>& title) {
    const Property* name = FindProperty(id, "name");
    const auto& types = GetNames().types;
    if (name != nullptr &&
        (name->type != types.at("utf8") || name->format != 8 ||
         (name->content.size() <= longestTitle && !IsUtf8(CutAtNul(GetContent(*name, longestTitle)))))) {
        s_notUtf8.Note(name->type == types.at("utf8") && name->format == 8);
        name = nullptr;
    }
    if (name == nullptr) {
        name = FindProperty(id, "oldname");
    }
    if (name == nullptr || name->format != 8 || s_long.Note(name->content.size() > longestTitle)) {
        Expect(!title, "what is no text is no title", title.value_or(""));
        return;
    }
    const std::string whole = GetContent(*name, longestTitle);
    const std::string content = CutAtNul(whole);
    if (name->type == types.at("utf8")) {
        const bool isValid = s_utf8.Note(IsUtf8(content));
        Expect(title.has_value() == isValid && (!isValid || *title == whole), "a title in UTF-8 is as it stands",
               title.value_or("none"), whole);
        return;
    }
    Expect(!title || (IsUtf8(*title) && title->find('\x1B') == std::string::npos), "a title is UTF-8",
           title.value_or(""), whole);
    if (name->type == types.at("string") && !HasControls(content)) {
        s_latin.Note(content.size() > 1);
        Expect(title == Convert("ISO-8859-1", content), "a title in Latin-1 becomes the same in UTF-8",
               title.value_or("none"), content);
    } else if (name->type == types.at("compound") && !HasControls(content) && IsUtf8(content) &&
               content.size() == Convert("ISO-8859-1", content)->size()) {
        Expect(title == content, "compound text begins as ASCII", title.value_or("none"), content);
    }
    s_compound.Note(name->type == types.at("compound") && title && title->size() > 1);
}

/// A process id, or nothing for a number that can be none.
std::optional<std::int32_t> ToProcess(std::uint32_t number) {
    return number == 0 || number > 0x7FFFFFFF ? std::nullopt : std::optional(static_cast<std::int32_t>(number));
}

/// The owner of a window whose client has that process id, or is not reported.
std::optional<std::int32_t> FindOwner(xcb_window_t id, std::optional<std::uint32_t> reported) {
    if (reported) {
        s_reported.Note(*reported != 0);
        return ToProcess(*reported);
    }
    const Property* const machine = FindProperty(id, "machine");
    const std::uint32_t claimed = GetNumber(id, "pid", "cardinal");
    // Of a long name only 256 bytes are read.
    const bool isHere =
        machine != nullptr && machine->format == 8 && CutAtNul(GetContent(*machine, 256)) == GetHostName();
    s_claimed.Note(isHere && claimed != 0);
    s_foreign.Note(!isHere && claimed != 0);
    return isHere ? ToProcess(claimed) : std::nullopt;
}

/// With false numbers of clients a window may have been reported in one reply and not in another.
void CheckOwner(xcb_window_t id, std::optional<std::int32_t> owner) {
    if (s_server.HasFalseClients()) {
        const auto& reported = s_server.reported[id];
        Expect(std::ranges::any_of(reported, [=](const auto& process) { return FindOwner(id, process) == owner; }),
               "a window has an owner that a reply names", id, owner.value_or(-1));
        return;
    }
    const auto client = s_server.clients.find(id & GetClientMask());
    const auto expected =
        FindOwner(id, client == s_server.clients.end() ? std::nullopt : std::optional(client->second));
    Expect(owner == expected, "a window has its owner", id, owner.value_or(-1), expected.value_or(-1));
}

bool IsNormal(xcb_window_t id, const Window& window) {
    const auto holds = [](const Names::Map& map, std::uint32_t atom) {
        return std::ranges::any_of(map, [atom](const auto& named) { return named.second == atom; });
    };
    for (const std::uint32_t type : GetNumbers(id, "type", "atom")) {
        if (s_typed.Note(holds(GetNames().other, type))) {
            return false;
        }
        if (holds(GetNames().normal, type)) {
            break;
        }
    }
    return !window.isOverride && !window.isInputOnly;
}

void CheckEntry(const WindowListEntry& entry) {
    const xcb_window_t id = entry.number.value_or(0);
    const Window* const window = FindWindow(id);
    if (s_gone.Note(window == nullptr)) {
        Expect(!entry.ownerId && !entry.layer && !entry.bounds && !entry.name && !entry.isOnScreen,
               "a window that is gone has nothing but its number", id);
        return;
    }
    const auto& [x, y, width, height] = window->geometry;
    Expect(entry.bounds && entry.bounds->x == x && entry.bounds->y == y && entry.bounds->width == width &&
               entry.bounds->height == height,
           "a window is where the server says", id);
    Expect(entry.layer == (IsNormal(id, *window) ? 0 : 1), "a window has its layer", id, entry.layer.value_or(-1));
    const auto states = GetNumbers(id, "state", "atom");
    const bool isHidden = s_hidden.Note(std::ranges::find(states, GetNames().hidden) != states.end());
    Expect(entry.isOnScreen == (window->mapState == XCB_MAP_STATE_VIEWABLE && !isHidden),
           "a window is on the screen or not", id);
    CheckOwner(id, entry.ownerId);
    CheckTitle(id, entry.name);
    const bool isEmpty = entry.name && CutAtNul(*entry.name).empty();
    const bool isOurs = entry.ownerId == getpid();
    Expect(isEmpty || !entry.ownerName, "an owner's name is asked for an empty title alone", id);
    if (s_server.HasFalseClients()) {
        return; // For the name the owner is asked for again, which may be another then.
    }
    s_ownerName.Note(isEmpty && isOurs);
    Expect(!isOurs || !isEmpty || entry.ownerName == "WindowPropertiesFuzz", "the owner has its name", id,
           entry.ownerName.value_or("none"));
    Expect(entry.ownerId || !entry.ownerName, "nobody has no name", id);
}

/// The root's children that the reply has.
std::vector<xcb_window_t> FindChildren() {
    std::vector<xcb_window_t> children = s_server.children;
    const std::size_t stated = s_server.childCount.value_or(children.size());
    s_moreChildren.Note(stated > children.size());
    if (s_fewerChildren.Note(stated < children.size())) {
        children.resize(stated);
    }
    return children;
}

/// The windows, front to back.
std::vector<xcb_window_t> FindWindows() {
    const xcb_window_t root = Fuzz::GetXConnection().root;
    const xcb_window_t manager = GetNumber(root, "check", "window");
    const Property* const list = FindProperty(root, "list");
    const bool isManaged = manager != 0 && GetNumber(manager, "check", "window") == manager && list != nullptr &&
                           list->type == XCB_ATOM_WINDOW && list->format == 32;
    std::vector<xcb_window_t> windows =
        isManaged ? GetNumbers(root, "list", "window", list->content.size()) : FindChildren();
    std::erase_if(windows, [root](xcb_window_t window) { return window == 0 || window == root; });
    std::ranges::reverse(windows);
    (isManaged ? s_managed : s_unmanaged).Note(!windows.empty());
    return windows;
}

constexpr auto allFields = WindowListField::Number | WindowListField::OwnerId | WindowListField::Layer |
                           WindowListField::Bounds | WindowListField::Name | WindowListField::OwnerName |
                           WindowListField::IsOnScreen;

std::vector<WindowListEntry> Walk(const Processes::WindowListQuery& query) {
    std::vector<WindowListEntry> entries;
    s_server.reported.clear();
    Processes::WalkWindowList(query, [&entries](const WindowListEntry& entry) {
        entries.push_back(entry);
        return Tovra::System::VisitorAction::Continue;
    });
    Fuzz::ExpectNoReplies();
    return entries;
}

void ReplaceFunctions(X11::Connection& x11) {
    x11.xcb_get_geometry = SendGeometry;
    x11.xcb_get_geometry_reply = Take;
    x11.xcb_translate_coordinates = SendPosition;
    x11.xcb_translate_coordinates_reply = Take;
    x11.xcb_get_window_attributes = SendAttributes;
    x11.xcb_get_window_attributes_reply = Take;
    x11.xcb_query_tree = SendTree;
    x11.xcb_query_tree_reply = Take;
    x11.xcb_get_property = SendProperty;
    x11.xcb_get_property_reply = Take;
    x11.xcb_res_query_client_ids = SendClientIds;
    x11.xcb_res_query_client_ids_reply = Take;
}

/// The connection, once all is known that is asked of the real server.
X11::Connection& GetConnection() {
    static X11::Connection& s_connection = []() -> X11::Connection& {
        X11::Connection& x11 = Fuzz::GetXConnection();
        GetNames();
        Expect(x11.GetReportedProcessIds() == X11::ReportedProcessIds::Ours, "the server reports process ids");
        ReplaceFunctions(x11);
        return x11;
    }();
    return s_connection;
}

} // namespace

// A description of the server's windows and their properties: the list has the windows of the model in its order, each
// with what the server and its properties say of it, whatever was known before.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    X11::Connection& x11 = GetConnection();
    Reader().Read(Fuzz::GetText(data, size));
    x11.managerWindow = XCB_WINDOW_NONE;
    x11.isManaged = false;
    const std::vector<xcb_window_t> expected = FindWindows();
    for (int round = 0; round < 2; ++round) {
        const std::vector<WindowListEntry> entries = Walk({.fields = allFields});
        Expect(std::ranges::equal(entries, expected, {},
                                  [](const WindowListEntry& entry) { return entry.number.value_or(0); }),
               "the list has all windows from front to back", entries.size(), expected.size());
        std::ranges::for_each(entries, CheckEntry);
    }
    for (const WindowListEntry& entry :
         Walk({.option = Processes::WindowListOption::OnScreenOnly, .fields = allFields})) {
        Expect(entry.isOnScreen == true, "only windows on the screen are there");
    }
    if (!expected.empty()) {
        const auto only = Walk({.fields = allFields, .only = expected.front()});
        Expect(only.size() == 1 && only.front().number == expected.front(), "one window alone is there", only.size());
        CheckEntry(only.front());
    }
    return 0;
}
