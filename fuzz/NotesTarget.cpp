#include <zlib.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "fuzz/Traces.h"
#include "trace/ask/NotedCounter.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/Zstd.h"
#include "trace/index/Index.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"
#include "trace/read/TraceSource.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Writer.h"

// Bytes as the notes of a trace that is always the same. Whatever is opened tells things that agree
// with each other, and joined to the trace leads no question out of bounds. What was damaged is
// told, and what is believed of it is what stood there before; what a writer was told is read back.
//
// Checksums catch all damage, so most inputs are bodies of blocks, which are sealed here: what
// comes through is what somebody could write who means harm.

namespace marrowfin::fuzz {

namespace {

constexpr uint64_t RECORDS = 300;

enum { NUMBER, REAL, CYCLE, NAME, RECORD_LIST, ATTRIBUTES };
constexpr NoteType TYPES[] = {NoteType::NUMBER, NoteType::REAL, NoteType::CYCLE, NoteType::NAME,
                              NoteType::RECORDS};
constexpr uint32_t COUNTERS = 2;

typedef std::vector<uint8_t> Body;

Event EventOf(uint64_t record) {
  const auto i = static_cast<uint32_t>(record);
  const Place at = {i * 7 % 8, i * 5 % 8};
  return i % 3 == 0 ? Event{i / 4, i % 5, SEND_RECORD, at, {i % 8, i % 3}}
                    : Event{i / 4, i % 5, FIRE_RECORD, at, {}};
}

void Add(const Event& event, Fingerprint& print) {
  print.Add(event.type, event.cycle, event.thread, event.at, event.to);
}

Body TraceBytes() {
  MemorySink sink;
  Writer writer;
  writer.Attach(sink);
  for (uint64_t record = 0; record < RECORDS; ++record) {
    const Event event = EventOf(record);
    if (event.type == SEND_RECORD) {
      writer.Send(event.cycle, event.thread, event.at, event.to);
    } else {
      writer.Fire(event.cycle, event.thread, event.at);
    }
  }
  Require(!writer.Close(), "a whole trace");
  return sink.Bytes();
}

struct IndexedTrace {
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

IndexedTrace MakeTrace() {
  static const TempFolder folder;
  IndexedTrace made;
  const std::string name = folder.File("t.mfindex");
  Result<std::unique_ptr<TraceSource>> trace =
      TraceSource::Over(marrowfin::MemoryFile(TraceBytes(), "t"));
  Require(static_cast<bool>(trace), "an open trace");
  made.trace = std::move(trace).Take();
  Require(!Index::Build(*made.trace, name, {}, {}), "an index");
  Result<std::unique_ptr<Index>> index = Index::Load(*made.trace, name);
  Require(static_cast<bool>(index), "an index that is believed");
  made.index = std::move(index).Take();
  return made;
}

const IndexedTrace& TheTrace() {
  static const IndexedTrace trace = MakeTrace();
  return trace;
}

uint64_t PrintOf(uint64_t first, uint64_t count) {
  Fingerprint print;
  for (uint64_t record = first; record < first + count; ++record) {
    Add(EventOf(record), print);
  }
  return print.Value();
}

// Blocks.

void AppendBlock(uint8_t kind, const Body& body, bool packed, Body& file) {
  const Body stored = packed ? Pack(body) : body;
  uint8_t head[NOTES_BLOCK_HEAD] = {kind, static_cast<uint8_t>(packed)};
  Store32(head + 4, static_cast<uint32_t>(stored.size()));
  Store32(head + 8, static_cast<uint32_t>(body.size()));
  uLong sum = crc32(0, head, 12);
  sum = crc32(sum, stored.data(), static_cast<uInt>(stored.size()));
  Store32(head + 12, static_cast<uint32_t>(sum));
  file.insert(file.end(), head, head + sizeof(head));
  file.insert(file.end(), stored.begin(), stored.end());
}

Body Magic() { return {NOTES_MAGIC, NOTES_MAGIC + sizeof(NOTES_MAGIC)}; }

void PutEntry(const ByteWriter& entry, ByteWriter& body) {
  body.Number(entry.Bytes().size());
  body.Raw(entry.Bytes().data(), entry.Bytes().size());
}

Body SoundDeclarations() {
  ByteWriter body;
  for (uint64_t number = 0; number < ATTRIBUTES; ++number) {
    ByteWriter entry;
    entry.Number(1);
    entry.Number(number);
    entry.Number(static_cast<uint64_t>(TYPES[number]));
    entry.Text(std::string(1, static_cast<char>('a' + number)));
    entry.Text("");
    PutEntry(entry, body);
  }
  for (uint64_t number = 0; number < COUNTERS; ++number) {
    ByteWriter entry;
    entry.Number(3);
    entry.Number(number);
    entry.Text(std::string(1, static_cast<char>('A' + number)));
    entry.Text("");
    PutEntry(entry, body);
  }
  return body.Take();
}

// What a file opened as notes must keep to, whatever stood in it.

void CheckColumn(const NotesBlock& block, const NoteColumn& column, NoteType type) {
  const bool several = type == NoteType::RECORDS;
  Require(column.values.size() == column.positions.size(), "each value has a position");
  for (size_t i = 0; i < column.values.size(); ++i) {
    Require(column.positions[i] < block.count, "notes are of records of their block");
    Require(i == 0 || column.positions[i] > column.positions[i - 1] ||
                (several && column.positions[i] == column.positions[i - 1]),
            "positions ascend");
    Require(!several || column.values[i] < block.first + column.positions[i],
            "records name earlier ones");
  }
}

void CheckBlock(const NotesFile& file, const NotesEntry& entry, const NotesBlock& block) {
  Require(block.first == entry.low && block.first + block.count == entry.high && block.count > 0 &&
              block.count <= NOTES_MOST_RECORDS,
          "a block is of the records that were told");
  std::set<uint32_t> seen;
  for (const NoteColumn& column : block.columns) {
    Require(column.attribute < file.Declarations().attributes.size(), "attributes are declared");
    Require(seen.insert(column.attribute).second, "an attribute has one column");
    CheckColumn(block, column, file.Declarations().attributes[column.attribute].type);
  }
}

void CheckSamples(const NotesFile& file, const NotesEntry& entry,
                  const std::vector<CounterSample>& samples) {
  Require(!samples.empty() && samples.size() <= NOTES_MOST_SAMPLES, "a block has samples");
  for (const CounterSample& sample : samples) {
    Require(sample.counter < file.Declarations().counters.size(), "counters are declared");
    Require(sample.cycle >= entry.low && sample.cycle <= entry.high,
            "a sample is of the cycles that were told");
  }
}

template <class Named>
void CheckNames(const std::vector<Named>& declared) {
  std::set<std::string> names;
  for (const Named& one : declared) {
    Require(!one.name.empty() && names.insert(one.name).second, "names differ");
  }
}

void CheckFile(const NotesFile& file) {
  CheckNames(file.Declarations().attributes);
  CheckNames(file.Declarations().counters);
  uint64_t end = 0;
  for (size_t number = 0; number < file.Blocks().size(); ++number) {
    const NotesEntry& entry = file.Blocks()[number];
    if (entry.kind == NotesBlockKind::NOTES) {
      Require(entry.low >= end && entry.high > entry.low, "blocks ascend");
      end = entry.high;
      const Result<NotesBlock> block = file.Notes(number);
      Require(block || !block.Why().reason.empty(), "what is refused has a reason");
      if (block) {
        CheckBlock(file, entry, *block);
      }
    } else {
      Require(entry.kind == NotesBlockKind::SAMPLES, "blocks are of notes or samples");
      const Result<std::vector<CounterSample>> samples = file.Samples(number);
      Require(samples || !samples.Why().reason.empty(), "what is refused has a reason");
      if (samples) {
        CheckSamples(file, entry, *samples);
      }
    }
  }
  Require(file.Records() == end, "the file knows where it ends");
}

// Joined to the trace.

uint64_t CountWhere(NotesOfTrace& notes, const NoteCondition& condition) {
  const IndexedTrace& trace = TheTrace();
  NotedFilter filter;
  filter.notes = {condition};
  NotedCursor cursor(*trace.trace, *trace.index, notes, filter);
  Selection found;
  uint64_t count = 0;
  uint64_t last = 0;
  while (cursor.Next(found)) {
    for (size_t i = 0; i < found.Size(); ++i) {
      Require(count == 0 || found.Record(i) > last, "records ascend");
      last = found.Record(i);
      ++count;
    }
  }
  Require(count <= RECORDS, "there are no more events than the trace has");
  NotedCounter counter(*trace.trace, *trace.index, notes, filter);
  const Result<uint64_t> counted = counter.Count();
  Require(!counted || cursor.GetFault() || *counted == count, "cursor and counter agree");
  return count;
}

// Asks for one of the attributes, or for one that is not declared.
void AskJoined(const NotesFile& file, uint64_t value) {
  const IndexedTrace& trace = TheTrace();
  NotesOfTrace notes(*trace.trace, *trace.index, file);
  const uint64_t attributes = file.Declarations().attributes.size();
  const auto attribute = static_cast<uint32_t>(value % (attributes + 1));
  const uint64_t with = CountWhere(notes, {attribute, NoteCondition::HAS, 0, 0});
  const uint64_t without = CountWhere(notes, {attribute, NoteCondition::HAS_NOT, 0, 0});
  Require(with + without <= RECORDS, "a record has a value or has none");
  const uint64_t equal = CountWhere(notes, {attribute, NoteCondition::EQUAL, value, 0});
  const uint64_t other = CountWhere(notes, {attribute, NoteCondition::NOT_EQUAL, value, 0});
  Require(equal + other <= with, "a value is the one or another");
  CountWhere(notes, {attribute, NoteCondition::CONTAINS, value, 0});
}

std::unique_ptr<NotesFile> Open(const Body& bytes) {
  Result<std::unique_ptr<NotesFile>> file =
      NotesFile::Open(marrowfin::MemoryFile(bytes, "t.notes"));
  Require(file || !file.Why().reason.empty(), "what is refused has a reason");
  return file ? std::move(file).Take() : nullptr;
}

void TryFile(const Body& bytes, uint64_t value) {
  if (const std::unique_ptr<NotesFile> file = Open(bytes)) {
    CheckFile(*file);
    AskJoined(*file, value);
  }
}

// Bodies of blocks, each with its kind and its size before it. Notes may be of the trace's records
// though the input cannot know their fingerprint.
Body FileOfBodies(Input& input) {
  Body file = Magic();
  const uint8_t how = input.Byte();
  if ((how & 1) != 0) {
    AppendBlock(1, SoundDeclarations(), false, file);
  }
  while (input.Left() > 0) {
    const uint8_t head = input.Byte();
    const size_t wanted = input.Byte();
    const size_t size = std::min(input.Left(), wanted);
    Body body(input.Rest(), input.Rest() + size);
    for (size_t i = 0; i < size; ++i) {
      input.Byte();
    }
    const uint8_t kind = 1 + head % 5;
    if (kind == 2) {
      ByteReader range(body.data(), body.size());
      const uint64_t first = range.Number();
      const uint64_t count = range.Number();
      ByteWriter numbers;
      numbers.Number(first);
      numbers.Number(count);
      const bool bound = (head & 0x40) == 0 && first < RECORDS && count <= RECORDS - first;
      if (bound && range.Good() && body.size() >= numbers.Bytes().size() + 8) {
        Store64(body.data() + numbers.Bytes().size(), PrintOf(first, count));
      }
    }
    const bool isTable = kind == 4 && input.Left() == 0;
    if (isTable) {
      uint8_t tail[NOTES_TABLE_TAIL];
      Store64(tail, file.size());
      std::copy(std::begin(NOTES_TABLE_MAGIC), std::end(NOTES_TABLE_MAGIC), tail + 8);
      body.insert(body.end(), tail, tail + sizeof(tail));
    }
    AppendBlock(kind, body, (head & 0x80) != 0 && !isTable, file);
  }
  return file;
}

// What a writer was told.
struct Told {
  std::vector<std::map<uint32_t, std::vector<uint64_t>>> notes;  // of each record, by attribute
  std::vector<CounterSample> samples;
  Body file;
};

void Note(NotesWriter& writer, uint32_t attribute, uint64_t value, Told& told) {
  if (!writer.Note(attribute, value)) {
    return;
  }
  std::vector<uint64_t>& values = told.notes.back()[attribute];
  if (TYPES[attribute] != NoteType::RECORDS) {
    values.clear();
  }
  values.push_back(value);
}

// Tells a writer whatever the input says, in whatever portions.
Told Write(Input& input) {
  Told told;
  MemorySink sink;
  const uint8_t how = input.Byte();
  NotesWriter writer(sink, (how & 1) != 0 ? NotesPacking::ZSTD : NotesPacking::NONE);
  for (const NoteType type : TYPES) {
    writer.Attribute("attribute " + std::to_string(static_cast<int>(type)), type);
  }
  writer.NameValue(NAME, 7, "seven");
  for (uint32_t counter = 0; counter < COUNTERS; ++counter) {
    writer.Counter("counter " + std::to_string(counter), "flits");
  }
  while (input.Left() > 0) {
    const uint8_t what = input.Byte();
    if (what < 0x60 && told.notes.size() < RECORDS) {
      const Event event = EventOf(told.notes.size());
      writer.Record(event.type, event.cycle, event.thread, event.at, event.to);
      told.notes.emplace_back();
    } else if (what < 0xC0) {
      const uint64_t value = (what & 1) != 0 ? input.Byte() : input.Word();
      if (!told.notes.empty()) {
        Note(writer, what / 2 % ATTRIBUTES, value, told);
      }
    } else if (what < 0xF0) {
      const uint64_t bits = input.Word();
      const double value = (what & 1) != 0 ? input.Byte() : std::bit_cast<double>(bits);
      told.samples.push_back(
          {input.Word(), what / 2 % COUNTERS, {input.Byte() * 0x1010101U, what}, value});
      writer.Sample(told.samples.back());
    } else {
      Require(!writer.Flush(), "memory for notes");
    }
  }
  Require((how & 2) != 0 ? !writer.Flush() : !writer.Close(), "memory for notes");
  told.file = sink.Bytes();
  return told;
}

// The cycle for a record of which nothing else is asked.
std::vector<uint64_t> CyclesOf(const NotesBlock& block) {
  std::vector<uint64_t> cycles;
  for (uint64_t record = block.first; record < block.first + block.count; ++record) {
    cycles.push_back(EventOf(record).cycle);
  }
  return cycles;
}

Told ReadBack(const NotesFile& file, size_t records) {
  Told read;
  read.notes.resize(records);
  for (size_t number = 0; number < file.Blocks().size(); ++number) {
    if (file.Blocks()[number].kind == NotesBlockKind::SAMPLES) {
      const Result<std::vector<CounterSample>> samples = file.Samples(number);
      Require(static_cast<bool>(samples), "samples that were written are read");
      read.samples.insert(read.samples.end(), samples->begin(), samples->end());
      continue;
    }
    Result<NotesBlock> block = file.Notes(number);
    Require(block && block->first + block->count <= records, "notes that were written are read");
    ResolveCycles(file.Declarations(), CyclesOf(*block), *block);
    for (const NoteColumn& column : block->columns) {
      for (size_t i = 0; i < column.values.size(); ++i) {
        read.notes[static_cast<size_t>(block->first) + column.positions[i]][column.attribute]
            .push_back(column.values[i]);
      }
    }
  }
  return read;
}

bool SameSamples(const std::vector<CounterSample>& a, const std::vector<CounterSample>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const CounterSample& one, const CounterSample& other) {
                      // A zero has no sign once it was a whole number.
                      const bool same = std::bit_cast<uint64_t>(one.value) ==
                                            std::bit_cast<uint64_t>(other.value) ||
                                        one.value == other.value;
                      return one.cycle == other.cycle && one.counter == other.counter &&
                             one.at == other.at && same;
                    });
}

void TryWritten(Input& input) {
  const Told told = Write(input);
  const std::unique_ptr<NotesFile> file = Open(told.file);
  Require(file && !file->End(), "what was written is opened");
  CheckFile(*file);
  const Told read = ReadBack(*file, told.notes.size());
  Require(read.notes == told.notes, "notes are read back as they were told");
  Require(SameSamples(read.samples, told.samples), "samples are read back as they were taken");
  AskJoined(*file, 7);
  // Without its last byte the file has no table.
  const Body cut(told.file.begin(), told.file.end() - 1);
  const std::unique_ptr<NotesFile> byBlocks = Open(cut);
  Require(byBlocks == nullptr || byBlocks->Blocks().size() <= file->Blocks().size(),
          "blocks without a table are no more than with it");
}

// A sound file, to be damaged.
const Body& SoundFile() {
  static const Body sound = [] {
    Body steps = {1};
    for (uint8_t i = 0; i < 120; ++i) {
      const Body step = {0, static_cast<uint8_t>(0x61 + i % 5 * 2), i, 0xC1, i, 1, 2, 3, 4};
      steps.insert(steps.end(), step.begin(), step.end());
      if (i % 40 == 39) {
        steps.push_back(0xFF);
      }
    }
    Input input(steps.data(), steps.size());
    return Write(input).file;
  }();
  return sound;
}

bool IsAmong(const NotesFile& sound, const NotesBlock& block) {
  for (size_t number = 0; number < sound.Blocks().size(); ++number) {
    if (sound.Blocks()[number].kind == NotesBlockKind::NOTES && *sound.Notes(number) == block) {
      return true;
    }
  }
  return false;
}

bool IsAmong(const NotesFile& sound, const std::vector<CounterSample>& samples) {
  for (size_t number = 0; number < sound.Blocks().size(); ++number) {
    if (sound.Blocks()[number].kind == NotesBlockKind::SAMPLES &&
        SameSamples(*sound.Samples(number), samples)) {
      return true;
    }
  }
  return false;
}

// Bytes that were changed, taken out or put in: what is still believed stood there before.
void TryDamaged(Input& input) {
  Body bytes = SoundFile();
  const uint8_t how = input.Byte();
  const size_t at = (size_t{input.Byte()} << 8 | input.Byte()) % bytes.size();
  const auto place = bytes.begin() + static_cast<ptrdiff_t>(at);
  if (how % 4 == 0) {
    bytes.resize(at);
  } else if (how % 4 == 1) {
    bytes.insert(place, 1U + how / 4, input.Byte());
  } else if (how % 4 == 2) {
    bytes.erase(place, place + std::min<ptrdiff_t>(1 + how / 4, bytes.end() - place));
  } else {
    for (size_t i = 0; i < std::min<size_t>(4, bytes.size() - at); ++i) {
      bytes[at + i] ^= input.Byte();
    }
  }
  const std::unique_ptr<NotesFile> file = Open(bytes);
  if (file == nullptr) {
    return;
  }
  CheckFile(*file);
  const std::unique_ptr<NotesFile> sound = Open(SoundFile());
  bool told = static_cast<bool>(file->End());
  for (size_t number = 0; number < file->Blocks().size(); ++number) {
    if (file->Blocks()[number].kind == NotesBlockKind::NOTES) {
      const Result<NotesBlock> block = file->Notes(number);
      Require(!block || IsAmong(*sound, *block), "notes that are believed stood there before");
      told = told || !block;
    } else {
      const Result<std::vector<CounterSample>> samples = file->Samples(number);
      Require(!samples || IsAmong(*sound, *samples),
              "samples that are believed stood there before");
      told = told || !samples;
    }
  }
  Require(told || bytes == SoundFile() || how % 4 == 0 || how % 4 == 2, "damage is told");
}

void Try(Input input) {
  const uint8_t mode = input.Byte();
  switch (mode % 4) {
    case 0: {
      TryFile({input.Rest(), input.Rest() + input.Left()}, mode / 4);
      break;
    }
    case 1:
      TryWritten(input);
      break;
    case 2:
      TryDamaged(input);
      break;
    default:
      TryFile(FileOfBodies(input), mode / 4);
  }
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
