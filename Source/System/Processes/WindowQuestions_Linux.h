#pragma once

// An internal header of the Linux host: what is asked about windows to fill entries of the list.

#include <System/Desktop/Xcb_Linux.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <memory>
#include <span>
#include <vector>

namespace Tovra::System::Processes {

/// Entries of the list, each with the number of its window.
using WindowListEntries = std::vector<WindowListEntry>;

/// Entries that hold the windows' numbers and nothing else yet.
WindowListEntries MakeEntries(std::span<const xcb_window_t> windows);

/// All questions about some windows, which are on their way together: one round trip. Answers that were not waited for
/// would stay with the connection, so `Answer` is always called, once.
class WindowQuestions {
public:
    WindowQuestions(const Desktop::Xcb::Server& server, const WindowListEntries& entries, WindowListFields fields);
    ~WindowQuestions();
    WindowQuestions(const WindowQuestions&) = delete;
    WindowQuestions& operator=(const WindowQuestions&) = delete;

    /// Waits for the answers and fills the entries that were asked about. A window that is gone keeps its number alone.
    /// A further round trip for each window with an empty title, if the owners' names were asked for.
    void Answer(WindowListEntries& entries) const;

private:
    struct Parts;

    const Desktop::Xcb::Server& m_server;
    WindowListFields m_fields;
    std::unique_ptr<Parts> m_parts;
};

/// What is known of one window, be it on the list or not. One round trip.
WindowListEntry AskAbout(const Desktop::Xcb::Server& server, xcb_window_t window, WindowListFields fields);

} // namespace Tovra::System::Processes
