#include <Fakes/WindowPlatformNative.h>
#include <System/Processes/ActivateAppPlatformNative.h>

#include <sstream>
#include <utility>

namespace Tovra::Tests::Fakes {

namespace {

std::uintptr_t Printable(void* handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

template <class T>
T Printable(T value) {
    return value;
}

template <class... Arguments>
WindowPlatformNative& Record(const char* function, Arguments... arguments) {
    std::ostringstream text;
    const char* separator = "";
    text << function << '(';
    ((text << std::exchange(separator, ", ") << Printable(arguments)), ...);
    text << ')';
    windowPlatformNative.calls.push_back(text.str());
    return windowPlatformNative;
}

void Call(const std::function<void()>& function) {
    if (function) {
        function();
    }
}

} // namespace

} // namespace Tovra::Tests::Fakes

namespace Tovra::System::Desktop {

using Tests::Fakes::Call;
using Tests::Fakes::Record;

bool WindowInitializePlatformNative(void* userInfo) {
    return Record("Initialize", userInfo).initializeResult;
}

void* WindowCreatePlatformNative(float x, float y, float width, float height) {
    auto& state = Record("Create", x, y, width, height);
    Call(state.duringCreate);
    return state.createResult;
}

bool WindowUpdatePlatformNative([[maybe_unused]] Window* window, Window::State state) {
    return Record("Update", static_cast<int>(state)).updateResult;
}

void WindowSetSizePlatformNative(void* handle, float width, float height) {
    Record("SetSize", handle, width, height);
}

void WindowSetPositionPlatformNative(void* handle, float x, float y) {
    Record("SetPosition", handle, x, y);
}

void WindowSetRectanglePlatformNative(void* handle, float x, float y, float width, float height) {
    Record("SetRectangle", handle, x, y, width, height);
}

void WindowShowPlatformNative(void* handle) {
    Call(Record("Show", handle).duringShow);
}

void WindowHidePlatformNative(void* handle) {
    Call(Record("Hide", handle).duringHide);
}

std::int32_t WindowShowCursorPlatformNative() {
    Record("ShowCursor");
    return 0;
}

std::int32_t WindowHideCursorPlatformNative() {
    Record("HideCursor");
    return 0;
}

void WindowPassthroughCursorPlatformNative(void* handle, bool passthrough) {
    Record("PassthroughCursor", handle, passthrough);
}

void WindowExcludeFromCapturePlatformNative(void* handle, bool exclude) {
    Record("ExcludeFromCapture", handle, exclude);
}

void WindowToFrontPlatformNative(void* handle) {
    Record("ToFront", handle);
}

bool WindowActivateAppPlatformNative(std::int32_t processId) {
    auto& state = Record("ActivateApp", processId);
    Call(state.duringActivate);
    return state.activateResult;
}

void WindowDestroyPlatformNative(void* handle) {
    Call(Record("Destroy", handle).duringDestroy);
}

} // namespace Tovra::System::Desktop
