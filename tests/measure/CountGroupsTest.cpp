#include "measure/CountGroups.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "measure/CountPackets.h"
#include "measure/CountPairs.h"
#include "measure/GroupDiff.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/Companion.h"
#include "trace/write/Recorder.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

typedef std::map<uint64_t, uint64_t> Values;

// A run with notes of kinds, packets and of what fires consumed.
class CountGroupsTest : public ::testing::Test {
 protected:
  CountGroupsTest() {
    EXPECT_FALSE(recorder.Open(Name()));
    kind = recorder.DeclareName("kind");
    size = recorder.DeclareNumber("size");
    packet = recorder.DeclareNumber("packet");
    consumes = recorder.DeclareRecords("consumes");
  }

  std::string Name() const { return folder.File("run.trace"); }

  Result<std::vector<GroupedTraffic>> Count(const GroupQuestion& question) {
    if (!trace) {
      EXPECT_FALSE(recorder.Close());
      trace = OpenTrace(Name());
      index = OpenIndex(*trace);
      companion.emplace(Companion::Beside(*trace));
      notes.emplace(*trace, *index, *companion->Notes());
    }
    return CountGroups(*trace, *index, &*notes, question);
  }

  TempDir folder;
  Recorder recorder;
  NameNote kind;
  NumberNote size;
  NumberNote packet;
  RecordsNote consumes;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  std::optional<Companion> companion;
  std::optional<NotesOfTrace> notes;
};

TEST_F(CountGroupsTest, TrafficIsToldByThreadAndByKind) {
  const RecordNumber request = recorder.Send(5, 1, {0, 0}, {3, 0});
  recorder.Note(recorder.DeclareValue(kind, "request"));
  const RecordNumber reply = recorder.Send(7, 2, {3, 0}, {0, 1});
  recorder.Note(recorder.DeclareValue(kind, "reply"));
  recorder.Fire(9, 1, {3, 0});
  recorder.Note(recorder.DeclareValue(kind, "compute"));
  recorder.Note(consumes, request);
  recorder.Fire(17, 2, {0, 1});
  recorder.Note(consumes, reply);
  recorder.Transmit(18, 2, {0, 0});
  const Result<std::vector<GroupedTraffic>> counted = Count({{}, {"thread", "kind"}});
  ASSERT_TRUE(counted) << counted.Why().Text();
  ASSERT_EQ(counted->size(), 2U);
  const GroupedTraffic& threads = (*counted)[0];
  EXPECT_EQ(threads.by, "thread");
  ASSERT_EQ(threads.groups.size(), 2U);
  EXPECT_EQ(threads.groups[0].value, 1U);
  EXPECT_EQ(threads.groups[0].fires, 1U);
  EXPECT_EQ(threads.groups[0].sends, 1U);
  EXPECT_EQ(threads.groups[1].transmissions, 1U);
  EXPECT_EQ(threads.groups[0].distances.Counts(), (Values{{3, 1}}));
  EXPECT_EQ(threads.groups[0].sendToFire.Counts(), (Values{{4, 1}}));
  EXPECT_EQ(threads.groups[1].sendToFire.Counts(), (Values{{10, 1}}));
  EXPECT_EQ(threads.without.Events(), 0U);
  EXPECT_EQ(SendToFireOf(threads).Counts(), (Values{{4, 1}, {10, 1}}));
  const GroupedTraffic& kinds = (*counted)[1];
  EXPECT_EQ(kinds.by, "kind");
  ASSERT_EQ(kinds.groups.size(), 3U);
  EXPECT_EQ(kinds.groups[1].name, "reply");
  EXPECT_EQ(kinds.groups[1].sends, 1U);
  EXPECT_EQ(kinds.groups[1].distances.Counts(), (Values{{4, 1}}));
  EXPECT_EQ(kinds.groups[1].sendToFire.Counts(), (Values{{10, 1}})) << "by the kind of the message";
  EXPECT_EQ(kinds.groups[2].name, "compute");
  EXPECT_EQ(kinds.without.Events(), 2U);
}

