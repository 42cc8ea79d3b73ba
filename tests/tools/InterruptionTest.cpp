#include "tools/program/Interruption.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>

#include "tests/support/Files.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU};

class InterruptionTest : public ::testing::Test {
 protected:
  std::vector<std::string> FolderContents() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  // How a program ends that does this.
  static int StatusOf(const std::function<void()>& program) {
    const pid_t child = fork();
    if (child == 0) {
      for (const int signal : signals) {
        std::signal(signal, SIG_DFL);
      }
      OwnEndingSignals();
      program();
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  static void ExpectSignal(int signal, int status) {
    EXPECT_TRUE(WIFSIGNALED(status)) << "exit status " << WEXITSTATUS(status);
    EXPECT_EQ(signal, WTERMSIG(status));
  }

  testing::TempDir folder;
};

TEST_F(InterruptionTest, ASignalTakesTheTemporariesOfOpenOutputsWithIt) {
  for (const int signal : signals) {
    ExpectSignal(signal, StatusOf([&] {
                   AtomicFile one;
                   AtomicFile two;
                   if (!one.Open(folder.File("one")) && !two.Open(folder.File("two")) &&
                       FolderContents().size() == 2) {
                     raise(signal);
                   }
                 }));
    EXPECT_THAT(FolderContents(), IsEmpty());
  }
}

// Work that can be interrupted, as the building of an index, around or within the writing of an
// output: in both orders the work hears of the signal, ends in order, and leaves nothing.
enum Order { OUTPUT_FIRST, WORK_FIRST };

void WorkUntilASignal(const std::string& output, Order order, int signal) {
  AtomicFile file;
  std::optional<Interruption> work;
  if (order == WORK_FIRST) {
    work.emplace();
  }
  const bool refused = bool(file.Open(output));
  if (order == OUTPUT_FIRST) {
    work.emplace();
  }
  if (refused || work->Asked()) {
    _exit(1);
  }
  raise(signal);
  if (!work->Asked()) {
    _exit(2);
  }
  work.reset();
}

TEST_F(InterruptionTest, WorkAndOutputsGoTogetherInWhicheverOrderTheyAreMade) {
  for (const Order order : {OUTPUT_FIRST, WORK_FIRST}) {
    for (const int signal : signals) {
      ExpectSignal(signal,
                   StatusOf([&] { WorkUntilASignal(folder.File("output"), order, signal); }));
      EXPECT_THAT(FolderContents(), IsEmpty()) << "order " << order;
    }
  }
}

TEST_F(InterruptionTest, ASignalEndsTheProgramAtOnceBeforeAndAfterSuchWork) {
  ExpectSignal(SIGTERM, StatusOf([] {
                 { const Interruption work; }
                 raise(SIGTERM);
               }));
}

TEST_F(InterruptionTest, WorkWithinWorkEndsTheProgramWhenTheOuterOneEnds) {
  ExpectSignal(SIGINT, StatusOf([] {
                 const Interruption outer;
                 {
                   const Interruption inner;
                   raise(SIGINT);
                 }
                 if (!outer.Asked()) {
                   _exit(1);
                 }
               }));
}

TEST_F(InterruptionTest, ASecondSignalOfTheSameKindEndsTheProgramAtOnceAndLeavesNothing) {
  ExpectSignal(SIGINT, StatusOf([&] {
                 const Interruption work;
                 AtomicFile file;
                 if (!file.Open(folder.File("output"))) {
                   raise(SIGINT);
                   raise(SIGINT);
                 }
                 _exit(1);
               }));
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(InterruptionTest, APipeThatNobodyReadsEndsTheProgramAndLeavesNothing) {
  ExpectSignal(SIGPIPE, StatusOf([&] {
                 const Interruption work;
                 AtomicFile file;
                 int ends[2];
                 if (!file.Open(folder.File("output")) && pipe(ends) == 0) {
                   close(ends[0]);
                   static_cast<void>(!write(ends[1], "x", 1));
                 }
                 _exit(1);
               }));
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(InterruptionTest, ASignalThatIsIgnoredStaysIgnored) {
  EXPECT_EQ(0, StatusOf([&] {
              std::signal(SIGHUP, SIG_IGN);
              OwnEndingSignals();
              const Interruption work;
              AtomicFile file;
              const bool refused = bool(file.Open(folder.File("output")));
              raise(SIGHUP);
              _exit(refused || work.Asked() || file.Commit() ? 1 : 0);
            }));
  EXPECT_THAT(FolderContents(), ElementsAre("output"));
}

}  // namespace
}  // namespace marrowfin
