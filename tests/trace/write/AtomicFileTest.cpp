#include "trace/write/AtomicFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>

#include "tests/support/Files.h"
#include "tests/trace/support/Child.h"
#include "trace/write/LinkTarget.h"

namespace marrowfin::testing {
namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

Fault Put(AtomicFile& file, const std::string& text) {
  return file.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
}

// A fault without its remedy.
std::string Said(const Fault& fault) { return fault.file + ": " + fault.reason; }

class AtomicFileTest : public ::testing::Test {
 protected:
  AtomicFileTest() : path(folder.File("out")) {}

  std::vector<std::string> FolderContents() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  mode_t ModeOf(const std::string& file) const {
    struct stat status;
    return stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  // Writes a whole output.
  void WriteOutput(const std::string& name, const std::string& text) {
    AtomicFile file;
    ASSERT_FALSE(file.Open(name));
    ASSERT_FALSE(Put(file, text));
    ASSERT_FALSE(file.Commit());
  }

  // How a child process ends that does this.
  static int StatusOfChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
      work();
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  TempDir folder;
  std::string path;
};

TEST_F(AtomicFileTest, TheOutputAppearsWithTheCommitAndNotBefore) {
  AtomicFile file;
  ASSERT_FALSE(file.Open(path));
  ASSERT_FALSE(Put(file, "one "));
  ASSERT_FALSE(Put(file, "two"));
  EXPECT_FALSE(std::filesystem::exists(path));
  ASSERT_FALSE(file.Commit());
  EXPECT_EQ("one two", ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(AtomicFileTest, AnOutputThatIsNotCommittedLeavesNothing) {
  {
    AtomicFile file;
    ASSERT_FALSE(file.Open(path));
    ASSERT_FALSE(Put(file, "one"));
    EXPECT_EQ(1u, FolderContents().size());
  }
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(AtomicFileTest, AnExistingOutputIsReplacedWithTheCommitAndNotBefore) {
  WriteFile(path, "precious and long");
  std::optional<AtomicFile> file(std::in_place);
  ASSERT_FALSE(file->Open(path));
  ASSERT_FALSE(Put(*file, "new"));
  EXPECT_EQ("precious and long", ReadFile(path));
  file.reset();
  EXPECT_EQ("precious and long", ReadFile(path));
  WriteOutput(path, "new");
  EXPECT_EQ("new", ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(AtomicFileTest, ANewOutputHasThePermissionsOfAnyNewFile) {
  umask(027);
  WriteOutput(path, "x");
  EXPECT_EQ(0640u, ModeOf(path));
}

TEST_F(AtomicFileTest, AReplacedOutputKeepsItsPermissions) {
  WriteFile(path, "x");
  ASSERT_EQ(0, chmod(path.c_str(), 0604));
  WriteOutput(path, "y");
  EXPECT_EQ(0604u, ModeOf(path));
}

TEST_F(AtomicFileTest, ALinkStaysALinkAndItsFileIsReplaced) {
  const std::string link = folder.File("link");
  std::filesystem::create_directory(folder.File("elsewhere"));
  const std::string file = folder.File("elsewhere/file");
  WriteFile(file, "x");
  std::filesystem::create_symlink("elsewhere/file", link);
  WriteOutput(link, "y");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ("y", ReadFile(file));
}

TEST_F(AtomicFileTest, ALinkToAFileThatIsNotThereStaysALinkAndItsFileIsMade) {
  const std::string link = folder.File("link");
  std::filesystem::create_directory(folder.File("elsewhere"));
  const std::string file = folder.File("elsewhere/file");
  std::filesystem::create_symlink("elsewhere/other", link);
  std::filesystem::create_symlink(file, folder.File("elsewhere/other"));
  WriteOutput(link, "y");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.File("elsewhere/other")));
  EXPECT_EQ("y", ReadFile(file));
}

TEST_F(AtomicFileTest, ALinkIntoAFolderThatIsNotThereIsAFault) {
  std::filesystem::create_symlink("no/such", folder.File("link"));
  AtomicFile file;
  EXPECT_THAT(file.Open(folder.File("link")).Text(), HasSubstr("No such file or directory"));
  EXPECT_THAT(FolderContents(), ElementsAre("link"));
}

TEST_F(AtomicFileTest, LinksAreFollowedToWhatTheyLeadTo) {
  EXPECT_EQ("no/such", LinkTarget("no/such"));
  EXPECT_EQ(path, LinkTarget(path));
  std::filesystem::create_symlink("round", folder.File("about"));
  std::filesystem::create_symlink("about", folder.File("round"));
  EXPECT_THAT(LinkTarget(folder.File("about")), AnyOf(folder.File("about"), folder.File("round")));
}

TEST_F(AtomicFileTest, ANameInTheCurrentFolderNeedsNoSlash) {
  ASSERT_EQ(0, chdir(folder.Path().c_str()));
  WriteOutput("out", "x");
  EXPECT_EQ("x", ReadFile(path));
}

// Read by the parent while the child writes.
TEST_F(AtomicFileTest, APipeIsWrittenDirectly) {
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  const pid_t child = fork();
  if (child == 0) {
    WriteOutput(path, "through the pipe");
    _exit(0);
  }
  EXPECT_EQ("through the pipe", ReadFile(path));
  waitpid(child, nullptr, 0);
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

// A signal cuts a write to a full pipe short, or ends it before its first byte.
TEST_F(AtomicFileTest, InterruptedWritesGoOnWhereTheyStopped) {
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  std::string text;
  for (int i = 0; text.size() < 2'000'000; ++i) {
    text += std::to_string(i) + " ";
  }
  const pid_t child = fork();
  if (child == 0) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
    AtomicFile file;
    if (!file.Open(path)) {
      setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
      _exit(!Put(file, text) && !file.Commit() ? 7 : 8);
    }
    _exit(9);
  }
  std::string arrived;
  const int reader = open(path.c_str(), O_RDONLY);
  char chunk[20000];
  ssize_t got;
  while ((got = read(reader, chunk, sizeof(chunk))) > 0) {
    arrived.append(chunk, static_cast<size_t>(got));
    usleep(3000);
  }
  close(reader);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(7, WEXITSTATUS(status));
  EXPECT_TRUE(text == arrived);
}

// Beyond a limit of the size of files the system would end the process.
TEST_F(AtomicFileTest, ALimitOfTheSizeIsAFaultAndLeavesNothing) {
  WriteFile(path, "precious");
  ExpectInChild([this] {
    const rlimit limit = {100000, 100000};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    AtomicFile file;
    ASSERT_FALSE(file.Open(path));
    const std::string text(60000, 'x');
    ASSERT_FALSE(Put(file, text));
    const Fault fault = Put(file, text);
    EXPECT_EQ(path + ": cannot write: File too large", Said(fault));
    EXPECT_EQ(Fault::SYSTEM, fault.kind);
  });
  EXPECT_EQ("precious", ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(AtomicFileTest, AFullDiskIsAFaultAndLeavesNothing) {
  ExpectInChild([this] {
    MountSmallDisk(folder.Path(), 64 << 10);
    AtomicFile file;
    ASSERT_FALSE(file.Open(path));
    const std::string text(100000, 'x');
    const ByteSink::Written written =
        file.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    EXPECT_EQ(path + ": cannot write: No space left on device", Said(written.fault));
    EXPECT_LT(written.taken, text.size());
    EXPECT_GT(written.taken, 0u);
  });
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(AtomicFileTest, WhatASignalHandlerRemovesAreTheTemporariesOfAllOpenFiles) {
  WriteFile(path, "precious");
  const int status = StatusOfChild([this] {
    std::signal(SIGTERM, [](int signal) {
      RemoveTemporaries();
      std::signal(signal, SIG_DFL);
      raise(signal);
    });
    AtomicFile first;
    AtomicFile second;
    AtomicFile third;
    std::optional<AtomicFile> gone(std::in_place);
    if (first.Open(path) || second.Open(path) || gone->Open(folder.File("a"))) {
      _exit(1);
    }
    gone.reset();
    if (third.Open(folder.File("b")) || third.Commit() || second.Commit() ||
        second.Open(folder.File("c")) || FolderContents().size() != 4) {
      _exit(2);
    }
    raise(SIGTERM);
  });
  EXPECT_TRUE(WIFSIGNALED(status)) << WEXITSTATUS(status);
  EXPECT_THAT(FolderContents(), UnorderedElementsAre("out", "b"));
  EXPECT_EQ("", ReadFile(path)) << "what was committed stays";
}

TEST_F(AtomicFileTest, AChildLeavesTheTemporariesOfItsParentAlone) {
  AtomicFile file;
  ASSERT_FALSE(file.Open(path));
  EXPECT_EQ(0, StatusOfChild([] { RemoveTemporaries(); }));
  ASSERT_FALSE(file.Commit());
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(AtomicFileTest, TheSameNameMayBeWrittenBySeveralAndTheLastOneStays) {
  AtomicFile first;
  AtomicFile second;
  ASSERT_FALSE(first.Open(path));
  ASSERT_FALSE(second.Open(path));
  ASSERT_FALSE(Put(first, "first"));
  ASSERT_FALSE(Put(second, "second"));
  ASSERT_FALSE(second.Commit());
  ASSERT_FALSE(first.Commit());
  EXPECT_EQ("first", ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(AtomicFileTest, WhatAKilledProcessLeftGoesWithTheNextFileOfThatName) {
  const auto killed = [](const std::string& name) {
    return StatusOfChild([&name] {
      AtomicFile file;
      _exit(file.Open(name) ? 1 : kill(getpid(), SIGKILL));
    });
  };
  EXPECT_TRUE(WIFSIGNALED(killed(path)));
  EXPECT_TRUE(WIFSIGNALED(killed(folder.File("other"))));
  ASSERT_EQ(2u, FolderContents().size());
  AtomicFile open;
  ASSERT_FALSE(open.Open(path));
  EXPECT_EQ(2u, FolderContents().size()) << "the other name's and the open one";
  WriteOutput(path, "x");
  EXPECT_EQ(3u, FolderContents().size()) << "one that is being written stays";
}

TEST_F(AtomicFileTest, FilesWithNamesLikeATemporaryAreLeftAlone) {
  const std::vector<std::string> names = {"out.mfpart-", "out.mfpart-notes", "out.mfpart-of-mine",
                                          "out2.mfpart-dead01", "out.part-000001"};
  for (const std::string& name : names) {
    WriteFile(folder.File(name), "x");
  }
  ASSERT_EQ(0, mkfifo(folder.File("out.mfpart-fifo01").c_str(), 0600));
  ASSERT_EQ(0, symlink("nowhere", folder.File("out.mfpart-link01").c_str()));
  WriteOutput(path, "x");
  EXPECT_EQ(names.size() + 3, FolderContents().size());
}

TEST_F(AtomicFileTest, ANameAsLongAsNamesMayBeHasATemporaryToo) {
  const std::string name(255, 'n');
  WriteOutput(folder.File(name), "x");
  EXPECT_THAT(FolderContents(), ElementsAre(name));
}

TEST_F(AtomicFileTest, AFolderIsRefusedBeforeAnythingIsWritten) {
  for (const bool chosen : {true, false}) {
    AtomicFile file;
    EXPECT_THAT(Said(file.Open(folder.Path(), {chosen, {}})), EndsWith(": Is a directory"));
  }
}

TEST_F(AtomicFileTest, PermissionsThatAreGivenAreThoseOfTheFile) {
  WriteFile(path, "x");
  AtomicFile file;
  ASSERT_FALSE(file.Open(path, {true, 0604}));
  ASSERT_FALSE(file.Commit());
  EXPECT_EQ(0604u, ModeOf(path));
}

// Or whoever may write to the folder of a trace could have other files overwritten.
TEST_F(AtomicFileTest, ALinkOfANameThatNobodyChoseLosesIt) {
  WriteFile(folder.File("theirs"), "precious");
  std::filesystem::create_symlink("theirs", path);
  AtomicFile file;
  ASSERT_FALSE(file.Open(path, {false, 0600}));
  ASSERT_FALSE(Put(file, "mine"));
  ASSERT_FALSE(file.Commit());
  EXPECT_EQ("precious", ReadFile(folder.File("theirs")));
  EXPECT_EQ("mine", ReadFile(path));
  EXPECT_FALSE(std::filesystem::is_symlink(path));
}

TEST_F(AtomicFileTest, WhatWasWrittenCanBeReadFromTheDescriptorThatIsKept) {
  AtomicFile file;
  ASSERT_FALSE(file.Open(path));
  ASSERT_FALSE(Put(file, "text"));
  const Result<int> kept = file.CommitAndKeep();
  ASSERT_TRUE(kept) << kept.Why().Text();
  char bytes[5] = "";
  EXPECT_EQ(4, pread(*kept, bytes, 4, 0));
  EXPECT_STREQ("text", bytes);
  EXPECT_EQ(0, flock(*kept, LOCK_EX | LOCK_NB));
  const int again = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(-1, flock(again, LOCK_EX | LOCK_NB)) << "the lock above is the only one";
  close(again);
  close(*kept);
}

TEST_F(AtomicFileTest, AMissingFolderIsReported) {
  AtomicFile file;
  const Fault fault = file.Open(folder.File("none/out"));
  ASSERT_TRUE(fault);
  EXPECT_EQ(folder.File("none/out") + ": cannot create: No such file or directory", Said(fault));
}

TEST_F(AtomicFileTest, AFileInPlaceOfAFolderIsReported) {
  WriteFile(path, "x");
  AtomicFile file;
  const Fault fault = file.Open(path + "/out");
  ASSERT_TRUE(fault);
  EXPECT_EQ(path + "/out: cannot create: Not a directory", Said(fault));
}

// Runs as a user whom permissions bind.
int StatusOfUser(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    if (getuid() != 0 || setuid(65534) == 0) {
      work();
    }
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

TEST_F(AtomicFileTest, AProtectedFileIsNotReplacedThoughItsFolderIsWritable) {
  WriteFile(path, "precious");
  ASSERT_EQ(0, chmod(path.c_str(), 0444));
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0777));
  EXPECT_EQ(7, StatusOfUser([this] {
              AtomicFile file;
              const Fault fault = file.Open(path);
              _exit(fault && Said(fault) == path + ": cannot replace: Permission denied" ? 7 : 8);
            }));
  EXPECT_EQ("precious", ReadFile(path));
}

TEST_F(AtomicFileTest, AFolderThatIsNotWritableIsReported) {
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0555));
  EXPECT_EQ(7, StatusOfUser([this] {
              AtomicFile file;
              const Fault fault = file.Open(path);
              _exit(fault && Said(fault) == path + ": cannot create: Permission denied" ? 7 : 8);
            }));
  EXPECT_THAT(FolderContents(), IsEmpty());
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0755));
}

}  // namespace
}  // namespace marrowfin::testing
