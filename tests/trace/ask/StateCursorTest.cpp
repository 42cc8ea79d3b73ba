#include "trace/ask/StateCursor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

void ExpectSameState(const ArrayState& state, const ArrayState& wanted) {
  ASSERT_EQ(state.step, wanted.step);
  ASSERT_EQ(state.cycle, wanted.cycle);
  ASSERT_EQ(state.first, wanted.first);
  ASSERT_EQ(state.last, wanted.last);
  ASSERT_EQ(state.shown, wanted.shown);
  ASSERT_EQ(state.elementCodes, wanted.elementCodes);
  ASSERT_EQ(state.switchCodes, wanted.switchCodes);
  ASSERT_TRUE(state.elements == wanted.elements);
  ASSERT_TRUE(state.switches == wanted.switches);
  ASSERT_TRUE(state.messages == wanted.messages);
  ASSERT_TRUE(state == wanted);
}

// By number, the changes of pieces whose codes are other ones.
std::vector<PieceChange> Sorted(std::vector<PieceChange> changes) {
  std::erase_if(changes, [](const PieceChange& change) { return change.before == change.after; });
  std::sort(changes.begin(), changes.end(),
            [](const PieceChange& a, const PieceChange& b) { return a.number < b.number; });
  return changes;
}

// A picture that is drawn once and then follows what it is told.
class Picture {
 public:
  void Take(const ArrayState& state) { seen = state; }

  void Follow(const StateChanges& changes, const ArrayState& now) {
    const StateChanges wanted = Difference(seen, now);
    EXPECT_EQ(Sorted(changes.elements), wanted.elements);
    EXPECT_EQ(Sorted(changes.switches), wanted.switches);
    EXPECT_EQ(changes.gone, wanted.gone);
    EXPECT_EQ(changes.appeared, wanted.appeared);
    std::map<uint32_t, int> times;
    for (const PieceChange& change : changes.elements) {
      EXPECT_EQ(++times[change.number], 1);
    }
    seen = now;
  }

 private:
  ArrayState seen;
};

// Moves a cursor about and compares it with questions from scratch.
class Mover {
 public:
  Mover(const Opened& opened, const ArrayShape& shape, size_t keptBytes = StateCursor::KEPT_BYTES)
      : reader(*opened.trace, *opened.index, shape),
        cursor(*opened.trace, *opened.index, shape, keptBytes) {}

  // In the reading of a viewer.
  void MoveToStep(uint64_t step, uint64_t skip) {
    skipTo = skip;
    natural = false;
    ASSERT_TRUE(Take(reader.CountSteps(skipTo), last));
    ++last;
    ASSERT_TRUE(IsFine(cursor.MoveToStep(step, skipTo)));
    picture.Take(cursor.State());
    Compare();
  }

  void MoveToCycle(uint64_t cycle) {
    natural = true;
    ASSERT_TRUE(IsFine(cursor.MoveToCycle(cycle)));
    picture.Take(cursor.State());
    EXPECT_TRUE(cursor.Changes().elements.empty() && cursor.Changes().appeared.empty());
    ArrayState wanted;
    ASSERT_TRUE(Take(reader.AtCycle(cycle), wanted));
    ExpectSameState(cursor.State(), wanted);
  }

  // False where there was no step any more.
  bool Go(bool forward, bool compare = true) {
    const uint64_t before = cursor.State().step;
    const Result<bool> gone = forward ? cursor.Next() : cursor.Previous();
    EXPECT_TRUE(gone) << gone.Why().Text();
    if (!gone || !*gone) {
      return false;
    }
    EXPECT_EQ(cursor.State().step, forward ? before + 1 : before - 1);
    if (compare) {
      picture.Follow(cursor.Changes(), cursor.State());
      Compare();
    } else {
      picture.Take(cursor.State());
    }
    return !::testing::Test::HasFatalFailure();
  }

  void Compare() {
    const ArrayState& state = cursor.State();
    ArrayState wanted = AsBuilt(state.shape);
    if (!natural) {
      ASSERT_TRUE(Take(reader.AtStep(state.step, skipTo), wanted));
    } else if (state.step > 0) {
      ASSERT_TRUE(Take(reader.AtCycle(state.cycle), wanted));
    }
    ExpectSameState(state, wanted);
  }

