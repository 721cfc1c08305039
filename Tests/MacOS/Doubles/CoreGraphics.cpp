#include <MacOS/Doubles/CoreGraphics.h>

#include <algorithm>
#include <cstdarg>
#include <limits>
#include <span>

using namespace Tovra::Tests::Doubles;

namespace Tovra::Tests::Doubles {

Dictionary MakeBounds(double x, double y, double width, double height) {
    return {{"X", x}, {"Y", y}, {"Width", width}, {"Height", height}};
}

} // namespace Tovra::Tests::Doubles

namespace {

const Display* FindDisplay(CGDirectDisplayID id) {
    const auto found = std::ranges::find(displays.all, id, &Display::id);
    return found == displays.all.end() ? nullptr : &*found;
}

Object& MakeMode(const Mode& mode) {
    Object& object = Make(Kind::DisplayMode);
    object.flags = mode.flags;
    object.width = mode.width;
    object.height = mode.height;
    object.refreshRate = mode.refreshRate;
    return object;
}

/// Hands out display ids as the system does: as many as there is room for.
CGError CopyIds(const Call& call, const std::vector<CGDirectDisplayID>& ids, std::uint32_t capacity,
                CGDirectDisplayID* to, std::uint32_t* count) {
    TouchEnd(to, capacity * sizeof(*to));
    if (call.Fails()) {
        std::ranges::for_each(std::span(to, capacity), Spoil<CGDirectDisplayID>);
        Spoil(*count);
        return kCGErrorFailure;
    }
    *count = std::min(capacity, static_cast<std::uint32_t>(ids.size()));
    std::ranges::copy(std::span(ids).first(*count), to);
    return kCGErrorSuccess;
}

bool Contains(const CGRect& bounds, CGPoint point) {
    return bounds.origin.x <= point.x && point.x < bounds.origin.x + bounds.size.width && bounds.origin.y <= point.y &&
           point.y < bounds.origin.y + bounds.size.height;
}

/// The value of an entry of the window list, or null.
const Value* FindValue(const Dictionary& entry, const char* key) {
    const auto found = entry.find(key);
    return found == entry.end() ? nullptr : &found->second;
}

bool IsListed(const Dictionary& entry, CGWindowListOption option, CGWindowID window) {
    if (option == kCGWindowListOptionOnScreenOnly) {
        const Value* const isOnScreen = FindValue(entry, "kCGWindowIsOnscreen");
        const bool* const flag = isOnScreen == nullptr ? nullptr : std::get_if<bool>(isOnScreen);
        return isOnScreen != nullptr && (flag == nullptr || *flag);
    }
    if (option == kCGWindowListOptionIncludingWindow) {
        const Value* const number = FindValue(entry, "kCGWindowNumber");
        return number != nullptr && *number == Value(std::int64_t{window});
    }
    return true;
}

CFStringRef MakeKey(const char* name) {
    return ToReference<CFStringRef>(GetConstantString(name));
}

} // namespace

