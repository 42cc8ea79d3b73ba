#include "measure/FindCauses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "measure/RunBounds.h"
#include "tests/measure/CausesFixture.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr Place A = {0, 0};
constexpr Place B = {1, 0};
constexpr Place C = {2, 3};

Event Fire(uint64_t cycle, uint32_t thread, Place at) {
  return {FIRE_RECORD, cycle, thread, at, {}};
}
Event Send(uint64_t cycle, uint32_t thread, Place from, Place to) {
  return {SEND_RECORD, cycle, thread, from, to};
}

// Causes that are inferred from a trace without notes.
class InferCausesTest : public ::testing::Test {
 protected:
  std::vector<Numbers> CausesOf(const std::vector<Event>& events,
                                const CauseQuestion& question = Flat(4)) {
    opened = std::make_unique<Opened>(Encode(events));
    Result<Causes> result = FindCauses(*opened->trace, *opened->index, nullptr, question);
    EXPECT_TRUE(IsFine(result.Why()));
    if (!result) {
      return {};
    }
    found.emplace(std::move(result).Take());
    EXPECT_EQ(found->counts.told + found->counts.byPacket, 0U);
    return AllOf(*found);
  }

  std::unique_ptr<Opened> opened;
  std::optional<Causes> found;
};

TEST_F(InferCausesTest, AFireUsesAllMessagesOfItsThreadThatWereSentBeforeItsCycle) {
  EXPECT_THAT(CausesOf({Fire(1, 5, A), Send(2, 5, A, B), Send(3, 5, C, B), Send(3, 6, A, B),
                        Send(7, 5, A, B), Fire(7, 5, B), Fire(8, 5, B)}),
              ElementsAre(IsEmpty(), ElementsAre(0), IsEmpty(), IsEmpty(), ElementsAre(0),
                          ElementsAre(1, 2), ElementsAre(4)));
  EXPECT_EQ(found->counts.inferred, 5U);
  EXPECT_EQ(found->counts.unused, 1U) << "that of thread 6";
  EXPECT_FALSE(found->counts.AreCertain());
  EXPECT_THAT(found->last, Optional(6U));
}

TEST_F(InferCausesTest, AFireWithoutMessagesFollowsTheLastFireOfItsThreadThere) {
  EXPECT_THAT(CausesOf({Fire(1, 5, A), Fire(2, 5, A), Fire(3, 6, A), Fire(4, 5, B)}),
              ElementsAre(IsEmpty(), ElementsAre(0), IsEmpty(), IsEmpty()));
}

TEST_F(InferCausesTest, AMessageFromWhereItsThreadNeverFiredPassesOnTheOldestThatWaitsThere) {
  EXPECT_THAT(CausesOf({Fire(1, 5, A), Send(1, 5, A, B), Send(2, 5, A, B), Send(3, 5, B, C),
                        Send(4, 5, B, C), Send(5, 5, B, C), Fire(9, 5, C)}),
              ElementsAre(IsEmpty(), ElementsAre(0), ElementsAre(0), ElementsAre(1), ElementsAre(2),
                          IsEmpty(), ElementsAre(3, 4, 5)));
}

TEST_F(InferCausesTest, AMessageToItselfIsNoCauseOfItself) {
  EXPECT_THAT(CausesOf({Send(1, 5, A, A), Send(2, 5, A, A), Fire(3, 5, A)}),
              ElementsAre(IsEmpty(), ElementsAre(0), ElementsAre(1)));
}

TEST_F(InferCausesTest, SwitchesTellNothingWithoutPackets) {
  EXPECT_THAT(CausesOf({Send(1, 5, A, C), {SWITCH_RECORD, 2, 5, {4, 4}, {}}, Fire(3, 5, C)}),
              ElementsAre(IsEmpty(), IsEmpty(), ElementsAre(0)));
}

TEST_F(InferCausesTest, WhereCyclesFallNoEventComesBeforeItsCause) {
  EXPECT_THAT(CausesOf({Fire(5, 1, A), Send(6, 1, A, B), Fire(3, 1, B), Fire(7, 1, B)}),
              ElementsAre(IsEmpty(), ElementsAre(0), IsEmpty(), ElementsAre(1)));
  EXPECT_EQ(found->lastTime, 7U);
  CausesOf({Fire(5, 1, A), Fire(3, 1, A), Fire(2, 2, A)});
  EXPECT_EQ(found->lastTime, 5U);
}

