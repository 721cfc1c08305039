// Label: threaded

#include <Support/Child.h>
#include <Support/HiddenLibrary.h>
#include <Support/InChild.h>
#include <Support/XCalls.h>
#include <Support/XServerFixture.h>
#include <System/Processes/WindowRequests_Linux.h>

#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

// After all others, since Xlib defines common words as macros.
// clang-format off
#include <Support/XClient.h>
#include <X11/Xatom.h>
// clang-format on

namespace {

/// Stands for this machine's name, if it is there; null for a machine that gives none.
thread_local std::optional<const char*> s_hostName;

} // namespace

// The linker (--wrap) redirects calls of `gethostname` to the second function, and calls of the first to `gethostname`.
extern "C" {
int __real_gethostname(char* name, std::size_t size);

int __wrap_gethostname(char* name, std::size_t size) {
    if (!s_hostName) {
        return __real_gethostname(name, size);
    }
    if (*s_hostName == nullptr) {
        return -1;
    }
    std::strncpy(name, *s_hostName, size);
    return 0;
}
}

namespace Tovra::Tests {

namespace {

namespace X11 = System::X11;

using System::Processes::GetEntry;
using System::Processes::WindowListEntry;
using System::Processes::WindowListField;
using System::Processes::WindowListFields;
using X11::Connection;

class WindowRequestsTest : public XServerFixture {};

xcb_window_t ToXcb(::Window window) {
    return static_cast<xcb_window_t>(window);
}

WindowListEntry Read(::Window window, WindowListFields fields) {
    return GetEntry(*X11::GetConnection(), ToXcb(window), fields);
}

/// The calls that it takes to read the fields of a window.
std::string GetCalls(::Window window, WindowListFields fields) {
    recordedCalls.clear();
    Read(window, fields);
    return recordedCalls;
}

/// Without the X resource extension a window belongs to the process that it names.
void LeaveOwnersToWindows() {
    HideLibrary("libxcb-res.so.0");
}

} // namespace

TEST_F(WindowRequestsTest, AreAllSentBeforeTheFirstReplyIsWaitedFor) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  GetRecordedConnection();
                  const WindowListFields fields = WindowListField::Bounds | WindowListField::Layer |
                                                  WindowListField::IsOnScreen | WindowListField::OwnerId |
                                                  WindowListField::Name;
                  const std::string sent = "gtapprpppp";
                  const std::string waitedFor = "GTAPPRPPPP";
                  EXPECT_EQ(GetCalls(window, fields), sent + waitedFor);
              }),
              "");
}

TEST_F(WindowRequestsTest, AreOnlyThoseThatTheFieldsNeed) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  GetRecordedConnection();
                  EXPECT_EQ(GetCalls(window, WindowListField::Number), "");
                  EXPECT_EQ(GetCalls(window, WindowListField::Bounds), "gtGT");
                  EXPECT_EQ(GetCalls(window, WindowListField::Layer), "appAPP");
                  EXPECT_EQ(GetCalls(window, WindowListField::IsOnScreen), "appAPP");
                  EXPECT_EQ(GetCalls(window, WindowListField::OwnerId), "rppRPP");
                  EXPECT_EQ(GetCalls(window, WindowListField::Name), "ppPP");
              }),
              "");
}

// Window 0 would stand for all clients.
TEST_F(WindowRequestsTest, AskTheServerForTheProcessOfTheWindowAlone) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  Connection& x11 = *X11::GetConnection();
                  x11.GetReportedProcessIds();
                  static const auto s_query = x11.xcb_res_query_client_ids;
                  static std::vector<std::uint32_t> s_asked;
                  x11.xcb_res_query_client_ids =
                      +[](xcb_connection_t* xcb, std::uint32_t count, const xcb_res_client_id_spec_t* clients) {
                          for (const xcb_res_client_id_spec_t& asked : std::span(clients, count)) {
                              s_asked.push_back(asked.client);
                          }
                          return s_query(xcb, count, clients);
                      };
                  EXPECT_EQ(Read(window, WindowListField::OwnerId).ownerId, getpid());
                  EXPECT_THAT(s_asked, ::testing::ElementsAre(window));
              }),
              "");
}

TEST_F(WindowRequestsTest, AskForTheOwnersNameOnlyIfTheTitleIsEmptyAndItIsWanted) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window untitled = client.MakeWindow();
                  const ::Window titled = client.MakeWindow({0, 0, 10, 10}, {.title = "Title"});
                  const ::Window empty = client.MakeWindow();
                  client.SetText(empty, XA_WM_NAME, XA_STRING, "");
                  GetRecordedConnection();
                  const WindowListFields both = WindowListField::Name | WindowListField::OwnerName;
                  EXPECT_EQ(Read(untitled, both).name, std::nullopt);
                  EXPECT_EQ(Read(untitled, both).ownerName, std::nullopt);
                  EXPECT_EQ(Read(titled, both).name, "Title");
                  EXPECT_EQ(Read(titled, both).ownerName, std::nullopt);
                  EXPECT_EQ(Read(empty, both).name, "");
                  EXPECT_EQ(Read(empty, both).ownerName,
                            std::filesystem::read_symlink("/proc/self/exe").filename().string());
                  EXPECT_EQ(Read(empty, WindowListField::Name).ownerName, std::nullopt);
                  EXPECT_EQ(GetCalls(titled, both), "ppPP");
                  EXPECT_EQ(GetCalls(empty, both), "ppPPrppRPP");
                  EXPECT_EQ(GetCalls(empty, WindowListField::Name), "ppPP");
              }),
              "");
}

