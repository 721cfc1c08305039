#include <System/Desktop/X11_Linux.h>
#include <System/Desktop/Xcb_Linux.h>
#include <System/Device/Display/DisplayOperations.h>

#include <algorithm>
#include <iterator>
#include <utility>

// A display is an output of RandR that shows a part of the screen. Through libXrandr each output, plugged in or not,
// and each CRTC would cost a round trip. Through XCB `BeginDisplayQuery` takes two however many there are, one on a
// server without RandR; the first one of the process up to two more, for what the server has. All other functions take
// none.

namespace Tovra::System::Device::Display {

namespace Xcb = Desktop::Xcb;

using Xcb::Functions;
using Xcb::GetFunctions;
using Xcb::Question;
using Xcb::Reply;
using Xcb::Server;

namespace {

using CrtcQuestion = Question<&Functions::xcb_randr_get_crtc_info, &Functions::xcb_randr_get_crtc_info_reply>;
using OutputQuestion = Question<&Functions::xcb_randr_get_output_info, &Functions::xcb_randr_get_output_info_reply>;
using PrimaryQuestion =
    Question<&Functions::xcb_randr_get_output_primary, &Functions::xcb_randr_get_output_primary_reply>;
using ResourcesQuestion = Question<&Functions::xcb_randr_get_screen_resources_current,
                                   &Functions::xcb_randr_get_screen_resources_current_reply>;

/// A display as it was when the query began.
struct FoundDisplay {
    PlatformDisplayID id = 0;
    double x = 0;
    double y = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    double refreshRate = 0;
    std::vector<DisplayMode> modes = {};

    bool Holds(double pointX, double pointY) const {
        return pointX >= x && pointX < x + static_cast<double>(width) && pointY >= y &&
               pointY < y + static_cast<double>(height);
    }
};

/// The rate of a mode, in Hz; 0 for one that has no timing, as on a server without a screen to look at.
double GetRate(const xcb_randr_mode_info_t& mode) {
    double lines = mode.vtotal;
    if ((mode.mode_flags & XCB_RANDR_MODE_FLAG_DOUBLE_SCAN) != 0) {
        lines *= 2;
    }
    if ((mode.mode_flags & XCB_RANDR_MODE_FLAG_INTERLACE) != 0) {
        lines /= 2;
    }
    const double pixels = lines * mode.htotal;
    return pixels > 0 ? mode.dot_clock / pixels : 0;
}

/// Whether a monitor stands on its side: what is the width of its modes is the height of what it shows then.
bool IsTurned(const xcb_randr_get_crtc_info_reply_t& crtc) {
    return (crtc.rotation & (XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270)) != 0;
}

using CrtcReply = Reply<xcb_randr_get_crtc_info_reply_t>;
using OutputReply = Reply<xcb_randr_get_output_info_reply_t>;

/// What RandR says of the screen. The lists live as long as the replies that hold them.
class Screen {
public:
    /// Asks for all: two round trips.
    explicit Screen(const Server& server) {
        const ResourcesQuestion resources(server, server.root);
        const PrimaryQuestion primary(server, server.root);
        m_resources = resources.Take();
        if (const auto reply = primary.Take()) {
            m_primary = reply->output;
        }
        if (m_resources != nullptr) {
            AskForParts(server);
        }
    }

    /// Whether the server has answered.
    bool IsKnown() const { return m_resources != nullptr; }

