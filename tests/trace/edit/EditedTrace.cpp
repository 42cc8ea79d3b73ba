#include "tests/trace/edit/EditedTrace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"

namespace marrowfin::testing {

namespace {

// Values of the type RECORDS stand behind this mark, so that they can be renumbered.
constexpr char RECORD_MARK[] = "record ";

std::string ValueText(const NoteAttribute& attribute, uint64_t value) {
  return attribute.type == NoteType::RECORDS ? RECORD_MARK + std::to_string(value)
                                             : NoteValueText(attribute, value);
}

std::vector<Event> AllEvents(const std::string& trace) {
  std::vector<Event> events;
  const std::unique_ptr<RecordFeed> feed = FeedOf(trace);
  while (feed->Next()) {
    const Columns& batch = feed->Batch();
    for (size_t i = 0; i < batch.size; ++i) {
      events.push_back(
          {batch.tag[i].type, batch.cycle[i], batch.tag[i].thread, batch.at[i], batch.to[i]});
    }
  }
  EXPECT_TRUE(IsFine(feed->GetFault()));
  return events;
}

void AddNotes(const OpenedNotes& opened, Contents& contents) {
  NotesOfTrace notes(*opened.opened.trace, *opened.opened.index, *opened.notes);
  contents.notes.resize(contents.events.size());
  BatchCursor cursor(*opened.opened.trace, *opened.opened.index, EventFilter());
  Selection found;
  while (cursor.Next(found)) {
    for (uint32_t a = 0; a < notes.Declarations().attributes.size(); ++a) {
      const NoteAttribute& attribute = notes.Declarations().attributes[a];
      const NoteValues* values = nullptr;
      ASSERT_TRUE(Take(notes.Of(found, a), values));
      for (size_t i = 0; i < found.Size(); ++i) {
        for (const uint64_t value : values->All(i)) {
          contents.notes[found.Record(i)].push_back({attribute.name, ValueText(attribute, value)});
        }
      }
    }
  }
  ASSERT_TRUE(IsFine(cursor.GetFault()));
  ASSERT_TRUE(IsFine(notes.Refused()));
}

}  // namespace

Contents ContentsOf(const std::string& trace, const std::string& notes) {
  NotedEvents none;
  Contents contents;
  none.events = AllEvents(trace);
  contents.events = none.events;
  if (notes.empty()) {
    return contents;
  }
  const OpenedNotes opened(none, notes);
  EXPECT_TRUE(IsFine(opened.notes->End()));
  AddNotes(opened, contents);
  for (size_t block = 0; block < opened.notes->Blocks().size(); ++block) {
    if (opened.notes->Blocks()[block].kind == NotesBlockKind::SAMPLES) {
      std::vector<CounterSample> samples;
      EXPECT_TRUE(Take(opened.notes->Samples(block), samples));
      contents.samples.insert(contents.samples.end(), samples.begin(), samples.end());
    }
  }
  return contents;
}

Contents Contents::Picked(const std::vector<uint64_t>& records) const {
  Contents picked;
  picked.samples = samples;
  std::map<uint64_t, uint64_t> numbers;
  const size_t mark = std::string(RECORD_MARK).size();
  for (const uint64_t record : records) {
    picked.events.push_back(events[record]);
    if (notes.empty()) {
      continue;
    }
    std::vector<Noted> kept;
    for (const Noted& noted : notes[record]) {
      if (!noted.value.starts_with(RECORD_MARK)) {
        kept.push_back(noted);
        continue;
      }
      const auto number = numbers.find(std::stoull(noted.value.substr(mark)));
      if (number != numbers.end()) {
        kept.push_back({noted.attribute, RECORD_MARK + std::to_string(number->second)});
      }
    }
    picked.notes.push_back(kept);
    numbers.emplace(record, numbers.size());
  }
  return picked;
}

Contents MadeTrace::Close() {
  EXPECT_TRUE(IsFine(made.Close()));
  return ContentsOf(TraceBytes(), NotesBytes());
}

std::unique_ptr<RecordFeed> FeedOf(const std::string& bytes) {
  return FeedFrom(MemorySource(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()),
                  "t.trace");
}

std::vector<uint64_t> InOrder(const std::vector<Event>& events) {
  std::vector<uint64_t> order(events.size());
  std::iota(order.begin(), order.end(), uint64_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](uint64_t a, uint64_t b) { return events[a].cycle < events[b].cycle; });
  return order;
}

RandomNoted::RandomNoted(std::mt19937& random, size_t records, bool falling) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 1, 4};
  options.falling = falling;
  noted = RandomNotes(random, RandomEvents(random, options));
  bytes = NotesBytes(noted, random, 250, true);
}

}  // namespace marrowfin::testing
