#include "trace/edit/MergeTraces.h"

#include <memory>
#include <optional>

#include "trace/base/Record.h"
#include "trace/edit/MergeOrder.h"
#include "trace/edit/MergedNotes.h"
#include "trace/edit/RecordNumbers.h"
#include "trace/edit/SampleFeed.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

// One of the traces.
struct Source {
  const MergedTrace* merged;
  size_t row = 0;         // of its batch
  uint64_t record = 0;    // that comes next, by its number
  RecordNumbers numbers;  // of those that notes may name
  bool namesRecords = false;

  uint64_t Cycle() const { return merged->feed->Batch().cycle[row]; }
};

class Merger {
 public:
  Merger(std::span<const MergedTrace> traces, NewTrace& made, const ProgressCallback& progress)
      : made(made), progress(progress) {
    for (const MergedTrace& trace : traces) {
      const bool noted = trace.notes != nullptr && made.HasNotes();
      notes.Add(noted ? &trace.notes->Declarations() : nullptr);
      sources.push_back(std::make_unique<Source>());
      sources.back()->merged = &trace;
      for (const NoteAttribute& attribute :
           noted ? trace.notes->Declarations().attributes : std::vector<NoteAttribute>()) {
        sources.back()->namesRecords |= attribute.type == NoteType::RECORDS;
      }
    }
    account.records.resize(traces.size());
    account.ends.resize(traces.size());
  }

  Result<MergeAccount> Merge() {
    made.Declare(notes.Declarations());
    Fault fault = MergeRecords();
    if (!fault && made.HasNotes()) {
      MergeSamples();
      fault = made.GetFault();
    }
    return fault ? Result<MergeAccount>(fault) : account;
  }

 private:
  Fault MergeRecords() {
    MergeOrder order(sources.size());
    for (size_t i = 0; i < sources.size(); ++i) {
      const Result<bool> loaded = Load(i);
      if (!loaded) {
        return loaded.Why();
      }
      if (*loaded) {
        order.First(i, sources[i]->Cycle());
      }
    }
    for (order.Begin(); order.HasNext();) {
      const size_t number = order.Winner();
      Source& source = *sources[number];
      if (Fault fault = Add(number)) {
        return fault;
      }
      ++source.record;
      if (++source.row < source.merged->feed->Batch().size) {
        order.Next(source.Cycle());
        continue;
      }
      const Result<bool> loaded = Load(number);
      if (!loaded) {
        return loaded.Why();
      }
      if (*loaded) {
        order.Next(source.Cycle());
      } else {
        order.End();
      }
    }
    return made.GetFault();
  }

  // The next batch of a trace; false at its end, or where it breaks off.
  Result<bool> Load(size_t number) {
    Source& source = *sources[number];
    RecordFeed& feed = *source.merged->feed;
    const uint64_t before = feed.Done();
    source.row = 0;
    if (feed.Next()) {
      done += feed.Done() - before;
      return Tell(feed) ? Result<bool>(true) : CancelledFault("");
    }
    const Fault& fault = feed.GetFault();
    if (fault && !IsBreak(fault)) {
      return fault;
    }
    account.ends[number] = fault;
    return false;
  }

  bool Tell(const RecordFeed&) {
    if (!progress) {
      return true;
    }
    uint64_t all = 0;
    for (const auto& source : sources) {
      all += source->merged->feed->All();
    }
    return progress({done, all, Progress::BYTES});
  }

  Fault Add(size_t number) {
    const Source& source = *sources[number];
    const Columns& columns = source.merged->feed->Batch();
    const size_t row = source.row;
    if (made.Records() == 0) {
      account.firstCycle = columns.cycle[row];
    }
    account.lastCycle = columns.cycle[row];
    ++account.records[number];
    made.Add(columns.tag[row].type, columns.cycle[row], columns.tag[row].thread, columns.at[row],
             columns.to[row]);
    return source.merged->notes != nullptr && made.HasNotes() ? Note(number) : Fault();
  }