  uint64_t Step() const { return cursor.State().step; }
  uint64_t Last() const { return last; }

  StateReader reader;
  StateCursor cursor;

 private:
  Picture picture;
  bool natural = false;
  uint64_t skipTo = 0;
  uint64_t last = 0;
};

// There and back again, with turns on the way.
void GoAbout(Mover& mover, int moves, std::mt19937& random) {
  bool forward = true;
  for (int left = moves; left > 0; --left) {
    if (random() % 20 == 0) {
      forward = !forward;
    }
    if (!mover.Go(forward)) {
      forward = !forward;
    }
    ASSERT_FALSE(::testing::Test::HasFailure()) << "step " << mover.Step();
  }
}

void GoThrough(Mover& mover) {
  while (mover.Go(false)) {
    ASSERT_FALSE(::testing::Test::HasFailure()) << "back to step " << mover.Step();
  }
  ASSERT_EQ(mover.Step(), 0U);
  while (mover.Go(true)) {
    ASSERT_FALSE(::testing::Test::HasFailure()) << "on to step " << mover.Step();
  }
}

TEST(StateCursorTest, EveryStepOfShortTracesIsThatOfAQuestionFromScratch) {
  std::mt19937 random(21);
  for (int round = 0; round < 60; ++round) {
    RandomTraceOptions options;
    options.shape = {1 + static_cast<uint32_t>(random() % 3),
                     1 + static_cast<uint32_t>(random() % 2),
                     1 + static_cast<uint32_t>(random() % 4)};
    options.records = random() % 300;
    options.firstCycle = random() % 3;
    options.perCycle = 1 + random() % 6;
    options.falling = round % 4 == 3;
    const Opened opened(Encode(RandomEvents(random, options)));
    for (const uint64_t skipTo : {uint64_t{0}, random() % 60, random() % 60}) {
      Mover mover(opened, options.shape, round % 3 == 0 ? 2000 : StateCursor::KEPT_BYTES);
      mover.MoveToStep(0, skipTo);
      mover.MoveToStep(random() % (mover.Last() + 1), skipTo);
      GoAbout(mover, 60, random);
      GoThrough(mover);
      ASSERT_EQ(mover.Step(), mover.Last());
      GoAbout(mover, 30, random);
      ASSERT_FALSE(HasFailure()) << "round " << round << ", skip to " << skipTo;
    }
  }
}

