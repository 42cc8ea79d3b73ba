#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {

namespace {

void Put(std::string& bytes, uint64_t value, int size) {
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
    bytes += static_cast<char>(value >> shift & 0xFF);
  }
}

Place RandomElement(std::mt19937& random, const ArrayShape& shape) {
  return {static_cast<uint32_t>(random() % shape.Columns()),
          static_cast<uint32_t>(random() % shape.Rows())};
}

Place RandomSwitch(std::mt19937& random, const ArrayShape& shape) {
  return {static_cast<uint32_t>(4 + random() % shape.clusters.columns * shape.ClusterColumns()),
          static_cast<uint32_t>(4 + random() % shape.clusters.rows * shape.ClusterRows())};
}

}  // namespace

std::vector<Event> RandomEvents(std::mt19937& random, const RandomTraceOptions& options) {
  std::vector<Event> events;
  uint64_t cycle = options.firstCycle;
  while (events.size() < options.records) {
    Event event;
    event.cycle = cycle;
    event.type = SWITCH_RECORD + random() % 3;
    event.thread = static_cast<uint32_t>(random() % options.threads);
    event.at = event.type == SWITCH_RECORD ? RandomSwitch(random, options.shape)
                                           : RandomElement(random, options.shape);
    if (event.type == SEND_RECORD) {
      event.to = RandomElement(random, options.shape);
    }
    events.push_back(event);
    if (random() % options.perCycle == 0) {
      const bool fall = options.falling && random() % 8 == 0;
      cycle = fall ? cycle / 2 : cycle + 1 + (random() % 10 == 0 ? random() % 100 : 0);
    }
  }
  return events;
}

std::string Encode(const std::vector<Event>& events) {
  std::string bytes;
  for (const Event& event : events) {
    Put(bytes, event.type, 4);
    Put(bytes, event.cycle, 8);
    Put(bytes, event.thread, 4);
    Put(bytes, event.type == SEND_RECORD ? 16 : 8, 4);
    Put(bytes, event.at.column, 4);
    Put(bytes, event.at.row, 4);
    if (event.type == SEND_RECORD) {
      Put(bytes, event.to.column, 4);
      Put(bytes, event.to.row, 4);
    }
  }
  return bytes;
}

}  // namespace marrowfin::testing
