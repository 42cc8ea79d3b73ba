#include "measure/AttributeValues.h"

#include <bit>
#include <cmath>

#include "trace/ask/BatchCursor.h"

namespace marrowfin {
namespace {

constexpr uint64_t SIGN = uint64_t{1} << 63;

Fault NoSuch(const TraceSource& trace, const std::string& reason, const std::string& remedy) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = trace.Name();
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

std::string NamesOf(const NoteDeclarations& declarations) {
  std::string names;
  for (const NoteAttribute& attribute : declarations.attributes) {
    names += (names.empty() ? "" : ", ") + attribute.name;
  }
  return names;
}

void AddEvent(const Selection& found, size_t i, const NoteValues& notes, AttributeValues& values) {
  ++values.events;
  const bool has = notes.Has(i);
  if (values.type == NoteType::RECORDS && notes.IsKnown(i) && has) {
    values.counts.Add(notes.All(i).size());
    return;
  }
  if (!has ||
      (values.type == NoteType::REAL && !std::isfinite(std::bit_cast<double>(notes.Value(i))))) {
    ++values.without;
    return;
  }
  const uint64_t value = notes.Value(i);
  if (values.type == NoteType::REAL) {
    values.counts.Add(RealKey(std::bit_cast<double>(value)));
  } else if (values.type == NoteType::CYCLE) {
    const uint64_t cycle = found.columns->cycle[found.rows[i]];
    values.counts.Add(cycle > value ? cycle - value : 0);
  } else {
    values.counts.Add(value);
  }
}

}  // namespace

uint64_t RealKey(double value) {
  const uint64_t bits = std::bit_cast<uint64_t>(value + 0.0);  // no minus zero
  return (bits & SIGN) != 0 ? ~bits : bits | SIGN;
}

double RealOf(uint64_t key) {
  return std::bit_cast<double>((key & SIGN) != 0 ? key & ~SIGN : ~key);
}

Result<AttributeValues> CountAttribute(const TraceSource& trace, const Index& index,
                                       NotesOfTrace& notes, std::string_view name,
                                       const EventFilter& filter,
                                       const ProgressCallback& progress) {
  const NoteDeclarations& declarations = notes.Declarations();
  const std::optional<uint32_t> number = declarations.Attribute(name);
  if (!number) {
    const std::string names = NamesOf(declarations);
    return NoSuch(trace, "its notes tell no attribute " + std::string(name),
                  names.empty() ? "ask for something else" : "ask for one of these: " + names);
  }
  const NoteAttribute& attribute = declarations.attributes[*number];
  AttributeValues values;
  values.type = attribute.type;
  values.unit = attribute.unit;
  values.names = attribute.names;
  BatchCursor cursor(trace, index, filter, progress);
  Selection found;
  while (cursor.Next(found)) {
    const Result<const NoteValues*> read = notes.Of(found, *number);
    if (!read) {
      return read.Why();
    }
    for (size_t i = 0; i < found.Size(); ++i) {
      AddEvent(found, i, **read, values);
    }
    if (values.counts.Counts().size() > AttributeValues::MOST_VALUES) {
      return NoSuch(trace, "the attribute " + std::string(name) + " has more than a million values",
                    "ask for one that does not number things, or for fewer events");
    }
  }
  if (const Fault& fault = cursor.GetFault()) {
    return fault;
  }
  return values;
}

}  // namespace marrowfin
