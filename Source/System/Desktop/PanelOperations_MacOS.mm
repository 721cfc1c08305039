#include <System/Desktop/PanelOperations.h>

#import <AppKit/AppKit.h>

namespace Tovra::System::Desktop {

static_assert(static_cast<int>(PanelEventType::LeftMouseDown) == NSEventTypeLeftMouseDown);
static_assert(static_cast<int>(PanelEventType::LeftMouseUp) == NSEventTypeLeftMouseUp);
static_assert(static_cast<int>(PanelEventType::RightMouseDown) == NSEventTypeRightMouseDown);
static_assert(static_cast<int>(PanelEventType::RightMouseUp) == NSEventTypeRightMouseUp);
static_assert(static_cast<int>(PanelEventType::MouseMoved) == NSEventTypeMouseMoved);
static_assert(static_cast<int>(PanelEventType::LeftMouseDragged) == NSEventTypeLeftMouseDragged);
static_assert(static_cast<int>(PanelEventType::RightMouseDragged) == NSEventTypeRightMouseDragged);
static_assert(static_cast<int>(PanelEventType::KeyDown) == NSEventTypeKeyDown);
static_assert(static_cast<int>(PanelEventType::KeyUp) == NSEventTypeKeyUp);
static_assert(static_cast<int>(PanelEventType::FlagsChanged) == NSEventTypeFlagsChanged);
static_assert(static_cast<int>(PanelEventType::ScrollWheel) == NSEventTypeScrollWheel);
static_assert(static_cast<int>(PanelEventType::OtherMouseDown) == NSEventTypeOtherMouseDown);
static_assert(static_cast<int>(PanelEventType::OtherMouseUp) == NSEventTypeOtherMouseUp);
static_assert(static_cast<int>(PanelEventType::OtherMouseDragged) == NSEventTypeOtherMouseDragged);
static_assert(std::uint64_t{ShiftFlag} == NSEventModifierFlagShift);
static_assert(std::uint64_t{ControlFlag} == NSEventModifierFlagControl);
static_assert(std::uint64_t{OptionFlag} == NSEventModifierFlagOption);
static_assert(std::uint64_t{CommandFlag} == NSEventModifierFlagCommand);

namespace {

/// AppKit allows each property to be read only for the event types that have it.
PanelEvent MakePanelEvent(NSEvent* event) {
    const auto type = static_cast<PanelEventType>([event type]);
    switch ([event type]) {
    case NSEventTypeKeyDown:
    case NSEventTypeKeyUp:
    case NSEventTypeFlagsChanged:
        return {.type = type, .virtualKey = [event keyCode], .modifierFlags = [event modifierFlags]};
    case NSEventTypeScrollWheel:
        return {.type = type, .scrollingDelta = [event scrollingDeltaY]};
    default:
        return {.type = type};
    }
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
