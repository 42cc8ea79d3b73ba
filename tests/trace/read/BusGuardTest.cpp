#include "trace/read/BusGuard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include "tests/support/Files.h"

namespace marrowfin::testing {
namespace {

constexpr size_t SIZE = 1 << 20;

// A mapped file whose second half is gone.
class Torn {
 public:
  Torn() {
    WriteFile(folder.File("f"), std::string(SIZE, 'x'));
    const int file = open(folder.File("f").c_str(), O_RDWR | O_CLOEXEC);
    bytes = static_cast<const volatile char*>(mmap(nullptr, SIZE, PROT_READ, MAP_SHARED, file, 0));
    EXPECT_EQ(ftruncate(file, SIZE / 2), 0);
    close(file);
  }
  ~Torn() { munmap(const_cast<char*>(bytes), SIZE); }

  const void* Memory() const { return const_cast<const char*>(bytes); }
  bool Read(size_t at) const {
    return BusGuard::Run(Memory(), SIZE, [&] { (void)bytes[at]; });
  }

  const volatile char* bytes;

 private:
  TempDir folder;
};

TEST(BusGuardTest, BytesThatAreGoneEndTheReading) {
  const Torn torn;
  EXPECT_TRUE(torn.Read(0));
  EXPECT_TRUE(torn.Read(SIZE / 2 - 1));
  for (int round = 0; round < 3; ++round) {
    EXPECT_FALSE(torn.Read(SIZE / 2));
    EXPECT_FALSE(torn.Read(SIZE - 1));
    EXPECT_TRUE(torn.Read(1)) << "guards go on working";
  }
}

TEST(BusGuardTest, InnermostGuardOfTheBytesCatchesTheError) {
  const Torn outer;
  const Torn inner;
  bool afterInner = false;
  EXPECT_TRUE(BusGuard::Run(outer.Memory(), SIZE, [&] {
    EXPECT_FALSE(inner.Read(SIZE - 1));
    afterInner = true;
  }));
  EXPECT_TRUE(afterInner);
  // An error of the outer bytes leaves the inner guard behind as well.
  EXPECT_FALSE(BusGuard::Run(outer.Memory(), SIZE, [&] {
    BusGuard::Run(inner.Memory(), SIZE, [&] { (void)outer.bytes[SIZE - 1]; });
    ADD_FAILURE() << "the inner guard caught what is not its own";
  }));
  EXPECT_FALSE(inner.Read(SIZE - 1)) << "the guards that were left stand no more";
}

TEST(BusGuardTest, ThreadsSurviveErrorsOfTheirOwn) {
  const Torn torn;
  std::atomic<int> caught = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        caught += torn.Read(SIZE - 1) ? 0 : 1;
        caught += torn.Read(0) ? 0 : 1000000;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(caught, 800);
}

TEST(BusGuardTest, ErrorOutsideTheGuardedBytesMeetsTheDefaultAction) {
  const Torn torn;
  EXPECT_EXIT(
      {
        signal(SIGBUS, SIG_DFL);
        torn.Read(0);
        BusGuard::Run(torn.Memory(), SIZE / 4, [&] { (void)torn.bytes[SIZE - 1]; });
      },
      ::testing::KilledBySignal(SIGBUS), "");
}

TEST(BusGuardTest, ErrorOutsideTheGuardedBytesCannotBeIgnored) {
  const Torn torn;
  EXPECT_EXIT(
      {
        signal(SIGBUS, SIG_IGN);
        torn.Read(0);
        (void)torn.bytes[SIZE - 1];
      },
      ::testing::KilledBySignal(SIGBUS), "");
}

TEST(BusGuardTest, SignalThatWasSentMeetsTheActionThatWasThereBefore) {
  const Torn torn;
  EXPECT_EXIT(
      {
        signal(SIGBUS, SIG_DFL);
        torn.Read(0);
        raise(SIGBUS);
      },
      ::testing::KilledBySignal(SIGBUS), "");
  EXPECT_EXIT(
      {
        signal(SIGBUS, SIG_IGN);
        torn.Read(0);
        raise(SIGBUS);
        _exit(torn.Read(SIZE - 1) ? 1 : 7);
      },
      ::testing::ExitedWithCode(7), "");
}

TEST(BusGuardTest, HandlersThatWereThereBeforeAreCalled) {
  const Torn torn;
  EXPECT_EXIT(
      {
        signal(SIGBUS, [](int) { _exit(5); });
        torn.Read(0);
        (void)torn.bytes[SIZE - 1];
      },
      ::testing::ExitedWithCode(5), "");
  EXPECT_EXIT(
      {
        struct sigaction action = {};
        action.sa_flags = SA_SIGINFO;
        action.sa_sigaction = [](int, siginfo_t* info, void*) { _exit(info->si_code > 0 ? 6 : 1); };
        sigaction(SIGBUS, &action, nullptr);
        torn.Read(0);
        (void)torn.bytes[SIZE - 1];
      },
      ::testing::ExitedWithCode(6), "");
}

// A sent signal names its sender where a raised one has an address: it must not be taken for an
// error of the guarded bytes, whatever the number looks like.
TEST(BusGuardTest, SignalThatWasSentIsNoErrorOfGuardedBytes) {
  EXPECT_EXIT(
      {
        signal(SIGBUS, [](int) { _exit(8); });
        // All addresses of a process: the number of the sender, read as one, is among them.
        BusGuard::Run(reinterpret_cast<const void*>(uintptr_t{1}), size_t{1} << 46,
                      [] { raise(SIGBUS); });
        _exit(1);
      },
      ::testing::ExitedWithCode(8), "");
}

}  // namespace
}  // namespace marrowfin::testing
