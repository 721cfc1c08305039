// Label: threaded

#include <Fakes/DisplayOperations.h>
#include <Fakes/MouseOperations.h>
#include <Fakes/ProcessWindowOperations.h>
#include <Support/Assertions.h>
#include <Support/TestLogger.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Display/DisplayChanges.h>
#include <System/Runtime/ApplicationAccess.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <sstream>
#include <type_traits>
#include <utility>

namespace {

using namespace std::chrono_literals;
using namespace Tovra::System::Device::Display;

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Tovra::System::GUID;
using Tovra::System::Log::Context;
using Tovra::System::Log::ContextRegistry;
using Tovra::System::Log::StreamID;
using Tovra::System::Math::Rectangle;
using Tovra::System::Processes::ProcessWindow;
using Tovra::System::Runtime::ISystem;
using Tovra::System::Runtime::SystemExecutionParameters;
using Tovra::Tests::ApplicationTest;
using Tovra::Tests::TestLogger;
using Tovra::Tests::Fakes::DisplayOperations;
using Tovra::Tests::Fakes::displayOperations;
using Tovra::Tests::Fakes::FakeDisplay;
using Tovra::Tests::Fakes::mouseOperations;
using Tovra::Tests::Fakes::processWindowOperations;
namespace MessageType = Tovra::System::Log::MessageType;

constexpr unsigned long window = 7;

/// A display whose own mode has as many pixels as it has points.
FakeDisplay MakeDisplay(PlatformDisplayID id, double x, double y, std::size_t width, std::size_t height) {
    return {.id = id,
            .x = x,
            .y = y,
            .width = width,
            .height = height,
            .modes = {{.flags = DisplayMode::s_nativeFlag, .width = width, .height = height}}};
}

/// Adds a window of that number.
void ShowWindow(unsigned long number, double x, double y, double width, double height) {
    processWindowOperations.entries.push_back(
        {.number = static_cast<std::uint32_t>(number),
         .bounds = Tovra::System::Processes::WindowBounds{.x = x, .y = y, .width = width, .height = height}});
}

/// Two monitors side by side, the left one the main one, with a window on it; the pointer on neither; and a logger that
/// passes all messages of the cache.
class DisplayCacheTest : public ::testing::Test {
protected:
    DisplayCacheTest() {
        m_host.displays = {MakeDisplay(41, 0, 0, 1440, 900), MakeDisplay(42, 1440, 0, 800, 600)};
        m_host.mainDisplay = 41;
        mouseOperations.pointer = {.x = -5, .y = -5};
        ShowWindow(window, 10, 20, 300, 200);
        m_log.m_config.m_streamSeverities.front() |= StreamID::DisplayCache;
        m_log.Initialize();
    }
    ~DisplayCacheTest() override {
        m_cache.reset();
        EXPECT_EQ(m_host.openQueries, 0);
        ContextRegistry::ForEachContext([](Context& context) {
            if (context.stream == StreamID::DisplayCache) {
                context.stream = StreamID::System;
            }
        });
    }

    /// Lists the displays and clears log and recorded calls.
    void Initialize() {
        EXPECT_TRUE(m_cache->Initialize(nullptr));
        TakeLines();
        m_host.calls.clear();
        m_host.sleeps.clear();
    }

    /// The lines logged since the last call, without their times.
    std::vector<std::string> TakeLines() {
        std::vector<std::string> lines;
        std::istringstream text(m_log.ReadAll());
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line.substr(line.find("Z | ") + 4));
        }
        const std::vector<std::string> fresh(lines.begin() + static_cast<std::ptrdiff_t>(m_lineCount), lines.end());
        m_lineCount = lines.size();
        return fresh;
    }

    /// Counts the calls of both lists of callbacks.
    void Listen() {
        m_cache->AddOnActiveDisplayChangedCallback(this, [this](DisplayID id) { m_activeDisplays.push_back(id); });
        m_cache->AddOnRefreshedCallback(this, [this] { ++m_refreshes; });
    }

    /// The names of all records, in order.
    std::vector<std::string> GetNames() const {
        std::vector<std::string> names;
        for (unsigned long index = 0; index < m_cache->GetDisplayInfoCount(); ++index) {
            names.push_back(m_cache->GetDisplayInfo(index).name);
        }
        return names;
    }

    const DisplayInfo& GetFirst() const { return m_cache->GetDisplayInfo(0UL); }

    DisplayOperations& m_host = displayOperations;
    TestLogger m_log;
    std::optional<DisplayCache> m_cache{std::in_place};
    std::vector<DisplayID> m_activeDisplays; ///< What the callback on the active display was given, in order.
    int m_refreshes = 0;

private:
    std::size_t m_lineCount = 0;
};

TEST(DisplayCache, HasItsIdentity) {
    const Tovra::Tests::TestApplication application;
    const DisplayCache cache;
    EXPECT_STREQ(cache.GetSystemName(), "DisplayCache");
    EXPECT_EQ(cache.GetSystemGUID(), (GUID{0x2741C9268DCB47A2, 0x9DE7F385B2457F35}));
    EXPECT_EQ(cache.GetTypeID(), 0xC1F295C4U);
    EXPECT_FALSE(cache.IsOptional());
    EXPECT_EQ(cache.GetSystemState(), ISystem::State::Undefined);
    EXPECT_TRUE((std::is_same_v<DisplayCache::Config_Type, Tovra::System::Runtime::EmptyConfig>));
}

TEST(DisplayCache, DisplayIDHasSixteenBits) {
    EXPECT_TRUE((std::is_same_v<DisplayID, std::uint16_t>));
    EXPECT_EQ(noDisplay, 65535);
}

TEST(DisplayCache, RefreshTypeHasItsNamesAndNumbers) {
    EXPECT_STREQ(GetRefreshTypeString(static_cast<RefreshType>(0)), "Undefined");
    EXPECT_STREQ(GetRefreshTypeString(static_cast<RefreshType>(1)), "DisplayAdded");
    EXPECT_STREQ(GetRefreshTypeString(static_cast<RefreshType>(2)), "DisplayChanged");
    EXPECT_STREQ(GetRefreshTypeString(static_cast<RefreshType>(3)), "DisplayRemoved");
    EXPECT_STREQ(GetRefreshTypeString(static_cast<RefreshType>(4)), "_count");
    EXPECT_EQ(sizeof(RefreshType), 4U);
}

TEST(DisplayCacheRefreshTypeDeathTest, HasNoNameForAnotherNumber) {
    EXPECT_ASSERTION(GetRefreshTypeString(static_cast<RefreshType>(5)), "false",
                     "Implementation of case directive is missing.");
    EXPECT_ASSERTION(GetRefreshTypeString(static_cast<RefreshType>(0xFFFFFFFF)), "false",
                     "Implementation of case directive is missing.");
}

TEST(DisplayCache, DisplayInfoBeginsWithoutADisplay) {
    const DisplayInfo info;
    EXPECT_EQ(info.platformId, 0xFFFFFFFFU);
    EXPECT_EQ(info.parent, 65535);
    EXPECT_FALSE(info.isPrimary);
}

