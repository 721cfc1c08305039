#include <System/FileSystem/Path.h>

#include <gtest/gtest.h>

namespace {

using Tovra::System::FileSystem::Path;

TEST(Path, GivesItsParent) {
    EXPECT_EQ(Path("/a/b/c").GetParent(), Path("/a/b"));
    EXPECT_EQ(Path("/a/b/").GetParent(), Path("/a/b"));
    EXPECT_EQ(Path("./a").GetParent(), Path("."));
    EXPECT_EQ(Path("/").GetParent(), Path("/"));
}

TEST(Path, OfABareFileNameHasTheEmptyParent) {
    EXPECT_EQ(Path("name").GetParent(), Path());
    EXPECT_EQ(Path("name").GetParent().ToString(), "");
}

TEST(Path, KeepsAnyBytes) {
    EXPECT_EQ(Path("/a/\xFF\xFE").ToString(), "/a/\xFF\xFE");
    EXPECT_EQ(Path(std::string("/b//c/../d")).ToString(), "/b//c/../d");
}

TEST(Path, OfWideTextIsUtf8) {
    EXPECT_EQ(Path(L"/\u00E4\u65E5\U0001F600").ToString(), "/\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80");
}

} // namespace
