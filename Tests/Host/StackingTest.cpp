// Label: threaded

#include <Support/InChild.h>
#include <Support/XCalls.h>
#include <Support/XServerFixture.h>
#include <System/X11/Stacking_Linux.h>

#include <gmock/gmock.h>

#include <string>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/XClient.h>
#include <X11/Xatom.h>
// clang-format on

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;
namespace Xcb = System::X11::Xcb;

using ::testing::ElementsAre;
using X11::Connection;

/// The calls that it takes to get the windows.
std::string GetCalls(Connection& x11, bool isManaged) {
    recordedCalls.clear();
    EXPECT_EQ(Xcb::StackingRequests(x11).GetReply().isManaged, isManaged);
    return recordedCalls;
}

class StackingTest : public XServerFixture {};

} // namespace

TEST_F(StackingTest, TakesOneRoundTripAsLongAsNoWindowManagerComesOrGoes) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow({0, 0, 10, 10});
                  Connection& x11 = GetRecordedConnection();
                  EXPECT_EQ(GetCalls(x11, false), "ppcPPC");
                  EXPECT_EQ(GetCalls(x11, false), "ppcPPC");
                  client.AnnounceManager();
                  const std::string list = "_NET_CLIENT_LIST_STACKING";
                  client.SetNumbers(client.GetRoot(), list, XA_WINDOW, {static_cast<long>(window)});
                  EXPECT_EQ(GetCalls(x11, true), "ppcPPpPC") << "A reply that nobody takes stays in memory.";
                  EXPECT_EQ(GetCalls(x11, true), "pppPPP");
                  client.AnnounceManager(); // Another one takes over.
                  EXPECT_EQ(GetCalls(x11, true), "pppPPPpP");
                  EXPECT_EQ(GetCalls(x11, true), "pppPPP");
                  XDeleteProperty(client.GetDisplay(), client.GetRoot(), client.GetAtom(list));
                  XSync(client.GetDisplay(), False);
                  EXPECT_EQ(GetCalls(x11, false), "pppPPPcC");
                  EXPECT_EQ(GetCalls(x11, false), "pppcPPPC");
              }),
              "");
}

TEST_F(StackingTest, AListWithoutAWindowManagerIsNone) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window back = client.MakeWindow({0, 0, 10, 10});
                  const ::Window front = client.MakeWindow({20, 20, 30, 30});
                  client.ListWindows({back});
                  const Xcb::Stacking stacking = Xcb::StackingRequests(*X11::GetConnection()).GetReply();
                  EXPECT_FALSE(stacking.isManaged);
                  EXPECT_THAT(stacking.windows, ElementsAre(front, back));
              }),
              "");
}

TEST_F(StackingTest, WithoutAWindowManagerTheServerFocusesAndRaises) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const auto back = static_cast<xcb_window_t>(client.MakeWindow({0, 0, 10, 10}));
                  const auto front = static_cast<xcb_window_t>(client.MakeWindow({20, 20, 30, 30}));
                  const auto gone = static_cast<xcb_window_t>(client.MakeWindow({40, 40, 50, 50}));
                  client.Destroy(gone);
                  Connection& x11 = *X11::GetConnection();
                  EXPECT_TRUE(Xcb::FocusWindow(x11, back));
                  EXPECT_EQ(client.GetFocus(), back);
                  EXPECT_THAT(client.GetStacking(), ElementsAre(back, front));
                  EXPECT_TRUE(Xcb::RaiseWindow(x11, back));
                  EXPECT_THAT(client.GetStacking(), ElementsAre(front, back));
                  EXPECT_EQ(client.GetFocus(), back);
                  EXPECT_TRUE(Xcb::ActivateWindow(x11, front));
                  EXPECT_THAT(client.GetStacking(), ElementsAre(back, front));
                  EXPECT_EQ(client.GetFocus(), front);
                  for (const auto request : {Xcb::FocusWindow, Xcb::RaiseWindow, Xcb::ActivateWindow}) {
                      EXPECT_FALSE(request(x11, gone));
                  }
              }),
              "");
}

} // namespace Tovra::Tests
