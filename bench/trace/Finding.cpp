#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventCounter.h"
#include "trace/ask/EventCursor.h"

namespace marrowfin::bench {

namespace {

constexpr int QUESTIONS = 60;

// A place in the middle half of the array, and in the trace, and a thread.
struct Spot {
  uint64_t record;
  Place at;
  uint32_t thread;
};

Spot DrawSpot(Draw& draw, const Subject& subject) {
  const uint64_t columns = subject.options.shape.Columns();
  const uint64_t rows = subject.options.shape.Rows();
  return {draw.Below(subject.options.records),
          {static_cast<uint32_t>(draw.Below(columns)), static_cast<uint32_t>(draw.Below(rows))},
          static_cast<uint32_t>(draw.Below(subject.options.threads))};
}

// The times of questions, each with a filter of its own and a cursor that knows nothing yet.
template <class Ask>
std::vector<double> TimesOf(const Subject& subject, Ask ask) {
  Draw draw;
  std::vector<double> times;
  for (int i = 0; i < QUESTIONS; ++i) {
    const Spot spot = DrawSpot(draw, subject);
    times.push_back(Measure([&] { ask(spot); }).processor);
  }
  return times;
}

void TellAtMost(const std::string& what, const std::vector<double>& times, double bar) {
  AtMost(what + ", median", Median(times) * 1e3, "ms", bar);
  Note("  the slowest", Quantile(times, 1) * 1e3, "ms");
}

void MeasureSeeking(const Subject& subject, const TraceSource& trace, const Index& index) {
  const auto find = [&](const EventFilter& filter, uint64_t record, bool back) {
    EventCursor cursor(trace, index, filter);
    TraceEvent event;
    cursor.Seek(record);
    static_cast<void>(back ? cursor.Previous(event) : cursor.Next(event));
    Require(!cursor.GetFault(), cursor.GetFault().Text());
  };
  const double element = subject.options.shape.Columns() <= 64 ? 1 : 2;
  TellAtMost("event before any record",
             TimesOf(subject, [&](const Spot& spot) { find({}, spot.record, true); }), 5);
  for (const bool back : {false, true}) {
    const std::string way = back ? "event before of " : "event behind of ";
    TellAtMost(way + "one PE",
               TimesOf(subject,
                       [&](const Spot& spot) {
                         EventFilter filter;
                         filter.region = Region::Element(spot.at);
                         find(filter, spot.record, back);
                       }),
               element);
    TellAtMost(way + "one PE and thread",
               TimesOf(subject,
                       [&](const Spot& spot) {
                         EventFilter filter;
                         filter.region = Region::Element(spot.at);
                         filter.thread = spot.thread;
                         find(filter, spot.record, back);
                       }),
               10);
  }
  TellAtMost("event of a thread that there is none of",
             TimesOf(subject,
                     [&](const Spot& spot) {
                       EventFilter filter;
                       filter.thread = 1000;
                       find(filter, spot.record, false);
                     }),
             5);
}

void MeasureCounting(const Subject& subject, const TraceSource& trace, const Index& index) {
  const auto count = [&](const EventFilter& filter, uint64_t record) {
    EventCounter counter(trace, index, filter);
    const auto before = Value(counter.CountBefore(record));
    const auto all = Value(counter.Count());
    static_cast<void>(counter.Find(all == 0 ? 0 : before % all));
  };
  TellAtMost("count of a thread, before a record, and the n-th",
             TimesOf(subject,
                     [&](const Spot& spot) {
                       EventFilter filter;
                       filter.thread = spot.thread;
                       count(filter, spot.record);
                     }),
             10);
  TellAtMost("the same of fires of one PE",
             TimesOf(subject,
                     [&](const Spot& spot) {
                       EventFilter filter;
                       filter.region = Region::Element(spot.at);
                       filter.sends = false;
                       count(filter, spot.record);
                     }),
             10);
  const std::vector<double> read = TimesOf(subject, [&](const Spot& spot) {
    EventFilter filter;
    filter.region = Region::Element(spot.at);
    filter.thread = spot.thread;
    count(filter, spot.record);
  });
  Note("the same of one PE and thread, by reading, median", Median(read) * 1e3, "ms");
  Note("  the slowest", Quantile(read, 1) * 1e3, "ms");
}

// All records in batches, each with its number, against decoding them alone, both to the last byte
// of the trace.
void MeasureBatches(const Subject& subject, const TraceSource& trace, const Index& index) {
  const uint64_t size = index.GetSummary().bytes;
  auto columns = std::make_unique<Columns>();
  uint64_t records = 0;
  const auto decode = [&] {
    records = 0;
    for (uint64_t offset = 0; offset < size; records += columns->size) {
      offset = Value(trace.Decode(offset, size, *columns));
    }
  };
  const auto select = [&](const EventFilter& filter) {
    BatchCursor cursor(trace, index, filter);
    Selection found;
    uint64_t selected = 0;
    while (cursor.Next(found)) {
      selected += found.Size();
    }
    Require(!cursor.GetFault(), cursor.GetFault().Text());
    return selected;
  };
  EventFilter half;
  half.thread = 1;
  uint64_t selected = 0;
  const std::vector<Time> times = Alternate(
      subject.repetitions, {decode, [&] { selected = select({}); }, [&] { select(half); }});
  Require(records == subject.options.records && selected == records, "records were lost");
  AtLeast("batches of all records against decoding", times[0].processor / times[1].processor, "x",
          0.5);
  Note("  of one thread of eight", times[0].processor / times[2].processor, "x");
}

}  // namespace

void MeasureFinding(const Subject& subject, const TraceSource& trace, const Index& index) {
  MeasureSeeking(subject, trace, index);
  MeasureCounting(subject, trace, index);
  MeasureBatches(subject, trace, index);
}

}  // namespace marrowfin::bench
