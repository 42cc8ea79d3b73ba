#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/EventCounter.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/StateReader.h"
#include "trace/ask/Walk.h"
#include "trace/index/IndexBuilder.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/Pack.h"
#include "trace/index/SameTrace.h"
#include "trace/index/ThreadMask.h"
#include "trace/index/TimeCounter.h"
#include "trace/read/FittingShapes.h"
#include "trace/read/Reader.h"
#include "trace/read/TraceSource.h"
#include "trace/write/Writer.h"

// Bytes as an index of a trace that is always the same. One that is damaged or of another trace is
// refused, and built anew so that it is right; and nothing that an index says, sealed with
// checksums that hold, may lead a question out of bounds or into an endless loop.
//
// Checksums catch all damage, so most inputs are no bytes of a file but changes to what a sound
// index says, which is then packed and sealed as it should be: what comes through is what somebody
// could write who means harm.

namespace marrowfin::fuzz {

namespace {

constexpr uint32_t RECORDS = 150;
constexpr uint32_t OLD_RECORDS = 100;  // of the state of the trace that it grew from
constexpr uint32_t SIDE = 8;
constexpr size_t SECTIONS = 1 + ACTIVITIES + 1;  // of a boundary: keyframe, node, mask

constexpr bool IsSend(uint64_t record) { return record % 5 == 3; }

// The trace in a folder of its own.
class Folder {
 public:
  Folder() {
    setenv("XDG_CACHE_HOME", folder.File("cache").c_str(), 1);
    Writer writer;
    Require(!writer.Open(Trace()), "a trace");
    for (uint32_t i = 0; i < RECORDS; ++i) {
      const Place at = {i * 7 % SIDE, i * 5 % SIDE};
      if (i % 5 == 4) {
        writer.Switch(i / 6, i % 9, {4 + i % 2 * 4, 4 + i / 2 % 2 * 4});
      } else if (IsSend(i)) {
        writer.Send(i / 6, i % 9, at, {i % SIDE, i % 3});
      } else {
        writer.Fire(i / 6, i % 9, at);
      }
    }
    Require(!writer.Close(), "a whole trace");
    // Always the same, so that an index file of yesterday is still one of this trace.
    const struct timespec times[2] = {{MODIFIED, 0}, {MODIFIED, 0}};
    Require(utimensat(AT_FDCWD, Trace().c_str(), times, 0) == 0, "a time of change");
    Result<std::unique_ptr<TraceSource>> opened = TraceSource::Open(Trace());
    Require(static_cast<bool>(opened), "an open trace");
    trace = std::move(opened).Take();
  }

  std::string Trace() const { return folder.File("t"); }
  std::string Index() const { return folder.File("t.mfindex"); }
  const TraceSource& File() const { return *trace; }

 private:
  static constexpr time_t MODIFIED = 1000000000;

  TempFolder folder;
  std::unique_ptr<TraceSource> trace;
};

const Folder& TheFolder() {
  static const Folder folder;
  return folder;
}

// A sound directory of the first `records` records, and the raw contents of its sections.
struct Contents {
  IndexTables directory;
  std::vector<std::vector<uint8_t>> sections;  // of the boundaries, then both time tables
};

void AddBoundary(const Summarizer& summarizer, Contents& contents) {
  IndexTables& d = contents.directory;
  const Summary& s = summarizer.Get();
  IndexBoundary b;
  b.record = s.records;
  b.offset = s.bytes;
  b.lastCycle = s.lastCycle;
  b.changes = s.changes;
  b.columns = SIDE;
  b.rows = SIDE;
  b.switches = static_cast<uint32_t>(summarizer.SwitchCount());
  b.threadSlots = static_cast<uint32_t>(s.ThreadSlots());
  d.boundaries.push_back(b);
  std::vector<uint8_t> keyframe(SIDE * SIDE + b.switches);
  std::vector<uint64_t> counts(std::max<size_t>(SIDE * SIDE, CountersOf(b, THREAD_RECORDS)));
  for (size_t i = 0; i < keyframe.size(); ++i) {
    keyframe[i] = static_cast<uint8_t>(i * 11 % 79);
    counts[i % counts.size()] = i % 5;
  }
  contents.sections.push_back(keyframe);
  for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS, THREAD_RECORDS}) {
    contents.sections.push_back(Narrow({counts.data(), CountersOf(b, activity)}));
  }
  contents.sections.push_back(
      ThreadMask::Encode(std::vector<uint8_t>(SIDE * SIDE, 3), SIDE, SIDE, b.record));
}

