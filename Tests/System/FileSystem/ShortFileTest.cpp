#include <Fakes/FileOperations.h>
#include <Support/TemporaryFolder.h>
#include <System/FileSystem/ShortFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <string>

namespace {

using ::testing::Optional;
using Tovra::System::FileSystem::ReadShortFile;
using Tovra::Tests::TemporaryFolder;
using Tovra::Tests::Fakes::fileOperations;

class ShortFileTest : public ::testing::Test {
protected:
    static constexpr std::size_t m_limit = 8;

    ~ShortFileTest() override { EXPECT_EQ(CountDescriptors(), m_descriptors); }

    static std::ptrdiff_t CountDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
    }

    /// Lets the file be this much longer by its size than it is.
    static void Lengthen(off_t difference) {
        fileOperations.onStatus = [difference](struct stat& status) { status.st_size += difference; };
    }

    TemporaryFolder m_folder;
    std::ptrdiff_t m_descriptors = CountDescriptors();
};

TEST_F(ShortFileTest, IsReadUpToItsLimit) {
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "1234567"), m_limit), Optional(std::string("1234567")));
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "12345678"), m_limit), Optional(std::string("12345678")));
    EXPECT_EQ(ReadShortFile(m_folder.Write("file", "123456789"), m_limit), std::nullopt);
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", ""), m_limit), Optional(std::string()));
}

TEST_F(ShortFileTest, MayBeOneByte) {
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "1"), m_limit), Optional(std::string("1")));
}

TEST_F(ShortFileTest, IsReadByOneCall) {
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "text"), m_limit), Optional(std::string("text")));
    EXPECT_EQ(fileOperations.readFault.calls, 1);
}

TEST_F(ShortFileTest, IsReadOnWhereACallGaveAPart) {
    Lengthen(2);
    fileOperations.readFault = {.call = 1, .result = 2};
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "text"), m_limit), Optional(std::string("\0\0text", 6)));
    EXPECT_EQ(fileOperations.readSize, 5u) << "The rest, and one byte to see whether there is more.";
}

TEST_F(ShortFileTest, EndsWhereNothingIsReadWhateverFailedBefore) {
    const std::filesystem::path path = m_folder.Write("file", "text");
    Lengthen(1);
    errno = EINTR;
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
}

TEST_F(ShortFileTest, MayContainAnyBytes) {
    const std::string bytes("\0\xFF\n\0", 4);
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", bytes), m_limit), Optional(bytes));
}

TEST_F(ShortFileTest, IsNotReadIfItIsLonger) {
    const std::filesystem::path path = m_folder.Write("file", "");
    std::filesystem::resize_file(path, std::uintmax_t{1} << 40U);
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
    EXPECT_EQ(fileOperations.readFault.calls, 0);
}

TEST_F(ShortFileTest, IsFoundThroughALink) {
    m_folder.Write("file", "text");
    std::filesystem::create_symlink("file", m_folder.GetPath() / "link");
    EXPECT_THAT(ReadShortFile(m_folder.GetPath() / "link", m_limit), Optional(std::string("text")));
}

TEST_F(ShortFileTest, HasTheLengthThatItsSizeSays) {
    const std::filesystem::path path = m_folder.Write("file", "text");
    Lengthen(1);
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
    Lengthen(-1);
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
    Lengthen(-5);
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
}

TEST_F(ShortFileTest, IsNotReadIfItsSizeIsZero) {
    // As files of procfs say, whatever they contain.
    fileOperations.onStatus = [](struct stat& status) { status.st_size = 0; };
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "text"), m_limit), Optional(std::string()));
    EXPECT_EQ(fileOperations.openFault.calls, 1);
    EXPECT_EQ(fileOperations.readFault.calls, 0);
}

TEST_F(ShortFileTest, IsNoFolderPipeOrDevice) {
    EXPECT_EQ(ReadShortFile(m_folder.GetPath(), m_limit), std::nullopt);
    EXPECT_EQ(ReadShortFile("/dev/zero", m_limit), std::nullopt);
    const std::filesystem::path pipe = m_folder.GetPath() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ReadShortFile(pipe, m_limit), std::nullopt);
}

TEST_F(ShortFileTest, IsReadOnAfterAnInterruption) {
    fileOperations.readFault = {.call = 1, .error = EINTR};
    EXPECT_THAT(ReadShortFile(m_folder.Write("file", "text"), m_limit), Optional(std::string("text")));
}

TEST_F(ShortFileTest, IsNotThereIfItCantBeRead) {
    const std::filesystem::path path = m_folder.Write("file", "text");
    EXPECT_EQ(ReadShortFile(m_folder.GetPath() / "missing", m_limit), std::nullopt);
    fileOperations.openFault = {.call = 1, .error = EMFILE};
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
    fileOperations.statusFault = {.call = 1, .error = EIO};
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
    fileOperations.readFault = {.call = 1, .error = EIO};
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
    fileOperations.readFault = {.call = 1, .error = EAGAIN};
    EXPECT_EQ(ReadShortFile(path, m_limit), std::nullopt);
}

} // namespace
