#include <Fakes/ProcessWindowOperations.h>

#include <algorithm>

namespace Tovra::System::Processes {

/// An application, or one of its windows.
struct AccessibilityElement {
    std::int32_t processId;
    const Tests::Fakes::FakeAccessibilityWindow* window = nullptr;
};

namespace {

using Tests::Fakes::FakeAccessibilityApplication;
using Tests::Fakes::FakeAccessibilityWindow;
using Tests::Fakes::processWindowOperations;

HeldAccessibilityElement Hold(std::int32_t processId, const FakeAccessibilityWindow* window = nullptr) {
    ++processWindowOperations.heldElements;
    return HeldAccessibilityElement(new AccessibilityElement{.processId = processId, .window = window});
}

void Record(const std::string& call) {
    processWindowOperations.calls.push_back(call);
}

FakeAccessibilityApplication* FindApplication(std::int32_t processId) {
    auto& applications = processWindowOperations.applications;
    const auto found = applications.find(processId);
    return found == applications.end() ? nullptr : &found->second;
}

/// Copies only the requested fields: callers may rely on no others.
WindowListEntry Select(const WindowListEntry& entry, WindowListFields fields) {
    WindowListEntry selected;
    const auto copy = [fields](WindowListField field, auto& to, const auto& from) {
        if (fields.HasAny(field)) {
            to = from;
        }
    };
    copy(WindowListField::Number, selected.number, entry.number);
    copy(WindowListField::OwnerId, selected.ownerId, entry.ownerId);
    copy(WindowListField::Layer, selected.layer, entry.layer);
    copy(WindowListField::Bounds, selected.bounds, entry.bounds);
    copy(WindowListField::Name, selected.name, entry.name);
    copy(WindowListField::OwnerName, selected.ownerName, entry.ownerName);
    copy(WindowListField::IsOnScreen, selected.isOnScreen, entry.isOnScreen);
    return selected;
}

bool IsShown(const WindowListEntry& entry, const WindowListQuery& query) {
    switch (query.option) {
    case WindowListOption::OnScreenOnly:
        return entry.isOnScreen.value_or(true) || processWindowOperations.showsAllOnScreen;
    case WindowListOption::IncludingWindow:
        return entry.number == query.window;
    case WindowListOption::All:
        return true;
    }
    return false;
}

} // namespace

void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor) {
    Record("List(" + std::to_string(static_cast<int>(query.option)) + ")");
    // Visits entries beyond those needed, as the window server does: callers may not rely on their absence.
    for (const WindowListEntry& recorded : processWindowOperations.entries) {
        WindowListEntry entry = Select(recorded, query.fields);
        const auto bounds = processWindowOperations.boundsOfOne.find(query.window);
        if (query.option == WindowListOption::IncludingWindow && bounds != processWindowOperations.boundsOfOne.end()) {
            entry.bounds = bounds->second;
        }
        if (IsShown(recorded, query) && visitor(entry) == VisitorAction::Stop) {
            return;
        }
    }
}

void ReleaseAccessibilityElement(AccessibilityElement* element) {
    --processWindowOperations.heldElements;
    delete element;
}

std::int32_t GetFrontProcessId() {
    return processWindowOperations.frontProcessId;
}

HeldAccessibilityElement CreateApplicationElement(std::int32_t processId) {
    Record("Application(" + std::to_string(processId) + ")");
    const bool fails = processWindowOperations.createApplicationFault.Strikes();
    return fails || FindApplication(processId) == nullptr ? nullptr : Hold(processId);
}

HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application) {
    FakeAccessibilityApplication& fake = *FindApplication(application.processId);
    return fake.focused ? Hold(application.processId, &fake.windows.at(*fake.focused)) : nullptr;
}

std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount) {
    processWindowOperations.maximumCount = maximumCount;
    const FakeAccessibilityApplication& fake = *FindApplication(application.processId);
    if (!fake.hasWindowList) {
        return std::nullopt;
    }
    std::vector<HeldAccessibilityElement> windows;
    for (const FakeAccessibilityWindow& window : fake.windows) {
        if (windows.size() < maximumCount) {
            windows.push_back(Hold(application.processId, &window));
        }
    }
    return windows;
}

std::int32_t CopyWindowPosition(AccessibilityElement& window, double& x, double& y) {
    Record("Position(" + window.window->name + ")");
    x = window.window->x;
    y = window.window->y;
    return window.window->positionError;
}

std::int32_t CopyWindowSize(AccessibilityElement& window, double& width, double& height) {
    Record("Size(" + window.window->name + ")");
    width = window.window->width;
    height = window.window->height;
    return window.window->sizeError;
}

std::int32_t SetFocusedWindow(AccessibilityElement& application, AccessibilityElement& window) {
    Record("Focus(" + std::to_string(application.processId) + ", " + window.window->name + ")");
    return processWindowOperations.focusError;
}

std::int32_t RaiseWindow(AccessibilityElement& window) {
    Record("Raise(" + window.window->name + ")");
    return processWindowOperations.raiseError;
}

} // namespace Tovra::System::Processes