// The first batch of records that lie whole in the trace's bytes `begin` to `end`; an empty one
// where none does.
void ReadBatch(const TraceSource& trace, uint64_t begin, uint64_t end, Columns& columns) {
  end = std::min(end, trace.Size());
  begin = std::min(begin, end);
  Reader reader(MemorySource(trace.Bytes() + begin, static_cast<size_t>(end - begin)), "trace",
                {.ordered = false});
  static_cast<void>(reader.Next(columns));
}

Contents SoundContents(const TraceSource& trace, uint64_t records) {
  Contents contents;
  IndexTables& d = contents.directory;
  Summarizer summarizer;
  TimeTable times;
  TimeCounter furtherTimes;
  auto columns = std::make_unique<Columns>();
  while (summarizer.Get().records < records) {
    // A record at a time, with an entry for every 16th and a boundary behind every 32nd.
    const uint64_t record = summarizer.Get().records;
    const uint64_t offset = summarizer.Get().bytes;
    const uint64_t end = offset + (IsSend(record) ? LARGE_RECORD : SMALL_RECORD);
    ReadBatch(trace, offset, end, *columns);
    summarizer.AddAllButThreads(*columns);
    furtherTimes.Add(*columns, summarizer);
    if (record % 16 == 0) {
      d.entries.push_back({record, offset, columns->cycle[0], summarizer.Get().changes});
    }
    if ((record + 1) % 32 == 0) {
      furtherTimes.TellThreads(summarizer);
      AddBoundary(summarizer, contents);
      summarizer.Finish();
      d.atLastBoundary = summarizer.Get();
      Require(times.Merge(furtherTimes.Get()), "threads that keep their places");
      furtherTimes.ClearFor(times);
    }
  }
  contents.sections.push_back(times.Encode());
  contents.sections.push_back(furtherTimes.Get().Encode());
  furtherTimes.TellThreads(summarizer);
  summarizer.Finish();
  d.summary = summarizer.Get();
  d.stride = 16;
  d.trace.size = d.summary.bytes;
  d.trace.modified = trace.GetIdentity().modified;
  d.trace.changed = trace.GetIdentity().changed;
  d.trace.inode = trace.GetIdentity().inode;
  return contents;
}

// Every number of the directory, so that an input can name one.
struct Numbers {
  std::vector<uint64_t*> wide;
  std::vector<uint32_t*> narrow;

  void Add(Summary& s) {
    for (uint64_t* number :
         {&s.records,       &s.bytes,          &s.switches,      &s.fires,        &s.sends,
          &s.firstCycle,    &s.lastCycle,      &s.maxCycle,      &s.changes,      &s.falls,
          &s.firstFall,     &s.fired.columns,  &s.fired.rows,    &s.sent.columns, &s.sent.rows,
          &s.array.columns, &s.array.rows,     &s.far.count,     &s.far.column,   &s.far.row,
          &s.otherThreads,  &s.end.numbers[0], &s.end.numbers[1]}) {
      wide.push_back(number);
    }
    for (auto& [thread, count] : s.threads) {
      wide.push_back(&count);
    }
    for (uint32_t& thread : s.largeThreads) {
      narrow.push_back(&thread);
    }
    for (Place& place : s.switchPlaces) {
      narrow.push_back(&place.column);
      narrow.push_back(&place.row);
    }
  }

