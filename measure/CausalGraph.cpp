#include "measure/CausalGraph.h"

#include <algorithm>
#include <cstring>

namespace marrowfin {

uint8_t* CausalGraph::PutNumber(uint8_t* at, uint64_t number) {
  while (number >= 0x80) {
    *at++ = static_cast<uint8_t>(number | 0x80);
    number >>= 7;
  }
  *at++ = static_cast<uint8_t>(number);
  return at;
}

const uint8_t* CausalGraph::GetNumber(const uint8_t* at, uint64_t& number) {
  number = *at & 0x7F;
  for (unsigned shift = 7; (*at++ & 0x80) != 0; shift += 7) {
    number |= static_cast<uint64_t>(*at & 0x7F) << shift;
  }
  return at;
}

void CausalGraph::Add(std::span<const uint64_t> causes, Evidence evidence, uint32_t work) {
  const size_t most = filled + 1 + (causes.size() + 1) * LONGEST;
  if (most > filling.size()) {
    filling.resize(most * 2);
  }
  uint8_t* at = filling.data() + filled;
  const uint32_t count = static_cast<uint32_t>(std::min<size_t>(causes.size(), MANY));
  *at++ = static_cast<uint8_t>(count | static_cast<uint32_t>(evidence) << 3 | work << 5);
  if (count == MANY) {
    at = PutNumber(at, causes.size());
  }
  for (const uint64_t cause : causes) {
    at = PutNumber(at, records - cause);
  }
  filled = static_cast<size_t>(at - filling.data());
  if (++records % GROUP == 0) {
    Keep();
  }
}

// Moves the full group into a block, whole, so that whoever reads it meets no end of a block.
void CausalGraph::Keep() {
  if (filled > left) {
    const size_t size = std::max(BLOCK, filled);
    blocks.push_back(std::make_unique_for_overwrite<uint8_t[]>(size));
    bytes += size;
    free = blocks.back().get();
    left = size;
  }
  memcpy(free, filling.data(), filled);
  groups.push_back(free);
  free += filled;
  left -= filled;
  filled = 0;
}

const uint8_t* CausalGraph::Skip(const uint8_t* at) {
  uint64_t count = *at++ & 7U;
  if (count == MANY) {
    at = GetNumber(at, count);
  }
  for (; count > 0; --count) {
    while ((*at++ & 0x80) != 0) {
    }
  }
  return at;
}

void CausalGraph::Reader::Place(uint64_t record) {
  const uint64_t wanted = record / GROUP;
  const uint64_t row = record % GROUP;
  const uint8_t* begin = wanted < graph.groups.size() ? graph.groups[wanted] : graph.filling.data();
  if (row == 0) {
    at = begin;
    return;
  }
  if (group != wanted) {
    group = wanted;
    const uint64_t count = std::min(GROUP, graph.records - wanted * GROUP);
    for (uint64_t i = 0; i < count; ++i) {
      starts[i] = begin;
      begin = Skip(begin);
    }
  }
  at = starts[row];
}

CausalGraph::Node CausalGraph::Reader::Parse(uint64_t record) {
  const uint32_t head = *at++;
  uint64_t count = head & 7;
  if (count == MANY) {
    at = GetNumber(at, count);
  }
  causes.resize(count);
  for (uint64_t& cause : causes) {
    uint64_t back;
    at = GetNumber(at, back);
    cause = record - back;
  }
  next = record + 1;
  return {causes, static_cast<Evidence>(head >> 3 & 3), head >> 5};
}

}  // namespace marrowfin
