#include "trace/index/Index.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <utility>

#include "trace/index/IndexFormat.h"
#include "trace/index/Pack.h"
#include "trace/index/SameTrace.h"
#include "trace/index/SectionCache.h"
#include "trace/index/ThreadMask.h"

namespace marrowfin {

namespace {

constexpr size_t CACHED_BYTES = 8 << 20;
constexpr char DAMAGED_NODE[] = "a node of the index is damaged";

Fault NotUsable(const std::string& file, const std::string& reason) {
  Fault fault;
  fault.kind = Fault::DAMAGED_INDEX;
  fault.file = file;
  fault.reason = reason;
  fault.remedy = "remove it, it is built again";
  return fault;
}

// The bytes of a section, unpacked; nothing where they are damaged.
bool ReadPacked(const PositionedFile& file, const IndexSection& section,
                std::vector<uint8_t>& raw) {
  std::vector<uint8_t> packed(static_cast<size_t>(section.packedSize));
  return !file.ReadAt(section.offset, packed.size(), packed.data()) &&
         Unpack(packed, static_cast<size_t>(section.rawSize), raw);
}

// Where the directory lies; nothing in a file that is no index of this version, or not a whole one.
bool ReadFooter(const PositionedFile& file, IndexSection& directory) {
  uint8_t magic[sizeof(INDEX_MAGIC)];
  uint8_t footer[INDEX_FOOTER];
  if (file.Size() < sizeof(magic) + sizeof(footer)) {
    return false;
  }
  const uint64_t end = file.Size() - sizeof(footer);
  return !file.ReadAt(0, sizeof(magic), magic) && memcmp(magic, INDEX_MAGIC, sizeof(magic)) == 0 &&
         !file.ReadAt(end, sizeof(footer), footer) && DecodeFooter(footer, directory) &&
         directory.offset <= end && directory.packedSize == end - directory.offset;
}

// What is larger than the directory of such a trace is none, and no memory is spent on it.
bool ReadTables(const PositionedFile& file, const IndexSection& directory, uint64_t traceSize,
                IndexTables& tables) {
  const uint64_t largest = LargestDirectory(traceSize);
  std::vector<uint8_t> raw;
  return directory.rawSize <= largest && directory.packedSize <= 2 * largest &&
         ReadPacked(file, directory, raw) && DecodeDirectory(raw, directory.offset, tables);
}

}  // namespace

Index::Index(std::shared_ptr<const IndexTables> tables, std::shared_ptr<const PositionedFile> file,
             std::shared_ptr<const TimeTable> times, const Fault& whyUnkept)
    : tables(std::move(tables)),
      file(std::move(file)),
      allTimes(std::move(times)),
      whyUnkept(whyUnkept),
      cache(std::make_unique<SectionCache>(CACHED_BYTES)) {}

Index::~Index() = default;

std::unique_ptr<Index> Index::Another() const {
  return std::make_unique<Index>(tables, file, allTimes, whyUnkept);
}

Result<std::unique_ptr<Index>> Index::Load(const TraceSource& trace, const std::string& file) {
  Result<std::unique_ptr<PositionedFile>> opened = OpenPlainFile(file, PlainAccess::READ);
  if (!opened) {
    return opened.Why();
  }
  return Load(trace, std::move(opened).Take());
}

Result<std::unique_ptr<Index>> Index::Load(const TraceSource& trace,
                                           std::unique_ptr<PositionedFile> file) {
  IndexSection directory;
  auto tables = std::make_shared<IndexTables>();
  if (!ReadFooter(*file, directory)) {
    return NotUsable(file->Name(),
                     "this is no index, or not a whole one, or one of another version");
  }
  if (!ReadTables(*file, directory, trace.Size(), *tables)) {
    return NotUsable(file->Name(), "the directory of the index is damaged");
  }
  if (LikenessOf(trace, *tables) == Likeness::OTHER) {
    return NotUsable(file->Name(),
                     "the index belongs to another trace, or to an older state of it");
  }
  tables->summary.end.file = trace.Name();
  return std::make_unique<Index>(std::move(tables), std::move(file));
}

Fault Index::Damaged(const std::string& reason) const { return NotUsable(FileName(), reason); }

Result<std::vector<uint8_t>> Index::ReadSection(const IndexSection& section) const {
  std::vector<uint8_t> raw;
  if (!ReadPacked(*file, section, raw)) {
    return Damaged("a section of the index at byte " + std::to_string(section.offset) +
                   " is damaged");
  }
  return raw;
}

// The contents of a section, good until the next one is read. What begins at a byte has one size,
// whatever sizes a directory gives it.
Result<const std::vector<uint8_t>*> Index::Section(const IndexSection& section) const {
  const std::vector<uint8_t>* known = cache->Find(section.offset);
  if (known != nullptr && known->size() == section.rawSize) {
    return known;
  }
  Result<std::vector<uint8_t>> raw = ReadSection(section);
  if (!raw) {
    return raw.Why();
  }
  return &cache->Put(section.offset, std::move(raw).Take());
}

Result<TimeTable> Index::TimesAtLastBoundary() const {
  const Result<std::vector<uint8_t>> raw = ReadSection(tables->times);
  if (!raw) {
    return raw.Why();
  }
  std::optional<TimeTable> table = DecodeTimes(*raw, tables->atLastBoundary);
  if (!table) {
    return Damaged("the time table of the index is damaged");
  }
  return std::move(*table);
}

Result<const TimeTable*> Index::Times() const {
  if (allTimes) {
    return allTimes.get();
  }
  Result<TimeTable> before = TimesAtLastBoundary();
  if (!before) {
    return before.Why();
  }
  const Result<std::vector<uint8_t>> raw = ReadSection(tables->furtherTimes);
  if (!raw) {
    return raw.Why();
  }
  std::optional<TimeTable> table =
      DecodeFurtherTimes(std::move(before).Take(), *raw, tables->summary);
  if (!table) {
    return Damaged("the time table of the index is damaged");
  }
  allTimes = std::make_shared<const TimeTable>(std::move(*table));
  return allTimes.get();
}

Result<std::span<const uint8_t>> Index::Keyframe(size_t b) const {
  const auto keyframe = Section(tables->boundaries[b - 1].keyframe);
  if (!keyframe) {
    return keyframe.Why();
  }
  return std::span<const uint8_t>(**keyframe);
}

Fault Index::AddNode(size_t b, Activity activity, int sign, uint32_t columns, uint32_t rows,
                     std::vector<uint64_t>& sums) const {
  const IndexBoundary& boundary = tables->boundaries[b - 1];
  const bool elements = activity < TRANSMISSIONS;
  const size_t cells = CountersOf(boundary, activity);
  const auto narrow = Section(boundary.node[activity]);
  if (!narrow) {
    return narrow.Why();
  }
  // The node of a time when the array was as large as it ends up to be needs no copy.
  const bool whole = sums.size() == cells && (!elements || boundary.columns == columns);
  std::vector<uint64_t> part(whole ? 0 : cells);
  if (!AddNarrow(**narrow, sign, whole ? sums : part)) {
    return Damaged(DAMAGED_NODE);
  }
  if (whole) {
    return {};
  }
  const uint32_t partColumns = elements ? boundary.columns : static_cast<uint32_t>(cells);
  const uint32_t partRows = elements ? boundary.rows : 1;
  const uint32_t sumColumns = elements ? columns : static_cast<uint32_t>(sums.size());
  for (uint32_t row = 0; row < std::min(partRows, elements ? rows : 1); ++row) {
    for (uint32_t column = 0; column < std::min(partColumns, sumColumns); ++column) {
      sums[static_cast<size_t>(row) * sumColumns + column] +=
          part[static_cast<size_t>(row) * partColumns + column];
    }
  }
  return {};
}

// The counts of a node, as many as its boundary says.
Result<const std::vector<uint8_t>*> Index::Node(size_t b, Activity activity) const {
  const IndexBoundary& boundary = tables->boundaries[b - 1];
  Result<const std::vector<uint8_t>*> narrow = Section(boundary.node[activity]);
  if (narrow && !IsNarrow(**narrow, CountersOf(boundary, activity))) {
    return Damaged(DAMAGED_NODE);
  }
  return narrow;
}

Result<uint64_t> Index::SumNode(size_t b, Activity activity, Place first, Place last) const {
  const auto narrow = Node(b, activity);
  if (!narrow) {
    return narrow.Why();
  }
  const IndexBoundary& boundary = tables->boundaries[b - 1];
  const size_t end = std::min<size_t>(size_t{last.column} + 1, boundary.columns);
  uint64_t sum = 0;
  for (size_t row = first.row; row < boundary.rows && row <= last.row && first.column < end;
       ++row) {
    const size_t start = row * boundary.columns;
    sum += SumNarrow(**narrow, start + first.column, start + end);
  }
  return sum;
}

Result<uint64_t> Index::SumCounters(size_t b, Activity activity,
                                    std::span<const size_t> numbers) const {
  const auto narrow = Node(b, activity);
  if (!narrow) {
    return narrow.Why();
  }
  const size_t counters = CountersOf(tables->boundaries[b - 1], activity);
  uint64_t sum = 0;
  for (const size_t number : numbers) {
    sum += number < counters ? SumNarrow(**narrow, number, number + 1) : 0;
  }
  return sum;
}

// Of which levels there are masks: the uppermost ones.
bool Index::HasMask(size_t b, size_t level) const {
  const size_t levels = static_cast<size_t>(std::countr_zero(b)) + 1;
  return level < levels && level + tables->boundaries[b - 1].masks.size() >= levels;
}

const IndexSection& Index::MaskSection(size_t b, size_t level) const {
  const std::vector<IndexSection>& masks = tables->boundaries[b - 1].masks;
  const size_t levels = static_cast<size_t>(std::countr_zero(b)) + 1;
  return masks[level + masks.size() - levels];
}

Result<std::span<const uint8_t>> Index::Mask(size_t b, size_t level) const {
  const auto section = Section(MaskSection(b, level));
  if (!section) {
    return section.Why();
  }
  return std::span<const uint8_t>(**section);
}

Result<uint8_t> Index::MaskOf(size_t b, size_t level, Place first, Place last) const {
  const auto section = Section(MaskSection(b, level));
  if (!section) {
    return section.Why();
  }
  const IndexBoundary& boundary = tables->boundaries[b - 1];
  return ThreadMask::Gather(**section, boundary.columns, boundary.rows, first, last);
}

Fault Index::CheckBoundary(size_t b) const {
  if (Fault fault = Keyframe(b).Why()) {
    return fault;
  }
  for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS, THREAD_RECORDS}) {
    if (Fault fault = Node(b, activity).Why()) {
      return fault;
    }
  }
  for (size_t level = 0; level <= static_cast<size_t>(std::countr_zero(b)); ++level) {
    if (Fault fault = HasMask(b, level) ? Mask(b, level).Why() : Fault()) {
      return fault;
    }
  }
  return {};
}

Fault Index::CheckSections() const {
  for (size_t b = 1; b <= tables->boundaries.size(); ++b) {
    if (Fault fault = CheckBoundary(b)) {
      return fault;
    }
  }
  return Times().Why();
}

}  // namespace marrowfin