TEST(DisplayCache, DisplayInfoHasItsFieldsInOrder) {
    const DisplayInfo info{"Display 7", 1, 2, 3, 4, 5, 6, 7, 8.5, 9.5, -10, -11, 12, true};
    EXPECT_EQ(info.name, "Display 7");
    EXPECT_EQ(info.id, 1);
    EXPECT_EQ(info.parent, 2);
    EXPECT_EQ(info.platformId, 3U);
    EXPECT_EQ(info.width, 4);
    EXPECT_EQ(info.height, 5);
    EXPECT_EQ(info.pixelWidth, 6);
    EXPECT_EQ(info.pixelHeight, 7);
    EXPECT_EQ(info.scaleX, 8.5);
    EXPECT_EQ(info.scaleY, 9.5);
    EXPECT_EQ(info.x, -10);
    EXPECT_EQ(info.y, -11);
    EXPECT_EQ(info.refreshRate, 12);
    EXPECT_TRUE(info.isPrimary);
    EXPECT_EQ(sizeof(DisplayInfo::isPrimary), 1U);
}

TEST(DisplayCache, VirtualDisplayInfoBeginsWithoutAWindow) {
    EXPECT_EQ(VirtualDisplayInfo{}.window.handle, 0UL);
}

TEST_F(DisplayCacheTest, BeginsEmpty) {
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 65535);
    EXPECT_EQ(m_cache->GetActiveDisplay(), 65535);
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 65535);
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), Rectangle{});
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 0UL);
    EXPECT_EQ(m_cache->GetDisplay(0, 0), 65535);
    EXPECT_THAT(m_host.calls, IsEmpty());
}

TEST_F(DisplayCacheTest, SaysThatItIsDestroyed) {
    Initialize();
    m_cache.reset();
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Debug: Display cache destroyed."));
}

TEST_F(DisplayCacheTest, AsksForNoThread) {
    SystemExecutionParameters parameters;
    m_cache->GetExecutionParameters(parameters);
    EXPECT_EQ(parameters.m_executionType, SystemExecutionParameters::ThreadModel::Unset);
    EXPECT_EQ(parameters.m_threadEntryPoint, nullptr);
}

TEST_F(DisplayCacheTest, HasNothingToPrepareOnItsHost) {
    EXPECT_TRUE(DisplayCache::InitializePlatform(nullptr));
    EXPECT_THAT(m_host.calls, IsEmpty());
}

TEST_F(DisplayCacheTest, InitializesByListingTheDisplaysOnce) {
    Listen();
    EXPECT_TRUE(m_cache->Initialize(nullptr));
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Display #1 (0,0 1440x900) primary.",
                                         "DisplayCache] Display #2 (1440,0 800x600)."));
    EXPECT_THAT(m_host.calls, ElementsAre("Begin", "WithPoint", "List", "Main"));
    EXPECT_EQ(m_refreshes, 0);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
}

TEST_F(DisplayCacheTest, HasItsStreamBeforeItListsTheDisplays) {
    std::vector<MessageType::ID> severities;
    m_host.onBegin = [&severities] {
        ContextRegistry::ForEachContext([&severities](const Context& context) {
            if (context.stream == StreamID::DisplayCache) {
                severities.push_back(context.severity);
            }
        });
    };
    EXPECT_TRUE(m_cache->Initialize(nullptr));
    EXPECT_THAT(severities, ElementsAre(MessageType::ID::Debug));
}

TEST_F(DisplayCacheTest, InitializesWithoutWaitingForDisplays) {
    m_host.displays.clear();
    EXPECT_TRUE(m_cache->Initialize(nullptr));
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 0UL);
    EXPECT_THAT(m_host.sleeps, IsEmpty());
    EXPECT_THAT(TakeLines(), IsEmpty());
}

TEST_F(DisplayCacheTest, IsFilteredByTheStreamOfTheFrameworkUntilItIsInitialized) {
    m_cache->Refresh(RefreshType::Undefined);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Info: Display cache refresh reason: Undefined",
                                         "DisplayCache] Display #1 (0,0 1440x900) primary.",
                                         "DisplayCache] Display #2 (1440,0 800x600)."));
    Initialize();
    m_cache->Refresh(RefreshType::Undefined);
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                            "DisplayCache] Info: Display cache refresh reason: Undefined",
                            "DisplayCache] Display #1 (0,0 1440x900) primary.",
                            "DisplayCache] Display #2 (1440,0 800x600).", "DisplayCache] Debug: Refresh end"));
}

TEST_F(DisplayCacheTest, FillsARecord) {
    m_host.displays = {MakeDisplay(4280222338, -1440, -30, 1440, 900)};
    m_host.mainDisplay = 4280222338;
    Initialize();
    const DisplayInfo& info = GetFirst();
    EXPECT_EQ(info.name, "Display 4280222338");
    EXPECT_EQ(info.id, 1);
    EXPECT_EQ(info.parent, 65535);
    EXPECT_EQ(info.platformId, 4280222338U);
    EXPECT_EQ(info.width, 1440);
    EXPECT_EQ(info.height, 900);
    EXPECT_EQ(info.pixelWidth, 1440);
    EXPECT_EQ(info.pixelHeight, 900);
    EXPECT_EQ(info.scaleX, 1.0);
    EXPECT_EQ(info.scaleY, 1.0);
    EXPECT_EQ(info.x, -1440);
    EXPECT_EQ(info.y, -30);
    EXPECT_EQ(info.refreshRate, 60);
    EXPECT_TRUE(info.isPrimary);
}

TEST_F(DisplayCacheTest, NumbersDisplaysFromOneInTheSystemsOrder) {
    Initialize();
    EXPECT_THAT(GetNames(), ElementsAre("Display 41", "Display 42"));
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{1})->platformId, 41U);
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{2})->platformId, 42U);
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{2})->id, 2);
    EXPECT_FALSE(m_cache->GetDisplayInfo(DisplayID{2})->isPrimary);
}

TEST_F(DisplayCacheTest, ReportsTwiceThePointsForAScaledDisplayWhateverItsScale) {
    m_host.displays.front().modes = {{.flags = DisplayMode::s_nativeFlag, .width = 4320, .height = 1350}};
    Initialize();
    EXPECT_EQ(GetFirst().pixelWidth, 2880);
    EXPECT_EQ(GetFirst().pixelHeight, 1800);
    EXPECT_EQ(GetFirst().scaleX, 3.0);
    EXPECT_EQ(GetFirst().scaleY, 1.5);
}

TEST_F(DisplayCacheTest, CountsAsScaledIfOneOfBothExtentsDiffers) {
    m_host.displays.front().modes = {{.flags = DisplayMode::s_nativeFlag, .width = 1440, .height = 901}};
    m_host.displays.back().modes = {{.flags = DisplayMode::s_nativeFlag, .width = 400, .height = 600}};
    Initialize();
    EXPECT_EQ(GetFirst().pixelWidth, 2880);
    EXPECT_EQ(GetFirst().pixelHeight, 1800);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).pixelWidth, 1600);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).pixelHeight, 1200);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).scaleX, 0.5);
}

TEST_F(DisplayCacheTest, LosesWhatDoublingBringsBeyondSixteenBits) {
    m_host.displays = {MakeDisplay(41, 0, 0, 40000, 65535)};
    m_host.displays.front().modes.front().width = 1;
    Initialize();
    EXPECT_EQ(GetFirst().pixelWidth, 14464);
    EXPECT_EQ(GetFirst().pixelHeight, 65534);
}

TEST_F(DisplayCacheTest, TakesTheFirstNativeMode) {
    m_host.displays.front().modes = {{.flags = 0x01FFFFFF, .width = 1, .height = 1},
                                     {.flags = 0xFDFFFFFF, .width = 2, .height = 2},
                                     {.flags = 0x02000003, .width = 2880, .height = 1800},
                                     {.flags = 0x02000000, .width = 1440, .height = 900}};
    Initialize();
    EXPECT_EQ(GetFirst().scaleX, 2.0);
}

