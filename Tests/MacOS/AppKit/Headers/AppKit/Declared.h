#pragma once

// The part of AppKit that GNUstep lacks or that tests write out as numbers. Behind the SDK's headers it compares, see
// MacOS/Declaring.h.

#include <MacOS/Declaring.h>

#include <type_traits>

/// A number that GNUstep has as well.
#define TOVRA_SHARED_CONSTANT(name, number) static_assert(static_cast<unsigned long>(name) == (number))

TOVRA_CONSTANT(NSEventType, NSEventTypeLeftMouseDown, 1);
TOVRA_CONSTANT(NSEventType, NSEventTypeLeftMouseUp, 2);
TOVRA_CONSTANT(NSEventType, NSEventTypeRightMouseDown, 3);
TOVRA_CONSTANT(NSEventType, NSEventTypeRightMouseUp, 4);
TOVRA_CONSTANT(NSEventType, NSEventTypeMouseMoved, 5);
TOVRA_CONSTANT(NSEventType, NSEventTypeLeftMouseDragged, 6);
TOVRA_CONSTANT(NSEventType, NSEventTypeRightMouseDragged, 7);
TOVRA_CONSTANT(NSEventType, NSEventTypeKeyDown, 10);
TOVRA_CONSTANT(NSEventType, NSEventTypeKeyUp, 11);
TOVRA_CONSTANT(NSEventType, NSEventTypeFlagsChanged, 12);
TOVRA_CONSTANT(NSEventType, NSEventTypeScrollWheel, 22);
TOVRA_CONSTANT(NSEventType, NSEventTypeOtherMouseDown, 25);
TOVRA_CONSTANT(NSEventType, NSEventTypeOtherMouseUp, 26);
TOVRA_CONSTANT(NSEventType, NSEventTypeOtherMouseDragged, 27);

TOVRA_CONSTANT(NSEventModifierFlags, NSEventModifierFlagShift, 1 << 17);
TOVRA_CONSTANT(NSEventModifierFlags, NSEventModifierFlagControl, 1 << 18);
TOVRA_CONSTANT(NSEventModifierFlags, NSEventModifierFlagOption, 1 << 19);
TOVRA_CONSTANT(NSEventModifierFlags, NSEventModifierFlagCommand, 1 << 20);

#ifndef __APPLE__
using NSWindowSharingType = NSUInteger;
#endif
TOVRA_CONSTANT(NSEventMask, NSEventMaskAny, NSUIntegerMax);

TOVRA_SHARED_CONSTANT(NSWindowStyleMaskNonactivatingPanel, 128);
TOVRA_SHARED_CONSTANT(NSBackingStoreBuffered, 2);
TOVRA_CONSTANT(NSWindowSharingType, NSWindowSharingNone, 0);
TOVRA_CONSTANT(NSWindowSharingType, NSWindowSharingReadOnly, 1);

TOVRA_SHARED_CONSTANT(NSApplicationActivateAllWindows, 1);
TOVRA_SHARED_CONSTANT(NSApplicationActivateIgnoringOtherApps, 2);

#ifndef __APPLE__
// GNUstep's OpenGL classes choose no profile.
typedef uint32_t TestOpenGLPixelFormatAttribute;
#define NSOpenGLPixelFormatAttribute TestOpenGLPixelFormatAttribute
typedef NSInteger TestOpenGLContextParameter;
#define NSOpenGLContextParameter TestOpenGLContextParameter
#endif
TOVRA_SHARED_CONSTANT(NSOpenGLPFADoubleBuffer, 5);
TOVRA_SHARED_CONSTANT(NSOpenGLPFAColorSize, 8);
TOVRA_SHARED_CONSTANT(NSOpenGLPFAAlphaSize, 11);
TOVRA_SHARED_CONSTANT(NSOpenGLPFAAccelerated, 73);
TOVRA_CONSTANT(NSOpenGLPixelFormatAttribute, NSOpenGLPFAOpenGLProfile, 99);
TOVRA_CONSTANT(NSOpenGLPixelFormatAttribute, NSOpenGLProfileVersion3_2Core, 0x3200);
TOVRA_CONSTANT(NSOpenGLContextParameter, NSOpenGLContextParameterSurfaceOpacity, 236);
static_assert(std::is_same_v<NSOpenGLPixelFormatAttribute, uint32_t>);
