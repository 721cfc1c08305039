// Results are tested here only to know whether there is anything to go on with. The callers decide what they mean.

#include <System/Processes/ProcessWindowOperations.h>

#include <ApplicationServices/ApplicationServices.h>

#include <array>
#include <type_traits>

namespace Tovra::System::Processes {

namespace {

struct ReferenceDeleter {
    void operator()(const void* reference) const { CFRelease(reference); }
};

/// An owned reference, or null.
template <class Reference>
using Held = std::unique_ptr<std::remove_pointer_t<Reference>, ReferenceDeleter>;

std::optional<std::int32_t> ReadNumber(CFDictionaryRef entry, CFStringRef key, CFNumberType type) {
    const void* const value = CFDictionaryGetValue(entry, key);
    std::int32_t number = 0;
    if (value == nullptr || !CFNumberGetValue(static_cast<CFNumberRef>(value), type, &number)) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::uint32_t> ReadWindowNumber(CFDictionaryRef entry) {
    const auto number = ReadNumber(entry, kCGWindowNumber, kCFNumberSInt32Type);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

CFDictionaryRef GetBounds(CFDictionaryRef entry) {
    return static_cast<CFDictionaryRef>(CFDictionaryGetValue(entry, kCGWindowBounds));
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
    const void* const value = CFDictionaryGetValue(bounds, key);
    double coordinate = 0;
    if (value != nullptr) {
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &coordinate);
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
    const void* const value = CFDictionaryGetValue(entry, key);
    std::array<char, windowTextBufferSize> buffer = {};
    if (value == nullptr ||
        !CFStringGetCString(static_cast<CFStringRef>(value), buffer.data(), buffer.size(), kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    // The caller cuts all texts at their NUL byte.
    return std::string(buffer.data(), buffer.size() - 1);
}

std::optional<bool> ReadFlag(CFDictionaryRef entry, CFStringRef key) {
    const void* const value = CFDictionaryGetValue(entry, key);
    return value == nullptr ? std::nullopt : std::optional(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
}

WindowListEntry ReadEntry(CFDictionaryRef entry, const WindowListQuery& query) {
    WindowListEntry result;
    const auto read = [&query](WindowListField field, auto& to, const auto& reader) {
        if (query.fields.HasAny(field)) {
            to = reader();
        }
    };
    read(WindowListField::Number, result.number, [entry] { return ReadWindowNumber(entry); });
    read(WindowListField::OwnerId, result.ownerId,
         [entry] { return ReadNumber(entry, kCGWindowOwnerPID, kCFNumberIntType); });
    read(WindowListField::Layer, result.layer, [entry] { return ReadNumber(entry, kCGWindowLayer, kCFNumberIntType); });
    read(WindowListField::Bounds, result.bounds, [entry, &query] {
        return query.option == WindowListOption::IncludingWindow ? ReadBoundsByKeys(entry) : ReadBounds(entry);
    });
    read(WindowListField::Name, result.name, [entry] { return ReadText(entry, kCGWindowName); });
    read(WindowListField::OwnerName, result.ownerName, [entry] { return ReadText(entry, kCGWindowOwnerName); });
    read(WindowListField::IsOnScreen, result.isOnScreen, [entry] { return ReadFlag(entry, kCGWindowIsOnscreen); });
    return result;
}

AXUIElementRef GetReference(AccessibilityElement& element) {
    return reinterpret_cast<AXUIElementRef>(&element);
}

HeldAccessibilityElement Hold(CFTypeRef reference) {
    return HeldAccessibilityElement(static_cast<AccessibilityElement*>(const_cast<void*>(reference)));
}

/// Reads an attribute that is a point or a size.
AXError CopyGeometry(AccessibilityElement& element, CFStringRef attribute, AXValueType type, void* geometry) {
    CFTypeRef value = nullptr;
    const AXError error = AXUIElementCopyAttributeValue(GetReference(element), attribute, &value);
    if (error != kAXErrorSuccess) {
        return error;
    }
    AXValueGetValue(static_cast<AXValueRef>(value), type, geometry);
    CFRelease(value);
    return error;
}

} // namespace

void WalkWindowList(const WindowListQuery& query, const WindowListVisitor& visitor) {
    const CGWindowID window = query.option == WindowListOption::IncludingWindow ? query.window : kCGNullWindowID;
    const Held<CFArrayRef> list(CGWindowListCopyWindowInfo(static_cast<CGWindowListOption>(query.option), window));
    const CFIndex count = list == nullptr ? 0 : CFArrayGetCount(list.get());
    for (CFIndex index = 0; index < count; ++index) {
        const auto entry = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list.get(), index));
        if (visitor(ReadEntry(entry, query)) == VisitorAction::Stop) {
            return;
        }
    }
}

void ReleaseAccessibilityElement(AccessibilityElement* element) {
    CFRelease(GetReference(*element));
}

std::int32_t GetFrontProcessId() {
    ProcessSerialNumber process = {};
    pid_t processId = 0;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations" // Their replacement needs the main run loop.
    if (GetFrontProcess(&process) == 0) {
        GetProcessPID(&process, &processId);
    }
#pragma clang diagnostic pop
    return processId;
}

HeldAccessibilityElement CreateApplicationElement(std::int32_t processId) {
    return Hold(AXUIElementCreateApplication(processId));
}

HeldAccessibilityElement CopyFocusedWindow(AccessibilityElement& application) {
    CFTypeRef window = nullptr;
    // Only the value counts, whatever the result is.
    AXUIElementCopyAttributeValue(GetReference(application), CFSTR("AXFocusedWindow"), &window);
    return Hold(window);
}

std::optional<std::vector<HeldAccessibilityElement>> CopyWindows(AccessibilityElement& application,
                                                                 std::size_t maximumCount) {
    CFArrayRef copied = nullptr;
    const AXError error = AXUIElementCopyAttributeValues(GetReference(application), CFSTR("AXWindows"), 0,
                                                         static_cast<CFIndex>(maximumCount), &copied);
    const Held<CFArrayRef> windows(copied);
    if (error != kAXErrorSuccess || windows == nullptr) {
        return std::nullopt;
    }
    std::vector<HeldAccessibilityElement> result;
    for (CFIndex index = 0; index < CFArrayGetCount(windows.get()); ++index) {
        result.push_back(Hold(CFRetain(CFArrayGetValueAtIndex(windows.get(), index))));
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