TEST_F(DisplayCacheTest, PassesOverADisplayWithoutANativeModeAndLeavesNoHoleInTheIds) {
    m_host.displays.front().modes.front().flags = 0xFDFFFFFF;
    Initialize();
    EXPECT_THAT(GetNames(), ElementsAre("Display 42"));
    EXPECT_EQ(GetFirst().id, 1);
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 65535) << "The main display is not on the list.";
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 1);
}

TEST_F(DisplayCacheTest, PassesOverADisplayWithoutModes) {
    m_host.displays.front().modes.clear();
    Initialize();
    EXPECT_THAT(GetNames(), ElementsAre("Display 42"));
    EXPECT_THAT(m_host.ratedDisplays, ElementsAre(42U)) << "What is kept for good is asked of no display in vain.";
}

TEST_F(DisplayCacheTest, PassesOverADisplayWhoseNativeModeHasNoExtentInSixteenBits) {
    m_host.displays.front().modes.front().width = 0x10000;
    m_host.displays.back().modes.front().height = 0;
    m_host.displays.push_back(MakeDisplay(43, 0, 0, 100, 100));
    m_host.displays.back().modes.front().width = 0x10064;
    Initialize();
    EXPECT_THAT(GetNames(), ElementsAre("Display 43"));
    EXPECT_EQ(GetFirst().scaleX, 1.0) << "The sixteen low bits of the native width count.";
}

TEST_F(DisplayCacheTest, PassesOverADisplayWhoseNativeHeightIsLostInSixteenBits) {
    m_host.displays.front().modes.front().height = 0x10000;
    m_host.displays.back().modes.front().width = 0;
    m_host.displays.push_back(MakeDisplay(43, 0, 0, 100, 100));
    m_host.displays.back().modes.front().height = 0x100C8;
    Initialize();
    EXPECT_THAT(GetNames(), ElementsAre("Display 43"));
    EXPECT_EQ(GetFirst().scaleY, 2.0) << "The sixteen low bits of the native height count.";
    EXPECT_EQ(GetFirst().scaleX, 1.0);
}

TEST_F(DisplayCacheTest, CutsTheFractionOfRateAndPlaceOff) {
    m_host.displays.front().refreshRate = 59.94;
    m_host.displays.front().x = -10.9;
    m_host.displays.front().y = 20.9;
    m_host.displays.back().refreshRate = 0;
    Initialize();
    EXPECT_EQ(GetFirst().refreshRate, 59);
    EXPECT_EQ(GetFirst().x, -10);
    EXPECT_EQ(GetFirst().y, 20);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).refreshRate, 0);
}

TEST_F(DisplayCacheTest, LosesWhatARateHasBeyondSixteenBits) {
    m_host.displays.front().refreshRate = 65536 + 59.94;
    Initialize();
    EXPECT_EQ(GetFirst().refreshRate, 59);
}

TEST_F(DisplayCacheTest, TakesExtentsAndPlacesToTheLimitsOfSixteenBits) {
    m_host.displays = {MakeDisplay(41, -32768.0, 32767.0, 65535, 65535)};
    Initialize();
    EXPECT_EQ(GetFirst().width, 65535);
    EXPECT_EQ(GetFirst().height, 65535);
    EXPECT_EQ(GetFirst().x, -32768);
    EXPECT_EQ(GetFirst().y, 32767);
}

using DisplayCacheDeathTest = DisplayCacheTest;

TEST_F(DisplayCacheDeathTest, TakesNoWidthBeyondSixteenBits) {
    m_host.displays.front().width = 0x10000;
    EXPECT_ASSERTION(m_cache->IterateThroughDevices(), "value <= validMaxValue",
                     "Value must be equal or smaller than the target type's minimum value");
}

TEST_F(DisplayCacheDeathTest, TakesNoHeightBeyondSixteenBits) {
    m_host.displays.front().height = 0x10000;
    EXPECT_ASSERTION(m_cache->IterateThroughDevices(), "value <= validMaxValue",
                     "Value must be equal or smaller than the target type's minimum value");
}

TEST_F(DisplayCacheDeathTest, TakesNoOriginBelowSixteenBits) {
    m_host.displays.front().x = -32768.5;
    EXPECT_ASSERTION(m_cache->IterateThroughDevices(), "value >= validMinValue",
                     "Value must be equal or greater than the target type's minimum value");
    m_host.displays.front() = MakeDisplay(41, 0, -32769, 1, 1);
    EXPECT_ASSERTION(m_cache->IterateThroughDevices(), "value >= validMinValue",
                     "Value must be equal or greater than the target type's minimum value");
}

TEST_F(DisplayCacheDeathTest, TakesNoOriginAboveSixteenBits) {
    m_host.displays.front().x = 32767.5;
    EXPECT_ASSERTION(m_cache->IterateThroughDevices(), "value <= validMaxValue",
                     "Value must be equal or smaller than the target type's minimum value");
    m_host.displays.front() = MakeDisplay(41, 0, 32768, 1, 1);
    EXPECT_ASSERTION(m_cache->IterateThroughDevices(), "value <= validMaxValue",
                     "Value must be equal or smaller than the target type's minimum value");
}

TEST_F(DisplayCacheTest, MakesTheDisplayUnderThePointerActiveAndTellsNobody) {
    mouseOperations.pointer = {.x = 1440.9, .y = 599.9};
    Listen();
    EXPECT_TRUE(m_cache->Initialize(nullptr));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_THAT(m_host.points, ElementsAre(std::pair(1440.0, 599.0)));
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Display #1 (0,0 1440x900) primary.",
                                         "DisplayCache] Display #2 (1440,0 800x600) active."));
}

TEST_F(DisplayCacheTest, LogsADisplayThatIsPrimaryAndActive) {
    mouseOperations.pointer = {.x = 1, .y = 1};
    m_host.displays.pop_back();
    EXPECT_TRUE(m_cache->Initialize(nullptr));
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Display #1 (0,0 1440x900) primary active."));
}

TEST_F(DisplayCacheTest, LooksForTheDisplayUnderThePointerByWayOfAFloat) {
    mouseOperations.pointer = {.x = 16777217, .y = -16777219};
    Initialize();
    EXPECT_THAT(m_host.points, ElementsAre(std::pair(16777216.0, -16777220.0)));
}

TEST_F(DisplayCacheTest, LeavesTheActiveDisplayAloneIfThePointerIsOnNone) {
    m_host.displays.push_back(MakeDisplay(1, 2240, 0, 100, 100));
    Initialize();
    EXPECT_EQ(m_cache->GetActiveDisplay(), 65535) << "Not the one with the smallest number, either.";
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 1);
}

TEST_F(DisplayCacheTest, LeavesTheActiveDisplayAloneIfTheOneUnderThePointerIsPassedOver) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    mouseOperations.pointer = {.x = 1, .y = 1};
    m_host.displays.front().modes.clear();
    m_cache->IterateThroughDevices();
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
}

TEST_F(DisplayCacheTest, AsksForThirtyTwoDisplays) {
    m_host.displays.clear();
    for (PlatformDisplayID id = 1; id <= 40; ++id) {
        m_host.displays.push_back(MakeDisplay(id, 0, 0, 10, 10));
    }
    Initialize();
    EXPECT_THAT(m_host.capacities, ElementsAre(32U));
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 32UL);
}

