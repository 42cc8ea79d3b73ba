#include <gtest/gtest.h>

#include <functional>
#include <iterator>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/ForgeIndex.h"
#include "tests/trace/support/Opened.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/StateReader.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/Pack.h"

namespace marrowfin::testing {
namespace {

// Indexes whose checksums hold and which are of the trace, but say of it what is not true: somebody
// made them up.

// Whether a question was answered by a fault that names the index.
::testing::AssertionResult IsRefused(const Index& index, const Fault& fault) {
  if (!fault) {
    return ::testing::AssertionFailure() << "there was an answer";
  }
  if (fault.kind != Fault::DAMAGED_INDEX || fault.file != index.FileName()) {
    return ::testing::AssertionFailure() << fault.Text();
  }
  return ::testing::AssertionSuccess();
}

TEST(ForgedIndexTest, FiresOutsideTheArrayAreNotAppliedWhateverTheIndexSays) {
  Opened opened(TraceBytes("fire 1 0 1 1\nfire 2 0 900 1\nfire 3 0 1 900\n"));
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) {
    d.summary.fired = d.summary.array = {4, 4};
  });
  opened.Reopen();
  ASSERT_EQ(opened.index->GetSummary().fired, (Extent{4, 4})) << "the forgery was not believed";
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
  ArrayState state;
  EXPECT_TRUE(Take(reader.AtCycle(1), state));
  EXPECT_TRUE(IsRefused(*opened.index, reader.AtCycle(2).Why()));
  EXPECT_TRUE(IsRefused(*opened.index, reader.AtStep(3, 0).Why()));
}

TEST(ForgedIndexTest, TransmissionsOutsideTheArrayAreNotAppliedWhateverTheIndexSays) {
  Opened opened(TraceBytes("switch 1 0 4 4\nswitch 2 0 12 4\nswitch 3 0 5 4\n"));
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) { d.summary.switchPlaces = {{4, 4}}; });
  opened.Reopen();
  ASSERT_EQ(opened.index->GetSummary().switchPlaces.size(), 1U) << "the forgery was not believed";
  const StateReader reader(*opened.trace, *opened.index, {1, 2, 4});
  ArrayState state;
  EXPECT_TRUE(Take(reader.AtCycle(1), state));
  EXPECT_TRUE(IsRefused(*opened.index, reader.AtCycle(2).Why()));
  EXPECT_TRUE(IsRefused(*opened.index, reader.AtCycle(3).Why()));
}

TEST(ForgedIndexTest, UnitsThatTheIndexDoesNotKnowAreNotCounted) {
  Opened opened(
      TraceBytes("fire 1 0 1 1\nsend 2 0 900 1 1 1\nfire 3 0 1 900\n"
                 "switch 4 0 4 4\nswitch 5 0 12 4\n"));
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) {
    d.summary.fired = {4, 4};
    d.summary.sent = {4, 4};
    d.summary.array = {4, 4};
    d.summary.far = {};
    d.summary.switchPlaces = {{4, 4}};
  });
  opened.Reopen();
  ASSERT_EQ(opened.index->GetSummary().fired, (Extent{4, 4})) << "the forgery was not believed";
  const ActivityReader reader(*opened.trace, *opened.index);
  for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
    std::vector<uint64_t> counts;
    EXPECT_TRUE(IsRefused(*opened.index, reader.Count(0, 5, activity, counts)));
  }
}

// A trace with an index of several segments.
class ForgedSegmentsTest : public ::testing::Test {
 protected:
  static std::string Bytes(int fires) {
    std::string text;
    for (int i = 0; i < fires; ++i) {
      text += "fire " + std::to_string(i / 9) + " 0 " + std::to_string(i % 16) + " 15\n";
    }
    return TraceBytes(text);
  }

  void SetUp() override {
    ASSERT_TRUE(
        IsFine(Index::Build(*opened.trace, opened.index->FileName(), {}, {.segmentRecords = 1})));
    opened.Reopen();
    ASSERT_GT(opened.index->Boundaries().size(), 1U);
  }

  Opened opened{Bytes(3000)};
};

TEST_F(ForgedSegmentsTest, KeyframesAreAsLongAsTheyAreWhateverTheIndexSays) {
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) {
    d.boundaries[0].keyframe.offset = d.boundaries[0].node[TRANSMISSIONS].offset;
  });
  opened.Reopen();
  ASSERT_GT(opened.index->Boundaries().size(), 1U) << "the forgery was not believed";
  std::vector<uint64_t> sums;
  ASSERT_TRUE(IsFine(opened.index->AddNode(1, TRANSMISSIONS, 1, 0, 0, sums)));
  const auto keyframe = opened.index->Keyframe(1);
  EXPECT_TRUE(IsRefused(*opened.index, keyframe.Why()));
}

TEST_F(ForgedSegmentsTest, TimeTablesTellAsManyRecordsAsTheTraceHas) {
  ASSERT_TRUE(opened.index->Times());
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) { d.furtherTimes = d.times; });
  opened.Reopen();
  ASSERT_TRUE(opened.index->TimesAtLastBoundary()) << "the forgery was not believed";
  const Result<const TimeTable*> times = opened.index->Times();
  EXPECT_TRUE(IsRefused(*opened.index, times.Why()));
}

TEST_F(ForgedSegmentsTest, TimeTableThatIsNoneIsRefused) {
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) { d.times = d.boundaries[0].keyframe; });
  opened.Reopen();
  const Result<const TimeTable*> times = opened.index->Times();
  EXPECT_TRUE(IsRefused(*opened.index, times.Why()));
}

TEST_F(ForgedSegmentsTest, IndexWhoseTimeTableIsDamagedIsNotExtendedButBuiltAnew) {
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) { d.times = d.furtherTimes; });
  WriteFile(opened.name, Bytes(3010));
  opened.Reopen();
  const Result<const TimeTable*> times = opened.index->Times();
  ASSERT_TRUE(times) << times.Why().Text();
  EXPECT_EQ((*times)->Records(0), 9U);
}

TEST_F(ForgedSegmentsTest, WhatCannotBeExtendedIsBuiltAnew) {
  ForgeIndex(opened.index->FileName(), [](IndexTables& d) { d.atLastBoundary.changes = 0; });
  WriteFile(opened.name, Bytes(3010));
  opened.Reopen();
  ASSERT_TRUE(opened.index);
  EXPECT_EQ(opened.index->GetSummary().records, 3010U);
  EXPECT_EQ(opened.index->GetSummary().changes, 3009U / 9);
}

}  // namespace
}  // namespace marrowfin::testing
