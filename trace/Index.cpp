#include "trace/Index.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "trace/IndexBuilder.h"
#include "trace/IndexFormat.h"
#include "trace/IndexWriter.h"
#include "trace/Pack.h"
#include "trace/Reader.h"

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
bool EdgesOf(const TraceFile& trace, uint64_t size, uint32_t& sum, Fault& fault) {
  const size_t length = static_cast<size_t>(std::min(size, EDGE));
  std::vector<uint8_t> bytes(length);
  uLong crc = crc32(0, nullptr, 0);
  for (const uint64_t offset : {uint64_t{0}, size - length}) {
    if (!trace.Copy(offset, length, bytes.data(), fault)) {
      return false;
    }
    crc = crc32(crc, bytes.data(), static_cast<uInt>(length));
  }
  sum = static_cast<uint32_t>(crc);
  return true;
}

std::string CacheFolder() {
  if (const char* cache = getenv("XDG_CACHE_HOME"); cache != nullptr && *cache != '\0') {
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

// Adds the records from byte `offset` on to what is built; the fault that ends them is put into
// `end`. False where the caller asked to stop or the file could not be read.
bool AddRecords(const TraceFile& trace, uint64_t offset, IndexBuilder& builder,
                const ProgressCallback& progress, Fault& end, Fault& fault) {
  ReadOptions options;
  options.ordered = false;
  Reader reader(PieceSource(trace.Descriptor(), trace.Name(), offset, trace.Size() - offset),
                trace.Name(), options);
  Columns columns;
  while (reader.Next(columns)) {
    builder.Add(columns);
    if (progress && !progress(offset + reader.Offset(), trace.Size())) {
      fault.kind = Fault::CANCELLED;
      fault.file = trace.Name();
      fault.reason = "stopped";
      return false;
    }
  }
  end = reader.GetFault();
  return true;
}

}  // namespace

Index::~Index() {
  if (descriptor != -1) {
    close(descriptor);
  }
}

std::unique_ptr<Index> Index::Open(const TraceFile& trace, const ProgressCallback& progress,
                                   Fault& fault) {
  const std::vector<std::string> places = Places(trace.Name());
  std::unique_ptr<Index> grown;
  for (const std::string& place : places) {
    Fault why;
    std::unique_ptr<Index> index = Load(trace, place, why);
    if (index && index->IsOf(trace)) {
      return index;
    }
    if (index && !grown) {
      grown = std::move(index);
    }
  }
  for (const std::string& place : places) {
    std::error_code error;
    if (place != places.front()) {
      std::filesystem::create_directories(std::filesystem::path(place).parent_path(), error);
    }
    Fault why;
    std::unique_ptr<Index> index = Make(trace, place, grown.get(), progress, why);
    if (index || why.kind != Fault::SYSTEM || why.file != place) {
      fault = index ? Fault() : why;
      return index;
    }
  }
  return Make(trace, "", grown.get(), progress, fault);
}

bool Index::Build(const TraceFile& trace, const std::string& file, const ProgressCallback& progress,
                  Fault& fault) {
  return Make(trace, file, nullptr, progress, fault) != nullptr;
}

std::unique_ptr<Index> Index::Make(const TraceFile& trace, const std::string& file,
                                   const Index* grown, const ProgressCallback& progress,
                                   Fault& fault) {
  IndexWriter writer;
  if (!writer.Open(file, fault)) {
    return nullptr;
  }
  IndexBuilder builder([&](std::span<const uint8_t> raw) { return writer.Append(raw); });
  uint64_t offset = 0;
  if (grown != nullptr && grown->complete && !grown->boundaries.empty()) {
    if (!writer.CopyData(grown->descriptor, grown->dataSize) ||
        !builder.Resume(*grown, grown->atLastBoundary, fault)) {
      return Make(trace, file, nullptr, progress, fault);
    }
    offset = grown->boundaries.back().offset;
  }
  IndexDirectory directory;
  Fault end;
  if (!AddRecords(trace, offset, builder, progress, end, fault)) {
    return nullptr;
  }
  builder.Finish();
  directory.summary = builder.GetSummary();
  directory.summary.end = end;
  directory.summary.end.file = "";
  directory.summary.end.record = directory.summary.records;
  directory.summary.end.offset = directory.summary.bytes;
  directory.atLastBoundary = builder.AtLastBoundary();
  directory.complete = builder.Complete();
  directory.stride = builder.Stride();
  directory.entries = builder.Entries();
  directory.boundaries = builder.Boundaries();
  directory.traceSize = trace.Size();
  directory.traceModified = trace.GetIdentity().modified;
  if (!EdgesOf(trace, trace.Size(), directory.traceEdges, fault)) {
    return nullptr;
  }
  const int descriptor = writer.Commit(directory, fault);
  if (descriptor == -1) {
    return nullptr;
  }
  return OpenDescriptor(trace, descriptor, file, fault);
}

std::unique_ptr<Index> Index::Load(const TraceFile& trace, const std::string& file, Fault& fault) {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor == -1) {
    fault = SystemFault(file, "cannot open", errno);
    return nullptr;
  }
  return OpenDescriptor(trace, descriptor, file, fault);
}

std::unique_ptr<Index> Index::OpenDescriptor(const TraceFile& trace, int descriptor,
                                             const std::string& file, Fault& fault) {
  std::unique_ptr<Index> index(new Index());
  index->descriptor = descriptor;
  index->fileName = file;
  return index->ReadDirectory(fault) && index->Recognises(trace, fault) ? std::move(index)
                                                                        : nullptr;
}

