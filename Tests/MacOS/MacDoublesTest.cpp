#include <ApplicationServices/ApplicationServices.h>
#include <MacOS/Doubles/Accessibility.h>
#include <MacOS/Doubles/CoreFoundation.h>
#include <MacOS/Doubles/CoreGraphics.h>
#include <MacOS/Doubles/System.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <mach-o/dyld.h>
#include <sys/sysctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Tovra::Tests::Doubles;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Records what macOS would not forgive.
class MacDoublesTest : public ::testing::Test {
protected:
    MacDoublesTest() {
        calls.onMisuse = [this](const std::string& what) { m_misuses.push_back(what); };
    }

    std::vector<std::string> TakeMisuses() { return std::exchange(m_misuses, {}); }

    static CFStringRef MakeString(const char* text = "text") {
        return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8);
    }

    std::vector<std::string> m_misuses;
};

TEST_F(MacDoublesTest, ReportNull) {
    CFRelease(nullptr);
    CFRetain(nullptr);
    CFGetTypeID(nullptr);
    CFArrayGetCount(nullptr);
    CFBooleanGetValue(nullptr);
    CGDisplayModeGetRefreshRate(nullptr);
    EXPECT_THAT(TakeMisuses(), ElementsAre("CFRelease(null): null", "CFRetain(null): null", "CFGetTypeID(null): null",
                                           "CFArrayGetCount(null): null", "CFBooleanGetValue(null): null",
                                           "CGDisplayModeGetRefreshRate(null): null"));
}

TEST_F(MacDoublesTest, AllowANullEvent) {
    EXPECT_EQ(CGEventGetLocation(nullptr).x, 0);
    CGEventSetIntegerValueField(nullptr, kCGMouseEventClickState, 2);
    CGEventPost(kCGHIDEventTap, nullptr);
    EXPECT_THAT(TakeMisuses(), IsEmpty());
    EXPECT_THAT(events.posted, IsEmpty());
}

TEST_F(MacDoublesTest, ReportAUseAfterTheLastRelease) {
    const CFStringRef string = MakeString();
    CFRetain(string);
    CFRelease(string);
    EXPECT_THAT(GetLeaks(), ElementsAre("String#1"));
    CFRelease(string);
    EXPECT_THAT(GetLeaks(), IsEmpty());
    EXPECT_THAT(TakeMisuses(), IsEmpty());
    CFRelease(string);
    CFRetain(string);
    std::array<char, 9> buffer = {};
    EXPECT_FALSE(CFStringGetCString(string, buffer.data(), 1, kCFStringEncodingMacRoman));
    EXPECT_THAT(TakeMisuses(),
                ElementsAre("CFRelease(String#1): String#1 was released before",
                            "CFRetain(String#1): String#1 was released before",
                            "CFStringGetCString(String#1, *, 1, 0): String#1 was released before",
                            "CFStringGetCString(String#1, *, 1, 0): no buffer, or an encoding of which the double "
                            "knows nothing"));
}

TEST_F(MacDoublesTest, ReportWhatBelongsToAnotherObjectAndWasReleased) {
    windowList.entries = {{{"kCGWindowName", "Name"}}};
    const CFArrayRef list = CGWindowListCopyWindowInfo(kCGWindowListOptionAll, kCGNullWindowID);
    const void* const entry = CFArrayGetValueAtIndex(list, 0);
    const void* const name = CFDictionaryGetValue(static_cast<CFDictionaryRef>(entry), kCGWindowName);
    CFRelease(entry);
    EXPECT_THAT(TakeMisuses(), IsEmpty());
    CFRelease(list);
    EXPECT_THAT(TakeMisuses(), ElementsAre("Dictionary#1 was released too often"));
    CFRelease(name);
    EXPECT_THAT(TakeMisuses(), ElementsAre("CFRelease(String#1): String#1 was released before"));
}

TEST_F(MacDoublesTest, FindWhatOutlivesItsOwner) {
    windowList.entries = {{{"kCGWindowName", "Name"}}};
    const CFArrayRef list = CGWindowListCopyWindowInfo(kCGWindowListOptionAll, kCGNullWindowID);
    CFRetain(CFArrayGetValueAtIndex(list, 0));
    EXPECT_THAT(GetLeaks(), ElementsAre("Array#1", "Dictionary#1"));
    CFRelease(list);
    EXPECT_THAT(GetLeaks(), ElementsAre("Dictionary#1"));
}

TEST_F(MacDoublesTest, ReportAQuestionToTheWrongKind) {
    const CFStringRef string = MakeString();
    std::int32_t number = 0;
    CGRect rectangle;
    CFTypeRef value = nullptr;
    CFArrayGetCount(reinterpret_cast<CFArrayRef>(string));
    CFNumberGetValue(reinterpret_cast<CFNumberRef>(string), kCFNumberIntType, &number);
    CFDictionaryGetValue(reinterpret_cast<CFDictionaryRef>(string), string);
    CGRectMakeWithDictionaryRepresentation(reinterpret_cast<CFDictionaryRef>(string), &rectangle);
    CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(string));
    CFBundleCreate(nullptr, reinterpret_cast<CFURLRef>(string));
    CGEventGetLocation(reinterpret_cast<CGEventRef>(const_cast<__CFString*>(string)));
    CGDisplayModeGetWidth(reinterpret_cast<CGDisplayModeRef>(const_cast<__CFString*>(string)));
    AXUIElementCopyAttributeValue(reinterpret_cast<AXUIElementRef>(string), string, &value);
    AXValueGetValue(reinterpret_cast<AXValueRef>(string), kAXValueTypeCGPoint, &rectangle);
    std::vector<std::string> misuses = TakeMisuses();
    for (std::string& misuse : misuses) {
        misuse = misuse.substr(misuse.rfind(": ") + 2);
    }
    EXPECT_THAT(misuses, ElementsAre("String#1 is no Array", "String#1 is no Number", "String#1 is no Dictionary",
                                     "String#1 is no Dictionary", "String#1 is no Boolean", "String#1 is no Url",
                                     "String#1 is no Event", "String#1 is no DisplayMode", "String#1 is no Element",
                                     "String#1 is no Geometry"));
    CFRelease(string);
    int other = 0;
    CFRelease(&other);
    EXPECT_THAT(TakeMisuses(), ElementsAre("CFRelease(*): no object"));
}

