#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <MacOS/Declaring.h>

#include <cstddef>
#include <cstdint>

TOVRA_ENUM(CGError, std::int32_t);
TOVRA_CONSTANT(CGError, kCGErrorSuccess, 0);
TOVRA_CONSTANT(CGError, kCGErrorFailure, 1000);

extern "C" {
extern const CGPoint CGPointZero;
extern const CGSize CGSizeZero;
extern const CGRect CGRectNull;

bool CGRectMakeWithDictionaryRepresentation(CFDictionaryRef dictionary, CGRect* rectangle);
}

TOVRA_INLINE_FUNCTION(CGPoint, CGPointMake, (CGFloat x, CGFloat y), { return {x, y}; });

// Displays.

using CGDirectDisplayID = std::uint32_t;
using CGDisplayModeRef = struct CGDisplayMode*;
using CGDisplayChangeSummaryFlags = std::uint32_t;
TOVRA_CONSTANT(CGDisplayChangeSummaryFlags, kCGDisplayBeginConfigurationFlag, 1 << 0);
TOVRA_CONSTANT(CGDisplayChangeSummaryFlags, kCGDisplayAddFlag, 1 << 4);
TOVRA_CONSTANT(CGDisplayChangeSummaryFlags, kCGDisplayRemoveFlag, 1 << 5);
TOVRA_CONSTANT(CGDisplayChangeSummaryFlags, kCGDisplayDesktopShapeChangedFlag, 1 << 12);

extern "C" {
using CGDisplayReconfigurationCallBack = void (*)(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags,
                                                  void* userInfo);

CGDirectDisplayID CGMainDisplayID();
CGError CGGetDisplaysWithPoint(CGPoint point, std::uint32_t capacity, CGDirectDisplayID* displays,
                               std::uint32_t* count);
CGError CGGetActiveDisplayList(std::uint32_t capacity, CGDirectDisplayID* displays, std::uint32_t* count);
CGRect CGDisplayBounds(CGDirectDisplayID display);
std::size_t CGDisplayPixelsWide(CGDirectDisplayID display);
std::size_t CGDisplayPixelsHigh(CGDirectDisplayID display);
CFArrayRef CGDisplayCopyAllDisplayModes(CGDirectDisplayID display, CFDictionaryRef options);
CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display);
CFTypeID CGDisplayModeGetTypeID();
std::size_t CGDisplayModeGetWidth(CGDisplayModeRef mode);
std::size_t CGDisplayModeGetHeight(CGDisplayModeRef mode);
double CGDisplayModeGetRefreshRate(CGDisplayModeRef mode);
std::uint32_t CGDisplayModeGetIOFlags(CGDisplayModeRef mode);
CGError CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo);
CGError CGDisplayShowCursor(CGDirectDisplayID display);
CGError CGDisplayHideCursor(CGDirectDisplayID display);
}

// Events.

using CGEventRef = struct __CGEvent*;
using CGEventSourceRef = struct __CGEventSource*;

TOVRA_ENUM(CGEventType, std::uint32_t);
TOVRA_CONSTANT(CGEventType, kCGEventNull, 0);
TOVRA_CONSTANT(CGEventType, kCGEventLeftMouseDown, 1);
TOVRA_CONSTANT(CGEventType, kCGEventLeftMouseUp, 2);
TOVRA_CONSTANT(CGEventType, kCGEventRightMouseDown, 3);
TOVRA_CONSTANT(CGEventType, kCGEventRightMouseUp, 4);
TOVRA_CONSTANT(CGEventType, kCGEventMouseMoved, 5);
TOVRA_CONSTANT(CGEventType, kCGEventScrollWheel, 22);
TOVRA_CONSTANT(CGEventType, kCGEventOtherMouseDown, 25);
TOVRA_CONSTANT(CGEventType, kCGEventOtherMouseUp, 26);

TOVRA_ENUM(CGMouseButton, std::uint32_t);

TOVRA_ENUM(CGScrollEventUnit, std::uint32_t);
TOVRA_CONSTANT(CGScrollEventUnit, kCGScrollEventUnitPixel, 0);
TOVRA_CONSTANT(CGScrollEventUnit, kCGScrollEventUnitLine, 1);

TOVRA_ENUM(CGEventField, std::uint32_t);
TOVRA_CONSTANT(CGEventField, kCGMouseEventClickState, 1);

TOVRA_ENUM(CGEventTapLocation, std::uint32_t);
TOVRA_CONSTANT(CGEventTapLocation, kCGHIDEventTap, 0);

extern "C" {
CGEventRef CGEventCreate(CGEventSourceRef source);
CGEventRef CGEventCreateMouseEvent(CGEventSourceRef source, CGEventType type, CGPoint position, CGMouseButton button);
CGEventRef CGEventCreateScrollWheelEvent(CGEventSourceRef source, CGScrollEventUnit unit, std::uint32_t wheelCount,
                                         std::int32_t wheel1, ...);
CGPoint CGEventGetLocation(CGEventRef event);
void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, std::int64_t value);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);
}

// Windows.

using CGWindowID = std::uint32_t;
TOVRA_CONSTANT(CGWindowID, kCGNullWindowID, 0);

using CGWindowListOption = std::uint32_t;
TOVRA_CONSTANT(CGWindowListOption, kCGWindowListOptionAll, 0);
TOVRA_CONSTANT(CGWindowListOption, kCGWindowListOptionOnScreenOnly, 1 << 0);
TOVRA_CONSTANT(CGWindowListOption, kCGWindowListOptionIncludingWindow, 1 << 3);

extern "C" {
extern const CFStringRef kCGWindowNumber;
extern const CFStringRef kCGWindowOwnerPID;
extern const CFStringRef kCGWindowLayer;
extern const CFStringRef kCGWindowBounds;
extern const CFStringRef kCGWindowName;
extern const CFStringRef kCGWindowOwnerName;
extern const CFStringRef kCGWindowIsOnscreen;

CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID window);
}
