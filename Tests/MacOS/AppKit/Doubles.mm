// What the macOS host uses and GNUstep lacks.

#include "OpenGlSurface.h"
#include "Toolkit.h"

#import <AppKit/AppKit.h>
#import <GNUstepGUI/GSDisplayServer.h>

#include <algorithm>
#include <format>
#include <vector>

using Tovra::Tests::AppKit::GetToolkit;
using Tovra::Tests::AppKit::MakeTemporary;
using Tovra::Tests::AppKit::OnMessage;
using Tovra::Tests::AppKit::OpenGlSurface;

/// Read by AddressSanitizer at the program's start. The runtime and GNUstep keep what they have made until the end, and
/// to tell their leaks from others takes longer than any test may; the doubles count the host's objects.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's own name.
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

@implementation NSEvent (Scrolling)

- (CGFloat)scrollingDeltaY {
    // Raises an exception for an event of another type, as on macOS.
    return [self deltaY];
}

@end

@implementation TestRunningApplication

+ (TestRunningApplication*)runningApplicationWithProcessIdentifier:(pid_t)processId {
    OnMessage("runningApplicationWithProcessIdentifier:", std::to_string(processId));
    MakeTemporary();
    return std::ranges::count(GetToolkit().processIds, processId) != 0 ? [[[self alloc] init] autorelease] : nil;
}

- (BOOL)activateWithOptions:(NSApplicationActivationOptions)options {
    OnMessage("activateWithOptions:", std::to_string(options));
    return NO;
}

@end

@implementation TestOpenGLPixelFormat

- (instancetype)initWithAttributes:(const TestOpenGLPixelFormatAttribute*)attributes {
    std::string list;
    for (; *attributes != 0; ++attributes) {
        list += std::to_string(*attributes) + " ";
    }
    OnMessage("initWithAttributes:", list + "0");
    MakeTemporary();
    if (!GetToolkit().hasPixelFormats) {
        [super dealloc];
        return nil;
    }
    ++GetToolkit().objects["PixelFormat"];
    return [super init];
}

- (void)dealloc {
    --GetToolkit().objects["PixelFormat"];
    [super dealloc];
}

@end

@implementation TestOpenGLContext

- (instancetype)initWithFormat:(TestOpenGLPixelFormat*)format shareContext:(TestOpenGLContext*)context {
    OnMessage("initWithFormat:shareContext:",
              std::format("{} {}", format == nil ? "nil" : "format", context == nil ? "nil" : "context"));
    MakeTemporary();
    if (format == nil) {
        // macOS accepts no null format.
        [NSException raise:NSInvalidArgumentException format:@"The pixel format is nil."];
    }
    if (!GetToolkit().hasContexts) {
        [super dealloc];
        return nil;
    }
    ++GetToolkit().objects["Context"];
    return [super init];
}

- (void)dealloc {
    --GetToolkit().objects["Context"];
    delete static_cast<OpenGlSurface*>(_surface);
    [super dealloc];
}

- (void)setValues:(const GLint*)values forParameter:(TestOpenGLContextParameter)parameter {
    OnMessage("setValues:forParameter:", std::format("{} {}", *values, parameter));
    MakeTemporary();
}

- (void)setView:(NSView*)view {
    OnMessage("setView:", [[view window] contentView] == view ? "contentView" : "another");
    MakeTemporary();
    NSWindow* const window = [view window];
    GSDisplayServer* const server = GSServerForWindow(window);
    const NSSize size = [view frame].size;
    _view = view;
    _surface = new OpenGlSurface(
        [server serverDevice],
        reinterpret_cast<unsigned long>([server windowDevice:static_cast<int>([window windowNumber])]),
        static_cast<unsigned int>(size.width), static_cast<unsigned int>(size.height));
}

- (void)makeCurrentContext {
    OnMessage("makeCurrentContext");
    MakeTemporary();
    static_cast<OpenGlSurface*>(_surface)->MakeCurrent();
}

- (void)clearDrawable {
    OnMessage("clearDrawable");
    MakeTemporary();
    static_cast<OpenGlSurface*>(_surface)->Detach();
}

- (void)flushBuffer {
    OnMessage("flushBuffer");
    MakeTemporary();
    static_cast<OpenGlSurface*>(_surface)->SwapBuffers();
}

- (void)update {
    OnMessage("update");
    MakeTemporary();
    const NSSize size = [_view frame].size;
    static_cast<OpenGlSurface*>(_surface)->Resize(static_cast<unsigned int>(size.width),
                                                  static_cast<unsigned int>(size.height));
}

@end

/// A block that the main loop runs.
@interface TestBlock : NSObject {
@public
    dispatch_block_t _block;
}
- (void)run;
@end

@implementation TestBlock

- (void)run {
    _block();
}

@end

dispatch_queue_t dispatch_get_main_queue() {
    // Only its address is used.
    static char s_mainQueue = 0;
    return reinterpret_cast<dispatch_queue_t>(&s_mainQueue);
}

void dispatch_sync(dispatch_queue_t queue, __attribute__((noescape)) dispatch_block_t block) {
    if (queue != dispatch_get_main_queue() || [NSThread isMainThread] == YES) {
        // On macOS this is another queue, or a deadlock.
        std::abort();
    }
    GSRegisterCurrentThread();
    @autoreleasepool {
        TestBlock* const work = [[[TestBlock alloc] init] autorelease];
        work->_block = block;
        [work performSelectorOnMainThread:@selector(run) withObject:nil waitUntilDone:YES];
    }
    GSUnregisterCurrentThread();
}
