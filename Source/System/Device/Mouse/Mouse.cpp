#include <System/Device/Mouse/Mouse.h>
#include <System/Device/Mouse/MouseOperations.h>
#include <System/Error/Assertion.h>
#include <System/Log/Log.h>
#include <System/Utilities/Number.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

namespace Tovra::System::Device::Mouse {

TOVRA_LOG_CONTEXT(System);

namespace {

struct EventDeleter {
    void operator()(MouseEvent* event) const { ReleaseEvent(event); }
};

using OwnedEvent = std::unique_ptr<MouseEvent, EventDeleter>;

struct ButtonEvents {
    MouseEventType press;
    MouseEventType release;
    std::uint32_t button;
};

/// By `MouseButton`.
/// Intentional: the numbers of the middle and the right button are exchanged (the system's right button is 1, its
/// middle one 2); the system reads the number of "other" events alone, and programs that receive those know the middle
/// button as 1.
constexpr std::array<ButtonEvents, 4> buttonEvents = {{
    {MouseEventType::Null, MouseEventType::Null, 0},
    {MouseEventType::LeftDown, MouseEventType::LeftUp, 0},
    {MouseEventType::OtherDown, MouseEventType::OtherUp, 1},
    {MouseEventType::RightDown, MouseEventType::RightUp, 2},
}};

const ButtonEvents& GetButtonEvents(MouseButton button) {
    const auto index = static_cast<std::size_t>(button);
    return buttonEvents[index < buttonEvents.size() ? index : 0];
}

/// Intentional: not checked for null; the system ignores a null event, and callers get the same pauses.
OwnedEvent MakeEvent(MouseEventType type, Position<0> position, std::uint32_t button) {
    return OwnedEvent(CreateMouseEvent(type, position.x, position.y, button));
}

void SleepForDelay() {
    SleepBetweenEvents(Mouse::GetDelay());
}

/// Posts the events in order, `count` times. After each round they get the click state of the next click.
void PostRounds(const std::vector<OwnedEvent>& events, unsigned int count) {
    std::int64_t clickState = 1;
    for (unsigned int remaining = count; remaining > 0; --remaining) {
        for (const auto& event : events) {
            if (&event != &events.front()) {
                SleepForDelay();
            }
            PostEvent(event.get());
        }
        ++clickState;
        for (const auto& event : events) {
            SetClickState(event.get(), clickState);
        }
        if (remaining >= 2) {
            SleepForDelay();
        }
    }
}

/// The distance covered at this fraction of the way from `start` to `target`.
std::int32_t GetTravel(double factor, std::int32_t start, std::int32_t target) {
    return Utilities::Truncate(factor * (static_cast<double>(target) - start));
}

std::int32_t Add(std::int32_t coordinate, std::int32_t travel) {
    return Utilities::Truncate(static_cast<double>(coordinate) + travel);
}

/// The pointer's position at the time of the context, before the end of the move.
Position<0> GetPositionByTime(const MouseMoveContext& context) {
    const Position<0> start = context.startPosition;
    const Position<0> target = context.targetPosition;
    const double factor =
        static_cast<double>(context.timePastBy.count()) / static_cast<double>(context.duration.count());
    const Position<0> travel{.x = GetTravel(factor, start.x, target.x), .y = GetTravel(factor, start.y, target.y)};
    const Position<0> position{.x = Add(start.x, travel.x), .y = Add(start.y, travel.y)};
    TOVRA_LOG(System, Debug, "Mouse move update. Params: { TimePastBy: '", context.timePastBy, "' TimeFactor: '",
              factor, "' Position: '", position.x, ", ", position.y, "' TravelPosition: '", travel.x, ", ", travel.y,
              "' }");
    return position;
}

void PostScroll(bool inLines, std::uint32_t wheelCount, int wheel1, int wheel2) {
    const OwnedEvent event(
        CreateScrollEvent(inLines ? ScrollUnit::Line : ScrollUnit::Pixel, wheelCount, wheel1, wheel2));
    if (event != nullptr) {
        PostEvent(event.get());
    }
}

void LogScrollEnd(MouseWheelDirection direction, const char* function) {
    switch (direction) {
    case MouseWheelDirection::Vertical:
        TOVRA_LOG(System, Debug, "Mouse scroll update finished vertical scroll.");
        return;
    case MouseWheelDirection::Horizontal:
        TOVRA_LOG(System, Debug, "Mouse scroll update finished horizontal scroll.");
        return;
    case MouseWheelDirection::Undefined:
        // `Scroll` asserted the same before, unless the direction has changed since.
        TOVRA_ASSERT_FOR(function, false, "Illegal switch case.");
    }
    TOVRA_ASSERT_FOR(function, false, "Implementation of case directive is missing.");
}

} // namespace

bool Mouse::GetCurrentPosition(Position<0>& position) {
    const auto [x, y] = GetPointerPosition();
    position = {.x = Utilities::Truncate(x), .y = Utilities::Truncate(y)};
    return true;
}

void Mouse::SetPosition(Position<0> position) {
    PostEvent(MakeEvent(MouseEventType::Moved, position, 0).get());
}

void Mouse::Move(Position<0> position) {
    SetPosition(position);
}

unsigned int Mouse::ButtonEvent(Types::EnumValue<MouseButton> button, Types::EnumFlags<MouseButtonEvent> events,
                                unsigned int count) {
    Position<0> position;
    GetCurrentPosition(position);
    const ButtonEvents& row = GetButtonEvents(button);
    std::vector<OwnedEvent> made;
    if (events.HasAny(MouseButtonEvent::Press)) {
        made.push_back(MakeEvent(row.press, position, row.button));
    }
    if (events.HasAny(MouseButtonEvent::Release)) {
        made.push_back(MakeEvent(row.release, position, row.button));
    }
    if (made.empty()) {
        return 0;
    }
    PostRounds(made, count);
    return count;
}

void Mouse::Scroll(Types::EnumValue<MouseWheelDirection> direction, int delta, bool inLines) {
    switch (static_cast<MouseWheelDirection>(direction)) {
    case MouseWheelDirection::Vertical:
        PostScroll(inLines, 1, delta, 0);
        return;
    case MouseWheelDirection::Horizontal:
        PostScroll(inLines, 2, 0, delta);
        return;
    case MouseWheelDirection::Undefined:
        TOVRA_FAIL_ILLEGAL_CASE();
    }
    TOVRA_FAIL_CASE();
}

bool Mouse::Update(MouseMoveContext& context) {
    Position<0> pointer;
    GetCurrentPosition(pointer);
    if (pointer == context.targetPosition) {
        TOVRA_LOG(System, Debug, "Mouse move update done");
        return true;
    }
    context.timePastBy += context.timeSinceLastUpdate;
    if (context.timePastBy < context.duration) {
        SetPosition(GetPositionByTime(context));
        return false;
    }
    TOVRA_LOG(System, Debug, "Mouse move done with offset to the target position. Params: { TimeSinceLastUpdate:'",
              context.timeSinceLastUpdate, "' TimePastBy:'", context.timePastBy, "' Position:'", pointer.x, ",",
              pointer.y, "' }");
    SetPosition(context.targetPosition);
    return true;
}

bool Mouse::Update(MouseScrollContext& context) {
    const double total = context.carry + std::min(context.remainingDelta, context.stepDelta);
    const int delta = Utilities::Truncate(context.sign * std::trunc(total));
    TOVRA_LOG(System, Debug, "Mouse scroll update. Params: { delta: ", delta,
              ", remaining delta: ", context.remainingDelta, " }");
    // Intentional: posted even if it is 0; callers count the steps by their events.
    Scroll(context.direction, delta, context.inLines);
    // Multiplied by the sign again, the distance is positive in either direction.
    const double done = static_cast<double>(context.sign) * delta;
    context.remainingDelta -= done;
    context.carry = total - done;
    if (context.remainingDelta > 0) {
        return false;
    }
    LogScrollEnd(context.direction, __func__);
    return true;
}

} // namespace Tovra::System::Device::Mouse
