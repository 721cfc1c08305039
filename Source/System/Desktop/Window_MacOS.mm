#include <System/Desktop/PanelRules.h>
#include <System/Desktop/WindowPlatformNative.h>
#include <System/Device/Display/DisplayCache.h>

#import <AppKit/AppKit.h>

/// A panel that can be on top without taking the keyboard.
@interface TovraPanel : NSPanel
@property(nonatomic) BOOL shouldAllowFocus;
@end

@implementation TovraPanel

- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)isDeferred {
    self = [super initWithContentRect:contentRect styleMask:style backing:backing defer:isDeferred];
    if (self != nil) {
        _shouldAllowFocus = NO;
    }
    return self;
}

- (BOOL)canBecomeKeyWindow {
    return self.shouldAllowFocus;
}

- (BOOL)canBecomeMainWindow {
    return self.shouldAllowFocus;
}

@end

// Private interfaces of the window server.
extern "C" {
int _CGSDefaultConnection(void);
CGError CGSSetConnectionProperty(int connection, int targetConnection, CFStringRef key, CFTypeRef value);
}

namespace Tovra::System::Desktop {

namespace {

/// Above the main menu and the status items.
constexpr NSInteger panelLevel = 26;

TovraPanel* GetPanel(void* handle) {
    return static_cast<TovraPanel*>(handle);
}

/// The height for converting coordinates, whichever display a panel is on.
double GetFirstScreenHeight() {
    return [[[NSScreen screens] firstObject] frame].size.height;
}

} // namespace

bool WindowInitializePlatformNative(void* userInfo) {
    // Lets the process change the cursor while it is not the active application.
    const CFStringRef property =
        CFStringCreateWithCString(nullptr, "SetsCursorInBackground", kCFStringEncodingMacRoman);
    if (property != nullptr) {
        CGSSetConnectionProperty(_CGSDefaultConnection(), _CGSDefaultConnection(), property, kCFBooleanTrue);
        CFRelease(property);
    }
    CGDisplayRegisterReconfigurationCallback(Device::Display::DisplayReconfigurationCallback, userInfo);
    return true;
}

void* WindowCreatePlatformNative(float x, float y, float width, float height) {
    void* handle = nullptr;
    RunOnMainThread([&handle, x, y, width, height] {
        const double flippedY = FlipVertically(GetFirstScreenHeight(), y, height);
        // If a later step raises an exception, the pool releases the panel.
        TovraPanel* const panel = [[[TovraPanel alloc] initWithContentRect:NSMakeRect(x, flippedY, width, height)
                                                                 styleMask:NSWindowStyleMaskNonactivatingPanel
                                                                   backing:NSBackingStoreBuffered
                                                                     defer:NO] autorelease];
        [panel setOpaque:NO];
        [panel setHasShadow:NO];
        [panel setBackgroundColor:[NSColor clearColor]];
        [panel setLevel:panelLevel];
        [panel orderFrontRegardless];
        handle = [panel retain];
    });
    return handle;
}

bool WindowUpdatePlatformNative(Window* window, Window::State state) {
    return UpdatePanel(*window, state);
}

void WindowSetSizePlatformNative(void* handle, float width, float height) {
    RunOnMainThread([panel = GetPanel(handle), width, height] {
        const NSPoint origin = [panel frame].origin;
        [panel setFrame:NSMakeRect(origin.x, origin.y, width, height) display:NO];
    });
}

void WindowSetPositionPlatformNative(void* handle, float x, float y) {
    RunOnMainThread([panel = GetPanel(handle), x, y] {
        const NSSize size = [panel frame].size;
        const double flippedY = FlipVertically(GetFirstScreenHeight(), y, size.height);
        [panel setFrame:NSMakeRect(x, flippedY, size.width, size.height) display:NO];
    });
}

void WindowSetRectanglePlatformNative(void* handle, float x, float y, float width, float height) {
    RunOnMainThread([panel = GetPanel(handle), x, y, width, height] {
        const double flippedY = FlipVertically(GetFirstScreenHeight(), y, height);
        [panel setFrame:NSMakeRect(x, flippedY, width, height) display:NO];
    });
}

void WindowShowPlatformNative(void* handle) {
    RunOnMainThread([panel = GetPanel(handle)] {
        [panel setIsVisible:YES];
        [panel setAlphaValue:1.0];
    });
}

void WindowHidePlatformNative(void* handle) {
    RunOnMainThread([panel = GetPanel(handle)] { [panel setAlphaValue:0.0]; });
}

std::int32_t WindowShowCursorPlatformNative() {
    return CGDisplayShowCursor(CGMainDisplayID());
}

std::int32_t WindowHideCursorPlatformNative() {
    return CGDisplayHideCursor(CGMainDisplayID());
}

void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough) {
    RunOnMainThread([panel = GetPanel(handle), passthrough] {
        [panel setIgnoresMouseEvents:passthrough];
        [panel setShouldAllowFocus:!passthrough];
    });
}

void WindowExcludeFromCapturePlatformNative(void* handle, bool exclude) {
    RunOnMainThread([panel = GetPanel(handle), exclude] {
        [panel setSharingType:exclude ? NSWindowSharingNone : NSWindowSharingReadOnly];
    });
}

void WindowToFrontPlatformNative(void* handle) {
    RunOnMainThread([panel = GetPanel(handle)] {
        if ([panel shouldAllowFocus]) {
            [panel makeKeyAndOrderFront:nil];
        } else {
            [panel orderFrontRegardless];
        }
    });
}

void WindowDestroyPlatformNative(void* handle) {
    // Intentional: closed but not released; whoever still has the handle may close it again.
    RunOnMainThread([panel = GetPanel(handle)] { [panel close]; });
}

} // namespace Tovra::System::Desktop
