#import "RecordingPanel.h"

#include "Toolkit.h"

#include <MacOS/Doubles/Calls.h>

#include <format>

using Tovra::Tests::AppKit::GetToolkit;
using Tovra::Tests::AppKit::OnMessage;

namespace {

/// Messages that the toolkit sends while it handles one of the host's are not recorded.
class MessageFromHost {
public:
    explicit MessageFromHost(const std::string& selector, const std::string& arguments = "") {
        if ([NSThread isMainThread] == NO) {
            Tovra::Tests::Doubles::ReportMisuse("a panel away from the main thread: " + selector);
        }
        if (s_depth == 0) {
            // Before it counts, as it may raise an exception.
            OnMessage(selector, arguments);
        }
        ++s_depth;
    }
    ~MessageFromHost() { --s_depth; }
    MessageFromHost(const MessageFromHost&) = delete;
    MessageFromHost& operator=(const MessageFromHost&) = delete;

private:
    static inline int s_depth = 0;
};

std::string ToText(BOOL value) {
    return value == YES ? "YES" : "NO";
}

std::string ToText(NSRect rectangle) {
    return std::format("{} {} {} {}", rectangle.origin.x, rectangle.origin.y, rectangle.size.width,
                       rectangle.size.height);
}

} // namespace

@implementation RecordingPanel

- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSUInteger)style
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)isDeferred {
    const MessageFromHost message(
        "initWithContentRect:styleMask:backing:defer:",
        std::format("{} {} {} {}", ToText(contentRect), style, static_cast<int>(backing), ToText(isDeferred)));
    self = [super initWithContentRect:contentRect styleMask:style backing:backing defer:isDeferred];
    if (self != nil) {
        ++GetToolkit().objects["Panel"];
    }
    return self;
}

- (void)dealloc {
    --GetToolkit().objects["Panel"];
    const MessageFromHost message("dealloc");
    [super dealloc];
}

- (void)setOpaque:(BOOL)isOpaque {
    const MessageFromHost message("setOpaque:", ToText(isOpaque));
    [super setOpaque:isOpaque];
}

- (void)setHasShadow:(BOOL)hasShadow {
    const MessageFromHost message("setHasShadow:", ToText(hasShadow));
    [super setHasShadow:hasShadow];
}

- (void)setBackgroundColor:(NSColor*)color {
    const MessageFromHost message("setBackgroundColor:",
                                  [color isEqual:[NSColor clearColor]] == YES ? "clearColor" : "another");
    [super setBackgroundColor:color];
}

- (void)setLevel:(NSInteger)level {
    const MessageFromHost message("setLevel:", std::to_string(level));
    [super setLevel:level];
}

- (void)orderFrontRegardless {
    const MessageFromHost message("orderFrontRegardless");
    [super orderFrontRegardless];
}

- (void)makeKeyAndOrderFront:(id)sender {
    const MessageFromHost message("makeKeyAndOrderFront:", sender == nil ? "nil" : "a sender");
    [super makeKeyAndOrderFront:sender];
}

- (void)setFrame:(NSRect)frame display:(BOOL)isDisplayed {
    const MessageFromHost message("setFrame:display:", ToText(frame) + " " + ToText(isDisplayed));
    [super setFrame:frame display:isDisplayed];
}

- (void)setIsVisible:(BOOL)isVisible {
    const MessageFromHost message("setIsVisible:", ToText(isVisible));
    [super setIsVisible:isVisible];
}

- (void)setAlphaValue:(CGFloat)alpha {
    const MessageFromHost message("setAlphaValue:", std::format("{}", alpha));
    [super setAlphaValue:alpha];
}

- (void)setIgnoresMouseEvents:(BOOL)ignoresMouseEvents {
    const MessageFromHost message("setIgnoresMouseEvents:", ToText(ignoresMouseEvents));
    [super setIgnoresMouseEvents:ignoresMouseEvents];
}

- (void)setSharingType:(NSWindowSharingType)type {
    const MessageFromHost message("setSharingType:", std::to_string(type));
}

- (void)close {
    const MessageFromHost message("close");
    [super close];
}

@end
