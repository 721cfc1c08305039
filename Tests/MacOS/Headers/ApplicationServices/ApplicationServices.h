#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <MacOS/Declaring.h>
#include <sys/types.h>

#include <cstdint>

// Processes.

using OSErr = short;
using OSStatus = SInt32;

#define TOVRA_FIELDS_OF_ProcessSerialNumber(FIELD, PADDING)                                                            \
    FIELD(ProcessSerialNumber, UInt32, highLongOfPSN) FIELD(ProcessSerialNumber, UInt32, lowLongOfPSN)
#pragma pack(push, 2)
TOVRA_STRUCTURE(ProcessSerialNumber);
#pragma pack(pop)

extern "C" {
OSErr GetFrontProcess(ProcessSerialNumber* process);
OSStatus GetProcessPID(const ProcessSerialNumber* process, pid_t* id);
}

// Accessibility.

using AXUIElementRef = const struct __AXUIElement*;
using AXValueRef = const struct __AXValue*;

TOVRA_ENUM(AXError, SInt32);
TOVRA_CONSTANT(AXError, kAXErrorSuccess, 0);
TOVRA_CONSTANT(AXError, kAXErrorFailure, -25200);
TOVRA_CONSTANT(AXError, kAXErrorIllegalArgument, -25201);
TOVRA_CONSTANT(AXError, kAXErrorCannotComplete, -25204);
TOVRA_CONSTANT(AXError, kAXErrorNoValue, -25212);

TOVRA_ENUM(AXValueType, UInt32);
TOVRA_CONSTANT(AXValueType, kAXValueTypeCGPoint, 1);
TOVRA_CONSTANT(AXValueType, kAXValueTypeCGSize, 2);

extern "C" {
CFTypeID AXUIElementGetTypeID();
AXUIElementRef AXUIElementCreateApplication(pid_t processId);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef* value);
AXError AXUIElementCopyAttributeValues(AXUIElementRef element, CFStringRef attribute, CFIndex index, CFIndex count,
                                       CFArrayRef* values);
AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value);
AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action);

CFTypeID AXValueGetTypeID();
Boolean AXValueGetValue(AXValueRef value, AXValueType type, void* geometry);
}
