#include "tests/trace/support/NotedTrace.h"

#include <algorithm>
#include <bit>

#include "trace/write/NotesWriter.h"

namespace marrowfin::testing {

NotedEvents RandomNotes(std::mt19937& random, std::vector<Event> events) {
  NotedEvents noted;
  for (auto& values : noted.values) {
    values.resize(events.size());
  }
  for (size_t i = 0; i < events.size(); ++i) {
    const auto some = [&] { return random() % 3 != 0; };
    if (some()) {
      noted.values[KIND][i] = {random() % 5};
    }
    if (some()) {
      noted.values[PACKET][i] = {i / 20 + random() % 8};
    }
    if (some()) {
      noted.values[CREATED][i] = {events[i].cycle - random() % (events[i].cycle + 1)};
    }
    if (random() % 50 == 0) {
      noted.values[ENERGY][i] = {std::bit_cast<uint64_t>(static_cast<double>(random() % 100) - 50)};
    }
    for (size_t n = random() % 4; n > 0 && i > 0 && random() % 2 == 0; --n) {
      noted.values[CONSUMES][i].push_back(i - 1 - random() % std::min<size_t>(i, 30));
    }
    noted.values[SIZE][i] = {8U << random() % 4};
  }
  noted.events = std::move(events);
  return noted;
}

std::string NotesBytes(const NotedEvents& noted, std::mt19937& random, size_t blockRecords,
                       bool samples) {
  MemorySink sink;
  NotesWriter writer(sink);
  writer.Attribute(KIND_ATTRIBUTE, NoteType::NAME);
  writer.Attribute(PACKET_ATTRIBUTE, NoteType::NUMBER);
  writer.Attribute(CREATED_ATTRIBUTE, NoteType::CYCLE);
  writer.Attribute("energy", NoteType::REAL, "pJ");
  writer.Attribute(CONSUMES_ATTRIBUTE, NoteType::RECORDS);
  writer.Attribute(SIZE_ATTRIBUTE, NoteType::NUMBER, "bytes");
  const char* const kinds[] = {"compute", "inject", "eject", "wait", "barrier"};
  for (uint64_t kind = 0; kind < 5; ++kind) {
    writer.NameValue(KIND, kind, kinds[kind]);
  }
  writer.Counter("queue", "flits");
  for (size_t i = 0; i < noted.events.size(); ++i) {
    const Event& event = noted.events[i];
    writer.Record(event.type, event.cycle, event.thread, event.at, event.to);
    for (uint32_t attribute = 0; attribute < NOTE_ATTRIBUTES; ++attribute) {
      for (const uint64_t value : noted.values[attribute][i]) {
        EXPECT_TRUE(writer.Note(attribute, value));
      }
    }
    if (samples && i % 20 == 0) {
      writer.Sample({i, 0, {static_cast<uint32_t>(i / 20 % 3), 1}, static_cast<double>(i % 7)});
    }
    if (random() % blockRecords == 0) {
      EXPECT_TRUE(IsFine(writer.Flush()));
    }
  }
  EXPECT_TRUE(IsFine(writer.Close()));
  return {sink.Bytes().begin(), sink.Bytes().end()};
}

NoteCondition RandomCondition(std::mt19937& random, const NotedEvents& noted) {
  NoteCondition condition;
  condition.attribute = static_cast<uint32_t>(random() % NOTE_ATTRIBUTES);
  const auto value = [&] {
    for (int attempt = 0; attempt < 1000; ++attempt) {
      const auto& values = noted.values[condition.attribute][random() % noted.events.size()];
      if (!values.empty()) {
        return values[random() % values.size()];
      }
    }
    return uint64_t{0};
  };
  condition.value = value();
  condition.last = value();
  if (random() % 5 == 0) {
    condition.comparison = random() % 2 == 0 ? NoteCondition::HAS : NoteCondition::HAS_NOT;
  } else if (condition.attribute == CONSUMES) {
    condition.comparison = NoteCondition::CONTAINS;
  } else {
    condition.comparison =
        static_cast<NoteCondition::Comparison>(NoteCondition::EQUAL + random() % 7);
  }
  return condition;
}

namespace {

template <class Number>
bool Compares(const NoteCondition& condition, uint64_t bits) {
  const Number number = std::bit_cast<Number>(bits);
  const Number value = std::bit_cast<Number>(condition.value);
  switch (condition.comparison) {
    case NoteCondition::EQUAL:
      return number == value;
    case NoteCondition::NOT_EQUAL:
      return number != value;
    case NoteCondition::BELOW:
      return number < value;
    case NoteCondition::AT_MOST:
      return number <= value;
    case NoteCondition::ABOVE:
      return number > value;
    case NoteCondition::AT_LEAST:
      return number >= value;
    default:
      return number >= value && number <= std::bit_cast<Number>(condition.last);
  }
}

}  // namespace

bool Meets(const NotedEvents& noted, size_t record, const NoteCondition& condition) {
  const std::vector<uint64_t>& values = noted.values[condition.attribute][record];
  if (condition.comparison == NoteCondition::HAS_NOT) {
    return values.empty();
  }
  if (condition.comparison == NoteCondition::HAS || values.empty()) {
    return !values.empty();
  }
  if (condition.comparison == NoteCondition::CONTAINS) {
    return std::count(values.begin(), values.end(), condition.value) > 0;
  }
  return condition.attribute == ENERGY ? Compares<double>(condition, values[0])
                                       : Compares<uint64_t>(condition, values[0]);
}

std::vector<uint64_t> Expected(const NotedEvents& noted, const EventFilter& filter,
                               const std::vector<NoteCondition>& conditions) {
  std::vector<uint64_t> records = Expected(noted.events, filter);
  std::erase_if(records, [&](uint64_t record) {
    return !std::all_of(conditions.begin(), conditions.end(), [&](const NoteCondition& condition) {
      return Meets(noted, record, condition);
    });
  });
  return records;
}

std::unique_ptr<NotesFile> OpenNotes(const std::string& bytes) {
  return Made(
      NotesFile::Open(MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), "t.notes")));
}

}  // namespace marrowfin::testing
