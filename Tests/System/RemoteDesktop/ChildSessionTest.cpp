#include <Fakes/ChildSession.h>
#include <System/RemoteDesktop/ChildSession.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using Tovra::System::RemoteDesktop::ChildSession;
using Tovra::System::RemoteDesktop::RemoteProcessInfo;
using Tovra::Tests::Fakes::childSession;

TEST(ChildSession, AnswersAsThePlatformAnswers) {
    for (const bool answer : {false, true}) {
        childSession.isEnabled = childSession.enable = childSession.disable = childSession.disconnect = answer;
        childSession.calls.clear();
        EXPECT_EQ(ChildSession::IsEnabled(), answer);
        EXPECT_EQ(ChildSession::Enable(), answer);
        EXPECT_EQ(ChildSession::Disable(), answer);
        EXPECT_EQ(ChildSession::Disconnect(), answer);
        EXPECT_THAT(childSession.calls, ElementsAre("IsEnabled", "Enable", "Disable", "Disconnect"));
    }
    childSession.sessionId = 7;
    EXPECT_EQ(ChildSession::GetSessionId(), 7u);
}

TEST(ChildSession, HandsTheListToThePlatform) {
    childSession.processes = {{.processId = 5}};
    std::vector<RemoteProcessInfo> list = {{.processId = 3}};
    ChildSession::GetProcessList(7, list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].processId, 3u);
    EXPECT_EQ(list[1].processId, 5u);
    EXPECT_THAT(childSession.calls, ElementsAre("GetProcessList 7"));
}

} // namespace
