#include <System/Processes/ActivateAppPlatformNative.h>

#import <AppKit/AppKit.h>

namespace Tovra::System::Desktop {

bool WindowActivateAppPlatformNative(std::int32_t processId) {
    // The calling thread may be one without a pool of its own.
    @autoreleasepool {
        NSRunningApplication* const application =
            [NSRunningApplication runningApplicationWithProcessIdentifier:processId];
        if (application == nil) {
            return false;
        }
        [application activateWithOptions:NSApplicationActivateAllWindows | NSApplicationActivateIgnoringOtherApps];
        return true;
    }
}

} // namespace Tovra::System::Desktop
