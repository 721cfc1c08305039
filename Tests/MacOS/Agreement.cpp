// Holds the declarations that stand for those of macOS on Linux against the SDK, for Scripts/check-macos: a function of
// another type, another number or another layout does not compile.

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <IOKit/graphics/IOGraphicsTypes.h>
#include <dispatch/dispatch.h>
#include <libproc.h>
#include <mach-o/dyld.h>
#include <sys/resource.h>
#include <sys/sysctl.h>

// By quotes, since the names between brackets are the SDK's here.
#include "Headers/ApplicationServices/ApplicationServices.h"
#include "Headers/CoreFoundation/CoreFoundation.h"
#include "Headers/CoreGraphics/CoreGraphics.h"
#include "Headers/IOKit/graphics/IOGraphicsTypes.h"
#include "Headers/dispatch/dispatch.h"
#include "Headers/libproc.h"
#include "Headers/mach-o/dyld.h"
#include "Headers/sys/sysctl.h"
