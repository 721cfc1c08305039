#include <Support/Assertions.h>
#include <System/Log/Streams.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using Tovra::System::Log::allStreams;
using Tovra::System::Log::GetStreamIDString;
using Tovra::System::Log::messageTypeIDNames;
using Tovra::System::Log::StreamID;
namespace MessageType = Tovra::System::Log::MessageType;

static_assert(std::is_same_v<std::underlying_type_t<StreamID>, std::uint32_t>);
static_assert(std::is_same_v<std::underlying_type_t<MessageType::ID>, std::uint16_t>);

TEST(Streams, HaveNames) {
    const std::pair<std::uint32_t, const char*> names[] = {{1, "Default"},
                                                           {2, "System"},
                                                           {4, "Graphics"},
                                                           {8, "Network"},
                                                           {16, "CoreService"},
                                                           {32, "FieldhostController"},
                                                           {64, "FieldhostService"},
                                                           {128, "FieldhostCompanionTool"},
                                                           {256, "FieldhostExecutionTool"},
                                                           {512, "FieldmateController"},
                                                           {1024, "FieldhostSnippingTool"},
                                                           {2048, "FieldhostSetupTool"},
                                                           {4096, "QRVControllerAPI"},
                                                           {8192, "AutomationSystem"},
                                                           {16384, "AutomationTargetSystem"},
                                                           {32768, "ChangeDetectionSystem"},
                                                           {65536, "ChangeReporterSystem"},
                                                           {131072, "ExecutionPipeline"},
                                                           {262144, "OverlaySystem"},
                                                           {524288, "DisplayCache"},
                                                           {1048576, "ThreadingSystem"}};
    std::uint32_t all = 0;
    for (const auto& [bit, name] : names) {
        EXPECT_STREQ(GetStreamIDString(static_cast<StreamID>(bit)), name);
        all |= bit;
    }
    EXPECT_EQ(all, 0x1FFFFFu);
    EXPECT_EQ(allStreams.GetBits(), 0x1FFFFFu);
}

TEST(StreamsDeathTest, UnknownOnesAssert) {
    for (const std::uint32_t value : {0u, 3u, 0x200000u}) {
        EXPECT_ASSERTION(GetStreamIDString(static_cast<StreamID>(value)), "false",
                         "Implementation of case directive is missing.");
    }
}

TEST(Streams, MessageTypesAreOrderedFromTheLeastToTheMostSevere) {
    EXPECT_STREQ(messageTypeIDNames[static_cast<std::size_t>(MessageType::ID::Debug)], "Debug");
    EXPECT_STREQ(messageTypeIDNames[1], "Verbose");
    EXPECT_STREQ(messageTypeIDNames[2], "Info");
    EXPECT_STREQ(messageTypeIDNames[3], "Warning");
    EXPECT_STREQ(messageTypeIDNames[4], "Error");
    EXPECT_STREQ(messageTypeIDNames[5], "Critical");
    EXPECT_STREQ(messageTypeIDNames[6], "Always");
    EXPECT_EQ(static_cast<int>(MessageType::ID::Always), 6);
}

} // namespace
