#include <ApplicationServices/ApplicationServices.h>
#include <MacOS/Doubles/Accessibility.h>

#include <algorithm>

using namespace Tovra::Tests::Doubles;

namespace {

/// The process whose serial number the double hands out.
constexpr UInt32 frontProcess = 77;

AccessibleApplication* FindApplication(const Object& element) {
    const auto found = accessibility.applications.find(element.processId);
    return found == accessibility.applications.end() ? nullptr : &found->second;
}

/// The window of an element; the end of the application's windows if it has none.
auto FindWindow(AccessibleApplication& application, int number) {
    return std::ranges::find(application.windows, number, &AccessibleWindow::number);
}

Object& MakeElement(std::int32_t processId, int window) {
    Object& element = Make(Kind::Element);
    element.processId = processId;
    element.window = window;
    return element;
}

Object& MakeGeometry(const auto& geometry) {
    Object& object = Make(Kind::Geometry);
    object.geometry = geometry;
    return object;
}

/// Makes the value of an attribute; null if there is none.
Object* MakeAttribute(const Object& element, std::string_view attribute) {
    AccessibleApplication* const application = FindApplication(element);
    if (application == nullptr) {
        return nullptr;
    }
    if (element.window == 0) {
        const bool isFocus = attribute == "AXFocusedWindow" && application->focusedWindow != 0;
        return isFocus ? &MakeElement(element.processId, application->focusedWindow) : nullptr;
    }
    const auto window = FindWindow(*application, element.window);
    if (window == application->windows.end()) {
        return nullptr;
    }
    return attribute == "AXPosition" ? &MakeGeometry(window->position)
           : attribute == "AXSize"   ? &MakeGeometry(window->size)
                                     : nullptr;
}

template <class Geometry>
bool ReadGeometry(const Object& object, void* to) {
    const auto* const geometry = std::get_if<Geometry>(&object.geometry);
    if (geometry != nullptr) {
        *static_cast<Geometry*>(to) = *geometry;
    }
    return geometry != nullptr;
}

} // namespace

extern "C" {

OSErr GetFrontProcess(ProcessSerialNumber* process) {
    const Call call("GetFrontProcess");
    if (call.Fails() || accessibility.frontProcessId == 0) {
        Spoil(*process);
        return -600;
    }
    *process = {0, frontProcess};
    return 0;
}

OSStatus GetProcessPID(const ProcessSerialNumber* process, pid_t* id) {
    const Call call("GetProcessPID", process->highLongOfPSN, process->lowLongOfPSN);
    if (call.Fails() || process->highLongOfPSN != 0 || process->lowLongOfPSN != frontProcess) {
        Spoil(*id);
        return -600;
    }
    *id = accessibility.frontProcessId;
    return 0;
}

CFTypeID AXUIElementGetTypeID() {
    return static_cast<CFTypeID>(Kind::Element);
}

AXUIElementRef AXUIElementCreateApplication(pid_t processId) {
    const Call call("AXUIElementCreateApplication", processId);
    return call.Fails() ? nullptr : ToReference<AXUIElementRef>(MakeElement(processId, 0));
}

AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef* value) {
    const Call call("AXUIElementCopyAttributeValue", element, attribute);
    const Object* const object = Check(call, element, Kind::Element);
    const std::string name = GetText(call, attribute);
    if (call.Fails() || object == nullptr) {
        return kAXErrorCannotComplete;
    }
    if (!accessibility.copying.givesValue) {
        *value = nullptr;
        return accessibility.copying.result;
    }
    *value = call.GivesOtherKind() ? &Make(Kind::Data) : MakeAttribute(*object, name);
    return *value == nullptr ? kAXErrorNoValue : accessibility.copying.result;
}

AXError AXUIElementCopyAttributeValues(AXUIElementRef element, CFStringRef attribute, CFIndex index, CFIndex count,
                                       CFArrayRef* values) {
    const Call call("AXUIElementCopyAttributeValues", element, attribute, index, count);
    const Object* const object = Check(call, element, Kind::Element);
    const std::string name = GetText(call, attribute);
    const AccessibleApplication* const application = object == nullptr ? nullptr : FindApplication(*object);
    if (call.Fails() || application == nullptr || object->window != 0 || name != "AXWindows" || index < 0 ||
        count < 1) {
        return kAXErrorCannotComplete;
    }
    if (!accessibility.copying.givesValue) {
        *values = nullptr;
        return accessibility.copying.result;
    }
    Object& array = Make(Kind::Array);
    const auto begin = static_cast<std::size_t>(index);
    const auto end = std::min(application->windows.size(), begin + static_cast<std::size_t>(count));
    for (std::size_t position = begin; position < end; ++position) {
        array.elements.push_back(&MakeElement(object->processId, application->windows[position].number));
    }
    *values = ToReference<CFArrayRef>(array);
    return accessibility.copying.result;
}

AXError AXUIElementSetAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef value) {
    const Call call("AXUIElementSetAttributeValue", element, attribute, value);
    const Object* const object = Check(call, element, Kind::Element);
    const Object* const window = Check(call, value, Kind::Element);
    const std::string name = GetText(call, attribute);
    AccessibleApplication* const application = object == nullptr ? nullptr : FindApplication(*object);
    if (call.Fails() || application == nullptr || window == nullptr || name != "AXFocusedWindow") {
        return kAXErrorCannotComplete;
    }
    application->focusedWindow = window->window;
    return kAXErrorSuccess;
}

AXError AXUIElementPerformAction(AXUIElementRef element, CFStringRef action) {
    const Call call("AXUIElementPerformAction", element, action);
    const Object* const object = Check(call, element, Kind::Element);
    const std::string name = GetText(call, action);
    AccessibleApplication* const application = object == nullptr ? nullptr : FindApplication(*object);
    if (call.Fails() || application == nullptr || name != "AXRaise") {
        return kAXErrorCannotComplete;
    }
    const auto window = FindWindow(*application, object->window);
    if (window == application->windows.end()) {
        return kAXErrorCannotComplete;
    }
    std::rotate(application->windows.begin(), window, window + 1);
    return kAXErrorSuccess;
}

CFTypeID AXValueGetTypeID() {
    return static_cast<CFTypeID>(Kind::Geometry);
}

Boolean AXValueGetValue(AXValueRef value, AXValueType type, void* geometry) {
    const Call call("AXValueGetValue", value, type);
    const Object* const object = Check(call, value, Kind::Geometry);
    if (call.Fails() || object == nullptr) {
        Spoil(*static_cast<CGPoint*>(geometry));
        return false;
    }
    switch (type) {
    case kAXValueTypeCGPoint:
        return ReadGeometry<CGPoint>(*object, geometry);
    case kAXValueTypeCGSize:
        return ReadGeometry<CGSize>(*object, geometry);
    default:
        call.ReportMisuse("no such type of a geometry");
        return false;
    }
}
}
