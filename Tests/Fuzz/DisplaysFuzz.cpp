// Oracle: a model of what RandR's replies contain
// Reaches: Tovra::System::Device::Display::BeginDisplayQuery
// Reaches: Tovra::System::Device::Display::GetDisplaysWithPoint
// Reaches: Tovra::System::Device::Display::GetActiveDisplayList

#include <System/Device/Display/DisplayOperations.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <Fuzz/XConnection.h>
#include <Fuzz/XReplies.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Displays = Tovra::System::Device::Display;
namespace Fuzz = Tovra::Tests::Fuzz;
namespace X11 = Tovra::System::X11;

using Fuzz::Expect;
using Fuzz::Outcome;

using Numbers = std::vector<std::uint32_t>;

Outcome s_several("several displays");
Outcome s_primary("a primary display that is not the first output");
Outcome s_tooMany("more displays than are listed");
Outcome s_point("a point on two displays");
Outcome s_off("an output that shows nothing");
Outcome s_goneOutput("an output that is gone");
Outcome s_goneCrtc("a CRTC that is gone");
Outcome s_unknownMode("a CRTC with a mode that is not in the list");
Outcome s_unknownOutputMode("an output's mode that is not in the list");
Outcome s_turned("a monitor that is turned");
Outcome s_preferred("a mode that the monitor prefers");
Outcome s_present("the present mode of a monitor that prefers none");
Outcome s_interlaced("an interlaced mode");
Outcome s_doubled("a mode that scans each line twice");
Outcome s_timeless("a mode without a timing");
Outcome s_refused("a server that refuses the lists");
Outcome s_falseCrtcs("more CRTCs stated than the reply has");
Outcome s_falseOutputs("more outputs stated than the reply has");
Outcome s_falseModes("more modes stated than the reply has");
Outcome s_cutMode("a mode that the reply's end cuts");
Outcome s_falseOutputCrtcs("more CRTCs of an output stated than the reply has");
Outcome s_falseOutputModes("more modes of an output stated than the reply has");
Outcome s_shorter("a reply that ends before its lists begin");
Outcome s_fewer("fewer stated than the reply has");

/// What a reply states falsely, by the names of its lists, and how many units of 4 bytes follow its first 32 bytes.
struct Falsehoods {
    std::map<std::string, std::uint16_t> counts;
    std::optional<std::size_t> length;

    std::uint16_t GetCount(const char* list, std::size_t right) const {
        const auto found = counts.find(list);
        return found == counts.end() ? static_cast<std::uint16_t>(right) : found->second;
    }
};

struct Output {
    xcb_randr_crtc_t crtc = 0;
    Numbers crtcs;
    Numbers modes;
    std::uint16_t preferred = 0;
    Falsehoods falsehoods;
};

struct Crtc {
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    xcb_randr_mode_t mode = 0;
    std::uint16_t rotation = 0;
};

/// What the server has.
struct Server {
    bool isRefusing = false;
    std::uint32_t time = 0;
    xcb_randr_output_t primary = 0;
    Numbers crtcs;
    Numbers outputs;
    std::vector<xcb_randr_mode_info_t> modes;
    Falsehoods falsehoods;
    std::map<xcb_randr_output_t, Output> outputReplies;
    std::map<xcb_randr_crtc_t, Crtc> crtcReplies;
    Numbers askedOutputs; ///< In the order of the requests.
    Numbers askedCrtcs;
};

Server s_server;

/// Appends the bytes of a value, of 4 each.
template <class Value>
void Append(Numbers& words, const Value& value) {
    static_assert(sizeof value % 4 == 0);
    const std::size_t before = words.size();
    words.resize(before + sizeof value / 4);
    std::memcpy(words.data() + before, &value, sizeof value);
}

/// What follows the first 32 bytes of a reply. One that is longer than its content ends in small numbers, which may be
/// the ids of something.
Numbers Resize(Numbers words, const Falsehoods& falsehoods) {
    const std::size_t length = falsehoods.length.value_or(words.size());
    s_shorter.Note(falsehoods.length == 0U);
    if (length < words.size()) {
        words.resize(length);
    }
    while (words.size() < length) {
        words.push_back(static_cast<std::uint32_t>(words.size()));
    }
    return words;
}

Numbers GetWords(const Server& server) {
    Numbers words = server.crtcs;
    words.insert(words.end(), server.outputs.begin(), server.outputs.end());
    for (const xcb_randr_mode_info_t& mode : server.modes) {
        Append(words, mode);
    }
    return Resize(words, server.falsehoods);
}