TEST_F(DisplayCacheTest, HasNoDisplaysThatTheSystemFailsToList) {
    for (const std::int32_t error : {1001, 1, -1}) {
        m_host.listFault = {.call = 1, .result = error};
        EXPECT_TRUE(m_cache->Initialize(nullptr));
        EXPECT_EQ(m_cache->GetDisplayInfoCount(), 0UL) << error;
        EXPECT_THAT(std::exchange(m_host.calls, {}), ElementsAre("Begin", "WithPoint", "List"));
        EXPECT_THAT(TakeLines(), IsEmpty());
    }
}

TEST_F(DisplayCacheTest, KnowsThePrimaryDisplay) {
    m_host.mainDisplay = 42;
    Initialize();
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 2);
    EXPECT_FALSE(GetFirst().isPrimary);
    EXPECT_TRUE(m_cache->GetDisplayInfo(1UL).isPrimary);
}

TEST_F(DisplayCacheTest, PutsTheDesktopAroundAllDisplaysAndTheOrigin) {
    m_host.displays = {MakeDisplay(41, 100, 200, 1440, 900), MakeDisplay(42, 1540, 300, 800, 1600)};
    Initialize();
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), (Rectangle{0, 0, 2340, 1900}));
    m_host.displays = {MakeDisplay(41, -1440, -900, 1440, 900)};
    m_cache->Refresh(RefreshType::DisplayChanged);
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), (Rectangle{-1440, -900, 0, 0}));
}

TEST_F(DisplayCacheTest, PutsTheDesktopAroundADisplayWhoeverComesAfterIt) {
    m_host.displays = {MakeDisplay(41, -200, -300, 1000, 900), MakeDisplay(42, -100, -100, 300, 200)};
    Initialize();
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), (Rectangle{-200, -300, 800, 600}));
    std::ranges::reverse(m_host.displays);
    m_cache->Refresh(RefreshType::DisplayChanged);
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), (Rectangle{-200, -300, 800, 600}));
}

TEST_F(DisplayCacheTest, AppendsToTheListWhereItIsNotEmpty) {
    Initialize();
    m_cache->AddVirtualDisplay(Rectangle{0, 0, 10, 10});
    TakeLines();
    m_cache->IterateThroughDevices();
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 4);
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Display #1 (0,0 1440x900).", "DisplayCache] Display #2 (1440,0 800x600).",
                            "DisplayCache] Display #3 (0,0 10x10) virtual.",
                            "DisplayCache] Display #4 (0,0 1440x900) primary.",
                            "DisplayCache] Display #5 (1440,0 800x600)."));
}

TEST_F(DisplayCacheTest, GivesARecordByItsId) {
    Initialize();
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{0}), nullptr);
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{3}), nullptr);
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{65535}), nullptr);
    EXPECT_EQ(m_cache->GetDisplayInfo(DisplayID{2}), &m_cache->GetDisplayInfo(1UL));
}

TEST_F(DisplayCacheDeathTest, GivesNoRecordBeyondItsList) {
    Initialize();
    EXPECT_ASSERTION(m_cache->GetDisplayInfo(2UL), "index < m_displays.size()", "Parameter 'index' is out-of-range.");
}

TEST_F(DisplayCacheTest, KnowsWhichIdsAreAvailable) {
    EXPECT_TRUE(m_cache->IsDisplayAvailable(65535));
    EXPECT_FALSE(m_cache->IsDisplayAvailable(1));
    Initialize();
    EXPECT_TRUE(m_cache->IsDisplayAvailable(65535));
    EXPECT_FALSE(m_cache->IsDisplayAvailable(0));
    EXPECT_TRUE(m_cache->IsDisplayAvailable(1));
    EXPECT_TRUE(m_cache->IsDisplayAvailable(2));
    EXPECT_FALSE(m_cache->IsDisplayAvailable(3));
    EXPECT_FALSE(m_cache->IsDisplayAvailable(65534));
}

TEST_F(DisplayCacheTest, HasADefaultDisplay) {
    m_host.mainDisplay = 42;
    Initialize();
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 2) << "The primary one, as none is active.";
    m_cache->SetActiveDisplay(1);
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 1);
    m_cache->SetActiveDisplay(65535);
    m_host.mainDisplay = 99;
    m_cache->Refresh(RefreshType::DisplayChanged);
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 65535);
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 1) << "The first one, as none is active or primary.";
}

TEST_F(DisplayCacheTest, SetsTheActiveDisplayAndTellsItsListeners) {
    Initialize();
    Listen();
    m_cache->SetActiveDisplay(2);
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, ElementsAre(2));
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Verbose: SetActiveDisplay from 65535 to 2."));
    EXPECT_EQ(m_refreshes, 0);
}

TEST_F(DisplayCacheTest, SetsAnActiveDisplayThatDoesNotExist) {
    Initialize();
    m_cache->SetActiveDisplay(1234);
    EXPECT_EQ(m_cache->GetActiveDisplay(), 1234);
    EXPECT_EQ(m_cache->GetDefaultDisplay(), 1234);
}

TEST_F(DisplayCacheTest, DoesNothingIfTheDisplayIsActiveAlready) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    TakeLines();
    Listen();
    m_cache->SetActiveDisplay(2);
    EXPECT_THAT(TakeLines(), IsEmpty());
    EXPECT_THAT(m_activeDisplays, IsEmpty());
}

TEST_F(DisplayCacheTest, TellsEachListenerWhatIsActiveWhenItsTurnComes) {
    Initialize();
    std::vector<std::string> calls;
    int first = 0;
    int second = 0;
    m_cache->AddOnActiveDisplayChangedCallback(&first, [&](DisplayID id) {
        calls.push_back("first " + std::to_string(id));
        m_cache->SetActiveDisplay(1);
    });
    m_cache->AddOnActiveDisplayChangedCallback(&second,
                                               [&](DisplayID id) { calls.push_back("second " + std::to_string(id)); });
    m_cache->SetActiveDisplay(2);
    EXPECT_THAT(calls, ElementsAre("first 2", "first 1", "second 1", "second 1"));
}

TEST_F(DisplayCacheTest, LetsCallbacksAddAndRemoveCallbacks) {
    Initialize();
    int other = 0;
    int calls = 0;
    m_cache->AddOnRefreshedCallback(this, [&] {
        m_cache->RemoveOnRefreshedCallback(this);
        m_cache->AddOnRefreshedCallback(&other, [&calls] { ++calls; });
    });
    m_cache->AddOnActiveDisplayChangedCallback(this, [&](DisplayID) {
        m_cache->RemoveOnActiveDisplayChangedCallback(this);
        m_cache->AddOnActiveDisplayChangedCallback(&other, [&calls](DisplayID) { ++calls; });
    });
    m_cache->Refresh(RefreshType::Undefined);
    m_cache->SetActiveDisplay(2);
    EXPECT_EQ(calls, 0) << "The change is seen at the next call.";
    m_cache->Refresh(RefreshType::Undefined);
    m_cache->SetActiveDisplay(1);
    EXPECT_EQ(calls, 2);
}

TEST_F(DisplayCacheTest, HasOneCallbackForEachOwner) {
    Initialize();
    Listen();
    Listen();
    m_cache->SetActiveDisplay(2);
    m_cache->Refresh(RefreshType::Undefined);
    EXPECT_THAT(m_activeDisplays, ElementsAre(2));
    EXPECT_EQ(m_refreshes, 1);
    m_cache->RemoveOnActiveDisplayChangedCallback(this);
    m_cache->RemoveOnRefreshedCallback(this);
    m_cache->SetActiveDisplay(1);
    m_cache->Refresh(RefreshType::Undefined);
    EXPECT_THAT(m_activeDisplays, ElementsAre(2));
    EXPECT_EQ(m_refreshes, 1);
}