TEST_F(MacDoublesTest, ReportAnIndexThatIsNotThere) {
    const CFArrayRef list = CGWindowListCopyWindowInfo(kCGWindowListOptionAll, kCGNullWindowID);
    EXPECT_EQ(CFArrayGetValueAtIndex(list, 0), nullptr);
    EXPECT_EQ(CFArrayGetValueAtIndex(list, -1), nullptr);
    CFRelease(list);
    EXPECT_THAT(TakeMisuses(), ElementsAre("CFArrayGetValueAtIndex(Array#1, 0): no such index",
                                           "CFArrayGetValueAtIndex(Array#1, -1): no such index"));
}

TEST_F(MacDoublesTest, KeepConstantObjects) {
    EXPECT_EQ(CFSTR("a"), CFSTR("a"));
    EXPECT_NE(CFSTR("a"), CFSTR("b"));
    CFRelease(CFSTR("a"));
    CFRelease(CFSTR("a"));
    CFRelease(kCFBooleanTrue);
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_THAT(TakeMisuses(), IsEmpty());
    EXPECT_THAT(GetLeaks(), IsEmpty());
}

TEST_F(MacDoublesTest, ConvertNumbersWithoutLoss) {
    windowList.entries = {{{"int", 7}, {"big", std::int64_t{1} << 40}, {"double", 2.5}, {"whole", 2.0}}};
    const CFArrayRef list = CGWindowListCopyWindowInfo(kCGWindowListOptionAll, kCGNullWindowID);
    const auto read = [list](CFStringRef key, CFNumberType type, auto number) {
        const auto* const entry = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(list, 0));
        const bool isExact =
            CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(entry, key)), type, &number) != 0;
        return std::pair(isExact, number);
    };
    EXPECT_EQ(read(CFSTR("int"), kCFNumberSInt32Type, std::int32_t{}), std::pair(true, 7));
    EXPECT_EQ(read(CFSTR("int"), kCFNumberDoubleType, double{}), std::pair(true, 7.0));
    EXPECT_EQ(read(CFSTR("whole"), kCFNumberIntType, std::int32_t{}), std::pair(true, 2));
    EXPECT_EQ(read(CFSTR("double"), kCFNumberIntType, std::int32_t{}), std::pair(false, 2));
    EXPECT_FALSE(read(CFSTR("big"), kCFNumberIntType, std::int32_t{}).first);
    CFRelease(list);
}

TEST_F(MacDoublesTest, FailTheCallThatTheTestNames) {
    const auto run = [](std::size_t failing, bool lasts, const char* function) {
        calls.failing = failing;
        calls.lasts = lasts;
        calls.failingFunction = function;
        calls.fallible.clear();
        std::string results;
        for (int round = 0; round < 3; ++round) {
            results += CGMainDisplayID() == 0 ? 'x' : '.';
            results += CGDisplayPixelsWide(1) == 0 ? 'x' : '.';
        }
        return results;
    };
    displays.all = {{.id = 1, .bounds = {{0, 0}, {10, 10}}}};
    EXPECT_EQ(run(0, false, ""), "......");
    EXPECT_EQ(run(2, false, ""), ".x....");
    EXPECT_EQ(run(3, true, ""), "..xxxx");
    EXPECT_EQ(run(2, false, "CGDisplayPixelsWide"), "...x..");
    EXPECT_EQ(run(2, true, "CGMainDisplayID"), "..x.x.");
}

TEST_F(MacDoublesTest, LeaveGarbageAfterAnError) {
    calls.failing = 1;
    calls.lasts = true;
    std::uint32_t id = 0;
    std::uint32_t count = 0;
    EXPECT_EQ(CGGetActiveDisplayList(1, &id, &count), kCGErrorFailure);
    EXPECT_NE(id, 0u);
    EXPECT_NE(count, 0u);
    std::array<char, PROC_PIDPATHINFO_SIZE> path = {};
    EXPECT_EQ(proc_pidpath(1, path.data(), path.size()), 0);
    EXPECT_EQ(std::ranges::count(path, '\0'), 0);
    std::size_t size = 0;
    EXPECT_EQ(sysctlbyname("name", nullptr, &size, nullptr, 0), -1);
    EXPECT_NE(size, 0u);
    ProcessSerialNumber process = {};
    EXPECT_NE(GetFrontProcess(&process), 0);
    EXPECT_NE(process.lowLongOfPSN, 0u);
}

TEST_F(MacDoublesTest, WriteATextThatDoesNotFitInPart) {
    const CFStringRef string = MakeString("abcdef");
    std::array<char, 7> buffer = {};
    EXPECT_FALSE(CFStringGetCString(string, buffer.data(), 6, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer.data(), "abc");
    EXPECT_TRUE(CFStringGetCString(string, buffer.data(), 7, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer.data(), "abcdef");
    CFRelease(string);
}

TEST(MacDoublesDeathTest, EndTheProcessThatNoTestWatches) {
    EXPECT_EXIT(CFRelease(nullptr), ::testing::KilledBySignal(SIGABRT),
                "macOS would not forgive: CFRelease\\(null\\): null");
}

} // namespace
