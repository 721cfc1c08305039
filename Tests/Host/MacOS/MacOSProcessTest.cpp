#include <Support/Program.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Tovra::System::Processes;
using ::testing::IsSupersetOf;
using ::testing::StrEq;
using Tovra::Tests::RunningProgram;

using Ids = std::set<std::int32_t>;

/// The processes that ps(1) lists.
Ids ListByPs() {
    std::istringstream lines(Tovra::Tests::Run({.path = "ps", .arguments = {"-A", "-o", "pid="}}).output);
    Ids ids;
    for (std::int32_t id = 0; lines >> id;) {
        ids.insert(id);
    }
    return ids;
}

Ids ListByTable() {
    std::size_t size = 0;
    EXPECT_EQ(QueryProcessTable(nullptr, size), 0);
    std::vector<char> table(size);
    EXPECT_EQ(QueryProcessTable(table.data(), size), 0);
    EXPECT_EQ(size % processRecordSize, 0u);
    Ids ids;
    for (std::size_t offset = processRecordIdOffset; offset < size; offset += processRecordSize) {
        std::int32_t id = 0;
        std::memcpy(&id, table.data() + offset, sizeof id);
        ids.insert(id);
    }
    return ids;
}

TEST(MacOSProcess, TableContainsWhatPsListsBeforeAndAfter) {
    const RunningProgram child({.path = "sleep", .arguments = {"100"}});
    const Ids before = ListByPs();
    const Ids table = ListByTable();
    const Ids after = ListByPs();
    Ids lasting;
    std::ranges::set_intersection(before, after, std::inserter(lasting, lasting.end()));
    EXPECT_GT(lasting.size(), 20u);
    EXPECT_TRUE(lasting.contains(child.GetId()));
    EXPECT_THAT(table, IsSupersetOf(lasting));
}

TEST(MacOSProcess, HasThePathOfItsExecutable) {
    const RunningProgram child({.path = "/bin/sleep", .arguments = {"100"}});
    std::array<char, 4096> path{};
    // The fork still has our own path until it executes the program.
    while (GetProcessPath(child.GetId(), path.data(), path.size()) != std::strlen("/bin/sleep")) {
        ASSERT_TRUE(child.IsRunning());
    }
    EXPECT_THAT(path.data(), StrEq("/bin/sleep"));
    EXPECT_LE(GetProcessPath(-1, path.data(), path.size()), 0);
}

TEST(MacOSProcess, InformationNamesItsUser) {
    std::array<char, processInformationSize> information{};
    ASSERT_EQ(GetProcessInformation(getpid(), information.data(), static_cast<int>(information.size())),
              static_cast<int>(information.size()));
    uid_t user = 0;
    std::memcpy(&user, information.data() + processInformationUserOffset, sizeof user);
    EXPECT_EQ(user, geteuid());
}

TEST(MacOSProcess, BundleHasTheNameThatTheFinderHas) {
    const std::string path = "/System/Library/CoreServices/Finder.app";
    std::array<char, 256> name{};
    EXPECT_TRUE(GetBundleName(path.c_str(), path.size(), name.data(), name.size()));
    EXPECT_THAT(name.data(), StrEq("Finder"));
    EXPECT_FALSE(GetBundleName("/usr/bin", std::strlen("/usr/bin"), name.data(), name.size()));
}

} // namespace