TEST_F(DisplayCacheTest, RefreshesForEachReason) {
    Initialize();
    for (const auto& [type, name] :
         std::vector<std::pair<RefreshType, std::string>>{{RefreshType::Undefined, "Undefined"},
                                                          {RefreshType::DisplayAdded, "DisplayAdded"},
                                                          {RefreshType::DisplayChanged, "DisplayChanged"},
                                                          {RefreshType::DisplayRemoved, "DisplayRemoved"}}) {
        EXPECT_TRUE(m_cache->Refresh(type));
        EXPECT_THAT(TakeLines(),
                    ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                                "DisplayCache] Info: Display cache refresh reason: " + name,
                                "DisplayCache] Display #1 (0,0 1440x900) primary.",
                                "DisplayCache] Display #2 (1440,0 800x600).", "DisplayCache] Debug: Refresh end"));
    }
}

TEST_F(DisplayCacheTest, NumbersTheDisplaysAnewAtEachRefresh) {
    Initialize();
    m_host.displays.insert(m_host.displays.begin(), MakeDisplay(40, -100, 0, 100, 100));
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayAdded));
    EXPECT_THAT(GetNames(), ElementsAre("Display 40", "Display 41", "Display 42"));
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 2);
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), (Rectangle{-100, 0, 2240, 900}));
}

TEST_F(DisplayCacheTest, FindsTheActiveDisplayAgainByItsName) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    TakeLines();
    std::ranges::reverse(m_host.displays);
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 1);
    EXPECT_EQ(GetFirst().name, "Display 42");
    EXPECT_THAT(m_activeDisplays, ElementsAre(1));
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                            "DisplayCache] Info: Display cache refresh reason: DisplayChanged",
                            "DisplayCache] Display #1 (1440,0 800x600).",
                            "DisplayCache] Display #2 (0,0 1440x900) primary active.",
                            "DisplayCache] Verbose: SetActiveDisplay from 2 to 1.", "DisplayCache] Debug: Refresh end"))
        << "The id of before is still the active one while the displays are listed.";
}

TEST_F(DisplayCacheTest, TellsNobodyIfTheActiveDisplayKeepsItsId) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_EQ(m_refreshes, 1);
}

TEST_F(DisplayCacheTest, KeepsTheActiveDisplayWhereverThePointerIs) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    mouseOperations.pointer = {.x = 1, .y = 1};
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, ElementsAre(2)) << "The one under the pointer was active in between.";
}

TEST_F(DisplayCacheTest, MakesThePrimaryDisplayActiveIfTheActiveOneIsGone) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    m_host.displays.pop_back();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayRemoved));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 1);
    EXPECT_THAT(m_activeDisplays, ElementsAre(1));
}

TEST_F(DisplayCacheTest, TellsNobodyIfThePointerHasMadeThePrimaryDisplayActiveInPlaceOfTheOneThatIsGone) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    m_host.displays.pop_back();
    mouseOperations.pointer = {.x = 1, .y = 1};
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayRemoved));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 1);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_EQ(m_refreshes, 1);
}

TEST_F(DisplayCacheTest, MakesThePrimaryDisplayActiveIfTheActiveIdNeverWasOnTheList) {
    m_host.mainDisplay = 42;
    Initialize();
    m_cache->SetActiveDisplay(1234);
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    m_cache->SetActiveDisplay(0);
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
}

TEST_F(DisplayCacheTest, HasNoActiveDisplayIfTheActiveOneIsGoneAndNoneIsPrimary) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    m_host.displays.pop_back();
    m_host.mainDisplay = 99;
    Listen();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayRemoved));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 65535);
    EXPECT_THAT(m_activeDisplays, ElementsAre(65535));
}

TEST_F(DisplayCacheTest, LetsThePointerChooseSilentlyIfNoDisplayWasActive) {
    Initialize();
    Listen();
    mouseOperations.pointer = {.x = 1500, .y = 1};
    TakeLines();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_EQ(TakeLines().back(), "DisplayCache] Debug: Refresh end");
}

TEST_F(DisplayCacheTest, CallsBackWhenAllIsDone) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    m_host.displays.pop_back();
    m_cache->AddOnRefreshedCallback(this, [this] {
        EXPECT_EQ(m_cache->GetActiveDisplay(), 1);
        EXPECT_EQ(m_cache->GetDisplayInfoCount(), 1UL);
        EXPECT_NE(TakeLines().back(), "DisplayCache] Debug: Refresh end");
        ++m_refreshes;
    });
    m_cache->Refresh(RefreshType::DisplayRemoved);
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Debug: Refresh end"));
}

TEST_F(DisplayCacheTest, WaitsForDisplaysToComeBack) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    TakeLines();
    m_host.emptyRounds = 4;
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayRemoved));
    EXPECT_THAT(m_host.sleeps, ElementsAre(500'000'000ns, 500'000'000ns, 500'000'000ns, 500'000'000ns));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                            "DisplayCache] Info: Display cache refresh reason: DisplayRemoved",
                            "DisplayCache] Warning: Failed to find displays, retry 1 / 100",
                            "DisplayCache] Display #1 (0,0 1440x900) primary.",
                            "DisplayCache] Display #2 (1440,0 800x600) active.", "DisplayCache] Debug: Refresh end"));
}

TEST_F(DisplayCacheTest, WaitsForDisplaysThatTheSystemFailsToList) {
    Initialize();
    m_host.listFault = {.call = 1};
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_THAT(m_host.sleeps, SizeIs(1));
}

TEST_F(DisplayCacheTest, GivesUpIfTheSystemKeepsFailingToListThem) {
    Initialize();
    m_host.listFault = {.call = 1, .lasts = true};
    EXPECT_FALSE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_THAT(m_host.sleeps, SizeIs(100));
}

TEST_F(DisplayCacheTest, FindsDisplaysAtTheHundredthAttempt) {
    Initialize();
    m_host.emptyRounds = 99;
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_THAT(m_host.sleeps, SizeIs(99));
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 2UL);
}

TEST_F(DisplayCacheTest, GivesUpAfterAHundredAttemptsAndFiftySeconds) {
    Initialize();
    m_cache->SetActiveDisplay(2);
    Listen();
    TakeLines();
    m_host.displays.clear();
    EXPECT_FALSE(m_cache->Refresh(RefreshType::DisplayRemoved));
    EXPECT_THAT(m_host.sleeps, AllOf(SizeIs(100), Each(500'000'000ns)));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 65535);
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 65535);
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), Rectangle{});
    EXPECT_THAT(m_activeDisplays, ElementsAre(65535));
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                                         "DisplayCache] Info: Display cache refresh reason: DisplayRemoved",
                                         "DisplayCache] Warning: Failed to find displays, retry 1 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 11 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 21 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 31 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 41 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 51 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 61 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 71 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 81 / 100",
                                         "DisplayCache] Warning: Failed to find displays, retry 91 / 100",
                                         "DisplayCache] Warning: No display found, no active display set.",
                                         "DisplayCache] Verbose: SetActiveDisplay from 2 to 65535.",
                                         "DisplayCache] Debug: Refresh end"));
    // With no active display any more, only the callback on it is missing.
    EXPECT_FALSE(m_cache->Refresh(RefreshType::DisplayChanged));
    EXPECT_THAT(m_activeDisplays, ElementsAre(65535));
    EXPECT_EQ(m_refreshes, 2);
    EXPECT_THAT(TakeLines(), Not(Contains(HasSubstr("SetActiveDisplay"))));
}

