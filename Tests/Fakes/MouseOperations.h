#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>
#include <System/Device/Mouse/MouseOperations.h>

#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// The operating system's pointer, and the calls made.
struct MouseOperations {
    System::Device::Mouse::PointerPosition pointer;

    /// In order: "Pointer", "Create 5 button 0 at 1, 2", "Create scroll unit 1 wheels 2: 0, 3", "Click state 2",
    /// "Post 5 button 0 at 1, 2 click 1", "Post scroll unit 1 wheels 2: 0, 3", "Sleep 10". Types and units are numbers.
    std::vector<std::string> calls;
    int eventCount = 0; ///< Events created and not yet released.

    std::function<void()> duringPost; ///< Called after each posted event, unless empty.

    /// With a null result there is no event.
    Fault<System::Device::Mouse::MouseEvent*, nullptr> createMouseEventFault;
    Fault<System::Device::Mouse::MouseEvent*, nullptr> createScrollEventFault;
};

inline MouseOperations& mouseOperations = GetState<MouseOperations>();

} // namespace Tovra::Tests::Fakes
