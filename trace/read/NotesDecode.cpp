#include "trace/read/NotesDecode.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"
#include "trace/base/Zstd.h"

namespace marrowfin {

namespace {

constexpr size_t FIELDS_BEFORE_SUM = 12;

// The positions of a column: all records of the block, or those that it lists.
bool DecodePositions(ByteReader& reader, uint32_t count, NoteType type, NoteColumn& column) {
  const bool several = type == NoteType::RECORDS;
  const size_t listed = reader.Count(several ? NOTES_LARGEST_BODY : count);
  if (listed == 0) {
    column.positions.resize(count);
    for (uint32_t i = 0; i < count; ++i) {
      column.positions[i] = i;
    }
    return reader.Good() && !several;
  }
  column.positions.resize(listed);
  uint64_t at = 0;
  for (size_t i = 0; i < listed; ++i) {
    const uint64_t step = reader.Number();
    if (step >= count || (i > 0 && step == 0 && !several)) {
      return false;
    }
    at += step;
    if (at >= count) {
      return false;
    }
    column.positions[i] = static_cast<uint32_t>(at);
  }
  return reader.Good();
}

uint64_t DecodeReal(ByteReader& reader) {
  uint8_t bytes[8] = {};
  reader.Raw(bytes, sizeof(bytes));
  return Load64(bytes);
}

bool DecodeValues(ByteReader& reader, uint64_t first, NoteType type, NoteColumn& column) {
  column.values.resize(column.positions.size());
  uint64_t before = 0;
  for (size_t i = 0; i < column.values.size() && reader.Good(); ++i) {
    uint64_t& value = column.values[i];
    if (type == NoteType::REAL) {
      value = DecodeReal(reader);
    } else if (type == NoteType::CYCLE) {
      value = static_cast<uint64_t>(reader.Signed());
    } else if (type == NoteType::RECORDS) {
      const uint64_t record = first + column.positions[i];
      const uint64_t distance = reader.Number();
      if (distance == 0 || distance > record) {
        return false;
      }
      value = record - distance;
    } else {
      value = before + static_cast<uint64_t>(reader.Signed());
      before = value;
    }
  }
  return reader.Good();
}

std::string DecodeColumn(ByteReader& reader, const NoteDeclarations& declarations,
                         NotesBlock& block, uint32_t& seen) {
  const uint64_t attribute = reader.Number();
  const size_t size = reader.Count(NOTES_LARGEST_BODY);
  std::vector<uint8_t> bytes(size);
  if (!reader.Raw(bytes.data(), size) || !reader.Good()) {
    return "a column is cut";
  }
  if (attribute >= declarations.attributes.size()) {
    return "attribute " + std::to_string(attribute) + " was not declared";
  }
  if ((seen >> attribute & 1) != 0) {
    return "there are two columns of " +
           declarations.attributes[static_cast<size_t>(attribute)].name;
  }
  seen |= uint32_t{1} << attribute;
  NoteColumn column;
  column.attribute = static_cast<uint32_t>(attribute);
  const NoteType type = declarations.attributes[static_cast<size_t>(attribute)].type;
  ByteReader inner(bytes.data(), bytes.size());
  if (!DecodePositions(inner, block.count, type, column) ||
      !DecodeValues(inner, block.first, type, column) || !inner.AtEnd()) {
    return "the column of " + declarations.attributes[static_cast<size_t>(attribute)].name +
           " is damaged";
  }
  block.columns.push_back(std::move(column));
  return "";
}

double DecodeSampleValue(ByteReader& reader, bool& good) {
  uint8_t form = 2;
  reader.Raw(&form, 1);
  if (form == 0) {
    return static_cast<double>(reader.Signed());
  }
  good = good && form == 1;
  return std::bit_cast<double>(DecodeReal(reader));
}

// Numbers of 32 bits, each as the difference to the one before.
bool DecodeCoordinates(ByteReader& reader, std::vector<CounterSample>& samples,
                       uint32_t Place::*coordinate) {
  uint64_t before = 0;
  for (CounterSample& sample : samples) {
    before += static_cast<uint64_t>(reader.Signed());
    if (before > UINT32_MAX) {
      return false;
    }
    sample.at.*coordinate = static_cast<uint32_t>(before);
  }
  return reader.Good();
}

bool DecodeEntry(ByteReader& reader, NotesEntry& entry, uint64_t& offset, uint64_t& first) {
  uint8_t kind = 0;
  reader.Raw(&kind, 1);
  const uint64_t step = reader.Number();
  entry.kind = static_cast<NotesBlockKind>(kind);
  offset += step;
  entry.offset = offset;
  if (step == 0 || offset < step) {
    return false;
  }
  if (entry.kind == NotesBlockKind::DECLARATIONS) {
    return reader.Good();
  }
  const uint64_t low = reader.Number();
  const uint64_t span = reader.Number();
  const bool notes = entry.kind == NotesBlockKind::NOTES;
  entry.low = notes ? first + low : low;
  entry.high = entry.low + span;
  first = notes ? entry.low : first;
  return reader.Good() && entry.high >= entry.low &&
         (notes ? entry.low >= low && span >= 1 && span <= NOTES_MOST_RECORDS
                : entry.kind == NotesBlockKind::SAMPLES);
}

}  // namespace

NotesBlockHead DecodeNotesHead(std::span<const uint8_t, NOTES_BLOCK_HEAD> bytes) {
  NotesBlockHead head;
  head.kind = bytes[0];
  head.packing = bytes[1];
  head.stored = Load32(bytes.data() + 4);
  head.raw = Load32(bytes.data() + 8);
  head.sum = Load32(bytes.data() + FIELDS_BEFORE_SUM);
  return head;
}

std::string UnpackNotesBody(std::span<const uint8_t, NOTES_BLOCK_HEAD> head,
                            std::span<const uint8_t> stored, std::vector<uint8_t>& body) {
  const NotesBlockHead fields = DecodeNotesHead(head);
  uLong sum = crc32(0, head.data(), FIELDS_BEFORE_SUM);
  sum = crc32(sum, stored.data(), static_cast<uInt>(stored.size()));
  if (sum != fields.sum || stored.size() != fields.stored) {
    return "the checksum of a block is wrong";
  }
  if (fields.raw > NOTES_LARGEST_BODY) {
    return "a block is larger than any may be";
  }
  if (fields.packing == static_cast<uint8_t>(NotesPacking::NONE)) {
    body.assign(stored.begin(), stored.end());
    return body.size() == fields.raw ? "" : "a block has another size than it says";
  }
  if (fields.packing != static_cast<uint8_t>(NotesPacking::ZSTD)) {
    return "a block is packed in an unknown way";
  }
  return Unpack(stored, fields.raw, body) ? "" : "a block does not unpack";
}

std::string DecodeNotesRange(std::span<const uint8_t> body, uint64_t& first, uint32_t& count) {
  ByteReader reader(body.data(), body.size());
  first = reader.Number();
  const uint64_t number = reader.Number();
  if (!reader.Good() || number < 1 || number > NOTES_MOST_RECORDS || first + number < first) {
    return "a block of notes does not say which records it is about";
  }
  count = static_cast<uint32_t>(number);
  return "";
}

std::string DecodeNotes(std::span<const uint8_t> body, const NoteDeclarations& declarations,
                        NotesBlock& block) {
  block.columns.clear();
  std::string wrong = DecodeNotesRange(body, block.first, block.count);
  if (!wrong.empty()) {
    return wrong;
  }
  ByteReader reader(body.data(), body.size());
  reader.Number();
  reader.Number();
  block.fingerprint = DecodeReal(reader);
  const size_t columns = reader.Count(NOTES_MOST_ATTRIBUTES);
  uint32_t seen = 0;
  for (size_t i = 0; i < columns && wrong.empty(); ++i) {
    wrong = DecodeColumn(reader, declarations, block, seen);
  }
  if (wrong.empty() && (!reader.Good() || !reader.AtEnd())) {
    return "a block of notes has another size than its columns";
  }
  return wrong;
}

void ResolveCycles(const NoteDeclarations& declarations, std::span<const uint64_t> cycles,
                   NotesBlock& block) {
  for (NoteColumn& column : block.columns) {
    if (declarations.attributes[column.attribute].type == NoteType::CYCLE) {
      for (size_t i = 0; i < column.values.size(); ++i) {
        column.values[i] = cycles[column.positions[i]] - column.values[i];
      }
    }
  }
}

std::string DecodeSamples(std::span<const uint8_t> body, size_t counters,
                          std::vector<CounterSample>& samples) {
  ByteReader reader(body.data(), body.size());
  samples.assign(reader.Count(NOTES_MOST_SAMPLES), CounterSample());
  uint64_t cycle = 0;
  for (CounterSample& sample : samples) {
    cycle += static_cast<uint64_t>(reader.Signed());
    sample.cycle = cycle;
  }
  for (CounterSample& sample : samples) {
    const uint64_t counter = reader.Number();
    if (counter >= counters) {
      return "counter " + std::to_string(counter) + " was not declared";
    }
    sample.counter = static_cast<uint32_t>(counter);
  }
  bool good = DecodeCoordinates(reader, samples, &Place::column) &&
              DecodeCoordinates(reader, samples, &Place::row);
  for (CounterSample& sample : samples) {
    sample.value = DecodeSampleValue(reader, good);
  }
  return good && reader.Good() && reader.AtEnd() && !samples.empty()
             ? ""
             : "a block of samples is damaged";
}

std::string DecodeNotesTable(std::span<const uint8_t> body, uint64_t offset,
                             std::vector<NotesEntry>& entries) {
  const std::string damaged = "the table of blocks is damaged";
  if (body.size() < NOTES_TABLE_TAIL) {
    return damaged;
  }
  const std::span<const uint8_t> tail = body.last(NOTES_TABLE_TAIL);
  ByteReader reader(body.data(), body.size() - NOTES_TABLE_TAIL);
  // Each of the blocks takes some bytes before this one.
  entries.assign(reader.Count(static_cast<size_t>(offset / NOTES_BLOCK_HEAD)), NotesEntry());
  uint64_t at = 0;
  uint64_t first = 0;
  uint64_t end = 0;
  for (NotesEntry& entry : entries) {
    if (!DecodeEntry(reader, entry, at, first) || entry.offset >= offset ||
        (entry.kind == NotesBlockKind::NOTES && entry.low < end)) {
      return damaged;
    }
    end = entry.kind == NotesBlockKind::NOTES ? entry.high : end;
  }
  const bool whole = reader.Good() && reader.AtEnd() && Load64(tail.data()) == offset &&
                     memcmp(tail.data() + 8, NOTES_TABLE_MAGIC, sizeof(NOTES_TABLE_MAGIC)) == 0;
  return whole ? "" : damaged;
}

}  // namespace marrowfin
