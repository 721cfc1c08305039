// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/TimeZone.h>
#include <System/Log/LineHead.h>
#include <System/Log/LogRules.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;

using Tovra::System::Log::AppendTime;
using Tovra::System::Log::FindSeverity;
using Tovra::System::Log::GetCutoff;
using Tovra::System::Log::GetFraction;
using Tovra::System::Log::GetLocalTime;
using Tovra::System::Log::GetLogFileName;
using Tovra::System::Log::IsFull;
using Tovra::System::Log::IsLogFileName;
using Tovra::System::Log::IsOld;
using Tovra::System::Log::Line;
using Tovra::System::Log::LineOrigin;
using Tovra::System::Log::StreamID;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::TimeZone;
namespace MessageType = Tovra::System::Log::MessageType;
using Streams = Tovra::System::Types::EnumFlags<StreamID>;
using FileTime = std::filesystem::file_time_type;

std::string GetFractionText(std::int64_t microseconds) {
    const std::array<char, 7> fraction = GetFraction(microseconds);
    return {fraction.data(), fraction.size()};
}

std::string GetTimeText(std::chrono::microseconds time) {
    Line line;
    AppendTime(line, std::chrono::system_clock::time_point(time));
    return std::string(line.GetText());
}

TEST(LogRules, LineTimeHasSevenLeftAlignedDigitsBehindThePoint) {
    EXPECT_EQ(GetFractionText(123456), "1234560");
    EXPECT_EQ(GetFractionText(0), "0000000");
    EXPECT_EQ(GetFractionText(999999), "9999990");
    EXPECT_EQ(GetFractionText(1), "1000000");
}

TEST(LogRules, LineTimeDoesNotKeepThePlaceOfItsDigits) {
    EXPECT_EQ(GetFractionText(42), "4200000");
    EXPECT_EQ(GetFractionText(4200), "4200000");
    EXPECT_EQ(GetFractionText(99999), "9999900");
}

TEST(LogRules, LineTimeHasTheDigitsThatAStreamGives) {
    for (int microseconds = 0; microseconds < 1'000'000; microseconds += 37) {
        std::ostringstream stream;
        stream << std::left << std::setfill('0') << std::setw(7) << microseconds;
        ASSERT_EQ(GetFractionText(microseconds), stream.str());
    }
}

TEST(LogRules, LineTimeIsTheTimeOfThePlace) {
    TimeZone zone("XYZ-5:30");
    EXPECT_EQ(GetTimeText(1794586388123456us), "[2026-11-13T21:43:08.1234560");
    EXPECT_EQ(GetTimeText(1794586388000042us), "[2026-11-13T21:43:08.4200000");
    zone.Set("UTC");
    EXPECT_EQ(GetTimeText(1794586389000000us), "[2026-11-13T16:13:09.0000000");
}

TEST(LogRules, LineTimeFollowsAChangeOfTheTimeZoneUntold) {
    const TimeZone zone("UTC");
    EXPECT_EQ(GetTimeText(1794586390000000us), "[2026-11-13T16:13:10.0000000");
    const EnvironmentValue value("TZ", "XYZ-5:30");
    EXPECT_EQ(GetTimeText(1794586391000000us), "[2026-11-13T21:43:11.0000000");
}

TEST(LogRules, LineTimeIsLookedAtOnceASecondAndThread) {
    const TimeZone zone("UTC");
    EXPECT_EQ(GetTimeText(1794586392000000us), "[2026-11-13T16:13:12.0000000");
    const EnvironmentValue value("TZ", "XYZ-5:30");
    EXPECT_EQ(GetTimeText(1794586392999999us), "[2026-11-13T16:13:12.9999990");
    std::string text;
    std::thread([&text] { text = GetTimeText(1794586392999999us); }).join();
    EXPECT_EQ(text, "[2026-11-13T21:43:12.9999990");
}

TEST(LogRules, LocalTimeFollowsAChangeOfTheTimeZoneUntold) {
    const TimeZone zone("UTC");
    EXPECT_EQ(GetLogFileName(L"Tool", GetLocalTime(1794586388)), L"Tool_2026-11-13T16-13-08.log");
    const EnvironmentValue value("TZ", "XYZ-5:30");
    EXPECT_EQ(GetLogFileName(L"Tool", GetLocalTime(1794586388)), L"Tool_2026-11-13T21-43-08.log");
}