TEST_F(InferCausesTest, TheRunEndsWithItsLastFireOrWithoutAnyItsLastMessage) {
  EXPECT_THAT(CausesOf({}), IsEmpty());
  EXPECT_EQ(found->last, std::nullopt);
  CausesOf({Fire(1, 1, A), Send(2, 1, A, B)});
  EXPECT_THAT(found->last, Optional(0U));
  CausesOf({Send(1, 1, A, B), Send(2, 1, A, B), {SWITCH_RECORD, 2, 5, {4, 4}, {}}});
  EXPECT_THAT(found->last, Optional(1U));
  CausesOf({{SWITCH_RECORD, 2, 5, {4, 4}, {}}});
  EXPECT_EQ(found->last, std::nullopt);
}

TEST_F(InferCausesTest, TheLeastTimeOfALongerWayIsNoLessThanThatOfAShorterOne) {
  CausesOf({Send(0, 1, A, {2, 0}), Fire(9, 1, {2, 0}), Send(10, 2, A, {3, 0}), Fire(14, 2, {3, 0}),
            Send(14, 3, A, {1, 0}), Fire(16, 3, {1, 0})});
  EXPECT_EQ(found->least.OfWay(1), 2U);
  EXPECT_EQ(found->least.OfWay(2), 4U) << "the one that was longer on its way took no more";
  EXPECT_EQ(found->least.OfWay(3), 4U);
  EXPECT_EQ(found->least.OfWay(4), 0U) << "never seen";
}

TEST_F(InferCausesTest, WhatIsForgottenForWantOfMemoryIsCounted) {
  std::vector<Event> events;
  for (uint64_t i = 0; i < 1000; ++i) {
    events.push_back(Send(i, 1, A, B));
  }
  events.push_back(Fire(2000, 1, B));
  CauseQuestion question = Flat(4);
  question.limits.messages = 100;
  const std::vector<Numbers> causes = CausesOf(events, question);
  EXPECT_EQ(found->counts.unused, found->counts.forgotten);
  EXPECT_EQ(causes.back().size() + found->counts.forgotten, 1000U);
  EXPECT_EQ(causes.back().back(), 999U);
}

TEST_F(InferCausesTest, WhoAsksToStopGetsNoAnswer) {
  const Opened run(Encode(std::vector<Event>(200000, Fire(1, 1, A))));
  const Result<Causes> result =
      FindCauses(*run.trace, *run.index, nullptr, Flat(4), [](const Progress&) { return false; });
  EXPECT_EQ(result.Why().kind, Fault::CANCELLED);
}

TEST_F(InferCausesTest, ABrokenTraceHasCausesUpToTheBreak) {
  std::string bytes = Encode({Fire(1, 1, A), Fire(2, 1, A), Fire(3, 1, A)});
  bytes.resize(bytes.size() - 5);
  const Opened run(bytes);
  const Result<Causes> result = FindCauses(*run.trace, *run.index, nullptr, Flat(4));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->graph.Records(), 2U);
}

// Causes of which the run tells.
class ToldCausesTest : public ::testing::Test {
 protected:
  std::vector<Numbers> CausesOf() {
    run.End();
    Result<Causes> result = run.Find(Flat(4));
    EXPECT_TRUE(IsFine(result.Why()));
    if (!result) {
      return {};
    }
    found.emplace(std::move(result).Take());
    return AllOf(*found);
  }

  RecordedRun run;
  std::optional<Causes> found;
};

TEST_F(ToldCausesTest, WhatTheRunTellsIsBelievedAgainstAnyGuess) {
  run.recorder.Fire(1, 0, A);
  const RecordNumber other = run.recorder.Fire(1, 1, B);
  const RecordNumber send = run.recorder.Send(2, 0, A, C);
  run.recorder.Note(run.producedBy, other);
  run.recorder.Send(2, 0, A, C);
  run.recorder.Fire(9, 0, C);
  run.recorder.Note(run.consumes, send);
  run.recorder.Note(run.producedBy, other);
  run.recorder.Note(run.producedBy, other);
  run.recorder.Fire(10, 0, C);
  EXPECT_THAT(CausesOf(), ElementsAre(IsEmpty(), IsEmpty(), ElementsAre(1), IsEmpty(),
                                      ElementsAre(1, 2), IsEmpty()));
  EXPECT_TRUE(found->counts.AreCertain());
  EXPECT_EQ(found->counts.told, 3U);
  EXPECT_EQ(found->counts.unused, 1U);
}