TEST_F(DisplayCacheTest, LosesItsVirtualDisplaysWithAllMonitors) {
    Initialize();
    m_cache->AddVirtualDisplay(ProcessWindow(window));
    const std::vector<FakeDisplay> displays = std::exchange(m_host.displays, {});
    EXPECT_FALSE(m_cache->Refresh(RefreshType::DisplayRemoved));
    m_host.displays = displays;
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayAdded));
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3), nullptr);
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 2UL);
}

TEST_F(DisplayCacheTest, MakesAVirtualDisplayOfARegion) {
    Initialize();
    Listen();
    m_host.displays.back().refreshRate = 75;
    m_host.displays.back().y = 30;
    m_cache->Refresh(RefreshType::Undefined);
    m_refreshes = 0;
    TakeLines();
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{1500, 100, 1900, 250}), 3);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Display #3 (60,70 400x150) virtual"));
    const DisplayInfo& info = m_cache->GetDisplayInfo(2UL);
    EXPECT_EQ(info.name, "Display 42");
    EXPECT_EQ(info.id, 3);
    EXPECT_EQ(info.parent, 2);
    EXPECT_EQ(info.platformId, 42U);
    EXPECT_EQ(info.width, 400);
    EXPECT_EQ(info.height, 150);
    EXPECT_EQ(info.pixelWidth, 400);
    EXPECT_EQ(info.pixelHeight, 150);
    EXPECT_EQ(info.scaleX, 1.0);
    EXPECT_EQ(info.scaleY, 1.0);
    EXPECT_EQ(info.x, 60) << "From the parent's edge.";
    EXPECT_EQ(info.y, 70) << "From the parent's edge.";
    EXPECT_EQ(info.refreshRate, 75);
    EXPECT_FALSE(info.isPrimary);
    ASSERT_NE(m_cache->GetVirtualDisplayInfo(3), nullptr);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3)->id, 3);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3)->window.handle, 0UL);
    EXPECT_EQ(m_refreshes, 0) << "Nobody is told of a new virtual display.";
}

TEST_F(DisplayCacheTest, DoublesNoPixelsOfAVirtualDisplayAndIsNotPrimaryBecauseItsParentIs) {
    m_host.displays.front().modes = {{.flags = DisplayMode::s_nativeFlag, .width = 2880, .height = 1800}};
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{-10, -10, 100, 50}), 3);
    const DisplayInfo& info = m_cache->GetDisplayInfo(2UL);
    EXPECT_EQ(info.x, 0);
    EXPECT_EQ(info.y, 0);
    EXPECT_EQ(info.pixelWidth, 100);
    EXPECT_EQ(info.pixelHeight, 50);
    EXPECT_EQ(info.scaleX, 1.0);
    EXPECT_EQ(info.scaleY, 1.0);
    EXPECT_FALSE(info.isPrimary);
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 1);
}

TEST_F(DisplayCacheTest, CutsAVirtualDisplayToTheMonitorThatItCoversMost) {
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{1400, 0, 1500, 100}), 3);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).parent, 2);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).x, 0);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).width, 60);
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{1390, 0, 1490, 100}), 4);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).parent, 1) << "The first one of equals.";
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).x, 1390);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).width, 50);
}

TEST_F(DisplayCacheTest, MeasuresByAreaWhatAVirtualDisplayCoversMost) {
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{1340, 590, 1550, 900}), 3);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).parent, 1) << "It is wider on the second one, but flat.";
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{1390, 500, 2000, 900}), 4);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).parent, 2) << "It is higher on the first one, but narrow.";
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayAParent) {
    Initialize();
    m_cache->AddVirtualDisplay(Rectangle{0, 0, 100, 100});
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{10, 10, 20, 20}), 4);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).parent, 1);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).x, 10);
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayAParentWhereItsRecordAloneLies) {
    m_host.displays = {MakeDisplay(41, 1000, 0, 800, 600)};
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{1000, 0, 1100, 100}), 2);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).x, 0) << "Its record lies beside its monitor.";
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{0, 0, 50, 50}), 65535);
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{0, 0, 1010, 10}), 3);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).parent, 1);
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayOfARegionWithoutAMonitor) {
    Initialize();
    for (const Rectangle& region :
         {Rectangle{0, 900, 100, 1000}, Rectangle{-100, 0, 0, 100}, Rectangle{2240, 0, 2300, 10},
          Rectangle{10, 10, 10, 20}, Rectangle{10, 20, 20, 20}, Rectangle{20, 20, 10, 10}}) {
        EXPECT_EQ(m_cache->AddVirtualDisplay(region), 65535);
        EXPECT_THAT(TakeLines(),
                    ElementsAre("DisplayCache] Warning: Failed to add virtual display for parameter 'region'."));
    }
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 2UL);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(65535), nullptr);
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayWithoutMonitors) {
    EXPECT_EQ(m_cache->AddVirtualDisplayInternal({0, 0, 10, 10}), 65535);
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{0, 0, 10, 10}), 65535);
}

TEST_F(DisplayCacheTest, TakesARegionOfAnyExtent) {
    Initialize();
    constexpr Rectangle everything{std::numeric_limits<int>::min(), std::numeric_limits<int>::min(),
                                   std::numeric_limits<int>::max(), std::numeric_limits<int>::max()};
    EXPECT_EQ(m_cache->AddVirtualDisplay(everything), 3);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).parent, 1);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).width, 1440);
    EXPECT_EQ(m_cache->GetDisplayInfo(2UL).height, 900);
    ASSERT_EQ(m_cache->AddVirtualDisplay(Rectangle{2239, 599, 2240, 600}), 4);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).parent, 2);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).width, 1);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).height, 1);
}

TEST_F(DisplayCacheTest, NotesNothingOfAnInternalVirtualDisplay) {
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplayInternal({0, 0, 10, 10}), 3);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3), nullptr);
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 3UL);
}

TEST_F(DisplayCacheTest, LeavesPrimaryDisplayAndDesktopAloneWithAVirtualDisplay) {
    Initialize();
    m_cache->AddVirtualDisplay(Rectangle{1500, 100, 5000, 5000});
    EXPECT_EQ(m_cache->GetPrimaryDisplay(), 1);
    EXPECT_EQ(m_cache->GetVirtualDesktopRect(), (Rectangle{0, 0, 2240, 900}));
}

TEST_F(DisplayCacheTest, MakesAVirtualDisplayOfAWindow) {
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(ProcessWindow(window)), 3);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Display #3 (10,20 300x200) virtual"));
    ASSERT_NE(m_cache->GetVirtualDisplayInfo(3), nullptr);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3)->window.handle, window);
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayOfNoWindow) {
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(ProcessWindow(0)), 65535);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Warning: Parameter 'window' is not valid."));
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayOfAWindowWithoutExtent) {
    Initialize();
    ShowWindow(8, 10, 20, 100, 0);
    ShowWindow(9, 10, 20, 0, 100);
    for (const unsigned long handle : {8UL, 9UL, 1234UL}) {
        EXPECT_EQ(m_cache->AddVirtualDisplay(ProcessWindow(handle)), 65535);
        EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Warning: Frame of parameter 'window' is not valid."));
    }
}

