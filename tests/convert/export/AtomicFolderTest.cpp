// A folder is there whole or not at all.

#include "convert/export/AtomicFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/support/Files.h"

namespace marrowfin {
namespace {

bool Never(const std::string&) { return false; }
bool Always(const std::string&) { return true; }

class AtomicFolderTest : public ::testing::Test {
 protected:
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  std::string Content() const { return testing::ReadFile(path + "/sub/file"); }

  // Makes the folder with one file below another folder.
  Fault Make(const std::string& content, const AtomicFolder::MayReplace& mayReplace) const {
    AtomicFolder made;
    if (Fault fault = made.Open(path, mayReplace)) {
      return fault;
    }
    std::filesystem::create_directory(made.Path() + "/sub");
    testing::WriteFile(made.Path() + "/sub/file", content);
    return made.Commit();
  }

  testing::TempDir folder;
  std::string path = folder.File("out");
};

TEST_F(AtomicFolderTest, IsThereOnceItIsCommittedAndLeavesNothingBeside) {
  ASSERT_FALSE(Make("new", Never));
  EXPECT_EQ("new", Content());
  EXPECT_EQ((std::set<std::string>{"out"}), Names());
}

TEST_F(AtomicFolderTest, OneThatWasNeverBegunClosesNoFileOfAnybody) {
  const int somebodys = open("/dev/null", O_RDONLY);
  ASSERT_EQ(dup2(somebodys, STDIN_FILENO), STDIN_FILENO);
  { const AtomicFolder never; }
  EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);
}

TEST_F(AtomicFolderTest, IsGoneWhereItIsNotCommitted) {
  {
    AtomicFolder made;
    ASSERT_FALSE(made.Open(path, Never));
    std::filesystem::create_directories(made.Path() + "/a/b/c");
    testing::WriteFile(made.Path() + "/a/b/file", "half");
    std::filesystem::create_symlink("/", made.Path() + "/a/link");
    EXPECT_FALSE(std::filesystem::exists(path));
  }
  EXPECT_TRUE(Names().empty());
  EXPECT_TRUE(std::filesystem::exists("/tmp"));
}

TEST_F(AtomicFolderTest, ReplacesOnlyWhatMayGo) {
  ASSERT_FALSE(Make("old", Never));
  EXPECT_EQ(Fault::SYSTEM, Make("new", Never).kind);
  EXPECT_EQ("old", Content());
  ASSERT_FALSE(Make("new", Always));
  EXPECT_EQ("new", Content());
  EXPECT_EQ((std::set<std::string>{"out"}), Names());
}

TEST_F(AtomicFolderTest, AsksOfWhatIsThereInTheEnd) {
  AtomicFolder made;
  ASSERT_FALSE(made.Open(path, [this](const std::string& there) {
    EXPECT_EQ(path, there);
    return false;
  }));
  std::filesystem::create_directory(path);
  testing::WriteFile(path + "/mine", "precious");
  EXPECT_TRUE(made.Commit());
  EXPECT_EQ("precious", testing::ReadFile(path + "/mine"));
}

TEST_F(AtomicFolderTest, LeftoversGoUnlessSomebodyStillFillsThem) {
  std::filesystem::create_directories(path + ".mfpart-aaaaaa/sub");
  std::filesystem::create_directories(path + ".mfpart-bbbbbb");
  testing::WriteFile(path + ".mfpart-cccccc", "a file");
  const int filled = open((path + ".mfpart-bbbbbb").c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(0, flock(filled, LOCK_EX));
  ASSERT_FALSE(Make("new", Never));
  EXPECT_EQ((std::set<std::string>{"out", "out.mfpart-bbbbbb", "out.mfpart-cccccc"}), Names());
  close(filled);
}

TEST_F(AtomicFolderTest, TwoAtOnceDoNotHarmEachOther) {
  AtomicFolder first;
  AtomicFolder second;
  ASSERT_FALSE(first.Open(path, Always));
  ASSERT_FALSE(second.Open(path, Always));
  EXPECT_NE(first.Path(), second.Path());
  ASSERT_FALSE(first.Commit());
  ASSERT_FALSE(second.Commit());
  EXPECT_EQ((std::set<std::string>{"out"}), Names());
}

TEST_F(AtomicFolderTest, TheLongestNameIsANameToo) {
  path = folder.File(std::string(255, 'n'));
  ASSERT_FALSE(Make("new", Never));
  EXPECT_EQ("new", Content());
}

}  // namespace
}  // namespace marrowfin
