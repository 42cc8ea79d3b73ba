#include "trace/ask/NotesIndex.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "trace/ask/Walk.h"
#include "trace/base/BigEndian.h"
#include "trace/base/Zstd.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/SameTrace.h"

namespace marrowfin {

namespace {

// What the trace tells of the records of a block.
struct BlockRecords {
  std::vector<uint64_t> cycles;
  std::vector<uint8_t> types;
};

Result<BlockRecords> RecordsOf(const NotesBlock& block, const TraceSource& trace,
                               const Index& index) {
  BlockRecords records;
  records.cycles.reserve(block.count);
  records.types.reserve(block.count);
  const Fault fault = Walk(trace, index, block.first, block.first + block.count,
                           [&](const Columns& columns, size_t from, size_t to) {
                             for (size_t i = from; i < to; ++i) {
                               records.cycles.push_back(columns.cycle[i]);
                               records.types.push_back(static_cast<uint8_t>(columns.tag[i].type));
                             }
                             return true;
                           });
  if (Fault settled = Settle(trace, index, fault)) {
    return settled;
  }
  return records.cycles.size() == block.count ? Result<BlockRecords>(std::move(records))
                                              : Contradiction(trace, index);
}

NoteColumnSummary Summarize(const NoteColumn& column, NoteType type, const BlockRecords& records) {
  NoteColumnSummary summary;
  for (size_t i = 0; i < column.values.size(); ++i) {
    const uint32_t position = column.positions[i];
    summary.records += i == 0 || column.positions[i - 1] != position ? 1 : 0;
    summary.Add(type, type == NoteType::CYCLE ? records.cycles[position] - column.values[i]
                                              : column.values[i]);
  }
  return summary;
}

void AddTimes(const NoteColumn* column, NoteType type, const BlockRecords& records,
              NoteTimes& times) {
  size_t at = 0;
  for (size_t i = 0; i < records.cycles.size() && times.isTold; ++i) {
    const bool has =
        column != nullptr && at < column->positions.size() && column->positions[at] == i;
    times.Add(type, records.cycles[i], records.types[i],
              has ? std::optional(column->values[at]) : std::nullopt);
    at += has ? 1 : 0;
  }
}

Result<uint32_t> SumOf(const NotesFile& notes, const NotesEntry& entry) {
  uint8_t sum[4];
  const Fault fault =
      notes.File().ReadAt(entry.offset + NOTES_BLOCK_HEAD - sizeof(sum), sizeof(sum), sum);
  return fault ? Result<uint32_t>(fault) : Load32(sum);
}

bool IsSame(const TraceMark& a, const TraceMark& b) {
  return a.size == b.size && a.modified == b.modified && a.changed == b.changed &&
         a.inode == b.inode && a.edges == b.edges;
}

bool HasSum(const NotesFile& notes, const NotesEntry& block, const NoteEntryMark& mark) {
  const Result<uint32_t> sum = SumOf(notes, block);
  return sum && *sum == mark.sum;
}

// Whether the first blocks of a notes file are of the kinds of those of the tables, and lie where
// those did.
bool BeginsWith(const NotesFile& notes, const NoteTables& tables) {
  const auto blocks = notes.Blocks();
  const auto isNotes = [](const NotesEntry& block) { return block.kind == NotesBlockKind::NOTES; };
  return tables.entries.size() <= blocks.size() &&
         std::count_if(blocks.begin(),
                       blocks.begin() + static_cast<ptrdiff_t>(tables.entries.size()),
                       isNotes) == static_cast<ptrdiff_t>(tables.blocks.size()) &&
         std::equal(
             tables.entries.begin(), tables.entries.end(), blocks.begin(),
             [](const NoteEntryMark& a, const NotesEntry& b) { return a.offset == b.offset; });
}

// What a notes file is to the tables of one. Of one that grew each block is known by its checksum.
// An attribute that is new is counted from the first record on, so its notes are read once more.
Likeness LikenessOf(const NoteTables& tables, const NotesFile& notes) {
  const FileIdentity& now = notes.File().Identity();
  const auto blocks = notes.Blocks();
  const size_t known = tables.entries.size();
  if (tables.notesInode != now.inode || !BeginsWith(notes, tables)) {
    return Likeness::OTHER;
  }
  if (tables.notesSize == now.size && tables.notesModified == now.modified &&
      tables.notesChanged == now.changed) {
    const bool same = known == blocks.size() &&
                      (known == 0 || HasSum(notes, blocks.back(), tables.entries.back()));
    return same ? Likeness::SAME : Likeness::OTHER;
  }
  bool grown = tables.notesSize < now.size && !tables.blocks.empty() &&
               tables.times.size() == notes.Declarations().attributes.size();
  for (size_t i = 0; i < known && grown; ++i) {
    grown = HasSum(notes, blocks[i], tables.entries[i]);
  }
  return grown ? Likeness::GROWN : Likeness::OTHER;
}

// The bytes that the directory takes at most.
uint64_t LargestDirectory(const NotesFile& notes) {
  constexpr uint64_t ENTRY = 16 + NOTES_MOST_ATTRIBUTES * 34;
  constexpr uint64_t COUNTER = 60;
  return (notes.Blocks().size() + NOTES_MOST_ATTRIBUTES * 4 + 4) * ENTRY +
         (CounterTable::Limits().series + NOTES_MOST_COUNTERS) * COUNTER;
}

// Appends sections to a draft; after a failed write nothing more is written.
class Sections {
 public:
  explicit Sections(IndexDraft& draft) : draft(draft) { Put(NOTES_INDEX_MAGIC); }