/// The first of them belongs to the reply's fixed part.
Numbers GetWords(const Output& output) {
    Numbers words{0};
    words.insert(words.end(), output.crtcs.begin(), output.crtcs.end());
    words.insert(words.end(), output.modes.begin(), output.modes.end());
    return Resize(words, output.falsehoods);
}

template <class Cookie, class Fixed>
Cookie Send(const Fixed& fixed, const Numbers& words) {
    std::string bytes = Fuzz::GetBytes(fixed).substr(0, Fuzz::shortestReply);
    for (const std::uint32_t word : words) {
        bytes += Fuzz::GetBytes(word);
    }
    return Fuzz::Send<Cookie>(Fuzz::MakeReply(bytes));
}

xcb_randr_get_screen_resources_current_cookie_t SendResources(xcb_connection_t*, xcb_window_t window) {
    Expect(window == Fuzz::GetXConnection().root, "the screen is asked for");
    if (s_server.isRefusing) {
        return Fuzz::Send<xcb_randr_get_screen_resources_current_cookie_t>("");
    }
    const Falsehoods& falsehoods = s_server.falsehoods;
    xcb_randr_get_screen_resources_current_reply_t reply{};
    reply.config_timestamp = s_server.time;
    reply.num_crtcs = falsehoods.GetCount("crtcs", s_server.crtcs.size());
    reply.num_outputs = falsehoods.GetCount("outputs", s_server.outputs.size());
    reply.num_modes = falsehoods.GetCount("modes", s_server.modes.size());
    return Send<xcb_randr_get_screen_resources_current_cookie_t>(reply, GetWords(s_server));
}

xcb_randr_get_output_primary_cookie_t SendPrimary(xcb_connection_t*, xcb_window_t) {
    xcb_randr_get_output_primary_reply_t reply{};
    reply.output = s_server.primary;
    return Fuzz::Send<xcb_randr_get_output_primary_cookie_t>(s_server.primary == 0 ? "" : Fuzz::MakeReply(reply));
}

xcb_randr_get_output_info_cookie_t SendOutput(xcb_connection_t*, xcb_randr_output_t id, xcb_timestamp_t time) {
    Expect(time == s_server.time, "an output is asked for as of the list", time);
    s_server.askedOutputs.push_back(id);
    const auto found = s_server.outputReplies.find(id);
    if (found == s_server.outputReplies.end()) {
        return Fuzz::Send<xcb_randr_get_output_info_cookie_t>("");
    }
    const Output& output = found->second;
    xcb_randr_get_output_info_reply_t reply{};
    reply.crtc = output.crtc;
    reply.num_crtcs = output.falsehoods.GetCount("crtcs", output.crtcs.size());
    reply.num_modes = output.falsehoods.GetCount("modes", output.modes.size());
    reply.num_preferred = output.preferred;
    return Send<xcb_randr_get_output_info_cookie_t>(reply, GetWords(output));
}

xcb_randr_get_crtc_info_cookie_t SendCrtc(xcb_connection_t*, xcb_randr_crtc_t id, xcb_timestamp_t time) {
    Expect(time == s_server.time, "a CRTC is asked for as of the list", time);
    s_server.askedCrtcs.push_back(id);
    const auto found = s_server.crtcReplies.find(id);
    if (found == s_server.crtcReplies.end()) {
        return Fuzz::Send<xcb_randr_get_crtc_info_cookie_t>("");
    }
    const Crtc& crtc = found->second;
    xcb_randr_get_crtc_info_reply_t reply{};
    reply.x = crtc.x;
    reply.y = crtc.y;
    reply.width = crtc.width;
    reply.height = crtc.height;
    reply.mode = crtc.mode;
    reply.rotation = crtc.rotation;
    return Fuzz::Send<xcb_randr_get_crtc_info_cookie_t>(Fuzz::MakeReply(reply));
}

/// Reads the description of the server, see the seeds. Lines belong to the reply about the last "output" before them,
/// and to the lists of the screen before the first.
class Reader {
public:
    void Read(std::string_view text) {
        s_server = {};
        for (const std::string& line : Fuzz::GetLines(text)) {
            m_words = Fuzz::GetWords(line);
            if (!m_words.empty() && !ReadScreen() && !ReadOutput()) {
                ReadFalsehood(m_output == nullptr ? s_server.falsehoods : m_output->falsehoods);
            }
        }
    }

private:
    std::uint32_t GetNumber(std::size_t index) const {
        return index < m_words.size() ? static_cast<std::uint32_t>(std::strtoul(m_words[index].c_str(), nullptr, 0))
                                      : 0;
    }

    std::uint16_t GetShort(std::size_t index) const { return static_cast<std::uint16_t>(GetNumber(index)); }