TEST_F(ToldCausesTest, KindsOfWorkAreToldApartInTheOrderInWhichTheyComeAndTheLastOnesShareANumber) {
  const NameNote kind = run.recorder.DeclareName(KIND_ATTRIBUTE);
  std::vector<NamedValue> kinds;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h", "i"}) {
    kinds.push_back(run.recorder.DeclareValue(kind, name));
  }
  auto fire = [&, cycle = uint64_t{0}](size_t which) mutable {
    run.recorder.Fire(++cycle, 0, A);
    run.recorder.Note(kinds[which]);
  };
  run.recorder.Fire(0, 0, A);
  for (const size_t which : {2, 0, 2, 0, 8, 1, 3, 4, 5, 6, 7, 8, 2}) {
    fire(which);
  }
  CausesOf();
  ASSERT_TRUE(found);
  std::vector<uint32_t> works;
  CausalGraph::Reader reader(found->graph);
  for (uint64_t record = 0; record < found->graph.Records(); ++record) {
    works.push_back(reader.Read(record).work);
  }
  EXPECT_THAT(works, ElementsAre(0, 1, 2, 1, 2, 3, 4, 5, 6, 7, 7, 7, 3, 1));
}

TEST_F(ToldCausesTest, ConsumedRecordsThatAreNoMessagesAreCountedAndNotBelieved) {
  const RecordNumber fire = run.recorder.Fire(1, 0, A);
  const RecordNumber send = run.recorder.Send(1, 0, A, B);
  const RecordNumber passed = run.recorder.Transmit(2, 0, A);
  run.recorder.Fire(3, 0, B);
  run.recorder.Note(run.consumes, fire);
  run.recorder.Note(run.consumes, passed);
  run.recorder.Note(run.consumes, send);
  run.recorder.Note(run.producedBy, send);
  EXPECT_THAT(CausesOf(), ElementsAre(IsEmpty(), IsEmpty(), IsEmpty(), ElementsAre(1)));
  EXPECT_EQ(found->counts.contradicting, 3U);
}

TEST_F(ToldCausesTest, AMessageMayBeConsumedMoreThanOnce) {
  const RecordNumber send = run.recorder.Send(1, 0, A, B);
  for (uint64_t cycle = 2; cycle < 4; ++cycle) {
    run.recorder.Fire(cycle, 0, B);
    run.recorder.Note(run.consumes, send);
  }
  EXPECT_THAT(CausesOf(), ElementsAre(IsEmpty(), ElementsAre(0), ElementsAre(0)));
  EXPECT_EQ(found->counts.unused, 0U);
}

// A run that was killed leaves notes that end within a block or behind one.
TEST_F(ToldCausesTest, BehindTheEndOfTheNotesCausesAreInferredWhereverTheyBreakOff) {
  const RecordNumber send = run.recorder.Send(1, 0, A, B);
  run.recorder.Send(2, 0, A, B);
  run.recorder.Fire(3, 0, B);
  run.recorder.Note(run.consumes, send);
  run.recorder.Fire(4, 0, C);
  ASSERT_FALSE(run.recorder.Flush());
  const std::string notes = run.name + ".notes";
  const size_t whole = ReadFile(notes).size();
  run.recorder.Fire(5, 0, B);
  run.recorder.Note(run.consumes, RecordNumber{});
  ASSERT_FALSE(run.recorder.Close());
  const std::string all = ReadFile(notes);
  for (const size_t more : {20, 0}) {
    WriteFile(notes, all.substr(0, whole + more));
    run.notes.reset();
    run.Open(run.name);
    Result<Causes> result = run.Find(Flat(4));
    ASSERT_TRUE(result) << result.Why().Text();
    EXPECT_THAT(AllOf(*result),
                ElementsAre(IsEmpty(), IsEmpty(), ElementsAre(0), IsEmpty(), ElementsAre(1)))
        << "the first message was used; " << more << " bytes of another block";
    EXPECT_EQ(result->counts.told, 1U);
    EXPECT_EQ(result->counts.inferred, 1U);
  }
}