  void Add(IndexSection& section) {
    wide.insert(wide.end(), {&section.offset, &section.packedSize, &section.rawSize});
  }

  explicit Numbers(IndexTables& d) {
    wide = {&d.trace.size, &d.trace.modified, &d.trace.changed, &d.trace.inode, &d.stride};
    Add(d.summary);
    Add(d.atLastBoundary);
    for (IndexEntry& entry : d.entries) {
      wide.insert(wide.end(), {&entry.record, &entry.offset, &entry.cycle, &entry.changes});
    }
    for (IndexBoundary& b : d.boundaries) {
      wide.insert(wide.end(), {&b.record, &b.offset, &b.lastCycle, &b.changes, &b.farEnds});
      narrow.insert(narrow.end(), {&b.columns, &b.rows, &b.switches, &b.threadSlots});
      Add(b.keyframe);
      for (IndexSection& section : b.node) {
        Add(section);
      }
      for (IndexSection& section : b.masks) {
        Add(section);
      }
    }
    Add(d.times);
    Add(d.furtherTimes);
  }
};

template <class Number>
void ChangeNumber(Number& number, Input& input) {
  const uint8_t how = input.Byte();
  switch (how & 3) {
    case 0:
      number = static_cast<Number>(input.Byte());
      break;
    case 1:
      number = static_cast<Number>(input.Word());
      break;
    case 2:
      number += static_cast<Number>(static_cast<int8_t>(input.Byte()));
      break;
    default:
      number ^= Number{1} << (how >> 2) % (8 * sizeof(Number));
  }
}

void ChangeSection(std::vector<uint8_t>& section, Input& input) {
  const uint8_t how = input.Byte();
  if (how < 8) {
    section.resize(section.size() + input.Byte());
  } else if (how < 16) {
    section.resize(section.size() / 2);
  } else if (!section.empty()) {
    section[input.Byte() % section.size()] = input.Byte();
  }
}

void ChangeShape(IndexTables& d, Input& input) {
  const uint8_t how = input.Byte();
  const uint8_t value = input.Byte();
  std::vector<Place>& places = d.summary.switchPlaces;
  switch (how % 11) {
    case 0:
      d.complete = !d.complete;
      break;
    case 1:
      d.summary.switchesComplete = !d.summary.switchesComplete;
      break;
    case 2:
      if (!d.entries.empty()) {
        d.entries.erase(d.entries.begin() + value % static_cast<ptrdiff_t>(d.entries.size()));
      }
      break;
    case 3:
      if (!d.boundaries.empty()) {
        d.boundaries.pop_back();
      }
      break;
    case 4:
      d.summary.threads[value] += input.Byte();
      break;
    case 5:
      places.push_back({value, input.Byte()});
      break;
    case 6:
      d.summary.end.kind = static_cast<Fault::Kind>(value % (Fault::DAMAGED_INDEX + 2));
      break;
    case 7:
      d.atLastBoundary = d.summary;
      break;
    case 8:
      // Locations reach less far, or farther, than they do.
      d.summary.fired = {1U + value % 16, 1U + value / 16};
      d.summary.sent = d.summary.fired;
      d.summary.array = d.summary.fired;
      break;
    case 9:
      // Two sections begin at the same byte.
      if (!d.boundaries.empty()) {
        IndexBoundary& boundary = d.boundaries[value % d.boundaries.size()];
        const uint8_t other = input.Byte();
        boundary.keyframe.offset =
            d.boundaries[other / ACTIVITIES % d.boundaries.size()].node[other % ACTIVITIES].offset;
      }
      break;
    default:
      // A switch stands elsewhere, as far as anything tells.
      if (!places.empty()) {
        Place& place = places[value % places.size()];
        place = {input.Byte(), input.Byte()};
        if (value % places.size() < d.atLastBoundary.switchPlaces.size()) {
          d.atLastBoundary.switchPlaces[value % places.size()] = place;
        }
      }
  }
}

