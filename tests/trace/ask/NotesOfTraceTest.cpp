// Notes joined to the records of a trace: equal to what was recorded, and believed of no others.

#include "trace/ask/NotesOfTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/trace/support/NotedTrace.h"
#include "trace/ask/BatchCursor.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

NotedEvents Noted(std::mt19937& random, size_t records, bool falling = false) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 1, 4};
  options.falling = falling;
  return RandomNotes(random, RandomEvents(random, options));
}

// The values of an attribute, record by record, as a cursor meets them; `known` tells of how many
// records anything is known.
std::vector<std::vector<uint64_t>> AllValues(const Opened& opened, NotesOfTrace& notes,
                                             uint32_t attribute, const EventFilter& filter,
                                             size_t* known = nullptr) {
  std::vector<std::vector<uint64_t>> all;
  BatchCursor cursor(*opened.trace, *opened.index, filter);
  Selection found;
  while (cursor.Next(found)) {
    const Result<const NoteValues*> values = notes.Of(found, attribute);
    EXPECT_TRUE(values) << values.Why().Text();
    EXPECT_EQ(found.Size(), (*values)->Size());
    for (size_t i = 0; i < found.Size(); ++i) {
      all.emplace_back((*values)->All(i).begin(), (*values)->All(i).end());
      if (known != nullptr) {
        *known += (*values)->IsKnown(i) ? 1 : 0;
      }
    }
  }
  EXPECT_TRUE(IsFine(cursor.GetFault()));
  return all;
}

// The bytes of a notes file without its block number `block` of notes, and without the table.
std::string WithoutBlock(const NotesFile& notes, const std::string& bytes, size_t block) {
  const auto entries = notes.Blocks();
  const auto from = static_cast<size_t>(entries[block].offset);
  const auto to = static_cast<size_t>(entries[block + 1].offset);
  return bytes.substr(0, from) + bytes.substr(to, bytes.size() - to - 1);
}

TEST(NotesOfTraceTest, JoinedColumnsEqualWhatWasRecorded) {
  std::mt19937 random(1);
  for (const size_t blockRecords : {10, 300, 100000}) {
    const NotedEvents noted = Noted(random, 6000, blockRecords == 300);
    const OpenedNotes opened(noted, NotesBytes(noted, random, blockRecords));
    NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
    for (int round = 0; round < 5; ++round) {
      const EventFilter filter = round == 0 ? EventFilter() : RandomFilter(random, noted.events, 8);
      const std::vector<uint64_t> records = Expected(noted.events, filter);
      for (uint32_t attribute = 0; attribute < NOTE_ATTRIBUTES; ++attribute) {
        std::vector<std::vector<uint64_t>> expected;
        for (const uint64_t record : records) {
          expected.push_back(noted.values[attribute][record]);
        }
        ASSERT_TRUE(expected == AllValues(opened.opened, notes, attribute, filter))
            << "attribute " << attribute << " round " << round;
      }
    }
    EXPECT_TRUE(IsFine(notes.Refused()));
  }
}

TEST(NotesOfTraceTest, NotesOfTheRecorderInPlainCAreJoined) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  marrowfin_trace recorder;
  marrowfin_trace_open(&recorder, name.c_str());
  marrowfin_trace_companion(&recorder);
  const int packet = marrowfin_trace_attribute(&recorder, "packet", MARROWFIN_TRACE_NUMBER, "");
  const int created = marrowfin_trace_attribute(&recorder, "created", MARROWFIN_TRACE_CYCLE, "");
  constexpr uint64_t RECORDS = 70000;  // more than a block
  for (uint64_t i = 0; i < RECORDS; ++i) {
    marrowfin_trace_fire(&recorder, i / 2, 0, 1, 2);
    marrowfin_trace_note(&recorder, packet, i * 7);
    if (i % 3 == 0) {
      marrowfin_trace_note(&recorder, created, i / 4);
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&recorder));
  Opened opened(ReadFile(name));
  const std::unique_ptr<NotesFile> file = OpenNotes(ReadFile(name + ".notes"));
  NotesOfTrace notes(*opened.trace, *opened.index, *file);
  const auto packets = AllValues(opened, notes, 0, EventFilter());
  const auto creations = AllValues(opened, notes, 1, EventFilter());
  ASSERT_EQ(RECORDS, packets.size());
  for (uint64_t i = 0; i < RECORDS; ++i) {
    ASSERT_EQ(std::vector<uint64_t>{i * 7}, packets[i]);
    ASSERT_EQ(i % 3 == 0 ? std::vector<uint64_t>{i / 4} : std::vector<uint64_t>(), creations[i]);
  }
  EXPECT_TRUE(IsFine(notes.Refused()));
}

