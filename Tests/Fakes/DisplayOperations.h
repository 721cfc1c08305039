#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>
#include <System/Device/Display/DisplayOperations.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests::Fakes {

/// A display of the fake.
struct FakeDisplay {
    System::Device::Display::PlatformDisplayID id = 0;
    double x = 0;
    double y = 0;
    std::size_t width = 0; ///< In points.
    std::size_t height = 0;
    std::vector<System::Device::Display::DisplayMode> modes = {};
    double refreshRate = 60;
};

/// The operating system's displays, set by the test.
struct DisplayOperations {
    std::vector<FakeDisplay> displays = {}; ///< In the order in which the system lists them.
    System::Device::Display::PlatformDisplayID mainDisplay = 0;
    int emptyRounds = 0;                ///< How many times the list is empty at first.
    std::function<void()> onBegin = {}; ///< Called when a query begins.

    std::vector<std::pair<double, double>> points = {}; ///< Points at which displays were looked up, in order.
    std::vector<std::size_t> capacities = {};           ///< Room for displays in each call of the list.
    std::vector<std::chrono::nanoseconds> sleeps = {};  ///< In order.
    std::vector<std::string> calls = {};                ///< In order, without the calls about one display.
    /// Displays whose current refresh rate was read, in order.
    std::vector<System::Device::Display::PlatformDisplayID> ratedDisplays = {};
    int openQueries = 0; ///< Queries that have not ended yet.

    Fault<std::int32_t, 1001> listFault = {};
};

inline DisplayOperations& displayOperations = GetState<DisplayOperations>();

} // namespace Tovra::Tests::Fakes
