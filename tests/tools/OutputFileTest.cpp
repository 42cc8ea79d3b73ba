#include "tools/program/OutputFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
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

namespace marrowfin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OutputFileTest : public ::testing::Test {
 protected:
  OutputFileTest() : path(folder.File("out")) {}

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
    OutputFile file;
    ASSERT_FALSE(file.Open(name));
    ASSERT_FALSE(file.Write(text.data(), text.size()));
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

  testing::TempDir folder;
  std::string path;
};

TEST_F(OutputFileTest, TheOutputAppearsWithTheCommitAndNotBefore) {
  OutputFile file;
  ASSERT_FALSE(file.Open(path));
  ASSERT_FALSE(file.Write("one ", 4));
  ASSERT_FALSE(file.Write("two", 3));
  EXPECT_FALSE(std::filesystem::exists(path));
  ASSERT_FALSE(file.Commit());
  EXPECT_EQ("one two", testing::ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(OutputFileTest, AnOutputThatIsNotCommittedLeavesNothing) {
  {
    OutputFile file;
    ASSERT_FALSE(file.Open(path));
    ASSERT_FALSE(file.Write("one", 3));
    EXPECT_EQ(1u, FolderContents().size());
  }
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(OutputFileTest, AnExistingOutputIsReplacedWithTheCommitAndNotBefore) {
  testing::WriteFile(path, "precious and long");
  std::optional<OutputFile> file(std::in_place);
  ASSERT_FALSE(file->Open(path));
  ASSERT_FALSE(file->Write("new", 3));
  EXPECT_EQ("precious and long", testing::ReadFile(path));
  file.reset();
  EXPECT_EQ("precious and long", testing::ReadFile(path));
  WriteOutput(path, "new");
  EXPECT_EQ("new", testing::ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(OutputFileTest, ANewOutputHasThePermissionsOfAnyNewFile) {
  umask(027);
  WriteOutput(path, "x");
  EXPECT_EQ(0640u, ModeOf(path));
}

TEST_F(OutputFileTest, AReplacedOutputKeepsItsPermissions) {
  testing::WriteFile(path, "x");
  ASSERT_EQ(0, chmod(path.c_str(), 0604));
  WriteOutput(path, "y");
  EXPECT_EQ(0604u, ModeOf(path));
}

TEST_F(OutputFileTest, ALinkStaysALinkAndItsFileIsReplaced) {
  const std::string link = folder.File("link");
  std::filesystem::create_directory(folder.File("elsewhere"));
  const std::string file = folder.File("elsewhere/file");
  testing::WriteFile(file, "x");
  std::filesystem::create_symlink("elsewhere/file", link);
  WriteOutput(link, "y");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ("y", testing::ReadFile(file));
}

TEST_F(OutputFileTest, ATemporaryOfAnotherRunIsLeftAlone) {
  const std::string other = folder.File(".marrowfin-" + std::to_string(getpid()) + "-0.tmp");
  testing::WriteFile(other, "theirs");
  WriteOutput(path, "ours");
  EXPECT_EQ("ours", testing::ReadFile(path));
  EXPECT_EQ("theirs", testing::ReadFile(other));
}

TEST_F(OutputFileTest, ANameInTheCurrentFolderNeedsNoSlash) {
  ASSERT_EQ(0, chdir(folder.Path().c_str()));
  WriteOutput("out", "x");
  EXPECT_EQ("x", testing::ReadFile(path));
}

// Read by the parent while the child writes.
TEST_F(OutputFileTest, APipeIsWrittenDirectly) {
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  const pid_t child = fork();
  if (child == 0) {
    WriteOutput(path, "through the pipe");
    _exit(0);
  }
  EXPECT_EQ("through the pipe", testing::ReadFile(path));
  waitpid(child, nullptr, 0);
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

// A signal cuts a write to a full pipe short, or ends it before its first byte.
TEST_F(OutputFileTest, InterruptedWritesGoOnWhereTheyStopped) {
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
    OutputFile file;
    if (!file.Open(path)) {
      setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
      _exit(!file.Write(text.data(), text.size()) && !file.Commit() ? 7 : 8);
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

// A write beyond a limit of the file's size fails as one to a full disk does, on a temporary too.
TEST_F(OutputFileTest, ADiskThatFillsUpIsReportedAndLeavesNothing) {
  testing::WriteFile(path, "precious");
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {100000, 100000};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
  {
    OutputFile file;
    ASSERT_FALSE(file.Open(path));
    const std::string text(60000, 'x');
    ASSERT_FALSE(file.Write(text.data(), text.size()));
    const MaybeFailure failure = file.Write(text.data(), text.size());
    ASSERT_TRUE(failure);
    EXPECT_EQ(path + ": cannot write: File too large", failure->reason);
    EXPECT_EQ(EXIT_SYSTEM, failure->code);
  }
  EXPECT_EQ("precious", testing::ReadFile(path));
  EXPECT_THAT(FolderContents(), ElementsAre("out"));
}

TEST_F(OutputFileTest, ASignalThatEndsTheProgramTakesTheTemporaryWithIt) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    testing::WriteFile(path, "precious");
    const int status = StatusOfChild([this, signal] {
      OutputFile file;
      if (!file.Open(path) && !file.Write("x", 1) && FolderContents().size() == 2) {
        raise(signal);
      }
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(signal, WTERMSIG(status));
    EXPECT_EQ("precious", testing::ReadFile(path));
    EXPECT_THAT(FolderContents(), ElementsAre("out"));
  }
}

TEST_F(OutputFileTest, ASignalThatIsIgnoredStaysIgnored) {
  const int status = StatusOfChild([this] {
    std::signal(SIGHUP, SIG_IGN);
    OutputFile file;
    if (!file.Open(path) && raise(SIGHUP) == 0 && !file.Write("x", 1) && !file.Commit()) {
      _exit(7);
    }
  });
  EXPECT_EQ(7, WEXITSTATUS(status));
  EXPECT_EQ("x", testing::ReadFile(path));
}

TEST_F(OutputFileTest, SignalsActAsBeforeOnceTheOutputIsThere) {
  struct sigaction action;
  WriteOutput(path, "x");
  ASSERT_EQ(0, sigaction(SIGTERM, nullptr, &action));
  EXPECT_EQ(SIG_DFL, action.sa_handler);
}

TEST_F(OutputFileTest, AMissingFolderIsReported) {
  OutputFile file;
  const MaybeFailure failure = file.Open(folder.File("none/out"));
  ASSERT_TRUE(failure);
  EXPECT_EQ(folder.File("none/out") + ": cannot create: No such file or directory",
            failure->reason);
}

TEST_F(OutputFileTest, AFileInPlaceOfAFolderIsReported) {
  testing::WriteFile(path, "x");
  OutputFile file;
  const MaybeFailure failure = file.Open(path + "/out");
  ASSERT_TRUE(failure);
  EXPECT_EQ(path + "/out: cannot create: Not a directory", failure->reason);
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

TEST_F(OutputFileTest, AProtectedFileIsNotReplacedThoughItsFolderIsWritable) {
  testing::WriteFile(path, "precious");
  ASSERT_EQ(0, chmod(path.c_str(), 0444));
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0777));
  EXPECT_EQ(
      7, StatusOfUser([this] {
        OutputFile file;
        const MaybeFailure failure = file.Open(path);
        _exit(failure && failure->reason == path + ": cannot replace: Permission denied" ? 7 : 8);
      }));
  EXPECT_EQ("precious", testing::ReadFile(path));
}

TEST_F(OutputFileTest, AFolderThatIsNotWritableIsReported) {
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0555));
  EXPECT_EQ(
      7, StatusOfUser([this] {
        OutputFile file;
        const MaybeFailure failure = file.Open(path);
        _exit(failure && failure->reason == path + ": cannot create: Permission denied" ? 7 : 8);
      }));
  EXPECT_THAT(FolderContents(), IsEmpty());
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0755));
}

}  // namespace
}  // namespace marrowfin