bool Index::ReadDirectory(Fault& fault) {
  struct stat status;
  uint8_t magic[sizeof(INDEX_MAGIC)];
  uint8_t footer[INDEX_FOOTER];
  if (fstat(descriptor, &status) == -1 ||
      status.st_size < static_cast<off_t>(sizeof(magic) + sizeof(footer))) {
    fault = NotUsable(fileName, "this is no index");
    return false;
  }
  fileSize = static_cast<uint64_t>(status.st_size);
  IndexSection section;
  if (pread(descriptor, magic, sizeof(magic), 0) != sizeof(magic) ||
      memcmp(magic, INDEX_MAGIC, sizeof(magic)) != 0 ||
      pread(descriptor, footer, sizeof(footer),
            status.st_size - static_cast<off_t>(sizeof(footer))) != sizeof(footer) ||
      !DecodeFooter(footer, section) || section.offset > fileSize ||
      section.packedSize != fileSize - sizeof(footer) - section.offset) {
    fault = NotUsable(fileName, "this is no index, or not a whole one, or one of another version");
    return false;
  }
  dataSize = section.offset;
  std::vector<uint8_t> raw;
  IndexDirectory directory;
  if (section.rawSize > (uint64_t{1} << 32) || !ReadSection(section, raw, fault) ||
      !DecodeDirectory(raw, dataSize, directory)) {
    fault = NotUsable(fileName, "the directory of the index is damaged");
    return false;
  }
  summary = std::move(directory.summary);
  atLastBoundary = std::move(directory.atLastBoundary);
  complete = directory.complete;
  stride = directory.stride;
  entries = std::move(directory.entries);
  boundaries = std::move(directory.boundaries);
  traceSize = directory.traceSize;
  traceModified = directory.traceModified;
  traceEdges = directory.traceEdges;
  return true;
}

bool Index::IsOf(const TraceFile& trace) const {
  return trace.Size() == traceSize && trace.GetIdentity().modified == traceModified;
}

// Whether this is an index of the trace as it is, or as it was before it grew. Of a trace that
// grew, some records of every segment are compared as well: whoever rewrites a trace rarely keeps
// those.
bool Index::Recognises(const TraceFile& trace, Fault& fault) {
  summary.end.file = trace.Name();
  const bool same = IsOf(trace);
  uint32_t edges = 0;
  if ((!same && trace.Size() <= traceSize) || !EdgesOf(trace, traceSize, edges, fault) ||
      edges != traceEdges || (!same && !SamplesAgree(trace))) {
    fault = NotUsable(fileName, "the index belongs to another trace, or to an older state of it");
    return false;
  }
  return true;
}

bool Index::SamplesAgree(const TraceFile& trace) const {
  auto columns = std::make_unique<Columns>();
  uint64_t offset = 0;
  for (const IndexBoundary& boundary : boundaries) {
    DecodeState state;
    Fault fault;
    const uint64_t limit = std::min(boundary.offset, offset + SAMPLED_RECORDS * LARGE_RECORD);
    trace.Decode(offset, limit, *columns, state, fault);
    const size_t sampled = std::min<size_t>(columns->size, SAMPLED_RECORDS);
    if (fault || SampleRecords(*columns, 0, sampled, 0) != boundary.sample) {
      return false;
    }
    offset = boundary.offset;
  }
  return true;
}

bool Index::ReadSection(const IndexSection& section, std::vector<uint8_t>& raw,
                        Fault& fault) const {
  std::vector<uint8_t> packed(section.packedSize);
  const ssize_t got =
      pread(descriptor, packed.data(), packed.size(), static_cast<off_t>(section.offset));
  if (got != static_cast<ssize_t>(packed.size()) || !Unpack(packed, section.rawSize, raw)) {
    fault = NotUsable(fileName, "a section of the index at byte " + std::to_string(section.offset) +
                                    " is damaged");
    return false;
  }
  return true;
}

bool Index::Keyframe(size_t b, std::vector<uint8_t>& codes, Fault& fault) const {
  return ReadSection(boundaries[b - 1].keyframe, codes, fault);
}

bool Index::AddNode(size_t b, Activity activity, int sign, uint32_t columns, uint32_t rows,
                    std::vector<uint64_t>& sums, Fault& fault) const {
  const IndexBoundary& boundary = boundaries[b - 1];
  const bool elements = activity != TRANSMISSIONS;
  const size_t cells =
      elements ? static_cast<size_t>(boundary.columns) * boundary.rows : boundary.switches;
  std::vector<uint8_t> narrow;
  if (!ReadSection(boundary.node[activity], narrow, fault)) {
    return false;
  }
  // The node of a time when the array was as large as it ends up to be needs no copy.
  if (sums.size() == cells && (!elements || boundary.columns == columns)) {
    if (!AddNarrow(narrow, sign, sums)) {
      fault = NotUsable(fileName, "a node of the index is damaged");
      return false;
    }
    return true;
  }
  std::vector<uint64_t> part(cells);
  if (!AddNarrow(narrow, sign, part)) {
    fault = NotUsable(fileName, "a node of the index is damaged");
    return false;
  }
  const uint32_t partColumns = elements ? boundary.columns : boundary.switches;
  const uint32_t partRows = elements ? boundary.rows : 1;
  const uint32_t sumColumns = elements ? columns : static_cast<uint32_t>(sums.size());
  for (uint32_t row = 0; row < std::min(partRows, elements ? rows : 1); ++row) {
    for (uint32_t column = 0; column < std::min(partColumns, sumColumns); ++column) {
      sums[static_cast<size_t>(row) * sumColumns + column] +=
          part[static_cast<size_t>(row) * partColumns + column];
    }
  }
  return true;
}

}  // namespace marrowfin
