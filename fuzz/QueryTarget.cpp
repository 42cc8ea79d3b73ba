#include <algorithm>
#include <bit>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "fuzz/Traces.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/EventCounter.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/StateCursor.h"
#include "trace/ask/StateReader.h"
#include "trace/ask/Walk.h"
#include "trace/index/Index.h"
#include "trace/read/Decode.h"
#include "trace/read/TraceSource.h"

// Bytes as a trace that is indexed: what is found with the index must be what looking at every
// event finds, and an index of many small segments must tell what one without segments tells.

namespace marrowfin::fuzz {

namespace {

// The well-formed events of a trace and the fault behind them.
struct Events {
  std::vector<Event> all;
  std::vector<uint64_t> offsets;
  std::vector<uint64_t> changes;  // of cycle, up to each of them
  bool ordered = true;
  Fault::Kind end = Fault::NONE;

  explicit Events(const std::vector<uint8_t>& trace) {
    const uint8_t* const stop = trace.data() + trace.size();
    for (const uint8_t* data = trace.data(); data < stop;) {
      end = KindOf(data, stop);
      if (end != Fault::NONE) {
        return;
      }
      const Event event = EventAt(data);
      const bool change = !all.empty() && event.cycle != all.back().cycle;
      ordered = ordered && (all.empty() || event.cycle >= all.back().cycle);
      changes.push_back(changes.empty() ? 0 : changes.back() + (change ? 1 : 0));
      offsets.push_back(static_cast<uint64_t>(data - trace.data()));
      all.push_back(event);
      data += RecordSize(event.type);
    }
  }

