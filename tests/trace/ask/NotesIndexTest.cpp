// The index of notes: what it passes over changes no answer, and it is only used for what it is of.

#include "trace/ask/NotesIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <filesystem>
#include <fstream>
#include <limits>

#include "tests/trace/support/NotedTrace.h"
#include "trace/ask/CounterOverTime.h"
#include "trace/ask/NotedCounter.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOverTime.h"
#include "trace/base/Zstd.h"
#include "trace/index/IndexFormat.h"
#include "trace/write/NotesWriter.h"

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

std::vector<uint64_t> RecordsOf(NotedCursor& cursor) {
  std::vector<uint64_t> records;
  Selection found;
  while (cursor.Next(found)) {
    for (size_t i = 0; i < found.Size(); ++i) {
      records.push_back(found.Record(i));
    }
  }
  EXPECT_TRUE(IsFine(cursor.GetFault()));
  return records;
}

// A trace and its notes in files, open and joined, with an index of the notes.
struct Indexed {
  explicit Indexed(const NotedEvents& noted, const std::string& notesBytes)
      : opened(Encode(noted.events)) {
    WriteFile(opened.name + ".notes", notesBytes);
    Reopen();
  }

  void Reopen() {
    index.reset();
    notes.reset();
    opened.Reopen();
    file = Made(NotesFile::Open(opened.name + ".notes"));
    notes = std::make_unique<NotesOfTrace>(*opened.trace, *opened.index, *file);
    index = Made(NotesIndex::Open(*opened.trace, *opened.index, *notes, CountBytes()));
  }

  // Tells whether an index is made.
  ProgressCallback CountBytes() {
    made = false;
    progressed = 0;
    return [this](const Progress& progress) {
      EXPECT_EQ(Progress::BYTES, progress.unit);
      made = true;
      ++progressed;
      return true;
    };
  }

  std::vector<uint64_t> Ask(const NotedFilter& filter) {
    NotedCursor cursor(*opened.trace, *opened.index, *notes, filter);
    return RecordsOf(cursor);
  }

  Opened opened;
  std::unique_ptr<NotesFile> file;
  std::unique_ptr<NotesOfTrace> notes;
  std::unique_ptr<NotesIndex> index;
  bool made = false;
  size_t progressed = 0;  // blocks that were taken up
};

TEST(NotesIndexTest, WhatIsPassedOverChangesNoAnswer) {
  std::mt19937 random(1);
  for (const size_t blockRecords : {5, 100, 2000}) {
    const NotedEvents noted = Noted(random, 6000, blockRecords == 100);
    Indexed indexed(noted, NotesBytes(noted, random, blockRecords));
    for (int round = 0; round < 150; ++round) {
      NotedFilter filter;
      if (random() % 3 == 0) {
        filter.events = RandomFilter(random, noted.events, 8);
      }
      for (size_t conditions = 1 + random() % 2; conditions > 0; --conditions) {
        filter.notes.push_back(RandomCondition(random, noted));
      }
      const std::vector<uint64_t> expected = Expected(noted, filter.events, filter.notes);
      NotedCursor cursor(*indexed.opened.trace, *indexed.opened.index, *indexed.notes, filter);
      ASSERT_EQ(expected, RecordsOf(cursor)) << "round " << round;
      std::vector<uint64_t> back;
      Selection found;
      while (cursor.Previous(found)) {
        for (size_t i = found.Size(); i > 0; --i) {
          back.push_back(found.Record(i - 1));
        }
      }
      std::reverse(back.begin(), back.end());
      ASSERT_EQ(expected, back) << "round " << round;
    }
  }
}

TEST(NotesIndexTest, OnePacketIsFoundWithoutReadingTheRest) {
  std::mt19937 random(2);
  const NotedEvents noted = Noted(random, 60000);
  Indexed indexed(noted, NotesBytes(noted, random, 500));
  const NotedFilter filter = {{}, {{PACKET, NoteCondition::EQUAL, 1500, 0}}};
  NotedCursor cursor(*indexed.opened.trace, *indexed.opened.index, *indexed.notes, filter);
  EXPECT_EQ(Expected(noted, {}, filter.notes), RecordsOf(cursor));
  EXPECT_LT(cursor.RecordsRead(), 10000U);
  EXPECT_GT(cursor.RecordsRead(), 0U);
}

