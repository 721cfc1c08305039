#include <System/Desktop/X11_Linux.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Display/DisplayChanges.h>
#include <System/Device/Display/DisplayEvents_Linux.h>

#include <X11/extensions/Xrandr.h>

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace Tovra::System::Device::Display {

namespace X11 = Desktop::X11;

namespace {

/// The functions of libXrandr that are called: the one table that makes the members and their loading. Displays
/// themselves are asked for without it; it teaches Xlib to keep RandR's events.
#define TOVRA_XRANDR_FUNCTIONS(FUNCTION)                                                                               \
    FUNCTION(XRRQueryExtension)                                                                                        \
    FUNCTION(XRRSelectInput)

struct Functions {
#define TOVRA_XRANDR_MEMBER(name) decltype(&::name) name;
    TOVRA_XRANDR_FUNCTIONS(TOVRA_XRANDR_MEMBER)
#undef TOVRA_XRANDR_MEMBER
};

Functions s_xrandr;

bool LoadFunctions() {
    void* const library = dlopen("libXrandr.so.2", RTLD_LAZY);
#define TOVRA_XRANDR_LOAD(name) X11::LoadFunction(library, #name, s_xrandr.name)&&
    return library != nullptr && TOVRA_XRANDR_FUNCTIONS(TOVRA_XRANDR_LOAD) true;
#undef TOVRA_XRANDR_LOAD
}

/// What is known of the displays and of their events.
struct Watch {
    std::once_flag isBegun;
    /// The number of RandR's first event; 0 while none is asked for. Set last: what follows is the main thread's then.
    std::atomic<int> firstEvent = 0;
    void* userInfo = nullptr;
    std::vector<DisplayState> states; ///< The displays at the last look.
    /// Whether an event has come since then. True at first: one may have come while nobody knew its number.
    bool hasChanged = true;
};

Watch& GetWatch() {
    // Never destroyed: the connection outlives any static object.
    static Watch& s_watch = *new Watch;
    return s_watch;
}

/// The number of RandR's first event; 0 if there will be none.
int SelectEvents() {
    int firstEvent = 0;
    const bool isSelected = X11::RunChecked([&firstEvent](::Display* display) {
        int firstError = 0;
        if (s_xrandr.XRRQueryExtension(display, &firstEvent, &firstError) != False) {
            s_xrandr.XRRSelectInput(display, DefaultRootWindow(display),
                                    RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask);
        } else {
            firstEvent = 0;
        }
    });
    return isSelected ? firstEvent : 0;
}

bool IsDisplayEvent(int firstEvent, int type) {
    return firstEvent != 0 && (type == firstEvent + RRScreenChangeNotify || type == firstEvent + RRNotify);
}

/// Takes the events that wait in Xlib's queue; true if there were any.
bool TakeWaitingEvents(int firstEvent) {
    bool hasAny = false;
    X11::Run([&hasAny, firstEvent](::Display* display) {
        const auto isWanted = [](::Display*, XEvent* event, XPointer number) -> Bool {
            return IsDisplayEvent(*reinterpret_cast<int*>(number), event->type) ? True : False;
        };
        int number = firstEvent;
        for (XEvent event; X11::GetFunctions().XCheckIfEvent(display, &event, isWanted,
                                                             reinterpret_cast<XPointer>(&number)) != False;) {
            hasAny = true;
        }
    });
    return hasAny;
}

/// What has happened to the displays since the last look at them.
std::vector<DisplayChange> TakeChanges(Watch& watch) {
    const int firstEvent = watch.firstEvent.load(std::memory_order_acquire);
    if (firstEvent == 0 || (!TakeWaitingEvents(firstEvent) && !watch.hasChanged)) {
        return {};
    }
    watch.hasChanged = false;
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
        if (X11::GetDisplay() != nullptr && LoadFunctions()) {
            watch.userInfo = userInfo;
            // First the events, then the displays, so that a change in between is reported.
            const int firstEvent = SelectEvents();
            watch.states = GetDisplayStates();
            watch.firstEvent.store(firstEvent, std::memory_order_release);
        }
    });
}

bool TakeDisplayEvent(const XEvent& event) {
    Watch& watch = GetWatch();
    const bool isTaken = IsDisplayEvent(watch.firstEvent.load(std::memory_order_acquire), event.type);
    watch.hasChanged |= isTaken;
    return isTaken;
}

void ReportDisplayChanges() {
    Watch& watch = GetWatch();
    for (const DisplayChange& change : TakeChanges(watch)) {
        DisplayReconfigurationCallback(change.display, static_cast<std::uint32_t>(change.flag), watch.userInfo);
    }
}

} // namespace Tovra::System::Device::Display
