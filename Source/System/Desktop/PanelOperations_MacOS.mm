#include <System/Desktop/PanelOperations.h>

#import <AppKit/AppKit.h>

namespace Tovra::System::Desktop {

namespace {

/// AppKit allows each property to be read only for the event types that have it.
PanelEvent MakePanelEvent(NSEvent* event) {
    PanelEvent result{.type = static_cast<PanelEventType>([event type])};
    switch ([event type]) {
    case NSEventTypeKeyDown:
    case NSEventTypeKeyUp:
    case NSEventTypeFlagsChanged:
        result.virtualKey = [event keyCode];
        result.modifierFlags = [event modifierFlags];
        break;
    case NSEventTypeScrollWheel:
        result.scrollingDelta = [event scrollingDeltaY];
        break;
    default:
        break;
    }
    return result;
}

} // namespace

bool IsMainThread() {
    return [NSThread isMainThread];
}

void RunOnMainQueue(const std::function<void()>& work) {
    const auto* const waitingWork = &work;
    dispatch_sync(dispatch_get_main_queue(), ^{
      (*waitingWork)();
    });
}

bool IsWindowServerLost() {
    return false;
}

void RunCatchingToolkitExceptions(const std::function<void()>& work) {
    @autoreleasepool {
        @try {
            work();
        } @catch (NSException* exception) {
            NSLog(@"Exception: %@", exception);
        }
    }
}

void RunMainLoop(std::chrono::milliseconds duration) {
    const std::chrono::duration<double> seconds = duration;
    [[NSRunLoop mainRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:seconds.count()]];
}

void PumpEvents(const std::function<void(const PanelEvent&)>& onEvent) {
    while (NSEvent* const event = [NSApp nextEventMatchingMask:NSEventMaskAny
                                                     untilDate:[NSDate distantPast]
                                                        inMode:NSDefaultRunLoopMode
                                                       dequeue:YES]) {
        onEvent(MakePanelEvent(event));
        [NSApp sendEvent:event];
    }
}

} // namespace Tovra::System::Desktop