TEST_F(CountGroupsTest, ALatencyIsOfTheGroupWithWhichThePacketEntered) {
  const NamedValue inject = recorder.DeclareValue(kind, "inject");
  const NamedValue eject = recorder.DeclareValue(kind, "eject");
  for (const uint64_t number : {70U, 71U}) {
    recorder.Fire(4, static_cast<uint32_t>(number) - 69, {0, 0});
    recorder.Note(inject);
    recorder.Note(packet, number);
  }
  for (const uint64_t number : {70U, 71U}) {
    recorder.Fire(number - 60, 9, {1, 0});
    recorder.Note(eject);
    recorder.Note(packet, number);
  }
  GroupQuestion question = {{}, {"kind", "thread"}, true, false};
  const Result<std::vector<GroupedTraffic>> counted = Count(question);
  ASSERT_TRUE(counted);
  EXPECT_EQ((*counted)[0].groups[0].name, "inject");
  EXPECT_EQ((*counted)[0].groups[0].latencies.Counts(), (Values{{6, 1}, {7, 1}}));
  EXPECT_TRUE((*counted)[0].groups[1].latencies.IsEmpty());
  ASSERT_EQ((*counted)[1].groups.size(), 3U);
  EXPECT_EQ((*counted)[1].groups[0].latencies.Counts(), (Values{{6, 1}}));
  EXPECT_EQ((*counted)[1].groups[1].latencies.Counts(), (Values{{7, 1}}));
  question.packets = false;
  EXPECT_TRUE((*Count(question))[0].groups[0].latencies.IsEmpty());
}

TEST_F(CountGroupsTest, TheSlowestMessageToItsFireIsKnown) {
  const RecordNumber early = recorder.Send(5, 1, {0, 0}, {3, 0});
  const RecordNumber late = recorder.Send(7, 2, {3, 0}, {0, 1});
  recorder.Fire(9, 1, {3, 0});
  recorder.Note(consumes, early);
  recorder.Fire(17, 2, {0, 1});
  recorder.Note(consumes, late);
  const RecordNumber third = recorder.Send(18, 3, {3, 0}, {0, 1});
  recorder.Fire(28, 3, {0, 1});
  recorder.Note(consumes, third);
  const Result<std::vector<GroupedTraffic>> groups = Count({{}, {"thread"}});
  ASSERT_TRUE(groups);
  const Result<std::optional<PairCounts>> pairs = CountPairs(*trace, *index, &*notes, {});
  ASSERT_TRUE(pairs && *pairs);
  EXPECT_EQ((*pairs)->cycles.Counts(), SendToFireOf((*groups)[0]).Counts());
  ASSERT_TRUE((*pairs)->slowest);
  EXPECT_EQ((*pairs)->slowest->message.record, 1U) << "of equally slow ones the first";
  EXPECT_EQ((*pairs)->slowest->message.cycle, 7U);
  EXPECT_EQ((*pairs)->slowest->message.thread, 2U);
  EXPECT_EQ((*pairs)->slowest->message.at, (Place{3, 0}));
  EXPECT_EQ((*pairs)->slowest->message.to, (Place{0, 1}));
  EXPECT_EQ((*pairs)->slowest->consumed, 17U);
  NotedFilter filter;
  filter.events.thread = 1;
  EXPECT_EQ((*CountPairs(*trace, *index, &*notes, filter))->cycles.Counts(), (Values{{4, 1}}));
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(CountPairs(*trace, *index, &*notes, {}, stop).Why().kind, Fault::CANCELLED);
  const Result<std::optional<PairCounts>> untold = CountPairs(*trace, *index, nullptr, {});
  ASSERT_TRUE(untold);
  EXPECT_FALSE(*untold) << "nothing tells what fires consumed";
}

