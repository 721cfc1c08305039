// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/InChild.h>
#include <Support/X11Sync.h>
#include <Support/XReplies.h>
#include <Support/XServer.h>
#include <Support/XServerFixture.h>
#include <System/X11/Xcb_Linux.h>

#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using X11::Connection;
using X11::Xcb::GetTail;
using X11::Xcb::Lists;
using X11::Xcb::ProcessIds;
using X11::Xcb::ProcessIdsRequest;
using X11::Xcb::Reply;

using ClientsReply = xcb_res_query_client_ids_reply_t;
using OutputReply = xcb_randr_get_output_info_reply_t;
using TreeReply = xcb_query_tree_reply_t;

/// A reply of 32 bytes and these numbers. Of a fixed part that is longer than 32 bytes they are the end.
template <class Fixed>
Reply<Fixed> MakeReply(const std::vector<std::uint32_t>& numbers) {
    auto* const words = static_cast<std::uint32_t*>(std::calloc(8 + numbers.size(), sizeof(std::uint32_t)));
    std::ranges::copy(numbers, words + 8);
    auto* const fixed = reinterpret_cast<Fixed*>(words);
    fixed->length = static_cast<std::uint32_t>(numbers.size());
    return Reply<Fixed>(fixed);
}

/// The reply about this process's client: four numbers, of which the third is the size of the fourth, the process id.
class OurReply {
public:
    explicit OurReply(ClientsReply& reply) : m_reply(reply) {
        EXPECT_EQ(reply.num_ids, 1U);
        EXPECT_EQ(reply.length, 4U);
    }

    void SetCount(std::uint32_t count) const { m_reply.num_ids = count; }
    void SetLength(std::uint32_t length) const { m_reply.length = length; }
    void SetSize(std::uint32_t bytes) const {
        reinterpret_cast<xcb_res_client_id_value_t*>(&m_reply + 1)->length = bytes;
    }

private:
    ClientsReply& m_reply;
};

/// A server as this process's display, which reports process ids.
class XcbProcessIdsTest : public XServerFixture {
protected:
    /// Expects that this process's id is found in the reply, or nothing, after `change(OurReply)`.
    template <class Change>
    void ExpectProcessIds(bool hasOurs, Change change) {
        const auto ask = [=] {
            Connection& x11 = *X11::GetConnection();
            ASSERT_EQ(x11.GetReportedProcessIds(), X11::ReportedProcessIds::Ours);
            ChangeReplies<&Connection::xcb_res_query_client_ids_reply>(
                x11, [=](ClientsReply& reply) { change(OurReply(reply)); });
            const std::uint32_t ours = x11.xcb_get_setup(x11.xcb)->resource_id_base;
            const std::vector<std::uint32_t> ids{ours, 0x1FF00000}; // Nobody's.
            const ProcessIds expected = {{ours, static_cast<std::uint32_t>(getpid())}};
            EXPECT_EQ(ProcessIdsRequest(x11, ids).GetReply(), hasOurs ? expected : ProcessIds());
        };
        EXPECT_IN_CHILD(ask(), IsEmpty());
    }
};

} // namespace

TEST(Xcb, ListsAreTakenInTheirOrder) {
    const auto reply = MakeReply<TreeReply>({1, 2, 3, 4, 5, 6, 7});
    Lists lists(reply);
    EXPECT_THAT(lists.Take<std::uint32_t>(2), ElementsAre(1, 2));
    EXPECT_THAT(lists.Take<std::uint32_t>(0), IsEmpty());
    const auto client = lists.Take<xcb_res_client_id_value_t>(1);
    ASSERT_EQ(client.size(), 1U);
    EXPECT_EQ(client.front().spec.client, 3U);
    EXPECT_EQ(client.front().length, 5U);
    EXPECT_THAT(lists.Take<std::uint32_t>(2), ElementsAre(6, 7));
    EXPECT_THAT(lists.Take<std::uint32_t>(1), IsEmpty());
}