    Numbers GetNumbers() const {
        Numbers numbers;
        for (std::size_t index = 1; index < m_words.size(); ++index) {
            numbers.push_back(GetNumber(index));
        }
        return numbers;
    }

    /// False for another line.
    bool ReadScreen() {
        const std::string& word = m_words[0];
        if (word == "refuse") {
            s_server.isRefusing = true;
        } else if (word == "time") {
            s_server.time = GetNumber(1);
        } else if (word == "primary") {
            s_server.primary = GetNumber(1);
        } else if (word == "outputs") {
            s_server.outputs = GetNumbers();
        } else if (word == "mode") {
            xcb_randr_mode_info_t mode{};
            mode.id = GetNumber(1);
            mode.width = GetShort(2);
            mode.height = GetShort(3);
            mode.dot_clock = GetNumber(4);
            mode.htotal = GetShort(5);
            mode.vtotal = GetShort(6);
            mode.mode_flags = GetNumber(7);
            s_server.modes.push_back(mode);
        } else if (word == "crtc") {
            s_server.crtcReplies[GetNumber(1)] = {.x = static_cast<std::int16_t>(GetShort(2)),
                                                  .y = static_cast<std::int16_t>(GetShort(3)),
                                                  .width = GetShort(4),
                                                  .height = GetShort(5),
                                                  .mode = GetNumber(6),
                                                  .rotation = GetShort(7)};
        } else {
            return false;
        }
        return true;
    }

    /// False for another line.
    bool ReadOutput() {
        const std::string& word = m_words[0];
        if (word == "output") {
            m_output = &s_server.outputReplies[GetNumber(1)];
            m_output->crtc = GetNumber(2);
        } else if (word == "crtcs") {
            (m_output == nullptr ? s_server.crtcs : m_output->crtcs) = GetNumbers();
        } else if (word == "modes" && m_output != nullptr) {
            m_output->modes = GetNumbers();
        } else if (word == "preferred" && m_output != nullptr) {
            m_output->preferred = GetShort(1);
        } else {
            return false;
        }
        return true;
    }

    void ReadFalsehood(Falsehoods& falsehoods) const {
        if (m_words[0] == "count" && m_words.size() > 1) {
            falsehoods.counts[m_words[1]] = GetShort(2);
        } else if (m_words[0] == "length") {
            falsehoods.length = GetNumber(1) % 512;
        }
    }

    std::vector<std::string> m_words;
    Output* m_output = nullptr;
};

/// A list of `count` words that begins at `begin`, as far as there is one.
Numbers FindList(const Numbers& words, std::size_t begin, std::size_t count, Outcome& ofFalse) {
    ofFalse.Note(begin + count > words.size());
    Numbers list;
    for (std::size_t index = begin; index < begin + count && index < words.size(); ++index) {
        list.push_back(words[index]);
    }
    return list;
}

/// The lists of the screen.
struct Lists {
    Numbers crtcs;
    Numbers outputs;
    std::vector<xcb_randr_mode_info_t> modes;
};

Lists FindLists() {
    const Numbers words = GetWords(s_server);
    const Falsehoods& falsehoods = s_server.falsehoods;
    const std::size_t crtcs = falsehoods.GetCount("crtcs", s_server.crtcs.size());
    const std::size_t outputs = falsehoods.GetCount("outputs", s_server.outputs.size());
    const std::size_t modes = falsehoods.GetCount("modes", s_server.modes.size());
    Lists lists{.crtcs = FindList(words, 0, crtcs, s_falseCrtcs),
                .outputs = FindList(words, crtcs, outputs, s_falseOutputs),
                .modes = {}};
    constexpr std::size_t size = sizeof(xcb_randr_mode_info_t) / 4;
    std::size_t begin = crtcs + outputs;
    for (; lists.modes.size() < modes && begin + size <= words.size(); begin += size) {
        std::memcpy(&lists.modes.emplace_back(), words.data() + begin, size * 4);
    }
    if (s_falseModes.Note(lists.modes.size() < modes)) {
        s_cutMode.Note(begin < words.size());
    }
    s_fewer.Note(crtcs < s_server.crtcs.size() || outputs < s_server.outputs.size() || modes < s_server.modes.size());
    return lists;
}

/// A display as the replies describe it.
struct Expected {
    xcb_randr_output_t id = 0;
    Crtc crtc;
    double rate = 0;
    std::vector<Displays::DisplayMode> modes;

    bool Contains(int x, int y) const {
        return x >= crtc.x && x < crtc.x + crtc.width && y >= crtc.y && y < crtc.y + crtc.height;
    }
};

