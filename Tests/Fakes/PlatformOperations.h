#pragma once

#include <Fakes/Fault.h>
#include <Fakes/State.h>
#include <System/Utilities/Platform.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace Tovra::Tests::Fakes {

/// The machine's properties.
struct PlatformOperations {
    System::Utilities::Platform::Type type = System::Utilities::Platform::Type::MacOS;
    std::string machine = "arm64";

    /// Bytes of the kernel's named values, including a terminating NUL byte; reading a missing name fails with ENOENT.
    std::map<std::string, std::string> systemControls;
    /// Called at the end of each successful read, so that a value can change between two reads.
    std::function<void()> onSystemControl;

    Fault<> systemControlFault;
    Fault<> machineNameFault;

    /// Sets the operating system's version: "6.1".
    void SetVersion(const std::string& version) { systemControls["kern.osproductversion"] = version + '\0'; }
};

inline PlatformOperations& platformOperations = GetState<PlatformOperations>();

} // namespace Tovra::Tests::Fakes
