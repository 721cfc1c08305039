#pragma once

#include <MacOS/Declaring.h>
#include <sys/types.h>

#include <cstdint>

using Boolean = unsigned char;
using UInt8 = unsigned char;
using UInt32 = unsigned int;
using SInt32 = int;
using CFIndex = long;
using CFTypeID = unsigned long;

using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFArrayRef = const struct __CFArray*;
using CFBooleanRef = const struct __CFBoolean*;
using CFBundleRef = struct __CFBundle*;
using CFDictionaryRef = const struct __CFDictionary*;
using CFNumberRef = const struct __CFNumber*;
using CFStringRef = const struct __CFString*;
using CFURLRef = const struct __CFURL*;

using CFStringEncoding = UInt32;
TOVRA_CONSTANT(CFStringEncoding, kCFStringEncodingMacRoman, 0);
TOVRA_CONSTANT(CFStringEncoding, kCFStringEncodingUTF8, 0x08000100);

TOVRA_ENUM(CFNumberType, CFIndex);
TOVRA_CONSTANT(CFNumberType, kCFNumberSInt32Type, 3);
TOVRA_CONSTANT(CFNumberType, kCFNumberIntType, 9);
TOVRA_CONSTANT(CFNumberType, kCFNumberDoubleType, 13);

using CGFloat = double;

#define TOVRA_FIELDS_OF_CGPoint(FIELD, PADDING) FIELD(CGPoint, CGFloat, x) FIELD(CGPoint, CGFloat, y)
TOVRA_STRUCTURE(CGPoint);

#define TOVRA_FIELDS_OF_CGSize(FIELD, PADDING) FIELD(CGSize, CGFloat, width) FIELD(CGSize, CGFloat, height)
TOVRA_STRUCTURE(CGSize);

#define TOVRA_FIELDS_OF_CGRect(FIELD, PADDING) FIELD(CGRect, ::CGPoint, origin) FIELD(CGRect, ::CGSize, size)
TOVRA_STRUCTURE(CGRect);

// The compiler makes constant strings on macOS.
#ifndef CFSTR
#define CFSTR(text) __CFStringMakeConstantString(text)
#endif

extern "C" {
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFStringRef kCFBundleNameKey;

CFTypeRef CFRetain(CFTypeRef reference);
void CFRelease(CFTypeRef reference);
CFTypeID CFGetTypeID(CFTypeRef reference);

CFTypeID CFArrayGetTypeID();
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFTypeID CFBooleanGetTypeID();
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url);
CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);

CFTypeID CFDictionaryGetTypeID();
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);

CFTypeID CFNumberGetTypeID();
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFStringRef __CFStringMakeConstantString(const char* text);
CFTypeID CFStringGetTypeID();
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory);
}
