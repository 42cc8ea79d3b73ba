#include "trace/ask/NotesOfTrace.h"

#include <algorithm>
#include <utility>

#include "trace/ask/Walk.h"
#include "trace/base/Fingerprint.h"

namespace marrowfin {

namespace {

// Whether the trace has, or will have, records behind those that are indexed.
bool GoesOn(const TraceSource& trace, const Index& index) {
  const Summary& summary = index.GetSummary();
  const Result<FileIdentity> now = trace.File().Now();
  return (!summary.end && summary.bytes < trace.Size()) || (now && now->size > trace.Size());
}

size_t SizeOf(const NotesBlock& block) {
  size_t size = sizeof(block);
  for (const NoteColumn& column : block.columns) {
    size += column.positions.size() * (sizeof(column.positions[0]) + sizeof(column.values[0]));
  }
  return size;
}

const NoteColumn* ColumnOf(const NotesBlock& block, uint32_t attribute) {
  for (const NoteColumn& column : block.columns) {
    if (column.attribute == attribute) {
      return &column;
    }
  }
  return nullptr;
}

}  // namespace

NotesOfTrace::NotesOfTrace(const TraceSource& trace, const Index& index, const NotesFile& notes)
    : trace(&trace), index(&index), notes(notes) {}

void NotesOfTrace::Follow(const TraceSource& now, const Index& itsIndex) {
  trace = &now;
  index = &itsIndex;
}

size_t NotesOfTrace::Blocks() {
  const auto entries = notes.Blocks();
  const bool more = looked < entries.size();
  for (; looked < entries.size(); ++looked) {
    if (entries[looked].kind == NotesBlockKind::NOTES) {
      numbers.push_back(looked);
    }
  }
  verdicts.resize(numbers.size());
  if (more && !numbers.empty()) {
    IsWithinTrace(numbers.size() - 1);
  }
  return numbers.size();
}

// Whether a block is about records that are indexed. One that is about others, which the trace does
// not have nor will have, is of another one.
bool NotesOfTrace::IsWithinTrace(size_t block) {
  const bool within = Entry(block).high <= index->GetSummary().records;
  if (!within && !GoesOn(*trace, *index)) {
    Refuse(block, notes.OtherTrace(Entry(block), "notes of records that the trace does not have"));
  }
  return within;
}

size_t NotesOfTrace::BlockAt(uint64_t record) {
  Blocks();
  return static_cast<size_t>(
      std::partition_point(numbers.begin(), numbers.end(),
                           [&](size_t number) { return notes.Blocks()[number].high <= record; }) -
      numbers.begin());
}

const NotesBlock* NotesOfTrace::Find(size_t block) {
  const auto found = std::find_if(
      kept.begin(), kept.end(), [&](const Unpacked& unpacked) { return unpacked.block == block; });
  if (found == kept.end()) {
    return nullptr;
  }
  kept.splice(kept.begin(), kept, found);
  return &kept.front().notes;
}

const NotesBlock* NotesOfTrace::Keep(size_t block, NotesBlock read) {
  const size_t bytes = SizeOf(read);
  kept.push_front({block, bytes, std::move(read)});
  size += bytes;
  while ((size > CAPACITY && kept.size() > 1) || kept.size() > MOST_KEPT) {
    size -= kept.back().size;
    kept.pop_back();
  }
  return &kept.front().notes;
}

// Null, as what is not believed.
const NotesBlock* NotesOfTrace::Refuse(size_t block, const Fault& fault) {
  verdicts[block].state = Verdict::REFUSED;
  if (!refused || fault.kind == Fault::OTHER_TRACE) {
    refused = fault;
  }
  return nullptr;
}

Result<uint64_t> NotesOfTrace::PrintOf(const NotesEntry& entry) const {
  Fingerprint print;
  const Fault fault = Walk(*trace, *index, entry.low, entry.high,
                           [&](const Columns& columns, size_t from, size_t to) {
                             for (size_t i = from; i < to; ++i) {
                               print.Add(columns.tag[i].type, columns.cycle[i],
                                         columns.tag[i].thread, columns.at[i], columns.to[i]);
                             }
                             return true;
                           });
  return fault ? Result<uint64_t>(fault) : print.Value();
}

// A fault where that cannot be told, since the trace is not what it was.
Result<bool> NotesOfTrace::IsOfTrace(size_t block, const NotesBlock& read) {
  Verdict& verdict = verdicts[block];
  if (verdict.state == Verdict::OPEN) {
    const Result<uint64_t> print = PrintOf(Entry(block));
    if (Fault fault = Settle(*trace, *index, print.Why())) {
      return fault;
    }
    verdict = {Verdict::COMPARED, *print};
  }
  return verdict.print == read.fingerprint;
}

Result<const NotesBlock*> NotesOfTrace::Block(size_t block) {
  if (RefusesAll() || verdicts[block].state == Verdict::REFUSED) {
    return nullptr;
  }
  if (const NotesBlock* found = Find(block)) {
    return found;
  }
  if (!IsWithinTrace(block)) {
    return nullptr;
  }
  Result<NotesBlock> read = notes.Notes(numbers[block]);
  if (!read) {
    return Refuse(block, read.Why());
  }
  const Result<bool> isOfTrace = IsOfTrace(block, *read);
  if (!isOfTrace) {
    return isOfTrace.Why();
  }
  return *isOfTrace ? Keep(block, std::move(read).Take())
                    : Refuse(block, notes.OtherTrace(Entry(block), "notes of another trace"));
}

// The values of the records number `from` up to `to` of a selection, all of which a block is about.
void NotesOfTrace::AddFrom(const NotesBlock& block, uint32_t attribute, const Selection& found,
                           size_t from, size_t to, NoteValues& values) const {
  const NoteColumn* column = ColumnOf(block, attribute);
  const NoteType type = Declarations().attributes[attribute].type;
  const bool isCycle = type == NoteType::CYCLE;
  const bool ofAll =
      column != nullptr && type != NoteType::RECORDS && column->positions.size() == block.count;
  const auto positionOf = [&](size_t i) {
    return static_cast<uint32_t>(found.Record(i) - block.first);
  };
  const auto resolved = [&](size_t i, uint64_t value) {
    return isCycle ? found.columns->cycle[found.rows[i]] - value : value;
  };
  if (ofAll) {
    values.AddSingles(to - from, [&](size_t i) {
      return resolved(from + i, column->values[positionOf(from + i)]);
    });
    return;
  }
  size_t at = 0;
  if (column != nullptr) {
    const auto first =
        std::lower_bound(column->positions.begin(), column->positions.end(), positionOf(from));
    at = static_cast<size_t>(first - column->positions.begin());
  }
  for (size_t i = from; i < to; ++i) {
    const uint32_t position = positionOf(i);
    while (column != nullptr && at < column->positions.size() && column->positions[at] < position) {
      ++at;
    }
    for (; column != nullptr && at < column->positions.size() && column->positions[at] == position;
         ++at) {
      values.Put(resolved(i, column->values[at]));
    }
    values.Add(true);
  }
}

Result<const NoteValues*> NotesOfTrace::Of(const Selection& found, uint32_t attribute) {
  const bool declared = attribute < Declarations().attributes.size();
  joined.resize(std::max<size_t>(joined.size(), NOTES_MOST_ATTRIBUTES + 1));
  NoteValues& values = joined[declared ? attribute : NOTES_MOST_ATTRIBUTES];
  values.Clear();
  const size_t blocks = Blocks();
  size_t i = 0;
  while (i < found.Size()) {
    const size_t b = BlockAt(found.Record(i));
    const bool inBlock = b < blocks && Entry(b).low <= found.Record(i);
    const uint64_t end = b == blocks ? ~uint64_t{0} : inBlock ? Entry(b).high : Entry(b).low;
    size_t to = i;
    while (to < found.Size() && found.Record(to) < end) {
      ++to;
    }
    const Result<const NotesBlock*> block = inBlock ? Block(b) : Result<const NotesBlock*>(nullptr);
    if (!block) {
      return block.Why();
    }
    if (*block != nullptr && declared) {
      AddFrom(**block, attribute, found, i, to, values);
      i = to;
    }
    const bool isKnown = inBlock ? *block != nullptr : !RefusesAll();
    for (; i < to; ++i) {
      values.Add(isKnown);
    }
  }
  return &values;
}

}  // namespace marrowfin