TEST_F(DisplayCacheTest, TakesAFrameForEmptyWhoseAreaIsLostInThirtyTwoBits) {
    Initialize();
    ShowWindow(8, 0, 0, 65536, 65536);
    EXPECT_EQ(m_cache->AddVirtualDisplay(ProcessWindow(8)), 65535);
    EXPECT_THAT(TakeLines(), ElementsAre("DisplayCache] Warning: Frame of parameter 'window' is not valid."));
    ShowWindow(9, 0, 0, 65536, 65537);
    EXPECT_EQ(m_cache->AddVirtualDisplay(ProcessWindow(9)), 3);
}

TEST_F(DisplayCacheTest, MakesNoVirtualDisplayOfAWindowWithoutAMonitor) {
    Initialize();
    ShowWindow(8, 0, 900, 100, 100);
    EXPECT_EQ(m_cache->AddVirtualDisplay(ProcessWindow(8)), 65535);
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Warning: Failed to add virtual display for parameter 'window'."));
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(65535), nullptr);
}

TEST_F(DisplayCacheTest, KeepsTheVirtualDisplaysOfWindowsAcrossARefresh) {
    Initialize();
    m_cache->AddVirtualDisplay(ProcessWindow(window));
    processWindowOperations.entries.clear();
    ShowWindow(window, 1450, 20, 100, 50);
    m_host.displays.push_back(MakeDisplay(43, 2240, 0, 100, 100));
    TakeLines();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::DisplayAdded));
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3), nullptr);
    ASSERT_NE(m_cache->GetVirtualDisplayInfo(4), nullptr) << "It has a new number, too.";
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(4)->window.handle, window);
    EXPECT_EQ(m_cache->GetDisplayInfo(3UL).parent, 2) << "Where the window is now.";
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                            "DisplayCache] Info: Display cache refresh reason: DisplayAdded",
                            "DisplayCache] Display #1 (0,0 1440x900) primary.",
                            "DisplayCache] Display #2 (1440,0 800x600).", "DisplayCache] Display #3 (2240,0 100x100).",
                            "DisplayCache] Display #4 (10,20 100x50) virtual", "DisplayCache] Debug: Refresh end"));
}

TEST_F(DisplayCacheTest, LosesTheVirtualDisplaysOfRegionsAtARefresh) {
    Initialize();
    m_cache->AddVirtualDisplay(Rectangle{0, 0, 10, 10});
    m_cache->AddVirtualDisplay(ProcessWindow(window));
    TakeLines();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::Undefined));
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 3UL);
    ASSERT_NE(m_cache->GetVirtualDisplayInfo(3), nullptr);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3)->window.handle, window);
    EXPECT_THAT(TakeLines(),
                ElementsAre("DisplayCache] Debug: Refresh start", "DisplayCache] Verbose: Called: Refresh",
                            "DisplayCache] Info: Display cache refresh reason: Undefined",
                            "DisplayCache] Display #1 (0,0 1440x900) primary.",
                            "DisplayCache] Display #2 (1440,0 800x600).",
                            "DisplayCache] Warning: Parameter 'window' is not valid.",
                            "DisplayCache] Display #3 (10,20 300x200) virtual", "DisplayCache] Debug: Refresh end"));
}

TEST_F(DisplayCacheTest, LosesTheVirtualDisplayOfAWindowThatIsGone) {
    Initialize();
    m_cache->AddVirtualDisplay(ProcessWindow(window));
    processWindowOperations.entries.clear();
    EXPECT_TRUE(m_cache->Refresh(RefreshType::Undefined));
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 2UL);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3), nullptr);
}

TEST_F(DisplayCacheTest, MakesTheParentOfAnActiveVirtualDisplayActiveAtARefresh) {
    Initialize();
    m_cache->SetActiveDisplay(m_cache->AddVirtualDisplay(ProcessWindow(window)));
    Listen();
    m_cache->AddOnActiveDisplayChangedCallback(
        m_cache.operator->(), [this](DisplayID) { EXPECT_EQ(m_cache->GetDisplayInfoCount(), 3UL) << "It is made."; });
    EXPECT_TRUE(m_cache->Refresh(RefreshType::Undefined));
    EXPECT_EQ(m_cache->GetActiveDisplay(), 1);
    EXPECT_THAT(m_activeDisplays, ElementsAre(1));
    EXPECT_NE(m_cache->GetVirtualDisplayInfo(3), nullptr);
}

TEST_F(DisplayCacheTest, MovesAVirtualDisplayToAPlaceOnTheDesktop) {
    Initialize();
    m_cache->AddVirtualDisplay(Rectangle{1500, 100, 1600, 200});
    Listen();
    const DisplayInfo& info = m_cache->GetDisplayInfo(2UL);
    m_cache->AddOnRefreshedCallback(&m_host, [&info] {
        EXPECT_EQ(info.x, 1700);
        EXPECT_EQ(info.y, 300) << "The callbacks find all of it changed.";
    });
    m_cache->RefreshVirtualDisplayInfo(3, {1700, 300, 1750, 325});
    EXPECT_EQ(info.x, 1700) << "From the desktop's origin, not from the parent's.";
    EXPECT_EQ(info.y, 300);
    EXPECT_EQ(info.width, 50);
    EXPECT_EQ(info.height, 25);
    EXPECT_EQ(info.pixelWidth, 50);
    EXPECT_EQ(info.pixelHeight, 25);
    EXPECT_EQ(info.parent, 2);
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_THAT(m_host.calls, IsEmpty()) << "The displays are not listed anew.";
}

TEST_F(DisplayCacheTest, TakesTheExtentOfAMirroredRectangle) {
    Initialize();
    m_cache->RefreshVirtualDisplayInfo(1, {50, 40, 20, 30});
    EXPECT_EQ(GetFirst().x, 50) << "A monitor can be moved as well.";
    EXPECT_EQ(GetFirst().y, 40);
    EXPECT_EQ(GetFirst().width, 30);
    EXPECT_EQ(GetFirst().height, 10);
}

TEST_F(DisplayCacheTest, LosesWhatAVirtualDisplayHasBeyondSixteenBits) {
    m_host.displays = {MakeDisplay(41, -32768, -32768, 65535, 65535)};
    Initialize();
    EXPECT_EQ(m_cache->AddVirtualDisplay(Rectangle{32000, 31000, 32100, 31100}), 2);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).x, 64768 - 65536);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).y, 63768 - 65536);
    m_cache->RefreshVirtualDisplayInfo(2, {70000, -70000, 140001, 2});
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).x, 70000 - 65536);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).y, 65536 - 70000);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).width, 70001 - 65536);
    EXPECT_EQ(m_cache->GetDisplayInfo(1UL).height, 70002 - 65536);
}

TEST_F(DisplayCacheDeathTest, MovesNoUnknownDisplay) {
    Initialize();
    for (const DisplayID id : {DisplayID{0}, DisplayID{3}, DisplayID{65535}}) {
        EXPECT_ASSERTION(m_cache->RefreshVirtualDisplayInfo(id, {}), "index < m_displays.size()",
                         "Parameter 'displayID' is not referencing a known display.");
    }
}

TEST_F(DisplayCacheTest, RemovesAVirtualDisplayAndRefreshes) {
    Initialize();
    ShowWindow(8, 0, 0, 50, 50);
    m_cache->AddVirtualDisplay(ProcessWindow(window));
    m_cache->AddVirtualDisplay(ProcessWindow(8));
    ShowWindow(9, 0, 0, 60, 60);
    m_cache->AddVirtualDisplay(ProcessWindow(9));
    Listen();
    TakeLines();
    m_cache->RemoveVirtualDisplayInfo(3);
    EXPECT_EQ(m_cache->GetDisplayInfoCount(), 4UL);
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(3)->window.handle, 8UL) << "The others keep their order.";
    EXPECT_EQ(m_cache->GetVirtualDisplayInfo(4)->window.handle, 9UL);
    EXPECT_EQ(m_refreshes, 1);
    EXPECT_THAT(m_activeDisplays, IsEmpty());
    EXPECT_EQ(TakeLines()[2], "DisplayCache] Info: Display cache refresh reason: DisplayRemoved");
}

