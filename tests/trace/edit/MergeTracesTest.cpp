// Merging: by cycle, and of equal cycles in the order of the traces.

#include "trace/edit/MergeTraces.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/TraceText.h"
#include "tests/trace/edit/EditedTrace.h"
#include "trace/edit/MergeOrder.h"
#include "trace/edit/MergedNotes.h"

namespace marrowfin::testing {
namespace {

std::vector<Event> Ordered(std::mt19937& random, size_t records, unsigned perCycle) {
  RandomTraceOptions options;
  options.records = records;
  options.perCycle = perCycle;
  return RandomEvents(random, options);
}

std::string Merge(const std::vector<std::string>& traces, MergeAccount& account) {
  std::vector<std::unique_ptr<RecordFeed>> feeds;
  std::vector<MergedTrace> merged;
  for (const std::string& bytes : traces) {
    feeds.push_back(FeedOf(bytes));
    merged.push_back({feeds.back().get(), nullptr});
  }
  MadeTrace made(false);
  EXPECT_TRUE(Take(MergeTraces(merged, made.made), account));
  EXPECT_TRUE(IsFine(made.made.Close()));
  return made.TraceBytes();
}

TEST(MergeTracesTest, TracesInOrderAreMergedAsAStableSortOfAllWould) {
  std::mt19937 random(1);
  for (const size_t count : {1, 2, 3, 8, 13}) {
    std::vector<Event> all;
    std::vector<std::string> traces;
    for (size_t i = 0; i < count; ++i) {
      const std::vector<Event> events = Ordered(random, random() % 3000, 1 + random() % 9);
      all.insert(all.end(), events.begin(), events.end());
      traces.push_back(Encode(events));
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const Event& a, const Event& b) { return a.cycle < b.cycle; });
    MergeAccount account;
    EXPECT_TRUE(Encode(all) == Merge(traces, account)) << count << " traces";
    uint64_t records = 0;
    for (const uint64_t of : account.records) {
      records += of;
    }
    EXPECT_EQ(records, all.size());
  }
}

TEST(MergeTracesTest, TheRecordsOfATraceStayInOrderWhateverTheirCycles) {
  const std::string fallen = TraceBytes("fire 9 0 0 0\nfire 3 0 1 0\nfire 20 0 2 0\n");
  const std::string other = TraceBytes("fire 5 1 0 0\nfire 12 1 1 0\n");
  MergeAccount account;
  EXPECT_EQ(TraceBytes("fire 5 1 0 0\nfire 9 0 0 0\nfire 3 0 1 0\nfire 12 1 1 0\nfire 20 0 2 0\n"),
            Merge({fallen, other}, account));
}

TEST(MergeTracesTest, NoTraceAndTracesWithoutRecordsMakeOneWithoutRecords) {
  MergeAccount account;
  EXPECT_EQ("", Merge({}, account));
  EXPECT_EQ("", Merge({"", ""}, account));
  EXPECT_EQ(TraceBytes("fire 1 0 0 0\n"), Merge({"", TraceBytes("fire 1 0 0 0\n"), ""}, account));
}

TEST(MergeTracesTest, ATraceThatBreaksOffIsMergedUpToThereAndNamed) {
  MergeAccount account;
  const std::string whole = TraceBytes("fire 1 0 0 0\nfire 3 0 0 0\n");
  EXPECT_EQ(TraceBytes("fire 1 0 0 0\nfire 2 1 0 0\nfire 3 0 0 0\n"),
            Merge({whole, TraceBytes("fire 2 1 0 0\n") + "cut"}, account));
  EXPECT_FALSE(account.ends[0]);
  EXPECT_EQ(account.ends[1].kind, Fault::CUT_RECORD);
}

NoteDeclarations Declared(const std::vector<NoteAttribute>& attributes) {
  NoteDeclarations declarations;
  declarations.attributes = attributes;
  return declarations;
}

TEST(MergedNotesTest, AttributesAndValuesOfOneNameAreOne) {
  MergedNotes notes;
  const NoteDeclarations a = Declared({{NoteType::NAME, "kind", "", {{0, "wait"}, {1, "compute"}}},
                                       {NoteType::NUMBER, "size", "", {}}});
  const NoteDeclarations b =
      Declared({{NoteType::NUMBER, "packet", "", {}},
                {NoteType::NAME, "kind", "", {{0, "compute"}, {1, "barrier"}, {7, "wait"}}}});
  notes.Add(&a);
  notes.Add(nullptr);
  notes.Add(&b);
  const NoteDeclarations& all = notes.Declarations();
  ASSERT_EQ(all.attributes.size(), 3U);
  EXPECT_EQ(all.attributes[0].names,
            (std::map<uint64_t, std::string>{{0, "wait"}, {1, "compute"}, {2, "barrier"}}));
  EXPECT_EQ(all.attributes[2].name, "packet");
  EXPECT_EQ(notes.Attribute(2, 1), 0U);
  EXPECT_EQ(notes.Value(2, 1, 0), 1U);
  EXPECT_EQ(notes.Value(2, 1, 1), 2U);
  EXPECT_EQ(notes.Value(2, 1, 7), 0U);
  EXPECT_EQ(notes.Value(2, 1, 9), 9U);            // without a name anywhere
  EXPECT_EQ(notes.Value(2, 1, 2), std::nullopt);  // which has one elsewhere
  EXPECT_EQ(notes.Value(2, 0, 77), 77U);
}

TEST(MergedNotesTest, AnAttributeOfAnotherTypeGetsAnotherName) {
  MergedNotes notes;
  const NoteDeclarations a = Declared({{NoteType::NUMBER, "size", "", {}}});
  const NoteDeclarations b = Declared({{NoteType::REAL, "size", "", {}}});
  notes.Add(&a);
  notes.Add(&b);
  notes.Add(&b);
  ASSERT_EQ(notes.Declarations().attributes.size(), 2U);
  EXPECT_EQ(notes.Declarations().attributes[1].name, "size 2");
  EXPECT_EQ(notes.Attribute(2, 0), 1U);
}

TEST(MergedNotesTest, AttributesBeyondTheMostThatThereMayBeAreLeftOut) {
  MergedNotes notes;
  for (const char* prefix : {"a", "b"}) {
    NoteDeclarations many;
    for (size_t i = 0; i < 20; ++i) {
      many.attributes.push_back({NoteType::NUMBER, prefix + std::to_string(i), "", {}});
    }
    notes.Add(&many);
  }
  EXPECT_EQ(notes.Declarations().attributes.size(), NOTES_MOST_ATTRIBUTES);
  EXPECT_EQ(notes.Attribute(1, 11), 31U);
  EXPECT_EQ(notes.Attribute(1, 12), std::nullopt);
}

TEST(MergedAboutTest, TheFirstThatTellsSomethingTellsItAndArraysMustAgree) {
  About a;
  a.name = "first";
  a.threads[1] = {"one", ""};
  a.array = AboutArray{{2, 2, 2}};
  About b;
  b.name = "second";
  b.tool = "tool";
  b.threads[1] = {"other", ""};
  b.threads[2] = {"two", ""};
  const About both = MergedAbout(std::vector<const About*>{nullptr, &a, &b}, {});
  EXPECT_EQ(both.name, "first");
  EXPECT_EQ(both.tool, "tool");
  EXPECT_EQ(both.threads.at(1).name, "one");
  EXPECT_EQ(both.threads.at(2).name, "two");
  EXPECT_EQ(both.array, a.array);
  b.array = AboutArray{{4, 2, 2}};
  EXPECT_FALSE(MergedAbout(std::vector<const About*>{&a, &b}, {}).array);
}

TEST(MergedAboutTest, AnArrayThatDoesNotHoldAllOfThemIsToldNoMore) {
  About a;
  a.array = AboutArray{{2, 2, 2}};
  Summary merged;
  merged.fired = {8, 8};
  EXPECT_EQ(MergedAbout(std::vector<const About*>{&a, nullptr}, merged).array, a.array);
  merged.fired = {9, 8};
  EXPECT_FALSE(MergedAbout(std::vector<const About*>{&a, nullptr}, merged).array);
}

TEST(MergeOrderTest, TheLowestCycleGoesFirstAndOfEqualOnesTheFirstSequence) {
  std::mt19937 random(7);
  for (const size_t count : {1, 2, 3, 5, 8, 9}) {
    std::vector<std::vector<uint64_t>> sequences(count);
    for (auto& sequence : sequences) {
      for (size_t left = random() % 50; left > 0; --left) {
        sequence.push_back(random() % 20);
      }
      std::sort(sequence.begin(), sequence.end());
    }
    MergeOrder order(count);
    std::vector<size_t> next(count);
    for (size_t i = 0; i < count; ++i) {
      if (!sequences[i].empty()) {
        order.First(i, sequences[i][0]);
      }
    }
    std::pair<uint64_t, size_t> last = {0, 0};
    size_t taken = 0;
    for (order.Begin(); order.HasNext(); ++taken) {
      const size_t winner = order.Winner();
      const std::pair<uint64_t, size_t> now = {sequences[winner][next[winner]], winner};
      ASSERT_LE(last, now);
      last = now;
      if (++next[winner] < sequences[winner].size()) {
        order.Next(sequences[winner][next[winner]]);
      } else {
        order.End();
      }
    }
    size_t all = 0;
    for (const auto& sequence : sequences) {
      all += sequence.size();
    }
    EXPECT_EQ(taken, all);
  }
}

}  // namespace
}  // namespace marrowfin::testing