TEST(StateCursorTest, EveryCycleOfTheNaturalReadingIsThatOfAQuestionFromScratch) {
  std::mt19937 random(22);
  for (int round = 0; round < 60; ++round) {
    RandomTraceOptions options;
    options.shape = {{1 + static_cast<uint32_t>(random() % 3), 2}, {1, 2}, {2, 3}};
    options.records = random() % 300;
    options.firstCycle = random() % 3;
    options.perCycle = 1 + random() % 6;
    const std::vector<Event> events = RandomEvents(random, options);
    const Opened opened(Encode(events));
    Mover mover(opened, options.shape, round % 3 == 0 ? 2000 : StateCursor::KEPT_BYTES);
    mover.MoveToCycle(random() % 200);
    GoAbout(mover, 60, random);
    GoThrough(mover);
    ASSERT_EQ(mover.Step(), events.empty() ? 0 : opened.index->GetSummary().changes + 1);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

// Thousands of steps, most of them between keyframes.
TEST(StateCursorTest, LongWaysToAndFroAcrossKeyframesAreThoseOfQuestionsFromScratch) {
  std::mt19937 random(23);
  const RandomTraceOptions options = ManyKeyframes();
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  ASSERT_GE(opened.index->Boundaries().size(), 5U);
  for (const uint64_t skipTo : {uint64_t{0}, uint64_t{2}, events[70000].cycle}) {
    for (const size_t keptBytes : {size_t{100000}, StateCursor::KEPT_BYTES}) {
      Mover mover(opened, options.shape, keptBytes);
      mover.MoveToStep(0, skipTo);
      while (mover.Go(true, random() % 100 == 0)) {
      }
      ASSERT_EQ(mover.Step(), mover.Last());
      while (mover.Go(false, random() % 100 == 0)) {
      }
      ASSERT_EQ(mover.Step(), 0U);
      ASSERT_FALSE(HasFailure()) << "skip to " << skipTo;
    }
    Mover mover(opened, options.shape);
    mover.MoveToStep(0, skipTo);
    for (int place = 0; place < 4; ++place) {
      mover.MoveToStep(random() % mover.Last(), skipTo);
      GoAbout(mover, 200, random);
    }
    ASSERT_FALSE(HasFailure()) << "skip to " << skipTo;
  }
  Mover mover(opened, options.shape);
  for (int place = 0; place < 4; ++place) {
    mover.MoveToCycle(events[random() % events.size()].cycle + 1);
    GoAbout(mover, 200, random);
  }
}

TEST(StateCursorTest, BackFromAMomentIsWhereTheSameStepLedTo) {
  std::mt19937 random(24);
  RandomTraceOptions options;
  options.shape = {2, 2, 4};
  options.records = 60000;
  options.perCycle = 3;
  const Opened opened(Encode(RandomEvents(random, options)));
  Mover mover(opened, options.shape);
  mover.MoveToStep(15000, 0);
  int back = 0;
  while (mover.Go(false, ++back % 100 == 0)) {
  }
  EXPECT_EQ(back, 15001);
}

// However long the way: a stretch is gone through once for all of its steps.
TEST(StateCursorTest, RecordsAreReadOnceOnTheWayThereAndOnceOnTheWayBack) {
  std::mt19937 random(29);
  RandomTraceOptions options = ManyKeyframes();
  for (const unsigned perCycle : {5U, 500U}) {
    options.perCycle = perCycle;
    const Opened opened(Encode(RandomEvents(random, options)));
    StateCursor cursor(*opened.trace, *opened.index, options.shape);
    ASSERT_FALSE(cursor.MoveToStep(0, 0));
    while (*cursor.Next()) {
    }
    EXPECT_LE(cursor.RecordsRead(), 200000U);
    const uint64_t last = cursor.State().step;
    ASSERT_FALSE(cursor.MoveToStep(last, 0));
    const uint64_t before = cursor.RecordsRead();
    while (*cursor.Previous()) {
    }
    EXPECT_EQ(cursor.State().step, 0U);
    EXPECT_LE(cursor.RecordsRead() - before, 220000U) << perCycle << " records a cycle";
  }
}

// The cycles of a trace whose cycles fall, in order, with what AtCycle tells of each.
TEST(StateCursorTest, WhereCyclesFallTheNaturalReadingGoesFromCycleToCycle) {
  std::mt19937 random(25);
  for (int round = 0; round < 10; ++round) {
    RandomTraceOptions options;
    options.shape = {2, 1, 3};
    options.records = 100;
    options.falling = true;
    options.firstCycle = round % 2;
    const std::vector<Event> events = RandomEvents(random, options);
    std::map<uint64_t, bool> cycles;
    for (const Event& event : events) {
      cycles[event.cycle] = true;
    }
    const Opened opened(Encode(events));
    if (opened.index->GetSummary().Ordered()) {
      continue;
    }
    const StateReader reader(*opened.trace, *opened.index, options.shape);
    StateCursor cursor(*opened.trace, *opened.index, options.shape);
    Picture picture;
    ASSERT_FALSE(cursor.MoveToCycle(cycles.rbegin()->first + 5));
    picture.Take(cursor.State());
    const auto expect = [&](uint64_t cycle) {
      ArrayState wanted;
      ASSERT_TRUE(Take(reader.AtCycle(cycle), wanted));
      ExpectSameState(cursor.State(), wanted);
      picture.Follow(cursor.Changes(), cursor.State());
    };
    for (auto at = std::next(cycles.rbegin()); at != cycles.rend(); ++at) {
      ASSERT_TRUE(*cursor.Previous());
      expect(at->first);
    }
    ASSERT_TRUE(*cursor.Previous());
    EXPECT_TRUE(cursor.State() == AsBuilt(options.shape));
    picture.Take(cursor.State());
    ASSERT_FALSE(*cursor.Previous());
    for (const auto& [cycle, there] : cycles) {
      ASSERT_TRUE(*cursor.Next());
      expect(cycle);
    }
    ASSERT_FALSE(*cursor.Next());
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

TEST(StateCursorTest, EventAtALocationThatTheArrayLacksIsTheFaultOfItsStepAndOfNoOther) {
  std::string text = "fire 1 0 0 0\nfire 1 0 1 1\n";
  for (int cycle = 2; cycle < 40; ++cycle) {
    text +=
        "fire " + std::to_string(cycle) + " 0 1 1\nsend " + std::to_string(cycle) + " 1 0 0 1 1\n";
  }
  const Opened opened(TraceBytes(text + "fire 40 3 2 2\nfire 40 0 9 9\nfire 41 0 1 1\n"));
  const ArrayShape shape = {1, 1, 4};
  const StateReader reader(*opened.trace, *opened.index, shape);
  StateCursor cursor(*opened.trace, *opened.index, shape);
  ASSERT_FALSE(cursor.MoveToStep(30, 0));
  Result<bool> gone = true;
  while ((gone = cursor.Next())) {
    ASSERT_TRUE(*gone);
  }
  ArrayState wanted;
  const Fault fault = reader.AtStep(cursor.State().step + 1, 0).Why();
  EXPECT_TRUE(fault);
  EXPECT_EQ(gone.Why().kind, Fault::OUTSIDE_ARRAY);
  EXPECT_EQ(gone.Why().Text(), fault.Text());
  ASSERT_TRUE(Take(reader.AtStep(cursor.State().step, 0), wanted));
  ExpectSameState(cursor.State(), wanted);
  EXPECT_EQ(cursor.Next().Why().Text(), gone.Why().Text());
  EXPECT_EQ(cursor.MoveToStep(wanted.step + 1, 0).Text(), gone.Why().Text());
  ExpectSameState(cursor.State(), wanted);
  for (uint64_t step = wanted.step; step > 0; --step) {
    ASSERT_TRUE(*cursor.Previous());
    ASSERT_TRUE(Take(reader.AtStep(step - 1, 0), wanted));
    ExpectSameState(cursor.State(), wanted);
  }
  ASSERT_FALSE(cursor.MoveToCycle(39));
  EXPECT_EQ(cursor.Next().Why().kind, Fault::OUTSIDE_ARRAY);
  EXPECT_EQ(cursor.State().cycle, 39U);
}

TEST(StateCursorTest, ThereIsNoStepBeforeTheFirstNorBehindTheLast) {
  const Opened opened(TraceBytes("fire 3 0 0 0\nfire 4 0 1 1\n"));
  StateCursor cursor(*opened.trace, *opened.index, {1, 1, 4});
  EXPECT_FALSE(*cursor.Next());
  EXPECT_FALSE(*cursor.Previous());
  EXPECT_TRUE(cursor.State() == AsBuilt({1, 1, 4}));
  EXPECT_EQ(cursor.MoveToStep(4, 0).kind, Fault::OUT_OF_RANGE);
  ASSERT_FALSE(cursor.MoveToStep(2, 0));
  EXPECT_FALSE(cursor.State().shown);
  EXPECT_FALSE(*cursor.Next());
  EXPECT_TRUE(*cursor.Previous());
  EXPECT_TRUE(cursor.State().shown);
  EXPECT_EQ(cursor.State().cycle, 4U);
  EXPECT_TRUE(*cursor.Previous());
  EXPECT_FALSE(*cursor.Previous());
  EXPECT_EQ(cursor.State().cycle, 0U);
  ASSERT_FALSE(cursor.MoveToCycle(9));
  EXPECT_FALSE(*cursor.Next());
  EXPECT_TRUE(*cursor.Previous());
  EXPECT_TRUE(*cursor.Previous());
  EXPECT_TRUE(cursor.State() == AsBuilt({1, 1, 4}));
  EXPECT_FALSE(*cursor.Previous());
  const Opened empty("");
  StateCursor nowhere(*empty.trace, *empty.index, {1, 1, 4});
  ASSERT_FALSE(nowhere.MoveToCycle(0));
  EXPECT_FALSE(*nowhere.Next());
  EXPECT_FALSE(*nowhere.Previous());
  ASSERT_FALSE(nowhere.MoveToStep(0, 0));
  EXPECT_TRUE(*nowhere.Next());
  EXPECT_FALSE(nowhere.State().shown);
  EXPECT_FALSE(*nowhere.Next());
}

// What a callback was told; it asks to stop at the `stopAt`-th call.
struct Told {
  ProgressCallback Callback() {
    return [this](const Progress& progress) {
      done.push_back(progress.done);
      EXPECT_LE(progress.done, progress.all);
      EXPECT_EQ(progress.unit, Progress::RECORDS);
      return done.size() < stopAt;
    };
  }

  size_t stopAt = ~size_t{0};
  std::vector<uint64_t> done;
};

TEST(StateCursorTest, LongStepsAndWaysBackAreToldOfAndLeaveTheMomentWhereTheyAreStopped) {
  std::mt19937 random(26);
  RandomTraceOptions options;
  options.records = 60000;
  options.perCycle = 20000;
  const Opened opened(Encode(RandomEvents(random, options)));
  Mover mover(opened, options.shape);
  for (const bool forward : {true, false}) {
    const auto move = [&](Told& told) {
      return forward ? mover.cursor.Next(told.Callback()) : mover.cursor.Previous(told.Callback());
    };
    mover.MoveToStep(1, 0);
    Told told;
    ASSERT_TRUE(*move(told));
    ASSERT_GT(told.done.size(), 10U);
    EXPECT_TRUE(std::is_sorted(told.done.begin(), told.done.end()));
    for (const size_t stopAt : {size_t{1}, size_t{5}, told.done.size()}) {
      mover.MoveToStep(1, 0);
      Told stopped;
      stopped.stopAt = stopAt;
      EXPECT_EQ(move(stopped).Why().kind, Fault::CANCELLED);
      EXPECT_EQ(stopped.done.size(), stopAt);
      EXPECT_EQ(mover.Step(), 1U);
      mover.Compare();
      EXPECT_TRUE(mover.Go(forward));
    }
  }
}

TEST(StateCursorTest, PlacingAndStepsWhereCyclesFallAreStoppedToo) {
  std::mt19937 random(27);
  RandomTraceOptions options;
  options.records = 30000;
  options.falling = true;
  const Opened opened(Encode(RandomEvents(random, options)));
  StateCursor cursor(*opened.trace, *opened.index, options.shape);
  ASSERT_FALSE(cursor.MoveToCycle(5));
  const ArrayState before = cursor.State();
  for (const size_t stopAt : {size_t{1}, size_t{150}}) {
    Told stopped;
    stopped.stopAt = stopAt;
    EXPECT_EQ(cursor.Next(stopped.Callback()).Why().kind, Fault::CANCELLED);
    EXPECT_EQ(stopped.done.size(), stopAt);
    EXPECT_TRUE(std::is_sorted(stopped.done.begin(), stopped.done.end()));
    stopped = Told();
    stopped.stopAt = 1;
    EXPECT_EQ(cursor.MoveToCycle(9, stopped.Callback()).kind, Fault::CANCELLED);
    const uint64_t most = opened.index->GetSummary().maxCycle;
    stopped = Told();
    stopped.stopAt = 1;
    EXPECT_EQ(cursor.MoveToStep(0, most, stopped.Callback()).kind, Fault::CANCELLED);
    ExpectSameState(cursor.State(), before);
  }
}

TEST(StateCursorTest, TraceThatIsWrittenAnewInPlaceIsAFaultThatSaysSo) {
  std::mt19937 random(28);
  RandomTraceOptions options;
  options.shape = {1, 2, 4};
  options.records = 60000;
  const Opened opened(Encode(RandomEvents(random, options)));
  Mover mover(opened, options.shape);
  mover.MoveToStep(100, 0);
  ASSERT_TRUE(mover.Go(true));
  const ArrayState before = mover.cursor.State();
  std::vector<Event> events = RandomEvents(random, options);
  for (Event& event : events) {
    event.thread += 1;
  }
  WriteFile(opened.name, Encode(events));
  EXPECT_EQ(mover.cursor.Next().Why().kind, Fault::CHANGED);
  ExpectSameState(mover.cursor.State(), before);
  EXPECT_EQ(mover.cursor.MoveToStep(7, 0).kind, Fault::CHANGED);
  EXPECT_EQ(mover.cursor.MoveToCycle(7).kind, Fault::CHANGED);
  ExpectSameState(mover.cursor.State(), before);
}

}  // namespace
}  // namespace marrowfin::testing
