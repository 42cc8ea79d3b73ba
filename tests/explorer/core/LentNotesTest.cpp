// Notes that are lent to questions, of which one may go through a whole run.

#include "explorer/core/LentNotes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <random>
#include <stdexcept>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

class LentNotesTest : public ::testing::Test {
 protected:
  LentNotesTest() {
    RandomTraceOptions options;
    options.records = 500;
    const NotedEvents noted = RandomNotes(random, RandomEvents(random, options));
    asked = std::make_unique<AskedTrace>(Encode(noted.events),
                                         std::vector<std::pair<std::string, std::string>>{
                                             {".notes", NotesBytes(noted, random, 100, true)}});
    asked->UntilReady();
    view = asked->Status().view;
  }

  // All that there are, as long as they are kept.
  std::vector<LentNotes::Lease> BorrowAll() const {
    std::vector<LentNotes::Lease> all;
    for (size_t i = 0; i < LentNotes::MOST; ++i) {
      all.push_back(std::move(view->Notes({})).Take());
    }
    return all;
  }

  std::mt19937 random{11};
  std::unique_ptr<AskedTrace> asked;
  std::shared_ptr<TraceView> view;
};

TEST_F(LentNotesTest, TheTraceIsToldWhileQuestionsHaveAllNotes) {
  const std::vector<LentNotes::Lease> all = BorrowAll();
  const ReadAnswer answer = asked->Ask({{"ask", "trace"}});
  ASSERT_EQ(answer.Code(), "");
  ASSERT_FALSE(answer.head["counters"].empty());
  EXPECT_GT(answer.head["counters"][0]["places"], 0);
  EXPECT_EQ(answer.head["notesComing"], false);
}

TEST_F(LentNotesTest, EachQuestionHasNotesOfItsOwn) {
  const std::vector<LentNotes::Lease> all = BorrowAll();
  for (const LentNotes::Lease& one : all) {
    ASSERT_TRUE(one);
    EXPECT_EQ(&*one == &*all[0], &one == all.data());
    EXPECT_EQ(one->index, all[0]->index);
  }
}

TEST_F(LentNotesTest, WhoDoesNotWantToKnowAnyMoreStopsWaiting) {
  const std::vector<LentNotes::Lease> all = BorrowAll();
  const auto nobody = [](const Progress&) { return false; };
  EXPECT_EQ(view->Notes(nobody).Why().kind, Fault::CANCELLED);
}

TEST_F(LentNotesTest, NotesThatAreGivenBackAreLentToWhoWaits) {
  std::vector<LentNotes::Lease> all = BorrowAll();
  const KnownNotes* const last = &*all.back();
  std::promise<void> waits;
  std::atomic<bool> told = false;
  auto other = std::async(std::launch::async, [&] {
    return view->Notes([&](const Progress&) {
      if (!told.exchange(true)) {
        waits.set_value();
      }
      return true;
    });
  });
  waits.get_future().wait();
  all.pop_back();
  const Result<LentNotes::Lease> lease = other.get();
  ASSERT_TRUE(lease);
  EXPECT_EQ(&**lease, last);
}

TEST_F(LentNotesTest, WhereMemoryRunsOutForOneMoreItMayBeTriedAgain) {
  const auto make = [&] {
    return std::make_unique<KnownNotes>(view->Trace(), view->Another(), *view->Beside().Notes());
  };
  bool fails = true;
  LentNotes lender(make(), [&] {
    if (fails) {
      throw std::bad_alloc();
    }
    return make();
  });
  const Result<LentNotes::Lease> first = lender.Borrow({});
  for (size_t i = 0; i < 2 * LentNotes::MOST; ++i) {
    EXPECT_THROW(static_cast<void>(lender.Borrow({})), std::bad_alloc);
  }
  fails = false;
  EXPECT_TRUE(lender.Borrow({}));
}

}  // namespace
}  // namespace marrowfin::testing