const xcb_randr_mode_info_t* FindMode(const Lists& lists, std::uint32_t id) {
    const auto found = std::ranges::find(lists.modes, id, &xcb_randr_mode_info_t::id);
    return found == lists.modes.end() ? nullptr : &*found;
}

/// Frames a second; two fields that are interlaced count as two.
double FindRate(const xcb_randr_mode_info_t& mode) {
    const std::uint64_t fields = s_interlaced.Note((mode.mode_flags & XCB_RANDR_MODE_FLAG_INTERLACE) != 0) ? 2 : 1;
    const std::uint64_t scans = s_doubled.Note((mode.mode_flags & XCB_RANDR_MODE_FLAG_DOUBLE_SCAN) != 0) ? 2 : 1;
    const std::uint64_t pixels = std::uint64_t{mode.htotal} * mode.vtotal * scans;
    return s_timeless.Note(pixels == 0) ? 0
                                        : static_cast<double>(mode.dot_clock * fields) / static_cast<double>(pixels);
}

std::vector<Displays::DisplayMode> FindModes(const Lists& lists, const Output& output, const Crtc& crtc) {
    const bool isTurned = s_turned.Note((crtc.rotation & (2U | 8U)) != 0);
    const std::size_t crtcs = output.falsehoods.GetCount("crtcs", output.crtcs.size());
    const std::size_t count = output.falsehoods.GetCount("modes", output.modes.size());
    const Numbers words = GetWords(output);
    s_falseOutputCrtcs.Note(crtcs > 0 && crtcs + 1 > words.size());
    s_fewer.Note(crtcs < output.crtcs.size() || count < output.modes.size());
    std::vector<Displays::DisplayMode> modes;
    std::size_t index = 0;
    for (const std::uint32_t id : FindList(words, crtcs + 1, count, s_falseOutputModes)) {
        const bool isNative =
            output.preferred == 0 ? s_present.Note(id == crtc.mode) : s_preferred.Note(index < output.preferred);
        ++index;
        const xcb_randr_mode_info_t* const mode = FindMode(lists, id);
        if (s_unknownOutputMode.Note(mode == nullptr)) {
            continue;
        }
        const std::array<std::size_t, 2> size{mode->width, mode->height};
        modes.push_back({.flags = isNative ? 0x02000000U : 0U,
                         .width = size.at(isTurned ? 1 : 0),
                         .height = size.at(isTurned ? 0 : 1)});
    }
    return modes;
}

/// The display that an output is, if it is one.
std::optional<Expected> FindDisplay(const Lists& lists, xcb_randr_output_t id) {
    const auto output = s_server.outputReplies.find(id);
    if (s_goneOutput.Note(output == s_server.outputReplies.end())) {
        return std::nullopt;
    }
    const std::uint32_t crtcId = output->second.crtc;
    if (s_off.Note(std::ranges::find(lists.crtcs, crtcId) == lists.crtcs.end())) {
        return std::nullopt;
    }
    const auto crtc = s_server.crtcReplies.find(crtcId);
    if (s_goneCrtc.Note(crtc == s_server.crtcReplies.end())) {
        return std::nullopt;
    }
    const xcb_randr_mode_info_t* const mode = FindMode(lists, crtc->second.mode);
    if (s_unknownMode.Note(mode == nullptr)) {
        return std::nullopt;
    }
    return Expected{.id = id,
                    .crtc = crtc->second,
                    .rate = FindRate(*mode),
                    .modes = FindModes(lists, output->second, crtc->second)};
}

std::vector<Expected> FindDisplays(const Lists& lists) {
    std::vector<Expected> displays;
    for (const std::uint32_t id : lists.outputs) {
        if (const auto display = FindDisplay(lists, id)) {
            displays.push_back(*display);
        }
    }
    s_several.Note(displays.size() > 1);
    for (std::size_t index = 0; index < displays.size(); ++index) {
        if (displays[index].id == s_server.primary) {
            s_primary.Note(index > 0);
            const Expected primary = displays[index];
            displays.erase(displays.begin() + static_cast<std::ptrdiff_t>(index));
            displays.insert(displays.begin(), primary);
            break;
        }
    }
    return displays;
}

using Query = Displays::DisplayQuery;
using Ids = std::array<Displays::PlatformDisplayID, Displays::mostDisplays>;

