#include <Support/TestApplication.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Display/DisplayOperations.h>

#include <MacOS/Doubles/CoreGraphics.h>
#include <MacOS/MacHostTest.h>

#include <array>
#include <format>
#include <sstream>

namespace {

using namespace Tovra::System::Device::Display;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Tovra::Tests::MacHostTest;
using Tovra::Tests::TestApplication;
using Tovra::Tests::Doubles::displays;
using Tovra::Tests::Doubles::events;
using Tovra::Tests::Doubles::Failure;
using Tovra::Tests::Doubles::GetLeaks;
using Tovra::Tests::Doubles::Kind;
using Tovra::Tests::Doubles::objects;
using Tovra::Tests::Doubles::Unreference;

constexpr std::uint32_t nativeFlag = 0x02000000;

/// A laptop of twice as many pixels as points, and a monitor at its right, with the pointer on the latter.
class MacDisplayTest : public MacHostTest {
protected:
    MacDisplayTest() {
        displays.all = {{.id = 41,
                         .bounds = {{0, 0}, {1440, 900}},
                         .modes = {{.flags = 7, .width = 1440, .height = 900, .refreshRate = 60},
                                   {.flags = nativeFlag | 7, .width = 2880, .height = 1800, .refreshRate = 60}},
                         .mode = {{.width = 2880, .height = 1800, .refreshRate = 59.94}}},
                        {.id = 42,
                         .bounds = {{1440, -100}, {800, 600}},
                         .modes = {{.flags = nativeFlag, .width = 800, .height = 600, .refreshRate = 75}},
                         .mode = {{.width = 800, .height = 600, .refreshRate = 75}}}};
        events.pointer = {1500, 20};
    }

    /// Releases the present modes, which the host keeps. Returns their number.
    static int ReleaseKeptModes() {
        int count = 0;
        for (const auto& [pointer, object] : objects.all) {
            if (object->kind == Kind::DisplayMode && object->references > 0) {
                EXPECT_EQ(object->references, 1);
                Unreference(*object);
                ++count;
            }
        }
        return count;
    }

