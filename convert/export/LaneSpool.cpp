#include "convert/export/LaneSpool.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "trace/base/UnnamedFile.h"
#include "trace/edit/ScratchFile.h"

namespace marrowfin {
namespace {

// What all lanes may keep waiting.
constexpr size_t MEMORY = 4 << 20;
constexpr size_t MOST_ROOM = 64 << 10;

// A piece stands behind its size.
constexpr size_t HEAD = sizeof(uint32_t);

}  // namespace

LaneSpool::~LaneSpool() {
  if (descriptor != -1) {
    close(descriptor);
  }
}

void LaneSpool::Announce(uint64_t lane, size_t size) { lanes[lane].size += HEAD + size; }

Fault LaneSpool::Named(Fault fault) const {
  if (fault) {
    fault.file = name;
    fault.remedy = "make room there, or choose another place";
  }
  return fault;
}

Fault LaneSpool::Begin() {
  uint64_t begin = 0;
  for (auto& [number, lane] : lanes) {
    lane.begin = begin;
    begin += lane.size;
  }
  room = std::min(MOST_ROOM, MEMORY / std::max<size_t>(lanes.size(), 1));
  descriptor = OpenUnnamedFile(folder);
  return descriptor == -1 ? Named(SystemFault(name, "cannot write", errno)) : Fault();
}

Fault LaneSpool::Put(uint64_t number, std::span<const uint8_t> piece) {
  const auto found = lanes.find(number);
  const bool fits = found != lanes.end() &&
                    found->second.written + found->second.waiting.size() + HEAD + piece.size() <=
                        found->second.size;
  if (!fits) {
    Fault fault;
    fault.kind = Fault::CHANGED;
    fault.file = name;
    fault.reason = "cannot write: the trace changed meanwhile";
    return fault;
  }
  ++pieces;
  Lane& lane = found->second;
  const auto size = static_cast<uint32_t>(piece.size());
  for (size_t byte = 0; byte < HEAD; ++byte) {
    lane.waiting.push_back(static_cast<uint8_t>(size >> (8 * byte)));
  }
  lane.waiting.insert(lane.waiting.end(), piece.begin(), piece.end());
  return lane.waiting.size() >= room ? Write(lane) : Fault();
}

// Gives the memory back: what one lane needs is not what all need.
Fault LaneSpool::Write(Lane& lane) {
  const std::vector<uint8_t> bytes = std::move(lane.waiting);
  lane.waiting = {};
  Fault fault = WriteScratch(descriptor, lane.begin + lane.written, bytes.data(), bytes.size());
  lane.written += bytes.size();
  return Named(std::move(fault));
}

Fault LaneSpool::End() {
  for (auto& [number, lane] : lanes) {
    if (Fault fault = Write(lane)) {
      return fault;
    }
  }
  return {};
}

std::vector<uint64_t> LaneSpool::Lanes() const {
  std::vector<uint64_t> numbers;
  for (const auto& [number, lane] : lanes) {
    numbers.push_back(number);
  }
  return numbers;
}

LaneSpool::Reader::Reader(const LaneSpool& spool, uint64_t lane, size_t portion)
    : spool(spool), portion(portion) {
  const Lane& of = spool.lanes.at(lane);
  offset = of.begin;
  end = of.begin + of.written;
}

Result<std::span<const uint8_t>> LaneSpool::Reader::Next() {
  if (from == bytes.size() && offset == end) {
    return std::span<const uint8_t>();
  }
  if (Fault fault = Have(HEAD)) {
    return fault;
  }
  size_t size = 0;
  for (size_t byte = 0; byte < HEAD; ++byte) {
    size |= size_t{bytes[from + byte]} << (8 * byte);
  }
  if (Fault fault = Have(HEAD + size)) {
    return fault;
  }
  const std::span<const uint8_t> piece = std::span(bytes).subspan(from + HEAD, size);
  from += HEAD + size;
  return piece;
}

// Reads until so many bytes that were not handed out are in memory, as they are in the file.
Fault LaneSpool::Reader::Have(size_t size) {
  const size_t left = bytes.size() - from;
  if (left >= size) {
    return {};
  }
  bytes.erase(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(from));
  from = 0;
  const size_t more =
      static_cast<size_t>(std::min<uint64_t>(std::max(portion, size - left), end - offset));
  bytes.resize(left + more);
  Fault fault = ReadScratch(spool.descriptor, offset, bytes.data() + left, more);
  offset += more;
  return spool.Named(std::move(fault));
}

}  // namespace marrowfin
