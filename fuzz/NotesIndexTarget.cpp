#include <algorithm>
#include <bit>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/Fuzz.h"
#include "fuzz/Traces.h"
#include "trace/ask/CounterOverTime.h"
#include "trace/ask/NotedCounter.h"
#include "trace/ask/NotesIndex.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/NotesOverTime.h"
#include "trace/base/Zstd.h"
#include "trace/index/Index.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/NoteTables.h"
#include "trace/read/NotesFile.h"
#include "trace/read/TraceSource.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Writer.h"

// Bytes as an index of notes, of a trace and notes that are always the same. Whatever lies there,
// there is an index: one that is damaged or of others is made anew so that it is right, one of the
// same before they grew goes on; and nothing that an index says, sealed with checksums that hold,
// may lead a question out of bounds or into an endless loop.
//
// Checksums catch all damage, so most inputs are no bytes of a file but changes to what a sound
// index says, which is then packed and sealed as it should be: what comes through is what somebody
// could write who means harm.

namespace marrowfin::fuzz {

namespace {

constexpr uint32_t RECORDS = 120;
constexpr uint32_t OLD_RECORDS = 80;  // before they grew
constexpr uint32_t BLOCK = 20;        // records of a block of notes

enum { KIND, PACKET, CREATED, ENERGY, CONSUMES, ATTRIBUTES };
constexpr NoteType TYPES[] = {NoteType::NAME, NoteType::NUMBER, NoteType::CYCLE, NoteType::REAL,
                              NoteType::RECORDS};
constexpr uint32_t COUNTERS = 2;

typedef std::vector<uint8_t> Bytes;

Event EventOf(uint32_t i) {
  const Place at = {i * 7 % 8, i * 5 % 8};
  return i % 3 == 0 ? Event{i / 4, i % 5, SEND_RECORD, at, {i % 8, i % 3}}
                    : Event{i / 4, i % 5, FIRE_RECORD, at, {}};
}

// A trace and its notes, up to some record.
struct Run {
  explicit Run(uint32_t records) {
    MemorySink traceBytes;
    MemorySink notesBytes;
    Writer trace;
    trace.Attach(traceBytes);
    NotesWriter notes(notesBytes);
    for (const NoteType type : TYPES) {
      notes.Attribute(std::string(1, static_cast<char>('a' + static_cast<int>(type))), type);
    }
    for (uint32_t counter = 0; counter < COUNTERS; ++counter) {
      notes.Counter("counter " + std::to_string(counter));
    }
    for (uint32_t i = 0; i < records; ++i) {
      const Event event = EventOf(i);
      if (event.type == SEND_RECORD) {
        trace.Send(event.cycle, event.thread, event.at, event.to);
      } else {
        trace.Fire(event.cycle, event.thread, event.at);
      }
      notes.Record(event.type, event.cycle, event.thread, event.at, event.to);
      Note(notes, i);
      if (i % BLOCK == BLOCK - 1) {
        Require(!notes.Flush(), "memory for notes");
      }
    }
    Require(!trace.Close(), "a whole trace");
    source = Taken(TraceSource::Over(marrowfin::MemoryFile(traceBytes.Bytes(), "t")));
    memory = IndexInMemory();
    index = Taken(Index::Open(*source, *memory));
    file = Taken(NotesFile::Open(marrowfin::MemoryFile(notesBytes.Bytes(), "t.notes")));
  }

  template <class T>
  static std::unique_ptr<T> Taken(Result<std::unique_ptr<T>> result) {
    Require(static_cast<bool>(result), "a sound file");
    return std::move(result).Take();
  }

  static void Note(NotesWriter& notes, uint64_t i) {
    Require(notes.Note(KIND, i % 4), "a note");
    if (i % 3 != 0) {
      Require(notes.Note(PACKET, i / 5), "a note");
    }
    Require(notes.Note(CREATED, i / 4 - std::min(i / 4, i % 7)), "a note");
    if (i % 6 == 1) {
      Require(notes.Note(ENERGY, std::bit_cast<uint64_t>(static_cast<double>(i) - 100)), "a note");
    }
    if (i > 3) {
      Require(notes.Note(CONSUMES, i - 1 - i % 3), "a note");
    }
    if (i % 5 == 0) {
      const auto number = static_cast<uint32_t>(i);
      notes.Sample({i / 4, number % COUNTERS, {number % 2, 1}, static_cast<double>(i % 9)});
    }
  }