TEST_F(ToldCausesTest, NotesThatNameLaterRecordsAreNotBelieved) {
  run.recorder.Send(1, 0, A, B);
  run.recorder.Fire(2, 0, B);
  run.End();
  // A block whose value stands for the record itself: what no writer writes.
  const std::string notes = run.name + ".notes";
  std::string bytes = ReadFile(notes);
  for (char& byte : bytes) {
    byte = static_cast<char>(byte ^ 1);
  }
  WriteFile(notes, bytes);
  run.notes.reset();
  run.Open(run.name);
  EXPECT_NE(run.companion->WhyNoNotes().kind, Fault::NONE);
  Result<Causes> result = run.Find(Flat(4));
  ASSERT_TRUE(result);
  EXPECT_THAT(AllOf(*result), ElementsAre(IsEmpty(), ElementsAre(0)));
  EXPECT_EQ(result->counts.inferred, 1U);
}

// Causes that follow from packets: nobody tells who produced or consumed what.
class PacketCausesTest : public ::testing::Test {
 protected:
  PacketCausesTest() {
    EXPECT_FALSE(run.recorder.Close());
    EXPECT_FALSE(recorder.Open(run.name));
    packet = recorder.DeclareNumber(PACKET_ATTRIBUTE);
  }

  void Fire(uint64_t cycle, Place at, std::optional<uint64_t> of = {}) {
    recorder.Fire(cycle, 0, at);
    Tell(of);
  }
  void Send(uint64_t cycle, Place from, Place to, std::optional<uint64_t> of = {}) {
    recorder.Send(cycle, 0, from, to);
    Tell(of);
  }
  void Transmit(uint64_t cycle, uint64_t of) {
    recorder.Transmit(cycle, 0, A);
    Tell(of);
  }
  void Tell(std::optional<uint64_t> of) {
    if (of) {
      recorder.Note(packet, *of);
    }
  }

  std::vector<Numbers> CausesOf() {
    EXPECT_FALSE(recorder.Close());
    run.Open(run.name);
    Result<Causes> result = run.Find(Flat(4));
    EXPECT_TRUE(IsFine(result.Why()));
    if (!result) {
      return {};
    }
    found.emplace(std::move(result).Take());
    return AllOf(*found);
  }

  RecordedRun run;
  Recorder recorder;
  NumberNote packet;
  std::optional<Causes> found;
};

TEST_F(PacketCausesTest, FlitsOfAPacketPassOnOneAfterAnother) {
  Fire(1, A, 7);
  Send(2, A, B, 7);
  Send(3, A, B, 7);
  Send(3, A, B, 8);
  Send(4, B, C, 7);
  Send(5, B, C, 7);
  Fire(9, C, 7);
  EXPECT_THAT(CausesOf(), ElementsAre(IsEmpty(), ElementsAre(0), ElementsAre(0), IsEmpty(),
                                      ElementsAre(1), ElementsAre(2), ElementsAre(4, 5)));
  EXPECT_TRUE(found->counts.AreCertain());
  EXPECT_EQ(found->counts.byPacket, 6U);
  EXPECT_EQ(found->counts.unused, 1U);
}

TEST_F(PacketCausesTest, TransmissionsOfAPacketLieBetweenItsMessageAndTheFireThatUsesIt) {
  Send(1, A, C, 7);
  Transmit(2, 7);
  Transmit(3, 9);
  Transmit(4, 7);
  Fire(7, C, 7);
  EXPECT_THAT(CausesOf(),
              ElementsAre(IsEmpty(), ElementsAre(0), IsEmpty(), ElementsAre(1), ElementsAre(3)));
}

TEST_F(PacketCausesTest, TheTimeFromTheLastSwitchToTheFireIsTakenAsWell) {
  // From switch to switch it takes ten cycles, from the last one to its fire only one.
  Send(1, A, C, 7);
  Transmit(2, 7);
  Transmit(12, 7);
  Fire(13, C, 7);
  CausesOf();
  const Result<RunBounds> bounds = FindBounds(*found);
  ASSERT_TRUE(bounds);
  EXPECT_LE(bounds->noWaits, bounds->end);
  EXPECT_EQ(bounds->noWaits, 4U) << "no switch ever needed more than a cycle";
}

TEST_F(PacketCausesTest, EventsWithoutAPacketAreInferred) {
  Send(1, A, C);
  Fire(5, C);
  Fire(6, C, 3);
  EXPECT_THAT(CausesOf(), ElementsAre(IsEmpty(), ElementsAre(0), IsEmpty()));
  EXPECT_EQ(found->counts.inferred, 1U);
}

}  // namespace
}  // namespace marrowfin::testing
