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

/// A window of the accessibility layer that the fake shows.
struct FakeAccessibilityWindow {
    std::string name; ///< What it is called in the record of calls.
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    std::int32_t positionError = 0; ///< What asking for its position gives, besides the position; 0 for success.
    std::int32_t sizeError = 0;     ///< The same for its size.
};

/// An application of the accessibility layer that the fake shows.
struct FakeAccessibilityApplication {
    std::vector<FakeAccessibilityWindow> windows = {};
    std::optional<std::size_t> focused = {}; ///< Index of the focused window.
    bool hasWindowList = true;               ///< Whether its windows can be had.
};

/// The desktop as the window operations see it, set by the test.
struct ProcessWindowOperations {
    using Entry = System::Processes::WindowListEntry;

    /// The recorded list, front to back, with all fields that there are. On screen are those whose field doesn't deny
    /// it.
    std::vector<Entry> entries = {};
    /// Whether the list of the screen shows all the same those whose field denies it.
    bool showsAllOnScreen = false;
    /// The bounds on the list of one window, where they are to be others than on the whole list.
    std::map<std::uint32_t, std::optional<System::Processes::WindowBounds>> boundsOfOne = {};
    std::int32_t frontProcessId = 0;
    std::map<std::int32_t, FakeAccessibilityApplication> applications = {};
    Fault<> createApplicationFault = {}; ///< Of making an application's element; `result` means nothing.
    std::int32_t raiseError = 0;
    std::int32_t focusError = 0;

    /// In order: "List(0)", "Application(7)", "Position(a)", "Size(a)", "Focus(7, a)", "Raise(a)" ….
    std::vector<std::string> calls = {};
    int heldElements = 0;         ///< How many elements are not released yet.
    std::size_t maximumCount = 0; ///< What the last question for windows was bounded to.
};

inline ProcessWindowOperations& processWindowOperations = GetState<ProcessWindowOperations>();

} // namespace Tovra::Tests::Fakes