  IndexSection Append(std::span<const uint8_t> raw) {
    const std::vector<uint8_t> packed = Pack(raw);
    const IndexSection section = {draft.Size(), packed.size(), raw.size()};
    Put(packed);
    return section;
  }

  void Put(std::span<const uint8_t> bytes) {
    if (!fault) {
      fault = draft.Append(bytes);
    }
  }

  const Fault& GetFault() const { return fault; }

 private:
  IndexDraft& draft;
  Fault fault;
};

}  // namespace

Fault NotesIndex::Damaged(const std::string& reason) const {
  Fault fault;
  fault.kind = Fault::DAMAGED_INDEX;
  fault.file = file == nullptr ? "" : file->Name();
  fault.reason = reason;
  fault.remedy = "remove it; it is made again";
  return fault;
}

Result<std::vector<uint8_t>> NotesIndex::Section(const IndexSection& section) const {
  std::vector<uint8_t> packed(static_cast<size_t>(section.packedSize));
  std::vector<uint8_t> raw;
  if (Fault fault = file->ReadAt(section.offset, packed.size(), packed.data())) {
    return fault;
  }
  if (!Unpack(packed, static_cast<size_t>(section.rawSize), raw)) {
    return Damaged("a section of the index is damaged");
  }
  return raw;
}

// What trace and notes are to those that the index is of.
Likeness NotesIndex::LikenessTo(const TraceSource& trace, const TraceMark& mark,
                                const NotesFile& notes) const {
  const bool sameTrace = IsSame(mark, tables.trace);
  const bool grownTrace =
      sameTrace || (mark.inode == tables.trace.inode && mark.size > tables.trace.size &&
                    !tables.blocks.empty() && HasEdges(trace, tables.trace));
  const Likeness likeness = LikenessOf(tables, notes);
  // Notes of a trace that grew have grown as well, or will: then they are compared.
  return sameTrace || likeness == Likeness::OTHER ? likeness
         : grownTrace                             ? Likeness::GROWN
                                                  : Likeness::OTHER;
}

// A fault of any kind where it is none of this trace and these notes, nor of those before they
// grew.
Result<std::unique_ptr<NotesIndex>> NotesIndex::Load(const TraceSource& trace,
                                                     const TraceMark& mark, const NotesFile& notes,
                                                     std::unique_ptr<PositionedFile> file) {
  std::unique_ptr<NotesIndex> index(new NotesIndex());
  index->file = std::move(file);
  const Fault none = index->Damaged("this is no index of these notes");
  uint8_t magic[sizeof(NOTES_INDEX_MAGIC)];
  uint8_t footer[INDEX_FOOTER];
  const uint64_t size = index->file->Size();
  IndexSection directory;
  if (size < sizeof(magic) + sizeof(footer) || index->file->ReadAt(0, sizeof(magic), magic) ||
      memcmp(magic, NOTES_INDEX_MAGIC, sizeof(magic)) != 0 ||
      index->file->ReadAt(size - sizeof(footer), sizeof(footer), footer) ||
      !DecodeFooter(footer, directory) || directory.offset > size - sizeof(footer) ||
      directory.packedSize > size - sizeof(footer) - directory.offset ||
      directory.rawSize > LargestDirectory(notes)) {
    return none;
  }
  const Result<std::vector<uint8_t>> bytes = index->Section(directory);
  std::vector<IndexSection> times;
  NoteTables& tables = index->tables;
  if (!bytes || !DecodeNoteTables(*bytes, directory.offset, notes.Blocks().size(), tables, times) ||
      index->LikenessTo(trace, mark, notes) == Likeness::OTHER) {
    return none;
  }
  for (size_t i = 0; i < times.size(); ++i) {
    const Result<std::vector<uint8_t>> section = index->Section(times[i]);
    std::optional<TimeTable> table = section ? TimeTable::Decode(*section) : std::nullopt;
    const auto isNumber = [&](uint32_t number) { return number <= tables.times[i].values.size(); };
    if (!table || !std::all_of(table->Threads().begin(), table->Threads().end(), isNumber)) {
      return none;
    }
    // Into one that is bounded as it was, for what will be added.
    if (!tables.times[i].table.Merge(*table)) {
      return none;
    }
  }
  return index;
}

Result<std::unique_ptr<NotesIndex>> NotesIndex::Open(const TraceSource& trace, const Index& index,
                                                     NotesOfTrace& notes,
                                                     const ProgressCallback& progress) {
  return Open(trace, index, notes, *IndexFilesOf(notes.File().File()), progress);
}

Result<std::unique_ptr<NotesIndex>> NotesIndex::Open(const TraceSource& trace, const Index& index,
                                                     NotesOfTrace& notes, IndexStore& store,
                                                     const ProgressCallback& progress) {
  const Result<TraceMark> mark = MarkOf(trace);
  if (!mark) {
    return mark.Why();
  }
  for (std::unique_ptr<PositionedFile>& file : store.Find()) {
    Result<std::unique_ptr<NotesIndex>> loaded = Load(trace, *mark, notes.File(), std::move(file));
    if (!loaded) {
      continue;
    }
    if ((*loaded)->LikenessTo(trace, *mark, notes.File()) == Likeness::GROWN) {
      loaded = Extend(std::move(loaded).Take(), trace, index, *mark, notes, store, progress);
    }
    if (loaded) {
      notes.Know(&(*loaded)->tables);
      return loaded;
    }
    if (loaded.Why().kind == Fault::CANCELLED) {
      return loaded;
    }
  }
  return Rebuild(trace, index, notes, store, progress);
}

// Takes up what came behind the blocks that the index knows. The last of those is compared with the
// trace once more: one that was written anew has other records there.
Result<std::unique_ptr<NotesIndex>> NotesIndex::Extend(std::unique_ptr<NotesIndex> grown,
                                                       const TraceSource& trace, const Index& index,
                                                       const TraceMark& mark, NotesOfTrace& notes,
                                                       IndexStore& store,
                                                       const ProgressCallback& progress) {
  notes.Blocks();
  const Result<const NotesBlock*> last = notes.Block(grown->tables.blocks.size() - 1);
  if (!last || *last == nullptr) {
    return last ? grown->Damaged("this is no index of these notes") : last.Why();
  }
  if (Fault fault = grown->Follow(trace, index, notes, progress)) {
    return fault;
  }
  grown->Keep(mark, notes.File(), store);
  return grown;
}

Result<std::unique_ptr<NotesIndex>> NotesIndex::Rebuild(const TraceSource& trace,
                                                        const Index& index, NotesOfTrace& notes,
                                                        IndexStore& store,
                                                        const ProgressCallback& progress) {
  const Result<TraceMark> mark = MarkOf(trace);
  if (!mark) {
    return mark.Why();
  }
  std::unique_ptr<NotesIndex> made(new NotesIndex());
  made->counters = std::make_unique<CounterTable>();
  if (Fault fault = made->TakeUp(trace, index, notes, progress)) {
    return fault;
  }
  made->Keep(*mark, notes.File(), store);
  notes.Know(&made->tables);
  return made;
}

Fault NotesIndex::Follow(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                         const ProgressCallback& progress) {
  if (Fault fault = LoadCounters()) {
    return fault;
  }
  return TakeUp(trace, index, notes, progress);
}

// Takes all counters into memory, where they can be added to.
Fault NotesIndex::LoadCounters() {
  if (counters != nullptr) {
    return {};
  }
  auto all = std::make_unique<CounterTable>();
  for (const CounterSection& counter : tables.counters) {
    Result<CounterSeries> series = Series(counter.key);
    if (!series) {
      return series.Why();
    }
    all->Put(counter.key, std::move(series).Take());
  }
  all->SetWhole(tables.countersWhole);
  counters = std::move(all);
  file.reset();
  return {};
}

Fault NotesIndex::TakeUp(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                         const ProgressCallback& progress) {
  const auto entries = notes.File().Blocks();
  while (tables.entries.size() < entries.size()) {
    const size_t number = tables.entries.size();
    const NotesEntry& entry = entries[number];
    const Result<uint32_t> sum = SumOf(notes.File(), entry);
    if (entry.kind == NotesBlockKind::NOTES) {
      const Result<bool> taken = TakeNotes(trace, index, notes);
      if (!taken) {
        return taken.Why();
      }
      if (!*taken) {
        whole = false;
        return {};
      }
    } else if (!noCounters) {
      TakeSamples(notes.File(), number);
    }
    tables.entries.push_back({entry.offset, sum ? *sum : 0});
    if (progress && !progress({entry.offset, notes.File().File().Size(), Progress::BYTES})) {
      return CancelledFault(notes.File().Name());
    }
  }
  tables.countersWhole = counters->IsWhole();
  whole = whole && !noCounters;
  return {};
}

// The next block of notes. False where it is about records that are still to come.
Result<bool> NotesIndex::TakeNotes(const TraceSource& trace, const Index& index,
                                   NotesOfTrace& notes) {
  const size_t number = tables.blocks.size();
  notes.Blocks();
  const Result<const NotesBlock*> block = notes.Block(number);
  if (!block) {
    return block.Why();
  }
  if (*block == nullptr) {
    if (notes.Refused().kind == Fault::OTHER_TRACE) {
      return notes.Refused();
    }
    whole = false;
    if (notes.Entry(number).high <= index.GetSummary().records) {
      tables.blocks.emplace_back();
      return true;
    }
    return false;
  }
  const Result<BlockRecords> records = RecordsOf(**block, trace, index);
  if (!records) {
    return records.Why();
  }
  const auto& attributes = notes.Declarations().attributes;
  NoteBlockSummary summary = {true, std::vector<NoteColumnSummary>(attributes.size())};
  std::vector<const NoteColumn*> columns(attributes.size());
  for (const NoteColumn& column : (*block)->columns) {
    columns[column.attribute] = &column;
    summary.columns[column.attribute] =
        Summarize(column, attributes[column.attribute].type, *records);
  }
  tables.blocks.push_back(std::move(summary));
  for (uint32_t attribute = 0; attribute < attributes.size(); ++attribute) {
    if (tables.times.size() == attribute) {
      // Of one that was declared meanwhile the records so far were not counted.
      const NoteType type = attributes[attribute].type;
      NoteTimes times;
      times.attribute = attribute;
      times.isTold =
          tables.blocks.size() == 1 && (type == NoteType::NAME || type == NoteType::NUMBER);
      tables.times.push_back(std::move(times));
    }
    AddTimes(columns[attribute], attributes[attribute].type, *records, tables.times[attribute]);
  }
  return true;
}

void NotesIndex::TakeSamples(const NotesFile& notes, size_t number) {
  const Result<std::vector<CounterSample>> samples = notes.Samples(number);
  noCounters = samples.Why();
  if (samples) {
    for (const CounterSample& sample : *samples) {
      counters->Add(sample);
    }
  }
}

// An index that cannot be kept stays in memory.
void NotesIndex::Keep(const TraceMark& mark, const NotesFile& notes, IndexStore& store) {
  if (!whole) {
    return;
  }
  const Result<std::unique_ptr<IndexDraft>> draft = store.Create();
  if (!draft) {
    return;
  }
  const FileIdentity& identity = notes.File().Identity();
  tables.trace = mark;
  tables.notesSize = identity.size;
  tables.notesModified = identity.modified;
  tables.notesChanged = identity.changed;
  tables.notesInode = identity.inode;
  Sections sections(**draft);
  tables.counters.clear();  // of the index that this one goes on from
  std::vector<IndexSection> times;
  for (const NoteTimes& attribute : tables.times) {
    times.push_back(sections.Append(attribute.table.Encode()));
  }
  for (const CounterTable::Entry& entry : counters->Entries()) {
    tables.counters.push_back({entry.key, sections.Append(entry.series.Encode())});
  }
  const IndexSection directory = sections.Append(EncodeNoteTables(tables, times));
  uint8_t footer[INDEX_FOOTER];
  EncodeFooter(directory, footer);
  sections.Put(footer);
  if (sections.GetFault()) {
    return;
  }
  Result<std::unique_ptr<PositionedFile>> kept = (*draft)->Commit();
  if (kept) {
    file = std::move(kept).Take();
    counters.reset();
  }
}

Result<CounterSeries> NotesIndex::Series(const CounterKey& key) const {
  if (counters != nullptr) {
    const CounterSeries* const series = counters->Find(key);
    return series == nullptr ? CounterSeries() : *series;
  }
  const auto found =
      std::find_if(tables.counters.begin(), tables.counters.end(),
                   [&](const CounterSection& counter) { return counter.key == key; });
  if (found == tables.counters.end()) {
    return CounterSeries();
  }
  const Result<std::vector<uint8_t>> bytes = Section(found->section);
  if (!bytes) {
    return bytes.Why();
  }
  std::optional<CounterSeries> series = CounterSeries::Decode(*bytes);
  return series ? Result<CounterSeries>(std::move(*series))
                : Damaged("a counter of the index is damaged");
}

std::vector<Place> NotesIndex::PlacesOf(uint32_t counter) const {
  std::vector<Place> places;
  const auto add = [&](const CounterKey& key) {
    if (key.counter == counter && !key.all) {
      places.push_back(key.at);
    }
  };
  if (counters != nullptr) {
    for (const CounterTable::Entry& entry : counters->Entries()) {
      add(entry.key);
    }
  } else {
    for (const CounterSection& section : tables.counters) {
      add(section.key);
    }
  }
  return places;
}

}  // namespace marrowfin