TEST(NotesOfTraceTest, OnlyFewOfManySmallBlocksAreKept) {
  std::mt19937 random(9);
  const NotedEvents noted = Noted(random, 3000);
  const OpenedNotes opened(noted, NotesBytes(noted, random, 1));
  ASSERT_GT(opened.notes->Blocks().size(), 10 * NotesOfTrace::MOST_KEPT);
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  AllValues(opened.opened, notes, SIZE, EventFilter());
  EXPECT_EQ(NotesOfTrace::MOST_KEPT, notes.Kept());
  // The one used last is the first of them: asked again it is the same, unpacked once.
  const size_t last = notes.Blocks() - 1;
  const Result<const NotesBlock*> block = notes.Block(last);
  ASSERT_TRUE(block && notes.Block(last - 1));
  EXPECT_EQ(*block, *notes.Block(last));
  EXPECT_EQ(NotesOfTrace::MOST_KEPT, notes.Kept());
}

TEST(NotesOfTraceTest, RecordsBetweenBlocksHaveNoNotes) {
  std::mt19937 random(2);
  const NotedEvents noted = Noted(random, 3000);
  const std::string bytes = NotesBytes(noted, random, 200);
  const std::unique_ptr<NotesFile> whole = OpenNotes(bytes);
  const OpenedNotes opened(noted, WithoutBlock(*whole, bytes, 3));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  size_t known = 0;
  const auto sizes = AllValues(opened.opened, notes, SIZE, EventFilter(), &known);
  const NotesEntry& gone = whole->Blocks()[3];
  for (size_t record = 0; record < sizes.size(); ++record) {
    EXPECT_EQ(record >= gone.low && record < gone.high, sizes[record].empty()) << record;
  }
  EXPECT_EQ(sizes.size(), known);
  EXPECT_TRUE(IsFine(notes.Refused()));
}

TEST(NotesOfTraceTest, NotesOfAnotherTraceAreNeverBelieved) {
  std::mt19937 random(3);
  const NotedEvents noted = Noted(random, 3000);
  const std::string bytes = NotesBytes(noted, random, 200);
  NotedEvents other = noted;
  ++other.events[1234].thread;
  const OpenedNotes opened(other, bytes);
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const auto sizes = AllValues(opened.opened, notes, SIZE, EventFilter());
  for (size_t record = 0; record < sizes.size(); ++record) {
    EXPECT_TRUE(sizes[record].empty() || record < 1234);
  }
  EXPECT_EQ(Fault::OTHER_TRACE, notes.Refused().kind);
  EXPECT_THAT(notes.Refused().Text(), HasSubstr("t.notes: notes of another trace (block at byte"));
  // Now that it is known nothing is believed, not even what came before.
  size_t known = 0;
  for (const auto& values : AllValues(opened.opened, notes, SIZE, EventFilter(), &known)) {
    EXPECT_TRUE(values.empty());
  }
  EXPECT_EQ(0U, known);
}

TEST(NotesOfTraceTest, NotesOfRecordsThatTheTraceDoesNotHaveAreThoseOfAnother) {
  std::mt19937 random(4);
  const NotedEvents noted = Noted(random, 3000);
  NotedEvents shorter = noted;
  shorter.events.resize(2999);
  const OpenedNotes opened(shorter, NotesBytes(noted, random, 200));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  AllValues(opened.opened, notes, SIZE, EventFilter());
  EXPECT_EQ(Fault::OTHER_TRACE, notes.Refused().kind);
  EXPECT_THAT(notes.Refused().Text(), HasSubstr("records that the trace does not have"));
}