TEST_F(CountGroupsTest, ConditionsOnNotesChooseMessagesBySendsAndPacketsByEntries) {
  const NamedValue load = recorder.DeclareValue(kind, "load");
  const NamedValue store = recorder.DeclareValue(kind, "store");
  const NamedValue work = recorder.DeclareValue(kind, "work");
  const RecordNumber first = recorder.Send(5, 1, {0, 0}, {3, 0});
  recorder.Note(load);
  recorder.Note(packet, 70);
  const RecordNumber second = recorder.Send(6, 1, {0, 0}, {0, 1});
  recorder.Note(store);
  recorder.Note(packet, 71);
  recorder.Fire(9, 1, {3, 0});
  recorder.Note(work);
  recorder.Note(consumes, first);
  recorder.Fire(17, 1, {0, 1});
  recorder.Note(work);
  recorder.Note(consumes, second);
  GroupQuestion question = {{}, {"kind"}, true, false};
  ASSERT_TRUE(Count(question));
  const auto where = [&](const std::string& text) {
    const Result<NoteCondition> condition =
        ParseNoteCondition(text, notes->Declarations(), "notes");
    EXPECT_TRUE(condition) << condition.Why().Text();
    return std::vector<NoteCondition>{*condition};
  };
  question.conditions = where("kind=load");
  const Result<std::vector<GroupedTraffic>> loads = Count(question);
  ASSERT_TRUE(loads) << loads.Why().Text();
  ASSERT_EQ((*loads)[0].groups.size(), 1U) << "no group of what is left out";
  EXPECT_EQ((*loads)[0].groups[0].name, "load");
  EXPECT_EQ((*loads)[0].groups[0].sends, 1U);
  EXPECT_EQ((*loads)[0].groups[0].sendToFire.Counts(), (Values{{4, 1}})) << "whatever its fire is";
  EXPECT_EQ((*loads)[0].groups[0].latencies.Counts(), (Values{{4, 1}}));
  const Result<std::optional<PairCounts>> pairs =
      CountPairs(*trace, *index, &*notes, {{}, where("kind=store")});
  ASSERT_TRUE(pairs && *pairs);
  EXPECT_EQ((*pairs)->cycles.Counts(), (Values{{11, 1}}));
  const auto packets = [&](const std::string& text) {
    const Result<PacketCounts> counts =
        CountPackets(*trace, *index, &*notes, {{{}, where(text)}, PacketCounts::Windows(5, 17)});
    EXPECT_TRUE(counts) << counts.Why().Text();
    return *counts;
  };
  EXPECT_EQ(packets("kind=store").Latencies().Counts(), (Values{{11, 1}}));
  EXPECT_EQ(packets("kind=store").UnderWay(), 0U);
  EXPECT_EQ(packets("kind=store").Windows()[1].injected, 1U);
  EXPECT_EQ(packets("kind=store").SlowestOnes().size(), 1U);
  EXPECT_EQ(packets("kind=work").Delivered(), 0U) << "no packet enters with one";
  NoteCondition none = where("kind=load")[0];
  none.attribute = 99;
  question.conditions = {none};
  EXPECT_EQ(Count(question).Why().kind, Fault::OUT_OF_RANGE);
}

TEST_F(CountGroupsTest, OnlyNamesMakeGroups) {
  recorder.Fire(1, 0, {0, 0});
  recorder.Note(size, 5);
  const Result<std::vector<GroupedTraffic>> counted = Count({{}, {"size"}});
  ASSERT_FALSE(counted);
  EXPECT_EQ(counted.Why().kind, Fault::OUT_OF_RANGE);
  EXPECT_THAT(counted.Why().remedy, HasSubstr("one of these: thread, kind"));
  EXPECT_THAT(GroupingsOf(&*notes), ElementsAre("thread", "kind"));
  EXPECT_THAT(GroupingsOf(nullptr), ElementsAre("thread"));
  EXPECT_FALSE(CountGroups(*trace, *index, nullptr, {{}, {"kind"}}));
}

TEST_F(CountGroupsTest, OfManyNamesThreeMakeGroupsBesideTheThread) {
  for (const char* name : {"layer", "phase", "unit"}) {
    static_cast<void>(recorder.DeclareName(name));
  }
  recorder.Fire(1, 0, {0, 0});
  recorder.Note(size, 5);
  ASSERT_TRUE(Count({{}, {"unit"}}));
  EXPECT_THAT(GroupingsOf(&*notes), ElementsAre("thread", "kind", "layer", "phase"));
}

TEST_F(CountGroupsTest, OfManyGroupsTheFirstAreToldApart) {
  std::vector<Event> events;
  for (uint32_t thread = 0; thread < 300; ++thread) {
    events.push_back({FIRE_RECORD, thread, 1000 - thread, {0, 0}, {}});
  }
  const Opened opened(Encode(events));
  const Result<std::vector<GroupedTraffic>> counted =
      CountGroups(*opened.trace, *opened.index, nullptr, {{}, {"thread"}});
  ASSERT_TRUE(counted);
  const GroupedTraffic& threads = (*counted)[0];
  ASSERT_EQ(threads.groups.size(), GroupedTraffic::MOST_GROUPS);
  EXPECT_EQ(threads.groups.back().value, 1000U);
  EXPECT_EQ(threads.groups.front().value, 1001 - GroupedTraffic::MOST_GROUPS);
  EXPECT_EQ(threads.others.fires, 300 - GroupedTraffic::MOST_GROUPS);
}

GroupTraffic GroupOf(uint64_t value, const std::string& name, uint64_t fires) {
  GroupTraffic group;
  group.value = value;
  group.name = name;
  group.fires = fires;
  return group;
}

