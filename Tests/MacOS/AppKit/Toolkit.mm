#include "Toolkit.h"

#import <AppKit/AppKit.h>
#import <GNUstepGUI/GSDisplayServer.h>
#import <objc/runtime.h>

#include <utility>

/// An object that is counted while it exists.
@interface TestTemporary : NSObject
@end

@implementation TestTemporary

- (instancetype)init {
    ++Tovra::Tests::AppKit::GetToolkit().objects["Temporary"];
    return [super init];
}

- (void)dealloc {
    --Tovra::Tests::AppKit::GetToolkit().objects["Temporary"];
    [super dealloc];
}

@end

/// Work for a run loop.
@interface TestWork : NSObject {
@public
    std::function<void()>* _work;
}
- (void)run;
@end

@implementation TestWork

- (void)run {
    (*_work)();
    delete _work;
}

@end

namespace Tovra::Tests::AppKit {

namespace {

using SendEvent = void (*)(id, SEL, NSEvent*);
using MakeDate = id (*)(id, SEL, NSTimeInterval);

SendEvent s_sendEvent = nullptr;
MakeDate s_makeDate = nullptr;
std::function<void(std::uint64_t)> s_onSentEvent;
std::function<void(double)> s_onDate;
std::function<void()> s_onTouch;

void WatchAndSendEvent(id application, SEL selector, NSEvent* event) {
    s_onSentEvent([event type]);
    s_sendEvent(application, selector, event);
}

id WatchAndMakeDate(id dateClass, SEL selector, NSTimeInterval seconds) {
    s_onDate(seconds);
    return s_makeDate(dateClass, selector, seconds);
}

id GetNoNotificationCenter(id, SEL) {
    return nil;
}

id TouchReplacedApplication(id, SEL) {
    s_onTouch();
    return nil;
}

template <class Function>
Function Replace(Method method, Function replacement) {
    // By way of a type that the compiler takes for any function's.
    using AnyFunction = void (*)();
    const IMP implementation = reinterpret_cast<IMP>(reinterpret_cast<AnyFunction>(replacement));
    return reinterpret_cast<Function>(reinterpret_cast<AnyFunction>(method_setImplementation(method, implementation)));
}

Frame MakeFrame(NSRect rectangle) {
    return {.x = rectangle.origin.x,
            .y = rectangle.origin.y,
            .width = rectangle.size.width,
            .height = rectangle.size.height};
}

} // namespace

Toolkit& GetToolkit() {
    static Toolkit s_toolkit;
    return s_toolkit;
}

void Quieten() {
    // It would start a daemon that stays.
    Replace(class_getClassMethod([NSDistributedNotificationCenter class], @selector(defaultCenter)),
            &GetNoNotificationCenter);
    @autoreleasepool {
        [[NSUserDefaults standardUserDefaults]
            registerDefaults:[NSDictionary dictionaryWithObjectsAndKeys:@"NO", @"GSBackHandlesWindowDecorations",
                                                                        @"YES", @"GSDontShowAppIcon", nil]];
    }
}

void OnMessage(const std::string& selector, const std::string& arguments) {
    Toolkit& toolkit = GetToolkit();
    toolkit.messages.push_back(arguments.empty() ? selector : selector + " " + arguments);
    if (selector == toolkit.raisingMessage) {
        Raise("TestException", selector);
    }
}

void* GetApplication() {
    return NSApp;
}

PanelProperties GetProperties(void* handle) {
    @autoreleasepool {
        NSPanel* const panel = static_cast<NSPanel*>(handle);
        return {.frame = MakeFrame([panel frame]),
                .styleMask = [panel styleMask],
                .level = [panel level],
                .alpha = [panel alphaValue],
                .isVisible = [panel isVisible] == YES,
                .isOpaque = [panel isOpaque] == YES,
                .hasShadow = [panel hasShadow] == YES,
                .hasClearBackground = [[panel backgroundColor] isEqual:[NSColor clearColor]] == YES,
                .isReleasedWhenClosed = [panel isReleasedWhenClosed] == YES,
                .ignoresMouseEvents = [panel ignoresMouseEvents] == YES,
                .canBecomeKey = [panel canBecomeKeyWindow] == YES,
                .canBecomeMain = [panel canBecomeMainWindow] == YES,
                .isKey = [panel isKeyWindow] == YES,
                .xWindow = reinterpret_cast<unsigned long>(
                    [GSServerForWindow(panel) windowDevice:static_cast<int>([panel windowNumber])])};
    }
}

std::vector<Frame> GetScreens() {
    std::vector<Frame> frames;
    @autoreleasepool {
        for (NSScreen* screen in [NSScreen screens]) {
            frames.push_back(MakeFrame([screen frame]));
        }
    }
    return frames;
}

void PostEvent(std::uint8_t type) {
    @autoreleasepool {
        NSEvent* event = nil;
        switch (type) {
        case NSAppKitDefined:
        case NSSystemDefined:
        case NSApplicationDefined:
        case NSPeriodic:
            event = [NSEvent otherEventWithType:type
                                       location:NSZeroPoint
                                  modifierFlags:0
                                      timestamp:0
                                   windowNumber:0
                                        context:nil
                                        subtype:0
                                          data1:0
                                          data2:0];
            break;
        case NSMouseEntered:
        case NSMouseExited:
        case NSCursorUpdate:
            event = [NSEvent enterExitEventWithType:type
                                           location:NSZeroPoint
                                      modifierFlags:0
                                          timestamp:0
                                       windowNumber:0
                                            context:nil
                                        eventNumber:0
                                     trackingNumber:0
                                           userData:nullptr];
            break;
        default:
            event = [NSEvent mouseEventWithType:type
                                       location:NSZeroPoint
                                  modifierFlags:0
                                      timestamp:0
                                   windowNumber:0
                                        context:nil
                                    eventNumber:0
                                     clickCount:1
                                       pressure:0];
            break;
        }
        [NSApp postEvent:event atStart:NO];
    }
}

void PostKeyEvent(std::uint8_t type, std::uint16_t keyCode, std::uint64_t modifierFlags) {
    @autoreleasepool {
        [NSApp postEvent:[NSEvent keyEventWithType:type
                                                location:NSZeroPoint
                                           modifierFlags:modifierFlags
                                               timestamp:0
                                            windowNumber:0
                                                 context:nil
                                              characters:@"a"
                             charactersIgnoringModifiers:@"a"
                                               isARepeat:NO
                                                 keyCode:keyCode]
                 atStart:NO];
    }
}

void PostScrollEvent(double horizontal, double vertical) {
    @autoreleasepool {
        [NSApp postEvent:[NSEvent mouseEventWithType:NSScrollWheel
                                            location:NSZeroPoint
                                       modifierFlags:0
                                           timestamp:0
                                        windowNumber:0
                                             context:nil
                                         eventNumber:0
                                          clickCount:0
                                            pressure:0
                                        buttonNumber:0
                                              deltaX:horizontal
                                              deltaY:vertical
                                              deltaZ:0]
                 atStart:NO];
    }
}

void DiscardEvents() {
    @autoreleasepool {
        while ([NSApp nextEventMatchingMask:NSEventMaskAny
                                  untilDate:[NSDate distantPast]
                                     inMode:NSDefaultRunLoopMode
                                    dequeue:YES] != nil) {
        }
    }
}

void WatchSentEvents(const std::function<void(std::uint64_t type)>& onEvent) {
    s_onSentEvent = onEvent;
    s_sendEvent = Replace(class_getInstanceMethod([NSApplication class], @selector(sendEvent:)), &WatchAndSendEvent);
}

void WatchDates(const std::function<void(double seconds)>& onDate) {
    s_onDate = onDate;
    s_makeDate =
        Replace(class_getClassMethod([NSDate class], @selector(dateWithTimeIntervalSinceNow:)), &WatchAndMakeDate);
}

void RunInMainLoop(double seconds, const std::function<void()>& work) {
    @autoreleasepool {
        TestWork* const target = [[TestWork alloc] init];
        target->_work = new std::function<void()>(work);
        [target performSelector:@selector(run) withObject:nil afterDelay:seconds];
        [target release];
    }
}

void ReplaceApplication(const std::function<void()>& onTouch) {
    s_onTouch = onTouch;
    Replace(class_getClassMethod([NSApplication class], @selector(sharedApplication)), &TouchReplacedApplication);
}

void MakeTemporary() {
    [[[TestTemporary alloc] init] autorelease];
}

void Raise(const std::string& name, const std::string& reason) {
    [NSException raise:[NSString stringWithUTF8String:name.c_str()] format:@"%s", reason.c_str()];
}

} // namespace Tovra::Tests::AppKit
