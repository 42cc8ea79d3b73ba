#include "trace/index/NoteTables.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"

namespace marrowfin {

uint64_t NoteColumnSummary::KeyOf(NoteType type, uint64_t value) {
  if (type != NoteType::REAL) {
    return value;
  }
  constexpr uint64_t SIGN = uint64_t{1} << 63;
  value = value == SIGN ? 0 : value;  // both zeros are equal
  return (value & SIGN) != 0 ? ~value : value | SIGN;
}

void NoteColumnSummary::Add(NoteType type, uint64_t value) {
  const bool isNumber = type != NoteType::REAL || !std::isnan(std::bit_cast<double>(value));
  const bool isFirst = bits == 0;
  const uint64_t key = KeyOf(type, value);
  low = !isNumber ? 0 : isFirst ? key : std::min(low, key);
  high = !isNumber ? ~uint64_t{0} : isFirst ? key : std::max(high, key);
  bits |= type == NoteType::REAL ? ~uint64_t{0} : BitOf(value);
}

void NoteTimes::Add(NoteType type, uint64_t cycle, uint32_t recordType,
                    std::optional<uint64_t> value) {
  size_t slot = TimeTable::OTHERS;
  const auto known = value ? std::find(values.begin(), values.end(), *value) : values.end();
  if (!value) {
    slot = table.AddThread(NONE);
  } else if (known != values.end() || values.size() < MOST_VALUES) {
    slot = table.AddThread(static_cast<uint32_t>(known - values.begin()) + 1);
    if (known == values.end()) {
      values.push_back(*value);
    }
  } else if (type != NoteType::NAME) {
    *this = {attribute, false, {}, TimeTable(CELLS)};
    return;
  }
  table.Add(cycle, TimeTable::ColumnOf(slot, TimeTable::TypeOf(recordType)), 1);
}

namespace {

void PutFixed(ByteWriter& out, uint64_t value) {
  uint8_t bytes[8];
  Store64(bytes, value);
  out.Raw(bytes, sizeof(bytes));
}

uint64_t GetFixed(ByteReader& in) {
  uint8_t bytes[8] = {};
  in.Raw(bytes, sizeof(bytes));
  return Load64(bytes);
}

void PutMark(ByteWriter& out, const NoteTables& tables) {
  out.Number(tables.trace.size);
  out.Number(tables.trace.modified);
  out.Number(tables.trace.changed);
  out.Number(tables.trace.inode);
  out.Number(tables.trace.edges);
  out.Number(tables.notesSize);
  out.Number(tables.notesModified);
  out.Number(tables.notesChanged);
  out.Number(tables.notesInode);
}

void GetMark(ByteReader& in, NoteTables& tables) {
  tables.trace.size = in.Number();
  tables.trace.modified = in.Number();
  tables.trace.changed = in.Number();
  tables.trace.inode = in.Number();
  tables.trace.edges = static_cast<uint32_t>(in.Number());
  tables.notesSize = in.Number();
  tables.notesModified = in.Number();
  tables.notesChanged = in.Number();
  tables.notesInode = in.Number();
}

void PutBlock(ByteWriter& out, const NoteBlockSummary& block) {
  out.Number(block.known ? 1 : 0);
  out.Number(block.columns.size());
  for (const NoteColumnSummary& column : block.columns) {
    out.Number(column.records);
    if (column.records > 0) {
      out.Number(column.low);
      out.Number(column.high - column.low);
      PutFixed(out, column.bits);
    }
  }
}

bool GetBlock(ByteReader& in, NoteBlockSummary& block) {
  block.known = in.Number() == 1;
  block.columns.resize(in.Count(NOTES_MOST_ATTRIBUTES));
  bool good = block.known || block.columns.empty();
  for (NoteColumnSummary& column : block.columns) {
    const uint64_t records = in.Number();
    good = good && records <= NOTES_MOST_RECORDS;
    column.records = static_cast<uint32_t>(records);
    if (records > 0) {
      column.low = in.Number();
      const uint64_t span = in.Number();
      good = good && span <= ~column.low;
      column.high = column.low + span;
      column.bits = GetFixed(in);
    }
  }
  return good && in.Good();
}

void PutSection(ByteWriter& out, const IndexSection& section) {
  out.Number(section.offset);
  out.Number(section.packedSize);
  out.Number(section.rawSize);
}

bool GetSection(ByteReader& in, uint64_t dataSize, uint64_t largest, IndexSection& section) {
  section.offset = in.Number();
  section.packedSize = in.Number();
  section.rawSize = in.Number();
  return in.Good() && section.offset >= sizeof(NOTES_INDEX_MAGIC) && section.offset <= dataSize &&
         section.packedSize <= dataSize - section.offset && section.rawSize <= largest;
}

bool GetTimes(ByteReader& in, uint64_t dataSize, NoteTables& tables,
              std::vector<IndexSection>& sections) {
  tables.times.resize(in.Count(NOTES_MOST_ATTRIBUTES));
  sections.resize(tables.times.size());
  for (size_t i = 0; i < tables.times.size(); ++i) {
    NoteTimes& times = tables.times[i];
    const uint64_t attribute = in.Number();
    times.attribute = static_cast<uint32_t>(attribute);
    times.isTold = in.Number() == 1;
    times.values.resize(in.Count(NoteTimes::MOST_VALUES));
    for (uint64_t& value : times.values) {
      value = in.Number();
    }
    if (attribute >= NOTES_MOST_ATTRIBUTES ||
        !GetSection(in, dataSize, TimeTable::LARGEST, sections[i])) {
      return false;
    }
  }
  return in.Good();
}

bool GetCounters(ByteReader& in, uint64_t dataSize, NoteTables& tables) {
  tables.countersWhole = in.Number() == 1;
  tables.counters.resize(in.Count(CounterTable::Limits().series + NOTES_MOST_COUNTERS));
  for (CounterSection& counter : tables.counters) {
    const uint64_t number = in.Number();
    counter.key.all = in.Number() == 1;
    const uint64_t column = in.Number();
    const uint64_t row = in.Number();
    counter.key.counter = static_cast<uint32_t>(number);
    counter.key.at = {static_cast<uint32_t>(column), static_cast<uint32_t>(row)};
    if (number >= NOTES_MOST_COUNTERS || column > UINT32_MAX || row > UINT32_MAX ||
        !GetSection(in, dataSize, CounterSeries::LARGEST, counter.section)) {
      return false;
    }
  }
  return in.Good();
}

}  // namespace

std::vector<uint8_t> EncodeNoteTables(const NoteTables& tables,
                                      std::span<const IndexSection> times) {
  ByteWriter out;
  PutMark(out, tables);
  out.Number(tables.entries.size());
  uint64_t before = 0;
  for (const NoteEntryMark& entry : tables.entries) {
    out.Number(entry.offset - before);
    out.Number(entry.sum);
    before = entry.offset;
  }
  out.Number(tables.blocks.size());
  for (const NoteBlockSummary& block : tables.blocks) {
    PutBlock(out, block);
  }
  out.Number(tables.times.size());
  for (size_t i = 0; i < tables.times.size(); ++i) {
    out.Number(tables.times[i].attribute);
    out.Number(tables.times[i].isTold ? 1 : 0);
    out.Number(tables.times[i].values.size());
    for (const uint64_t value : tables.times[i].values) {
      out.Number(value);
    }
    PutSection(out, times[i]);
  }
  out.Number(tables.countersWhole ? 1 : 0);
  out.Number(tables.counters.size());
  for (const CounterSection& counter : tables.counters) {
    out.Number(counter.key.counter);
    out.Number(counter.key.all ? 1 : 0);
    out.Number(counter.key.at.column);
    out.Number(counter.key.at.row);
    PutSection(out, counter.section);
  }
  return out.Take();
}

bool DecodeNoteTables(std::span<const uint8_t> bytes, uint64_t dataSize, size_t mostEntries,
                      NoteTables& tables, std::vector<IndexSection>& times) {
  ByteReader in(bytes.data(), bytes.size());
  GetMark(in, tables);
  tables.entries.resize(in.Count(mostEntries));
  uint64_t offset = 0;
  for (NoteEntryMark& entry : tables.entries) {
    offset += in.Number();
    entry.offset = offset;
    entry.sum = static_cast<uint32_t>(in.Number());
  }
  tables.blocks.resize(in.Count(tables.entries.size()));
  for (NoteBlockSummary& block : tables.blocks) {
    if (!GetBlock(in, block)) {
      return false;
    }
  }
  return GetTimes(in, dataSize, tables, times) && GetCounters(in, dataSize, tables) && in.AtEnd();
}

}  // namespace marrowfin