  std::unique_ptr<IndexStore> memory;
  std::unique_ptr<TraceSource> source;
  std::unique_ptr<Index> index;
  std::unique_ptr<NotesFile> file;
};

const Run& TheRun() {
  static const Run run(RECORDS);
  return run;
}

// Hands bytes over as the index that is kept; what is kept instead stays in memory.
class Given : public IndexStore {
 public:
  explicit Given(Bytes bytes) : bytes(std::move(bytes)) {}

  std::vector<std::unique_ptr<PositionedFile>> Find() const override {
    std::vector<std::unique_ptr<PositionedFile>> found;
    found.push_back(marrowfin::MemoryFile(bytes, "t.notes.mfindex"));
    return found;
  }

  Result<std::unique_ptr<IndexDraft>> Create() override { return memory->Create(); }

  // What was kept; nothing where the bytes were believed.
  Bytes Kept() const {
    const std::vector<std::unique_ptr<PositionedFile>> found = memory->Find();
    if (found.empty()) {
      return {};
    }
    Bytes kept(static_cast<size_t>(found[0]->Size()));
    Require(!found[0]->ReadAt(0, kept.size(), kept.data()), "bytes that were kept");
    return kept;
  }

 private:
  Bytes bytes;
  std::unique_ptr<IndexStore> memory = IndexInMemory();
};

// Bytes of an index as they were made of a run.
Bytes MadeOf(const Run& run) {
  NotesOfTrace notes(*run.source, *run.index, *run.file);
  Given store({});
  const auto index = NotesIndex::Open(*run.source, *run.index, notes, store);
  Require(index && (*index)->IsKept(), "an index of notes");
  return store.Kept();
}

const Bytes& Sound() {
  static const Bytes sound = MadeOf(TheRun());
  return sound;
}

const Bytes& Old() {
  static const Bytes old = MadeOf(Run(OLD_RECORDS));
  return old;
}

// An index taken apart: its sections as they are unpacked, and what its directory says.
struct Parts {
  explicit Parts(const Bytes& file) {
    IndexSection directory;
    Require(DecodeFooter(file.data() + file.size() - INDEX_FOOTER, directory), "a footer");
    const Bytes raw = SectionOf(file, directory);
    Require(DecodeNoteTables(raw, directory.offset, RECORDS, tables, times), "a directory");
    for (const IndexSection& section : times) {
      sections.push_back(SectionOf(file, section));
    }
    for (const CounterSection& counter : tables.counters) {
      sections.push_back(SectionOf(file, counter.section));
    }
  }

  static Bytes SectionOf(const Bytes& file, const IndexSection& section) {
    Bytes raw;
    Require(Unpack(std::span(file).subspan(static_cast<size_t>(section.offset),
                                           static_cast<size_t>(section.packedSize)),
                   static_cast<size_t>(section.rawSize), raw),
            "a sound section");
    return raw;
  }

