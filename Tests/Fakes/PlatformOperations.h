#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>
#include <System/Utilities/Platform.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace Tovra::Tests::Fakes {

/// The machine as the platform's facts show it.
struct PlatformOperations {
    System::Utilities::Platform::Type type = System::Utilities::Platform::Type::MacOS;
    std::string machine = "arm64";

    /// The bytes of the kernel's named values, a terminating zero included; a name that is missing fails with ENOENT.
    std::map<std::string, std::string> systemControls;
    /// Called at the end of each successful reading, so that a value can change between two.
    std::function<void()> onSystemControl;

    Fault<> systemControlFault;
    Fault<> machineNameFault;

    /// Makes this the operating system's version, as text: "6.1".
    void SetVersion(const std::string& version) { systemControls["kern.osproductversion"] = version + '\0'; }
};

inline PlatformOperations& platformOperations = GetState<PlatformOperations>();

} // namespace Tovra::Tests::Fakes
