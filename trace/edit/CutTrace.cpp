#include "trace/edit/CutTrace.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/Ranges.h"
#include "trace/base/Record.h"
#include "trace/edit/RecordNumbers.h"

namespace marrowfin {
namespace {

class Cutter {
 public:
  Cutter(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
         const CutQuestion& question, NewTrace& made, const ProgressCallback& progress)
      : trace(trace),
        index(index),
        notes(notes != nullptr && made.HasNotes() ? notes : nullptr),
        asked(notes),
        question(question),
        made(made),
        progress(progress) {}

  Result<CutAccount> Cut() {
    if (notes != nullptr) {
      made.Declare(notes->Declarations());
      for (const NoteAttribute& attribute : notes->Declarations().attributes) {
        namesRecords = namesRecords || attribute.type == NoteType::RECORDS;
      }
    }
    const NotedFilter& filter = question.filter;
    if (filter.notes.empty() || asked == nullptr) {
      BatchCursor cursor(trace, index, filter.events, progress);
      fault = CutFrom(cursor);
    } else {
      NotedCursor cursor(trace, index, *asked, filter, progress);
      fault = CutFrom(cursor);
    }
    if (!fault && notes != nullptr) {
      fault = CopySamples();
    }
    return fault ? Result<CutAccount>(fault) : account;
  }

 private:
  template <class Cursor>
  Fault CutFrom(Cursor& cursor) {
    cursor.Seek(question.last ? FirstOfLast(cursor) : question.from);
    Selection found;
    while (!account.next && !IsSated() && cursor.Next(found)) {
      if (Fault fault = Add(found)) {
        return fault;
      }
    }
    return cursor.GetFault() ? cursor.GetFault() : made.GetFault();
  }

  // Before which record the last ones that are wanted begin.
  template <class Cursor>
  uint64_t FirstOfLast(Cursor& cursor) {
    uint64_t record = ~uint64_t{0};
    cursor.Seek(record);
    Selection found;
    for (uint64_t wanted = question.mostRecords; wanted > 0 && cursor.Previous(found);) {
      const uint64_t taken = std::min<uint64_t>(wanted, found.Size());
      wanted -= taken;
      record = found.Record(found.Size() - static_cast<size_t>(taken));
    }
    return record;
  }

  bool IsSated() const { return !question.tellsNext && account.records >= question.mostRecords; }

  // Whether there is room for one more.
  bool Fits(uint32_t type) const {
    return account.records < question.mostRecords &&
           (account.records == 0 || made.Bytes() + RecordSize(type) <= question.mostBytes);
  }

  Fault Add(const Selection& found) {
    if (notes != nullptr) {
      if (Fault fault = Join(found)) {
        return fault;
      }
    }
    const Columns& columns = *found.columns;
    for (size_t i = 0; i < found.Size(); ++i) {
      const size_t row = found.rows[i];
      const Columns::Tag tag = columns.tag[row];
      if (!Fits(tag.type)) {
        account.next = found.Record(i);
        break;
      }
      if (account.records == 0) {
        first = found.Record(i);
        account.firstCycle = columns.cycle[row];
        if (question.leadIn) {
          made.Add(tag.type, columns.cycle[row], tag.thread, columns.at[row], columns.to[row]);
        }
      }
      made.Add(tag.type, columns.cycle[row], tag.thread, columns.at[row], columns.to[row]);
      ++account.records;
      behind = found.Record(i) + 1;
      account.lastCycle = columns.cycle[row];
      if (notes != nullptr) {
        if (Fault fault = Note(found.Record(i), i)) {
          return fault;
        }
      }
    }
    return made.GetFault();
  }

  Fault Join(const Selection& found) {
    values.clear();
    const size_t attributes = notes->Declarations().attributes.size();
    for (uint32_t attribute = 0; attribute < attributes; ++attribute) {
      const Result<const NoteValues*> of = notes->Of(found, attribute);
      if (!of) {
        return of.Why();
      }
      values.push_back(*of);
    }
    return {};
  }

