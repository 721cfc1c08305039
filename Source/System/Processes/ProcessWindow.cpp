#include <System/Processes/ActivateAppPlatformNative.h>
#include <System/Processes/Helpers.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessWindow.h>
#include <System/Processes/ProcessWindowOperations.h>
#include <System/Utilities/Number.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tovra::System::Processes {

namespace {

/// A text of the list up to its first NUL byte; none if it is missing or too long for the buffer.
/// Intentional: what follows the NUL byte needs room in the buffer, too; callers find such a window without a name.
std::optional<std::string_view> GetText(const std::optional<std::string>& text) {
    if (!text || text->size() >= windowTextBufferSize) {
        return std::nullopt;
    }
    return CutAtNul(*text);
}

/// The low 32 bits of a process id.
/// Intentional: an id beyond 32 bits names the process that its low bits name.
std::int32_t GetLowBits(std::uint64_t processId) {
    return static_cast<std::int32_t>(processId);
}

/// Adds modulo 2^32, without the undefined behaviour of an overflow.
std::int32_t Add(std::int32_t left, std::int32_t right) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(left) + static_cast<std::uint32_t>(right));
}

/// The first entry with that number that `accepts` returns true for; one without any field if there is none. Of its
/// fields, these and the number are read.
template <class Accepts>
WindowListEntry FindEntry(WindowListOption option, WindowListFields fields, std::uint32_t number,
                          const Accepts& accepts) {
    WindowListEntry found;
    WalkWindowList({.option = option, .fields = fields | WindowListField::Number, .only = number},
                   [number, &accepts, &found](const WindowListEntry& entry) {
                       if (entry.number != number || !accepts(entry)) {
                           return VisitorAction::Continue;
                       }
                       found = entry;
                       return VisitorAction::Stop;
                   });
    return found;
}

bool AcceptAny(const WindowListEntry&) {
    return true;
}

bool HasTitle(const WindowListEntry& entry) {
    return GetText(entry.name).has_value();
}

bool HasBounds(const WindowListEntry& entry) {
    return entry.bounds.has_value();
}

} // namespace

ProcessWindow ProcessWindow::GetActive() {
    return ProcessWindow(GetActivePlatform(0));
}

ProcessWindow ProcessWindow::Get(int x, int y) {
    return ProcessWindow(GetHandlePlatform(x, y));
}

ProcessWindow ProcessWindow::Get(const Process& process) {
    return ProcessWindow(GetActivePlatform(process.GetId()));
}

ProcessWindow ProcessWindow::Get(const Process& process, unsigned long handle) {
    const ProcessWindow wanted(handle);
    ProcessWindow found(0);
    ForEachWindowPlatform(
        process,
        [&wanted, &found](const ProcessWindow& window) {
            if (window.GetNumber() != wanted.GetNumber()) {
                return VisitorAction::Continue;
            }
            found = window;
            return VisitorAction::Stop;
        },
        "");
    return found;
}

std::uint64_t ProcessWindow::ForEachWindow(const Process& process,
                                           const std::function<VisitorAction(ProcessWindow&)>& visitor,
                                           std::string_view filter) {
    return ForEachWindowPlatform(process, visitor, filter);
}

bool ProcessWindow::SetActive() const {
    return SetActivePlatform();
}

const char* ProcessWindow::GetName(std::string& name) const {
    return GetNamePlatform(name);
}

Math::Rectangle ProcessWindow::GetFrame() const {
    return GetFramePlatform();
}

ProcessWindow ProcessWindow::GetRootWindow() const {
    return ProcessWindow(GetRootHandlePlatform());
}

std::uint64_t ProcessWindow::GetProcessId() const {
    return GetProcessIdPlatform();
}

bool ProcessWindow::IsTopLevel() const {
    return GetRootWindow().GetNumber() == GetNumber();
}

bool ProcessWindow::IsVisible() const {
    return IsVisiblePlatform();
}

unsigned long ProcessWindow::GetActivePlatform(std::uint64_t processId) {
    const std::int32_t systemId = processId == 0 ? GetFrontProcessId() : GetLowBits(processId);
    const HeldAccessibilityElement window = Helpers::GetFocusedWindow(systemId);
    return Helpers::GetWindowId(systemId, window.get());
}

