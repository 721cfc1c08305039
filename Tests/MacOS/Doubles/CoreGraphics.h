#pragma once

#include <MacOS/Doubles/Objects.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests::Doubles {

/// A mode of a display.
struct Mode {
    std::uint32_t flags = 0;
    std::size_t width = 0; ///< In pixels.
    std::size_t height = 0;
    double refreshRate = 0;
};

/// A display in use.
struct Display {
    CGDirectDisplayID id = 0;
    CGRect bounds = {};
    std::vector<Mode> modes = {};
    std::optional<Mode> mode = {}; ///< The present one.
};

/// The displays, the first one being the main one, and the callbacks for their changes.
struct Displays {
    std::vector<Display> all;
    std::vector<std::pair<CGDisplayReconfigurationCallBack, void*>> callbacks;
    int hidings = 0; ///< How often the cursor was hidden more than shown.
};

inline Displays& displays = Fakes::GetState<Displays>();

/// Synthesised events and the pointer.
struct Events {
    CGPoint pointer = {};            ///< Where a posted move leaves it.
    std::vector<std::string> posted; ///< In order, such as "type 1 at 10, 20, button 0, click 1" or "scroll 0: 3".
};

inline Events& events = Fakes::GetState<Events>();

/// The window server's list, front to back.
struct WindowList {
    std::vector<Dictionary> entries;
};

inline WindowList& windowList = Fakes::GetState<WindowList>();

/// A dictionary as the window server writes a rectangle.
Dictionary MakeBounds(double x, double y, double width, double height);

/// The window server's connection, which this process has one of.
struct Connection {
    std::vector<std::string> properties; ///< Set ones, in order, such as "SetsCursorInBackground=true".
};

inline Connection& connection = Fakes::GetState<Connection>();

} // namespace Tovra::Tests::Doubles
