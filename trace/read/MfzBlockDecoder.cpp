#include "trace/read/MfzBlockDecoder.h"

#include <zstd.h>

#include <algorithm>
#include <new>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"

namespace marrowfin {

namespace {

// A record has a byte for its head, at most ten for its cycle, at most ten for a rare head, one for
// a rank and four for each of four numbers; ahead of all there are the tables.
constexpr uint64_t LARGEST_COLUMNS = uint64_t{MFZ_MOST_RECORDS} * (1 + 10 + 10 + 1 + 16 + 5) + 8192;

void Store(uint8_t* out, uint32_t type, uint64_t cycle, uint32_t thread, uint64_t at, uint64_t to) {
  Store64(out + TYPE_OFFSET, uint64_t{type} << 32 | cycle >> 32);
  Store64(out + CYCLE_OFFSET + 4, cycle << 32 | thread);
  Store32(out + LENGTH_OFFSET, PayloadSize(type));
  Store64(out + PAYLOAD_OFFSET, at);
  Store64(out + PAYLOAD_OFFSET + PLACE_SIZE, to);
}

}  // namespace

struct MfzBlockDecoder::Unpacker {
  Unpacker() : context(ZSTD_createDCtx()) {
    if (context == nullptr) {
      throw std::bad_alloc();
    }
  }
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;
  ~Unpacker() { ZSTD_freeDCtx(context); }

  bool Unpack(std::span<const uint8_t> packed, uint8_t* out, size_t size) {
    return ZSTD_decompressDCtx(context, out, size, packed.data(), packed.size()) == size;
  }

