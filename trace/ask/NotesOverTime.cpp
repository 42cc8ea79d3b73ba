#include "trace/ask/NotesOverTime.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <tuple>

#include "trace/ask/Selection.h"
#include "trace/ask/TimeBins.h"
#include "trace/ask/Walk.h"
#include "trace/read/Columns.h"

namespace marrowfin {

namespace {

Fault NotTold(const NotesOfTrace& notes, uint32_t attribute) {
  const auto& attributes = notes.Declarations().attributes;
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = notes.File().Name();
  fault.reason =
      attribute < attributes.size()
          ? attributes[attribute].name + " has no names and too many values to count each"
          : "the notes have no attribute " + std::to_string(attribute);
  return fault;
}

const NoteTimes* TimesOf(const NotesIndex& known, uint32_t attribute) {
  const auto& times = known.Tables().times;
  return attribute < times.size() && times[attribute].isTold ? &times[attribute] : nullptr;
}

NoteBins EmptyBins(const std::vector<CycleEdge>& edges, const NoteTimes& times) {
  NoteBins bins;
  std::tie(bins.firsts, bins.last) = FirstsOf(edges);
  bins.values = times.values;
  bins.counts.resize(bins.Slots() * RECORD_TYPES * bins.firsts.size());
  return bins;
}

// The slot of a number by which the table tells values apart.
size_t SlotOf(uint32_t number, const NoteBins& bins) {
  return number == NoteTimes::NONE ? bins.None() : std::min<size_t>(number - 1, bins.Others());
}

void AddWholeCells(const TimeCut& cut, const TimeTable& table, NoteBins& bins) {
  const auto numbers = table.Threads();
  for (size_t bin = 0; bin < bins.firsts.size(); ++bin) {
    const auto [from, to] = cut.WholeCells(bin);
    TimeTable::Sums sums = {};
    table.AddCells(from, to, sums);
    for (size_t i = 0; i <= numbers.size(); ++i) {
      const size_t column = i < numbers.size() ? i : TimeTable::OTHERS;
      const size_t slot = i < numbers.size() ? SlotOf(numbers[i], bins) : bins.Others();
      for (size_t type = 0; type < TimeTable::TYPES; ++type) {
        bins.counts[bins.At(slot, type, bin)] += sums[TimeTable::ColumnOf(column, type)];
      }
    }
  }
}

// Counts the records of some cells in the bins that end there.
class CellReader {
 public:
  CellReader(const TimeTable& table, const std::vector<size_t>& cells,
             const std::vector<CycleEdge>& edges, NotesOfTrace& notes, const NotesIndex& known,
             uint32_t attribute, NoteBins& bins)
      : table(table),
        edges(edges),
        notes(notes),
        known(known),
        attribute(attribute),
        bins(bins),
        isCounted(table.Cells()) {
    std::iota(rows.begin(), rows.end(), uint16_t{0});
    for (const size_t cell : cells) {
      isCounted[cell] = true;
      missing += table.Records(cell);
    }
  }

  // Takes records of a batch; false where a fault was met.
  bool Add(const Columns& columns, size_t from, size_t to) {
    const Selection all = {&columns, std::span<const uint16_t>(rows).subspan(from, to - from),
                           columns.firstRecord + from, columns.firstRecord + to};
    const Result<const NoteValues*> values = notes.Of(all, attribute);
    fault = values.Why();
    for (size_t i = 0; i < all.Size() && !fault; ++i) {
      if ((*values)->IsKnown(i) && IsNoted(all.Record(i))) {
        AddOne(columns.cycle[from + i], columns.tag[from + i].type,
               (*values)->Has(i) ? ValueSlot((*values)->Value(i)) : bins.None());
      }
    }
    return !fault;
  }

  const Fault& GetFault() const { return fault; }

  // Whether all records of the cells were met, and no others in them.
  bool IsComplete() const { return missing == 0; }

