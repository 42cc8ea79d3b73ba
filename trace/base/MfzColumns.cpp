#include "trace/base/MfzColumns.h"

#include "trace/base/Bytes.h"

namespace marrowfin {

namespace {

constexpr uint64_t FOLLOWS_BIT = 1;
constexpr uint64_t AWAITED_BIT = 2;
constexpr unsigned RELATIVE_SHIFT = 2;
constexpr uint64_t MOST_FLAGS = uint64_t{1} << (RELATIVE_SHIFT + MFZ_PLACE_COLUMNS);
constexpr uint64_t LARGEST_EXTENT = uint64_t{1} << 32;

uint64_t FlagsOf(const MfzPreamble& preamble) {
  uint64_t flags = (preamble.follows ? FOLLOWS_BIT : 0) | (preamble.awaited ? AWAITED_BIT : 0);
  for (size_t i = 0; i < MFZ_PLACE_COLUMNS; ++i) {
    flags |= uint64_t{preamble.relative[i]} << (RELATIVE_SHIFT + i);
  }
  return flags;
}

void TakeFlags(uint64_t flags, MfzPreamble& preamble) {
  preamble.follows = (flags & FOLLOWS_BIT) != 0;
  preamble.awaited = (flags & AWAITED_BIT) != 0;
  for (size_t i = 0; i < MFZ_PLACE_COLUMNS; ++i) {
    preamble.relative[i] = (flags >> (RELATIVE_SHIFT + i) & 1) != 0;
  }
}

bool ReadThreads(ByteReader& reader, MfzPreamble& preamble) {
  preamble.threads.resize(reader.Count(static_cast<size_t>(preamble.records)));
  for (uint32_t& thread : preamble.threads) {
    const uint64_t number = reader.Number();
    if (number > UINT32_MAX) {
      return false;
    }
    thread = static_cast<uint32_t>(number);
  }
  return !preamble.threads.empty();
}

bool ReadHeads(ByteReader& reader, MfzPreamble& preamble) {
  preamble.heads.resize(reader.Count(MFZ_RARE));
  uint64_t last = 0;
  for (uint64_t& head : preamble.heads) {
    head = last += reader.Number();
    if (!MfzHead::IsSound(head, preamble.threads.size())) {
      return false;
    }
  }
  return true;
}

bool ReadSwitches(ByteReader& reader, MfzPreamble& preamble) {
  preamble.switches.resize(reader.Count(MFZ_RARE));
  for (uint64_t& place : preamble.switches) {
    const uint64_t column = reader.Number();
    const uint64_t row = reader.Number();
    if (column >= preamble.extent[0] || row >= preamble.extent[1]) {
      return false;
    }
    place = column << 32 | row;
  }
  return true;
}

}  // namespace

bool MfzHead::IsSound(uint64_t number, size_t threads) {
  const MfzHead head = Of(number);
  return number >> AHEAD_SHIFT < threads && head.type < RECORD_TYPES &&
         head.step <= MfzStep::WRITTEN &&
         (head.way != MfzWay::AWAITED || head.type == FIRE_RECORD - SWITCH_RECORD) &&
         (head.way != MfzWay::LAST_END || head.type != 0);
}

size_t MfzPreamble::Planes(size_t axis) const {
  size_t planes = 1;
  while (planes < sizeof(uint32_t) && extent[axis] > uint64_t{1} << (8 * planes)) {
    ++planes;
  }
  return planes;
}

std::vector<uint8_t> EncodeMfzPreamble(const MfzPreamble& preamble) {
  ByteWriter bytes;
  bytes.Number(preamble.records);
  bytes.Number(preamble.firstCycle);
  bytes.Number(FlagsOf(preamble));
  bytes.Number(preamble.extent[0]);
  bytes.Number(preamble.extent[1]);
  bytes.Number(preamble.threads.size());
  for (const uint32_t thread : preamble.threads) {
    bytes.Number(thread);
  }
  bytes.Number(preamble.heads.size());
  uint64_t last = 0;
  for (const uint64_t head : preamble.heads) {
    bytes.Number(head - last);
    last = head;
  }
  bytes.Number(preamble.switches.size());
  for (const uint64_t place : preamble.switches) {
    bytes.Number(place >> 32);
    bytes.Number(place & UINT32_MAX);
  }
  for (const uint64_t size : preamble.bytes) {
    bytes.Number(size);
  }
  return bytes.Take();
}

bool DecodeMfzPreamble(std::span<const uint8_t> bytes, MfzPreamble& preamble, size_t& size) {
  ByteReader reader(bytes.data(), bytes.size());
  preamble.records = reader.Number();
  if (preamble.records == 0 || preamble.records > MFZ_MOST_RECORDS) {
    return false;
  }
  preamble.firstCycle = reader.Number();
  const uint64_t flags = reader.Number();
  preamble.extent[0] = reader.Number();
  preamble.extent[1] = reader.Number();
  for (const uint64_t extent : preamble.extent) {
    if (extent == 0 || extent > LARGEST_EXTENT) {
      return false;
    }
  }
  TakeFlags(flags, preamble);
  if (flags >= MOST_FLAGS || !ReadThreads(reader, preamble) || !ReadHeads(reader, preamble) ||
      !ReadSwitches(reader, preamble)) {
    return false;
  }
  uint64_t all = 0;
  for (uint64_t& column : preamble.bytes) {
    column = reader.Number();
    if (column > bytes.size()) {
      return false;
    }
    all += column;
  }
  size = bytes.size() - reader.Left();
  return reader.Good() && reader.Left() == all && preamble.bytes[MFZ_HEADS] == preamble.records;
}

}  // namespace marrowfin
