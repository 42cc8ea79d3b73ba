#include "trace/read/Split.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "trace/base/BigEndian.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// Records that must hang together. Each is 8 bytes that must be right among 28 or 36.
constexpr size_t CHAIN = 12;
constexpr size_t WINDOW = LARGE_RECORD * (CHAIN + 1);

// Whether a chain of well-formed records begins at byte `at`; at the end of the trace (`last`) a
// shorter one counts if it ends there exactly.
bool IsChain(const uint8_t* bytes, size_t at, size_t size, bool last) {
  uint64_t cycle = 0;
  for (size_t left = CHAIN; left > 0; --left) {
    if (last && at == size) {
      return true;
    }
    if (size - at < PAYLOAD_OFFSET) {
      return false;
    }
    const uint32_t type = Load32(bytes + at + TYPE_OFFSET);
    const uint64_t next = Load64(bytes + at + CYCLE_OFFSET);
    if (!IsRecordType(type) || Load32(bytes + at + LENGTH_OFFSET) != PayloadSize(type) ||
        next < cycle || size - at < RecordSize(type)) {
      return false;
    }
    cycle = next;
    at += RecordSize(type);
  }
  return true;
}

// Tells the caller how many bytes all threads have read together.
class Meter {
 public:
  Meter(const TraceSource& trace, const ProgressCallback& progress)
      : all(trace.Size()), progress(progress) {}

  // False once the caller has asked to stop.
  bool Add(uint64_t bytes) {
    if (!progress) {
      return true;
    }
    const std::lock_guard lock(mutex);
    done += bytes;
    stopped = stopped || !progress({done, all, Progress::BYTES});
    return !stopped;
  }

  void TakeBack(uint64_t bytes) { done -= bytes; }
  bool Stopped() const { return stopped; }

 private:
  std::mutex mutex;
  uint64_t done = 0;
  uint64_t all;
  const ProgressCallback& progress;
  bool stopped = false;
};

// Reads one piece; the byte behind its last record before `limit` is put into `end`.
struct Piece {
  PieceTaker* taker = nullptr;
  uint64_t begin = 0;
  uint64_t limit = 0;
  uint64_t end = 0;
  uint64_t records = 0;
  Fault fault;

  void Read(const TraceSource& trace, Meter& meter) {
    auto columns = std::make_unique<Columns>();
    end = begin;
    records = 0;
    fault = Fault();
    while (end < limit) {
      columns->firstRecord = records;
      const Result<uint64_t> next = trace.Decode(end, limit, *columns);
      if (!next) {
        fault = next.Why();
        return;
      }
      taker->Take(*columns);
      records += columns->size;
      const uint64_t bytes = *next - end;
      end = *next;
      if (!meter.Add(bytes)) {
        return;
      }
    }
  }

  // Drops what was taken, which is read again or lies behind a fault.
  void Forget(Meter& meter) {
    taker->Forget();
    meter.TakeBack(end - begin);
    records = 0;
    end = begin;
  }
};

// Pieces of about the same size. Where no beginning can be told from the bytes the piece is empty
// and the one before it longer.
Result<std::vector<Piece>> Cut(const TraceSource& trace, const std::vector<PieceTaker*>& takers) {
  std::vector<Piece> pieces(takers.size());
  for (size_t i = 0; i < pieces.size(); ++i) {
    pieces[i].taker = takers[i];
    if (i == 0) {
      continue;
    }
    const uint64_t before = pieces[i - 1].begin;
    const auto found = Resynchronise(trace, trace.Size() / pieces.size() * i);
    if (!found) {
      return found.Why();
    }
    pieces[i].begin = std::max(before, found->value_or(before));
  }
  for (size_t i = 0; i < pieces.size(); ++i) {
    pieces[i].limit = i + 1 < pieces.size() ? pieces[i + 1].begin : trace.Size();
  }
  return pieces;
}