  // The first event that is of this cycle or later.
  uint64_t FirstOf(uint64_t cycle) const {
    uint64_t record = 0;
    while (record < all.size() && all[record].cycle < cycle) {
      ++record;
    }
    return record;
  }
};

std::unique_ptr<Index> MakeIndex(const TraceSource& trace, const char* name,
                                 const IndexLimits& limits) {
  static const TempFolder folder;
  const std::string file = folder.File(name);
  Require(!Index::Build(trace, file, {}, limits), "every trace has an index");
  auto index = Index::Load(trace, file);
  Require(static_cast<bool>(index), "a new index is believed");
  return std::move(index).Take();
}

void AskSummary(const Index& index, const Events& events) {
  const Summary& s = index.GetSummary();
  Require(s.records == events.all.size() && s.Ordered() == events.ordered &&
              s.changes == (events.changes.empty() ? 0 : events.changes.back()),
          "the index knows how much there is");
  Require(s.end.kind == events.end, "the index knows why the trace ends");
}

bool Counts(const Event& event, Activity kind) {
  return event.type == (kind == FIRES           ? FIRE_RECORD
                        : kind == TRANSMISSIONS ? SWITCH_RECORD
                                                : SEND_RECORD);
}

void AskCounts(const TraceSource& trace, const Index& index, const Events& events, uint64_t first,
               uint64_t last) {
  const ActivityReader reader(trace, index);
  const std::vector<Place>& places = index.GetSummary().switchPlaces;
  for (const Activity kind : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
    std::vector<uint64_t> counts;
    const bool counted = !reader.Count(first, last, kind, counts);
    Require(counted == index.HasBoundaries(), "what has units has counts of them");
    for (uint64_t i = first; counted && i < last; ++i) {
      const Event& event = events.all[i];
      const Place place = kind == RECEIVES ? event.to : event.at;
      const bool far = kind != TRANSMISSIONS &&
                       (place.column >= reader.ColumnCount() || place.row >= reader.RowCount());
      Require(!far || kind != FIRES || !Counts(event, kind), "what fires is on the array");
      if (Counts(event, kind) && !far) {
        const auto slot = std::find(places.begin(), places.end(), place) - places.begin();
        const size_t cell = kind == TRANSMISSIONS
                                ? static_cast<size_t>(slot)
                                : size_t{place.row} * reader.ColumnCount() + place.column;
        Require(cell < counts.size() && counts[cell] > 0, "every event is counted");
        --counts[cell];
      }
    }
    Require(std::all_of(counts.begin(), counts.end(), [](uint64_t left) { return left == 0; }),
            "nothing else is counted");
  }
}

void AskOverTime(const TraceSource& trace, const Index& index, const Events& events, uint64_t first,
                 uint64_t last, size_t bins) {
  for (const Activity kind : {FIRES, RECEIVES}) {
    const auto counts = ActivityOverTime(trace, index, first, last, bins, kind);
    const bool counted = static_cast<bool>(counts);
    Require(counted == (events.ordered || first > last), "cycles that rise have an order");
    std::vector<uint64_t> expected(bins);
    for (const Event& event : events.all) {
      if (Counts(event, kind) && event.cycle >= first && event.cycle <= last) {
        const auto span = static_cast<unsigned __int128>(last - first) + 1;
        size_t bin = 0;
        while (bin + 1 < bins && event.cycle - first >= span * (bin + 1) / bins) {
          ++bin;
        }
        ++expected[bin];
      }
    }
    Require(!counted || *counts == expected, "bins hold the events of their cycles");
  }
}

void AskPlaces(const TraceSource& trace, const Index& index, const Events& events,
               uint64_t record) {
  const Result<IndexEntry> entry = Locate(trace, index, record);
  Require(entry && entry->record == record && entry->offset == events.offsets[record] &&
              entry->cycle == events.all[record].cycle && entry->changes == events.changes[record],
          "records stand where they stand");
  const uint64_t cycle = events.all[record].cycle;
  for (const uint64_t wanted : {cycle, cycle + 1}) {
    const Result<uint64_t> found = FindCycle(trace, index, wanted);
    Require(found && *found == events.FirstOf(wanted), "cycles are found");
  }
  const auto change =
      std::find(events.changes.begin(), events.changes.end(), events.changes[record]);
  const Result<uint64_t> found = FindChange(trace, index, events.changes[record]);
  Require(found && *found == static_cast<uint64_t>(change - events.changes.begin()),
          "changes of cycle are found");
}

std::vector<uint64_t> Expected(const Events& events, const EventFilter& filter) {
  std::vector<uint64_t> expected;
  for (uint64_t i = 0; i < events.all.size(); ++i) {
    const Event& e = events.all[i];
    if (filter.Matches({i, e.cycle, e.thread, e.type, e.at, e.to})) {
      expected.push_back(i);
    }
  }
  return expected;
}

void AskBatches(const TraceSource& trace, const Index& index, const Events& events,
                const EventFilter& filter) {
  const std::vector<uint64_t> expected = Expected(events, filter);
  BatchCursor cursor(trace, index, filter);
  Selection found;
  std::vector<uint64_t> records;
  while (cursor.Next(found)) {
    std::vector<uint64_t> offsets(found.Size());
    found.GetOffsets(offsets);
    for (size_t i = 0; i < found.Size(); ++i) {
      records.push_back(found.Record(i));
      Require(offsets[i] == events.offsets[found.Record(i)], "records begin where they begin");
    }
  }
  Require(records == expected && !cursor.GetFault(), "batches hold what matches");
}

void AskNumbers(const TraceSource& trace, const Index& index, const Events& events,
                const EventFilter& filter, uint64_t record) {
  const std::vector<uint64_t> expected = Expected(events, filter);
  const auto next = std::lower_bound(expected.begin(), expected.end(), record);
  const auto before = static_cast<uint64_t>(next - expected.begin());
  EventCounter counter(trace, index, filter);
  const auto bounds = counter.Estimate();
  Require(bounds && bounds->least <= expected.size() && bounds->most >= expected.size(),
          "estimates are bounds");
  const auto counted = counter.CountBefore(record);
  Require(counted && *counted == before, "events before a record are counted");
  const auto all = counter.Count();
  Require(all && *all == expected.size(), "all events are counted");
  if (next != expected.end()) {
    const auto found = counter.Find(before);
    Require(found && *found == *next, "the n-th event is found");
  }
  Require(counter.Find(expected.size()).Why().kind == Fault::OUT_OF_RANGE, "there are no more");
  EventCursor cursor(trace, index, filter);
  TraceEvent event;
  cursor.Seek(record);
  Require(cursor.Previous(event) == (before > 0) && (before == 0 || event.record == *(next - 1)),
          "the event before a record is found");
  cursor.Seek(record);
  Require(cursor.Next(event) == (next != expected.end()) &&
              (next == expected.end() || event.record == *next),
          "the event behind a record is found");
}

void AskEvents(const TraceSource& trace, const Index& index, const Events& events,
               const EventFilter& filter) {
  EventCursor cursor(trace, index, filter);
  TraceEvent event;
  std::vector<uint64_t> expected = Expected(events, filter);
  for (const uint64_t record : expected) {
    Require(cursor.Next(event) && event.record == record, "what matches is found");
    const Event& e = events.all[record];
    Require((Event{event.cycle, event.thread, event.type, event.at, event.to}) == e,
            "events are what they are");
  }
  Require(!cursor.Next(event) && !cursor.GetFault(), "nothing else is found");
  for (; !expected.empty(); expected.pop_back()) {
    Require(cursor.Previous(event) && event.record == expected.back(), "the way back is the same");
  }
  Require(!cursor.Previous(event) && !cursor.GetFault(), "the way back ends where it began");
}

// The same question to two readers; `ask` asks it.
template <class Ask>
void AskBoth(const StateReader& fine, const StateReader& coarse, Ask ask) {
  const Result<ArrayState> one = ask(fine);
  const Result<ArrayState> other = ask(coarse);
  Require(one.Why().kind == other.Why().kind && one.Why().record == other.Why().record,
          "states are known with segments as without");
  Require(!one || *one == *other, "states are the same with segments as without");
}

void AskStates(const StateReader& fine, const StateReader& coarse, uint64_t skipTo, uint64_t cycle,
               unsigned part) {
  const Result<uint64_t> counted = fine.CountSteps(skipTo);
  const Result<uint64_t> coarseCounted = coarse.CountSteps(skipTo);
  Require(counted && coarseCounted && *counted == *coarseCounted, "steps can be counted");
  const uint64_t steps = *counted;
  for (const uint64_t step : {steps * part / 256, steps, steps + 1, steps + 2}) {
    AskBoth(fine, coarse, [&](const StateReader& reader) { return reader.AtStep(step, skipTo); });
  }
  for (const uint64_t at : {cycle, ~uint64_t{0}}) {
    AskBoth(fine, coarse, [&](const StateReader& reader) { return reader.AtCycle(at); });
  }
}

// Goes to and fro from a moment; `ask` asks for the state at a step from scratch.
template <class Ask>
void GoAbout(StateCursor& cursor, Ask ask) {
  for (const char way : std::string("++---+++++--------+++")) {
    const uint64_t before = cursor.State().step;
    const Result<bool> gone = way == '+' ? cursor.Next() : cursor.Previous();
    if (!gone) {
      Require(cursor.State().step == before, "a fault leaves the moment as it was");
      Require(way == '+' && ask(before + 1).Why().kind == gone.Why().kind,
              "a step has the fault of the state behind it");
      return;
    }
    const Result<ArrayState> wanted = ask(cursor.State().step);
    Require(wanted && *wanted == cursor.State(), "a step leads to the state of a question");
  }
}

void AskSteps(const TraceSource& trace, const Index& index, const ArrayShape& shape,
              uint64_t skipTo, unsigned part) {
  const StateReader reader(trace, index, shape);
  StateCursor cursor(trace, index, shape, part % 2 == 0 ? 1000 : StateCursor::KEPT_BYTES);
  const uint64_t step = *reader.CountSteps(skipTo) * part / 256;
  const auto atStep = [&](uint64_t at) { return reader.AtStep(at, skipTo); };
  const Fault fault = cursor.MoveToStep(step, skipTo);
  Require(fault.kind == atStep(step).Why().kind, "a cursor goes wherever a state is known");
  if (!fault) {
    GoAbout(cursor, atStep);
  }
}

EventFilter FilterOf(uint8_t flags, Input& input) {
  EventFilter filter;
  filter.switches = (flags & 1) != 0;
  filter.fires = (flags & 2) != 0;
  filter.sends = (flags & 4) != 0;
  const uint8_t first = input.Byte();
  const uint8_t last = input.Byte();
  if ((flags & 8) != 0) {
    filter.region = Region{{first & 15U, first / 16U}, {last & 15U, last / 16U}};
  }
  const uint8_t thread = input.Byte();
  if ((flags & 16) != 0) {
    filter.thread = thread;
  }
  return filter;
}

void Try(Input input) {
  const uint8_t flags = input.Byte();
  EventFilter filter = FilterOf(flags, input);
  const unsigned from = input.Byte();
  const unsigned to = input.Byte();
  const uint8_t shape = input.Byte();
  const size_t copies = input.Byte() % 64;
  const uint64_t step = input.Byte();
  const std::vector<uint8_t> bytes = Repeat(input.Rest(), input.Left(), copies, step, 40000);
  AllowAvx2((flags & 64) == 0);
  const Events events(bytes);
  const MemoryFile file(bytes.data(), bytes.size());
  const auto opened = TraceSource::Open(file.Name());
  if (!opened) {
    return;
  }
  const TraceSource* trace = opened->get();
  const auto fine = MakeIndex(
      *trace, "fine", {.segmentRecords = 1, .entryRecords = 1, .boundaries = 4, .maskRecords = 1});
  AskSummary(*fine, events);
  const uint64_t records = events.all.size();
  const uint64_t first = std::min(from, to) * records / 256;
  const uint64_t last = std::max(from, to) * records / 256;
  AskCounts(*trace, *fine, events, first, last);
  uint64_t cycle = 0;
  if (records > 0) {
    cycle = events.all[first].cycle;
    AskPlaces(*trace, *fine, events, last);
    for (const IndexEntry& entry : fine->Entries()) {
      AskPlaces(*trace, *fine, events, entry.record);
    }
    if ((flags & 32) != 0) {
      filter.firstCycle = cycle;
      filter.lastRecord = last;
    }
  }
  AskOverTime(*trace, *fine, events, cycle, records > 0 ? events.all[last].cycle : 7, 1 + to % 7);
  AskEvents(*trace, *fine, events, filter);
  AskBatches(*trace, *fine, events, filter);
  AskNumbers(*trace, *fine, events, filter, first);
  if ((shape & 64) != 0) {
    const auto coarse = MakeIndex(*trace, "coarse", {});
    const ArrayShape array = {1U + (shape & 3), 1U + (shape >> 2 & 1), 3U + (shape >> 3 & 3)};
    AskStates(StateReader(*trace, *fine, array), StateReader(*trace, *coarse, array),
              (shape & 32) != 0 ? cycle : 0, cycle, from);
    AskSteps(*trace, *fine, array, (shape & 32) != 0 ? cycle : 0, from);
    AskSteps(*trace, *coarse, array, (shape & 32) != 0 ? cycle : 0, to);
  }
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
