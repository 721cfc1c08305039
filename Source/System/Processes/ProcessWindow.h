#pragma once

#include <System/Types/Geometry.h>
#include <System/Types/VisitorAction.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Tovra::System::Processes {

class Process;

/// A top-level window of any process on the desktop, by the window server's number. A plain value: it owns nothing, and
/// the window may be gone at any time; the functions then return the neutral results below.
///
/// Each operation takes a fresh snapshot of the server's list of windows: it is meant for the rate at which a user
/// acts. Nothing is logged or thrown, except that on macOS an exception of the toolkit passes through `SetActive`.
/// Coordinates are in points, with the origin at the top left of the first screen. Any thread. On macOS the process
/// needs the user's permission for the accessibility layer; without it windows are missing.
class ProcessWindow {
public:
    /// The window with that number, existing or not. 0 is no window; only the low 32 bits count.
    explicit ProcessWindow(unsigned long windowHandle) : handle(windowHandle) {}

    /// The focused window of the frontmost application, or 0.
    static ProcessWindow GetActive();

    /// The frontmost normal window whose bounds contain the point, or 0. Menu bars, docks and overlays are skipped.
    static ProcessWindow Get(int x, int y);

    /// The focused window of a process, or 0; for process 0 that of the frontmost application.
    static ProcessWindow Get(const Process& process);

    /// The window with that number if it belongs to the process, otherwise 0.
    static ProcessWindow Get(const Process& process, unsigned long handle);

    /// Calls the visitor for each window of the process whose name equals the filter byte for byte, or for every one if
    /// the filter is empty, front to back, hidden ones included; returns the number of calls.
    /// Intentional: the visitor sees every window, whatever it returns; callers count on the number of all.
    /// Intentional: a window without a name goes by the name of the one before it; callers count on reaching both.
    static std::uint64_t ForEachWindow(const Process& process,
                                       const std::function<VisitorAction(ProcessWindow&)>& visitor,
                                       std::string_view filter);

    /// Brings the window's application to the front, then gives the window the focus and raises it. True if it was
    /// raised.
    /// Intentional: the application comes forward even if the window can't; callers rely on it.
    bool SetActive() const;

    /// Sets `name` to the window's title in UTF-8, or to its owner's name if the title is empty, and returns the
    /// characters of `name`. A window that has no title, or one of 256 bytes or more in UTF-8, leaves `name` unchanged.
    /// A title that is no text in its encoding counts as none; characters that UTF-8 lacks are left out.
    const char* GetName(std::string& name) const;

    /// The window's bounds. Each number is truncated towards zero before left and top are added to width and height.
    /// All 0 if the window has none.
    Math::Rectangle GetFrame() const;

    /// The frontmost normal window of this window's owner; this window if there is none or the owner is unknown.
    ProcessWindow GetRootWindow() const;

    /// The process that owns the window, or 0.
    std::uint64_t GetProcessId() const;

    /// Whether the window is its own root window.
    /// Intentional: true for one that the window server doesn't know, as it is its own root; callers rely on it.
    bool IsTopLevel() const;

    /// Whether the window is on the screen; false if it is unknown.
    bool IsVisible() const;

    unsigned long handle = 0; ///< The window server's 32-bit number; 0 for no window.

private:
    // The rules behind the functions above, the same on both hosts. What differs stands in ProcessWindowOperations.h.
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

    /// The number that is compared with those of the window server.
    std::uint32_t GetNumber() const { return static_cast<std::uint32_t>(handle); }
};

} // namespace Tovra::System::Processes
