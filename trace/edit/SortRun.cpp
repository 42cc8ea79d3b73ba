#include "trace/edit/SortRun.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "trace/edit/ScratchFile.h"
#include "trace/read/Columns.h"

namespace marrowfin {
namespace {

constexpr size_t PIECE = 1 << 20;              // that is written at once
constexpr size_t KEYS = 2 * sizeof(uint64_t);  // of a record, with what sorting them takes
constexpr uint32_t DIGIT = 11;  // bits: as many counters as stay in the nearest cache

}  // namespace

SortRun::SortRun(size_t memory, bool noted) : noted(noted) {
  const size_t each = sizeof(SortedRecord) + KEYS + (noted ? sizeof(size_t) : 0);
  const size_t ofRecords = noted ? memory / 2 : memory;
  capacity = std::clamp<size_t>(ofRecords / each, 2 * Columns::CAPACITY, size_t{1} << 31);
  records.reserve(capacity);
  keys.reserve(capacity);
  scratch.reserve(capacity);
  if (noted) {
    valueCapacity = memory / 2 / sizeof(NotedValue);
    values.reserve(valueCapacity);
    valueEnds.reserve(capacity);
  }
}

bool SortRun::IsFull() const {
  return records.size() + Columns::CAPACITY > capacity ||
         (noted && values.size() + 16 * Columns::CAPACITY > valueCapacity);
}

bool SortRun::Fill(RecordFeed& feed, uint64_t firstNumber) {
  records.clear();
  values.clear();
  valueEnds.clear();
  first = firstNumber;
  do {
    if (!feed.Next()) {
      return false;
    }
    Add(feed.Batch(), feed.Notes());
  } while (!IsFull());
  return true;
}

void SortRun::Add(const Columns& columns, std::span<const NoteValues* const> notes) {
  for (size_t i = 0; i < columns.size; ++i) {
    const Columns::Tag tag = columns.tag[i];
    records.push_back({columns.cycle[i], tag.thread, tag.type, columns.at[i], columns.to[i]});
  }
  if (!noted) {
    return;
  }
  for (size_t i = 0; i < columns.size; ++i) {
    for (size_t attribute = 0; attribute < notes.size(); ++attribute) {
      for (const uint64_t value : notes[attribute]->All(i)) {
        values.push_back({attribute, value});
      }
    }
    valueEnds.push_back(values.size());
  }
}

void SortRun::Sort() {
  const auto byCycle = [](const SortedRecord& a, const SortedRecord& b) {
    return a.cycle < b.cycle;
  };
  inOrder = std::is_sorted(records.begin(), records.end(), byCycle);
  if (inOrder) {
    return;
  }
  const auto [least, most] = std::minmax_element(records.begin(), records.end(), byCycle);
  const auto cycleBits = static_cast<uint32_t>(std::bit_width(most->cycle - least->cycle));
  const auto numberBits = static_cast<uint32_t>(std::bit_width(records.size() - 1));
  mask = (uint64_t{1} << numberBits) - 1;
  keys.resize(records.size());
  if (cycleBits + numberBits > 64) {
    for (size_t i = 0; i < keys.size(); ++i) {
      keys[i] = i;
    }
    std::stable_sort(keys.begin(), keys.end(), [&](uint64_t a, uint64_t b) {
      return records[static_cast<size_t>(a)].cycle < records[static_cast<size_t>(b)].cycle;
    });
    return;
  }
  const uint64_t base = least->cycle;
  for (size_t i = 0; i < keys.size(); ++i) {
    keys[i] = (records[i].cycle - base) << numberBits | i;
  }
  for (uint32_t done = 0; done < cycleBits; done += DIGIT) {
    SortByDigit(numberBits + done, std::min(DIGIT, cycleBits - done));
  }
}

// Puts the keys in order of some of their bits, those of equal bits as they were.
void SortRun::SortByDigit(uint32_t shift, uint32_t bits) {
  std::array<size_t, size_t{1} << DIGIT> begins = {};
  const uint64_t digit = (uint64_t{1} << bits) - 1;
  for (const uint64_t key : keys) {
    ++begins[static_cast<size_t>(key >> shift & digit)];
  }
  size_t sum = 0;
  for (size_t& begin : begins) {
    sum += begin;
    begin = sum - begin;
  }
  scratch.resize(keys.size());
  for (const uint64_t key : keys) {
    scratch[begins[static_cast<size_t>(key >> shift & digit)]++] = key;
  }
  keys.swap(scratch);
}

uint64_t SortRun::Bytes() const {
  return records.size() * (sizeof(SortedRecord) + (noted ? sizeof(NotedTail) : 0)) +
         values.size() * sizeof(NotedValue);
}

std::span<const NotedValue> SortRun::Notes(size_t i) const {
  const size_t at = At(i);
  const size_t begin = at == 0 ? 0 : valueEnds[at - 1];
  return std::span(values).subspan(begin, valueEnds[at] - begin);
}

NotedTail SortRun::Tail(size_t i) const {
  return {first + At(i), Notes(i).size() * sizeof(NotedValue)};
}

Fault SortRun::Write(int descriptor, uint64_t offset) const {
  std::vector<uint8_t> piece;
  piece.reserve(PIECE + (noted ? PIECE : 0));
  const auto append = [&](const void* bytes, size_t size) {
    const auto* from = static_cast<const uint8_t*>(bytes);
    piece.insert(piece.end(), from, from + size);
  };
  for (size_t i = 0; i < records.size(); ++i) {
    append(&Record(i), sizeof(SortedRecord));
    if (noted) {
      const NotedTail tail = Tail(i);
      append(&tail, sizeof(tail));
      append(Notes(i).data(), static_cast<size_t>(tail.notes));
    }
    if (piece.size() + sizeof(SortedRecord) > PIECE || i + 1 == records.size()) {
      if (Fault fault = WriteScratch(descriptor, offset, piece.data(), piece.size())) {
        return fault;
      }
      offset += piece.size();
      piece.clear();
    }
  }
  return {};
}

}  // namespace marrowfin
