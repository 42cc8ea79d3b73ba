#include "tests/trace/support/Filters.h"

namespace marrowfin::testing {

namespace {

TraceEvent AsTraceEvent(const Event& event, uint64_t record) {
  return {record, event.cycle, event.thread, event.type, event.at, event.to};
}

// The animation step of a viewer that consumes each event, by playing the trace.
std::vector<uint64_t> StepsOf(const std::vector<Event>& events, uint64_t skipTo) {
  std::vector<uint64_t> steps(events.size());
  size_t i = 0;
  while (i < events.size() && events[i++].cycle < skipTo) {
  }
  uint64_t shown = 0;
  for (uint64_t step = 1; i < events.size(); ++i) {
    steps[i] = step;
    if (events[i].cycle != shown) {
      shown = events[i].cycle;
      ++step;
    }
  }
  return steps;
}

}  // namespace

std::vector<uint64_t> Expected(const std::vector<Event>& events, const EventFilter& filter) {
  const std::vector<uint64_t> steps = StepsOf(events, filter.skipTo);
  std::vector<bool> isLeftOut(events.size());
  for (const EventFilter& other : filter.without) {
    for (const uint64_t record : Expected(events, other)) {
      isLeftOut[record] = true;
    }
  }
  EventFilter wanted = filter;
  wanted.without.clear();
  std::vector<uint64_t> records;
  for (size_t i = 0; i < events.size(); ++i) {
    if (steps[i] >= filter.firstStep && steps[i] <= filter.lastStep && !isLeftOut[i] &&
        wanted.Matches(AsTraceEvent(events[i], i))) {
      records.push_back(i);
    }
  }
  return records;
}

namespace {

std::vector<ThreadRange> RandomThreads(std::mt19937& random, const std::vector<Event>& events) {
  const auto below = [&](uint32_t most) { return static_cast<uint32_t>(random() % most); };
  const uint32_t first = below(2) == 0 ? 0 : events[random() % events.size()].thread;
  const uint32_t second = first + 2 + below(60);
  return {{first, first + below(2)}, {second, second + below(20)}};
}

EventFilter RandomConditions(std::mt19937& random, const std::vector<Event>& events,
                             uint32_t side) {
  EventFilter filter;
  const auto half = [&] { return random() % 2 == 0; };
  if (half()) {
    filter.firstCycle = events[random() % events.size()].cycle;
    filter.lastCycle = filter.firstCycle + random() % 50;
  }
  if (half()) {
    filter.firstRecord = random() % events.size();
    filter.lastRecord = filter.firstRecord + random() % events.size();
  }
  if (half()) {
    filter.skipTo = half() ? 0 : events[random() % events.size()].cycle + random() % 3;
    const std::vector<uint64_t> steps = StepsOf(events, filter.skipTo);
    filter.firstStep = half() ? 0 : steps[random() % events.size()];
    filter.lastStep = half() ? ~uint64_t{0} : filter.firstStep + random() % 20;
  }
  filter.switches = half();
  filter.fires = half();
  filter.sends = half();
  if (half()) {
    filter.thread = half() ? random() % 9 : events[random() % events.size()].thread;
  } else if (half()) {
    filter.threads = RandomThreads(random, events);
  }
  if (half()) {
    const uint32_t column = static_cast<uint32_t>(random() % side);
    const uint32_t row = static_cast<uint32_t>(random() % side);
    filter.region = Region{
        {column, row},
        {column + static_cast<uint32_t>(random() % 4), row + static_cast<uint32_t>(random() % 4)}};
  }
  return filter;
}

}  // namespace

EventFilter RandomFilter(std::mt19937& random, const std::vector<Event>& events, uint32_t side) {
  EventFilter filter = RandomConditions(random, events, side);
  while (random() % 4 == 0) {
    filter.without.push_back(RandomConditions(random, events, side));
  }
  return filter;
}

std::vector<Event> PhasedEvents(std::mt19937& random, size_t records, uint32_t side) {
  constexpr size_t PHASE = 1500;
  constexpr uint32_t THREADS[] = {0, 3, 8, 63, 64, 70, 1000};
  RandomTraceOptions options;
  options.records = records;
  options.shape = {side / 4, 1, 4};
  options.perCycle = 40;
  std::vector<Event> events = RandomEvents(random, options);
  uint32_t thread = 0;
  uint32_t corner = 0;
  for (size_t i = 0; i < records; ++i) {
    if (i % PHASE == 0) {
      thread = static_cast<uint32_t>(random());
      corner = static_cast<uint32_t>(random() % side);
    }
    Event& event = events[i];
    event.thread = THREADS[(thread + random() % 2) % std::size(THREADS)];
    if (event.type != SWITCH_RECORD) {
      event.at = {(corner + event.at.column % 3) % side, (corner + event.at.row % 3) % side};
    }
    if (event.type == SEND_RECORD) {
      event.to = {(corner + event.to.column % 4) % side, (corner + event.to.row % 2) % side};
    }
  }
  return events;
}

void IndexAnew(Opened& opened, IndexLimits limits) {
  ASSERT_TRUE(IsFine(Index::Build(*opened.trace, opened.name + ".mfindex", {}, limits)));
  opened.Reopen();
}

}  // namespace marrowfin::testing
