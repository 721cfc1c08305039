#pragma once

#import <AppKit/AppKit.h>

/// A panel that records what the host asks of it, see `Toolkit`.
@interface RecordingPanel : NSPanel
@end
