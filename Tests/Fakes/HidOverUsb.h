#pragma once

#include <Fakes/State.h>

#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the operations of HID over USB return.
struct HidOverUsb {
    bool isEnabled = false;
    bool enable = false;
    bool disable = false;
    bool initialize = false;

    /// Each call; a report with its number and its bytes: "SendReport 1 abc".
    std::vector<std::string> calls;
};

inline HidOverUsb& hidOverUsb = GetState<HidOverUsb>();

} // namespace Tovra::Tests::Fakes