  Fault Note(size_t number) {
    Source& source = *sources[number];
    if (source.namesRecords) {
      if (Fault fault = source.numbers.Put(source.record, made.Records() - 1)) {
        return fault;
      }
    }
    const auto values = source.merged->feed->Notes();
    for (uint32_t attribute = 0; attribute < values.size(); ++attribute) {
      for (const uint64_t value : values[attribute]->All(source.row)) {
        if (Fault fault = NoteValue(number, attribute, value)) {
          return fault;
        }
      }
    }
    return {};
  }

  Fault NoteValue(size_t number, uint32_t attribute, uint64_t value) {
    const std::optional<uint32_t> placed = notes.Attribute(number, attribute);
    std::optional<uint64_t> said = notes.Value(number, attribute, value);
    if (!placed || !said) {
      ++account.lostValues;
      return {};
    }
    if (notes.Declarations().attributes[*placed].type == NoteType::RECORDS) {
      const Result<std::optional<uint64_t>> named = sources[number]->numbers.Of(value);
      if (!named) {
        return named.Why();
      }
      said = *named;
    }
    if (said) {
      made.Note(*placed, *said);
    }
    return {};
  }

  void MergeSamples() {
    std::vector<std::unique_ptr<SampleFeed>> feeds;
    std::vector<size_t> numbers;
    for (size_t i = 0; i < sources.size(); ++i) {
      if (const NotesFile* const file = sources[i]->merged->notes) {
        feeds.push_back(std::make_unique<SampleFeed>(*file));
        numbers.push_back(i);
      }
    }
    MergeOrder order(feeds.size());
    for (size_t i = 0; i < feeds.size(); ++i) {
      if (feeds[i]->Next()) {
        order.First(i, feeds[i]->Sample().cycle);
      }
    }
    for (order.Begin(); order.HasNext();) {
      SampleFeed& feed = *feeds[order.Winner()];
      CounterSample sample = feed.Sample();
      if (const auto counter = notes.Counter(numbers[order.Winner()], sample.counter)) {
        sample.counter = *counter;
        made.Sample(sample);
      }
      if (feed.Next()) {
        order.Next(feed.Sample().cycle);
      } else {
        order.End();
      }
    }
    for (const auto& feed : feeds) {
      if (feed->LeftOut()) {
        account.leftOut = feed->LeftOut();
      }
    }
  }

  NewTrace& made;
  const ProgressCallback& progress;
  MergedNotes notes;
  std::vector<std::unique_ptr<Source>> sources;
  MergeAccount account;
  uint64_t done = 0;
};

// Takes what is not told yet.
template <class Value>
void TakeFirst(const Value& from, Value& to) {
  if (to == Value()) {
    to = from;
  }
}

}  // namespace

Result<MergeAccount> MergeTraces(std::span<const MergedTrace> traces, NewTrace& made,
                                 const ProgressCallback& progress) {
  return Merger(traces, made, progress).Merge();
}

About MergedAbout(std::span<const About* const> abouts, const Summary& merged) {
  About all;
  bool arraysDiffer = false;
  for (const About* const about : abouts) {
    if (about == nullptr) {
      continue;
    }
    TakeFirst(about->name, all.name);
    TakeFirst(about->command, all.command);
    TakeFirst(about->date, all.date);
    TakeFirst(about->tool, all.tool);
    TakeFirst(about->cycleNs, all.cycleNs);
    TakeFirst(about->links, all.links);
    TakeFirst(about->switches, all.switches);
    arraysDiffer = arraysDiffer || (all.array && about->array && *all.array != *about->array);
    TakeFirst(about->array, all.array);
    all.threads.insert(about->threads.begin(), about->threads.end());
    all.places.insert(about->places.begin(), about->places.end());
  }
  if (arraysDiffer || (all.array && !HoldsTrace(all.array->shape, merged))) {
    all.array.reset();
  }
  return all;
}

}  // namespace marrowfin
