#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// A window of the fake's accessibility layer.
struct FakeAccessibilityWindow {
    std::string name; ///< Its name in `calls`.
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    std::int32_t positionError = 0; ///< Error of reading its position, which is given all the same; 0 for success.
    std::int32_t sizeError = 0;     ///< The same for its size.
};

/// An application of the fake's accessibility layer.
struct FakeAccessibilityApplication {
    std::vector<FakeAccessibilityWindow> windows = {};
    std::optional<std::size_t> focused = {}; ///< Index of the focused window.
    bool hasWindowList = true;               ///< Whether its windows can be listed.
};

/// The operating system's windows, set by the test.
struct ProcessWindowOperations {
    using Entry = System::Processes::WindowListEntry;

    /// The window list, front to back. An entry is on the screen unless its field says that it is not.
    std::vector<Entry> entries = {};
    /// Whether the list of windows on the screen contains also those whose field says that they are not.
    bool showsAllOnScreen = false;
    /// Bounds in the list of a single window, where they differ from those in the whole list.
    std::map<std::uint32_t, std::optional<System::Processes::WindowBounds>> boundsOfOne = {};
    std::int32_t frontProcessId = 0;
    std::map<std::int32_t, FakeAccessibilityApplication> applications = {};
    Fault<> createApplicationFault = {}; ///< Of creating an application's element; `result` is not used.
    std::int32_t raiseError = 0;
    std::int32_t focusError = 0;

    /// In order: "List(0)", "Application(7)", "Position(a)", "Size(a)", "Focus(7, a)", "Raise(a)" ….
    std::vector<std::string> calls = {};
    int heldElements = 0;         ///< Elements not yet released.
    std::size_t maximumCount = 0; ///< The limit of the last listing of windows.
};

inline ProcessWindowOperations& processWindowOperations = GetState<ProcessWindowOperations>();

} // namespace Tovra::Tests::Fakes
