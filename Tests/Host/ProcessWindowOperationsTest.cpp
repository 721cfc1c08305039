// Label: threaded

#include <Support/EnvironmentValue.h>
#include <Support/InChild.h>
#include <Support/XCalls.h>
#include <Support/XServerFixture.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/XClient.h>
#include <X11/Xatom.h>
// clang-format on

namespace Tovra::Tests {

namespace {

using namespace System::Processes;

using System::VisitorAction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The numbers of the windows that a walk visits.
std::vector<unsigned long> Walk(const WindowListQuery& query) {
    std::vector<unsigned long> numbers;
    WalkWindowList(query, [&numbers](const WindowListEntry& entry) {
        numbers.push_back(entry.number.value_or(0));
        return VisitorAction::Continue;
    });
    return numbers;
}

/// The calls that a walk takes.
std::string GetCalls(const WindowListQuery& query) {
    recordedCalls.clear();
    Walk(query);
    return recordedCalls;
}

/// The same calls about several windows.
std::string Repeat(const std::string& calls, int count) {
    std::string all;
    for (int index = 0; index < count; ++index) {
        all += calls;
    }
    return all;
}

/// The number of a window as the list has it.
std::uint32_t GetNumber(::Window window) {
    return static_cast<std::uint32_t>(window);
}

/// What it takes to get the list without a window manager.
const std::string listCalls = "ppcPPC";

class ProcessWindowOperationsTest : public XServerFixture {};

} // namespace

TEST_F(ProcessWindowOperationsTest, AWalkAsksForWhatItNeedsOfEachWindow) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  client.MakeWindow();
                  GetRecordedConnection();
                  EXPECT_EQ(GetCalls({.fields = WindowListField::Number}), listCalls);
                  EXPECT_EQ(GetCalls({.fields = WindowListField::Bounds}), listCalls + "gtGT");
                  EXPECT_EQ(GetCalls({.option = WindowListOption::OnScreenOnly, .fields = WindowListField::Bounds}),
                            listCalls + "gtappGTAPP")
                      << "Also whether it is on the screen.";
              }),
              "");
}

TEST_F(ProcessWindowOperationsTest, AWalkReadsBatchesThatDoubleInSize) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  for (int index = 0; index < 30; ++index) {
                      client.MakeWindow({0, 0, 10, 10}, {.isMapped = false});
                  }
                  GetRecordedConnection();
                  std::string expected = listCalls;
                  for (const int count : {8, 16, 6}) {
                      expected += Repeat("gt", count) + Repeat("GT", count);
                  }
                  EXPECT_EQ(GetCalls({.fields = WindowListField::Bounds}), expected);
              }),
              "");
}

TEST_F(ProcessWindowOperationsTest, AWalkToAPointReadsOnlyWhatIsThere) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window there = client.MakeWindow({200, 0, 300, 100});
                  client.MakeWindow({0, 0, 100, 100});
                  GetRecordedConnection();
                  const WindowListQuery query = {.fields = WindowListField::Bounds | WindowListField::Layer,
                                                 .point = WindowPoint{.x = 250, .y = 50}};
                  EXPECT_THAT(Walk(query), ElementsAre(there));
                  EXPECT_EQ(GetCalls(query), listCalls + "gtgtGTGT" + "appAPP");
                  const WindowListQuery elsewhere = {.fields = WindowListField::OwnerId,
                                                     .point = WindowPoint{.x = 150, .y = 50}};
                  EXPECT_THAT(Walk(elsewhere), IsEmpty());
                  EXPECT_EQ(GetCalls(elsewhere), listCalls + "gtgtGTGT");
              }),
              "");
}

// A window may be gone by the time that it is asked about.
TEST_F(ProcessWindowOperationsTest, AWindowThatIsGoneIsNeitherOnTheScreenNorAtAPoint) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow({0, 0, 100, 100});
                  const ::Window gone = client.MakeWindow({0, 0, 100, 100});
                  client.AnnounceManager();
                  client.ListWindows({window, gone});
                  client.Destroy(gone);
                  EXPECT_THAT(Walk({.fields = WindowListField::Number}), ElementsAre(gone, window));
                  EXPECT_THAT(Walk({.option = WindowListOption::OnScreenOnly, .fields = WindowListField::Number}),
                              ElementsAre(window));
                  EXPECT_THAT(Walk({.fields = WindowListField::Number, .point = WindowPoint{.x = 0, .y = 0}}),
                              ElementsAre(window));
              }),
              "");
}

TEST_F(ProcessWindowOperationsTest, AWalkToOneWindowAsksAboutNoOther) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  client.MakeWindow();
                  const ::Window window = client.MakeWindow();
                  client.MakeWindow();
                  GetRecordedConnection();
                  const WindowListQuery query = {.option = WindowListOption::IncludingWindow,
                                                 .fields = WindowListField::Bounds,
                                                 .window = GetNumber(window)};
                  EXPECT_THAT(Walk(query), ElementsAre(window));
                  EXPECT_EQ(GetCalls(query), "ppc"
                                             "gt"
                                             "PPC"
                                             "GT")
                      << "In one round trip.";
                  EXPECT_EQ(GetCalls({.fields = WindowListField::Bounds, .only = GetNumber(window)}), recordedCalls);
              }),
              "");
}

TEST_F(ProcessWindowOperationsTest, AWalkToWhatIsNoWindowOfAProgramAsksNothing) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  GetRecordedConnection();
                  for (const ::Window none : {::Window{None}, client.GetRoot()}) {
                      EXPECT_EQ(GetCalls({.option = WindowListOption::IncludingWindow,
                                          .fields = WindowListField::OwnerId,
                                          .window = GetNumber(none)}),
                                "");
                  }
              }),
              "");
}

TEST_F(ProcessWindowOperationsTest, AWalkToOneWindowOnTheScreenVisitsNoHiddenOne) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window hidden = client.MakeWindow({0, 0, 10, 10}, {.isMapped = false});
                  EXPECT_THAT(Walk({.fields = WindowListField::Number, .only = GetNumber(hidden)}),
                              ElementsAre(hidden));
                  EXPECT_THAT(Walk({.option = WindowListOption::OnScreenOnly,
                                    .fields = WindowListField::Number,
                                    .only = GetNumber(hidden)}),
                              IsEmpty());
              }),
              "");
}

TEST_F(ProcessWindowOperationsTest, AFocusThatFollowsThePointerIsNoWindowToAskAbout) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  client.SetFocus(PointerRoot);
                  GetRecordedConnection();
                  recordedCalls.clear();
                  EXPECT_EQ(GetFrontProcessId(), 0);
                  EXPECT_EQ(recordedCalls, "ppc"
                                           "pf"
                                           "PPC"
                                           "PF");
              }),
              "");
}

TEST(ProcessWindowOperations, WithoutADisplayNoProcessIsInFront) {
    const EnvironmentValue display("DISPLAY", std::nullopt);
    EXPECT_EQ(RunInChild([] { EXPECT_EQ(GetFrontProcessId(), 0); }), "");
}

TEST(ProcessWindowOperations, EveryProcessIsAnApplication) {
    EXPECT_NE(CreateApplicationElement(1), nullptr);
    EXPECT_EQ(CreateApplicationElement(0), nullptr);
}

} // namespace Tovra::Tests