TEST(GroupDiffTest, GroupsOfTheSameNameAreHeldAgainstEachOtherWhateverTheirValues) {
  GroupedTraffic a = {"kind", {GroupOf(0, "load", 7), GroupOf(1, "store", 2)}, {}, {}};
  GroupedTraffic b = {"kind", {GroupOf(0, "store", 5), GroupOf(1, "add", 1)}, {}, {}};
  a.groups[0].latencies.Add(9);
  a.without.sends = 1;
  const std::vector<GroupedChanges> changes = GroupChangesOf({a}, {b, {"class", {}, {}, {}}});
  ASSERT_EQ(changes.size(), 1U) << "groupings that one run lacks are left out";
  EXPECT_EQ(changes[0].by, "kind");
  ASSERT_EQ(changes[0].groups.size(), 4U);
  const auto told = [&](size_t i) {
    const GroupChange& group = changes[0].groups[i];
    EXPECT_EQ(group.changes[0].name, "fires");
    return std::tuple(group.name, *group.changes[0].a, *group.changes[0].b, group.EventsMoved());
  };
  EXPECT_EQ(told(0), (std::tuple("load", 7.0, 0.0, 7.0)));
  EXPECT_EQ(told(1), (std::tuple("store", 2.0, 5.0, 3.0)));
  EXPECT_EQ(told(2), (std::tuple("add", 0.0, 1.0, 1.0)));
  EXPECT_EQ(told(3), (std::tuple("none", 0.0, 0.0, 1.0)));
  EXPECT_FALSE(changes[0].groups[3].value);
  const std::vector<Change>& ofLoad = changes[0].groups[0].changes;
  const auto latency = std::find_if(ofLoad.begin(), ofLoad.end(), [](const Change& change) {
    return change.name == "latencyMean";
  });
  ASSERT_NE(latency, ofLoad.end());
  EXPECT_EQ(latency->a, 9.0);
  EXPECT_FALSE(latency->b) << "none arrived";
}

TEST(GroupDiffTest, GroupsWithoutNamesAreTheSameWhereTheirValuesAre) {
  const GroupedTraffic a = {"thread", {GroupOf(3, "", 7)}, {}, {}};
  const GroupedTraffic b = {"thread", {GroupOf(2, "", 7), GroupOf(3, "", 7)}, {}, {}};
  const std::vector<GroupedChanges> changes = GroupChangesOf({a}, {b});
  ASSERT_EQ(changes[0].groups.size(), 2U);
  EXPECT_EQ(changes[0].groups[0].value, 3U);
  EXPECT_EQ(changes[0].groups[0].EventsMoved(), 0.0);
  EXPECT_EQ(changes[0].groups[1].value, 2U);
}

TEST(GroupDiffTest, GroupsThatShareANameAreHeldAgainstEachOtherInTheirOrder) {
  const GroupedTraffic a = {
      "thread", {GroupOf(0, "worker", 7), GroupOf(1, "worker", 3), GroupOf(2, "host", 1)}, {}, {}};
  const std::vector<GroupedChanges> changes = GroupChangesOf({a}, {a});
  ASSERT_EQ(changes[0].groups.size(), 3U);
  for (const GroupChange& group : changes[0].groups) {
    EXPECT_EQ(group.EventsMoved(), 0.0) << group.name;
  }
  EXPECT_EQ(changes[0].groups[1].changes[0].b, 3.0);
}

TEST(GroupDiffTest, AGroupThatMayBeAmongThoseNotToldApartIsNoneThatHadNoEvents) {
  const GroupedTraffic a = {"thread", {GroupOf(3, "", 7)}, {}, {}};
  const GroupedTraffic b = {"thread", {GroupOf(2, "", 7)}, GroupOf(0, "", 1), {}};
  const std::vector<GroupedChanges> changes = GroupChangesOf({a}, {b});
  ASSERT_EQ(changes[0].groups.size(), 1U);
  EXPECT_EQ(changes[0].groups[0].value, 2U);
  EXPECT_TRUE(GroupChangesOf({b}, {a})[0].groups[0].value == 2U);
}

TEST_F(CountGroupsTest, AFilterAndACallbackAreHeeded) {
  for (uint64_t cycle = 0; cycle < 40000; ++cycle) {
    recorder.Fire(cycle, 0, {0, 0});
  }
  GroupQuestion question = {{}, {"thread"}};
  question.filter.firstCycle = 39000;
  EXPECT_EQ((*Count(question))[0].groups[0].fires, 1000U);
  question.filter.firstCycle = 0;
  const Result<std::vector<GroupedTraffic>> counted =
      CountGroups(*trace, *index, nullptr, question, [](const Progress&) { return false; });
  EXPECT_EQ(counted.Why().kind, Fault::CANCELLED);
}

}  // namespace
}  // namespace marrowfin::testing