void CheckList(const Query* query, const std::vector<Expected>& expected) {
    Ids ids{};
    std::uint32_t count = 0;
    const std::int32_t result = Displays::GetActiveDisplayList(query, ids, count);
    Expect((result == 0) != s_refused.Note(s_server.isRefusing), "the list fails if the server refuses it", result);
    const std::size_t most = std::min(expected.size(), ids.size());
    s_tooMany.Note(expected.size() > ids.size());
    Expect(count == most, "the list has all displays that it has room for", count, expected.size());
    for (std::size_t index = 0; index < most; ++index) {
        Expect(ids.at(index) == expected[index].id, "the displays are in their order", index, ids.at(index));
    }
    const Displays::PlatformDisplayID main = Displays::GetMainDisplay(query);
    Expect(main == (expected.empty() ? 0 : expected.front().id), "the main display is the first", main);
}

void CheckPoint(const Query* query, const std::vector<Expected>& expected, int x, int y) {
    Ids ids{};
    std::uint32_t count = 0;
    Displays::GetDisplaysWithPoint(query, x, y, ids, count);
    std::size_t found = 0;
    for (const Expected& display : expected) {
        if (display.Contains(x, y) && found < ids.size()) {
            Expect(found < count && ids.at(found) == display.id, "a point is on its displays", x, y, display.id);
            ++found;
        }
    }
    Expect(found == count, "a point is on no other display", x, y, count);
    s_point.Note(found == 2);
}

/// Of several displays with one id, the first is meant.
void CheckDisplay(const Query* query, const Expected& expected) {
    const auto [x, y] = Displays::GetDisplayOrigin(query, expected.id);
    const auto& [left, top, width, height, modeId, rotation] = expected.crtc;
    Expect(x == left && y == top, "a display is where its CRTC is", expected.id, x, y);
    Expect(Displays::GetWidthInPoints(query, expected.id) == width &&
               Displays::GetHeightInPoints(query, expected.id) == height,
           "a display is as large as its CRTC", expected.id, width, height);
    const double rate = Displays::GetCurrentRefreshRate(query, expected.id);
    Expect(std::abs(rate - expected.rate) <= expected.rate * 1e-9, "a display has its rate", rate, expected.rate);
    const auto modes = Displays::CopyDisplayModes(query, expected.id);
    Expect(modes.size() == expected.modes.size(), "a display has its modes", modes.size(), expected.modes.size());
    for (std::size_t index = 0; index < modes.size(); ++index) {
        const Displays::DisplayMode& other = expected.modes[index];
        Expect(modes[index].width == other.width && modes[index].height == other.height &&
                   modes[index].flags == other.flags,
               "a mode is as in the list", index, modes[index].width, modes[index].height, modes[index].flags);
    }
}

/// The connection, once all is known that is asked of the real server.
X11::Connection& GetConnection() {
    static X11::Connection& s_connection = []() -> X11::Connection& {
        X11::Connection& x11 = Fuzz::GetXConnection();
        Expect(x11.HasRandr(), "the server has RandR");
        x11.xcb_randr_get_screen_resources_current = SendResources;
        x11.xcb_randr_get_screen_resources_current_reply = Fuzz::Take;
        x11.xcb_randr_get_output_primary = SendPrimary;
        x11.xcb_randr_get_output_primary_reply = Fuzz::Take;
        x11.xcb_randr_get_output_info = SendOutput;
        x11.xcb_randr_get_output_info_reply = Fuzz::Take;
        x11.xcb_randr_get_crtc_info = SendCrtc;
        x11.xcb_randr_get_crtc_info_reply = Fuzz::Take;
        return x11;
    }();
    return s_connection;
}

} // namespace

// A description of RandR's replies, whose counts and lengths may be false: the displays are those of the model, and
// nothing is requested that the replies don't contain.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    GetConnection();
    Reader().Read(Fuzz::GetText(data, size));
    const Displays::HeldDisplayQuery query = Displays::BeginDisplayQuery();
    Fuzz::ExpectNoReplies();
    const Lists lists = s_server.isRefusing ? Lists{} : FindLists();
    Expect(s_server.askedOutputs == lists.outputs, "the listed outputs are asked for", s_server.askedOutputs.size(),
           lists.outputs.size());
    Expect(s_server.askedCrtcs == lists.crtcs, "the listed CRTCs are asked for", s_server.askedCrtcs.size(),
           lists.crtcs.size());
    const std::vector<Expected> expected = FindDisplays(lists);
    CheckList(query.get(), expected);
    for (const Expected& display : std::span(expected).first(std::min<std::size_t>(expected.size(), 64))) {
        CheckDisplay(query.get(), display);
        const auto& [x, y, width, height, modeId, rotation] = display.crtc;
        CheckPoint(query.get(), expected, x, y);
        CheckPoint(query.get(), expected, x + width - 1, y + height - 1);
        CheckPoint(query.get(), expected, x + width, y);
        CheckPoint(query.get(), expected, x, y + height);
    }
    return 0;
}
