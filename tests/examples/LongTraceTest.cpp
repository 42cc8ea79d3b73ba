// A trace of ten million events, from the example to the reader. All tests of this program share
// the one trace.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>

#include "Core/VisTool.h"
#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace {

unsigned long long readCalls = 0;
unsigned long long seekCalls = 0;

}  // namespace

// In place of the system's: File makes one of these calls for each of its operations.
extern "C" ssize_t read(int descriptor, void* buffer, size_t count) {
  ++readCalls;
  return syscall(SYS_read, descriptor, buffer, count);
}

extern "C" off_t lseek(int descriptor, off_t offset, int whence) noexcept {
  ++seekCalls;
  return syscall(SYS_lseek, descriptor, offset, whence);
}

#ifdef __SANITIZE_ADDRESS__
// A sanitizer makes the run about ten times slower and is there to find mistakes, not to measure.
constexpr unsigned PRODUCTS = 3;
// What the sanitizer keeps of freed memory would look like a leak.
#define QUARANTINE "quarantine_size_mb=1:thread_local_quarantine_size_kb=64"
extern "C" const char* __asan_default_options() { return QUARANTINE; }
#else
constexpr unsigned PRODUCTS = 25;
#define QUARANTINE ""
#endif

namespace marrowfin::testing {
namespace {

// 80,000 a product: 32 * 32 multiplications, 2 * 31 * 32 moves, 2 * 32 * 3 crossings, 25 times.
const Shape SHAPE = {4, 2, 4, 32, 25, 32, 5, PRODUCTS, 0};
constexpr unsigned long long EVENTS = 80000ULL * 5 * PRODUCTS;
constexpr unsigned long long TENTH = EVENTS / 10;
constexpr unsigned long long AVERAGE_BYTES = 32;  // of a record, less than it is

// Less than a bit an event: at ten million, anything kept for each event shows. The sanitizer keeps
// what was freed for a while, which a few bytes for each of its fewer events would still exceed.
#if defined(__SANITIZE_ADDRESS__)
constexpr long ALLOWED_GROWTH_KB = 3072;
#else
constexpr long ALLOWED_GROWTH_KB = 512;
#endif

// A number of kilobytes from /proc, or 0 where the process is gone.
long StatusKb(const std::string& process, const std::string& field) {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field + ":")) {
      return std::stol(line.substr(field.size() + 1));
    }
  }
  return 0;
}

class LongTrace : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory = std::make_unique<TempDir>();
    pid_t writer = fork();
    ASSERT_NE(-1, writer);
    if (writer == 0) {
      Exec();
    }
    Watch(writer);
  }

  static void TearDownTestSuite() { directory.reset(); }

  [[noreturn]] static void Exec() {
    Words words = {SYSTOLIC_MATMUL, "-.*outFilename", Trace(), "-.*outputFileName",
                   directory->File("report")};
    const Words shape = SHAPE.Arguments();
    words.insert(words.end(), shape.begin(), shape.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
      argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const char* given = getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", (std::string(given == nullptr ? "" : given) + ":" QUARANTINE).c_str(),
           1);
    execv(SYSTOLIC_MATMUL, argv.data());
    _exit(127);
  }

  // Follows the memory that the writer has needed at most until it ends.
  static void Watch(pid_t writer) {
    const std::string process = std::to_string(writer);
    while (waitpid(writer, &writerStatus, WNOHANG) == 0) {
      struct stat status = {};
      stat(Trace().c_str(), &status);
      const unsigned long long size = static_cast<unsigned long long>(status.st_size);
      const long peakKb = StatusKb(process, "VmHWM");
      if (size < TENTH * AVERAGE_BYTES) {
        writerKbAtTenth = std::max(writerKbAtTenth, peakKb);
      }
      writerKb = std::max(writerKb, peakKb);
      usleep(5000);
    }
  }

  static std::string Trace() { return directory->File("trace"); }

  static std::unique_ptr<TempDir> directory;
  static int writerStatus;
  static long writerKbAtTenth;
  static long writerKb;
};

std::unique_ptr<TempDir> LongTrace::directory;
int LongTrace::writerStatus = -1;
long LongTrace::writerKbAtTenth = 0;
long LongTrace::writerKb = 0;

TEST_F(LongTrace, TheExampleWritesItAndItsProductsAreRight) {
  ASSERT_TRUE(WIFEXITED(writerStatus));
  EXPECT_EQ(0, WEXITSTATUS(writerStatus));
  const auto statistics = StatisticsIn(ReadFile(directory->File("report")));
  EXPECT_EQ(EVENTS, SumOf(statistics, "/multiplications") + SumOf(statistics, "/moves") +
                        SumOf(statistics, "/transmissions"));
}

TEST_F(LongTrace, TheMemoryOfTheExampleDoesNotGrowFromATenthToTheWhole) {
  std::cout << "example: " << writerKbAtTenth << " KiB at a tenth, " << writerKb << " KiB at "
            << EVENTS << " events\n";
  ASSERT_GT(writerKbAtTenth, 0);
  EXPECT_LE(writerKb, writerKbAtTenth + ALLOWED_GROWTH_KB);
}

// Reads up to `most` events and destroys them; the result is their number.
unsigned long long ReadEvents(VisTool& tool, unsigned long long most) {
  unsigned long long events = 0;
  VisToolEvent* event = nullptr;
  while (events < most && tool.ReadEvent(event) == File::SUCCESS) {
    ++events;
    delete event;
  }
  return events;
}

TEST_F(LongTrace, IsReadWithFiveCallsARecordAndInMemoryThatDoesNotGrow) {
  VisTool tool;
  tool.inFilename = Trace();
  tool.InitializeForRead();
  long kbAtTenth = 0;
  for (int tenth = 1; tenth <= 10; ++tenth) {
    readCalls = seekCalls = 0;
    ASSERT_EQ(TENTH, ReadEvents(tool, TENTH));
    EXPECT_EQ(5 * TENTH, readCalls);
    EXPECT_EQ(0U, seekCalls);
    const long kb = StatusKb("self", "VmRSS");
    std::cout << "reader: " << kb << " KiB at " << TENTH * tenth << " events\n";
    kbAtTenth = tenth == 1 ? kb : kbAtTenth;
    EXPECT_LE(kb, kbAtTenth + ALLOWED_GROWTH_KB);
  }
  ASSERT_GT(kbAtTenth, 0);
  readCalls = 0;
  EXPECT_EQ(0U, ReadEvents(tool, 1));
  EXPECT_EQ(1U, readCalls);
  tool.inFile.Close();
}

}  // namespace
}  // namespace marrowfin::testing