TEST(NotesIndexTest, SearchOnlyTellsHowFarItIs) {
  std::mt19937 random(3);
  const NotedEvents noted = Noted(random, 6000);
  Indexed indexed(noted, NotesBytes(noted, random, 100));
  uint64_t last = 0;
  NotedCursor cursor(*indexed.opened.trace, *indexed.opened.index, *indexed.notes,
                     {{}, {{PACKET, NoteCondition::EQUAL, 120, 0}}}, [&](const Progress& progress) {
                       EXPECT_EQ(noted.events.size(), progress.all);
                       EXPECT_GE(progress.done, last);
                       last = progress.done;
                       return true;
                     });
  RecordsOf(cursor);
  EXPECT_EQ(noted.events.size(), last);
}

TEST(NotesIndexTest, RealsThatAreNoNumbersAndBothZerosAreFound) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<std::vector<double>> blocks = {{nan, nan}, {-0.0, -0.0}, {0.0, 1.5}, {-3, -2}};
  NotedEvents noted;
  MemorySink sink;
  NotesWriter writer(sink);
  for (uint32_t attribute = 0; attribute < ENERGY; ++attribute) {
    writer.Attribute(std::string(1, static_cast<char>('a' + attribute)), NoteType::NUMBER);
  }
  writer.Attribute("energy", NoteType::REAL);
  for (const std::vector<double>& block : blocks) {
    for (const double value : block) {
      noted.events.emplace_back();
      noted.values[ENERGY].push_back({std::bit_cast<uint64_t>(value)});
      writer.Record(FIRE_RECORD, 0, 0, {}, {});
      EXPECT_TRUE(writer.Note(ENERGY, value));
    }
    EXPECT_TRUE(IsFine(writer.Flush()));
  }
  EXPECT_TRUE(IsFine(writer.Close()));
  Indexed indexed(noted, {sink.Bytes().begin(), sink.Bytes().end()});
  for (const double value : {nan, 0.0, -0.0, 1.5, -3.0, -2.5}) {
    for (int c = NoteCondition::EQUAL; c <= NoteCondition::AT_LEAST; ++c) {
      const NoteCondition condition = {ENERGY, static_cast<NoteCondition::Comparison>(c),
                                       std::bit_cast<uint64_t>(value), 0};
      EXPECT_EQ(Expected(noted, {}, {condition}), indexed.Ask({{}, {condition}}))
          << value << " comparison " << c;
    }
  }
}

TEST(NotesIndexTest, IndexIsKeptAndMadeAnewOnlyForOthers) {
  std::mt19937 random(4);
  const NotedEvents noted = Noted(random, 3000);
  const std::string bytes = NotesBytes(noted, random, 100);
  Indexed indexed(noted, bytes);
  EXPECT_TRUE(indexed.made);
  EXPECT_TRUE(indexed.index->IsKept());
  EXPECT_TRUE(std::filesystem::exists(indexed.opened.name + ".notes.mfindex"));
  const NoteTables made = indexed.index->Tables();
  indexed.Reopen();
  EXPECT_FALSE(indexed.made);
  EXPECT_EQ(made.blocks, indexed.index->Tables().blocks);
  EXPECT_EQ(made.entries, indexed.index->Tables().entries);
  for (size_t i = 0; i < made.times.size(); ++i) {
    EXPECT_EQ(made.times[i].isTold, indexed.index->Tables().times[i].isTold);
    EXPECT_EQ(made.times[i].values, indexed.index->Tables().times[i].values);
    EXPECT_EQ(made.times[i].table.Encode(), indexed.index->Tables().times[i].table.Encode());
  }
  // Other notes, the same length of time.
  std::mt19937 again(5);
  WriteFile(indexed.opened.name + ".notes", NotesBytes(noted, again, 100));
  indexed.Reopen();
  EXPECT_TRUE(indexed.made);
  // The trace written anew with the same bytes.
  WriteFile(indexed.opened.name, Encode(noted.events));
  indexed.Reopen();
  EXPECT_TRUE(indexed.made);
}