TEST(LogRules, LineTimeFollowsSummerTime) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(GetTimeText(1774745999999999us), "[2026-03-29T01:59:59.9999990");
    EXPECT_EQ(GetTimeText(1774746000000000us), "[2026-03-29T03:00:00.0000000");
    EXPECT_EQ(GetTimeText(1792889999000000us), "[2026-10-25T02:59:59.0000000");
    EXPECT_EQ(GetTimeText(1792890000000000us), "[2026-10-25T02:00:00.0000000");
}

// Uses seconds of its own, since the thread keeps the text of the last second, whatever its zone.
TEST(LogRules, LineTimeMayGoBack) {
    const TimeZone zone("UTC");
    EXPECT_EQ(GetTimeText(1794586408000001us), "[2026-11-13T16:13:28.1000000");
    EXPECT_EQ(GetTimeText(1794586407000001us), "[2026-11-13T16:13:27.1000000");
    EXPECT_EQ(GetTimeText(1794586408000002us), "[2026-11-13T16:13:28.2000000");
}

TEST(LogRules, LineOriginNamesStreamAndType) {
    EXPECT_EQ((LineOrigin<StreamID::System, MessageType::ID::Info>::GetText()), "Z | System] Info: ");
    EXPECT_EQ((LineOrigin<StreamID::Default, MessageType::ID::Debug>::GetText()), "Z | Default] Debug: ");
    EXPECT_EQ((LineOrigin<StreamID::AutomationTargetSystem, MessageType::ID::Critical>::GetText()),
              "Z | AutomationTargetSystem] Critical: ");
    EXPECT_EQ((LineOrigin<StreamID::DisplayCache, MessageType::ID::Verbose>::GetText()), "Z | DisplayCache] Verbose: ");
    EXPECT_EQ((LineOrigin<StreamID::Graphics, MessageType::ID::Warning>::GetText()), "Z | Graphics] Warning: ");
    EXPECT_EQ((LineOrigin<StreamID::Network, MessageType::ID::Error>::GetText()), "Z | Network] Error: ");
}

TEST(LogRules, LineOriginHasNoWordForAlways) {
    EXPECT_EQ((LineOrigin<StreamID::System, MessageType::ID::Always>::GetText()), "Z | System] ");
}

TEST(LogRules, SeverityIsTheLowestEntryThatHoldsTheStream) {
    const std::vector<Streams> severities{Streams(), StreamID::Network, StreamID::System, StreamID::Network};
    EXPECT_EQ(FindSeverity(StreamID::Network, severities), MessageType::ID::Verbose);
    EXPECT_EQ(FindSeverity(StreamID::System, severities), MessageType::ID::Info);
    EXPECT_EQ(FindSeverity(Streams(StreamID::Network) | StreamID::System, severities), MessageType::ID::Verbose);
}

TEST(LogRules, SeverityIsNoneForAStreamWithoutEntry) {
    EXPECT_EQ(FindSeverity(StreamID::Default, {Streams(), StreamID::Network}), std::nullopt);
    EXPECT_EQ(FindSeverity(StreamID::Default, {}), std::nullopt);
}

TEST(LogRules, LogFileNameHoldsPrefixAndTime) {
    std::tm time{};
    time.tm_year = 126;
    time.tm_mon = 10;
    time.tm_mday = 13;
    time.tm_hour = 16;
    time.tm_min = 13;
    time.tm_sec = 8;
    EXPECT_EQ(GetLogFileName(L"TovraFieldhostSetupTool", time), L"TovraFieldhostSetupTool_2026-11-13T16-13-08.log");
    EXPECT_EQ(GetLogFileName(L"", time), L"_2026-11-13T16-13-08.log");
    EXPECT_EQ(GetLogFileName(L"Grüße 世界", time), L"Grüße 世界_2026-11-13T16-13-08.log");
}

TEST(LogRules, LogFileNameIsRecognised) {
    EXPECT_TRUE(IsLogFileName("Tool_2026-11-13T16-13-08.log", L"Tool"));
    EXPECT_TRUE(IsLogFileName("Tool_2.log", L"Tool"));
    EXPECT_TRUE(IsLogFileName("_2026.log", L""));
    EXPECT_TRUE(IsLogFileName("Gr\xC3\xBC\xC3\x9F"
                              "e \xE4\xB8\x96\xF0\x9F\x98\x80_2026.log",
                              L"Grüße 世\U0001F600"));
}

