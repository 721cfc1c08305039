#include <System/Device/Mouse/MouseOperations.h>

#include <ApplicationServices/ApplicationServices.h>

namespace Tovra::System::Device::Mouse {

static_assert(static_cast<int>(MouseEventType::Null) == kCGEventNull);
static_assert(static_cast<int>(MouseEventType::LeftDown) == kCGEventLeftMouseDown);
static_assert(static_cast<int>(MouseEventType::LeftUp) == kCGEventLeftMouseUp);
static_assert(static_cast<int>(MouseEventType::RightDown) == kCGEventRightMouseDown);
static_assert(static_cast<int>(MouseEventType::RightUp) == kCGEventRightMouseUp);
static_assert(static_cast<int>(MouseEventType::Moved) == kCGEventMouseMoved);
static_assert(static_cast<int>(MouseEventType::ScrollWheel) == kCGEventScrollWheel);
static_assert(static_cast<int>(MouseEventType::OtherDown) == kCGEventOtherMouseDown);
static_assert(static_cast<int>(MouseEventType::OtherUp) == kCGEventOtherMouseUp);
static_assert(static_cast<int>(ScrollUnit::Pixel) == kCGScrollEventUnitPixel);
static_assert(static_cast<int>(ScrollUnit::Line) == kCGScrollEventUnitLine);

namespace {

CGEventRef GetEvent(MouseEvent* event) {
    return reinterpret_cast<CGEventRef>(event);
}

} // namespace

PointerPosition GetPointerPosition() {
    const CGEventRef event = CGEventCreate(nullptr);
    if (event == nullptr) {
        return {};
    }
    const CGPoint position = CGEventGetLocation(event);
    CFRelease(event);
    return {.x = position.x, .y = position.y};
}

MouseEvent* CreateMouseEvent(MouseEventType type, double x, double y, std::uint32_t button) {
    return reinterpret_cast<MouseEvent*>(CGEventCreateMouseEvent(
        nullptr, static_cast<CGEventType>(type), CGPointMake(x, y), static_cast<CGMouseButton>(button)));
}

MouseEvent* CreateScrollEvent(ScrollUnit unit, std::uint32_t wheelCount, std::int32_t wheel1, std::int32_t wheel2) {
    // Only the first `wheelCount` wheels are read.
    return reinterpret_cast<MouseEvent*>(
        CGEventCreateScrollWheelEvent(nullptr, static_cast<CGScrollEventUnit>(unit), wheelCount, wheel1, wheel2));
}

void SetClickState(MouseEvent* event, std::int64_t clickState) {
    CGEventSetIntegerValueField(GetEvent(event), kCGMouseEventClickState, clickState);
}

void PostEvent(MouseEvent* event) {
    CGEventPost(kCGHIDEventTap, GetEvent(event));
}

void ReleaseEvent(MouseEvent* event) {
    CFRelease(GetEvent(event));
}

} // namespace Tovra::System::Device::Mouse