    /// What a display cache knows about the displays.
    static std::string ReadDisplays() {
        TestApplication application;
        DisplayCache cache;
        cache.IterateThroughDevices();
        std::string text;
        for (std::size_t index = 0; index < cache.GetDisplayInfoCount(); ++index) {
            const DisplayInfo& display = cache.GetDisplayInfo(index);
            text += std::format("{} at {}, {}: {}x{}, {}x{}, {}x{}, {} Hz{}{}; ", display.name, display.x, display.y,
                                display.width, display.height, display.pixelWidth, display.pixelHeight, display.scaleX,
                                display.scaleY, display.refreshRate, display.isPrimary ? ", primary" : "",
                                cache.GetActiveDisplay() == display.id ? ", active" : "");
        }
        ReleaseKeptModes();
        return text;
    }
};

TEST_F(MacDisplayTest, QueriesNothingBeforehand) {
    EXPECT_EQ(BeginDisplayQuery(), nullptr);
    EndDisplayQuery(nullptr);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(MacDisplayTest, FindsTheDisplaysUnderAPoint) {
    std::array<PlatformDisplayID, 1> ids = {};
    std::uint32_t count = 9;
    GetDisplaysWithPoint(nullptr, 1500, 20, ids, count);
    EXPECT_THAT(ids, ElementsAre(42));
    EXPECT_EQ(count, 1u);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGGetDisplaysWithPoint(1500, 20, 1)"));
    GetDisplaysWithPoint(nullptr, 1500, 5000, ids, count);
    EXPECT_EQ(count, 0u);
    Sweep(
        [&] {
            GetDisplaysWithPoint(nullptr, 1500, 20, ids, count);
            return std::format("{}: {}", count, ids[0]);
        },
        {{"CGGetDisplaysWithPoint", "0: 0"}});
}

TEST_F(MacDisplayTest, ListsTheDisplaysInUse) {
    std::array<PlatformDisplayID, mostDisplays> ids = {};
    std::uint32_t count = 0;
    EXPECT_EQ(GetActiveDisplayList(nullptr, ids, count), 0);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(ids[0], 41u);
    EXPECT_EQ(ids[1], 42u);
    EXPECT_EQ(GetMainDisplay(nullptr), 41u);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGGetActiveDisplayList(32)", "CGMainDisplayID()"));
}

TEST_F(MacDisplayTest, PassesOnThatTheDisplaysCannotBeListed) {
    Sweep(
        [] {
            std::array<PlatformDisplayID, 1> ids = {};
            std::uint32_t count = 0;
            return std::to_string(GetActiveDisplayList(nullptr, ids, count));
        },
        {{"CGGetActiveDisplayList", "1000"}});
}

TEST_F(MacDisplayTest, TellsAPlaceAndASizeInPoints) {
    const auto [x, y] = GetDisplayOrigin(nullptr, 42);
    EXPECT_EQ(x, 1440);
    EXPECT_EQ(y, -100);
    EXPECT_EQ(GetWidthInPoints(nullptr, 42), 800u);
    EXPECT_EQ(GetHeightInPoints(nullptr, 42), 600u);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGDisplayBounds(42)", "CGDisplayPixelsWide(42)", "CGDisplayPixelsHigh(42)"));
}

TEST_F(MacDisplayTest, ListsTheModes) {
    const std::vector<DisplayMode> modes = CopyDisplayModes(nullptr, 41);
    ASSERT_EQ(modes.size(), 2u);
    EXPECT_EQ(modes[0].flags, 7u);
    EXPECT_EQ(modes[1].flags, nativeFlag | 7);
    EXPECT_EQ(modes[1].width, 2880u);
    EXPECT_EQ(modes[1].height, 1800u);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("CGDisplayCopyAllDisplayModes(41, null)", "CFArrayGetCount(Array#1)",
                            "CFArrayGetValueAtIndex(Array#1, 0)", "CGDisplayModeGetIOFlags(DisplayMode#1)",
                            "CGDisplayModeGetWidth(DisplayMode#1)", "CGDisplayModeGetHeight(DisplayMode#1)",
                            "CFArrayGetCount(Array#1)", "CFArrayGetValueAtIndex(Array#1, 1)",
                            "CGDisplayModeGetIOFlags(DisplayMode#2)", "CGDisplayModeGetWidth(DisplayMode#2)",
                            "CGDisplayModeGetHeight(DisplayMode#2)", "CFArrayGetCount(Array#1)", "CFRelease(Array#1)"));
}

TEST_F(MacDisplayTest, ListsNoModesOfADisplayThatIsGone) {
    EXPECT_THAT(CopyDisplayModes(nullptr, 43), IsEmpty());
    Sweep([] { return std::to_string(CopyDisplayModes(nullptr, 41).size()); }, {{"CGDisplayCopyAllDisplayModes", "0"}});
}

TEST_F(MacDisplayTest, KeepsThePresentMode) {
    EXPECT_EQ(GetCurrentRefreshRate(nullptr, 41), 59.94);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGDisplayCopyDisplayMode(41)", "CGDisplayModeGetRefreshRate(DisplayMode#1)"));
    EXPECT_THAT(GetLeaks(), ElementsAre("DisplayMode#1"));
    EXPECT_EQ(ReleaseKeptModes(), 1);
}

TEST_F(MacDisplayTest, KnowsNoRateOfADisplayThatIsGone) {
    EXPECT_EQ(GetCurrentRefreshRate(nullptr, 43), 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("CGDisplayCopyDisplayMode(43)"));
    Sweep(
        [] {
            const std::string rate = std::format("{}", GetCurrentRefreshRate(nullptr, 42));
            ReleaseKeptModes();
            return rate;
        },
        {{"CGDisplayCopyDisplayMode", "0"}});
}

constexpr const char* laptop = "Display 41 at 0, 0: 1440x900, 2880x1800, 2x2, 59 Hz, primary; ";
constexpr const char* monitor = "Display 42 at 1440, -100: 800x600, 800x600, 1x1, 75 Hz, active; ";

TEST_F(MacDisplayTest, FillsTheCache) {
    EXPECT_EQ(ReadDisplays(), std::string(laptop) + monitor);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("CGEventCreate(null)", "CGEventGetLocation(Event#1)", "CFRelease(Event#1)",
                            "CGGetDisplaysWithPoint(1500, 20, 1)", "CGGetActiveDisplayList(32)", "CGMainDisplayID()",
                            // The first one.
                            "CGDisplayBounds(41)", "CGDisplayCopyAllDisplayModes(41, null)", "CFArrayGetCount(Array#1)",
                            "CFArrayGetValueAtIndex(Array#1, 0)", "CGDisplayModeGetIOFlags(DisplayMode#1)",
                            "CGDisplayModeGetWidth(DisplayMode#1)", "CGDisplayModeGetHeight(DisplayMode#1)",
                            "CFArrayGetCount(Array#1)", "CFArrayGetValueAtIndex(Array#1, 1)",
                            "CGDisplayModeGetIOFlags(DisplayMode#2)", "CGDisplayModeGetWidth(DisplayMode#2)",
                            "CGDisplayModeGetHeight(DisplayMode#2)", "CFArrayGetCount(Array#1)", "CFRelease(Array#1)",
                            "CGDisplayCopyDisplayMode(41)", "CGDisplayModeGetRefreshRate(DisplayMode#3)",
                            "CGDisplayPixelsWide(41)", "CGDisplayPixelsHigh(41)",
                            // The second one.
                            "CGDisplayBounds(42)", "CGDisplayCopyAllDisplayModes(42, null)", "CFArrayGetCount(Array#2)",
                            "CFArrayGetValueAtIndex(Array#2, 0)", "CGDisplayModeGetIOFlags(DisplayMode#4)",
                            "CGDisplayModeGetWidth(DisplayMode#4)", "CGDisplayModeGetHeight(DisplayMode#4)",
                            "CFArrayGetCount(Array#2)", "CFRelease(Array#2)", "CGDisplayCopyDisplayMode(42)",
                            "CGDisplayModeGetRefreshRate(DisplayMode#5)", "CGDisplayPixelsWide(42)",
                            "CGDisplayPixelsHigh(42)"));
}

TEST_F(MacDisplayTest, FillsTheCacheWithWhatItCanLearn) {
    const std::string both = std::string(laptop) + monitor;
    const std::string none;
    Sweep(ReadDisplays,
          {// Without the pointer's place it is taken for the origin.
           {"CGEventCreate",
            "Display 41 at 0, 0: 1440x900, 2880x1800, 2x2, 59 Hz, primary, active; "
            "Display 42 at 1440, -100: 800x600, 800x600, 1x1, 75 Hz; ",
            none},
           {"CGGetDisplaysWithPoint", std::string(laptop) + "Display 42 at 1440, -100: 800x600, 800x600, 1x1, 75 Hz; ",
            none},
           {"CGGetActiveDisplayList", none},
           {"CGMainDisplayID", "Display 41 at 0, 0: 1440x900, 2880x1800, 2x2, 59 Hz; " + std::string(monitor), none},
           {"CGDisplayBounds", both, none},
           {"CGDisplayCopyAllDisplayModes", monitor, none},
           {"CGDisplayCopyDisplayMode",
            "Display 41 at 0, 0: 1440x900, 2880x1800, 2x2, 0 Hz, primary; " + std::string(monitor),
            "Display 41 at 0, 0: 0x0, 0x0, infxinf, 0 Hz, primary; "},
           {"CGDisplayPixelsWide", "Display 41 at 0, 0: 0x900, 0x1800, infx2, 59 Hz, primary; " + std::string(monitor),
            "Display 41 at 0, 0: 0x0, 0x0, infxinf, 59 Hz, primary; "},
           {"CGDisplayPixelsHigh", "Display 41 at 0, 0: 1440x0, 2880x0, 2xinf, 59 Hz, primary; " + std::string(monitor),
            "Display 41 at 0, 0: 1440x0, 2880x0, 2xinf, 59 Hz, primary; "},
           {"CGDisplayBounds", std::string(laptop) + "Display 42 at 0, 0: 800x600, 800x600, 1x1, 75 Hz, active; ",
            laptop},
           {"CGDisplayCopyAllDisplayModes", laptop},
           {"CGDisplayCopyDisplayMode",
            std::string(laptop) + "Display 42 at 1440, -100: 800x600, 800x600, 1x1, 0 Hz, active; ",
            std::string(laptop) + "Display 42 at 1440, -100: 0x0, 0x0, infxinf, 0 Hz, active; "},
           {"CGDisplayPixelsWide",
            std::string(laptop) + "Display 42 at 1440, -100: 0x600, 0x1200, infx1, 75 Hz, active; ",
            std::string(laptop) + "Display 42 at 1440, -100: 0x0, 0x0, infxinf, 75 Hz, active; "},
           {"CGDisplayPixelsHigh",
            std::string(laptop) + "Display 42 at 1440, -100: 800x0, 1600x0, 1xinf, 75 Hz, active; "}});
    // A mode of another kind is none.
    Sweep(Failure::OtherKind, ReadDisplays,
          {{"CFArrayGetValueAtIndex", both, none},
           {"CFArrayGetValueAtIndex", monitor, none},
           {"CFArrayGetValueAtIndex", laptop}});
}

} // namespace
