#include "trace/write/NotesWriter.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"
#include "trace/base/Zstd.h"

namespace marrowfin {

namespace {

void PutText(ByteWriter& bytes, std::string_view text) { bytes.Text(std::string(text)); }

void PutBits(ByteWriter& bytes, uint64_t bits) {
  uint8_t stored[8];
  Store64(stored, bits);
  bytes.Raw(stored, sizeof(stored));
}

void PutDifference(ByteWriter& bytes, uint64_t value, uint64_t& before) {
  bytes.Signed(static_cast<int64_t>(value - before));
  before = value;
}

void PutSampleValue(ByteWriter& bytes, double value) {
  constexpr double LARGEST = 0x1p53;
  const bool whole = std::abs(value) <= LARGEST && std::trunc(value) == value;
  const uint8_t form = whole ? 0 : 1;
  bytes.Raw(&form, 1);
  if (whole) {
    bytes.Signed(static_cast<int64_t>(value));
  } else {
    PutBits(bytes, std::bit_cast<uint64_t>(value));
  }
}

}  // namespace

NotesWriter::NotesWriter(ByteSink& sink, NotesPacking packing) : sink(sink), packing(packing) {
  Put(NOTES_MAGIC, sizeof(NOTES_MAGIC));
}

void NotesWriter::Put(const uint8_t* bytes, size_t count) {
  if (!fault) {
    ByteSink::Written written = sink.Write(bytes, count);
    size += written.taken;
    fault = std::move(written.fault);
  }
}

void NotesWriter::Declare(const ByteWriter& entry) {
  ByteWriter sized;
  sized.Number(entry.Bytes().size());
  sized.Raw(entry.Bytes().data(), entry.Bytes().size());
  declared += sized.Bytes().size();
  declarations.insert(declarations.end(), sized.Bytes().begin(), sized.Bytes().end());
}

uint32_t NotesWriter::Attribute(std::string_view name, NoteType type, std::string_view unit) {
  const auto number = static_cast<uint32_t>(types.size());
  ByteWriter entry;
  entry.Number(1);
  entry.Number(number);
  entry.Number(static_cast<uint64_t>(type));
  PutText(entry, name);
  PutText(entry, unit);
  Declare(entry);
  types.push_back(type);
  columns.push_back({number, {}, {}});
  return number;
}

void NotesWriter::NameValue(uint32_t attribute, uint64_t value, std::string_view name) {
  ByteWriter entry;
  entry.Number(2);
  entry.Number(attribute);
  entry.Number(value);
  PutText(entry, name);
  constexpr size_t LARGEST_SIZE = 5;  // of the number of bytes before an entry
  if (declared + entry.Bytes().size() + LARGEST_SIZE <= NOTES_LARGEST_BODY) {
    Declare(entry);
  }
}

uint32_t NotesWriter::Counter(std::string_view name, std::string_view unit) {
  ByteWriter entry;
  entry.Number(3);
  entry.Number(counters);
  PutText(entry, name);
  PutText(entry, unit);
  Declare(entry);
  return counters++;
}

void NotesWriter::Record(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to) {
  if (IsFull()) {
    WriteNotes();
  }
  print.Add(type, cycle, thread, at, to);
  cycles.push_back(cycle);
}

bool NotesWriter::Note(uint32_t attribute, uint64_t value) {
  const bool several = types[attribute] == NoteType::RECORDS;
  if (cycles.empty() || (several && value >= first + cycles.size() - 1)) {
    return false;
  }
  NoteColumn& column = columns[attribute];
  const auto position = static_cast<uint32_t>(cycles.size() - 1);
  if (!several && !column.positions.empty() && column.positions.back() == position) {
    column.values.back() = value;
    return true;
  }
  if (values == MOST_VALUES) {
    return false;
  }
  ++values;
  column.positions.push_back(position);
  column.values.push_back(value);
  return true;
}

bool NotesWriter::Note(uint32_t attribute, double value) {
  return Note(attribute, std::bit_cast<uint64_t>(value));
}

void NotesWriter::Sample(const CounterSample& sample) {
  if (samples.size() == BLOCK_SAMPLES) {
    WriteSamples();
  }
  samples.push_back(sample);
}

void NotesWriter::WriteBlock(NotesBlockKind kind, const std::vector<uint8_t>& body, bool mayPack) {
  const bool pack = mayPack && packing == NotesPacking::ZSTD;
  const std::vector<uint8_t> stored = pack ? Pack(body) : body;
  uint8_t head[NOTES_BLOCK_HEAD] = {static_cast<uint8_t>(kind), static_cast<uint8_t>(pack)};
  Store32(head + 4, static_cast<uint32_t>(stored.size()));
  Store32(head + 8, static_cast<uint32_t>(body.size()));
  uLong sum = crc32(0, head, 12);
  sum = crc32(sum, stored.data(), static_cast<uInt>(stored.size()));
  Store32(head + 12, static_cast<uint32_t>(sum));
  Put(head, sizeof(head));
  Put(stored.data(), stored.size());
}

void NotesWriter::WriteDeclarations() {
  if (!declarations.empty()) {
    entries.push_back({NotesBlockKind::DECLARATIONS, size, 0, 0});
    WriteBlock(NotesBlockKind::DECLARATIONS, declarations, false);
    declarations.clear();
  }
}

void NotesWriter::PutValues(const NoteColumn& column, ByteWriter& body) const {
  uint64_t before = 0;
  for (size_t i = 0; i < column.values.size(); ++i) {
    const uint64_t value = column.values[i];
    switch (types[column.attribute]) {
      case NoteType::REAL:
        PutBits(body, value);
        break;
      case NoteType::CYCLE:
        body.Signed(static_cast<int64_t>(cycles[column.positions[i]] - value));
        break;
      case NoteType::RECORDS:
        body.Number(first + column.positions[i] - value);
        break;
      default:
        PutDifference(body, value, before);
        break;
    }
  }
}

void NotesWriter::PutColumn(const NoteColumn& column, ByteWriter& body) const {
  const bool ofAll =
      types[column.attribute] != NoteType::RECORDS && column.positions.size() == cycles.size();
  ByteWriter part;
  part.Number(ofAll ? 0 : column.positions.size());
  uint32_t before = 0;
  for (size_t i = 0; i < column.positions.size() && !ofAll; ++i) {
    part.Number(column.positions[i] - before);
    before = column.positions[i];
  }
  PutValues(column, part);
  body.Number(column.attribute);
  body.Number(part.Bytes().size());
  body.Raw(part.Bytes().data(), part.Bytes().size());
}

void NotesWriter::WriteNotes() {
  WriteDeclarations();
  if (cycles.empty()) {
    return;
  }
  ByteWriter body;
  body.Number(first);
  body.Number(cycles.size());
  PutBits(body, print.Value());
  body.Number(static_cast<uint64_t>(
      std::count_if(columns.begin(), columns.end(),
                    [](const NoteColumn& column) { return !column.values.empty(); })));
  for (NoteColumn& column : columns) {
    if (!column.values.empty()) {
      PutColumn(column, body);
      column.positions.clear();
      column.values.clear();
    }
  }
  entries.push_back({NotesBlockKind::NOTES, size, first, first + cycles.size()});
  WriteBlock(NotesBlockKind::NOTES, body.Bytes(), true);
  first += cycles.size();
  cycles.clear();
  values = 0;
  print = Fingerprint();
}

void NotesWriter::WriteSamples() {
  WriteDeclarations();
  if (samples.empty()) {
    return;
  }
  ByteWriter body;
  body.Number(samples.size());
  NotesEntry entry = {NotesBlockKind::SAMPLES, size, samples[0].cycle, samples[0].cycle};
  uint64_t cycle = 0;
  for (const CounterSample& sample : samples) {
    PutDifference(body, sample.cycle, cycle);
    entry.low = std::min(entry.low, sample.cycle);
    entry.high = std::max(entry.high, sample.cycle);
  }
  for (const CounterSample& sample : samples) {
    body.Number(sample.counter);
  }
  for (uint32_t Place::*coordinate : {&Place::column, &Place::row}) {
    uint64_t before = 0;
    for (const CounterSample& sample : samples) {
      PutDifference(body, sample.at.*coordinate, before);
    }
  }
  for (const CounterSample& sample : samples) {
    PutSampleValue(body, sample.value);
  }
  entries.push_back(entry);
  WriteBlock(NotesBlockKind::SAMPLES, body.Bytes(), true);
  samples.clear();
}

void NotesWriter::WriteTable() {
  ByteWriter body;
  body.Number(entries.size());
  uint64_t offset = 0;
  uint64_t record = 0;
  for (const NotesEntry& entry : entries) {
    const auto kind = static_cast<uint8_t>(entry.kind);
    body.Raw(&kind, 1);
    body.Number(entry.offset - offset);
    offset = entry.offset;
    if (entry.kind == NotesBlockKind::DECLARATIONS) {
      continue;
    }
    const bool notes = entry.kind == NotesBlockKind::NOTES;
    body.Number(notes ? entry.low - record : entry.low);
    body.Number(entry.high - entry.low);
    record = notes ? entry.low : record;
  }
  PutBits(body, size);
  body.Raw(NOTES_TABLE_MAGIC, sizeof(NOTES_TABLE_MAGIC));
  WriteBlock(NotesBlockKind::TABLE, body.Bytes(), false);
}

Fault NotesWriter::Flush() {
  WriteNotes();
  WriteSamples();
  return fault;
}

Fault NotesWriter::Close() {
  if (!Flush()) {
    WriteTable();
  }
  return fault;
}

}  // namespace marrowfin
