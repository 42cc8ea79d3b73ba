#include "explorer/core/FoundCauses.h"
#include "explorer/core/FoundOnce.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace marrowfin::testing {
namespace {

typedef FoundOnce<std::string, int> Numbers;

Fault Failure() {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.reason = "it cannot be found";
  return fault;
}

Numbers::FindFunction Finds(int number) {
  return [number] { return std::make_shared<const int>(number); };
}

Result<Numbers::Found> MustNotFind() {
  ADD_FAILURE() << "it is known";
  return Failure();
}

// Somebody who is finding until he is let go.
class SlowFinder {
 public:
  SlowFinder(Numbers& numbers, const std::string& key, const Numbers::FindFunction& end)
      : asked(std::async(std::launch::async, [&numbers, key, end, this] {
          return numbers.Get(key, {}, [&] {
            begun.set_value();
            goOn.get_future().wait();
            return end();
          });
        })) {
    begun.get_future().wait();
  }

  void GoOn() { goOn.set_value(); }
  Result<Numbers::Found> End() { return asked.get(); }

 private:
  std::promise<void> begun;
  std::promise<void> goOn;
  std::future<Result<Numbers::Found>> asked;
};

// Asks in a thread of its own, and waits until it is known to wait.
std::future<Result<Numbers::Found>> AskWaiting(Numbers& numbers, const std::string& key,
                                               const Numbers::FindFunction& find) {
  auto waits = std::make_shared<std::promise<void>>();
  auto told = std::make_shared<std::atomic<bool>>(false);
  std::future<void> waiting = waits->get_future();
  auto asked = std::async(std::launch::async, [&numbers, key, find, waits, told] {
    const ProgressCallback look = [&](const Progress&) {
      if (!told->exchange(true)) {
        waits->set_value();
      }
      return true;
    };
    return numbers.Get(key, look, find);
  });
  waiting.wait();
  return asked;
}

TEST(FoundOnceTest, WhatIsKnownIsNotFoundAgain) {
  Numbers numbers(2, 2);
  EXPECT_EQ(**numbers.Get("a", {}, Finds(1)), 1);
  EXPECT_EQ(**numbers.Get("a", {}, MustNotFind), 1);
  EXPECT_EQ(**numbers.Get("b", {}, Finds(2)), 2);
  EXPECT_EQ(**numbers.Get("a", {}, MustNotFind), 1);
}

TEST(FoundOnceTest, WhatWasUsedLongestAgoGoesFirst) {
  Numbers numbers(2, 2);
  static_cast<void>(numbers.Get("a", {}, Finds(1)));
  static_cast<void>(numbers.Get("b", {}, Finds(2)));
  static_cast<void>(numbers.Get("a", {}, MustNotFind));
  static_cast<void>(numbers.Get("c", {}, Finds(3)));
  EXPECT_EQ(**numbers.Get("a", {}, MustNotFind), 1);
  EXPECT_EQ(**numbers.Get("b", {}, Finds(4)), 4);
}

TEST(FoundOnceTest, WhoAsksForWhatIsBeingFoundGetsTheSame) {
  Numbers numbers(2, 2);
  SlowFinder finder(numbers, "a", Finds(1));
  auto other = AskWaiting(numbers, "a", MustNotFind);
  finder.GoOn();
  const Result<Numbers::Found> one = finder.End();
  const Result<Numbers::Found> two = other.get();
  EXPECT_EQ(one->get(), two->get());
}

TEST(FoundOnceTest, WhoAsksForSomethingElseDoesNotWait) {
  Numbers numbers(2, 2);
  SlowFinder finder(numbers, "a", Finds(1));
  EXPECT_EQ(**numbers.Get("b", {}, Finds(2)), 2);
  finder.GoOn();
  EXPECT_EQ(**finder.End(), 1);
}

TEST(FoundOnceTest, WhereTooMuchIsBeingFoundItIsWaitedFor) {
  Numbers numbers(2, 1);
  SlowFinder finder(numbers, "a", Finds(1));
  std::atomic<bool> isDone = false;
  auto other = AskWaiting(numbers, "b", [&isDone] {
    EXPECT_TRUE(isDone);
    return std::make_shared<const int>(2);
  });
  isDone = true;
  finder.GoOn();
  EXPECT_EQ(**other.get(), 2);
}

TEST(FoundOnceTest, WhoDoesNotWantToKnowAnyMoreStopsWaiting) {
  Numbers numbers(2, 2);
  SlowFinder finder(numbers, "a", Finds(1));
  const auto nobody = [](const Progress&) { return false; };
  EXPECT_EQ(numbers.Get("a", nobody, MustNotFind).Why().kind, Fault::CANCELLED);
  finder.GoOn();
  EXPECT_EQ(**finder.End(), 1);
}

TEST(FoundOnceTest, WhereTheFinderFailsWhoWaitsFindsItHimself) {
  Numbers numbers(2, 2);
  SlowFinder finder(numbers, "a", [] { return Failure(); });
  auto other = AskWaiting(numbers, "a", Finds(7));
  finder.GoOn();
  EXPECT_EQ(finder.End().Why().kind, Fault::SYSTEM);
  EXPECT_EQ(**other.get(), 7);
}

TEST(FoundOnceTest, WhereTheFinderThrowsWhoWaitsFindsItHimself) {
  Numbers numbers(2, 1);
  SlowFinder finder(numbers, "a",
                    []() -> Result<Numbers::Found> { throw std::runtime_error("no memory"); });
  auto other = AskWaiting(numbers, "a", Finds(7));
  finder.GoOn();
  EXPECT_THROW(static_cast<void>(finder.End()), std::runtime_error);
  EXPECT_EQ(**other.get(), 7);
}

TEST(FoundOnceTest, CausesAreFoundForOneArrayAtATime) {
  FoundCauses causes;
  bool foundBeside = false;
  const auto other = [&]() -> Result<FoundCauses::Found> {
    foundBeside = true;
    return Failure();
  };
  const auto first = [&]() -> Result<FoundCauses::Found> {
    std::thread([&] {
      const auto impatient = [](const Progress&) { return false; };
      EXPECT_FALSE(causes.Get(ArrayShape(2, 1, 1), impatient, other));
    }).join();
    return Failure();
  };
  EXPECT_FALSE(causes.Get(ArrayShape(1, 1, 1), {}, first));
  EXPECT_FALSE(foundBeside);
}

}  // namespace
}  // namespace marrowfin::testing
