#include "tests/trace/support/Answers.h"

#include <random>
#include <sstream>
#include <vector>

#include "tests/support/Files.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/StateReader.h"
#include "trace/ask/Walk.h"

namespace marrowfin::testing {

namespace {

// FNV-1a, so that a whole picture is one word of the answer.
class Digest {
 public:
  void Add(uint64_t value) {
    for (int shift = 0; shift < 64; shift += 8) {
      sum = (sum ^ (value >> shift & 0xFF)) * 0x100000001B3;
    }
  }
  uint64_t Sum() const { return sum; }

 private:
  uint64_t sum = 0xCBF29CE484222325;
};

class Asker {
 public:
  Asker(const TraceSource& trace, const Index& index, const ArrayShape& shape, uint32_t seed)
      : trace(trace), index(index), shape(shape), random(seed) {}

  std::string Ask(int questions) {
    TellSummary();
    TellTimes();
    for (int i = 0; i < questions; ++i) {
      AskWhere();
      AskActivity();
      AskState();
      AskEvents();
    }
    return text.str();
  }

 private:
  uint64_t RandomRecord() { return Draw() % (index.GetSummary().records + 2); }
  uint64_t RandomCycle() {
    const uint64_t most = index.GetSummary().maxCycle;
    return most >= ~uint64_t{0} - 2 ? Draw() : Draw() % (most + 2);
  }
  uint64_t Draw() { return uint64_t{random()} << 32 | random(); }

  void Tell(const char* what, const Result<uint64_t>& told) {
    Tell(what, told ? *told : 0, told.Why());
  }

  void Tell(const char* what, uint64_t value, const Fault& fault) {
    text << what << ' ';
    if (fault) {
      text << FaultName(fault.kind) << ' ' << fault.record << ' ' << fault.reason << '\n';
    } else {
      text << value << '\n';
    }
  }

  void TellSummary() {
    const Summary& s = index.GetSummary();
    text << s.records << ' ' << s.bytes << ' ' << s.switches << ' ' << s.fires << ' ' << s.sends
         << ' ' << s.firstCycle << ' ' << s.lastCycle << ' ' << s.maxCycle << ' ' << s.changes
         << ' ' << s.falls << ' ' << s.firstFall << ' ' << s.fired.columns << 'x' << s.fired.rows
         << ' ' << s.sent.columns << 'x' << s.sent.rows << ' ' << s.otherThreads << ' '
         << s.switchesComplete << ' ' << index.HasBoundaries() << '\n';
    Digest digest;
    for (const auto& [thread, count] : s.threads) {
      digest.Add(thread);
      digest.Add(count);
    }
    for (const Place& place : s.switchPlaces) {
      digest.Add(place.column);
      digest.Add(place.row);
    }
    text << "threads and switches " << digest.Sum() << '\n';
    text << "end " << s.end.kind << ' ' << s.end.offset << ' ' << s.end.record << ' '
         << s.end.reason << '\n';
  }

  void TellTimes() {
    const Result<const TimeTable*> times = index.Times();
    Digest digest;
    for (const uint8_t byte : times ? (*times)->Encode() : std::vector<uint8_t>()) {
      digest.Add(byte);
    }
    Tell("times", digest.Sum(), times.Why());
  }

  void AskWhere() {
    Tell("cycle", FindCycle(trace, index, RandomCycle()));
    Tell("change", FindChange(trace, index, Draw() % (index.GetSummary().changes + 2)));
    if (index.GetSummary().records > 0) {
      const auto entry = Locate(trace, index, RandomRecord() % index.GetSummary().records);
      Tell("offset", entry ? entry->offset : 0, entry.Why());
      Tell("changes", entry ? entry->changes : 0, entry.Why());
    }
  }

  void AskActivity() {
    const ActivityReader reader(trace, index);
    const uint64_t first = RandomRecord();
    const uint64_t last = RandomRecord();
    for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
      std::vector<uint64_t> counts;
      const Fault fault = reader.Count(first, last, activity, counts);
      Digest digest;
      for (const uint64_t count : counts) {
        digest.Add(count);
      }
      Tell("counts", digest.Sum(), fault);
    }
    const uint64_t cycle = RandomCycle();
    const auto bins = ActivityOverTime(trace, index, cycle / 2, cycle, 7, FIRES);
    Digest digest;
    for (size_t bin = 0; bins && bin < bins->size(); ++bin) {
      digest.Add((*bins)[bin]);
    }
    Tell("over time", digest.Sum(), bins.Why());
  }

  void AskState() {
    const StateReader reader(trace, index, shape);
    const uint64_t skipTo = Draw() % 3 == 0 ? RandomCycle() : 0;
    const Result<uint64_t> steps = reader.CountSteps(skipTo);
    TellState("step", steps ? reader.AtStep(Draw() % (*steps + 3), skipTo) : steps.Why());
    TellState("state", reader.AtCycle(RandomCycle()));
  }

  void TellState(const char* what, const Result<ArrayState>& told) {
    if (!told) {
      Tell(what, 0, told.Why());
      return;
    }
    const ArrayState& state = *told;
    Digest digest;
    for (const uint64_t number : {state.step, state.cycle, state.first, state.last}) {
      digest.Add(number);
    }
    for (const std::vector<Color>* colors : {&state.elements, &state.switches}) {
      for (const Color& color : *colors) {
        digest.Add(color.red << 16 | color.green << 8 | color.blue);
      }
    }
    for (const LiveMessage& message : state.messages) {
      digest.Add(message.record);
      digest.Add(state.AgeOf(message));
      digest.Add(state.ColorOf(message).red);
    }
    Tell(what, digest.Sum(), Fault());
  }

  void AskEvents() {
    EventFilter filter;
    filter.firstRecord = RandomRecord();
    filter.lastRecord = filter.firstRecord + 20000;
    filter.switches = Draw() % 2 == 0;
    const uint32_t column = static_cast<uint32_t>(Draw() % shape.Columns());
    filter.region = Region{{column, 0}, {column, shape.Rows()}};
    EventCursor cursor(trace, index, filter);
    Digest digest;
    TraceEvent event;
    for (int left = 2000; left > 0 && cursor.Next(event); --left) {
      digest.Add(event.record);
    }
    for (int left = 20; left > 0 && cursor.Previous(event); --left) {
      digest.Add(event.record);
    }
    Tell("events", digest.Sum(), cursor.GetFault());
  }

  const TraceSource& trace;
  const Index& index;
  ArrayShape shape;
  std::mt19937 random;
  std::ostringstream text;
};

}  // namespace

std::string Answers(const TraceSource& trace, const Index& index, const ArrayShape& shape,
                    uint32_t seed, int questions) {
  return Asker(trace, index, shape, seed).Ask(questions);
}

std::string FreshAnswers(const TraceSource& trace, const ArrayShape& shape, uint32_t seed,
                         int questions) {
  const TempDir folder;
  if (const Fault fault = Index::Build(trace, folder.File("fresh"))) {
    return fault.Text();
  }
  const auto index = Index::Load(trace, folder.File("fresh"));
  return index ? Answers(trace, **index, shape, seed, questions) : index.Why().Text();
}

}  // namespace marrowfin::testing