  // Notes what is known of record number `record`, the one that was added last.
  Fault Note(uint64_t record, size_t i) {
    if (namesRecords) {
      if (Fault fault = numbers.Put(record, made.Records() - 1)) {
        return fault;
      }
    }
    const auto& attributes = notes->Declarations().attributes;
    for (uint32_t attribute = 0; attribute < attributes.size(); ++attribute) {
      for (const uint64_t value : values[attribute]->All(i)) {
        if (attributes[attribute].type != NoteType::RECORDS) {
          made.Note(attribute, value);
          continue;
        }
        const Result<std::optional<uint64_t>> number = numbers.Of(value);
        if (!number) {
          return number.Why();
        }
        if (*number) {
          made.Note(attribute, **number);
        }
      }
    }
    return {};
  }

  // The cycle of a record.
  Result<uint64_t> CycleOf(uint64_t record) const {
    EventFilter one;
    one.firstRecord = record;
    one.lastRecord = record + 1;
    BatchCursor cursor(trace, index, one);
    Selection found;
    if (!cursor.Next(found)) {
      return cursor.GetFault() ? Result<uint64_t>(cursor.GetFault()) : ~uint64_t{0};
    }
    return found.columns->cycle[found.rows[0]];
  }

  // The cycles whose samples go along, both included: those that are asked for, and where records
  // or steps are, from the cycle of the first on up to that behind the last.
  Result<NumberRange> SampledCycles() const {
    EventFilter anyCycle = question.filter.events;
    const NumberRange cycles = {anyCycle.firstCycle, anyCycle.lastCycle};
    anyCycle.firstCycle = 0;
    anyCycle.lastCycle = ~uint64_t{0};
    anyCycle.thread.reset();
    anyCycle.threads.clear();
    const Result<RecordRange> range = RangeOf(trace, index, anyCycle);
    if (!range) {
      return range.Why();
    }
    const uint64_t begin = std::max(range->begin, question.last ? first : question.from);
    const uint64_t end = account.next ? *account.next : IsSated() ? behind : range->end;
    NumberRange sampled = cycles;
    if (begin > 0) {
      const Result<uint64_t> cycle = CycleOf(begin);
      if (!cycle) {
        return cycle.Why();
      }
      sampled.first = std::max(sampled.first, *cycle);
    }
    if (end < index.GetSummary().records) {
      const Result<uint64_t> cycle = CycleOf(end);
      if (!cycle) {
        return cycle.Why();
      }
      if (*cycle == 0) {
        return NumberRange{1, 0};
      }
      sampled.last = std::min(sampled.last, *cycle - 1);
    }
    return sampled;
  }

  Fault CopySamples() {
    const NotesFile& file = notes->File();
    const Result<NumberRange> cycles = SampledCycles();
    if (!cycles) {
      return cycles.Why();
    }
    const std::optional<Region>& region = question.filter.events.region;
    for (size_t block = 0; block < file.Blocks().size(); ++block) {
      const NotesEntry& entry = file.Blocks()[block];
      if (entry.kind != NotesBlockKind::SAMPLES || entry.high < cycles->first ||
          entry.low > cycles->last) {
        continue;
      }
      const Result<std::vector<CounterSample>> samples = file.Samples(block);
      if (samples.Why().kind == Fault::DAMAGED_NOTES) {
        account.leftOut = samples.Why();
        continue;
      }
      if (!samples) {
        return samples.Why();
      }
      for (const CounterSample& sample : *samples) {
        if (sample.cycle >= cycles->first && sample.cycle <= cycles->last &&
            (!region || region->Has(sample.at))) {
          made.Sample(sample);
        }
      }
    }
    return {};
  }

  const TraceSource& trace;
  const Index& index;
  NotesOfTrace* const notes;  // that go along
  NotesOfTrace* const asked;  // that conditions are about
  const CutQuestion& question;
  NewTrace& made;
  const ProgressCallback& progress;
  RecordNumbers numbers;
  bool namesRecords = false;  // whether any notes do
  std::vector<const NoteValues*> values;
  uint64_t first = 0;   // that was taken
  uint64_t behind = 0;  // the last one that was
  CutAccount account;
  Fault fault;
};

}  // namespace

Result<CutAccount> CutTrace(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                            const CutQuestion& question, NewTrace& made,
                            const ProgressCallback& progress) {
  return Cutter(trace, index, notes, question, made, progress).Cut();
}

}  // namespace marrowfin