    /// The outputs that show something: the primary one, or else the first, in front of the others.
    std::vector<FoundDisplay> GetDisplays() const {
        std::vector<FoundDisplay> displays;
        for (std::size_t index = 0; index < m_outputs.size(); ++index) {
            const CrtcReply* const crtc = m_outputs[index] == nullptr ? nullptr : FindCrtc(m_outputs[index]->crtc);
            const xcb_randr_mode_info_t* const mode = crtc == nullptr ? nullptr : FindMode((*crtc)->mode);
            if (mode != nullptr) {
                displays.push_back(MakeDisplay(index, **crtc, *mode));
            }
        }
        const auto primary = std::ranges::find(displays, m_primary, &FoundDisplay::id);
        if (primary != displays.end()) {
            std::rotate(displays.begin(), primary, primary + 1);
        }
        return displays;
    }

private:
    void AskForParts(const Server& server) {
        const auto* const resources = m_resources.get();
        m_outputIds = {GetFunctions().xcb_randr_get_screen_resources_current_outputs(resources),
                       resources->num_outputs};
        m_crtcIds = {GetFunctions().xcb_randr_get_screen_resources_current_crtcs(resources), resources->num_crtcs};
        m_modes = {GetFunctions().xcb_randr_get_screen_resources_current_modes(resources), resources->num_modes};
        std::vector<OutputQuestion> outputs;
        std::vector<CrtcQuestion> crtcs;
        for (const xcb_randr_output_t output : m_outputIds) {
            outputs.emplace_back(server, output, resources->config_timestamp);
        }
        for (const xcb_randr_crtc_t crtc : m_crtcIds) {
            crtcs.emplace_back(server, crtc, resources->config_timestamp);
        }
        std::ranges::transform(outputs, std::back_inserter(m_outputs), &OutputQuestion::Take);
        std::ranges::transform(crtcs, std::back_inserter(m_crtcs), &CrtcQuestion::Take);
    }

    /// What shows a part of the screen, by its number, or null.
    const CrtcReply* FindCrtc(xcb_randr_crtc_t id) const {
        const auto found = std::ranges::find(m_crtcIds, id);
        const auto index = static_cast<std::size_t>(found - m_crtcIds.begin());
        return found == m_crtcIds.end() || m_crtcs[index] == nullptr ? nullptr : &m_crtcs[index];
    }

    /// A mode by its number, or null.
    const xcb_randr_mode_info_t* FindMode(xcb_randr_mode_t id) const {
        const auto mode = std::ranges::find(m_modes, id, &xcb_randr_mode_info_t::id);
        return mode == m_modes.end() ? nullptr : &*mode;
    }

    /// The output's modes, turned as the monitor is, since RandR gives them as they are on an upright one. Those that
    /// the monitor prefers are its native ones; if it prefers none, the present one is.
    std::vector<DisplayMode> GetModes(const OutputReply& output, xcb_randr_mode_t current, bool isTurned) const {
        std::vector<DisplayMode> modes;
        const std::span ids(GetFunctions().xcb_randr_get_output_info_modes(output.get()), output->num_modes);
        for (std::size_t index = 0; index < ids.size(); ++index) {
            const bool isNative = output->num_preferred > 0 ? index < output->num_preferred : ids[index] == current;
            if (const xcb_randr_mode_info_t* const mode = FindMode(ids[index])) {
                const std::uint32_t flags = isNative ? DisplayMode::s_nativeFlag : 0;
                modes.push_back(isTurned ? DisplayMode{flags, mode->height, mode->width}
                                         : DisplayMode{flags, mode->width, mode->height});
            }
        }
        return modes;
    }

    /// The extent of a CRTC is that of the screen's part that it shows, turned and scaled.
    FoundDisplay MakeDisplay(std::size_t output, const xcb_randr_get_crtc_info_reply_t& crtc,
                             const xcb_randr_mode_info_t& mode) const {
        return {.id = m_outputIds[output],
                .x = static_cast<double>(crtc.x),
                .y = static_cast<double>(crtc.y),
                .width = crtc.width,
                .height = crtc.height,
                .refreshRate = GetRate(mode),
                .modes = GetModes(m_outputs[output], mode.id, IsTurned(crtc))};
    }

