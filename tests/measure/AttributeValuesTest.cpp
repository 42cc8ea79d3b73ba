#include "measure/AttributeValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "tests/trace/support/Opened.h"
#include "trace/read/Companion.h"
#include "trace/write/Recorder.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

typedef std::map<uint64_t, uint64_t> Counts;

class CountAttributeTest : public ::testing::Test {
 protected:
  CountAttributeTest() { EXPECT_FALSE(recorder.Open(name)); }

  Result<AttributeValues> Count(const std::string& attribute, const EventFilter& filter = {},
                                const ProgressCallback& progress = {}) {
    if (trace == nullptr) {
      EXPECT_FALSE(recorder.Close());
      trace = OpenTrace(name);
      index = OpenIndex(*trace);
      companion = Companion::Beside(*trace);
    }
    NotesOfTrace notes(*trace, *index, *companion->Notes());
    return CountAttribute(*trace, *index, notes, attribute, filter, progress);
  }

  TempDir folder;
  std::string name = folder.File("t.trace");
  Recorder recorder;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  std::optional<Companion> companion;
};

TEST_F(CountAttributeTest, EveryTypeOfAttributeHasADistribution) {
  const NumberNote size = recorder.DeclareNumber("size", "flits");
  const RealNote heat = recorder.DeclareReal("heat");
  const CycleNote created = recorder.DeclareCycle("created");
  const NameNote kind = recorder.DeclareName("kind");
  const NamedValue work = recorder.DeclareValue(kind, "work");
  const NamedValue wait = recorder.DeclareValue(kind, "wait");
  const RecordsNote consumes = recorder.DeclareRecords("consumes");
  RecordNumber last = recorder.Send(5, 0, {0, 0}, {1, 0});
  for (uint64_t i = 0; i < 6; ++i) {
    const RecordNumber here = recorder.Fire(10 + i, 0, {1, 0});
    recorder.Note(size, i / 2);
    recorder.Note(heat, i < 5 ? 0.25 * static_cast<double>(i % 2) : NAN);
    recorder.Note(created, i < 5 ? 8 : 99);
    recorder.Note(i < 4 ? work : wait);
    recorder.Note(consumes, last);
    if (i == 3) {
      recorder.Note(consumes, RecordNumber(0));
    }
    last = here;
  }
  Result<AttributeValues> values = Count("size");
  ASSERT_TRUE(values) << values.Why().Text();
  EXPECT_EQ(values->unit, "flits");
  EXPECT_EQ(values->counts.Counts(), (Counts{{0, 2}, {1, 2}, {2, 2}}));
  EXPECT_EQ(values->events, 7U);
  EXPECT_EQ(values->without, 1U);
  values = Count("heat");
  ASSERT_TRUE(values);
  EXPECT_EQ(values->type, NoteType::REAL);
  EXPECT_EQ(values->counts.Counts(), (Counts{{RealKey(0), 3}, {RealKey(0.25), 2}}));
  EXPECT_EQ(values->without, 2U) << "what is no number has none";
  values = Count("created");
  ASSERT_TRUE(values);
  EXPECT_EQ(values->counts.Counts(), (Counts{{0, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}}));
  values = Count("kind");
  ASSERT_TRUE(values);
  EXPECT_EQ(values->names.size(), 2U);
  EXPECT_EQ(values->counts.Size(), 6U);
  values = Count("consumes");
  ASSERT_TRUE(values);
  EXPECT_EQ(values->counts.Counts(), (Counts{{1, 5}, {2, 1}}));
}

TEST_F(CountAttributeTest, AFilterCountsWhatItLetsThroughAndUnknownNamesAreTold) {
  const NumberNote size = recorder.DeclareNumber("size");
  for (uint64_t i = 0; i < 100; ++i) {
    recorder.Fire(i, static_cast<uint32_t>(i % 2), {1, 0});
    recorder.Note(size, i % 2);
  }
  EventFilter filter;
  filter.thread = 1;
  const Result<AttributeValues> values = Count("size", filter);
  ASSERT_TRUE(values);
  EXPECT_EQ(values->counts.Counts(), (Counts{{1, 50}}));
  const Fault fault = Count("sizes").Why();
  EXPECT_EQ(fault.kind, Fault::OUT_OF_RANGE);
  EXPECT_THAT(fault.Text(),
              HasSubstr("its notes tell no attribute sizes; ask for one of these: size"));
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(Count("size", {}, stop).Why().kind, Fault::CANCELLED);
}

TEST_F(CountAttributeTest, WhatNumbersThingsHasNoDistribution) {
  const NumberNote id = recorder.DeclareNumber("id");
  for (uint64_t i = 0; i < AttributeValues::MOST_VALUES + 300; ++i) {
    recorder.Fire(i, 0, {1, 0});
    recorder.Note(id, i);
  }
  EXPECT_EQ(Count("id").Why().kind, Fault::OUT_OF_RANGE);
  EventFilter few;
  few.lastCycle = 9;
  EXPECT_TRUE(Count("id", few));
}

}  // namespace
}  // namespace marrowfin::testing
