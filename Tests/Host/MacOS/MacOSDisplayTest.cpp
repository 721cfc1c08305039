#include <Support/Program.h>
#include <System/Device/Display/DisplayOperations.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <array>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace Tovra::System::Device::Display;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAreArray;

/// Width and height in points.
using Size = std::pair<std::size_t, std::size_t>;

/// The displays that system_profiler(8) knows; the main one also stands in `main`.
std::vector<Size> ListByProfiler(Size& main) {
    const std::string text =
        Tovra::Tests::Run({.path = "/usr/sbin/system_profiler", .arguments = {"-json", "SPDisplaysDataType"}}).output;
    rapidjson::Document document;
    document.Parse(text.c_str());
    std::vector<Size> sizes;
    EXPECT_TRUE(document.IsObject() && document.HasMember("SPDisplaysDataType")) << text;
    if (::testing::Test::HasFailure()) {
        return sizes;
    }
    for (const auto& adapter : document["SPDisplaysDataType"].GetArray()) {
        if (!adapter.HasMember("spdisplays_ndrvs")) {
            continue;
        }
        for (const auto& display : adapter["spdisplays_ndrvs"].GetArray()) {
            Size size;
            // "1512 x 982 @ 120.00Hz"
            EXPECT_EQ(
                std::sscanf(display["_spdisplays_resolution"].GetString(), "%zu x %zu", &size.first, &size.second), 2);
            sizes.push_back(size);
            if (display.HasMember("spdisplays_main")) {
                main = size;
            }
        }
    }
    return sizes;
}

std::vector<PlatformDisplayID> ListActive() {
    std::vector<PlatformDisplayID> displays(mostDisplays);
    std::uint32_t count = 0;
    EXPECT_EQ(GetActiveDisplayList(nullptr, displays, count), 0);
    displays.resize(count);
    return displays;
}

Size GetSize(PlatformDisplayID display) {
    return {GetWidthInPoints(nullptr, display), GetHeightInPoints(nullptr, display)};
}

TEST(MacOSDisplay, IsListedAsTheProfilerListsIt) {
    Size main;
    const std::vector<Size> expected = ListByProfiler(main);
    ASSERT_THAT(expected, Not(IsEmpty())) << "No display: nobody is logged in, or the test runs outside their session.";
    std::vector<Size> sizes;
    for (const PlatformDisplayID display : ListActive()) {
        sizes.push_back(GetSize(display));
    }
    EXPECT_THAT(sizes, UnorderedElementsAreArray(expected));
    EXPECT_EQ(GetSize(GetMainDisplay(nullptr)), main);
}

TEST(MacOSDisplay, ComesFirstAndBeginsAtTheOriginIfItIsTheMainOne) {
    const std::vector<PlatformDisplayID> displays = ListActive();
    ASSERT_THAT(displays, Not(IsEmpty()));
    EXPECT_EQ(displays.front(), GetMainDisplay(nullptr));
    const DisplayOrigin origin = GetDisplayOrigin(nullptr, displays.front());
    EXPECT_EQ(origin.x, 0);
    EXPECT_EQ(origin.y, 0);
    std::array<PlatformDisplayID, mostDisplays> found{};
    std::uint32_t count = 0;
    GetDisplaysWithPoint(nullptr, 1, 1, found, count);
    EXPECT_THAT(std::span(found).first(count), Contains(displays.front()));
}

TEST(MacOSDisplay, HasANativeModeAndARate) {
    const PlatformDisplayID display = GetMainDisplay(nullptr);
    ASSERT_NE(display, 0u);
    const std::vector<DisplayMode> modes = CopyDisplayModes(nullptr, display);
    EXPECT_THAT(modes, Contains(::testing::Truly([](const DisplayMode& mode) {
                    return (mode.flags & DisplayMode::s_nativeFlag) != 0 && mode.width > 0 && mode.height > 0;
                })));
    // A virtual or adaptive display may report none.
    EXPECT_GE(GetCurrentRefreshRate(nullptr, display), 0);
    EXPECT_THAT(CopyDisplayModes(nullptr, 0xFFFFFFFF), IsEmpty());
}

} // namespace