TEST(NotesIndexTest, IndexThatIsCutOrFlippedIsMadeAnewOrToldAndNeverBelieved) {
  std::mt19937 random(6);
  const NotedEvents noted = Noted(random, 300);
  Indexed indexed(noted, NotesBytes(noted, random, 40));
  const std::string name = indexed.opened.name + ".notes.mfindex";
  const std::string bytes = ReadFile(name);
  const NoteTables made = indexed.index->Tables();
  for (size_t size = 0; size < bytes.size(); size += 41) {
    WriteFile(name, bytes.substr(0, size));
    indexed.Reopen();
    ASSERT_TRUE(indexed.made) << "cut at " << size;
  }
  for (size_t at = random() % 13; at < bytes.size(); at += 13) {
    std::string flipped = bytes;
    flipped[at] = static_cast<char>(flipped[at] ^ 1 << random() % 8);
    WriteFile(name, flipped);
    indexed.Reopen();
    ASSERT_EQ(made.blocks, indexed.index->Tables().blocks) << "byte " << at;
  }
}

// The directory of an index, changed, and sealed as a directory should be.
std::string Resealed(const std::string& bytes, std::mt19937& random) {
  IndexSection directory;
  EXPECT_TRUE(DecodeFooter(
      reinterpret_cast<const uint8_t*>(bytes.data() + bytes.size() - INDEX_FOOTER), directory));
  const auto* packed = reinterpret_cast<const uint8_t*>(bytes.data() + directory.offset);
  std::vector<uint8_t> raw;
  EXPECT_TRUE(Unpack({packed, static_cast<size_t>(directory.packedSize)},
                     static_cast<size_t>(directory.rawSize), raw));
  // What stands first tells which trace and notes it is of, and has the times of two files in it.
  const size_t at = 60 + random() % (raw.size() - 60);
  raw[at] = static_cast<uint8_t>(random());
  if (random() % 8 == 0) {
    raw.resize(at);
  }
  const std::vector<uint8_t> again = Pack(raw);
  directory.packedSize = again.size();
  directory.rawSize = raw.size();
  uint8_t footer[INDEX_FOOTER];
  EncodeFooter(directory, footer);
  return bytes.substr(0, static_cast<size_t>(directory.offset)) +
         std::string(again.begin(), again.end()) + std::string(footer, footer + INDEX_FOOTER);
}

TEST(NotesIndexTest, IndexThatSomebodyMadeUpLeadsNoQuestionOutOfBounds) {
  std::mt19937 random(11);
  const NotedEvents noted = Noted(random, 900);
  Indexed indexed(noted, NotesBytes(noted, random, 40, true));
  const std::string bytes = ReadFile(indexed.opened.name + ".notes.mfindex");
  const auto store = IndexFileAt(indexed.opened.folder.File("forged"), 0600);
  int believed = 0;
  for (int round = 0; round < 400; ++round) {
    WriteFile(indexed.opened.folder.File("forged"), Resealed(bytes, random));
    NotesOfTrace notes(*indexed.opened.trace, *indexed.opened.index, *indexed.file);
    bool made = false;
    const Result<std::unique_ptr<NotesIndex>> index = NotesIndex::Open(
        *indexed.opened.trace, *indexed.opened.index, notes, *store, [&](const Progress&) {
          made = true;
          return false;
        });
    if (made || !index) {
      continue;
    }
    ++believed;
    NotedCounter counter(*indexed.opened.trace, *indexed.opened.index, notes,
                         {{}, {RandomCondition(random, noted)}});
    static_cast<void>(counter.Count());
    ActivityQuestion question;
    question.first = random() % 200;
    question.bins = 9;
    for (uint32_t attribute = 0; attribute < NOTE_ATTRIBUTES; ++attribute) {
      static_cast<void>(NotesOverTime(*indexed.opened.trace, *indexed.opened.index, notes, **index,
                                      attribute, question));
    }
    CounterQuestion counters;
    counters.bins = 5;
    static_cast<void>(CounterOverTime(*indexed.file, **index, counters));
    static_cast<void>((*index)->Follow(*indexed.opened.trace, *indexed.opened.index, notes));
  }
  EXPECT_GT(believed, 50);
}

