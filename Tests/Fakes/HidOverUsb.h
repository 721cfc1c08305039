#pragma once

#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What HID over USB answers. A test assigns `{}` to start anew.
struct HidOverUsb {
    bool isEnabled = false;
    bool enable = false;
    bool disable = false;
    bool initialize = false;

    /// Each call; a report with its number and its bytes: "SendReport 1 abc".
    std::vector<std::string> calls;
};

inline HidOverUsb hidOverUsb;

} // namespace Tovra::Tests::Fakes
