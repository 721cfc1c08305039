#include <System/Processes/ActivateAppPlatformNative.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindowOperations.h>
#include <System/X11/Stacking_Linux.h>

namespace Tovra::System::Desktop {

namespace Xcb = X11::Xcb;

namespace {

/// How well a window is suited to bring its process forward, in rising order.
enum class Fitness {
    NotThere,
    Hidden, ///< Activating it would bring back a window that the user has put away.
    Unusual,
    Normal,
};

struct Candidate {
    xcb_window_t window = XCB_WINDOW_NONE;
    Fitness fitness = Fitness::NotThere;
};

Fitness GetFitness(const Processes::WindowListEntry& entry) {
    if (!entry.isOnScreen.value_or(false)) {
        return Fitness::Hidden;
    }
    return entry.layer == 0 ? Fitness::Normal : Fitness::Unusual;
}

/// The frontmost of the process's best suited windows; none if it has none. One round trip for the list and one for
/// each batch of windows (of 8, 16, 32 …) until there can't be a better one.
xcb_window_t FindFrontmostWindow(std::int32_t processId) {
    using Processes::WindowListField;
    Candidate best;
    Processes::WalkWindowList(
        {.fields = WindowListField::OwnerId | WindowListField::Layer | WindowListField::IsOnScreen},
        [processId, &best](const Processes::WindowListEntry& entry) {
            if (entry.ownerId == processId && GetFitness(entry) > best.fitness) {
                best = {.window = entry.number.value_or(XCB_WINDOW_NONE), .fitness = GetFitness(entry)};
            }
            return best.fitness == Fitness::Normal ? VisitorAction::Stop : VisitorAction::Continue;
        });
    return best.window;
}

} // namespace

// Finding the window, then two round trips, or three without a window manager. The windows are other programs': that
// one is gone meanwhile is no error to print.
bool WindowActivateAppPlatformNative(std::int32_t processId) {
    const Processes::Process process(static_cast<std::uint64_t>(processId));
    const xcb_window_t window = process.IsValid() ? FindFrontmostWindow(processId) : XCB_WINDOW_NONE;
    if (window == XCB_WINDOW_NONE) {
        return false;
    }
    const Xcb::Session session;
    return session.GetConnection() != nullptr && Xcb::ActivateWindow(*session.GetConnection(), window);
}

} // namespace Tovra::System::Desktop