TEST_F(WindowRequestsTest, FindNoOwnersNameWithoutAnOwner) {
    EXPECT_EQ(RunInChild([] {
                  LeaveOwnersToWindows();
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  client.SetText(window, XA_WM_NAME, XA_STRING, "");
                  const WindowListEntry entry =
                      Read(window, WindowListField::Name | WindowListField::OwnerName | WindowListField::OwnerId);
                  EXPECT_EQ(entry.name, "");
                  EXPECT_EQ(entry.ownerId, std::nullopt);
                  EXPECT_EQ(entry.ownerName, std::nullopt);
              }),
              "");
}

// A process that has ended and is not waited for has a name, and no executable any more.
TEST_F(WindowRequestsTest, FindAnOwnersNameOfOneLetter) {
    EXPECT_EQ(RunInChild([] {
                  LeaveOwnersToWindows();
                  const Child zombie([] { return prctl(PR_SET_NAME, "x"); });
                  zombie.BecomeZombie();
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  client.SetText(window, XA_WM_NAME, XA_STRING, "");
                  s_hostName = "here";
                  client.SetOwner(window, {.processes = {zombie.GetId()}, .machine = "here"});
                  EXPECT_EQ(Read(window, WindowListField::Name | WindowListField::OwnerName).ownerName, "x");
              }),
              "");
}

TEST_F(WindowRequestsTest, TakeTheGreatestNumberOfAProcessForOne) {
    EXPECT_EQ(RunInChild([] {
                  LeaveOwnersToWindows();
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
                  s_hostName = "here";
                  client.SetOwner(window, {.processes = {greatest}, .machine = "here"});
                  EXPECT_EQ(Read(window, WindowListField::OwnerId).ownerId, greatest);
                  client.SetOwner(window, {.processes = {greatest + 1L}, .machine = "here"});
                  EXPECT_EQ(Read(window, WindowListField::OwnerId).ownerId, std::nullopt);
              }),
              "");
}

TEST_F(WindowRequestsTest, TakeNoMachineForThisOneWhileItHasNoName) {
    EXPECT_EQ(RunInChild([] {
                  LeaveOwnersToWindows();
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  client.SetOwner(window, {.processes = {4711}, .machine = ""});
                  for (const char* const none : {"", static_cast<const char*>(nullptr)}) {
                      s_hostName = none;
                      EXPECT_EQ(Read(window, WindowListField::OwnerId).ownerId, std::nullopt);
                  }
                  s_hostName = "here";
                  client.SetOwner(window, {.processes = {4711}, .machine = "here"});
                  EXPECT_EQ(Read(window, WindowListField::OwnerId).ownerId, 4711);
              }),
              "");
}

TEST_F(WindowRequestsTest, KnowTwoLayers) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window normal = client.MakeWindow();
                  const ::Window note = client.MakeWindow({0, 0, 10, 10}, {.isOverrideRedirect = true});
                  EXPECT_EQ(Read(normal, WindowListField::Layer).layer, 0);
                  EXPECT_EQ(Read(note, WindowListField::Layer).layer, 1);
              }),
              "");
}

// Like a window that is destroyed between two requests about it.
TEST_F(WindowRequestsTest, FindNoBoundsWithoutAPlace) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow();
                  Connection& x11 = *X11::GetConnection();
                  static const auto s_getReply = x11.xcb_translate_coordinates_reply;
                  x11.xcb_translate_coordinates_reply =
                      +[](xcb_connection_t* xcb, xcb_translate_coordinates_cookie_t cookie,
                          xcb_generic_error_t** error) -> xcb_translate_coordinates_reply_t* {
                      std::free(s_getReply(xcb, cookie, error));
                      return nullptr;
                  };
                  EXPECT_FALSE(Read(window, WindowListField::Bounds).bounds);
              }),
              "");
}

TEST_F(WindowRequestsTest, FreeATitleThatXlibHasConverted) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow({0, 0, 10, 10}, {.title = "Title"});
                  Connection& x11 = *X11::GetConnection();
                  static const auto s_free = x11.XFreeStringList;
                  static int s_count = 0;
                  x11.XFreeStringList = [](char** list) {
                      EXPECT_STREQ(list[0], "Title");
                      s_free(list);
                      ++s_count;
                  };
                  EXPECT_EQ(Read(window, WindowListField::Name).name, "Title");
                  EXPECT_EQ(s_count, 1);
                  client.SetText(window, XA_WM_NAME, XA_STRING, "");
                  EXPECT_EQ(Read(window, WindowListField::Name).name, "");
                  EXPECT_EQ(s_count, 1) << "There is nothing to free.";
              }),
              "");
}

TEST_F(WindowRequestsTest, FindNoTitleIfTheConnectionIsLostWhileItIsConverted) {
    EXPECT_EQ(RunInChild([] {
                  const XClient client;
                  const ::Window window = client.MakeWindow({0, 0, 10, 10}, {.title = "Title"});
                  Connection& x11 = *X11::GetConnection();
                  x11.Xutf8TextPropertyToTextList = [](Display*, const XTextProperty*, char***, int*) -> int {
                      X11::AbandonConnection();
                      return Success;
                  };
                  EXPECT_EQ(Read(window, WindowListField::Name).name, std::nullopt);
              }),
              lossReport);
}

} // namespace Tovra::Tests