  ZSTD_DCtx* context;
};

MfzBlockDecoder::MfzBlockDecoder() : unpacker(std::make_unique<Unpacker>()) {}

MfzBlockDecoder::~MfzBlockDecoder() = default;

bool MfzBlockDecoder::Bytes(std::span<const uint8_t> packed, size_t size, uint8_t* out) {
  return unpacker->Unpack(packed, out, size);
}

bool MfzBlockDecoder::UnpackColumns(std::span<const uint8_t> packed) {
  const uint64_t size = ZSTD_getFrameContentSize(packed.data(), packed.size());
  if (size > LARGEST_COLUMNS) {
    return false;  // also where it is unknown
  }
  const size_t raw = static_cast<size_t>(size);
  constexpr size_t SLACK = MFZ_MOST_RECORDS;
  columns.resize(std::max(columns.size(), raw + SLACK));
  return unpacker->Unpack(packed, columns.data(), raw) &&
         DecodeMfzPreamble({columns.data(), raw}, preamble, begin);
}

void MfzBlockDecoder::MakeTable() {
  for (Head& head : table) {
    head = {0, 0, 0, 0, 1};
  }
  for (size_t i = 0; i < preamble.heads.size(); ++i) {
    const MfzHead head = MfzHead::Of(preamble.heads[i]);
    table[i] = {head.ahead, static_cast<uint8_t>(head.step), static_cast<uint8_t>(head.way),
                head.type, 0};
  }
}

bool MfzBlockDecoder::Records(std::span<const uint8_t> packed, size_t size, uint8_t* out) {
  return Begin(packed, size) && Continue(size, out);
}

bool MfzBlockDecoder::Begin(std::span<const uint8_t> packed, size_t size) {
  if (!UnpackColumns(packed)) {
    return false;
  }
  const uint64_t records = preamble.records;
  if (size < records * SMALL_RECORD || size > records * LARGE_RECORD) {
    return false;
  }
  allBytes = size;
  MakeTable();
  Start();
  return true;
}

MfzBlockDecoder::Places MfzBlockDecoder::PlacesOf(MfzColumn number) const {
  const size_t which = number - MFZ_FIRST_PLACES;
  const size_t size = static_cast<size_t>(preamble.bytes[number]);
  Places places;
  places.planes = preamble.Planes(which % 2);
  places.stride = size / places.planes;
  places.next = column[number];
  places.end = places.next + places.stride;
  places.mask = preamble.relative[which] ? UINT32_MAX : 0;
  places.extent = preamble.extent[which % 2];
  places.whole = size % places.planes == 0;
  return places;
}

void MfzBlockDecoder::Start() {
  column[0] = columns.data() + begin;
  for (size_t i = 0; i < MFZ_COLUMNS; ++i) {
    column[i + 1] = column[i] + preamble.bytes[i];
  }
  const auto numbersOf = [&](MfzColumn number) {
    return ByteReader(column[number], static_cast<size_t>(preamble.bytes[number]));
  };
  position = {};
  position.cycle = preamble.firstCycle;
  position.ranks = column[MFZ_RANKS];
  position.switches = column[MFZ_SWITCHES];
  position.atColumn = PlacesOf(MFZ_AT_COLUMN);
  position.atRow = PlacesOf(MFZ_AT_ROW);
  position.toColumn = PlacesOf(MFZ_TO_COLUMN);
  position.toRow = PlacesOf(MFZ_TO_ROW);
  position.rare = numbersOf(MFZ_RARE_HEADS);
  position.cycles = numbersOf(MFZ_CYCLES);
  ends.assign(preamble.threads.size(), 0);
  if (preamble.follows) {
    followers.Forget();
  }
  lists.resize(preamble.awaited ? std::min(preamble.threads.size(), MfzAwaited::THREADS) : 0);
  for (MfzAwaited& list : lists) {
    list.Forget();
  }
}

bool MfzBlockDecoder::TakeRare(Position& now, Head& head) const {
  const uint64_t number = now.rare.Number();
  if (!MfzHead::IsSound(number, preamble.threads.size())) {
    return false;
  }
  const MfzHead read = MfzHead::Of(number);
  head = {read.ahead, static_cast<uint8_t>(read.step), static_cast<uint8_t>(read.way), read.type,
          0};
  return true;
}

// The place of the next record; false where there is none. Written ones are most of all where
// nothing foretells them.
inline bool MfzBlockDecoder::TakePlace(Position& now, const Head& head, uint64_t& at) {
  if (head.way == static_cast<uint8_t>(MfzWay::WRITTEN)) {
    const uint8_t known = head.type == 0 ? *now.switches++ : MFZ_RARE;
    if (known == MFZ_RARE) {
      const uint64_t atColumn = now.atColumn.Next(static_cast<uint32_t>(now.last >> 32));
      at = atColumn << 32 | now.atRow.Next(static_cast<uint32_t>(now.last));
      return true;
    }
    at = known < preamble.switches.size() ? preamble.switches[known] : 0;
    return known < preamble.switches.size();
  }
  if (head.way == static_cast<uint8_t>(MfzWay::LAST_END)) {
    at = ends[now.rank];
    return true;
  }
  if (head.way == static_cast<uint8_t>(MfzWay::FOLLOWS)) {
    at = followers.Behind(now.last, head.type);
    return true;
  }
  if (now.rank >= lists.size() || *now.ranks >= lists[now.rank].Size()) {
    return false;
  }
  at = lists[now.rank].Take(*now.ranks++);
  return true;
}

std::optional<size_t> MfzBlockDecoder::Continue(size_t least, uint8_t* out) {
  const uint8_t* const heads = column[MFZ_HEADS];
  const uint32_t* const threads = preamble.threads.data();
  const size_t threadCount = preamble.threads.size();
  const size_t records = static_cast<size_t>(preamble.records);
  const bool follows = preamble.follows;
  least = std::min(least, allBytes);
  Position now = position;
  for (; now.written < least; ++now.record) {
    if (now.record == records) {
      return std::nullopt;
    }
    Head head = table[heads[now.record]];
    if (head.rare != 0 && !TakeRare(now, head)) {
      return std::nullopt;
    }
    now.rank += head.ahead;
    now.rank -= now.rank >= threadCount ? threadCount : 0;
    now.cycle += head.step & 1;  // MfzStep::NEXT
    if (head.step == static_cast<uint8_t>(MfzStep::WRITTEN)) {
      now.cycle += static_cast<uint64_t>(now.cycles.Signed());
    }
    uint64_t at = 0;
    if (!TakePlace(now, head, at)) {
      return std::nullopt;
    }
    if (follows) {
      followers.Behind(now.last, head.type) = at;
    }
    now.last = at;
    uint64_t to = 0;
    const bool isSend = head.type == SEND_RECORD - SWITCH_RECORD;
    if (isSend) {
      const uint64_t toColumn = now.toColumn.Next(static_cast<uint32_t>(at >> 32));
      to = toColumn << 32 | now.toRow.Next(static_cast<uint32_t>(at));
      if (now.rank < lists.size()) {
        lists[now.rank].Add(to);
      }
    }
    if (head.type != 0) {
      ends[now.rank] = isSend ? to : at;
    }
    Store(out + now.written, head.type + SWITCH_RECORD, now.cycle, threads[now.rank], at, to);
    now.written += isSend ? LARGE_RECORD : SMALL_RECORD;
  }
  position = now;
  const bool isDone = now.written >= allBytes;
  return isDone && !IsAtEnd() ? std::nullopt : std::optional(now.written);
}

// Whether all that the block has was taken, and no more.
bool MfzBlockDecoder::IsAtEnd() const {
  const Position& now = position;
  return now.written == allBytes && now.record == preamble.records && now.rare.Good() &&
         now.rare.AtEnd() && now.cycles.Good() && now.cycles.AtEnd() &&
         now.ranks == column[MFZ_RANKS + 1] && now.switches == column[MFZ_SWITCHES + 1] &&
         now.atColumn.AtEnd() && now.atRow.AtEnd() && now.toColumn.AtEnd() && now.toRow.AtEnd();
}

}  // namespace marrowfin