// An index that tells of so many blocks of notes, whatever else it says.
std::string WithBlocks(const std::string& bytes, size_t blocks) {
  IndexSection directory;
  EXPECT_TRUE(DecodeFooter(
      reinterpret_cast<const uint8_t*>(bytes.data() + bytes.size() - INDEX_FOOTER), directory));
  const auto* packed = reinterpret_cast<const uint8_t*>(bytes.data() + directory.offset);
  std::vector<uint8_t> raw;
  EXPECT_TRUE(Unpack({packed, static_cast<size_t>(directory.packedSize)},
                     static_cast<size_t>(directory.rawSize), raw));
  NoteTables tables;
  std::vector<IndexSection> times;
  EXPECT_TRUE(DecodeNoteTables(raw, directory.offset, raw.size(), tables, times));
  tables.blocks.resize(blocks);
  raw = EncodeNoteTables(tables, times);
  const std::vector<uint8_t> again = Pack(raw);
  directory.packedSize = again.size();
  directory.rawSize = raw.size();
  uint8_t footer[INDEX_FOOTER];
  EncodeFooter(directory, footer);
  return bytes.substr(0, static_cast<size_t>(directory.offset)) +
         std::string(again.begin(), again.end()) + std::string(footer, footer + INDEX_FOOTER);
}

TEST(NotesIndexTest, IndexOfMoreOrFewerBlocksThanTheNotesHaveIsMadeAnew) {
  std::mt19937 random(15);
  const NotedEvents noted = Noted(random, 900);
  Indexed indexed(noted, NotesBytes(noted, random, 100, true));
  const std::string name = indexed.opened.name + ".notes.mfindex";
  const std::string bytes = ReadFile(name);
  const size_t sound = indexed.index->Tables().blocks.size();
  for (const size_t blocks : {size_t{0}, sound - 1, sound + 1, indexed.index->Entries()}) {
    WriteFile(name, WithBlocks(bytes, blocks));
    indexed.Reopen();
    EXPECT_TRUE(indexed.made) << blocks << " instead of " << sound;
    EXPECT_EQ(sound, indexed.index->Tables().blocks.size());
  }
  WriteFile(name, WithBlocks(bytes, sound));
  indexed.Reopen();
  EXPECT_FALSE(indexed.made);
}

TEST(NotesIndexTest, NotesOfAnotherTraceHaveNoIndex) {
  std::mt19937 random(7);
  const NotedEvents noted = Noted(random, 3000);
  NotedEvents other = noted;
  ++other.events[2500].cycle;
  const OpenedNotes opened(other, NotesBytes(noted, random, 100));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const auto store = IndexInMemory();
  EXPECT_EQ(Fault::OTHER_TRACE,
            NotesIndex::Open(*opened.opened.trace, *opened.opened.index, notes, *store).Why().kind);
  EXPECT_TRUE(store->Find().empty());
}

TEST(NotesIndexTest, DamagedBlockIsToldAgainEachTime) {
  std::mt19937 random(8);
  const NotedEvents noted = Noted(random, 3000);
  std::string bytes = NotesBytes(noted, random, 100);
  const NotesEntry damaged = OpenNotes(bytes)->Blocks()[3];
  bytes[damaged.offset + NOTES_BLOCK_HEAD + 9] ^= 1;
  Indexed indexed(noted, bytes);
  for (int time = 0; time < 2; ++time) {
    EXPECT_FALSE(indexed.index->IsKept());
    const std::vector<NoteCondition> conditions = {{SIZE, NoteCondition::HAS, 0, 0}};
    std::vector<uint64_t> expected = Expected(noted, {}, conditions);
    std::erase_if(expected,
                  [&](uint64_t record) { return record >= damaged.low && record < damaged.high; });
    EXPECT_EQ(expected, indexed.Ask({{}, conditions}));
    EXPECT_EQ(Fault::DAMAGED_NOTES, indexed.notes->Refused().kind);
    indexed.Reopen();
  }
}

TEST(NotesIndexTest, IndexFollowsNotesThatGrow) {
  std::mt19937 random(9);
  const NotedEvents noted = Noted(random, 5000);
  const std::string bytes = NotesBytes(noted, random, 100);
  const std::unique_ptr<NotesFile> whole = OpenNotes(bytes);
  const size_t half = whole->Blocks().size() / 2;
  NotedEvents begun = noted;
  begun.events.resize(whole->Blocks()[half - 1].high);
  Indexed indexed(begun, bytes.substr(0, whole->Blocks()[half].offset));
  EXPECT_EQ(half, indexed.index->Entries());
  WriteFile(indexed.opened.name, Encode(noted.events));
  WriteFile(indexed.opened.name + ".notes", bytes);
  EXPECT_TRUE(IsFine(indexed.file->Follow()));
  std::unique_ptr<TraceSource> trace = OpenTrace(indexed.opened.name);
  std::unique_ptr<Index> index = OpenIndex(*trace);
  indexed.notes->Follow(*trace, *index);
  EXPECT_TRUE(IsFine(indexed.index->Follow(*trace, *index, *indexed.notes)));
  EXPECT_EQ(whole->Blocks().size(), indexed.index->Entries());
  for (int round = 0; round < 40; ++round) {
    const std::vector<NoteCondition> conditions = {RandomCondition(random, noted)};
    NotedCursor cursor(*trace, *index, *indexed.notes, {{}, conditions});
    ASSERT_EQ(Expected(noted, {}, conditions), RecordsOf(cursor));
  }
  // What was followed is what is made anew.
  const NoteTables followed = indexed.index->Tables();
  indexed.Reopen();
  EXPECT_TRUE(indexed.made);
  EXPECT_EQ(followed.blocks, indexed.index->Tables().blocks);
}