    Reply<xcb_randr_get_screen_resources_current_reply_t> m_resources;
    xcb_randr_output_t m_primary = XCB_NONE;
    std::span<const xcb_randr_output_t> m_outputIds;
    std::span<const xcb_randr_crtc_t> m_crtcIds;
    std::span<const xcb_randr_mode_info_t> m_modes;
    std::vector<OutputReply> m_outputs; ///< In the order of their numbers; null for one that is gone meanwhile.
    std::vector<CrtcReply> m_crtcs;     ///< The same of the CRTCs.
};

} // namespace

struct DisplayQuery {
    bool isAnswered = false;
    std::vector<FoundDisplay> displays = {};
};

namespace {

DisplayQuery AskRandr(const Server& server) {
    const Screen screen(server);
    // Of a server that died meanwhile some of the displays may be known.
    if (!screen.IsKnown() || !Xcb::IsConnected(server)) {
        return {};
    }
    return {.isAnswered = true, .displays = screen.GetDisplays()};
}

/// The whole screen as one display: one round trip.
DisplayQuery AskForScreen(const Server& server) {
    const auto geometry = Xcb::GeometryQuestion(server, server.root).Take();
    if (geometry == nullptr) {
        return {};
    }
    return {.isAnswered = true,
            .displays = {{.id = server.root,
                          .width = geometry->width,
                          .height = geometry->height,
                          .modes = {{DisplayMode::s_nativeFlag, geometry->width, geometry->height}}}}};
}

DisplayQuery Ask() {
    const Xcb::Session session;
    const Server* const server = session.GetServer();
    if (server == nullptr) {
        return {};
    }
    return Xcb::TellsDisplays(*server) ? AskRandr(*server) : AskForScreen(*server);
}

/// A display of the query; an empty one if it is none of them.
const FoundDisplay& GetFound(const DisplayQuery* query, PlatformDisplayID display) {
    static const FoundDisplay s_none;
    const auto found = std::ranges::find(query->displays, display, &FoundDisplay::id);
    return found == query->displays.end() ? s_none : *found;
}

} // namespace

void EndDisplayQuery(DisplayQuery* query) {
    delete query;
}

HeldDisplayQuery BeginDisplayQuery() {
    return HeldDisplayQuery(new DisplayQuery(Ask()));
}

void GetDisplaysWithPoint(const DisplayQuery* query, double x, double y, std::span<PlatformDisplayID> displays,
                          std::uint32_t& count) {
    count = 0;
    for (const FoundDisplay& display : query->displays) {
        if (display.Holds(x, y) && count < displays.size()) {
            displays[count++] = display.id;
        }
    }
}

std::int32_t GetActiveDisplayList(const DisplayQuery* query, std::span<PlatformDisplayID> displays,
                                  std::uint32_t& count) {
    if (!query->isAnswered) {
        return Desktop::X11::generalFailure;
    }
    count = static_cast<std::uint32_t>(std::min(query->displays.size(), displays.size()));
    std::ranges::transform(query->displays.begin(), query->displays.begin() + count, displays.begin(),
                           &FoundDisplay::id);
    return 0;
}

PlatformDisplayID GetMainDisplay(const DisplayQuery* query) {
    return query->displays.empty() ? 0 : query->displays.front().id;
}

DisplayOrigin GetDisplayOrigin(const DisplayQuery* query, PlatformDisplayID display) {
    const FoundDisplay& found = GetFound(query, display);
    return {.x = found.x, .y = found.y};
}

std::vector<DisplayMode> CopyDisplayModes(const DisplayQuery* query, PlatformDisplayID display) {
    return GetFound(query, display).modes;
}

double GetCurrentRefreshRate(const DisplayQuery* query, PlatformDisplayID display) {
    return GetFound(query, display).refreshRate;
}

std::size_t GetWidthInPoints(const DisplayQuery* query, PlatformDisplayID display) {
    return GetFound(query, display).width;
}

std::size_t GetHeightInPoints(const DisplayQuery* query, PlatformDisplayID display) {
    return GetFound(query, display).height;
}

} // namespace Tovra::System::Device::Display