 private:
  // Whether a block that the index has taken up is about a record.
  bool IsNoted(uint64_t record) {
    if (record < block.begin || record >= block.end) {
      const size_t number = notes.BlockAt(record);
      const size_t blocks = std::min(notes.Blocks(), known.Tables().blocks.size());
      inBlock = number < blocks && notes.Entry(number).low <= record;
      block = inBlock ? RecordRange{notes.Entry(number).low, notes.Entry(number).high}
                      : RecordRange{record, record + 1};
    }
    return inBlock;
  }

  size_t ValueSlot(uint64_t value) const {
    const auto found = std::find(bins.values.begin(), bins.values.end(), value);
    return static_cast<size_t>(found - bins.values.begin());
  }

  void AddOne(uint64_t cycle, uint32_t type, size_t slot) {
    const uint64_t cell = (cycle >> table.Shift()) - table.First();
    if (cell >= isCounted.size() || !isCounted[static_cast<size_t>(cell)]) {
      return;
    }
    --missing;
    const auto above = std::upper_bound(edges.begin(), edges.end(), CycleEdge{cycle});
    if (above != edges.begin() && above != edges.end()) {
      const size_t bin = static_cast<size_t>(above - edges.begin()) - 1;
      ++bins.counts[bins.At(slot, TimeTable::TypeOf(type), bin)];
    }
  }

  const TimeTable& table;
  const std::vector<CycleEdge>& edges;
  NotesOfTrace& notes;
  const NotesIndex& known;
  const uint32_t attribute;
  NoteBins& bins;
  std::vector<bool> isCounted;
  uint64_t missing = 0;  // records of the cells that were not met; wraps where there are too many
  RecordRange block;     // that was looked at last
  bool inBlock = false;
  Fault fault;
  std::array<uint16_t, Columns::CAPACITY> rows;
};

Fault AddRecords(const TraceSource& trace, const Index& index,
                 const std::vector<RecordRange>& ranges, const ProgressCallback& progress,
                 CellReader& reader) {
  const uint64_t all = RecordsIn(ranges);
  uint64_t done = 0;
  bool stopped = false;
  const auto take = [&](const Columns& columns, size_t from, size_t to) {
    done += to - from;
    stopped =
        !reader.Add(columns, from, to) || (progress && !progress({done, all, Progress::RECORDS}));
    return !stopped;
  };
  for (const RecordRange& range : ranges) {
    if (Fault fault = Walk(trace, index, range.begin, range.end, take)) {
      return fault;
    }
    if (stopped) {
      return reader.GetFault() ? reader.GetFault() : CancelledFault(trace.Name());
    }
  }
  return {};
}

}  // namespace

Result<NoteBins> NotesOverTime(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                               const NotesIndex& known, uint32_t attribute,
                               const ActivityQuestion& question, const ProgressCallback& progress) {
  const NoteTimes* const times = TimesOf(known, attribute);
  if (times == nullptr) {
    return NotTold(notes, attribute);
  }
  const TimeTable& table = times->table;
  TimeCut cut(table, EqualBins(question.first, question.last, question.bins));
  std::vector<size_t> cells = cut.PartialCells();
  std::vector<RecordRange> ranges = RangesAround(cells, table, index);
  if (RecordsIn(ranges) > question.readAtMost) {
    cut.MoveToCells();
    cells.clear();
    ranges.clear();
  }
  NoteBins bins = EmptyBins(cut.Edges(), *times);
  AddWholeCells(cut, table, bins);
  CellReader reader(table, cells, cut.Edges(), notes, known, attribute, bins);
  if (Fault fault = Settle(trace, index, AddRecords(trace, index, ranges, progress, reader))) {
    return fault;
  }
  if (notes.Refused().kind == Fault::OTHER_TRACE) {
    return notes.Refused();
  }
  return reader.IsComplete() ? Result<NoteBins>(std::move(bins))
                             : known.Damaged("the index contradicts the notes");
}

}  // namespace marrowfin
