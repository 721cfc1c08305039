#pragma once

// AppKit as the macOS host's files see it on Linux: GNUstep's, the names that GNUstep lacks, and doubles of the classes
// of which GNUstep has no more than the names.

#include_next <AppKit/AppKit.h>
// The rest stands on it.
#include <AppKit/Declared.h>
#include <ApplicationServices/ApplicationServices.h>
#include <OpenGL/gl3.h>
#include <dispatch/dispatch.h>

/// GNUstep has the distance under its older name.
@interface NSEvent (Scrolling)
- (CGFloat)scrollingDeltaY;
@end

/// X servers let every client read every window, so it has no effect.
@interface NSWindow (Sharing)
- (void)setSharingType:(NSWindowSharingType)type;
@end

/// GNUstep knows of no running application.
@interface TestRunningApplication : NSObject
+ (TestRunningApplication*)runningApplicationWithProcessIdentifier:(pid_t)processId;
- (BOOL)activateWithOptions:(NSApplicationActivationOptions)options;
@end
#define NSRunningApplication TestRunningApplication

@interface TestOpenGLPixelFormat : NSObject
- (instancetype)initWithAttributes:(const TestOpenGLPixelFormatAttribute*)attributes;
@end
#define NSOpenGLPixelFormat TestOpenGLPixelFormat

@interface TestOpenGLContext : NSObject {
    void* _surface;
    NSView* _view;
}
- (instancetype)initWithFormat:(TestOpenGLPixelFormat*)format shareContext:(TestOpenGLContext*)context;
- (void)setValues:(const GLint*)values forParameter:(TestOpenGLContextParameter)parameter;
- (void)setView:(NSView*)view;
- (void)makeCurrentContext;
- (void)clearDrawable;
- (void)flushBuffer;
- (void)update;
@end
#define NSOpenGLContext TestOpenGLContext
