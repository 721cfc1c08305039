#pragma once

// An internal header of the Linux host: the requests that fill entries of the window list.

#include <System/Processes/ProcessWindowOperations.h>
#include <System/X11/Xcb_Linux.h>

#include <memory>
#include <span>
#include <vector>

namespace Tovra::System::Processes {

/// Entries of the list, each with the id of its window.
using WindowListEntries = std::vector<WindowListEntry>;

/// Entries that contain the windows' ids and nothing else yet.
WindowListEntries MakeEntries(std::span<const xcb_window_t> windows);

/// The requests about some windows, all sent before the first reply is waited for: one round trip. Replies that nobody
/// takes stay in memory, so call `Fill` once, always.
class WindowRequests {
public:
    WindowRequests(X11::Connection& x11, const WindowListEntries& entries, WindowListFields fields);
    ~WindowRequests();
    WindowRequests(const WindowRequests&) = delete;
    WindowRequests& operator=(const WindowRequests&) = delete;

    /// Waits for the replies and fills the same entries. That of a window that is gone keeps its id alone. One more
    /// round trip for each window with an empty title, if `fields` contains the owner's name.
    void Fill(WindowListEntries& entries) const;

private:
    struct Parts;

    X11::Connection& m_x11;
    WindowListFields m_fields;
    std::unique_ptr<Parts> m_parts;
};

/// The entry of one window, whether it is on the list or not. One round trip.
WindowListEntry GetEntry(X11::Connection& x11, xcb_window_t window, WindowListFields fields);

} // namespace Tovra::System::Processes
