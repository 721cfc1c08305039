// Holds the numbers of AppKit that stand for those of macOS on Linux against the SDK, as MacOS/Agreement.cpp does.

// OpenGL is deprecated on this platform.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

#import <AppKit/AppKit.h>

// By quotes, since the name between brackets is the SDK's here.
#include "Headers/AppKit/Declared.h"
