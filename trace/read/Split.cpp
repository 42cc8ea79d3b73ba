#include "trace/read/Split.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <system_error>
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

// Reads one piece; the byte behind its last record before `limit` is put into `end`.
struct Piece {
  PieceTaker* taker = nullptr;
  uint64_t begin = 0;
  uint64_t limit = 0;
  uint64_t end = 0;
  uint64_t records = 0;
  Fault fault;

  void Read(const TraceFile& trace) {
    auto columns = std::make_unique<Columns>();
    end = begin;
    records = 0;
    fault = Fault();
    while (end < limit && !fault) {
      columns->firstRecord = records;
      const uint64_t next = trace.Decode(end, limit, *columns, fault);
      if (!fault) {
        taker->Take(*columns);
        records += columns->size;
        end = next;
      }
    }
  }
};

// Pieces of about the same size. Where no beginning can be told from the bytes the piece is empty
// and the one before it longer.
std::vector<Piece> Cut(const TraceFile& trace, const std::vector<PieceTaker*>& takers,
                       Fault& fault) {
  std::vector<Piece> pieces(takers.size());
  for (size_t i = 0; i < pieces.size(); ++i) {
    pieces[i].taker = takers[i];
    const uint64_t even = trace.Size() / pieces.size() * i;
    const uint64_t before = i == 0 ? 0 : pieces[i - 1].begin;
    pieces[i].begin =
        i == 0 ? 0 : std::max(before, Resynchronise(trace, even, fault).value_or(before));
  }
  for (size_t i = 0; i < pieces.size(); ++i) {
    pieces[i].limit = i + 1 < pieces.size() ? pieces[i + 1].begin : trace.Size();
  }
  return pieces;
}

// What a taker throws is thrown on when no thread is left; what no thread can be had for is read in
// this one.
void ReadAll(const TraceFile& trace, std::vector<Piece>& pieces) {
  std::vector<std::exception_ptr> thrown(pieces.size());
  const auto read = [&](size_t i) {
    try {
      pieces[i].Read(trace);
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
  } catch (const std::system_error&) {
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
bool ScanTo(const TraceFile& trace, uint64_t cycle, uint64_t& offset, Fault& fault) {
  auto columns = std::make_unique<Columns>();
  while (offset < trace.Size()) {
    const uint64_t next = trace.Decode(offset, trace.Size(), *columns, fault);
    if (fault) {
      return false;
    }
    for (size_t i = 0; i < columns->size; ++i) {
      if (columns->cycle[i] >= cycle) {
        return true;
      }
      offset += RecordSize(columns->tag[i].type);
    }
    offset = next;
  }
  return true;
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
std::optional<RecordFound> FindRecord(const TraceFile& trace, uint64_t offset, Fault& fault) {
  uint8_t bytes[WINDOW];
  const size_t size = static_cast<size_t>(std::min<uint64_t>(WINDOW, trace.Size() - offset));
  const bool last = offset + size == trace.Size();
  if (!trace.Copy(offset, size, bytes, fault)) {
    return std::nullopt;
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
      return std::nullopt;
    }
  }
  if (!found) {
    return std::nullopt;
  }
  RecordFound record;
  record.offset = offset + *found;
  if (size - *found >= PAYLOAD_OFFSET) {
    record.cycle = Load64(bytes + *found + CYCLE_OFFSET);
  }
  return record;
}

}  // namespace

std::optional<uint64_t> Resynchronise(const TraceFile& trace, uint64_t offset, Fault& fault) {
  if (offset == 0 || offset >= trace.Size()) {
    return std::min(offset, trace.Size());
  }
  const std::optional<RecordFound> found = FindRecord(trace, offset, fault);
  return found ? std::optional(found->offset) : std::nullopt;
}

bool SeekCycle(const TraceFile& trace, uint64_t cycle, uint64_t& offset, Fault& fault) {
  // All records before `low` are below the cycle; the first that is not begins before `high`. When
  // they are near, reading on is quicker than another look.
  uint64_t low = 0;
  uint64_t high = trace.Size();
  uint64_t lowCycle = 0;
  uint64_t highCycle = ~uint64_t{0};
  constexpr uint64_t NEAR = 16384;
  while (high - low > NEAR) {
    const uint64_t middle = low + (high - low) / 2;
    const std::optional<RecordFound> found = FindRecord(trace, middle, fault);
    if (fault) {
      return false;
    }
    const uint64_t at = found ? found->cycle.value_or(highCycle) : 0;
    if (!found || at < lowCycle || at > highCycle) {
      offset = 0;
      return ScanTo(trace, cycle, offset, fault);
    }
    if (at < cycle) {
      low = found->offset;
      lowCycle = at;
    } else {
      high = middle;
      highCycle = at;
    }
  }
  offset = low;
  return ScanTo(trace, cycle, offset, fault);
}

std::vector<uint64_t> ReadInPieces(const TraceFile& trace, const std::vector<PieceTaker*>& takers,
                                   Fault& fault) {
  std::vector<Piece> pieces = Cut(trace, takers, fault);
  std::vector<uint64_t> records(pieces.size());
  if (fault) {
    return records;
  }
  ReadAll(trace, pieces);
  uint64_t reached = 0;
  uint64_t before = 0;
  for (size_t i = 0; i < pieces.size(); ++i) {
    Piece& piece = pieces[i];
    const bool wrong = piece.begin != reached && piece.begin < piece.limit;
    if (fault || wrong) {
      piece.taker->Forget();
      piece.records = 0;
    }
    // What the piece before could not place may continue here, up to this piece's end.
    if (!fault && (wrong || (piece.begin == piece.limit && reached < piece.limit))) {
      piece.begin = reached;
      piece.Read(trace);
    }
    if (!fault && piece.begin < piece.limit) {
      reached = piece.end;
      const bool lastPiece = i + 1 == pieces.size();
      if (piece.fault && (lastPiece || piece.fault.kind != Fault::CUT_RECORD)) {
        fault = piece.fault;
        fault.record = before + piece.records;
      }
    }
    records[i] = piece.records;
    before += piece.records;
  }
  return records;
}

}  // namespace marrowfin