void PlaceSections(Contents& contents, std::vector<uint8_t>& file) {
  std::vector<IndexSection> placed;
  for (const std::vector<uint8_t>& section : contents.sections) {
    const std::vector<uint8_t> packed = Pack(section);
    placed.push_back({file.size(), packed.size(), section.size()});
    file.insert(file.end(), packed.begin(), packed.end());
  }
  for (size_t b = 0; b < contents.directory.boundaries.size(); ++b) {
    IndexBoundary& boundary = contents.directory.boundaries[b];
    boundary.keyframe = placed[b * SECTIONS];
    std::copy_n(placed.begin() + static_cast<ptrdiff_t>(b * SECTIONS + 1), ACTIVITIES,
                boundary.node);
    boundary.masks = {placed[b * SECTIONS + 1 + ACTIVITIES]};
  }
  contents.directory.times = placed[placed.size() - 2];
  contents.directory.furtherTimes = placed.back();
}

// The checksums that bind an index to its trace, for whatever the directory says now.
void Bind(const TraceSource& trace, IndexTables& d) {
  const uint64_t size = std::min(d.trace.size, trace.Size());
  const auto* bytes = trace.Bytes();
  const uint64_t edge = std::min<uint64_t>(size, 4096);
  const uLong front = crc32(0, bytes, static_cast<uInt>(edge));
  d.trace.edges = static_cast<uint32_t>(crc32(front, bytes + size - edge, static_cast<uInt>(edge)));
  auto columns = std::make_unique<Columns>();
  uint64_t offset = 0;
  for (IndexBoundary& b : d.boundaries) {
    ReadBatch(trace, offset, std::min(b.offset, offset + SAMPLED_RECORDS * LARGE_RECORD), *columns);
    b.sample = SampleRecords(*columns, 0, std::min<size_t>(columns->size, SAMPLED_RECORDS), 0);
    offset = b.offset;
  }
}

// Puts the directory and the footer behind the sections.
void Seal(const std::vector<uint8_t>& directory, std::vector<uint8_t>& file) {
  const std::vector<uint8_t> packed = Pack(directory);
  const IndexSection section = {file.size(), packed.size(), directory.size()};
  file.insert(file.end(), packed.begin(), packed.end());
  uint8_t bytes[INDEX_FOOTER];
  EncodeFooter(section, bytes);
  file.insert(file.end(), std::begin(bytes), std::end(bytes));
}

// The sections of a sound index of the first records of the trace, and its directory.
Contents PlacedContents(uint64_t records, size_t changes, Input& input,
                        std::vector<uint8_t>& file) {
  static const Contents whole = SoundContents(TheFolder().File(), RECORDS);
  static const Contents old = SoundContents(TheFolder().File(), OLD_RECORDS);
  Contents contents = records == RECORDS ? whole : old;
  for (size_t i = 0; i < changes; ++i) {
    ChangeSection(contents.sections[input.Byte() % contents.sections.size()], input);
  }
  file.assign(std::begin(INDEX_MAGIC), std::end(INDEX_MAGIC));
  PlaceSections(contents, file);
  return contents;
}

void ChangeNumbers(IndexTables& directory, Input& input) {
  while (input.Left() > 0) {
    Numbers numbers(directory);
    constexpr size_t SHAPES = 32;
    const size_t which = (size_t{input.Byte()} << 8 | input.Byte()) %
                         (numbers.wide.size() + numbers.narrow.size() + SHAPES);
    if (which < numbers.wide.size()) {
      ChangeNumber(*numbers.wide[which], input);
    } else if (which - numbers.wide.size() < numbers.narrow.size()) {
      ChangeNumber(*numbers.narrow[which - numbers.wide.size()], input);
    } else {
      ChangeShape(directory, input);
    }
  }
}

