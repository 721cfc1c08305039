#include <System/Desktop/X11_Linux.h>
#include <System/Desktop/Xcb_Linux.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Display/DisplayChanges.h>
#include <System/Device/Display/DisplayEvents_Linux.h>

#include <X11/Xproto.h>

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace Tovra::System::Device::Display {

namespace X11 = Desktop::X11;
namespace Xcb = Desktop::Xcb;

namespace {

/// Whether the displays may have changed since they were looked at last.
std::atomic<bool> s_hasChanged = false;

/// What is known of the displays and of their events.
struct Watch {
    std::once_flag isBegun;
    /// Whether there will be events. Set last: what follows is the main thread's then.
    std::atomic<bool> isOn = false;
    void* userInfo = nullptr;
    std::vector<DisplayState> states; ///< The displays at the last look.
};

Watch& GetWatch() {
    // Never destroyed: the connection outlives any static object.
    static Watch& s_watch = *new Watch;
    return s_watch;
}

/// What Xlib calls for an event that it has read; it queues the event if the answer is true.
using EventReader = Bool (*)(::Display*, XEvent*, xEvent*);

Bool NoteEvent(::Display*, XEvent*, xEvent*) {
    s_hasChanged = true;
    return False;
}

/// Has Xlib, which reads all events of the connection but knows none of RandR's, note those; false if it can't.
bool NoteEvents(int firstEvent) {
    // Declared here, since the header that has it is Xlib's inner one, whose macros take common words.
    EventReader (*setReader)(::Display*, int, EventReader) = nullptr;
    if (!X11::LoadFunction(dlopen("libX11.so.6", RTLD_LAZY), "XESetWireToEvent", setReader)) {
        return false;
    }
    return X11::Run([setReader, firstEvent](::Display* display) {
        for (const int type : {XCB_RANDR_SCREEN_CHANGE_NOTIFY, XCB_RANDR_NOTIFY}) {
            setReader(display, firstEvent + type, NoteEvent);
        }
    });
}

/// True if there will be events. One round trip.
bool SelectEvents(const Xcb::Server& server) {
    const auto& functions = Xcb::GetFunctions();
    const auto* const extension = functions.xcb_get_extension_data(server.connection, functions.xcb_randr_id);
    return extension != nullptr && NoteEvents(extension->first_event) &&
           Xcb::IsDone(server, functions.xcb_randr_select_input_checked(server.connection, server.root,
                                                                        XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                                                            XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                                                            XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE));
}

/// What has happened to the displays since the last look at them.
std::vector<DisplayChange> TakeChanges(Watch& watch) {
    if (!watch.isOn.load(std::memory_order_acquire) || !s_hasChanged.exchange(false)) {
        return {};
    }
    std::vector<DisplayState> states = GetDisplayStates();
    if (X11::GetDisplay() == nullptr) {
        return {}; // The displays are not gone, but the server is.
    }
    const std::vector<DisplayState> before = std::exchange(watch.states, std::move(states));
    return FindDisplayChanges(before, watch.states);
}

} // namespace

void SelectDisplayEvents(void* userInfo) {
    Watch& watch = GetWatch();
    std::call_once(watch.isBegun, [&watch, userInfo] {
        const Xcb::Session session;
        const Xcb::Server* const server = session.GetServer();
        if (server == nullptr || !Xcb::TellsDisplays(*server)) {
            return;
        }
        watch.userInfo = userInfo;
        watch.states = GetDisplayStates();
        if (SelectEvents(*server)) {
            // A change between the look and the selection has no event.
            s_hasChanged = true;
            watch.isOn.store(true, std::memory_order_release);
        }
    });
}

void ReportDisplayChanges() {
    Watch& watch = GetWatch();
    for (const DisplayChange& change : TakeChanges(watch)) {
        DisplayReconfigurationCallback(change.display, static_cast<std::uint32_t>(change.flag), watch.userInfo);
        if (X11::GetDisplay() == nullptr) {
            return; // Each further refresh would wait in vain.
        }
    }
}

} // namespace Tovra::System::Device::Display
