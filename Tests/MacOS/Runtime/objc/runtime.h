#pragma once

// Apart from the other headers, so that an Objective-C runtime of its own can take its place.

using Class = struct objc_class*;
using SEL = struct objc_selector*;
using id = struct objc_object*;

extern "C" {
Class objc_getClass(const char* name);
SEL sel_getUid(const char* name);
}