std::vector<uint8_t> SeriesOf(const NotesIndex& index, const CounterKey& key) {
  const Result<CounterSeries> series = index.Series(key);
  EXPECT_TRUE(series) << series.Why().Text();
  return series->Encode();
}

std::vector<Place> SortedPlaces(const NotesIndex& index, uint32_t counter) {
  std::vector<Place> places = index.PlacesOf(counter);
  std::sort(places.begin(), places.end(),
            [](Place a, Place b) { return a.row != b.row ? a.row < b.row : a.column < b.column; });
  return places;
}

// Whether two indexes of the same blocks tell the same of them and of the counter.
void ExpectSame(const NotesIndex& a, const NotesIndex& b) {
  EXPECT_EQ(a.Tables().entries, b.Tables().entries);
  EXPECT_TRUE(a.Tables().blocks == b.Tables().blocks);
  ASSERT_EQ(a.Tables().times.size(), b.Tables().times.size());
  for (size_t i = 0; i < a.Tables().times.size(); ++i) {
    const NoteTimes& one = a.Tables().times[i];
    const NoteTimes& other = b.Tables().times[i];
    EXPECT_EQ(one.isTold, other.isTold) << "attribute " << i;
    EXPECT_EQ(one.values, other.values) << "attribute " << i;
    EXPECT_TRUE(one.table.Encode() == other.table.Encode()) << "attribute " << i;
  }
  ASSERT_EQ(SortedPlaces(a, 0), SortedPlaces(b, 0));
  EXPECT_TRUE(SeriesOf(a, {0, true, {}}) == SeriesOf(b, {0, true, {}}));
  for (const Place& place : SortedPlaces(a, 0)) {
    EXPECT_TRUE(SeriesOf(a, {0, false, place}) == SeriesOf(b, {0, false, place}))
        << place.column << ", " << place.row;
  }
}

// A run that goes on: trace and notes as far as some block of the notes, then further.
struct Growing {
  explicit Growing(uint32_t seed) : random(seed), noted(Noted(random, 5000)) {
    bytes = NotesBytes(noted, random, 100, true);
    blocks = OpenNotes(bytes);
  }

  NotedEvents EventsUpTo(size_t block) const {
    NotedEvents begun = noted;
    uint64_t records = 0;
    for (size_t i = 0; i < block; ++i) {
      const NotesEntry& entry = blocks->Blocks()[i];
      records = entry.kind == NotesBlockKind::NOTES ? entry.high : records;
    }
    begun.events.resize(records);
    return begun;
  }

  std::string NotesUpTo(size_t block) const {
    return block == blocks->Blocks().size() ? bytes
                                            : bytes.substr(0, blocks->Blocks()[block].offset);
  }

  // Writes more behind what is there.
  void GrowTo(size_t block, const std::string& trace) const {
    Append(trace, Encode(EventsUpTo(block).events));
    Append(trace + ".notes", NotesUpTo(block));
  }

  static void Append(const std::string& file, const std::string& whole) {
    std::ofstream out(file, std::ios::app | std::ios::binary);
    out << whole.substr(std::filesystem::file_size(file));
  }

  std::mt19937 random;
  NotedEvents noted;
  std::string bytes;
  std::unique_ptr<NotesFile> blocks;
};

