#pragma once

#include <System/Types/Geometry.h>
#include <System/Types/VisitorAction.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Tovra::System::Processes {

class Process;

/// A top-level window of any process on the desktop, by the number that the window server gave it. A plain value: it
/// owns nothing, and the window may be gone at any time, which gives the neutral results below.
///
/// Each operation takes a fresh snapshot of the server's list of windows: queries are for the rate at which a person
/// acts. Nothing is logged or thrown. Coordinates are in points, with the origin at the top left of the first screen.
/// Any thread. On macOS the process needs the person's leave to use the accessibility layer; without it windows are
/// missing.
class ProcessWindow {
public:
    /// The window of that number; whether there is one is not asked. 0 is no window, and only the low 32 bits count.
    explicit ProcessWindow(unsigned long windowHandle) : handle(windowHandle) {}

    /// The focused window of the frontmost application, or 0.
    static ProcessWindow GetActive();

    /// The frontmost normal window whose bounds hold the point, or 0. Menu bars, docks and overlays are passed over.
    static ProcessWindow Get(int x, int y);

    /// The focused window of a process, or 0. For the process 0 that of the frontmost application.
    static ProcessWindow Get(const Process& process);

    /// The window of that number if it belongs to the process, or 0.
    static ProcessWindow Get(const Process& process, unsigned long handle);

    /// Calls the visitor for each window of the process whose name is byte for byte the filter, or for every one if the
    /// filter is empty, front to back, hidden ones included; gives the number of calls. What the visitor answers has no
    /// effect: it sees every window.
    ///
    /// A window without a name goes by the name of the one before it.
    static std::uint64_t ForEachWindow(const Process& process,
                                       const std::function<VisitorAction(ProcessWindow&)>& visitor,
                                       std::string_view filter);

    /// Brings the window's application to the front, then gives the window the focus and raises it; true if it was
    /// raised. The application comes forward even if the window can't.
    bool SetActive() const;

    /// Gives `name` the window's title in UTF-8, or its owner's name if the title is empty, and returns its characters.
    /// A window that has no title at all, or one of 256 bytes or more in UTF-8, leaves `name` as it was. What is no
    /// text in the encoding that it claims counts as no title; characters that UTF-8 lacks are left out.
    const char* GetName(std::string& name) const;

    /// The window's bounds, each number cut towards zero before left and top are added to width and height. All 0 if
    /// they can't be had.
    Math::Rectangle GetFrame() const;

    /// The frontmost normal window of this window's owner, or this window if there is none or no owner.
    ProcessWindow GetRootWindow() const;

    /// The process that owns the window, or 0.
    std::uint64_t GetProcessId() const;

    /// Whether the window is its own root: also if the window server doesn't know it.
    bool IsTopLevel() const;

    /// Whether the window is on the screen.
    bool IsVisible() const;

    unsigned long handle = 0; ///< The window server's 32-bit number; 0 for no window.

private:
    static unsigned long GetActivePlatform(std::uint64_t processId);
    static unsigned long GetHandlePlatform(int x, int y);
    static std::uint64_t ForEachWindowPlatform(const Process& process,
                                               const std::function<VisitorAction(ProcessWindow&)>& visitor,
                                               std::string_view filter);
    bool SetActivePlatform() const;
    const char* GetNamePlatform(std::string& name) const;
    Math::Rectangle GetFramePlatform() const;
    unsigned long GetRootHandlePlatform() const;
    std::uint64_t GetProcessIdPlatform() const;
    bool IsVisiblePlatform() const;

    /// What the window server's numbers are compared with.
    std::uint32_t GetNumber() const { return static_cast<std::uint32_t>(handle); }
};

} // namespace Tovra::System::Processes