  NoteTables tables;
  std::vector<IndexSection> times;
  std::vector<Bytes> sections;  // of the times, then of the counters
};

IndexSection Append(const Bytes& raw, Bytes& file) {
  const Bytes packed = Pack(raw);
  const IndexSection section = {file.size(), packed.size(), raw.size()};
  file.insert(file.end(), packed.begin(), packed.end());
  return section;
}

void Seal(const Bytes& directory, Bytes& file) {
  const IndexSection section = Append(directory, file);
  uint8_t footer[INDEX_FOOTER];
  EncodeFooter(section, footer);
  file.insert(file.end(), std::begin(footer), std::end(footer));
}

// The magic number and the sections; where they lie stands in the tables then.
Bytes PlacedSections(Parts& parts) {
  Bytes file(std::begin(NOTES_INDEX_MAGIC), std::end(NOTES_INDEX_MAGIC));
  for (size_t i = 0; i < parts.sections.size(); ++i) {
    IndexSection& section = i < parts.times.size()
                                ? parts.times[i]
                                : parts.tables.counters[i - parts.times.size()].section;
    section = Append(parts.sections[i], file);
  }
  return file;
}

void ChangeBytes(Bytes& bytes, Input& input) {
  const uint8_t how = input.Byte();
  const size_t at = bytes.empty() ? 0 : (size_t{input.Byte()} << 8 | input.Byte()) % bytes.size();
  const auto place = bytes.begin() + static_cast<ptrdiff_t>(at);
  if (bytes.empty() || how < 32) {
    bytes.insert(place, 1U + how % 16, input.Byte());
  } else if (how < 64) {
    bytes.erase(place, place + std::min<ptrdiff_t>(1 + how % 16, bytes.end() - place));
  } else {
    for (size_t i = 0; i < 1U + how % 4 && at + i < bytes.size(); ++i) {
      bytes[at + i] = input.Byte();
    }
  }
}

template <class Number>
void ChangeNumber(Number& number, Input& input) {
  const uint8_t how = input.Byte();
  number = how % 3 == 0   ? static_cast<Number>(input.Byte())
           : how % 3 == 1 ? static_cast<Number>(input.Word())
                          : number ^ Number { 1 } << (how / 3) % (8 * sizeof(Number));
}

void ChangeTables(Parts& parts, Input& input) {
  NoteTables& tables = parts.tables;
  const uint8_t what = input.Byte();
  const size_t which = input.Byte();
  if (what < 0x20 && !tables.entries.empty()) {
    NoteEntryMark& entry = tables.entries[which % tables.entries.size()];
    ChangeNumber(entry.offset, input);
  } else if (what < 0x30) {
    tables.entries.resize(which % (tables.entries.size() + 2));
  } else if (what < 0x70 && !tables.blocks.empty()) {
    NoteBlockSummary& block = tables.blocks[which % tables.blocks.size()];
    if (block.columns.empty() || what < 0x38) {
      block.known = !block.known;
      block.columns.resize(input.Byte() % (NOTES_MOST_ATTRIBUTES + 1));
    } else {
      NoteColumnSummary& column = block.columns[input.Byte() % block.columns.size()];
      ChangeNumber(what % 4 == 0 ? column.low : what % 4 == 1 ? column.high : column.bits, input);
      ChangeNumber(column.records, input);
    }
  } else if (what < 0x78) {
    tables.blocks.resize(which % (tables.blocks.size() + 3));
  } else if (what < 0xA0 && !tables.times.empty()) {
    NoteTimes& times = tables.times[which % tables.times.size()];
    ChangeNumber(times.attribute, input);
    times.isTold = (what & 1) != 0;
    times.values.resize(input.Byte() % (NoteTimes::MOST_VALUES + 1), which);
  } else if (what < 0xC0 && !tables.counters.empty()) {
    CounterSection& counter = tables.counters[which % tables.counters.size()];
    ChangeNumber(counter.key.counter, input);
    counter.key.all = (what & 1) != 0;
    ChangeNumber(counter.key.at.column, input);
  } else if (what < 0xD0) {
    tables.countersWhole = !tables.countersWhole;
  } else if (!tables.counters.empty()) {
    IndexSection& section = tables.counters[which % tables.counters.size()].section;
    ChangeNumber(what % 2 == 0 ? section.offset : section.rawSize, input);
  }
}

// What an index says, changed, and sealed as an index should be.
Bytes Changed(const Bytes& sound, Input& input) {
  Parts parts(sound);
  for (size_t changes = input.Byte() % 4; changes > 0 && !parts.sections.empty(); --changes) {
    ChangeBytes(parts.sections[input.Byte() % parts.sections.size()], input);
  }
  Bytes file = PlacedSections(parts);
  for (size_t changes = input.Byte() % 8; changes > 0; --changes) {
    ChangeTables(parts, input);
  }
  Bytes directory = EncodeNoteTables(parts.tables, parts.times);
  while (input.Left() > 0) {
    ChangeBytes(directory, input);
  }
  Seal(directory, file);
  return file;
}

Bytes Damaged(Input& input) {
  Bytes bytes = Sound();
  do {
    ChangeBytes(bytes, input);
  } while (input.Left() > 0);
  return bytes;
}

void AskConditions(NotesOfTrace& notes) {
  const Run& run = TheRun();
  for (uint32_t attribute = 0; attribute < ATTRIBUTES; ++attribute) {
    const auto comparison = attribute % 2 == 0 ? NoteCondition::EQUAL : NoteCondition::AT_LEAST;
    NotedCounter counter(*run.source, *run.index, notes, {{}, {{attribute, comparison, 3, 0}}});
    const auto count = counter.Count();
    Require(!count || *count <= RECORDS, "there are no more events than the trace has");
  }
}

void AskOverTime(NotesOfTrace& notes, const NotesIndex& index) {
  const Run& run = TheRun();
  for (uint32_t attribute = 0; attribute < ATTRIBUTES; ++attribute) {
    for (const uint64_t first : {uint64_t{0}, uint64_t{17}}) {
      ActivityQuestion question;
      question.first = first;
      question.bins = 7;
      const auto bins = NotesOverTime(*run.source, *run.index, notes, index, attribute, question);
      Require(!bins || bins->counts.size() == bins->firsts.size() * RECORD_TYPES * bins->Slots(),
              "a count for each bin, type and value");
    }
  }
  for (uint32_t counter = 0; counter < COUNTERS; ++counter) {
    CounterQuestion question;
    question.counter = counter;
    question.bins = 5;
    static_cast<void>(CounterOverTime(*run.file, index, question));
    for (const Place& place : index.PlacesOf(counter)) {
      static_cast<void>(index.Series({counter, false, place}));
    }
  }
}

// What an index tells, but for where its sections lie.
Bytes Told(const NotesIndex& index) {
  NoteTables tables = index.Tables();
  tables.counters.clear();
  Bytes told = EncodeNoteTables(tables, std::vector<IndexSection>(tables.times.size()));
  const auto add = [&](const Bytes& more) { told.insert(told.end(), more.begin(), more.end()); };
  for (const NoteTimes& times : tables.times) {
    add(times.table.Encode());
  }
  return told;
}

const Bytes& ToldBySound() {
  static const Bytes told = [] {
    const Run& run = TheRun();
    NotesOfTrace notes(*run.source, *run.index, *run.file);
    const auto index = NotesIndex::Open(*run.source, *run.index, notes, *IndexInMemory());
    Require(static_cast<bool>(index), "an index of notes");
    return Told(**index);
  }();
  return told;
}

// Opens what lies there, and asks it. `right` tells that it has to be right.
void TryIndex(const Bytes& bytes, bool right) {
  const Run& run = TheRun();
  NotesOfTrace notes(*run.source, *run.index, *run.file);
  Given store(bytes);
  size_t taken = 0;
  const auto index = NotesIndex::Open(*run.source, *run.index, notes, store, [&](const Progress&) {
    ++taken;
    return true;
  });
  Require(static_cast<bool>(index), "whatever lies there, there is an index of the notes");
  const size_t blocks = run.file->Blocks().size();
  Require((*index)->Entries() == blocks, "all blocks are taken up");
  Require((taken < blocks && !right) || Told(**index) == ToldBySound(),
          "what is sound is right, and so is what is made anew");
  AskConditions(notes);
  AskOverTime(notes, **index);
  const Fault followed = (*index)->Follow(*run.source, *run.index, notes);
  Require(!followed || followed.kind == Fault::DAMAGED_INDEX, "notes that did not grow");
}

void Try(Input input) {
  const uint8_t mode = input.Byte();
  const bool unchanged = input.Left() == 0;
  switch (mode % 8) {
    case 0:
      TryIndex({input.Rest(), input.Rest() + input.Left()}, false);
      break;
    case 1: {
      // A directory behind sound sections.
      Parts parts(Sound());
      Bytes file = PlacedSections(parts);
      Seal({input.Rest(), input.Rest() + input.Left()}, file);
      TryIndex(file, false);
      break;
    }
    case 2:
      TryIndex(Damaged(input), true);
      break;
    case 3:
    case 4:
      // One that goes on.
      TryIndex(Changed(Old(), input), unchanged);
      break;
    default:
      TryIndex(Changed(Sound(), input), unchanged);
  }
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
