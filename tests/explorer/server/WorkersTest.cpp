#include "explorer/server/Workers.h"

#include <gtest/gtest.h>

#include <future>
#include <new>
#include <stdexcept>

namespace marrowfin::testing {
namespace {

// Has some work done, and waits for its end: whether it failed.
template <class Work>
bool Fails(Workers& workers, Work work) {
  std::promise<bool> ended;
  std::future<bool> end = ended.get_future();
  const auto done = [&] {
    work();
    ended.set_value(false);
  };
  EXPECT_TRUE(workers.Begin(done, [&] { ended.set_value(true); }));
  return end.get();
}

TEST(WorkersTest, WorkThatThrowsIsToldAndTheThreadGoesOn) {
  Workers workers(1, 10);
  EXPECT_FALSE(Fails(workers, [] {}));
  EXPECT_TRUE(Fails(workers, [] { throw std::runtime_error("a mistake"); }));
  EXPECT_TRUE(Fails(workers, [] { throw std::bad_alloc(); }));
  EXPECT_TRUE(Fails(workers, [] { throw 7; }));
  EXPECT_FALSE(Fails(workers, [] {}));
}

TEST(WorkersTest, AFailureThatCannotBeToldEndsNothing) {
  Workers workers(1, 10);
  EXPECT_TRUE(workers.Begin([] { throw std::bad_alloc(); }, [] { throw std::bad_alloc(); }));
  EXPECT_FALSE(Fails(workers, [] {}));
}

TEST(WorkersTest, TooMuchWorkIsRefusedUntilSomeIsDone) {
  Workers workers(1, 2);
  std::promise<void> goOn;
  std::shared_future<void> going = goOn.get_future().share();
  const auto wait = [going] { going.wait(); };
  const auto never = [] { ADD_FAILURE(); };
  EXPECT_TRUE(workers.Begin(wait, never));
  EXPECT_TRUE(workers.Begin([] { throw std::runtime_error("a mistake"); }, [] {}));
  EXPECT_FALSE(workers.Begin(wait, never));
  goOn.set_value();
  while (!workers.Begin([] {}, never)) {
  }
  workers.Join();
}

}  // namespace
}  // namespace marrowfin::testing
