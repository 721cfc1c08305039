#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Display/DisplayChanges.h>
#include <System/Device/Display/DisplayEvents_Linux.h>
#include <System/X11/Xcb_Linux.h>

#include <X11/Xproto.h>

#include <atomic>
#include <utility>
#include <vector>

namespace Tovra::System::Device::Display {

namespace Xcb = X11::Xcb;

namespace {

/// Whether the displays may have changed since they were last queried; false until their events are selected.
std::atomic<bool> s_hasChanged = false;

/// The displays as they were last queried. What stands below the flag is set before there can be an event, and then
/// belongs to the main thread.
struct Watch {
    X11::OnceFlag isBegun;
    void* userInfo = nullptr;
    std::vector<DisplayState> states; ///< As of the last query.
};

Watch& GetWatch() {
    // Never destroyed, like the connection.
    static Watch& s_watch = *new Watch;
    return s_watch;
}

/// Called by Xlib with an event that it has read, which it queues if this returns true (`XESetWireToEvent`).
using EventReader = Bool (*)(::Display*, XEvent*, xEvent*);

Bool NoteEvent(::Display*, XEvent*, xEvent*) {
    s_hasChanged = true;
    return False;
}

/// Installs `NoteEvent` for the events of RandR: Xlib reads all events of the connection, but does not know these.
/// False if it can't be installed.
bool NoteEvents(const X11::Connection& x11, int firstEvent) {
    // Declared here, since it is in Xlib's internal header, whose macros take common words.
    EventReader (*setReader)(::Display*, int, EventReader) = nullptr;
    if (!X11::Library("libX11.so.6").Load("XESetWireToEvent", setReader)) {
        return false;
    }
    for (const int type : {XCB_RANDR_SCREEN_CHANGE_NOTIFY, XCB_RANDR_NOTIFY}) {
        setReader(x11.display, firstEvent + type, NoteEvent);
    }
    return true;
}

/// True if there will be events. One round trip.
bool SelectEvents(const X11::Connection& x11) {
    const auto* const extension = x11.xcb_get_extension_data(x11.xcb, x11.xcb_randr_id);
    return extension != nullptr && NoteEvents(x11, extension->first_event) &&
           Xcb::IsDone(x11, x11.xcb_randr_select_input_checked(x11.xcb, x11.root,
                                                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                                                   XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE));
}

/// The changes of the displays since they were last queried.
std::vector<DisplayChange> TakeChanges(Watch& watch) {
    if (!s_hasChanged.exchange(false)) {
        return {};
    }
    std::vector<DisplayState> states = GetDisplayStates();
    if (X11::GetConnection() == nullptr) {
        return {}; // The server is gone, not the displays.
    }
    const std::vector<DisplayState> before = std::exchange(watch.states, std::move(states));
    return FindDisplayChanges(before, watch.states);
}

} // namespace

void SelectDisplayEvents(void* userInfo) {
    Watch& watch = GetWatch();
    watch.isBegun.Call([&watch, userInfo] {
        const Xcb::Session session;
        X11::Connection* const x11 = session.GetConnection();
        if (x11 == nullptr || !x11->HasRandr()) {
            return;
        }
        watch.userInfo = userInfo;
        watch.states = GetDisplayStates();
        if (SelectEvents(*x11)) {
            // A change between the query and the selection has no event.
            s_hasChanged = true;
        }
    });
}

void ReportDisplayChanges() {
    Watch& watch = GetWatch();
    for (const DisplayChange& change : TakeChanges(watch)) {
        DisplayReconfigurationCallback(change.display, static_cast<std::uint32_t>(change.flag), watch.userInfo);
        if (X11::GetConnection() == nullptr) {
            return; // Each further refresh would wait in vain.
        }
    }
}

} // namespace Tovra::System::Device::Display