std::vector<uint8_t> ChangedIndex(uint64_t records, Input& input) {
  std::vector<uint8_t> file;
  // Sections are changed before they are packed, numbers when all have their places.
  const size_t changedSections = input.Byte() % 4;
  Contents contents = PlacedContents(records, changedSections, input, file);
  ChangeNumbers(contents.directory, input);
  Bind(TheFolder().File(), contents.directory);
  Seal(EncodeDirectory(contents.directory), file);
  return file;
}

std::vector<uint8_t> SoundIndex() {
  Input nothing(nullptr, 0);
  return ChangedIndex(RECORDS, nothing);
}

// Changes an index so that it cannot be one of this trace, whatever else it says.
std::vector<uint8_t> ForeignIndex(Input& input) {
  std::vector<uint8_t> file;
  const TraceSource& trace = TheFolder().File();
  const uint8_t how = input.Byte();
  const uint32_t error = 1U + input.Byte();
  Contents contents = PlacedContents(how % 2 == 0 ? RECORDS : OLD_RECORDS, 0, input, file);
  IndexTables& d = contents.directory;
  ChangeNumbers(d, input);
  Bind(trace, d);
  if (how / 2 % 4 == 0) {
    d.trace.size = trace.Size() + error;
  } else if (how / 2 % 4 == 1) {
    d.trace.size = trace.Size();
    d.trace.modified = trace.GetIdentity().modified + error;
  } else if (how / 2 % 4 == 2 && !d.boundaries.empty()) {
    d.boundaries[how % d.boundaries.size()].sample ^= error;
    d.trace.inode = trace.GetIdentity().inode + 1;
  } else {
    d.trace.edges ^= error;
  }
  Seal(EncodeDirectory(d), file);
  return file;
}

// Bytes as a directory, with the sections of a sound index.
std::vector<uint8_t> IndexOfDirectory(const Input& input) {
  std::vector<uint8_t> file;
  Input nothing(nullptr, 0);
  PlacedContents(RECORDS, 0, nothing, file);
  Seal({input.Rest(), input.Rest() + input.Left()}, file);
  return file;
}

// Bytes as a whole file, but for the checksums of their footer and where it says the directory
// ends.
std::vector<uint8_t> IndexOfBytes(const Input& input) {
  std::vector<uint8_t> file(input.Rest(), input.Rest() + input.Left());
  if (file.size() >= INDEX_FOOTER) {
    const size_t end = file.size() - INDEX_FOOTER;
    IndexSection directory;
    DecodeFooter(file.data() + end, directory);
    directory.packedSize = end - std::min<uint64_t>(directory.offset, end);
    EncodeFooter(directory, file.data() + end);
  }
  return file;
}

// A sound index in which a few bytes are others, or which is longer or shorter than it was.
std::vector<uint8_t> DamagedIndex(Input& input) {
  const std::vector<uint8_t> sound = SoundIndex();
  std::vector<uint8_t> file = sound;
  const uint8_t how = input.Byte();
  const size_t at = (size_t{input.Byte()} << 8 | input.Byte()) % file.size();
  const auto place = file.begin() + static_cast<ptrdiff_t>(at);
  if (how % 4 == 0) {
    file.resize(at);
  } else if (how % 4 == 1) {
    file.insert(place, 1U + how / 4, input.Byte());
  } else if (how % 4 == 2) {
    file.erase(place, place + std::min<ptrdiff_t>(1 + how / 4, file.end() - place));
  } else {
    for (size_t i = 0; i < std::min<size_t>(4, file.size() - at); ++i) {
      file[at + i] ^= input.Byte();
    }
  }
  if (file == sound) {
    file.back() ^= 1;
  }
  return file;
}

void WriteIndex(const std::vector<uint8_t>& bytes) {
  const std::string name = TheFolder().Index();
  unlink(name.c_str());
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  Require(
      file != -1 && write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
      "room for an index");
  close(file);
}

