// Results are tested here only to know whether there is anything to go on with. The callers decide what they mean.

#include <System/Processes/ProcessWindowOperations.h>
#include <System/Utilities/CoreFoundation_MacOS.h>

#include <ApplicationServices/ApplicationServices.h>

#include <array>

namespace Tovra::System::Processes {

namespace {

using Utilities::CastTo;
using Utilities::HeldReference;

/// The value of an entry as one of that kind; null if it is missing or of another kind.
template <class Reference>
Reference GetValue(CFDictionaryRef entry, CFStringRef key, CFTypeID typeId) {
    return CastTo<Reference>(CFDictionaryGetValue(entry, key), typeId);
}

CFNumberRef GetNumber(CFDictionaryRef entry, CFStringRef key) {
    return GetValue<CFNumberRef>(entry, key, CFNumberGetTypeID());
}

std::optional<std::int32_t> ReadNumber(CFDictionaryRef entry, CFStringRef key, CFNumberType type) {
    const CFNumberRef value = GetNumber(entry, key);
    std::int32_t number{};
    if (value == nullptr || !CFNumberGetValue(value, type, &number)) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::uint32_t> ReadWindowNumber(CFDictionaryRef entry) {
    const auto number = ReadNumber(entry, kCGWindowNumber, kCFNumberSInt32Type);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

CFDictionaryRef GetBounds(CFDictionaryRef entry) {
    return GetValue<CFDictionaryRef>(entry, kCGWindowBounds, CFDictionaryGetTypeID());
}

std::optional<WindowBounds> ReadBounds(CFDictionaryRef entry) {
    const CFDictionaryRef bounds = GetBounds(entry);
    CGRect rectangle = CGRectNull;
    if (bounds == nullptr || !CGRectMakeWithDictionaryRepresentation(bounds, &rectangle)) {
        return std::nullopt;
    }
    return WindowBounds{.x = rectangle.origin.x,
                        .y = rectangle.origin.y,
                        .width = rectangle.size.width,
                        .height = rectangle.size.height};
}

double ReadCoordinate(CFDictionaryRef bounds, CFStringRef key) {
    const CFNumberRef value = GetNumber(bounds, key);
    double coordinate = 0;
    if (value != nullptr) {
        CFNumberGetValue(value, kCFNumberDoubleType, &coordinate);
    }
    return coordinate;
}

/// The bounds of the one window of a list, read number by number.
std::optional<WindowBounds> ReadBoundsByKeys(CFDictionaryRef entry) {
    const CFDictionaryRef bounds = GetBounds(entry);
    if (bounds == nullptr) {
        return std::nullopt;
    }
    return WindowBounds{.x = ReadCoordinate(bounds, CFSTR("X")),
                        .y = ReadCoordinate(bounds, CFSTR("Y")),
                        .width = ReadCoordinate(bounds, CFSTR("Width")),
                        .height = ReadCoordinate(bounds, CFSTR("Height"))};
}

std::optional<std::string> ReadText(CFDictionaryRef entry, CFStringRef key) {
    const auto value = GetValue<CFStringRef>(entry, key, CFStringGetTypeID());
    std::array<char, windowTextBufferSize> buffer = {};
    if (value == nullptr || !CFStringGetCString(value, buffer.data(), buffer.size(), kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    // The caller cuts all texts at their NUL byte.
    return std::string(buffer.data(), buffer.size() - 1);
}

std::optional<bool> ReadFlag(CFDictionaryRef entry, CFStringRef key) {
    const auto value = GetValue<CFBooleanRef>(entry, key, CFBooleanGetTypeID());
    return value == nullptr ? std::nullopt : std::optional(CFBooleanGetValue(value) != 0);
}

WindowListEntry ReadEntry(CFDictionaryRef entry, const WindowListQuery& query) {
    const auto read = [&query](WindowListField field, const auto& reader) {
        return query.fields.HasAny(field) ? reader() : std::nullopt;
    };
    return {
        .number = read(WindowListField::Number, [entry] { return ReadWindowNumber(entry); }),
        .ownerId =
            read(WindowListField::OwnerId, [entry] { return ReadNumber(entry, kCGWindowOwnerPID, kCFNumberIntType); }),
        .layer = read(WindowListField::Layer, [entry] { return ReadNumber(entry, kCGWindowLayer, kCFNumberIntType); }),
        .bounds = read(WindowListField::Bounds,
                       [entry, &query] {
                           return query.option == WindowListOption::IncludingWindow ? ReadBoundsByKeys(entry)
                                                                                    : ReadBounds(entry);
                       }),
        .name = read(WindowListField::Name, [entry] { return ReadText(entry, kCGWindowName); }),
        .ownerName = read(WindowListField::OwnerName, [entry] { return ReadText(entry, kCGWindowOwnerName); }),
        .isOnScreen = read(WindowListField::IsOnScreen, [entry] { return ReadFlag(entry, kCGWindowIsOnscreen); })};
}

AXUIElementRef GetReference(AccessibilityElement& element) {
    return reinterpret_cast<AXUIElementRef>(&element);
}

HeldAccessibilityElement Hold(CFTypeRef element) {
    return HeldAccessibilityElement(static_cast<AccessibilityElement*>(const_cast<void*>(element)));
}

/// An element that another program has handed out; null if it is none.
AXUIElementRef GetElement(const void* object) {
    return CastTo<AXUIElementRef>(object, AXUIElementGetTypeID());
}

/// Reads an attribute that is a point or a size.
AXError CopyGeometry(AccessibilityElement& element, CFStringRef attribute, AXValueType type, void* geometry) {
    CFTypeRef value = nullptr;
    const AXError error = AXUIElementCopyAttributeValue(GetReference(element), attribute, &value);
    const HeldReference<CFTypeRef> held(value);
    if (error != kAXErrorSuccess) {
        return error;
    }
    const auto wrapped = CastTo<AXValueRef>(value, AXValueGetTypeID());
    return wrapped != nullptr && AXValueGetValue(wrapped, type, geometry) ? kAXErrorSuccess : kAXErrorFailure;
}

} // namespace

void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor) {
    const CGWindowID window = query.option == WindowListOption::IncludingWindow ? query.window : kCGNullWindowID;
    const HeldReference<CFArrayRef> list(
        CGWindowListCopyWindowInfo(static_cast<CGWindowListOption>(query.option), window));
    const CFIndex count = list == nullptr ? 0 : CFArrayGetCount(list.get());
    for (CFIndex index = 0; index < count; ++index) {
        const auto entry = CastTo<CFDictionaryRef>(CFArrayGetValueAtIndex(list.get(), index), CFDictionaryGetTypeID());
        if (entry != nullptr && visitor(ReadEntry(entry, query)) == VisitorAction::Stop) {
            return;
        }
    }
}

void ReleaseAccessibilityElement(AccessibilityElement* element) {
    CFRelease(GetReference(*element));
}

std::int32_t GetFrontProcessId() {
    ProcessSerialNumber process = {};
    pid_t processId{};
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations" // Their replacement needs the main run loop.
    const bool isKnown = GetFrontProcess(&process) == 0 && GetProcessPID(&process, &processId) == 0;
#pragma clang diagnostic pop
    return isKnown ? processId : 0;
}

HeldAccessibilityElement CreateApplicationElement(std::int32_t processId) {
    return Hold(AXUIElementCreateApplication(processId));
}

HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application) {
    CFTypeRef window = nullptr;
    // Only the value counts, whatever the result is.
    AXUIElementCopyAttributeValue(GetReference(application), CFSTR("AXFocusedWindow"), &window);
    HeldReference<CFTypeRef> held(window);
    return GetElement(window) == nullptr ? nullptr : Hold(held.release());
}

std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount) {
    CFArrayRef copied = nullptr;
    const AXError error = AXUIElementCopyAttributeValues(GetReference(application), CFSTR("AXWindows"), 0,
                                                         static_cast<CFIndex>(maximumCount), &copied);
    const HeldReference<CFArrayRef> windows(copied);
    if (error != kAXErrorSuccess || windows == nullptr) {
        return std::nullopt;
    }
    std::vector<HeldAccessibilityElement> result;
    for (CFIndex index = 0; index < CFArrayGetCount(windows.get()); ++index) {
        if (const AXUIElementRef window = GetElement(CFArrayGetValueAtIndex(windows.get(), index))) {
            result.push_back(Hold(static_cast<AXUIElementRef>(CFRetain(window))));
        }
    }
    return result;
}

std::int32_t CopyWindowPosition(AccessibilityElement& window, double& x, double& y) {
    CGPoint position = CGPointZero;
    const AXError error = CopyGeometry(window, CFSTR("AXPosition"), kAXValueTypeCGPoint, &position);
    x = position.x;
    y = position.y;
    return error;
}

std::int32_t CopyWindowSize(AccessibilityElement& window, double& width, double& height) {
    CGSize size = CGSizeZero;
    const AXError error = CopyGeometry(window, CFSTR("AXSize"), kAXValueTypeCGSize, &size);
    width = size.width;
    height = size.height;
    return error;
}

std::int32_t SetFocusedWindow(AccessibilityElement& application, AccessibilityElement& window) {
    return AXUIElementSetAttributeValue(GetReference(application), CFSTR("AXFocusedWindow"), GetReference(window));
}

std::int32_t RaiseWindow(AccessibilityElement& window) {
    return AXUIElementPerformAction(GetReference(window), CFSTR("AXRaise"));
}

} // namespace Tovra::System::Processes