extern "C" {

const CGPoint CGPointZero = {0, 0};
const CGSize CGSizeZero = {0, 0};
const CGRect CGRectNull = {{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()}, {0, 0}};

// Displays.

CGDirectDisplayID CGMainDisplayID() {
    const Call call("CGMainDisplayID");
    return call.Fails() || displays.all.empty() ? 0 : displays.all.front().id;
}

CGError CGGetDisplaysWithPoint(CGPoint point, std::uint32_t capacity, CGDirectDisplayID* ids, std::uint32_t* count) {
    const Call call("CGGetDisplaysWithPoint", point.x, point.y, capacity);
    std::vector<CGDirectDisplayID> found;
    for (const Display& display : displays.all) {
        if (Contains(display.bounds, point)) {
            found.push_back(display.id);
        }
    }
    return CopyIds(call, found, capacity, ids, count);
}

CGError CGGetActiveDisplayList(std::uint32_t capacity, CGDirectDisplayID* ids, std::uint32_t* count) {
    const Call call("CGGetActiveDisplayList", capacity);
    std::vector<CGDirectDisplayID> found;
    for (const Display& display : displays.all) {
        found.push_back(display.id);
    }
    return CopyIds(call, found, capacity, ids, count);
}

CGRect CGDisplayBounds(CGDirectDisplayID id) {
    const Call call("CGDisplayBounds", id);
    const Display* const display = FindDisplay(id);
    return call.Fails() || display == nullptr ? CGRect{} : display->bounds;
}

std::size_t CGDisplayPixelsWide(CGDirectDisplayID id) {
    const Call call("CGDisplayPixelsWide", id);
    const Display* const display = FindDisplay(id);
    return call.Fails() || display == nullptr ? 0 : static_cast<std::size_t>(display->bounds.size.width);
}

std::size_t CGDisplayPixelsHigh(CGDirectDisplayID id) {
    const Call call("CGDisplayPixelsHigh", id);
    const Display* const display = FindDisplay(id);
    return call.Fails() || display == nullptr ? 0 : static_cast<std::size_t>(display->bounds.size.height);
}

CFArrayRef CGDisplayCopyAllDisplayModes(CGDirectDisplayID id, CFDictionaryRef options) {
    const Call call("CGDisplayCopyAllDisplayModes", id, options);
    const Display* const display = FindDisplay(id);
    if (call.Fails() || display == nullptr) {
        return nullptr;
    }
    Object& array = Make(Kind::Array);
    for (const Mode& mode : display->modes) {
        array.elements.push_back(&MakeMode(mode));
    }
    return ToReference<CFArrayRef>(array);
}

CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID id) {
    const Call call("CGDisplayCopyDisplayMode", id);
    const Display* const display = FindDisplay(id);
    if (call.Fails() || display == nullptr || !display->mode) {
        return nullptr;
    }
    return ToReference<CGDisplayModeRef>(MakeMode(*display->mode));
}

CFTypeID CGDisplayModeGetTypeID() {
    return static_cast<CFTypeID>(Kind::DisplayMode);
}

std::size_t CGDisplayModeGetWidth(CGDisplayModeRef mode) {
    const Call call("CGDisplayModeGetWidth", mode);
    const Object* const object = Check(call, mode, Kind::DisplayMode);
    return object == nullptr ? 0 : object->width;
}

std::size_t CGDisplayModeGetHeight(CGDisplayModeRef mode) {
    const Call call("CGDisplayModeGetHeight", mode);
    const Object* const object = Check(call, mode, Kind::DisplayMode);
    return object == nullptr ? 0 : object->height;
}

double CGDisplayModeGetRefreshRate(CGDisplayModeRef mode) {
    const Call call("CGDisplayModeGetRefreshRate", mode);
    const Object* const object = Check(call, mode, Kind::DisplayMode);
    return object == nullptr ? 0 : object->refreshRate;
}

std::uint32_t CGDisplayModeGetIOFlags(CGDisplayModeRef mode) {
    const Call call("CGDisplayModeGetIOFlags", mode);
    const Object* const object = Check(call, mode, Kind::DisplayMode);
    return object == nullptr ? 0 : object->flags;
}

CGError CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo) {
    const Call call("CGDisplayRegisterReconfigurationCallback");
    if (call.Fails()) {
        return kCGErrorFailure;
    }
    displays.callbacks.emplace_back(callback, userInfo);
    return kCGErrorSuccess;
}

CGError CGDisplayShowCursor(CGDirectDisplayID id) {
    const Call call("CGDisplayShowCursor", id);
    if (call.Fails()) {
        return kCGErrorFailure;
    }
    --displays.hidings;
    return kCGErrorSuccess;
}

CGError CGDisplayHideCursor(CGDirectDisplayID id) {
    const Call call("CGDisplayHideCursor", id);
    if (call.Fails()) {
        return kCGErrorFailure;
    }
    ++displays.hidings;
    return kCGErrorSuccess;
}

// Events.

CGEventRef CGEventCreate(CGEventSourceRef source) {
    const Call call("CGEventCreate", source);
    if (call.Fails()) {
        return nullptr;
    }
    Object& event = Make(Kind::Event);
    event.position = events.pointer;
    return ToReference<CGEventRef>(event);
}

CGEventRef CGEventCreateMouseEvent(CGEventSourceRef source, CGEventType type, CGPoint position, CGMouseButton button) {
    const Call call("CGEventCreateMouseEvent", source, type, position.x, position.y, button);
    if (call.Fails()) {
        return nullptr;
    }
    Object& event = Make(Kind::Event);
    event.eventType = type;
    event.position = position;
    event.button = button;
    return ToReference<CGEventRef>(event);
}

