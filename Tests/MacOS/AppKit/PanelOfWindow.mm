// The runtime that Debian's GNUstep uses gives a property neither its instance variable nor its accessors.
#pragma clang diagnostic ignored "-Wobjc-property-implementation"

#import "RecordingPanel.h"

#define NSPanel                                                                                                        \
    RecordingPanel {                                                                                                   \
        BOOL _shouldAllowFocus;                                                                                        \
    }
#include "../../../Source/System/Desktop/Window_MacOS.mm"

@implementation TovraPanel (Accessors)

- (BOOL)shouldAllowFocus {
    return _shouldAllowFocus;
}

- (void)setShouldAllowFocus:(BOOL)shouldAllowFocus {
    _shouldAllowFocus = shouldAllowFocus;
}

@end
