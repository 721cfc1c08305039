#include <Support/Assertions.h>
#include <Support/Child.h>
#include <Support/EnvironmentValue.h>
#include <Support/ProcessNamespace.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestApplication.h>
#include <System/FileSystem/Path.h>
#include <System/Processes/Process.h>
#include <System/Processes/ProcessOperations.h>

#include <fcntl.h>
#include <link.h>
#include <linux/filter.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace {

/// Called before each call of `stat`, with the path.
std::function<void(std::string_view)> s_beforeStat;

/// The object that this thread has called `posix_spawnattr_init` with last.
thread_local const posix_spawnattr_t* s_attributes = nullptr;

/// Whether `posix_spawn` was called by this thread with that object.
thread_local bool s_hasSpawnedByAttributes = false;

} // namespace

// The linker (--wrap) redirects calls of `name` to `__wrap_name`, and calls of `__real_name` to `name`.
extern "C" {
int __real_stat(const char* path, struct stat* status);

int __wrap_stat(const char* path, struct stat* status) {
    if (s_beforeStat) {
        s_beforeStat(path);
    }
    return __real_stat(path, status);
}

int __real_posix_spawnattr_init(posix_spawnattr_t* attributes);

int __wrap_posix_spawnattr_init(posix_spawnattr_t* attributes) {
    s_attributes = attributes;
    return __real_posix_spawnattr_init(attributes);
}

int __real_posix_spawn(pid_t* id, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment);

int __wrap_posix_spawn(pid_t* id, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    s_hasSpawnedByAttributes = attributes != nullptr && attributes == s_attributes;
    return __real_posix_spawn(id, path, actions, attributes, arguments, environment);
}
}

namespace {

namespace fs = std::filesystem;
using namespace std::string_view_literals;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using Tovra::System::Processes::AllocateProcessTable;
using Tovra::System::Processes::FreeProcessTable;
using Tovra::System::Processes::GetListedProcessPath;
using Tovra::System::Processes::GetProcessInformation;
using Tovra::System::Processes::GetProcessPath;
using Tovra::System::Processes::HoldProcess;
using Tovra::System::Processes::Process;
using Tovra::System::Processes::processInformationSize;
using Tovra::System::Processes::processRecordIdOffset;
using Tovra::System::Processes::processRecordSize;
using Tovra::System::Processes::QueryProcessTable;
using Tovra::System::Processes::ReleaseProcess;
using Tovra::System::Processes::SendSignal;
using Tovra::System::Processes::SendSignalToHeld;
using Tovra::System::Processes::SpawnProcess;
using Tovra::Tests::Child;
using Tovra::Tests::DropRights;
using Tovra::Tests::EnvironmentValue;
using Tovra::Tests::IsRoot;
using Tovra::Tests::RunInNamespace;
using Tovra::Tests::ThrowIf;

std::string ReadFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

fs::path GetEntry(std::uint64_t id, const char* name) {
    return fs::path("/proc") / std::to_string(id) / name;
}

Process GetProcess(const Child& child) {
    return {static_cast<std::uint64_t>(child.GetId())};
}

/// Starts a program and returns its process id.
pid_t Start(const fs::path& path, const std::vector<std::string>& arguments) {
    return static_cast<pid_t>(Process::Start(path.string(), arguments).GetId());
}

/// How a bystander is started.
struct StartOptions {
    std::optional<std::string> firstWord = {}; ///< Its argument zero; the path by default.
    bool hasRights = true;                     ///< Whether it runs as the test's user, which may be root.
    bool isNested = false;                     ///< Whether it runs in a new process namespace.
    std::function<void()> prepare = [] {};     ///< Called in its process before it starts.
};

/// A running program (cat) that echoes its input, by which a test sees whether it is alive.
class Bystander {
public:
    explicit Bystander(const fs::path& program, const StartOptions& start = {})
        : m_input(MakePipe()), m_output(MakePipe()), m_child([&] { return Execute(program, start); }) {
        close(m_input[0]);
        close(m_output[1]);
        ThrowIf(!Lives(), program.string());
    }
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;
    ~Bystander() {
        close(m_input[1]);
        close(m_output[0]);
    }

    bool Lives() const {
        char byte = 'x';
        return write(m_input[1], &byte, 1) == 1 && read(m_output[0], &byte, 1) == 1;
    }

    std::uint64_t GetId() const { return GetProcess(m_child).GetId(); }

    /// Its name, as `Process` returns it.
    std::string GetName() const {
        std::string name;
        return GetProcess(m_child).GetName(name);
    }

private:
    static std::array<int, 2> MakePipe() {
        // Writing to a killed program must fail rather than end the test.
        signal(SIGPIPE, SIG_IGN);
        std::array<int, 2> ends;
        ThrowIf(pipe2(ends.data(), O_CLOEXEC) != 0, "pipe2");
        return ends;
    }

    int Execute(const fs::path& program, const StartOptions& start) const;

    std::array<int, 2> m_input;
    std::array<int, 2> m_output;
    Child m_child;
};

/// Real processes, with names that no other test uses at the same time.
class HostProcessTest : public Tovra::Tests::ApplicationTest {
protected:
    HostProcessTest() { fs::permissions(m_folder.GetPath(), fs::perms(0755)); }

    /// A name with this beginning that no other test uses.
    static std::string MakeName(const std::string& beginning) { return beginning + std::to_string(getpid()); }

    /// Copies the echoing program under a name.
    fs::path Install(const std::string& name, int permissions = 0755) const;

    static std::vector<std::uint64_t> Visit(std::string_view filter);

    /// Calls `TerminateAll` as an unprivileged user and returns its result.
    static bool TerminateAllWithoutRights(const std::string& name);

    static bool CanReadPathWithoutRights(std::uint64_t id);

    /// Starts cat with these arguments and returns its output.
    std::string RunStarted(const std::vector<std::string>& arguments) const;