unsigned long ProcessWindow::GetHandlePlatform(int x, int y) {
    const WindowPoint point = {.x = static_cast<double>(x), .y = static_cast<double>(y)};
    std::uint32_t number = 0;
    WalkWindowList({.option = WindowListOption::OnScreenOnly,
                    .fields = WindowListField::Number | WindowListField::Layer | WindowListField::Bounds,
                    .point = point},
                   [&point, &number](const WindowListEntry& entry) {
                       // What has no bounds is empty.
                       if (entry.layer != 0 || !entry.bounds.value_or(WindowBounds()).Contains(point)) {
                           return VisitorAction::Continue;
                       }
                       number = entry.number.value_or(0);
                       return VisitorAction::Stop;
                   });
    return number;
}

std::uint64_t ProcessWindow::ForEachWindowPlatform(const Process& process,
                                                   const std::function<VisitorAction(ProcessWindow&)>& visitor,
                                                   std::string_view filter) {
    std::vector<ProcessWindow> windows;
    WalkWindowList({.option = WindowListOption::All, .fields = WindowListField::Number | WindowListField::OwnerId},
                   [owner = GetLowBits(process.GetId()), &windows](const WindowListEntry& entry) {
                       if (entry.ownerId == owner && entry.number) {
                           windows.emplace_back(*entry.number);
                       }
                       return VisitorAction::Continue;
                   });
    std::uint64_t visits = 0;
    // Intentional: not cleared between the windows; a window without a name goes by the name of the one before it, and
    // callers that look for all windows of a name count on reaching both.
    std::string name;
    for (ProcessWindow& window : windows) {
        if (!filter.empty()) {
            window.GetNamePlatform(name);
        }
        // Without a filter the name stays empty, too.
        if (name == filter) {
            // Intentional: the visitor's result is ignored; callers remember one window while they return Stop, and
            // count on the number of all.
            visitor(window);
            ++visits;
        }
    }
    return visits;
}

bool ProcessWindow::SetActivePlatform() const {
    const std::int32_t processId = GetLowBits(GetProcessIdPlatform());
    // Intentional: the application is activated even if the window is gone; callers rely on it.
    Desktop::WindowActivateAppPlatformNative(processId);
    const HeldAccessibilityElement window = Helpers::GetWindow(processId, GetNumber());
    if (window == nullptr) {
        return false;
    }
    if (const HeldAccessibilityElement application = CreateApplicationElement(processId)) {
        SetFocusedWindow(*application, *window);
    }
    return RaiseWindow(*window) == 0;
}

const char* ProcessWindow::GetNamePlatform(std::string& name) const {
    const auto entry =
        FindEntry(WindowListOption::All, WindowListField::Name | WindowListField::OwnerName, GetNumber(), HasTitle);
    if (const auto title = GetText(entry.name)) {
        name = title->empty() ? GetText(entry.ownerName).value_or("") : *title;
    }
    return name.c_str();
}

Math::Rectangle ProcessWindow::GetFramePlatform() const {
    const auto entry = FindEntry(WindowListOption::All, WindowListField::Bounds, GetNumber(), HasBounds);
    const WindowBounds bounds = entry.bounds.value_or(WindowBounds());
    const std::int32_t left = Utilities::Truncate(bounds.x);
    const std::int32_t top = Utilities::Truncate(bounds.y);
    return {.left = left,
            .top = top,
            .right = Add(Utilities::Truncate(bounds.width), left),
            .bottom = Add(Utilities::Truncate(bounds.height), top)};
}

unsigned long ProcessWindow::GetRootHandlePlatform() const {
    std::optional<std::int32_t> owner;
    std::map<std::int32_t, unsigned long> roots; // By owner.
    WalkWindowList({.option = WindowListOption::All,
                    .fields = WindowListField::Number | WindowListField::OwnerId | WindowListField::Layer},
                   [this, &owner, &roots](const WindowListEntry& entry) {
                       if (!owner && entry.number == GetNumber()) {
                           owner = entry.ownerId;
                       }
                       const std::int32_t ownerId = entry.ownerId.value_or(0);
                       if (ownerId != 0 && entry.layer == 0 && entry.number) {
                           roots.try_emplace(ownerId, *entry.number); // The frontmost one stays.
                       }
                       return VisitorAction::Continue;
                   });
    const auto root = roots.find(owner.value_or(0));
    return root == roots.end() ? handle : root->second;
}

std::uint64_t ProcessWindow::GetProcessIdPlatform() const {
    const auto entry = FindEntry(WindowListOption::All, WindowListField::OwnerId, GetNumber(), AcceptAny);
    return static_cast<std::uint64_t>(entry.ownerId.value_or(0));
}

bool ProcessWindow::IsVisiblePlatform() const {
    const auto entry = FindEntry(WindowListOption::OnScreenOnly, WindowListField::IsOnScreen, GetNumber(), AcceptAny);
    return entry.isOnScreen.value_or(false);
}

} // namespace Tovra::System::Processes
