// What one piece of the array, and one counter, do over time.

#include <algorithm>
#include <array>
#include <limits>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedFilter.h"
#include "trace/ask/CounterOverTime.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/TimeBins.h"
#include "trace/ask/Walk.h"

namespace marrowfin {
namespace {

// So many records are gone through, which tells threads as well; of more the index tells the sums.
constexpr uint64_t QUICK = 4 << 20;
constexpr size_t THREADS = 6;
constexpr uint8_t NO_THREAD = 255;

struct Lane {
  std::vector<uint64_t> firsts;
  std::vector<double> counts;
  std::vector<uint8_t> threads;
};

// What is counted of a piece.
Activity ActivityOf(const AskedPiece& piece) {
  return piece.kind == AskedPiece::SWITCH ? TRANSMISSIONS
         : piece.kind == AskedPiece::LINK ? SENDS
                                          : FIRES;
}

const char* NameOf(Activity activity) {
  return activity == TRANSMISSIONS ? "transmissions" : activity == SENDS ? "messages" : "fires";
}

AskedFilter FilterOf(const AskedPiece& piece, const ArrayShape& shape, const AskedCycles& cycles) {
  AskedFilter filter;
  NarrowTo(piece, shape, filter);
  const Activity activity = ActivityOf(piece);
  filter.events.fires = activity == FIRES;
  filter.events.sends = activity == SENDS;
  filter.events.switches = activity == TRANSMISSIONS;
  filter.events.firstCycle = cycles.first;
  filter.events.lastCycle = cycles.last;
  return filter;
}

uint8_t MostOf(const std::array<uint64_t, THREADS>& counts) {
  const auto most = std::max_element(counts.begin(), counts.end());
  return *most == 0 ? NO_THREAD : static_cast<uint8_t>(most - counts.begin());
}

// By going through the events.
MaybeRefusal WalkLane(const Asking& asking, const AskedFilter& filter, Lane& lane) {
  std::vector<std::array<uint64_t, THREADS>> threads(lane.firsts.size());
  const MaybeRefusal refusal =
      WalkEvents(asking, filter, 0, false, [&](const Selection& found, size_t i) {
        const uint16_t row = found.rows[i];
        const auto behind =
            std::upper_bound(lane.firsts.begin(), lane.firsts.end(), found.columns->cycle[row]);
        const auto bin = static_cast<size_t>(behind - lane.firsts.begin()) - 1;
        ++lane.counts[bin];
        ++threads[bin][found.columns->tag[row].thread % THREADS];
        return true;
      });
  std::transform(threads.begin(), threads.end(), lane.threads.begin(), MostOf);
  return refusal;
}

// How many records the range has, as far as the index tells at once.
Result<uint64_t> RecordsIn(const Asking& asking, const AskedCycles& cycles) {
  const uint64_t all = asking.GetSummary().records;
  if (!asking.GetSummary().Ordered()) {
    return all;
  }
  const Result<uint64_t> first = FindCycle(asking.Trace(), asking.index, cycles.first);
  const Result<uint64_t> behind = cycles.last == ~uint64_t{0}
                                      ? Result<uint64_t>(all)
                                      : FindCycle(asking.Trace(), asking.index, cycles.last + 1);
  if (!first || !behind) {
    return first ? behind.Why() : first.Why();
  }
  return *behind - *first;
}

}  // namespace

MaybeRefusal AnswerLane(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const AskedPiece piece = TakePiece(asking, shape);
  const AskedCycles cycles = TakeCycles(asking.members);
  const size_t bins = TakeBins(asking.members);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const Result<uint64_t> records = RecordsIn(asking, cycles);
  if (!records) {
    return RefusalOf(records.Why());
  }
  Lane lane;
  lane.firsts = FirstsOf(EqualBins(cycles.first, cycles.last, bins)).first;
  lane.counts.resize(lane.firsts.size());
  lane.threads.resize(lane.firsts.size(), NO_THREAD);
  const Activity activity = ActivityOf(piece);
  const bool summed = *records > QUICK && asking.GetSummary().Ordered() && activity != SENDS;
  if (summed) {
    const Result<std::vector<uint64_t>> sums =
        ActivityOverTime(asking.Trace(), asking.index, cycles.first, cycles.last, bins, activity,
                         RegionOf(piece, shape), asking.progress);
    if (!sums) {
      return RefusalOf(sums.Why());
    }
    lane.counts.assign(sums->begin(), sums->end());
  } else if (MaybeRefusal refusal = WalkLane(asking, FilterOf(piece, shape, cycles), lane)) {
    return refusal;
  }
  answer.Head().Key("kind").Text(NameOf(activity));
  answer.Head().Key("last").Wide(cycles.last);
  answer.Column("first", lane.firsts);
  answer.Column("count", lane.counts);
  answer.Column("thread", lane.threads);
  return std::nullopt;
}

MaybeRefusal AnswerCounter(Asking& asking, AnswerBytes& answer) {
  const std::string name = asking.members.Text("counter");
  CounterQuestion question;
  question.at = asking.members.PlaceIfAny("place");
  const AskedCycles cycles = TakeCycles(asking.members);
  question.first = cycles.first;
  question.last = cycles.last;
  question.bins = TakeBins(asking.members);
  question.readAtMost = CounterQuestion::QUICK;
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const AskedNotes notes = BorrowNotes(asking);
  if (notes.refusal) {
    return notes.refusal;
  }
  const NotesOfTrace& known = notes.lease->notes;
  const std::optional<uint32_t> counter = known.Declarations().Counter(name);
  if (!counter) {
    return Refusal{Refusal::NOT_THERE, "the notes have no counter of that name", {}, {}, {}};
  }
  question.counter = *counter;
  const Result<CounterBins> bins =
      CounterOverTime(known.File(), *notes.lease->index, question, asking.progress);
  if (!bins) {
    return RefusalOf(bins.Why());
  }
  constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> least;
  std::vector<double> mean;
  std::vector<double> most;
  for (const CounterSpan& span : bins->spans) {
    least.push_back(span.cycles > 0 ? span.low : NONE);
    mean.push_back(span.cycles > 0 ? span.sum / static_cast<double>(span.cycles) : NONE);
    most.push_back(span.cycles > 0 ? span.high : NONE);
  }
  answer.Head().Key("last").Wide(bins->last);
  answer.Column("first", bins->firsts);
  answer.Column("min", least);
  answer.Column("mean", mean);
  answer.Column("max", most);
  return std::nullopt;
}

}  // namespace marrowfin