CGEventRef CGEventCreateScrollWheelEvent(CGEventSourceRef source, CGScrollEventUnit unit, std::uint32_t wheelCount,
                                         std::int32_t wheel1, ...) {
    if (wheelCount < 1 || wheelCount > 3) {
        ReportMisuse("a scroll event has one to three wheels");
        return nullptr;
    }
    std::vector<std::int32_t> wheels = {wheel1};
    std::va_list others;
    va_start(others, wheel1);
    while (wheels.size() < wheelCount) {
        wheels.push_back(va_arg(others, std::int32_t));
    }
    va_end(others);
    const Call call("CGEventCreateScrollWheelEvent", source, unit, wheelCount, wheel1, wheels.back());
    if (call.Fails()) {
        return nullptr;
    }
    Object& event = Make(Kind::Event);
    event.eventType = kCGEventScrollWheel;
    event.scrollUnit = unit;
    event.wheels = wheels;
    return ToReference<CGEventRef>(event);
}

CGPoint CGEventGetLocation(CGEventRef event) {
    const Call call("CGEventGetLocation", event);
    // Null is allowed here, as for the other functions of an event.
    const Object* const object = event == nullptr ? nullptr : Check(call, event, Kind::Event);
    return object == nullptr ? CGPointZero : object->position;
}

void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, std::int64_t value) {
    const Call call("CGEventSetIntegerValueField", event, field, value);
    Object* const object = event == nullptr ? nullptr : Check(call, event, Kind::Event);
    if (object != nullptr && field == kCGMouseEventClickState) {
        object->clickState = value;
    }
}

void CGEventPost(CGEventTapLocation tap, CGEventRef event) {
    const Call call("CGEventPost", tap, event);
    const Object* const object = event == nullptr ? nullptr : Check(call, event, Kind::Event);
    if (object == nullptr) {
        return;
    }
    if (object->eventType == kCGEventScrollWheel) {
        std::string text = std::format("scroll {}:", object->scrollUnit);
        for (const std::int32_t wheel : object->wheels) {
            text += std::format(" {}", wheel);
        }
        events.posted.push_back(text);
        return;
    }
    events.posted.push_back(std::format("type {} at {}, {}, button {}, click {}", object->eventType, object->position.x,
                                        object->position.y, object->button, object->clickState));
    if (object->eventType == kCGEventMouseMoved) {
        events.pointer = object->position;
    }
}

// Windows.

const CFStringRef kCGWindowNumber = MakeKey("kCGWindowNumber");
const CFStringRef kCGWindowOwnerPID = MakeKey("kCGWindowOwnerPID");
const CFStringRef kCGWindowLayer = MakeKey("kCGWindowLayer");
const CFStringRef kCGWindowBounds = MakeKey("kCGWindowBounds");
const CFStringRef kCGWindowName = MakeKey("kCGWindowName");
const CFStringRef kCGWindowOwnerName = MakeKey("kCGWindowOwnerName");
const CFStringRef kCGWindowIsOnscreen = MakeKey("kCGWindowIsOnscreen");

CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID window) {
    const Call call("CGWindowListCopyWindowInfo", option, window);
    if (call.Fails()) {
        return nullptr;
    }
    Object& array = Make(Kind::Array);
    for (const Dictionary& entry : windowList.entries) {
        if (IsListed(entry, option, window)) {
            array.elements.push_back(&Make(Value(entry)));
        }
    }
    return ToReference<CFArrayRef>(array);
}

// The window server's private functions, which the host declares itself.

int _CGSDefaultConnection();
CGError CGSSetConnectionProperty(int own, int target, CFStringRef key, CFTypeRef value);

int _CGSDefaultConnection() {
    const Call call("_CGSDefaultConnection");
    return 5;
}

CGError CGSSetConnectionProperty(int own, int target, CFStringRef key, CFTypeRef value) {
    const Call call("CGSSetConnectionProperty", own, target, key, value);
    const std::string name = GetText(call, key);
    const Object* const object = Check(call, value, Kind::Boolean);
    if (call.Fails() || object == nullptr) {
        return kCGErrorFailure;
    }
    connection.properties.push_back(name + (object->flag ? "=true" : "=false"));
    return kCGErrorSuccess;
}
}