TEST(NotesIndexTest, IndexOfNotesThatGrewIsExtendedToWhatIsMadeAnew) {
  const Growing growing(12);
  const size_t all = growing.blocks->Blocks().size();
  for (const size_t begun : {size_t{3}, all / 3, all - 1}) {
    Indexed indexed(growing.EventsUpTo(begun), growing.NotesUpTo(begun));
    ASSERT_TRUE(indexed.index->IsKept());
    for (const size_t grown : {(begun + all) / 2, all}) {
      const size_t before = indexed.index->Entries();
      growing.GrowTo(grown, indexed.opened.name);
      indexed.Reopen();
      EXPECT_EQ(grown - before, indexed.progressed) << "only what came is read";
      EXPECT_EQ(grown, indexed.index->Entries());
      EXPECT_TRUE(indexed.index->IsKept());
    }
    indexed.Reopen();
    EXPECT_FALSE(indexed.made) << "what was extended is kept";
    NotesOfTrace notes(*indexed.opened.trace, *indexed.opened.index, *indexed.file);
    const auto store = IndexInMemory();
    const auto anew =
        Made(NotesIndex::Open(*indexed.opened.trace, *indexed.opened.index, notes, *store));
    SCOPED_TRACE("begun with " + std::to_string(begun) + " blocks");
    ExpectSame(*anew, *indexed.index);
  }
}

// Notes of the first records in blocks of 100, each of a kind; where `late` is given, from record
// 200 on of an attribute that is declared there.
std::string PlainNotes(const NotedEvents& noted, size_t records, uint64_t kinds,
                       bool late = false) {
  MemorySink sink;
  NotesWriter writer(sink, NotesPacking::NONE);
  uint32_t attribute = writer.Attribute(KIND_ATTRIBUTE, NoteType::NAME);
  for (size_t i = 0; i < records; ++i) {
    if (i % 100 == 0 && i > 0) {
      EXPECT_TRUE(IsFine(writer.Flush()));
    }
    if (late && i == 200) {
      attribute = writer.Attribute("phase", NoteType::NAME);
    }
    const Event& event = noted.events[i];
    writer.Record(event.type, event.cycle, event.thread, event.at, event.to);
    EXPECT_TRUE(writer.Note(attribute, i % kinds));
  }
  EXPECT_TRUE(IsFine(writer.Flush()));
  return {sink.Bytes().begin(), sink.Bytes().end()};
}

TEST(NotesIndexTest, IndexIsNotExtendedWhereWhatCameBeforeIsOther) {
  std::mt19937 random(13);
  const NotedEvents noted = Noted(random, 400);
  Indexed indexed(noted, PlainNotes(noted, 200, 3));
  ASSERT_TRUE(indexed.index->IsKept());
  WriteFile(indexed.opened.name + ".notes", PlainNotes(noted, 400, 3));
  indexed.Reopen();
  EXPECT_EQ(2U, indexed.progressed) << "the same and more";
  // As long as before, block by block, but of other kinds.
  WriteFile(indexed.opened.name + ".notes", PlainNotes(noted, 200, 3));
  indexed.Reopen();
  WriteFile(indexed.opened.name + ".notes", PlainNotes(noted, 400, 2));
  indexed.Reopen();
  EXPECT_EQ(4U, indexed.progressed);
  EXPECT_EQ(2U, indexed.index->Tables().times[0].values.size());
}

TEST(NotesIndexTest, IndexIsMadeAnewWhereAnAttributeCameWithTheNotesThatCame) {
  std::mt19937 random(14);
  const NotedEvents noted = Noted(random, 400);
  Indexed indexed(noted, PlainNotes(noted, 200, 3));
  ASSERT_TRUE(indexed.index->IsKept());
  WriteFile(indexed.opened.name + ".notes", PlainNotes(noted, 400, 3, true));
  indexed.Reopen();
  EXPECT_EQ(4U, indexed.progressed);
  ASSERT_EQ(2U, indexed.index->Tables().times.size());
  EXPECT_TRUE(indexed.index->Tables().times[1].isTold);
}

TEST(NotesIndexTest, MakingAnIndexCanBeStopped) {
  std::mt19937 random(10);
  const NotedEvents noted = Noted(random, 1000);
  const OpenedNotes opened(noted, NotesBytes(noted, random, 100));
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  const auto store = IndexInMemory();
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(
      Fault::CANCELLED,
      NotesIndex::Open(*opened.opened.trace, *opened.opened.index, notes, *store, stop).Why().kind);
  EXPECT_TRUE(store->Find().empty());
}

}  // namespace
}  // namespace marrowfin::testing