TEST(LogRules, LogFileNameIsOfTheLoggersOwnPrefix) {
    EXPECT_FALSE(IsLogFileName("Other_2026-11-13T16-13-08.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("ToolBox_2026-11-13T16-13-08.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Too.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("tool_2026-11-13T16-13-08.log", L"Tool"));
}

/// Whether a name of these bytes is that of a log file whose prefix ends in a character.
bool IsOfPrefix(const std::string& bytes, wchar_t character) {
    return IsLogFileName("Tool" + bytes + "_2026.log", std::wstring(L"Tool") + character);
}

TEST(LogRules, PrefixHasNoCharacterThatUnicodeLacks) {
    for (const auto& [bytes, character] :
         {std::pair("\xED\xA0\x80", L'\xD800'), {"\xED\xBF\xBF", L'\xDFFF'}, {"\xF4\x90\x80\x80", L'\x110000'}}) {
        for (const std::string name : {bytes, "", "l"}) {
            EXPECT_FALSE(IsOfPrefix(name, character)) << name;
        }
    }
    EXPECT_TRUE(IsOfPrefix("\xED\x9F\xBF", L'\xD7FF'));
    EXPECT_TRUE(IsOfPrefix("\xEE\x80\x80", L'\xE000'));
    EXPECT_TRUE(IsOfPrefix("\xF4\x8F\xBF\xBF", L'\x10FFFF'));
}

TEST(LogRules, LogFileNameIsUtf8) {
    for (const std::string& text : {"\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
                                    "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(IsLogFileName("Tool_2" + text + ".log", L"Tool")) << text;
    }
    for (const std::string& text :
         {"\x80", "\xBF", "\xC3", "\xC3\xC3",
          "\xC3"
          "A",
          "\xE4\xB8",
          "\xE4\xB8"
          "A",
          "\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF"}) {
        EXPECT_FALSE(IsLogFileName("Tool_2" + text + ".log", L"Tool"));
    }
}

TEST(LogRules, LogFileNameHasItsExtension) {
    EXPECT_FALSE(IsLogFileName("Tool_2026-11-13T16-13-08.txt", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool_2026-11-13T16-13-08.log.gz", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool_2026-11-13T16-13-08.LOG", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool_2026-11-13T16-13-08", L"Tool"));
    EXPECT_FALSE(IsLogFileName(".log", L""));
    EXPECT_FALSE(IsLogFileName("", L""));
}

TEST(LogRules, LogFileNameIsNoDumpFiles) {
    EXPECT_FALSE(IsLogFileName("Tool_ERROR_2026-11-13T16-13-08.log", L"Tool"));
}

TEST(LogRules, LogFileNameIsOfAYearThatBeginsWithTwo) {
    EXPECT_FALSE(IsLogFileName("Tool_1999-11-13T16-13-08.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool_3000-11-13T16-13-08.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool2026.log", L"Tool"));
    EXPECT_FALSE(IsLogFileName("Tool_.log", L"Tool"));
}

TEST(LogRules, RetentionEndsAtTheCutoff) {
    const FileTime now(std::chrono::duration_cast<FileTime::duration>(1794586388s));
    const FileTime cutoff = GetCutoff(now, 10);
    EXPECT_TRUE(now - cutoff == 864000s);
    EXPECT_TRUE(IsOld(cutoff - FileTime::duration(1), cutoff));
    EXPECT_TRUE(IsOld(cutoff, cutoff));
    EXPECT_FALSE(IsOld(cutoff + FileTime::duration(1), cutoff));
}

TEST(LogRules, RetentionMayBeAsLongAsANumberCanSay) {
    const FileTime now(std::chrono::duration_cast<FileTime::duration>(1794586388s));
    EXPECT_FALSE(IsOld(FileTime(), GetCutoff(now, std::numeric_limits<std::int64_t>::max())));
}

TEST(LogRules, FileSizeIsFullFromTheLimitOn) {
    EXPECT_FALSE(IsFull(0xA00000 - 1, 0xA00000));
    EXPECT_TRUE(IsFull(0xA00000, 0xA00000));
    EXPECT_TRUE(IsFull(0xA00001, 0xA00000));
}

} // namespace
