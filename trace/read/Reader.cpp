#include "trace/read/Reader.h"

#include <algorithm>
#include <cstring>

#include "trace/read/MalformedRecord.h"
#include "trace/read/OutsideArray.h"
#include "trace/read/SwitchGrid.h"

namespace marrowfin {

namespace {

constexpr size_t BLOCK = 256 << 10;

Fault FallingCycle(uint64_t before, uint64_t cycle) {
  Fault fault;
  fault.kind = Fault::FALLING_CYCLE;
  fault.reason = "the cycle falls from " + std::to_string(before) + " to " + std::to_string(cycle);
  fault.remedy = "write events in order of their cycles";
  return fault;
}

Fault OutsideArray(const ArrayShape& array, uint32_t type, Place place) {
  Fault fault;
  fault.kind = Fault::OUTSIDE_ARRAY;
  fault.reason = OutsideArrayText(array, type, place);
  fault.remedy =
      "give the counts of the array that wrote the trace (marrowfin-trace info shows them)";
  return fault;
}

// A viewer draws a message wherever its ends are, so a trace with such ends is none the worse.
Fault FarEnd(Place place) {
  Fault fault;
  fault.kind = Fault::FAR_END;
  fault.reason = "a message's end at " + PlaceText(place) + " is outside the array";
  fault.remedy = "give larger counts to see all of the message";
  return fault;
}

}  // namespace

Reader::Reader(std::unique_ptr<ByteSource> source, const std::string& name, ReadOptions options)
    : source(std::move(source)),
      name(name),
      options(std::move(options)),
      block(BLOCK),
      begin(block.data()),
      end(block.data()) {}

bool Reader::Next(Columns& columns) {
  columns.Clear();
  columns.firstRecord = record;
  columns.firstOffset = offset;
  if (fault) {
    return false;
  }
  const uint8_t* next = DecodeBest(begin, end, columns);
  // Nothing, a record that the block cuts, or a malformed one, which shows itself again.
  while (columns.size == 0 && Refill()) {
    next = DecodeBest(begin, end, columns);
  }
  if (columns.size > 0) {
    const uint64_t cycleBefore = lastCycle;
    lastCycle = columns.cycle[columns.size - 1];
    Check(columns, cycleBefore);
    begin = next;
  }
  record += columns.size;
  offset += columns.Bytes();
  if (columns.size == 0 && !fault) {
    fault = begin == end ? behind : MalformedRecord(begin, end);
    if (fault && behind && fault.kind == Fault::CUT_RECORD) {
      fault = behind;
    }
    fault.offset = offset;
    fault.record = record;
    fault.file = name;
  }
  return columns.size > 0;
}

// Moves what is left of the block to its front and reads on; false where nothing came.
bool Reader::Refill() {
  const size_t left = static_cast<size_t>(end - begin);
  if (atEnd || left >= LARGE_RECORD) {
    return false;
  }
  memmove(block.data(), begin, left);
  const Result<size_t> got = source->Read(block.data() + left, block.size() - left);
  if (!got) {
    behind = got.Why();
  }
  begin = block.data();
  end = begin + left + (got ? *got : 0);
  atEnd = !got || *got == 0;
  return !atEnd;
}

void Reader::Check(Columns& columns, uint64_t cycleBefore) {
  if (!IsSuspicious(options, columns, cycleBefore)) {
    return;
  }
  FindInBatch(columns, cycleBefore, options.ordered, options.array,
              [&](size_t i, const Fault& finding) { return Keep(columns, i, finding); });
}

// Whether to go on after a finding at record `i` of the batch; the batch ends before it if not.
bool Reader::Keep(Columns& columns, size_t i, const Fault& finding) {
  Fault placed = finding;
  placed.file = name;
  placed.record = record + i;
  placed.offset = offset;
  for (size_t before = 0; before < i; ++before) {
    placed.offset += RecordSize(columns.tag[before].type);
  }
  if (options.onFinding) {
    options.onFinding(placed);
    return true;
  }
  fault = placed;
  // Decoded anew up to there, so that what was gathered of the batch is of its records alone.
  columns.Clear();
  DecodeBest(begin, begin + (placed.offset - offset), columns);
  return false;
}

bool IsSuspicious(const ReadOptions& options, const Columns& columns, uint64_t cycleBefore) {
  const bool fell = columns.fell || (columns.size > 0 && columns.cycle[0] < cycleBefore);
  if (options.ordered && fell) {
    return true;
  }
  return options.array.has_value() &&
         (!options.array->HasElement(columns.maxFired) ||
          !options.array->HasElement(columns.maxSent) ||
          (columns.switches > 0 && !SwitchGrid(*options.array).Fits(columns)));
}

void FindInBatch(const Columns& columns, uint64_t cycleBefore, bool ordered,
                 const std::optional<ArrayShape>& array,
                 const std::function<bool(size_t, const Fault&)>& found) {
  for (size_t i = 0; i < columns.size; ++i) {
    const uint64_t before = i == 0 ? cycleBefore : columns.cycle[i - 1];
    if (ordered && columns.cycle[i] < before && !found(i, FallingCycle(before, columns.cycle[i]))) {
      return;
    }
    if (!array) {
      continue;
    }
    const uint32_t type = columns.tag[i].type;
    if (type == SWITCH_RECORD) {
      if (!array->HasSwitch(columns.at[i]) &&
          !found(i, OutsideArray(*array, type, columns.at[i]))) {
        return;
      }
      continue;
    }
    const bool isSend = type == SEND_RECORD;
    if (!array->HasElement(columns.at[i]) &&
        !found(i, isSend ? FarEnd(columns.at[i]) : OutsideArray(*array, type, columns.at[i]))) {
      return;
    }
    if (isSend && !array->HasElement(columns.to[i]) && !found(i, FarEnd(columns.to[i]))) {
      return;
    }
  }
}

}  // namespace marrowfin