TEST(NotesOfTraceTest, DamagedBlockIsLeftOutAndTold) {
  std::mt19937 random(5);
  const NotedEvents noted = Noted(random, 3000);
  std::string bytes = NotesBytes(noted, random, 200);
  const std::unique_ptr<NotesFile> whole = OpenNotes(bytes);
  const NotesEntry damaged = whole->Blocks()[4];
  bytes[damaged.offset + NOTES_BLOCK_HEAD + 9] ^= 1;
  const OpenedNotes opened(noted, bytes);
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  size_t known = 0;
  const auto sizes = AllValues(opened.opened, notes, SIZE, EventFilter(), &known);
  for (size_t record = 0; record < sizes.size(); ++record) {
    EXPECT_EQ(record >= damaged.low && record < damaged.high, sizes[record].empty()) << record;
  }
  EXPECT_EQ(sizes.size() - (damaged.high - damaged.low), known);
  EXPECT_EQ(Fault::DAMAGED_NOTES, notes.Refused().kind);
  EXPECT_THAT(notes.Refused().Text(), HasSubstr("byte " + std::to_string(damaged.offset)));
  EXPECT_EQ("notes in other blocks are believed as before", notes.Refused().remedy);
}

TEST(NotesOfTraceTest, NotesAreFollowedAsTheTraceGrows) {
  std::mt19937 random(6);
  const NotedEvents noted = Noted(random, 4000);
  const std::string traceBytes = Encode(noted.events);
  TempDir folder;
  const std::string name = folder.File("run.trace");
  std::mt19937 blocks(7);
  const std::string bytes = NotesBytes(noted, blocks, 100);
  const std::unique_ptr<NotesFile> whole = OpenNotes(bytes);
  // Notes that are ahead of what was opened of the trace are no notes of another one.
  const size_t half = whole->Blocks().size() / 2;
  NotedEvents begun = noted;
  begun.events.resize(whole->Blocks()[half - 1].high - 1);
  WriteFile(name, traceBytes);
  WriteFile(name + ".notes", bytes.substr(0, whole->Blocks()[half].offset));
  std::unique_ptr<NotesFile> notesFile = Made(NotesFile::Open(name + ".notes"));
  WriteFile(name, Encode(begun.events));
  Opened opened(Encode(begun.events));
  std::unique_ptr<TraceSource> first = OpenTrace(name);
  std::unique_ptr<Index> firstIndex = OpenIndex(*first);
  WriteFile(name, traceBytes);
  NotesOfTrace notes(*first, *firstIndex, *notesFile);
  EXPECT_EQ(half, notes.Blocks());
  for (size_t block = 0; block < notes.Blocks(); ++block) {
    const Result<const NotesBlock*> joined = notes.Block(block);
    ASSERT_TRUE(joined) << joined.Why().Text();
    EXPECT_EQ(block + 1 == half, *joined == nullptr);
  }
  EXPECT_TRUE(IsFine(notes.Refused()));
  WriteFile(name + ".notes", bytes);
  EXPECT_TRUE(IsFine(notesFile->Follow()));
  std::unique_ptr<TraceSource> now = OpenTrace(name);
  std::unique_ptr<Index> nowIndex = OpenIndex(*now);
  notes.Follow(*now, *nowIndex);
  EXPECT_EQ(whole->Blocks().size(), notes.Blocks());
  for (size_t block = 0; block < notes.Blocks(); ++block) {
    const Result<const NotesBlock*> joined = notes.Block(block);
    ASSERT_TRUE(joined) << joined.Why().Text();
    EXPECT_NE(nullptr, *joined);
  }
  EXPECT_TRUE(IsFine(notes.Refused()));
}

}  // namespace
}  // namespace marrowfin::testing
