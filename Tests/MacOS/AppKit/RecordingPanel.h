#pragma once

#import <AppKit/AppKit.h>

/// A panel that records what the host asks of it, see `Toolkit`. On another thread than the main one
/// macOS would not forgive that.
@interface RecordingPanel : NSPanel
@end