void AskActivity(const TraceSource& trace, const Index& index) {
  const ActivityReader activity(trace, index);
  const uint64_t records = index.GetSummary().records;
  std::vector<uint64_t> counts;
  for (const Activity kind : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
    for (const uint64_t first : {uint64_t{0}, uint64_t{70}, records / 2}) {
      static_cast<void>(activity.Count(first, records - first / 2, kind, counts));
    }
    static_cast<void>(ActivityOverTime(trace, index, 3, index.GetSummary().maxCycle, 5, kind));
  }
  for (const uint64_t readAtMost : {~uint64_t{0}, uint64_t{20}}) {
    const uint64_t first = index.GetSummary().firstCycle + 1;
    const auto bins =
        ActivityOverTime(trace, index, {.first = first, .bins = 7, .readAtMost = readAtMost});
    Require(!bins || bins->counts.size() == bins->firsts.size() * 3 * (bins->threads.size() + 1),
            "a count for each bin, type and thread");
  }
}

void AskStates(const TraceSource& trace, const Index& index, const ArrayShape& shape) {
  const StateReader reader(trace, index, shape);
  for (const uint64_t skipTo : {0, 20}) {
    const Result<uint64_t> counted = reader.CountSteps(skipTo);
    const uint64_t steps = counted ? *counted : 0;
    for (const uint64_t step : {uint64_t{0}, uint64_t{1}, steps / 2, steps, steps + 1}) {
      static_cast<void>(reader.AtStep(step, skipTo));
    }
  }
  for (const uint64_t cycle : {uint64_t{0}, uint64_t{25}, ~uint64_t{0}}) {
    static_cast<void>(reader.AtCycle(cycle));
  }
}

void AskNumbers(const TraceSource& trace, const Index& index, const EventFilter& filter) {
  EventCounter counter(trace, index, filter);
  static_cast<void>(counter.Estimate());
  for (const uint64_t number : {0, 40, 99}) {
    static_cast<void>(counter.CountBefore(number));
    static_cast<void>(counter.Find(number));
  }
}

void AskEvents(const TraceSource& trace, const Index& index) {
  EventFilter filter;
  filter.fires = false;
  AskNumbers(trace, index, filter);
  filter.thread = 3;
  AskNumbers(trace, index, filter);
  filter.region = Region{{0, 0}, {1, 1}};
  AskNumbers(trace, index, filter);
  filter = EventFilter();
  filter.region = Region{{0, 0}, {1, 1}};
  filter.firstCycle = 2;
  EventCursor cursor(trace, index, filter);
  TraceEvent event;
  for (size_t found = 0; cursor.Next(event);) {
    Require(++found <= RECORDS, "there are no more events than the trace has");
  }
  for (size_t found = 0; cursor.Previous(event);) {
    Require(++found <= RECORDS, "there are no more events on the way back");
  }
  for (const uint64_t number : {uint64_t{1}, index.GetSummary().changes, uint64_t{30}}) {
    static_cast<void>(FindCycle(trace, index, number));
    static_cast<void>(FindChange(trace, index, number));
  }
}

void Ask(const TraceSource& trace, const Index& index) {
  AskActivity(trace, index);
  // One array that the trace fits, and one that it does not.
  AskStates(trace, index, {2, 1, 4});
  AskStates(trace, index, {1, 1, 4});
  AskEvents(trace, index);
  SuggestShape(index.GetSummary());
}

std::unique_ptr<Index> Load() {
  auto index = Index::Load(TheFolder().File(), TheFolder().Index());
  Require(index || !index.Why().reason.empty(), "no index without a reason");
  return index ? std::move(index).Take() : nullptr;
}

std::unique_ptr<Index> Open() {
  auto index = Index::Open(TheFolder().File());
  Require(static_cast<bool>(index), "whatever lies beside the trace, there is an index of it");
  return std::move(index).Take();
}

