#include "trace/read/TraceSource.h"

#include <algorithm>
#include <utility>

#include "trace/base/BigEndian.h"
#include "trace/read/BlockWindow.h"
#include "trace/read/BusGuard.h"
#include "trace/read/Decode.h"
#include "trace/read/MalformedRecord.h"
#include "trace/read/MfzFile.h"
#include "trace/read/OutOfOrder.h"
#include "trace/read/Packing.h"

namespace marrowfin {

static_assert(PositionedFile::FILE_BLOCK_AHEAD >= Columns::CAPACITY * LARGE_RECORD);

namespace {

// The system maps the pages around one that was touched for the first time, as many as these.
// Decoding fetches bytes far ahead, but nothing can be fetched from a page that is not mapped: so
// the next window is touched before the fetching gets there.
constexpr uint64_t WINDOW = 65536;

// `begin` is byte `offset`.
void TouchWindow(const uint8_t* begin, uint64_t offset, uint64_t limit) {
  constexpr uint64_t NEAR = 4096;
  constexpr uint64_t LARGEST_BATCH = Columns::CAPACITY * LARGE_RECORD;
  const uint64_t window = (offset + NEAR + WINDOW - 1) / WINDOW * WINDOW;
  if (window < limit && window < offset + NEAR + LARGEST_BATCH) {
    static_cast<void>(*static_cast<const volatile uint8_t*>(begin + (window - offset)));
  }
}

}  // namespace

Result<std::unique_ptr<TraceSource>> TraceSource::Open(const std::string& name,
                                                       PlainAccess access) {
  Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, access);
  if (!file) {
    return file.Why();
  }
  return Over(std::move(file).Take());
}

Result<std::unique_ptr<TraceSource>> TraceSource::Over(std::unique_ptr<PositionedFile> file) {
  // Of blocks none is looked at before someone asks for it: it may be damaged.
  if (file->HasBlocks()) {
    return std::unique_ptr<TraceSource>(new TraceSource(std::move(file)));
  }
  uint8_t start[PACKED_START];
  const size_t length = static_cast<size_t>(std::min<uint64_t>(file->Size(), sizeof(start)));
  if (Fault fault = file->ReadAt(0, length, start)) {
    return fault;
  }
  switch (PackingOf(start, length)) {
    case Packing::MFZ: {
      Result<std::shared_ptr<const MfzFile>> packed = MfzFile::Open(std::move(file));
      if (!packed) {
        return packed.Why();
      }
      return Over(MfzPart(std::move(packed).Take(), MfzStream::TRACE));
    }
    case Packing::GZIP:
    case Packing::ZSTD:
      return CannotReadOutOfOrder(file->Name(), "a packed trace");
    case Packing::NONE:
      break;
  }
  return std::unique_ptr<TraceSource>(new TraceSource(std::move(file)));
}

TraceSource::TraceSource(std::unique_ptr<PositionedFile> opened)
    : file(std::move(opened)), size(file->Size()), view(file->View()) {
  if (view == nullptr && !file->HasBlocks()) {
    window = std::make_unique<BlockWindow>(*file);
  }
}

TraceSource::~TraceSource() = default;

Result<uint64_t> TraceSource::Decode(uint64_t offset, uint64_t limit, Columns& columns) const {
  columns.Clear();
  columns.firstOffset = offset;
  limit = std::min(limit, size);
  if (offset >= limit) {
    Fault fault = Changed(offset);
    fault.reason = "the trace ends where more records are expected";
    return fault;
  }
  if (view != nullptr) {
    file->AboutToRead(offset);
    return DecodeFrom({view, 0, size}, offset, limit, columns);
  }
  // A batch goes on from block to block, so that it has as many records as any other.
  while (!window) {
    const Result<FileBlock> block = file->BlockAt(offset);
    if (!block) {
      return columns.size > 0 ? Result<uint64_t>(offset) : block.Why();
    }
    const Shown shown = {block->bytes, block->offset, block->End()};
    Result<uint64_t> next = DecodeFrom(shown, offset, limit, columns);
    if (!next || *next != shown.end || *next == limit || columns.size == Columns::CAPACITY) {
      return next;
    }
    offset = *next;
  }
  const Result<std::shared_ptr<const Block>> block = window->At(offset);
  if (!block) {
    return block.Why();
  }
  const Shown shown = {(*block)->bytes.get(), (*block)->offset, (*block)->End()};
  return DecodeFrom(shown, offset, limit, columns);
}

Result<uint64_t> TraceSource::DecodeFrom(const Shown& shown, uint64_t offset, uint64_t limit,
                                         Columns& columns) const {
  const uint64_t shownLimit = std::min(limit, shown.end);
  const uint8_t* const begin = shown.bytes + static_cast<size_t>(offset - shown.begin);
  const uint8_t* const end = begin + static_cast<size_t>(shownLimit - offset);
  const uint8_t* const all = begin + static_cast<size_t>(shown.end - offset);
  const uint8_t* next = nullptr;
  bool atZeros = false;
  const bool whole = BusGuard::Run(shown.bytes, static_cast<size_t>(shown.end - shown.begin), [&] {
    TouchWindow(begin, offset, shownLimit);
    next = DecodeBest(begin, end, columns);
    atZeros = all - next < 4 || Load32(next) == 0;
  });
  // In the page in which a truncated file ends, zeros stand for what is gone: they end the batch or
  // follow it, and may be part of its last record.
  const bool stopped = columns.size < Columns::CAPACITY || atZeros;
  if (!whole || (stopped && IsShorter())) {
    columns.Clear();
    return Changed(offset);
  }
  if (columns.size == 0) {
    return MalformedAt(offset, limit);
  }
  return offset + static_cast<uint64_t>(next - begin);
}

// What is wrong with the record at byte `offset`, where none could be decoded before `limit`.
Fault TraceSource::MalformedAt(uint64_t offset, uint64_t limit) const {
  uint8_t copy[LARGE_RECORD];
  const size_t left = static_cast<size_t>(std::min<uint64_t>(limit - offset, sizeof(copy)));
  if (Fault fault = Copy(offset, left, copy)) {
    return fault;
  }
  Fault fault = MalformedRecord(copy, copy + left);
  fault.file = Name();
  fault.offset = offset;
  return fault;
}

bool TraceSource::IsShorter() const {
  const Result<FileIdentity> now = file->Now();
  return now && now->size < size;
}

Fault TraceSource::CheckUnchanged() const {
  const Result<FileIdentity> now = file->Now();
  if (!now) {
    return now.Why();
  }
  if (now->size < size) {
    return Changed(now->size);
  }
  if (now->size == size && now->modified != GetIdentity().modified) {
    Fault fault = Changed(0);
    fault.reason = "the file was written to while it was read";
    return fault;
  }
  return {};
}

bool TraceSource::IsUntouched() const {
  const Result<FileIdentity> now = file->Now();
  return now && now->size == size && now->modified == GetIdentity().modified;
}

}  // namespace marrowfin