// What a taker throws is thrown on when no thread is left; what no thread can be had for is read in
// this one.
void ReadAll(const TraceSource& trace, std::vector<Piece>& pieces, Meter& meter) {
  std::vector<std::exception_ptr> thrown(pieces.size());
  const auto read = [&](size_t i) {
    try {
      pieces[i].Read(trace, meter);
    } catch (...) {
      thrown[i] = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(pieces.size());
  size_t begun = 1;
  try {
    for (; begun < pieces.size(); ++begun) {
      threads.emplace_back(read, begun);
    }
  } catch (...) {  // neither room nor memory for a thread
  }
  read(0);
  for (; begun < pieces.size(); ++begun) {
    read(begun);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::exception_ptr& exception : thrown) {
    if (exception) {
      std::rethrow_exception(exception);
    }
  }
}

// Reads on from a record until one of the cycle or later.
Result<uint64_t> ScanTo(const TraceSource& trace, uint64_t cycle, uint64_t offset,
                        const ProgressCallback& progress) {
  auto columns = std::make_unique<Columns>();
  while (offset < trace.Size()) {
    const Result<uint64_t> next = trace.Decode(offset, trace.Size(), *columns);
    if (!next) {
      return next.Why();
    }
    for (size_t i = 0; i < columns->size; ++i) {
      if (columns->cycle[i] >= cycle) {
        return offset;
      }
      offset += RecordSize(columns->tag[i].type);
    }
    if (progress && !progress({offset, trace.Size(), Progress::BYTES})) {
      return CancelledFault(trace.Name());
    }
  }
  return offset;
}

// Reads again what began in the wrong place and drops what lies behind a fault.
void JoinPieces(const TraceSource& trace, std::vector<Piece>& pieces, Meter& meter,
                PiecesRead& read) {
  uint64_t reached = 0;
  uint64_t before = 0;
  for (size_t i = 0; i < pieces.size() && !meter.Stopped(); ++i) {
    Piece& piece = pieces[i];
    const bool wrong = piece.begin != reached && piece.begin < piece.limit;
    if (read.end || wrong) {
      piece.Forget(meter);
    }
    // What the piece before could not place may continue here, up to this piece's end.
    if (!read.end && (wrong || (piece.begin == piece.limit && reached < piece.limit))) {
      piece.begin = reached;
      piece.Read(trace, meter);
    }
    if (!read.end && piece.begin < piece.limit) {
      reached = piece.end;
      const bool lastPiece = i + 1 == pieces.size();
      if (piece.fault && (lastPiece || piece.fault.kind != Fault::CUT_RECORD)) {
        read.end = piece.fault;
        read.end.record = before + piece.records;
      }
    }
    read.records[i] = piece.records;
    before += piece.records;
  }
}

// The byte behind the well-formed record at byte `at`, if there is one.
std::optional<size_t> Behind(const uint8_t* bytes, size_t at, size_t size) {
  if (size - at < PAYLOAD_OFFSET) {
    return std::nullopt;
  }
  const uint32_t type = Load32(bytes + at + TYPE_OFFSET);
  const bool sound = IsRecordType(type) &&
                     Load32(bytes + at + LENGTH_OFFSET) == PayloadSize(type) &&
                     size - at >= RecordSize(type);
  return sound ? std::optional(at + RecordSize(type)) : std::nullopt;
}

// Where two chains of records run together.
std::optional<size_t> Join(const uint8_t* bytes, size_t one, size_t other, size_t size) {
  while (one != other) {
    size_t& last = one < other ? one : other;
    const std::optional<size_t> next = Behind(bytes, last, size);
    if (!next) {
      return std::nullopt;
    }
    last = *next;
  }
  return one;
}

struct RecordFound {
  uint64_t offset = 0;
  std::optional<uint64_t> cycle;  // none at the end of the trace
};

// A record that begins at byte `offset` or soon after it; nothing where that cannot be told from
// the bytes nearby. `offset` is below the size of the trace.
Result<std::optional<RecordFound>> FindRecord(const TraceSource& trace, uint64_t offset) {
  uint8_t bytes[WINDOW];
  const size_t size = static_cast<size_t>(std::min<uint64_t>(WINDOW, trace.Size() - offset));
  const bool last = offset + size == trace.Size();
  if (Fault fault = trace.Copy(offset, size, bytes)) {
    return fault;
  }
  // The end of the trace is a place where a record could begin.
  const size_t candidates = std::min(LARGE_RECORD, size + (last ? 1 : 0));
  std::optional<size_t> found;
  for (size_t at = 0; at < candidates; ++at) {
    if (!IsChain(bytes, at, size, last)) {
      continue;
    }
    // One of the chains is that of the trace, so where all have run together it is for certain.
    found = found ? Join(bytes, *found, at, size) : at;
    if (!found) {
      return std::optional<RecordFound>();
    }
  }
  if (!found) {
    return std::optional<RecordFound>();
  }
  RecordFound record;
  record.offset = offset + *found;
  if (size - *found >= PAYLOAD_OFFSET) {
    record.cycle = Load64(bytes + *found + CYCLE_OFFSET);
  }
  return std::optional(record);
}

}  // namespace

Result<std::optional<uint64_t>> Resynchronise(const TraceSource& trace, uint64_t offset) {
  if (offset == 0 || offset >= trace.Size()) {
    return std::optional(std::min(offset, trace.Size()));
  }
  const auto found = FindRecord(trace, offset);
  if (!found) {
    return found.Why();
  }
  return *found ? std::optional((*found)->offset) : std::nullopt;
}

Result<uint64_t> SeekCycle(const TraceSource& trace, uint64_t cycle,
                           const ProgressCallback& progress) {
  // All records before `low` are below the cycle; the first that is not begins before `high`. When
  // they are near, reading on is quicker than another look.
  uint64_t low = 0;
  uint64_t high = trace.Size();
  uint64_t lowCycle = 0;
  uint64_t highCycle = ~uint64_t{0};
  constexpr uint64_t NEAR = 16384;
  while (high - low > NEAR) {
    const uint64_t middle = low + (high - low) / 2;
    const auto looked = FindRecord(trace, middle);
    if (!looked) {
      return looked.Why();
    }
    const std::optional<RecordFound>& found = *looked;
    const uint64_t at = found ? found->cycle.value_or(highCycle) : 0;
    if (!found || at < lowCycle || at > highCycle) {
      return ScanTo(trace, cycle, 0, progress);
    }
    if (at < cycle) {
      low = found->offset;
      lowCycle = at;
    } else {
      high = middle;
      highCycle = at;
    }
  }
  return ScanTo(trace, cycle, low, progress);
}

PiecesRead ReadInPieces(const TraceSource& trace, const std::vector<PieceTaker*>& takers,
                        const ProgressCallback& progress) {
  PiecesRead read;
  read.records.resize(takers.size());
  Result<std::vector<Piece>> pieces = Cut(trace, takers);
  if (!pieces) {
    read.end = pieces.Why();
    return read;
  }
  Meter meter(trace, progress);
  ReadAll(trace, *pieces, meter);
  JoinPieces(trace, *pieces, meter, read);
  if (meter.Stopped()) {
    for (PieceTaker* taker : takers) {
      taker->Forget();
    }
    read.records.assign(takers.size(), 0);
    read.end = CancelledFault(trace.Name());
  }
  return read;
}

}  // namespace marrowfin