    const Tovra::Tests::TemporaryFolder m_folder;
};

/// Runs part of a test in a namespace without other processes: one that ended during a walk would get the name of the
/// process before it.
template <class Body>
void RunWithoutStrangers(const Body& body) {
    EXPECT_EQ(RunInNamespace(true,
                             [&body] {
                                 body();
                                 return ::testing::Test::HasFailure();
                             }),
              0);
}

TEST_F(HostProcessTest, CurrentOneIsThisProgram) {
    EXPECT_EQ(Process::GetCurrent().GetId(), static_cast<std::uint64_t>(getpid()));
    std::string name;
    EXPECT_EQ(Process::GetCurrent().GetName(name), fs::read_symlink("/proc/self/exe").filename());
}

TEST_F(HostProcessTest, ProcessesOfAnyUserAreValidUntilTheyAreReaped) {
    EXPECT_EQ(Process::Get(1).GetId(), 1u);
    EXPECT_EQ(Child([] {
                  DropRights();
                  return Process::Get(1).GetId() == 1 && Process::Get(1).IsValid();
              }).Wait(),
              1);
    Child child([] { return 0; });
    const Process process = GetProcess(child);
    child.BecomeZombie();
    EXPECT_TRUE(process.IsValid());
    child.Wait();
    EXPECT_FALSE(process.IsValid());
    EXPECT_EQ(Process::Get(process.GetId()).GetId(), 0u);
}

TEST_F(HostProcessTest, EmptyFilterVisitsEveryProcessOnceAndNoThreads) {
    const Bystander bystander(Install(MakeName("Visited")));
    const std::vector<std::uint64_t> ids = Visit("");
    EXPECT_EQ(std::ranges::count(ids, static_cast<std::uint64_t>(getpid())), 1);
    EXPECT_EQ(std::ranges::count(ids, bystander.GetId()), 1);
    EXPECT_EQ(std::ranges::count(ids, 1u), 1);
}

TEST_F(HostProcessTest, TableFitsIntoTheSizeThatWasAskedFor) {
    const Bystander second(Install(MakeName("Second")));
    std::size_t needed = 0;
    ASSERT_EQ(QueryProcessTable(nullptr, needed), 0);
    EXPECT_EQ(needed % 648, 0u);
    std::vector<char> table(needed);
    std::size_t size = needed;
    ASSERT_EQ(QueryProcessTable(table.data(), size), 0);
    EXPECT_GT(size, 648u);
    EXPECT_LT(size, needed);
    size = 648 + 647;
    errno = 0;
    EXPECT_EQ(QueryProcessTable(table.data(), size), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST_F(HostProcessTest, TableHasRoomForFiveProcessesMoreThanTheMachineHas) {
    // Other processes start and end meanwhile, so repeats until the count before and after is the same.
    struct stat before = {};
    struct stat behind = {};
    std::size_t size = 0;
    do {
        ASSERT_EQ(stat("/proc", &before), 0);
        ASSERT_EQ(QueryProcessTable(nullptr, size), 0);
        ASSERT_EQ(stat("/proc", &behind), 0);
    } while (before.st_nlink != behind.st_nlink);
    EXPECT_EQ(size, (before.st_nlink + 5) * 648);
}

TEST_F(HostProcessTest, TableIsRefusedWithoutFreeDescriptors) {
    EXPECT_EQ(Child([] {
                  std::size_t size = 0;
                  ThrowIf(QueryProcessTable(nullptr, size) != 0, "size");
                  size *= 2; // Other processes may start meanwhile.
                  std::vector<char> table(size);
                  // From here on it is known whose numbers procfs shows.
                  ThrowIf(QueryProcessTable(table.data(), size) != 0, "table");
                  const rlimit none = {0, 0};
                  ThrowIf(setrlimit(RLIMIT_NOFILE, &none) != 0, "setrlimit");
                  errno = 0;
                  return QueryProcessTable(table.data(), size) == -1 && errno == EMFILE;
              }).Wait(),
              1);
}

TEST_F(HostProcessTest, MemoryOfTheTableIsFreed) {
    constexpr std::size_t size = 1 << 26; // So much has a mapping of its own.
    const std::size_t before = mallinfo2().hblkhd;
    void* const buffer = AllocateProcessTable(size);
    ASSERT_NE(buffer, nullptr);
    FreeProcessTable(buffer);
    EXPECT_LT(mallinfo2().hblkhd, before + size);
}

TEST_F(HostProcessTest, SizeOfTheTableIsUnknownWithoutProcfs) {
    EXPECT_EQ(RunInNamespace(false,
                             [this] {
                                 ThrowIf(chroot(m_folder.GetPath().c_str()) != 0, "chroot");
                                 std::size_t size = 0;
                                 errno = 0;
                                 return QueryProcessTable(nullptr, size) == -1 && errno == ENOENT;
                             }),
              1);
}

TEST_F(HostProcessTest, InformationNeedsRoomForItsRecordAndADescriptor) {
    EXPECT_EQ(Child([] {
                  constexpr auto size = static_cast<int>(processInformationSize);
                  std::array<char, processInformationSize> record;
                  errno = 0;
                  ThrowIf(GetProcessInformation(getpid(), record.data(), size - 1) != 0 || errno != EINVAL, "room");
                  ThrowIf(GetProcessInformation(getpid(), record.data(), size) != size, "record");
                  const rlimit none = {0, 0};
                  ThrowIf(setrlimit(RLIMIT_NOFILE, &none) != 0, "setrlimit");
                  errno = 0;
                  return GetProcessInformation(getpid(), record.data(), size) == 0 && errno == EMFILE;
              }).Wait(),
              1);
}

TEST_F(HostProcessTest, OnlyNamesakesDie) {
    RunWithoutStrangers([this] {
        const std::string name = MakeName("Namesake");
        fs::create_directory(m_folder.GetPath() / "other");
        const Bystander first(Install(name));
        const Bystander stranger(Install(name + "x"), {.firstWord = name});
        const Bystander second(Install("other/" + name), {.firstWord = "something else"});
        EXPECT_THAT(Visit(name), ElementsAre(first.GetId(), second.GetId()));
        EXPECT_TRUE(Process::TerminateAll(name));
        EXPECT_FALSE(first.Lives());
        EXPECT_FALSE(second.Lives());
        EXPECT_TRUE(stranger.Lives());
    });
}

TEST_F(HostProcessTest, UpgradedExecutableKeepsItsName) {
    const std::string name = MakeName("Upgraded");
    const fs::path path = Install(name);
    const Bystander bystander(path);
    fs::rename(Install("new"), path);
    ASSERT_EQ(fs::read_symlink(GetEntry(bystander.GetId(), "exe")), path.string() + " (deleted)");
    EXPECT_EQ(bystander.GetName(), name);
    EXPECT_TRUE(Process::TerminateAll(name));
    EXPECT_FALSE(bystander.Lives());
}

TEST_F(HostProcessTest, DeletedExecutableThatLivesOnUnderAnotherNameKeepsItsName) {
    const std::string name = MakeName("Deleted");
    const fs::path path = Install(name);
    const Bystander bystander(path);
    fs::create_hard_link(path, m_folder.GetPath() / "backup");
    fs::remove(path);
    EXPECT_EQ(bystander.GetName(), name);
}

TEST_F(HostProcessTest, FileThatIsReallyCalledDeletedIsNotTakenForAnother) {
    const std::string name = MakeName("Real");
    const fs::path path = Install(name + " (deleted)");
    const Bystander bystander(path);
    EXPECT_EQ(bystander.GetName(), name + " (deleted)");
    EXPECT_FALSE(Process::TerminateAll(name));
    EXPECT_TRUE(bystander.Lives());
    fs::remove(path);
    EXPECT_EQ(bystander.GetName(), name + " (deleted)");
    EXPECT_TRUE(Process::TerminateAll(name + " (deleted)"));
    EXPECT_FALSE(bystander.Lives());
}

TEST_F(HostProcessTest, AnotherFileAtTheMarkedPathIsNotTakenForTheExecutable) {
    const std::string name = MakeName("Decoy");
    const fs::path path = Install(name);
    const Bystander bystander(path);
    fs::remove(path);
    Install(name + " (deleted)");
    EXPECT_EQ(bystander.GetName(), name);
}

TEST_F(HostProcessTest, DeletedExecutableKeepsItsNameThoughItsProcessEndsWhileThatIsRead) {
    const std::string name = MakeName("Ended");
    const fs::path path = Install(name + " (deleted)");
    std::optional<Bystander> bystander(path);
    const Process process(bystander->GetId());
    s_beforeStat = [&bystander, entry = GetEntry(bystander->GetId(), "exe")](std::string_view asked) {
        if (asked == entry.native()) {
            bystander.reset();
        }
    };
    std::string readName;
    EXPECT_EQ(process.GetName(readName), name) << "It can't be told any more from one that was deleted.";
    EXPECT_FALSE(bystander.has_value());
    s_beforeStat = nullptr;
}

void Mount(const fs::path& folder) {
    ThrowIf(mount("tmpfs", folder.c_str(), "tmpfs", 0, "mode=755") != 0, "mount tmpfs");
}

// The first files of two new file systems have the same inode number.
TEST_F(HostProcessTest, AFileOfTheSameNumberOnAnotherDeviceIsNotTakenForTheExecutable) {
    const std::string name = MakeName("Twin");
    const fs::path folder = m_folder.GetPath() / "mounted";
    fs::create_directory(folder);
    RunWithoutStrangers([&] {
        const auto getFile = [](const fs::path& path) {
            struct stat file = {};
            ThrowIf(stat(path.c_str(), &file) != 0, path);
            return file;
        };
        Mount(folder);
        const fs::path path = Install("mounted/" + name);
        const struct stat executable = getFile(path);
        const Bystander bystander(path);
        fs::remove(path);
        Mount(folder);
        const struct stat twin = getFile(Install("mounted/" + name + " (deleted)"));
        EXPECT_EQ(twin.st_ino, executable.st_ino);
        EXPECT_NE(twin.st_dev, executable.st_dev);
        EXPECT_EQ(bystander.GetName(), name);
    });
}

TEST_F(HostProcessTest, FileThatIsReallyCalledDeletedIsFoundInWhatItsProcessSees) {
    const std::string name = MakeName("Mounted") + " (deleted)";
    const fs::path folder = m_folder.GetPath() / "mounted";
    fs::create_directory(folder);
    const Bystander bystander(folder / name, {.prepare = [&] {
                                  Tovra::Tests::EnterProcessNamespace();
                                  Mount(folder);
                                  Install("mounted/" + name);
                              }});
    EXPECT_FALSE(fs::exists(folder / name));
    EXPECT_EQ(bystander.GetName(), name);
}

/// Copies the libraries of this program, which are all that /bin/cat needs, into a folder that is to be its root.
void InstallLibraries(const fs::path& root) {
    const auto install = [](dl_phdr_info* library, std::size_t, void* folder) {
        const fs::path path = library->dlpi_name;
        if (path.is_absolute()) {
            const fs::path copy = *static_cast<const fs::path*>(folder) / path.relative_path();
            fs::create_directories(copy.parent_path());
            fs::copy_file(path, copy);
        }
        return 0;
    };
    fs::path folder = root;
    dl_iterate_phdr(install, &folder);
}

TEST_F(HostProcessTest, FileThatIsReallyCalledDeletedIsFoundFromOurRootIfItsProcessHasAnother) {
    const std::string name = MakeName("Chrooted") + " (deleted)";
    const fs::path root = m_folder.GetPath() / "root";
    fs::create_directory(root);
    Install("root/" + name);
    InstallLibraries(root);
    const Bystander bystander("/" + name, {.prepare = [&root] {
                                  Tovra::Tests::EnterProcessNamespace();
                                  ThrowIf(chroot(root.c_str()) != 0, "chroot");
                              }});
    EXPECT_EQ(fs::read_symlink(GetEntry(bystander.GetId(), "exe")), root / name);
    EXPECT_EQ(bystander.GetName(), name);
}

TEST_F(HostProcessTest, PathThatDoesNotFitIsNoPath) {
    const std::string name = MakeName("LongerThanFifteen");
    const fs::path path = Install(name);
    const Bystander bystander(path);
    const auto size = static_cast<std::uint32_t>(path.string().size());
    std::array<char, 4096> buffer = {};
    const auto id = static_cast<std::int32_t>(bystander.GetId());
    EXPECT_EQ(GetProcessPath(id, buffer.data(), size + 1), static_cast<int>(size));
    EXPECT_EQ(buffer.data(), path.string());
    EXPECT_EQ(GetProcessPath(id, buffer.data(), size), 1);
    EXPECT_STREQ(buffer.data(), "/") << "Neither the link nor the first word fits.";
}

TEST_F(HostProcessTest, ProgramsThatShareFifteenCharactersAreToldApart) {
    const std::string name = MakeName("FifteenInCommon");
    const Bystander first(Install(name + "One"));
    const Bystander second(Install(name + "Two"));
    const Bystander third(Install(name));
    EXPECT_TRUE(Process::TerminateAll(name + "Two"));
    EXPECT_TRUE(first.Lives());
    EXPECT_FALSE(second.Lives());
    EXPECT_TRUE(third.Lives());
    EXPECT_FALSE(Process::TerminateAll("FifteenInCommon"));
    EXPECT_TRUE(first.Lives());
    EXPECT_TRUE(third.Lives());
}

// The path of a program that may be executed but not read is visible only to root; its own user may still kill it.
constexpr int unreadable = 0111;

TEST_F(HostProcessTest, UnreadableOnesGoByTheFirstWordOfTheirCommandLine) {
    const std::string name = MakeName("UnreadableSame15");
    const Bystander readable(Install(name), {.hasRights = false});
    const Bystander stranger(Install(name + "Stranger", unreadable), {.hasRights = false});
    fs::create_directory(m_folder.GetPath() / "other");
    const Bystander namesake(Install("other/" + name, unreadable),
                             {.firstWord = "/elsewhere/" + name, .hasRights = false});
    EXPECT_FALSE(CanReadPathWithoutRights(namesake.GetId()));
    EXPECT_TRUE(TerminateAllWithoutRights(name));
    EXPECT_FALSE(readable.Lives());
    EXPECT_TRUE(stranger.Lives());
    EXPECT_FALSE(namesake.Lives());
}

TEST_F(HostProcessTest, FirstWordThatIsNotTheThreadsNameIsATitleAndNamesNobody) {
    const std::string name = MakeName("Title");
    const Bystander readable(Install(name), {.hasRights = false});
    const Bystander actor(Install("actor", unreadable), {.firstWord = "/elsewhere/" + name, .hasRights = false});
    const Bystander prefix(Install(name + "x", unreadable), {.firstWord = name, .hasRights = false});
    const Bystander titled(Install("titled", unreadable), {.firstWord = "watching: /opt/" + name, .hasRights = false});
    EXPECT_EQ(Child([&] {
                  DropRights();
                  return actor.GetName() == "actor" && titled.GetName() == "titled";
              }).Wait(),
              1);
    EXPECT_TRUE(TerminateAllWithoutRights(name));
    EXPECT_FALSE(readable.Lives());
    EXPECT_TRUE(actor.Lives());
    EXPECT_TRUE(prefix.Lives());
    EXPECT_TRUE(titled.Lives());
}

TEST_F(HostProcessTest, WithoutPathAndCommandLineAShortThreadNameCounts) {
    const std::string name = MakeName("Tv");
    ASSERT_LT(name.size(), 15u);
    const Bystander stranger(Install(name + "x", unreadable), {.firstWord = "", .hasRights = false});
    const Bystander namesake(Install(name, unreadable), {.firstWord = "", .hasRights = false});
    EXPECT_FALSE(CanReadPathWithoutRights(namesake.GetId()));
    EXPECT_TRUE(TerminateAllWithoutRights(name));
    EXPECT_TRUE(stranger.Lives());
    EXPECT_FALSE(namesake.Lives());
}

TEST_F(HostProcessTest, ThreadNameThatMayBeCutNamesNobody) {
    const std::string name = MakeName("Fifteen" + std::string(8 - std::min<std::size_t>(8, MakeName("").size()), '_'));
    ASSERT_EQ(name.size(), 15u);
    const Bystander readable(Install(name), {.hasRights = false});
    const Bystander whole(Install(name + "x"), {.firstWord = "", .hasRights = false});
    fs::create_directory(m_folder.GetPath() / "unreadable");
    const Bystander cut(Install("unreadable/" + name + "Two", unreadable), {.firstWord = "", .hasRights = false});
    const Bystander same(Install("unreadable/" + name, unreadable), {.firstWord = "", .hasRights = false});
    ASSERT_EQ(ReadFile(GetEntry(cut.GetId(), "comm")), name + "\n");
    EXPECT_TRUE(TerminateAllWithoutRights(name));
    EXPECT_FALSE(readable.Lives());
    EXPECT_TRUE(whole.Lives());
    EXPECT_TRUE(cut.Lives());
    EXPECT_TRUE(same.Lives());
    EXPECT_FALSE(TerminateAllWithoutRights(name + "Two"));
}

// It exists, so it must not get the name of the process before it.
TEST_F(HostProcessTest, OneWhoseEntriesCannotBeOpenedHasNoName) {
    const Bystander stranger(Install("x", unreadable), {.hasRights = false});
    EXPECT_EQ(Child([&] {
                  DropRights();
                  const std::string before = stranger.GetName();
                  const rlimit none = {0, 0};
                  ThrowIf(setrlimit(RLIMIT_NOFILE, &none) != 0, "setrlimit");
                  return before == "x" && stranger.GetName() == "/";
              }).Wait(),
              1);
}

TEST_F(HostProcessTest, ProcessOfAnotherUserHasItsNameAndStays) {
    const std::string name = MakeName("OtherUsersProcess");
    const Bystander bystander(Install(name, IsRoot() ? 0755 : unreadable), {.firstWord = "/x y/" + name});
    EXPECT_FALSE(CanReadPathWithoutRights(bystander.GetId()));
    EXPECT_EQ(Child([&] {
                  DropRights();
                  return bystander.GetName() == name;
              }).Wait(),
              1);
    EXPECT_TRUE(TerminateAllWithoutRights(name));
    // Only a test as root can start a process that the unprivileged user may not kill.
    EXPECT_EQ(bystander.Lives(), IsRoot());
}

/// Whether a process has neither executable nor command line, as kernel threads have none.
bool IsLikeAKernelThread(std::uint64_t id) {
    std::error_code error;
    fs::read_symlink(GetEntry(id, "exe"), error);
    return error == std::errc::no_such_file_or_directory && fs::exists(GetEntry(id, "comm")) &&
           ReadFile(GetEntry(id, "cmdline")).empty();
}

// A container shows no kernel threads. A zombie looks the same: with its memory its path and command line are gone.
TEST_F(HostProcessTest, KernelThreadsAndZombiesGoByAThreadNameThatIsWholeOrByNone) {
    RunWithoutStrangers([] {
        const std::string shortName = MakeName("Ended");
        std::vector<std::pair<std::string, std::string>> threadNames = {
            {shortName, shortName},   {"FourteenLong_x", "FourteenLong_x"},
            {"FifteenLongName", "/"}, {"Two\nlines", "Two\nlines"},
            {"kworker/0:1", "/"},     {"kworker/u:1", "/"}};
        std::deque<Child> zombies;
        for (const auto& [threadName, name] : threadNames) {
            const Child& zombie = zombies.emplace_back([&] { return prctl(PR_SET_NAME, threadName.c_str()); });
            zombie.BecomeZombie();
            ASSERT_TRUE(IsLikeAKernelThread(GetProcess(zombie).GetId()));
            std::string actual = "before";
            EXPECT_EQ(GetProcess(zombie).GetName(actual), name);
        }
        for (const std::uint64_t id : Visit("")) {
            if (IsLikeAKernelThread(id)) {
                std::string text = ReadFile(GetEntry(id, "comm"));
                text.pop_back();
                const bool isWhole = text.size() < 15 && text.find('/') == std::string::npos;
                std::string name = "before";
                EXPECT_EQ(Process{id}.GetName(name), isWhole ? text : "/");
            }
        }
        EXPECT_THAT(Visit(shortName), ElementsAre(GetProcess(zombies[0]).GetId()));
    });
}

TEST_F(HostProcessTest, ThreadNameThatDoesNotFitIsNoName) {
    const Child zombie([] { return prctl(PR_SET_NAME, "Ended"); });
    zombie.BecomeZombie();
    std::array<char, 6> buffer;
    EXPECT_EQ(GetProcessPath(zombie.GetId(), buffer.data(), 5), 0);
    EXPECT_EQ(GetProcessPath(zombie.GetId(), buffer.data(), 6), 5);
    EXPECT_STREQ(buffer.data(), "Ended");
}

TEST_F(HostProcessTest, ZombieBehindANamesakeIsNotTakenForIt) {
    RunWithoutStrangers([this] {
        const std::string name = MakeName("BeforeAZombie");
        const Bystander namesake(Install(name));
        const Child zombie([&] { return prctl(PR_SET_NAME, "FifteenLongName"); });
        zombie.BecomeZombie();
        EXPECT_THAT(Visit(name), ElementsAre(namesake.GetId()));
    });
}

TEST_F(HostProcessTest, GoneProcessHasNoPath) {
    Child child([] { return 0; });
    const std::int32_t id = child.GetId();
    child.Wait();
    std::array<char, 4096> buffer;
    errno = 0;
    EXPECT_LT(GetProcessPath(id, buffer.data(), buffer.size()), 1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(HostProcessTest, WithoutFreeDescriptorsNobodyDies) {
    const std::string name = MakeName("NoDescriptors");
    const Bystander bystander(Install(name));
    EXPECT_EQ(Child([&] {
                  const rlimit none = {0, 0};
                  ThrowIf(setrlimit(RLIMIT_NOFILE, &none) != 0, "setrlimit");
                  return Process::TerminateAll(name);
              }).Wait(),
              0);
    EXPECT_TRUE(bystander.Lives());
}

TEST_F(HostProcessTest, NamesakeInAnInnerNamespaceDies) {
    const std::string name = MakeName("Inner");
    const Bystander inner(Install(name), {.isNested = true});
    EXPECT_TRUE(Process::TerminateAll(name));
    EXPECT_FALSE(inner.Lives());
}

TEST_F(HostProcessTest, NamesakesOutsideTheNamespaceAreNotSeen) {
    const std::string name = MakeName("OuterNamesakes");
    const fs::path path = Install(name);
    const Bystander outer(path);
    const Bystander sibling(path, {.isNested = true});
    EXPECT_EQ(RunInNamespace(true,
                             [&] {
                                 const Bystander own(path);
                                 return Process::TerminateAll(name) && !own.Lives() && !Process::TerminateAll(name);
                             }),
              1);
    EXPECT_TRUE(outer.Lives());
    EXPECT_TRUE(sibling.Lives());
}

// The process ids in an outer namespace's procfs belong to other processes.
TEST_F(HostProcessTest, ProcfsOfAnotherNamespaceIsRefused) {
    const std::string name = MakeName("Shown");
    const fs::path path = Install(name);
    const Bystander outer(path);
    EXPECT_EQ(RunInNamespace(false,
                             [&] {
                                 const Bystander own(path);
                                 std::vector<char> table(1 << 20);
                                 std::size_t size = table.size();
                                 return QueryProcessTable(table.data(), size) == -1 && errno == ESRCH &&
                                        !Process::TerminateAll(name) && Visit("").empty() && own.Lives();
                             }),
              1);
    EXPECT_TRUE(outer.Lives());
}

/// Forks a child with these process ids: the first in this process namespace, the second in the outer one.
template <class Body>
pid_t ForkUnderNumbers(const std::vector<pid_t>& numbers, const Body& body) {
    clone_args arguments = {};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(numbers.data());
    arguments.set_tid_size = numbers.size();
    const auto id = syscall(SYS_clone3, &arguments, sizeof(arguments));
    ThrowIf(id < 0, "clone3");
    if (id == 0) {
        _exit(static_cast<int>(body()));
    }
    return static_cast<pid_t>(id);
}

/// The same, and returns its exit status.
template <class Body>
int RunUnderNumbers(const std::vector<pid_t>& numbers, const Body& body) {
    return Child(ForkUnderNumbers(numbers, body)).Wait();
}

TEST_F(HostProcessTest, AStrangerThatGetsTheNumberOfANamesakeLives) {
    RunWithoutStrangers([this] {
        const std::string name = MakeName("Reused");
        std::optional<Bystander> namesake(std::in_place, Install(name));
        std::optional<Child> stranger;
        Process::ForEachProcess(
            [&](Process& process) {
                const auto id = static_cast<pid_t>(process.GetId());
                namesake.reset();
                stranger.emplace(ForkUnderNumbers({id}, [] { return pause(); }));
                process.Terminate();
                EXPECT_EQ(stranger->GetId(), id);
            },
            name);
        ASSERT_TRUE(stranger.has_value());
        // A signal that ended it already would be the one that it is reaped with.
        kill(stranger->GetId(), SIGUSR1);
        EXPECT_EQ(stranger->Wait(), -SIGUSR1);
    });
}

TEST_F(HostProcessTest, AHeldProcessIsSignalledAndReleased) {
    Child child([] { return pause(); });
    const int next = open("/", O_RDONLY | O_CLOEXEC);
    close(next);
    const int held = HoldProcess(child.GetId());
    EXPECT_EQ(held, next);
    EXPECT_EQ(fcntl(held, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(SendSignalToHeld(held, SIGUSR1), 0);
    EXPECT_EQ(child.Wait(), -SIGUSR1);
    errno = 0;
    EXPECT_EQ(SendSignalToHeld(held, SIGUSR1), -1);
    EXPECT_EQ(errno, ESRCH);
    ReleaseProcess(held);
    EXPECT_EQ(fcntl(held, F_GETFD), -1);
}

TEST_F(HostProcessTest, AProcessThatIsGoneCannotBeHeld) {
    Child child([] { return 0; });
    const pid_t id = child.GetId();
    child.Wait();
    errno = 0;
    EXPECT_EQ(HoldProcess(id), -1);
    EXPECT_EQ(errno, ESRCH);
}

/// Makes the kernel refuse a system call of this process with an error, as a container's filter does.
void Refuse(unsigned int call, int error) {
    std::array<sock_filter, 4> filter{{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                       BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
                                       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned int>(error)),
                                       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
    const sock_fprog program{filter.size(), filter.data()};
    ThrowIf(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0,
            "seccomp");
}

/// Ends this process, whose test fails, unless it ends earlier.
void EndInAMinute() {
    signal(SIGALRM, [](int) { _exit(9); }); // The first process of a namespace has to ask for it.
    alarm(60);
}

/// Does `work` in a child process, and expects that no expectation fails there.
template <class Work>
void RunInChild(const Work& work) {
    EXPECT_EQ(Child([&work] {
                  work();
                  return ::testing::Test::HasFailure();
              }).Wait(),
              0);
}

TEST_F(HostProcessTest, AHeldProcessMayHaveTheLowestDescriptorAndLeavesErrnoAlone) {
    RunInChild([] {
        close(STDIN_FILENO);
        errno = EPERM;
        EXPECT_EQ(HoldProcess(getpid()), 0);
        EXPECT_EQ(errno, EPERM);
    });
}

/// A process's set of signals, a bit each, by its name in the status.
std::uint64_t ReadSignals(const Process& process, const std::string& set) {
    const std::string status = ReadFile(GetEntry(process.GetId(), "status"));
    const std::string field = set + ":\t";
    return std::stoull(status.substr(status.find(field) + field.size()), nullptr, 16);
}

TEST_F(HostProcessTest, SignalToAHeldProcessIsForNoThreadOfIt) {
    RunInChild([] {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGUSR1);
        ThrowIf(sigprocmask(SIG_BLOCK, &signals, nullptr) != 0, "sigprocmask");
        EXPECT_EQ(SendSignalToHeld(HoldProcess(getpid()), SIGUSR1), 0);
        EXPECT_EQ(ReadSignals(Process::GetCurrent(), "ShdPnd"), 1 << (SIGUSR1 - 1));
    });
}

TEST_F(HostProcessTest, SignalIsSentOnceWhateverFailedBefore) {
    Child child([] { return pause(); });
    errno = ESRCH;
    EXPECT_EQ(SendSignal(child.GetId(), SIGUSR1), 0);
    kill(child.GetId(), SIGTERM); // Comes too late, unless none was sent.
    EXPECT_EQ(child.Wait(), -SIGUSR1);
    Child other([] { return pause(); });
    EXPECT_EQ(SendSignal(other.GetId(), SIGHUP), 0);
    kill(other.GetId(), SIGTERM);
    EXPECT_EQ(other.Wait(), -SIGHUP);
}

TEST_F(HostProcessTest, SignalToAProcessThatIsGoneFails) {
    Child child([] { return 0; });
    const pid_t id = child.GetId();
    child.Wait();
    for (const int signal : {0, SIGUSR1}) {
        errno = 0;
        EXPECT_EQ(SendSignal(id, signal), -1);
        EXPECT_EQ(errno, ESRCH);
    }
}

TEST_F(HostProcessTest, NoIdIsThatOfTheOwnGroupAsForTheSystem) {
    EXPECT_EQ(SendSignal(0, 0), 0);
}

TEST_F(HostProcessTest, ProcessIsCheckedWithoutASecondCall) {
    RunInChild([] {
        Refuse(SYS_kill, EIO);
        EXPECT_EQ(SendSignal(getpid(), 0), 0);
        errno = 0;
        EXPECT_TRUE(SendSignal(1, 0) == 0 || errno == EPERM) << errno;
    });
}

TEST_F(HostProcessTest, TableIsRefusedIfItCannotBeReadToItsEnd) {
    RunInChild([] {
        std::vector<char> table(1 << 20);
        std::size_t size = table.size();
        // From here on it is known whose numbers procfs shows.
        ThrowIf(QueryProcessTable(table.data(), size) != 0, "table");
        EndInAMinute();
        Refuse(SYS_getdents64, EIO);
        errno = 0;
        EXPECT_EQ(QueryProcessTable(table.data(), size), -1);
        EXPECT_EQ(errno, EIO);
    });
}

TEST_F(HostProcessTest, OneThatEndsWhileItsNameIsReadHasNoPath) {
    const Child zombie([] { return 0; });
    zombie.BecomeZombie();
    std::array<char, 4096> path;
    ThrowIf(GetProcessPath(zombie.GetId(), path.data(), path.size()) < 1, "path");
    RunInChild([&] {
        Refuse(SYS_read, ESRCH);
        errno = 0;
        EXPECT_EQ(GetProcessPath(zombie.GetId(), path.data(), path.size()), 0);
        EXPECT_EQ(errno, ESRCH);
    });
}

TEST_F(HostProcessTest, NamesakesDieWhereTheSystemHoldsNoProcesses) {
    for (const int error : {ENOSYS, EPERM}) {
        const std::string name = MakeName("Unheld");
        const Bystander namesake(Install(name));
        EXPECT_EQ(Child([&] {
                      Refuse(SYS_pidfd_open, error);
                      return HoldProcess(getpid()) == -1 && errno == ENOSYS && Process::TerminateAll(name);
                  }).Wait(),
                  1);
        EXPECT_FALSE(namesake.Lives());
        fs::remove(m_folder.GetPath() / name);
    }
}

TEST_F(HostProcessTest, ProcfsOfAnotherNamespaceIsRefusedEvenIfItShowsOurNumber) {
    const auto isRefused = [] {
        std::vector<char> table(1 << 20);
        std::size_t size = table.size();
        return fs::read_symlink("/proc/self") == std::to_string(getpid()) &&
               QueryProcessTable(table.data(), size) == -1 && errno == ESRCH;
    };
    EXPECT_EQ(RunInNamespace(
                  true, [&] { return RunInNamespace(false, [&] { return RunUnderNumbers({100, 100}, isRefused); }); }),
              1);
}

bool CanListProcesses() {
    std::vector<char> table(1 << 20);
    std::size_t size = table.size();
    return QueryProcessTable(table.data(), size) == 0;
}

TEST_F(HostProcessTest, WhoseNumbersProcfsShowsIsAskedAnewByAChildOfOurNumberInAnotherNamespace) {
    EXPECT_EQ(RunInNamespace(true,
                             [] {
                                 return getpid() == 1 && CanListProcesses() &&
                                        RunInNamespace(false, [] { return getpid() == 1 && !CanListProcesses(); }) == 1;
                             }),
              1);
}

/// Whether neither path nor information of a process can be read.
bool IsUnknown(std::int32_t id) {
    std::array<char, 4096> path;
    std::array<char, processInformationSize> information;
    errno = 0;
    const bool hasNoPath = GetProcessPath(id, path.data(), path.size()) < 1 && errno == ESRCH;
    errno = 0;
    return hasNoPath && GetProcessInformation(id, information.data(), processInformationSize) == 0 && errno == ESRCH;
}

TEST_F(HostProcessTest, NumbersOfNoProcessAreUnknownAndThatOfTheFirstIsKnown) {
    EXPECT_TRUE(IsUnknown(-1));
    EXPECT_TRUE(IsUnknown(0)) << "Though procfs has an entry of our own.";
    EXPECT_FALSE(IsUnknown(1));
    RunWithoutStrangers([] {
        EXPECT_EQ(Child([] { return IsUnknown(1) || getpid() == 1; }).Wait(), 0);
        const Child child([] { return pause(); });
        std::array<char, 4096> path;
        errno = ESRCH;
        EXPECT_GT(GetProcessPath(child.GetId(), path.data(), path.size()), 0) << "An earlier error doesn't count.";
    });
}

TEST_F(HostProcessTest, UnderTheProcfsOfAnotherNamespaceOnlyOurselvesAreKnown) {
    const pid_t number = getpid();
    EXPECT_FALSE(IsUnknown(number));
    const auto parentIsUnknown = [number] {
        return Child([number] {
                   std::array<char, processInformationSize> information;
                   return GetProcessInformation(getpid(), information.data(), processInformationSize) == 136 &&
                          IsUnknown(number) && Process{static_cast<std::uint64_t>(number)}.IsValid();
               })
            .Wait();
    };
    // In the mounted procfs, the process id of the child's parent is ours.
    EXPECT_EQ(RunInNamespace(false, [&] { return RunUnderNumbers({number}, parentIsUnknown); }), 1);
    EXPECT_EQ(RunInNamespace(true, [&] { return RunUnderNumbers({number}, parentIsUnknown); }), 0);
}

TEST_F(HostProcessTest, WhoseNumbersProcfsShowsIsAskedOnce) {
    const Bystander bystander(Install(MakeName("Once")));
    EXPECT_EQ(Child([&] {
                  const std::string name = bystander.GetName();
                  const rlimit none = {0, 0};
                  ThrowIf(setrlimit(RLIMIT_NOFILE, &none) != 0, "setrlimit");
                  return !name.empty() && bystander.GetName() == name;
              }).Wait(),
              1);
}

TEST_F(HostProcessTest, NumberOfAThreadIsNoProcess) {
    EXPECT_EQ(Child([] {
                  int result = 0;
                  std::thread([&result] {
                      const Process thread{static_cast<std::uint64_t>(gettid())};
                      std::string name = "before";
                      const bool isNone = Process::Get(thread.GetId()).GetId() == 0 && !thread.IsValid() &&
                                          IsUnknown(gettid()) && !thread.IsElevated() &&
                                          thread.GetName(name) == "before"sv;
                      thread.Terminate();
                      result = isNone && Process::GetCurrent().IsValid() ? 7 : 8;
                  }).join();
                  return result;
              }).Wait(),
              7);
}

// Without the link, thread name and command line are there nevertheless.
TEST_F(HostProcessTest, OwnNameIsThatOfTheLinkOrNone) {
    EXPECT_EQ(RunInNamespace(true,
                             [] {
                                 Mount("/proc");
                                 fs::create_directory("/proc/self");
                                 std::ofstream("/proc/self/comm") << "HostTests\n";
                                 std::ofstream("/proc/self/cmdline") << "HostTests";
                                 std::string name = "before";
                                 return Process::GetCurrent().GetName(name) == "before"sv;
                             }),
              1);
}

TEST_F(HostProcessTest, AUserOfManyGroupsIsToldWhoseNumbersProcfsShows) {
    for (const auto& [numbers, canList] : {std::pair("1", true), {"1\t1", false}}) {
        EXPECT_EQ(RunInNamespace(true,
                                 [numbers, canList] {
                                     Mount("/proc");
                                     fs::create_directory("/proc/self");
                                     std::ofstream status("/proc/self/status");
                                     status << "Name:\tHostTests\nTgid:\t1\nGroups:\t";
                                     for (int count = 0; count < 500; ++count) {
                                         status << "4294967290 ";
                                     }
                                     status << "\nNStgid:\t" << numbers << "\nNSpid:\t" << numbers << '\n';
                                     status.close();
                                     return CanListProcesses() == canList;
                                 }),
                  1)
            << numbers;
    }
}

/// Puts a folder without processes in the place of procfs. Whoever reads it without an end is ended.
void ReplaceProcfs() {
    EndInAMinute();
    Mount("/proc");
    fs::create_directory("/proc/self");
}

/// Writes an entry of a process, or of "self", into that folder.
void WriteEntry(const std::string& process, const std::string& entry, std::string_view text) {
    const fs::path path = fs::path("/proc") / process / entry;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

constexpr std::string_view ourStatus = "Name:\tHostTests\nTgid:\t1\nNSpid:\t1\n";
constexpr std::string_view otherStatus = "Name:\tHostTests\nTgid:\t1\nNSpid:\t1\t1\n";

TEST_F(HostProcessTest, WhoseNumbersProcfsShowsIsAskedOnceForEachNamespaceOfOurs) {
    RunWithoutStrangers([] {
        ReplaceProcfs();
        WriteEntry("self", "ns/pid", "");
        EXPECT_FALSE(CanListProcesses()) << "It can't be told.";
        WriteEntry("self", "status", ourStatus);
        EXPECT_TRUE(CanListProcesses());
        WriteEntry("self", "status", otherStatus);
        EXPECT_TRUE(CanListProcesses()) << "It was told.";
        fs::rename("/proc/self/ns/pid", "/proc/self/ns/earlier");
        WriteEntry("self", "ns/pid", "");
        EXPECT_FALSE(CanListProcesses());
        WriteEntry("self", "status", ourStatus);
        EXPECT_FALSE(CanListProcesses()) << "It was told.";
    });
}

TEST_F(HostProcessTest, WhoseNumbersProcfsShowsIsAskedEachTimeIfOurNamespaceIsUnknown) {
    RunWithoutStrangers([] {
        ReplaceProcfs();
        WriteEntry("self", "status", otherStatus);
        EXPECT_FALSE(CanListProcesses());
        EXPECT_FALSE(CanListProcesses());
        WriteEntry("self", "status", ourStatus);
        EXPECT_TRUE(CanListProcesses());
        WriteEntry("self", "status", otherStatus);
        EXPECT_FALSE(CanListProcesses());
    });
}

TEST_F(HostProcessTest, KernelWithoutNamespacesShowsOurNumbersWhereItShowsOurs) {
    RunWithoutStrangers([] {
        ReplaceProcfs();
        for (const auto& [status, canList] : {std::pair("Name:\tHostTests\nTgid:\t1\nPid:\t1\n", true),
                                              {"Name:\tHostTests\nTgid:\t2\nPid:\t1\n", false},
                                              {"Name:\tHostTests\n", false},
                                              {"", false}}) {
            WriteEntry("self", "status", status);
            EXPECT_EQ(CanListProcesses(), canList) << status;
        }
    });
}

TEST_F(HostProcessTest, StatusIsReadNoFurtherThanWhoseNumbersProcfsShows) {
    RunWithoutStrangers([] {
        ReplaceProcfs();
        // Whoever reads on waits for more.
        ThrowIf(mkfifo("/proc/self/status", 0600) != 0, "mkfifo");
        const int status = open("/proc/self/status", O_RDWR | O_CLOEXEC);
        ThrowIf(write(status, ourStatus.data(), ourStatus.size()) < 0, "write");
        EXPECT_TRUE(CanListProcesses());
        close(status);
    });
}

/// The ids in the process table.
std::vector<std::int32_t> ReadTable() {
    std::vector<char> table(10 * processRecordSize);
    std::size_t size = table.size();
    EXPECT_EQ(QueryProcessTable(table.data(), size), 0);
    EXPECT_EQ(size % processRecordSize, 0U);
    std::vector<std::int32_t> ids(size / processRecordSize);
    for (std::size_t index = 0; index < ids.size(); ++index) {
        std::memcpy(&ids[index], table.data() + index * processRecordSize + processRecordIdOffset, sizeof(ids[index]));
    }
    return ids;
}

TEST_F(HostProcessTest, TableHasTheFoldersThatAreNumbersAndNothingElse) {
    RunWithoutStrangers([] {
        EXPECT_THAT(ReadTable(), ElementsAre(getpid()));
        ReplaceProcfs();
        WriteEntry("self", "status", ourStatus);
        EXPECT_THAT(ReadTable(), ElementsAre());
        for (const char* const name : {"1", "4000", "12x", "x12", "-", "2147483648"}) {
            fs::create_directory(fs::path("/proc") / name);
        }
        EXPECT_THAT(ReadTable(), UnorderedElementsAre(1, 4000));
    });
}

/// The path of a process by one of both functions; empty if there is none.
std::string ReadPath(decltype(GetProcessPath) getPath, std::int32_t id) {
    constexpr std::uint32_t size = 4096;
    std::string memory(1 + size, 'x');
    const int length = getPath(id, memory.data() + 1, size);
    EXPECT_EQ(memory[0], 'x') << "It lies in front of the buffer.";
    if (length < 1) {
        EXPECT_EQ(length, 0);
        return "";
    }
    EXPECT_EQ(memory.at(1 + static_cast<std::size_t>(length)), '\0');
    return memory.substr(1, static_cast<std::size_t>(length));
}

/// Runs `test` with the id of a child, and with the name of its folder in a procfs that starts without one.
template <class F>
void RunBesideOne(const F& test) {
    RunWithoutStrangers([&test] {
        ReplaceProcfs();
        WriteEntry("self", "status", ourStatus);
        const Child child([] { return pause(); });
        test(child.GetId(), std::to_string(child.GetId()));
    });
}

TEST_F(HostProcessTest, OneWithoutALinkHasThePathOfItsFirstWordUpToItsEnd) {
    RunBesideOne([](std::int32_t id, const std::string& process) {
        const auto expectPath = [&](std::string_view threadName, std::string_view words, const std::string& path) {
            WriteEntry(process, "comm", threadName);
            WriteEntry(process, "cmdline", words);
            EXPECT_EQ(ReadPath(GetProcessPath, id), path);
            EXPECT_EQ(ReadPath(GetListedProcessPath, id), path);
        };
        expectPath("cat\n", "/opt/cat\0-u\0"sv, "/opt/cat");
        expectPath("cat\n", "/opt/cat\0"sv, "/opt/cat");
        expectPath("cat\n", "/opt/cat", "/opt/cat"); // A program may write over the end.
        expectPath("cat\n", "", "cat");
        expectPath("cat", "", "cat");
        expectPath("\n", "/opt/\0"sv, "/"); // Not "opt".
        expectPath("\n", "", "/");
        expectPath("", "", "/");
    });
}

TEST_F(HostProcessTest, PathMayHaveOneLetter) {
    RunBesideOne([](std::int32_t id, const std::string& process) {
        WriteEntry(process, "comm", "y\n");
        EXPECT_EQ(ReadPath(GetProcessPath, id), "y");
        fs::create_symlink("x", "/proc/" + process + "/exe");
        EXPECT_EQ(ReadPath(GetProcessPath, id), "x");
        EXPECT_EQ(ReadPath(GetListedProcessPath, id), "x");
        fs::create_symlink("z", "/proc/self/exe");
        EXPECT_EQ(ReadPath(GetProcessPath, getpid()), "z");
    });
}

TEST_F(HostProcessTest, OwnPathIsThatOfTheLinkOrNoneInAWalkToo) {
    RunWithoutStrangers([] {
        ReplaceProcfs();
        WriteEntry("self", "comm", "cat\n");
        WriteEntry("1", "comm", "cat\n");
        EXPECT_EQ(ReadPath(GetProcessPath, getpid()), "");
        EXPECT_EQ(ReadPath(GetListedProcessPath, getpid()), "");
    });
}

TEST_F(HostProcessTest, InformationIsTheEffectiveUserAndOtherwiseZero) {
    RunWithoutStrangers([] {
        ReplaceProcfs();
        constexpr auto size = static_cast<int>(processInformationSize);
        std::array<char, processInformationSize> record;
        for (const char* const status : {"", "Name:\tHostTests\n", "Name:\tHostTests\nUid:\t7\n"}) {
            WriteEntry("self", "status", status);
            errno = 0;
            EXPECT_EQ(GetProcessInformation(getpid(), record.data(), size), 0);
            EXPECT_EQ(errno, EINVAL);
        }
        WriteEntry("self", "status", "Name:\tHostTests\nUid:\t1\t67305985\t3\t4\n");
        record.fill('x');
        EXPECT_EQ(GetProcessInformation(getpid(), record.data(), size), size);
        std::string expected(processInformationSize, '\0');
        expected.replace(20, 4, "\x01\x02\x03\x04");
        EXPECT_EQ(std::string(record.data(), record.size()), expected);
    });
}

// As if it ended while it is asked about.
TEST_F(HostProcessTest, LivingProcessWithoutAnEntryInProcfsHasNoPath) {
    EXPECT_EQ(RunInNamespace(true,
                             [] {
                                 Mount("/proc");
                                 fs::create_directory("/proc/self");
                                 std::ofstream("/proc/self/status") << "Name:\tHostTests\nTgid:\t1\nNSpid:\t1\n";
                                 const Child child([] { return pause(); });
                                 std::array<char, 4096> path;
                                 errno = 0;
                                 return CanListProcesses() && GetProcess(child).IsValid() &&
                                        GetProcessPath(child.GetId(), path.data(), path.size()) < 1 && errno == ESRCH;
                             }),
              1);
}

TEST_F(HostProcessTest, OwnNameIsRightUnderTheProcfsOfAnotherNamespace) {
    const std::string expected = fs::read_symlink("/proc/self/exe").filename();
    EXPECT_EQ(RunInNamespace(false,
                             [&] {
                                 std::string name;
                                 return Process::GetCurrent().GetName(name) == expected;
                             }),
              1);
}

TEST_F(HostProcessTest, ElevatedIsWhoRunsAsEffectiveRoot) {
    EXPECT_EQ(Process::GetCurrent().IsElevated(), IsRoot());
    EXPECT_EQ(Child([] {
                  DropRights();
                  return Process::GetCurrent().IsElevated();
              }).Wait(),
              0);
    EXPECT_EQ(Child([] {
                  // The real user id stays the same.
                  return seteuid(IsRoot() ? 65534 : geteuid()) == 0 && Process::GetCurrent().IsElevated();
              }).Wait(),
              0);
    const Bystander bystander(Install(MakeName("Elevated")), {.hasRights = false});
    EXPECT_FALSE(Process{bystander.GetId()}.IsElevated());
}

TEST_F(HostProcessTest, StartedOneLeadsASessionOfItsOwn) {
    const Child child(Start("/bin/sleep", {"600"}));
    const pid_t id = child.GetId();
    EXPECT_EQ(getsid(id), id);
}

TEST_F(HostProcessTest, StartedOneGetsItsPathAndItsArguments) {
    EXPECT_EQ(RunStarted({"/proc/self/cmdline", "/proc/self/comm"}),
              "/bin/cat\0/proc/self/cmdline\0/proc/self/comm\0cat\n"sv);
}

TEST_F(HostProcessTest, StartedOneGetsExactlyTheEnvironmentThatIsMeantForIt) {
    const EnvironmentValue home("HOME", "/home/a");
    const EnvironmentValue user("USER", std::nullopt);
    const EnvironmentValue logName("LOGNAME", std::nullopt);
    const EnvironmentValue temporary("TMPDIR", std::nullopt);
    const EnvironmentValue language("LANG", std::nullopt);
    const EnvironmentValue display("DISPLAY", ":7");
    const EnvironmentValue authority("XAUTHORITY", "/a/key");
    const EnvironmentValue other("TOVRA_OTHER", "x");
    EXPECT_EQ(RunStarted({"/proc/self/environ"}),
              "PATH=/usr/bin:/bin:/usr/sbin:/sbin\0HOME=/home/a\0DISPLAY=:7\0XAUTHORITY=/a/key\0"sv);
}

TEST_F(HostProcessTest, StartedOneDoesNotIgnoreTheSignalsThatWeIgnore) {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    const Child child(Start("/bin/sleep", {"600"}));
    const std::uint64_t ignored = ReadSignals(GetProcess(child), "SigIgn");
    EXPECT_EQ(ignored & (1 << (SIGPIPE - 1)), 0u);
    EXPECT_EQ(ignored & (1 << (SIGXFSZ - 1)), 0u);
}

/// Leaves bytes on the stack that a variable without a value then has.
[[gnu::noinline]] void SpoilStack() {
    std::array<volatile char, 1 << 14> memory;
    std::ranges::fill(memory, '\xFF');
}

TEST_F(HostProcessTest, StartedOneIgnoresTheOtherSignalsThatWeIgnore) {
    RunInChild([] {
        signal(SIGPIPE, SIG_IGN);
        signal(SIGUSR1, SIG_IGN);
        std::string path = "/bin/sleep";
        std::string time = "600";
        char* const arguments[] = {path.data(), time.data(), nullptr};
        std::int32_t id = 0;
        SpoilStack();
        ThrowIf(SpawnProcess(id, path.c_str(), arguments, environ) != 0, path);
        EXPECT_TRUE(s_hasSpawnedByAttributes) << "They hold what is not asked for only if they are initialised.";
        const Child child(id);
        EXPECT_EQ(ReadSignals(GetProcess(child), "SigIgn") & (1 << (SIGPIPE - 1)), 0u);
        EXPECT_NE(ReadSignals(GetProcess(child), "SigIgn") & (1 << (SIGUSR1 - 1)), 0u);
    });
}

TEST_F(HostProcessTest, StartedOneIsNotLookedForAlongThePath) {
    EXPECT_ASSERTION(Process::Start("sleep", {"600"}), "false", "Failed to start process: sleep");
}

TEST_F(HostProcessTest, ProgramThatIsNotThereCannotBeStarted) {
    EXPECT_ASSERTION(Process::Start("/no/such program", {}), "false", "Failed to start process: /no/such program");
}

TEST_F(HostProcessTest, TerminateKillsAChild) {
    Child child(Start("/bin/sleep", {"600"}));
    GetProcess(child).Terminate();
    EXPECT_EQ(child.Wait(), -SIGKILL);
}

int Bystander::Execute(const fs::path& program, const StartOptions& start) const {
    if (start.isNested) {
        Tovra::Tests::EnterProcessNamespace();
        Child nested([&] { return Execute(program, {.firstWord = start.firstWord}); });
        for (const int end : {m_input[0], m_input[1], m_output[0], m_output[1]}) {
            close(end);
        }
        return nested.Wait();
    }
    start.prepare();
    ThrowIf(dup2(m_input[0], STDIN_FILENO) < 0 || dup2(m_output[1], STDOUT_FILENO) < 0, "dup2");
    if (!start.hasRights) {
        DropRights();
    }
    std::string word = start.firstWord.value_or(program.string());
    char* const arguments[] = {word.data(), nullptr};
    execv(program.c_str(), arguments);
    throw std::system_error(errno, std::generic_category(), program);
}

fs::path HostProcessTest::Install(const std::string& name, int permissions) const {
    const fs::path path = m_folder.GetPath() / name;
    fs::copy_file(fs::canonical("/bin/cat"), path);
    fs::permissions(path, fs::perms(permissions));
    return path;
}

std::vector<std::uint64_t> HostProcessTest::Visit(std::string_view filter) {
    std::vector<std::uint64_t> ids;
    Process::ForEachProcess([&ids](Process& process) { ids.push_back(process.GetId()); }, filter);
    return ids;
}

bool HostProcessTest::TerminateAllWithoutRights(const std::string& name) {
    return Child([&] {
               DropRights();
               return Process::TerminateAll(name);
           }).Wait() == 1;
}

bool HostProcessTest::CanReadPathWithoutRights(std::uint64_t id) {
    return Child([id] {
               DropRights();
               std::error_code error;
               return !fs::read_symlink(GetEntry(id, "exe"), error).empty();
           }).Wait() == 1;
}

std::string HostProcessTest::RunStarted(const std::vector<std::string>& arguments) const {
    const fs::path output = m_folder.Write("output", "");
    EXPECT_EQ(Child([&] {
                  ThrowIf(dup2(open(output.c_str(), O_WRONLY), STDOUT_FILENO) < 0, output);
                  return Child(Start("/bin/cat", arguments)).Wait();
              }).Wait(),
              0);
    return ReadFile(output);
}

} // namespace
