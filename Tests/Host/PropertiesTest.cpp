#include <System/X11/Properties_Linux.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace Tovra::Tests {

namespace {

using System::X11::Xcb::GetNumber;
using System::X11::Xcb::GetNumbers;
using System::X11::Xcb::GetTail;
using System::X11::Xcb::PropertyReply;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The reply for a property that contains `numbers` and is said to have `count` of them.
PropertyReply MakeReply(const std::vector<std::uint32_t>& numbers, std::uint32_t count, std::uint8_t format = 32) {
    const xcb_get_property_reply_t fixed{.response_type = 1,
                                         .format = format,
                                         .sequence = 0,
                                         .length = static_cast<std::uint32_t>(numbers.size()),
                                         .type = XCB_ATOM_CARDINAL,
                                         .bytes_after = 0,
                                         .value_len = count,
                                         .pad0 = {}};
    const std::size_t size = numbers.size() * sizeof(std::uint32_t);
    auto* const reply = static_cast<xcb_get_property_reply_t*>(std::malloc(sizeof fixed + size));
    *reply = fixed;
    if (size > 0) {
        std::memcpy(reply + 1, numbers.data(), size);
    }
    return PropertyReply(reply);
}

} // namespace

TEST(Properties, AreTheirNumbersInFormat32) {
    EXPECT_THAT(GetNumbers(MakeReply({7, 8, 9}, 3)), ElementsAre(7, 8, 9));
    EXPECT_THAT(GetNumbers(MakeReply({7, 8, 9}, 2)), ElementsAre(7, 8));
    EXPECT_EQ(GetNumber(MakeReply({7, 8}, 2)), 7U);
    EXPECT_THAT(GetNumbers(MakeReply({7, 8, 9}, 3, 16)), IsEmpty());
    EXPECT_THAT(GetNumbers(nullptr), IsEmpty());
    EXPECT_EQ(GetNumber(MakeReply({}, 0)), 0U);
}

TEST(Properties, EndWhereTheReplyEndsWhateverItSays) {
    EXPECT_THAT(GetNumbers(MakeReply({7, 8}, 1000)), ElementsAre(7, 8));
    EXPECT_THAT(GetNumbers(MakeReply({}, 0xFFFFFFFF)), IsEmpty());
    EXPECT_EQ(GetTail<char>(MakeReply({7, 8}, 1000, 8), 1000).size(), 8U);
}

} // namespace Tovra::Tests