TEST_F(DisplayCacheTest, MakesThePrimaryDisplayActiveIfTheActiveVirtualOneIsRemoved) {
    m_host.mainDisplay = 42;
    Initialize();
    m_cache->SetActiveDisplay(m_cache->AddVirtualDisplay(ProcessWindow(window)));
    Listen();
    m_cache->RemoveVirtualDisplayInfo(3);
    EXPECT_EQ(m_cache->GetActiveDisplay(), 2);
    EXPECT_THAT(m_activeDisplays, ElementsAre(2)) << "Not its parent, which a refresh alone would choose.";
}

TEST_F(DisplayCacheTest, RefreshesNothingIfThereIsNoVirtualDisplayToRemove) {
    Initialize();
    Listen();
    m_cache->RemoveVirtualDisplayInfo(1);
    m_cache->RemoveVirtualDisplayInfo(3);
    m_cache->RemoveVirtualDisplayInfo(65535);
    EXPECT_THAT(m_host.calls, IsEmpty());
    EXPECT_EQ(m_refreshes, 0);
    EXPECT_THAT(TakeLines(), IsEmpty());
}

TEST_F(DisplayCacheTest, FindsTheDisplayAtAPoint) {
    Initialize();
    EXPECT_EQ(m_cache->GetDisplay(0, 0), 1);
    EXPECT_EQ(m_cache->GetDisplay(1439, 900), 1);
    EXPECT_EQ(m_cache->GetDisplay(1441, 0), 2);
    EXPECT_EQ(m_cache->GetDisplay(2240, 600), 2) << "The right and the lower edge belong to a display.";
    EXPECT_EQ(m_cache->GetDisplay(2241, 600), 65535);
    EXPECT_EQ(m_cache->GetDisplay(2240, 601), 65535);
    EXPECT_EQ(m_cache->GetDisplay(-1, 0), 65535);
    EXPECT_EQ(m_cache->GetDisplay(0, -1), 65535);
    EXPECT_EQ(m_cache->GetDisplay(std::numeric_limits<int>::max(), std::numeric_limits<int>::min()), 65535);
}

TEST_F(DisplayCacheTest, GivesASharedEdgeToTheSmallerDisplay) {
    Initialize();
    EXPECT_EQ(m_cache->GetDisplay(1440, 300), 2);
    EXPECT_EQ(m_cache->GetDisplay(1440, 601), 1);
}

TEST_F(DisplayCacheTest, GivesASharedEdgeToTheFirstOfEquals) {
    m_host.displays = {MakeDisplay(41, 800, 0, 800, 600), MakeDisplay(42, 0, 0, 800, 600)};
    Initialize();
    EXPECT_EQ(m_cache->GetDisplay(800, 300), 1);
    std::ranges::reverse(m_host.displays);
    m_cache->Refresh(RefreshType::DisplayChanged);
    EXPECT_EQ(GetFirst().platformId, 42U);
    EXPECT_EQ(m_cache->GetDisplay(800, 300), 1);
}

TEST_F(DisplayCacheTest, FindsAVirtualDisplayWhereItsRecordSaysThatItLies) {
    Initialize();
    m_cache->AddVirtualDisplay(Rectangle{1500, 100, 1600, 200});
    EXPECT_EQ(m_cache->GetDisplay(1550, 150), 2) << "It lies at 60, 100, relative to its parent.";
    EXPECT_EQ(m_cache->GetDisplay(110, 150), 3);
    m_cache->RefreshVirtualDisplayInfo(3, {1500, 100, 1600, 200});
    EXPECT_EQ(m_cache->GetDisplay(1550, 150), 3);
}

TEST_F(DisplayCacheTest, FindsNoDisplayThatIsTooLargeToBeCounted) {
    m_host.displays = {MakeDisplay(41, 0, 0, 46341, 46341)};
    Initialize();
    EXPECT_EQ(m_cache->GetDisplay(1, 1), 65535) << "Its area is above 2147483647.";
    m_host.displays = {MakeDisplay(41, 0, 0, 46340, 46340)};
    m_cache->Refresh(RefreshType::DisplayChanged);
    EXPECT_EQ(m_cache->GetDisplay(1, 1), 1);
}

/// A cache that belongs to the application.
class DisplayCacheReconfigurationTest : public DisplayCacheTest {
protected:
    DisplayCacheReconfigurationTest() {
        m_log.m_application.m_displaySystem = {&*m_cache, [](DisplayCache*) {}};
        Initialize();
    }
    ~DisplayCacheReconfigurationTest() override { m_log.m_application.m_displaySystem.reset(); }

    /// The reason of the refresh that the flags cause; empty if there is none.
    std::string Call(std::uint32_t flags) {
        DisplayReconfigurationCallback(41, flags, nullptr);
        const std::vector<std::string> lines = TakeLines();
        return lines.size() > 2 ? lines[2].substr(lines[2].rfind(' ') + 1) : "";
    }
};

TEST_F(DisplayCacheReconfigurationTest, IgnoresAChangeThatHasNotHappenedYet) {
    EXPECT_EQ(Call(0x1), "");
    EXPECT_EQ(Call(0x1031), "");
    EXPECT_THAT(m_host.calls, IsEmpty());
}

TEST_F(DisplayCacheReconfigurationTest, RefreshesForTheReasonThatTheFlagsGive) {
    EXPECT_EQ(Call(0x20), "DisplayRemoved");
    EXPECT_EQ(Call(0x1000), "DisplayChanged");
    EXPECT_EQ(Call(0x10), "DisplayAdded");
    EXPECT_EQ(Call(0), "Undefined");
    EXPECT_EQ(Call(0xFFFFEFCE), "Undefined");
}

TEST_F(DisplayCacheReconfigurationTest, PrefersARemovalToAChangeAndAChangeToAnAddition) {
    EXPECT_EQ(Call(0x1030), "DisplayRemoved");
    EXPECT_EQ(Call(0x30), "DisplayRemoved");
    EXPECT_EQ(Call(0x1010), "DisplayChanged");
}

TEST_F(DisplayCacheReconfigurationTest, RefreshesAtEachCall) {
    Listen();
    DisplayReconfigurationCallback(41, 0x1000, nullptr);
    DisplayReconfigurationCallback(42, 0x1000, this);
    DisplayReconfigurationCallback(99, 0x20, nullptr);
    EXPECT_EQ(m_refreshes, 3);
}

TEST(DisplayCacheSystemDeathTest, IsNotThereBeforeItIsCreated) {
    const Tovra::Tests::TestApplication application;
    EXPECT_ASSERTION(DisplayReconfigurationCallback(41, 0x10, nullptr), "s_instance->m_displaySystem.get() != nullptr",
                     "Illegal attempt to get the 'Display System' before it was created.");
}

TEST(DisplayCacheSystemDeathTest, IsNotThereWithoutAnApplication) {
    EXPECT_ASSERTION(DisplayReconfigurationCallback(41, 0x10, nullptr), "s_instance != nullptr",
                     "No application instance was created.");
}

} // namespace
