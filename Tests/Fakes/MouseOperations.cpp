#include <Fakes/MouseOperations.h>

#include <format>

namespace Tovra::System::Device::Mouse {

using Tests::Fakes::mouseOperations;

struct MouseEvent {
    std::string text;
    bool isScroll = false;
    std::int64_t clickState = 1;
};

namespace {

MouseEvent* Make(std::string text, bool isScroll) {
    mouseOperations.calls.push_back("Create " + text);
    ++mouseOperations.eventCount;
    return new MouseEvent{.text = std::move(text), .isScroll = isScroll};
}

} // namespace

PointerPosition GetPointerPosition() {
    mouseOperations.calls.emplace_back("Pointer");
    return mouseOperations.pointer;
}

MouseEvent* CreateMouseEvent(MouseEventType type, double x, double y, std::uint32_t button) {
    if (mouseOperations.createMouseEventFault.Strikes()) {
        return mouseOperations.createMouseEventFault.result;
    }
    return Make(std::format("{} button {} at {}, {}", static_cast<std::uint32_t>(type), button, x, y), false);
}

MouseEvent* CreateScrollEvent(ScrollUnit unit, std::uint32_t wheelCount, std::int32_t wheel1, std::int32_t wheel2) {
    if (mouseOperations.createScrollEventFault.Strikes()) {
        return mouseOperations.createScrollEventFault.result;
    }
    const std::string wheels = wheelCount == 1 ? std::to_string(wheel1) : std::format("{}, {}", wheel1, wheel2);
    return Make(std::format("scroll unit {} wheels {}: {}", static_cast<std::uint32_t>(unit), wheelCount, wheels),
                true);
}

void SetClickState(MouseEvent* event, std::int64_t clickState) {
    mouseOperations.calls.push_back(std::format("Click state {}", clickState));
    if (event != nullptr) {
        event->clickState = clickState;
    }
}

void PostEvent(MouseEvent* event) {
    if (event == nullptr) {
        mouseOperations.calls.emplace_back("Post null");
        return;
    }
    const std::string click = event->isScroll ? "" : std::format(" click {}", event->clickState);
    mouseOperations.calls.push_back("Post " + event->text + click);
    if (mouseOperations.duringPost) {
        mouseOperations.duringPost();
    }
}

void ReleaseEvent(MouseEvent* event) {
    --mouseOperations.eventCount;
    delete event;
}

void SleepBetweenEvents(double milliseconds) {
    mouseOperations.calls.push_back(std::format("Sleep {}", milliseconds));
}

} // namespace Tovra::System::Device::Mouse