TEST(Xcb, ListsEndWhereTheReplyEnds) {
    const auto reply = MakeReply<TreeReply>({1, 2, 3, 4, 5});
    EXPECT_THAT(Lists(reply).Take<std::uint32_t>(0xFFFFFFFF), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(Lists(reply).Take<std::uint32_t>(SIZE_MAX), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(Lists(reply).Take<std::uint32_t>(6), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(GetTail<std::uint32_t>(reply, 6), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(Lists(reply).Take<char>(100).size(), 20U);
    EXPECT_THAT(Lists(MakeReply<TreeReply>({})).Take<std::uint32_t>(1), IsEmpty());
}

TEST(Xcb, ListsHaveNothingBehindOneThatTheReplysEndCuts) {
    const auto reply = MakeReply<TreeReply>({1, 2, 3, 4, 5});
    Lists lists(reply);
    EXPECT_EQ(lists.Take<xcb_res_client_id_value_t>(2).size(), 1U) << "The second one is not whole.";
    EXPECT_THAT(lists.Take<std::uint32_t>(1), IsEmpty()) << "The rest of it is no list.";
}

TEST(Xcb, ListsBeginBehindTheFixedPart) {
    EXPECT_THAT(GetTail<std::uint32_t>(MakeReply<OutputReply>({0, 7, 8}), 2), ElementsAre(7, 8));
    EXPECT_THAT(GetTail<std::uint32_t>(MakeReply<OutputReply>({0, 7, 8}), 3), ElementsAre(7, 8));
    EXPECT_THAT(GetTail<std::uint32_t>(MakeReply<OutputReply>({0}), 1), IsEmpty());
    EXPECT_THAT(GetTail<std::uint32_t>(MakeReply<OutputReply>({}), 1), IsEmpty()) << "It ends before.";
}

/// How much memory this thread's heap has handed out; 0 under a sanitizer, which looks for leaks itself.
std::size_t GetUsedMemory() {
    const struct mallinfo2 memory = mallinfo2();
    return memory.uordblks + memory.hblkhd;
}

TEST(Xcb, TheDeleterOfAReplyFreesIt) {
    constexpr std::size_t size = 1 << 20;
    const std::size_t before = GetUsedMemory();
    MakeReply<TreeReply>(std::vector<std::uint32_t>(size));
    EXPECT_LT(GetUsedMemory(), before + size);
}

TEST(Xcb, ARequestWithoutAnErrorIsNotDoneWhereTheConnectionIsLost) {
    const XServer server;
    const EnvironmentValue display("DISPLAY", server.GetDisplayName());
    const auto ask = [] {
        const Connection& x11 = *X11::GetConnection();
        const auto configureNothing = [&x11] {
            return x11.xcb_configure_window_checked(x11.xcb, x11.root, 0, nullptr);
        };
        EXPECT_TRUE(X11::Xcb::IsDone(x11, configureNothing()));
        shutdown(ConnectionNumber(x11.display), SHUT_RDWR);
        EXPECT_FALSE(X11::Xcb::IsDone(x11, configureNothing()));
    };
    EXPECT_IN_CHILD(ask(), IsEmpty());
}

TEST_F(XcbProcessIdsTest, AreThoseOfTheClientsThatTheServerKnows) {
    ExpectProcessIds(true, [](const OurReply&) {});
}

TEST_F(XcbProcessIdsTest, EndWhereTheReplyEndsWhateverItStates) {
    ExpectProcessIds(true, [](const OurReply& reply) { reply.SetCount(100'000'000); });
    ExpectProcessIds(false, [](const OurReply& reply) { reply.SetLength(3); });
    ExpectProcessIds(false, [](const OurReply& reply) { reply.SetLength(2); });
    ExpectProcessIds(false, [](const OurReply& reply) { reply.SetLength(0); });
}

TEST_F(XcbProcessIdsTest, AreNoMoreThanTheReplyStates) {
    ExpectProcessIds(false, [](const OurReply& reply) { reply.SetCount(0); });
}

TEST_F(XcbProcessIdsTest, AreOneOfEachClient) {
    for (const std::uint32_t bytes : {0U, 3U, 8U, 400U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(bytes);
        ExpectProcessIds(false, [bytes](const OurReply& reply) { reply.SetSize(bytes); });
    }
}

} // namespace Tovra::Tests
