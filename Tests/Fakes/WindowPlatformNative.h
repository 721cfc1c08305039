#pragma once

#include <Fakes/State.h>
#include <System/Desktop/WindowPlatformNative.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Tovra::Tests::Fakes {

/// What the native layer of panels returns, and the calls made.
struct WindowPlatformNative {
    std::vector<std::string> calls; ///< In order, such as "Create(1, 2, 30, 40)"; handles are numbers.

    bool initializeResult = true;
    void* createResult = reinterpret_cast<void*>(std::uintptr_t{7});
    bool updateResult = false;
    bool activateResult = true;

    /// Called during the call of that name, for what happens meanwhile.
    std::function<void()> duringCreate;
    std::function<void()> duringActivate;
    std::function<void()> duringShow;
    std::function<void()> duringHide;
    std::function<void()> duringDestroy;
};

inline WindowPlatformNative& windowPlatformNative = GetState<WindowPlatformNative>();

} // namespace Tovra::Tests::Fakes
