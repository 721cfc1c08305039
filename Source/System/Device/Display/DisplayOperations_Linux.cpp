#include <System/Device/Display/DisplayOperations.h>
#include <System/X11/Xcb_Linux.h>

#include <algorithm>
#include <iterator>

// A display is an output of RandR that shows a part of the screen. Through libXrandr each output, plugged in or not,
// and each CRTC would cost a round trip. Through XCB `BeginDisplayQuery` takes two however many there are, one on a
// server without RandR; the first one of the process up to two more, for what the server has. All other functions take
// none.

namespace Tovra::System::Device::Display {

namespace Xcb = X11::Xcb;

using X11::Connection;
using Xcb::Reply;
using Xcb::Request;

namespace {

using CrtcRequest = Request<&Connection::xcb_randr_get_crtc_info, &Connection::xcb_randr_get_crtc_info_reply>;
using OutputRequest = Request<&Connection::xcb_randr_get_output_info, &Connection::xcb_randr_get_output_info_reply>;
using PrimaryRequest =
    Request<&Connection::xcb_randr_get_output_primary, &Connection::xcb_randr_get_output_primary_reply>;
using ResourcesRequest = Request<&Connection::xcb_randr_get_screen_resources_current,
                                 &Connection::xcb_randr_get_screen_resources_current_reply>;

/// A display as it was when the query began.
struct FoundDisplay {
    PlatformDisplayID id = 0;
    double x = 0;
    double y = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    double refreshRate = 0;
    std::vector<DisplayMode> modes = {};

    bool Contains(double pointX, double pointY) const {
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
    return pixels == 0 ? 0 : mode.dot_clock / pixels;
}

/// Whether a monitor is turned on its side: the width of its modes is then the height of what it shows.
bool IsTurned(const xcb_randr_get_crtc_info_reply_t& crtc) {
    return (crtc.rotation & (XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270)) != 0;
}

using CrtcReply = Reply<xcb_randr_get_crtc_info_reply_t>;
using OutputReply = Reply<xcb_randr_get_output_info_reply_t>;

/// RandR's description of the screen. The lists point into the replies.
class Screen {
public:
    /// Two round trips.
    explicit Screen(const Connection& x11) {
        const ResourcesRequest resources(x11, x11.root);
        const PrimaryRequest primary(x11, x11.root);
        m_resources = resources.GetReply();
        if (const auto reply = primary.GetReply()) {
            m_primary = reply->output;
        }
        if (m_resources != nullptr) {
            RequestParts(x11);
        }
    }

    /// Whether the server has replied.
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
    void RequestParts(const Connection& x11) {
        const auto* const resources = m_resources.get();
        Xcb::Lists lists(m_resources);
        m_crtcIds = lists.Take<xcb_randr_crtc_t>(resources->num_crtcs);
        m_outputIds = lists.Take<xcb_randr_output_t>(resources->num_outputs);
        m_modes = lists.Take<xcb_randr_mode_info_t>(resources->num_modes);
        std::vector<OutputRequest> outputs;
        std::vector<CrtcRequest> crtcs;
        for (const xcb_randr_output_t output : m_outputIds) {
            outputs.emplace_back(x11, output, resources->config_timestamp);
        }
        for (const xcb_randr_crtc_t crtc : m_crtcIds) {
            crtcs.emplace_back(x11, crtc, resources->config_timestamp);
        }
        std::ranges::transform(outputs, std::back_inserter(m_outputs), &OutputRequest::GetReply);
        std::ranges::transform(crtcs, std::back_inserter(m_crtcs), &CrtcRequest::GetReply);
    }

    /// A CRTC by its id, or null.
    const CrtcReply* FindCrtc(xcb_randr_crtc_t id) const {
        const auto found = std::ranges::find(m_crtcIds, id);
        const auto index = static_cast<std::size_t>(found - m_crtcIds.begin());
        return found == m_crtcIds.end() || m_crtcs[index] == nullptr ? nullptr : &m_crtcs[index];
    }

    /// A mode by its id, or null.
    const xcb_randr_mode_info_t* FindMode(xcb_randr_mode_t id) const {
        const auto mode = std::ranges::find(m_modes, id, &xcb_randr_mode_info_t::id);
        return mode == m_modes.end() ? nullptr : &*mode;
    }

    /// The output's modes, turned as the monitor is, since RandR gives them as they are on an upright one. Those that
    /// the monitor prefers are its native ones; if it prefers none, the present one is.
    std::vector<DisplayMode> GetModes(const OutputReply& output, xcb_randr_mode_t current, bool isTurned) const {
        std::vector<DisplayMode> modes;
        Xcb::Lists lists(output);
        lists.Take<xcb_randr_crtc_t>(output->num_crtcs);
        const auto ids = lists.Take<xcb_randr_mode_t>(output->num_modes);
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
    std::vector<OutputReply> m_outputs; ///< In the order of their ids; null for one that is gone meanwhile.
    std::vector<CrtcReply> m_crtcs;     ///< The same for the CRTCs.
};

} // namespace

struct DisplayQuery {
    bool isAnswered = false;
    std::vector<FoundDisplay> displays = {};
};

namespace {

DisplayQuery QueryRandr(const Connection& x11) {
    const Screen screen(x11);
    // Some of the displays may be known of a server that died meanwhile.
    if (!screen.IsKnown() || !Xcb::IsIntact(x11)) {
        return {};
    }
    return {.isAnswered = true, .displays = screen.GetDisplays()};
}

/// The whole screen as one display: one round trip.
DisplayQuery QueryScreen(const Connection& x11) {
    const auto geometry = Xcb::GeometryRequest(x11, x11.root).GetReply();
    if (geometry == nullptr) {
        return {};
    }
    return {.isAnswered = true,
            .displays = {{.id = x11.root,
                          .width = geometry->width,
                          .height = geometry->height,
                          .modes = {{DisplayMode::s_nativeFlag, geometry->width, geometry->height}}}}};
}

DisplayQuery Query() {
    const Xcb::Session session;
    Connection* const x11 = session.GetConnection();
    if (x11 == nullptr) {
        return {};
    }
    return x11->HasRandr() ? QueryRandr(*x11) : QueryScreen(*x11);
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
    return HeldDisplayQuery(new DisplayQuery(Query()));
}

void GetDisplaysWithPoint(const DisplayQuery* query, double x, double y, std::span<PlatformDisplayID> displays,
                          std::uint32_t& count) {
    count = 0;
    for (const FoundDisplay& display : query->displays) {
        if (display.Contains(x, y) && count < displays.size()) {
            displays[count++] = display.id;
        }
    }
}

std::int32_t GetActiveDisplayList(const DisplayQuery* query, std::span<PlatformDisplayID> displays,
                                  std::uint32_t& count) {
    if (!query->isAnswered) {
        return X11::generalFailure;
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
