#include "convert/export/Export.h"

#include <algorithm>
#include <memory>

#include "trace/ask/BatchCursor.h"

namespace marrowfin {

Fault Export::Write(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                    const ProgressCallback& progress) {
  const Source source = {trace, index, notes, progress};
  if (!begun) {
    if (exporter.WantsSurvey()) {
      const auto survey = [this](const NotedSelection& found) {
        exporter.Survey(found);
        return Fault();
      };
      if (Fault fault = WalkAll(source, survey, surveyed)) {
        return fault;
      }
      if (Fault fault = SurveySamples(notes)) {
        return fault;
      }
    }
    begun = true;
    if (Fault fault = exporter.Begin()) {
      return fault;
    }
  }
  const auto add = [this](const NotedSelection& found) {
    events += found.found.Size();
    return exporter.Add(found);
  };
  if (Fault fault = WalkAll(source, add, added)) {
    return fault;
  }
  if (notes != nullptr && exporter.TakesSamples()) {
    const auto addSample = [this](const CounterSample& sample) {
      ++samples;
      return exporter.AddSample(sample);
    };
    if (Fault fault = ForSamples(notes->File(), addSample)) {
      return fault;
    }
  }
  if (Fault fault = exporter.WriteRest(progress)) {
    return fault;
  }
  return exporter.End();
}

Fault Export::SurveySamples(const NotesOfTrace* notes) {
  if (notes == nullptr || !exporter.TakesSamples()) {
    return {};
  }
  return ForSamples(notes->File(), [this](const CounterSample& sample) {
    exporter.SurveySample(sample);
    return Fault();
  });
}

Fault Export::WalkAll(const Source& source, const Take& take, uint64_t& place) {
  if (source.notes == nullptr) {
    BatchCursor cursor(source.trace, source.index, filter.events, source.progress);
    return WalkWith(cursor, source, take, place);
  }
  NotedCursor cursor(source.trace, source.index, *source.notes, filter, source.progress);
  return WalkWith(cursor, source, take, place);
}

template <class Cursor>
Fault Export::WalkWith(Cursor& cursor, const Source& source, const Take& take, uint64_t& place) {
  const std::unique_ptr<EventSteps> steps =
      exporter.WantsSteps() ? std::make_unique<EventSteps>(source.trace, source.index) : nullptr;
  cursor.Seek(place);
  Selection found;
  while (cursor.Next(found)) {
    if (Fault fault = HandOver(found, source.notes, steps.get(), take)) {
      return fault;
    }
    place = found.end;
  }
  return cursor.GetFault();
}

Fault Export::HandOver(const Selection& found, NotesOfTrace* notes, EventSteps* steps,
                       const Take& take) {
  if (steps != nullptr) {
    if (Fault fault = steps->Take(*found.columns)) {
      return fault;
    }
  }
  values.clear();
  const size_t attributes = notes == nullptr ? 0 : notes->Declarations().attributes.size();
  for (uint32_t attribute = 0; attribute < attributes; ++attribute) {
    const Result<const NoteValues*> of = notes->Of(found, attribute);
    if (!of) {
      return of.Why();
    }
    values.push_back(*of);
  }
  return take({found, values, steps});
}

// Notes never stand in the way of the trace: a block of samples that is damaged is left out.
Fault Export::ForSamples(const NotesFile& notes, const TakeSample& take) {
  for (size_t block = 0; block < notes.Blocks().size(); ++block) {
    if (notes.Blocks()[block].kind != NotesBlockKind::SAMPLES) {
      continue;
    }
    const Result<std::vector<CounterSample>> read = notes.Samples(block);
    if (!read) {
      damaged = damaged ? damaged : read.Why();
      continue;
    }
    for (const CounterSample& sample : *read) {
      if (IsWanted(sample)) {
        if (Fault fault = take(sample)) {
          return fault;
        }
      }
    }
  }
  return {};
}

// Conditions on records, threads and types say nothing of a sample.
bool Export::IsWanted(const CounterSample& sample) const {
  const auto lies = [&sample](const EventFilter& in) {
    return sample.cycle >= in.firstCycle && sample.cycle <= in.lastCycle &&
           (!in.region || in.region->Has(sample.at));
  };
  const auto leavesOut = [&lies](const EventFilter& without) {
    return without.HasEveryType() && without.HasEveryThread() && lies(without);
  };
  const std::vector<EventFilter>& without = filter.events.without;
  return lies(filter.events) && std::none_of(without.begin(), without.end(), leavesOut);
}

}  // namespace marrowfin