// Whether the directory of an index is what the trace says, as far as the records' numbers go.
bool IsRight(const Index& index) {
  static const Summary right = SoundContents(TheFolder().File(), RECORDS).directory.summary;
  const Summary& s = index.GetSummary();
  return s.records == right.records && s.bytes == right.bytes && s.fires == right.fires &&
         s.sends == right.sends && s.switches == right.switches && s.changes == right.changes &&
         s.firstCycle == right.firstCycle && s.maxCycle == right.maxCycle && s.falls == 0 &&
         s.fired == right.fired && s.sent == right.sent && s.array == right.array &&
         s.far == right.far && s.threads == right.threads && s.switchPlaces == right.switchPlaces &&
         s.switchesComplete && !s.end;
}

// An index that must not be believed.
void TryRefused(const std::vector<uint8_t>& file, bool open) {
  WriteIndex(file);
  Require(Load() == nullptr, "what is damaged or of another trace is refused");
  if (open) {
    const auto index = Open();
    Require(IsRight(*index), "what is refused is built anew");
    Ask(TheFolder().File(), *index);
  }
}

// Whether what can be read of an index is what a sound one has.
bool IsSoundAsFarAsItGoes(const Index& index) {
  static const auto loaded = Index::Load(TheFolder().File(), MemoryFile(SoundIndex(), "sound"));
  const Index& sound = **loaded;
  for (size_t b = 1; b <= sound.Boundaries().size(); ++b) {
    const auto codes = index.Keyframe(b);
    const auto right = sound.Keyframe(b);
    if (codes && !std::equal(codes->begin(), codes->end(), right->begin(), right->end())) {
      return false;
    }
    const IndexBoundary& boundary = sound.Boundaries()[b - 1];
    for (const Activity kind : {FIRES, SENDS, RECEIVES}) {
      std::vector<uint64_t> sums(size_t{boundary.columns} * boundary.rows);
      std::vector<uint64_t> rightSums(sums.size());
      Require(!sound.AddNode(b, kind, 1, boundary.columns, boundary.rows, rightSums),
              "a sound index has all its nodes");
      if (!index.AddNode(b, kind, 1, boundary.columns, boundary.rows, sums) && sums != rightSums) {
        return false;
      }
    }
  }
  return true;
}

// An index that is refused or, where its tables are sound, tells what is damaged when it is asked
// for it.
void TryDamaged(const std::vector<uint8_t>& file, bool open) {
  WriteIndex(file);
  if (const auto index = Load()) {
    Require(IsRight(*index) && IsSoundAsFarAsItGoes(*index), "what is damaged is not believed");
    Ask(TheFolder().File(), *index);
  }
  if (open) {
    const auto index = Index::Rebuild(TheFolder().File());
    Require(index && IsRight(**index), "what is damaged is built anew");
    Ask(TheFolder().File(), **index);
  }
}

// An index that may be believed.
void TryLoaded(const std::vector<uint8_t>& file) {
  WriteIndex(file);
  if (const auto index = Load()) {
    Ask(TheFolder().File(), *index);
  }
}

void Try(Input input) {
  const uint8_t mode = input.Byte();
  const bool unchanged = input.Left() == 0;
  switch (mode % 8) {
    case 0:
      TryLoaded(IndexOfBytes(input));
      break;
    case 1:
      TryLoaded(IndexOfDirectory(input));
      break;
    case 2:
      TryDamaged(DamagedIndex(input), mode >= 0xC0);
      break;
    case 3:
      TryRefused(ForeignIndex(input), mode >= 0xC0);
      break;
    case 4: {
      // One that is opened is extended or replaced where need be.
      WriteIndex(ChangedIndex(mode >= 0x80 ? RECORDS : OLD_RECORDS, input));
      const auto index = Open();
      Require(!unchanged || IsRight(*index), "a sound index is right, extended or not");
      Ask(TheFolder().File(), *index);
      break;
    }
    default: {
      // One that is loaded is taken as it is.
      TryLoaded(ChangedIndex(mode >= 0x80 ? RECORDS : OLD_RECORDS, input));
      Require(!unchanged || Load() != nullptr, "a sound index is believed");
    }
  }
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
