#include "trace/index/Index.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <thread>

#include "trace/index/IndexBuilder.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/IndexWriter.h"
#include "trace/index/Pack.h"
#include "trace/index/ThreadMask.h"
#include "trace/read/Reader.h"

namespace marrowfin {

namespace {

constexpr uint64_t EDGE = 4096;

Fault NotUsable(const std::string& file, const std::string& reason) {
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.file = file;
  fault.reason = reason;
  fault.remedy = "remove it, it is built again";
  return fault;
}

// A checksum of the first and the last bytes of the first `size` bytes of the trace.
Result<uint32_t> EdgesOf(const TraceFile& trace, uint64_t size) {
  const size_t length = static_cast<size_t>(std::min(size, EDGE));
  std::vector<uint8_t> bytes(length);
  uLong crc = crc32(0, nullptr, 0);
  for (const uint64_t offset : {uint64_t{0}, size - length}) {
    if (Fault fault = trace.Copy(offset, length, bytes.data())) {
      return fault;
    }
    crc = crc32(crc, bytes.data(), static_cast<uInt>(length));
  }
  return static_cast<uint32_t>(crc);
}

std::string CacheFolder() {
  // A relative one counts as not set.
  if (const char* cache = getenv("XDG_CACHE_HOME"); cache != nullptr && *cache == '/') {
    return std::string(cache) + "/marrowfin";
  }
  const char* home = getenv("HOME");
  return home == nullptr || *home == '\0' ? "" : std::string(home) + "/.cache/marrowfin";
}

// Where an index of the trace may lie, best first.
std::vector<std::string> Places(const std::string& traceName) {
  std::vector<std::string> places = {traceName + ".mfindex"};
  const std::string folder = CacheFolder();
  if (!folder.empty()) {
    std::error_code error;
    std::string path = std::filesystem::absolute(traceName, error).lexically_normal().string();
    const size_t hash = std::hash<std::string>()(path);
    places.push_back(folder + "/" + std::filesystem::path(traceName).filename().string() + "-" +
                     std::to_string(hash) + ".mfindex");
  }
  return places;
}

uint64_t Nanoseconds(const struct timespec& time) {
  return static_cast<uint64_t>(time.tv_sec) * 1000000000 + static_cast<uint64_t>(time.tv_nsec);
}

// The clock of file times moves on in ticks of some milliseconds, and what is written within the
// tick of a change leaves the time as that change made it. So a trace is not read before the tick
// of its last change is over: whatever is written later than that shows in its time.
void LetTickPass(const TraceFile& trace) {
  constexpr uint64_t TICK = 20000000;
  const uint64_t modified = trace.GetIdentity().modified;
  for (uint64_t waited = 0; waited < TICK; waited += 1000000) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (modified < Nanoseconds(now) || modified - Nanoseconds(now) > TICK) {
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Adds the records from byte `offset` on to what is built, as long as it can be written; the fault
// that ends them is put into `end`. A fault of its own where the caller asked to stop or the file
// could not be read.
Fault AddRecords(const TraceFile& trace, uint64_t offset, const IndexWriter& writer,
                 IndexBuilder& builder, const ProgressCallback& progress, Fault& end) {
  ReadOptions options;
  options.ordered = false;
  Reader reader(PieceSource(trace.File(), offset, trace.Size() - offset), trace.Name(), options);
  Columns columns;
  while (!writer.Failed() && reader.Next(columns)) {
    builder.Add(columns);
    if (progress && !progress({offset + reader.Offset(), trace.Size(), Progress::BYTES})) {
      return CancelledFault(trace.Name());
    }
  }
  end = reader.GetFault();
  if (end.kind == Fault::SYSTEM || end.kind == Fault::CHANGED) {
    // What the system refuses now says nothing about the trace.
    Fault fault = end;
    fault.offset += offset;
    return fault;
  }
  return {};
}

Fault WrittenMeanwhile(const TraceFile& trace) {
  Fault fault = trace.Changed(0);
  fault.reason = "the file was written to while it was read";
  return fault;
}

// Only faults in the trace itself end up here, so the texts are all that is kept of them.
IndexDirectory DirectoryOf(const TraceFile& trace, IndexBuilder& builder, const Fault& end) {
  IndexDirectory directory;
  directory.summary = builder.GetSummary();
  directory.summary.end = end;
  directory.summary.end.file = "";
  directory.summary.end.record = directory.summary.records;
  directory.summary.end.offset = directory.summary.bytes;
  directory.atLastBoundary = builder.AtLastBoundary();
  directory.complete = builder.Complete();
  directory.stride = builder.Stride();
  directory.entries = builder.TakeEntries();
  directory.boundaries = builder.TakeBoundaries();
  directory.traceSize = trace.Size();
  directory.traceModified = trace.GetIdentity().modified;
  directory.traceChanged = trace.GetIdentity().changed;
  directory.traceInode = trace.GetIdentity().inode;
  return directory;
}

}  // namespace

Index::~Index() {
  if (descriptor != -1) {
    close(descriptor);
  }
}

Result<std::unique_ptr<Index>> Index::Open(const TraceFile& trace,
                                           const ProgressCallback& progress) {
  LetTickPass(trace);
  const std::vector<std::string> places = Places(trace.Name());
  std::unique_ptr<Index> grown;
  for (const std::string& place : places) {
    Result<std::unique_ptr<Index>> index = Load(trace, place);
    if (index && (*index)->IsOf(trace)) {
      return index;
    }
    if (index && !grown) {
      grown = std::move(index).Take();
    }
  }
  for (const std::string& place : places) {
    std::error_code error;
    if (place != places.front()) {
      std::filesystem::create_directories(std::filesystem::path(place).parent_path(), error);
    }
    Result<std::unique_ptr<Index>> index = Make(trace, place, grown.get(), progress);
    const Fault fault = index.Why();
    if (index || fault.kind != Fault::SYSTEM || fault.file != place) {
      return index;
    }
  }
  return Make(trace, "", grown.get(), progress);
}

Fault Index::Build(const TraceFile& trace, const std::string& file,
                   const ProgressCallback& progress, IndexLimits limits) {
  LetTickPass(trace);
  return Make(trace, file, nullptr, progress, limits).Why();
}

Result<std::unique_ptr<Index>> Index::Make(const TraceFile& trace, const std::string& file,
                                           const Index* grown, const ProgressCallback& progress,
                                           IndexLimits limits) {
  const Result<int> descriptor = Write(trace, file, grown, progress, limits);
  if (!descriptor) {
    return descriptor.Why();
  }
  Result<std::unique_ptr<Index>> index = OpenDescriptor(trace, *descriptor, file);
  // Whoever writes a trace anew makes it shorter, and then perhaps longer than it was.
  if (index && !trace.IsUntouched() && !(*index)->SamplesAgree(trace)) {
    return WrittenMeanwhile(trace);
  }
  // What grew out of an index that somebody made up may contradict itself.
  return index || grown == nullptr ? std::move(index)
                                   : Make(trace, file, nullptr, progress, limits);
}

// Makes the file and returns a descriptor for reading it.
Result<int> Index::Write(const TraceFile& trace, const std::string& file, const Index* grown,
                         const ProgressCallback& progress, IndexLimits limits) {
  IndexWriter writer;
  if (Fault fault = writer.Open(file, trace.File().Permissions())) {
    return fault;
  }
  const Result<uint32_t> before = EdgesOf(trace, trace.Size());
  if (!before) {
    return before.Why();
  }
  IndexBuilder builder([&](std::span<const uint8_t> raw) { return writer.Append(raw); }, limits);
  uint64_t offset = 0;
  if (grown != nullptr && grown->complete && !grown->boundaries.empty()) {
    if (!writer.CopyData(grown->descriptor, grown->EndOfBoundaries()) ||
        builder.Resume(*grown, grown->atLastBoundary)) {
      return Write(trace, file, nullptr, progress, limits);
    }
    offset = grown->boundaries.back().offset;
  }
  Fault end;
  if (Fault fault = AddRecords(trace, offset, writer, builder, progress, end)) {
    return fault;
  }
  builder.Finish();
  const Result<uint32_t> after = EdgesOf(trace, trace.Size());
  if (!after) {
    return after.Why();
  }
  if (Fault fault = trace.CheckUnchanged()) {
    return fault;
  }
  if (*after != *before) {
    return WrittenMeanwhile(trace);
  }
  IndexDirectory directory = DirectoryOf(trace, builder, end);
  directory.traceEdges = *after;
  directory.times = writer.Append(builder.Times().Encode());
  directory.furtherTimes = writer.Append(builder.FurtherTimes().Encode());
  return writer.Commit(directory);
}

Result<std::unique_ptr<Index>> Index::Load(const TraceFile& trace, const std::string& file) {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor == -1) {
    return SystemFault(file, "cannot open", errno);
  }
  Result<std::unique_ptr<Index>> index = OpenDescriptor(trace, descriptor, file);
  if (!index) {
    return index;
  }
  if (Fault fault = (*index)->CheckWhole()) {
    return fault;
  }
  return index;
}

Result<std::unique_ptr<Index>> Index::OpenDescriptor(const TraceFile& trace, int descriptor,
                                                     const std::string& file) {
  std::unique_ptr<Index> index(new Index());
  index->descriptor = descriptor;
  index->fileName = file;
  if (Fault fault = index->ReadFooter()) {
    return fault;
  }
  if (Fault fault = index->ReadDirectory(LargestDirectory(trace.Size()))) {
    return fault;
  }
  if (Fault fault = index->Recognise(trace)) {
    return fault;
  }
  return index;
}

// The end of all that boundaries name: what lies behind it is made anew when the trace has grown.
uint64_t Index::EndOfBoundaries() const {
  uint64_t end = 0;
  for (const IndexBoundary& boundary : boundaries) {
    end = std::max(end, boundary.keyframe.offset + boundary.keyframe.packedSize);
    for (const IndexSection& section : boundary.node) {
      end = std::max(end, section.offset + section.packedSize);
    }
    for (const IndexSection& section : boundary.masks) {
      end = std::max(end, section.offset + section.packedSize);
    }
  }
  return end;
}

Fault Index::ReadFooter() {
  struct stat status;
  uint8_t magic[sizeof(INDEX_MAGIC)];
  uint8_t bytes[INDEX_FOOTER];
  IndexFooter footer;
  const ssize_t least = sizeof(magic) + sizeof(bytes);
  const bool whole =
      fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= least &&
      pread(descriptor, magic, sizeof(magic), 0) == sizeof(magic) &&
      memcmp(magic, INDEX_MAGIC, sizeof(magic)) == 0 &&
      pread(descriptor, bytes, sizeof(bytes), status.st_size - static_cast<off_t>(sizeof(bytes))) ==
          sizeof(bytes) &&
      DecodeFooter(bytes, footer);
  fileSize = whole ? static_cast<uint64_t>(status.st_size) : 0;
  directorySection = footer.directory;
  checksum = footer.sum;
  const uint64_t end = fileSize - sizeof(bytes);
  if (!whole || directorySection.offset > end ||
      directorySection.packedSize != end - directorySection.offset) {
    return NotUsable(fileName, "this is no index, or not a whole one, or one of another version");
  }
  return {};
}

// What is larger than `largest` is no directory, and no memory is spent on it.
Fault Index::ReadDirectory(uint64_t largest) {
  const Fault damaged = NotUsable(fileName, "the directory of the index is damaged");
  if (directorySection.rawSize > largest || directorySection.packedSize > 2 * largest) {
    return damaged;
  }
  const Result<std::vector<uint8_t>> raw = ReadSection(directorySection);
  IndexDirectory directory;
  if (!raw || !DecodeDirectory(*raw, directorySection.offset, directory)) {
    return damaged;
  }
  summary = std::move(directory.summary);
  atLastBoundary = std::move(directory.atLastBoundary);
  complete = directory.complete;
  stride = directory.stride;
  entries = std::move(directory.entries);
  boundaries = std::move(directory.boundaries);
  times = directory.times;
  furtherTimes = directory.furtherTimes;
  identity.size = directory.traceSize;
  identity.modified = directory.traceModified;
  identity.changed = directory.traceChanged;
  identity.inode = directory.traceInode;
  traceEdges = directory.traceEdges;
  return {};
}

Fault Index::CheckWhole() const {
  std::vector<uint8_t> block(256 << 10);
  uLong sum = crc32(0, nullptr, 0);
  const uint64_t end = fileSize - INDEX_FOOTER;
  for (uint64_t at = 0; at < end;) {
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(block.size(), end - at));
    const ssize_t got = pread(descriptor, block.data(), wanted, static_cast<off_t>(at));
    if (got <= 0) {
      break;
    }
    sum = crc32(sum, block.data(), static_cast<uInt>(got));
    at += static_cast<uint64_t>(got);
  }
  return sum == checksum ? Fault() : NotUsable(fileName, "the index is damaged");
}

bool Index::IsOf(const TraceFile& trace) const {
  return trace.Size() == identity.size && trace.GetIdentity().modified == identity.modified;
}

// Whether this is an index of the trace as it is, or as it was before it grew. Of a trace that
// grew, or is a copy, some records of every segment are compared as well: whoever rewrites a trace
// rarely keeps those.
Fault Index::Recognise(const TraceFile& trace) {
  summary.end.file = trace.Name();
  const bool same = IsOf(trace);
  const bool untouched = same && trace.GetIdentity().changed == identity.changed &&
                         trace.GetIdentity().inode == identity.inode;
  const bool fits = same || trace.Size() > identity.size;
  const Result<uint32_t> edges = EdgesOf(trace, fits ? identity.size : 0);
  if (!fits || !edges || *edges != traceEdges || (!untouched && !SamplesAgree(trace))) {
    return NotUsable(fileName, "the index belongs to another trace, or to an older state of it");
  }
  return {};
}

bool Index::SamplesAgree(const TraceFile& trace) const {
  auto columns = std::make_unique<Columns>();
  uint64_t offset = 0;
  for (const IndexBoundary& boundary : boundaries) {
    const uint64_t limit = std::min(boundary.offset, offset + SAMPLED_RECORDS * LARGE_RECORD);
    const bool decoded = static_cast<bool>(trace.Decode(offset, limit, *columns));
    const size_t sampled = std::min<size_t>(columns->size, SAMPLED_RECORDS);
    if (!decoded || SampleRecords(*columns, 0, sampled, 0) != boundary.sample) {
      return false;
    }
    offset = boundary.offset;
  }
  return true;
}

Result<std::vector<uint8_t>> Index::ReadSection(const IndexSection& section) const {
  std::vector<uint8_t> packed(section.packedSize);
  std::vector<uint8_t> raw;
  const ssize_t got =
      pread(descriptor, packed.data(), packed.size(), static_cast<off_t>(section.offset));
  if (got != static_cast<ssize_t>(packed.size()) || !Unpack(packed, section.rawSize, raw)) {
    return NotUsable(fileName, "a section of the index at byte " + std::to_string(section.offset) +
                                   " is damaged");
  }
  return raw;
}

// The contents of a section, good until the next one is read. What begins at a byte has one size,
// whatever sizes a directory gives it.
Result<const std::vector<uint8_t>*> Index::Section(const IndexSection& section) const {
  const std::vector<uint8_t>* known = cache.Find(section.offset);
  if (known != nullptr && known->size() == section.rawSize) {
    return known;
  }
  Result<std::vector<uint8_t>> raw = ReadSection(section);
  if (!raw) {
    return raw.Why();
  }
  return &cache.Put(section.offset, std::move(raw).Take());
}

Result<TimeTable> Index::TimesAtLastBoundary() const {
  const Result<std::vector<uint8_t>> raw = ReadSection(times);
  if (!raw) {
    return raw.Why();
  }
  std::optional<TimeTable> table = DecodeTimes(*raw, atLastBoundary);
  if (!table) {
    return NotUsable(fileName, "the time table of the index is damaged");
  }
  return std::move(*table);
}

Result<const TimeTable*> Index::Times() const {
  if (allTimes) {
    return &*allTimes;
  }
  Result<TimeTable> before = TimesAtLastBoundary();
  if (!before) {
    return before.Why();
  }
  const Result<std::vector<uint8_t>> raw = ReadSection(furtherTimes);
  if (!raw) {
    return raw.Why();
  }
  allTimes = DecodeFurtherTimes(std::move(before).Take(), *raw, summary);
  if (!allTimes) {
    return NotUsable(fileName, "the time table of the index is damaged");
  }
  return &*allTimes;
}

Result<std::span<const uint8_t>> Index::Keyframe(size_t b) const {
  const auto keyframe = Section(boundaries[b - 1].keyframe);
  if (!keyframe) {
    return keyframe.Why();
  }
  return std::span<const uint8_t>(**keyframe);
}

Fault Index::AddNode(size_t b, Activity activity, int sign, uint32_t columns, uint32_t rows,
                     std::vector<uint64_t>& sums) const {
  const IndexBoundary& boundary = boundaries[b - 1];
  const bool elements = activity < TRANSMISSIONS;
  const size_t cells = CountersOf(boundary, activity);
  const auto narrow = Section(boundary.node[activity]);
  if (!narrow) {
    return narrow.Why();
  }
  // The node of a time when the array was as large as it ends up to be needs no copy.
  if (sums.size() == cells && (!elements || boundary.columns == columns)) {
    return AddNarrow(**narrow, sign, sums) ? Fault() : DamagedNode();
  }
  std::vector<uint64_t> part(cells);
  if (!AddNarrow(**narrow, sign, part)) {
    return DamagedNode();
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

Fault Index::DamagedNode() const { return NotUsable(fileName, "a node of the index is damaged"); }

// The counts of a node, as many as its boundary says.
Result<const std::vector<uint8_t>*> Index::Node(size_t b, Activity activity) const {
  const IndexBoundary& boundary = boundaries[b - 1];
  Result<const std::vector<uint8_t>*> narrow = Section(boundary.node[activity]);
  if (narrow && !IsNarrow(**narrow, CountersOf(boundary, activity))) {
    return DamagedNode();
  }
  return narrow;
}

Result<uint64_t> Index::SumNode(size_t b, Activity activity, Place first, Place last) const {
  const auto narrow = Node(b, activity);
  if (!narrow) {
    return narrow.Why();
  }
  const IndexBoundary& boundary = boundaries[b - 1];
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
  const size_t counters = CountersOf(boundaries[b - 1], activity);
  uint64_t sum = 0;
  for (const size_t number : numbers) {
    sum += number < counters ? SumNarrow(**narrow, number, number + 1) : 0;
  }
  return sum;
}

// Of which levels there are masks: the uppermost ones.
bool Index::HasMask(size_t b, size_t level) const {
  const size_t levels = static_cast<size_t>(std::countr_zero(b)) + 1;
  return level < levels && level + boundaries[b - 1].masks.size() >= levels;
}

const IndexSection& Index::MaskSection(size_t b, size_t level) const {
  const std::vector<IndexSection>& masks = boundaries[b - 1].masks;
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
  const IndexBoundary& boundary = boundaries[b - 1];
  return ThreadMask::Gather(**section, boundary.columns, boundary.rows, first, last);
}

}  // namespace marrowfin
