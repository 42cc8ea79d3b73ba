#include "measure/RunBounds.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <tuple>
#include <utility>

#include "measure/CausalChain.h"
#include "trace/base/PlaceTable.h"

namespace marrowfin {
namespace {

constexpr size_t BETWEEN_REPORTS = 256;  // batches

// What is quicker than it was.
struct Scenario {
  bool freeMessages = false;
  bool instantWork = false;
};

// Tells of passes over the trace, so many of them.
class Passes {
 public:
  Passes(const Causes& causes, uint64_t count, const ProgressCallback& progress)
      : causes(causes), all(causes.graph.Records() * count), progress(progress) {}

  Fault Report(uint64_t pass, size_t number, uint64_t done) const {
    if (progress && number % BETWEEN_REPORTS == 0 &&
        !progress({causes.graph.Records() * pass + done, all, Progress::RECORDS})) {
      return CancelledFault(causes.trace.Source().Name());
    }
    return {};
  }

 private:
  const Causes& causes;
  uint64_t all;
  const ProgressCallback& progress;
};

// When the last fire could have been. `Word` holds times since the first record.
template <class Word>
class Schedule {
 public:
  Schedule(const Causes& causes, const Passes& passes)
      : causes(causes), passes(passes), effects(causes.graph.Records()) {}

  Result<uint64_t> EndOf(const Scenario& scenario, uint64_t pass) {
    CausalGraph::Reader reader(causes.graph);
    uint64_t end = 0;
    for (size_t number = 0; number < causes.trace.Batches(); ++number) {
      if (Fault fault = causes.trace.Reload(number, batch)) {
        return fault;
      }
      const Columns& columns = batch.columns;
      for (size_t i = 0; i < columns.size; ++i) {
        const uint64_t record = columns.firstRecord + i;
        const CausalGraph::Node node = reader.Read(record);
        Word time = node.causes.empty() ? static_cast<Word>(batch.time[i] - causes.firstTime) : 0;
        for (const uint64_t cause : node.causes) {
          time = std::max(time, effects[cause]);
        }
        effects[record] = time + static_cast<Word>(Takes(scenario, node, columns, i));
        if (IsEnd(columns.tag[i].type)) {
          end = std::max<uint64_t>(end, time);
        }
      }
      if (Fault fault = passes.Report(pass, number, columns.firstRecord)) {
        return fault;
      }
    }
    return end + causes.firstTime;
  }

 private:
  // Runs without fires end with messages.
  bool IsEnd(uint32_t type) const {
    return type == (causes.trace.GetIndex().GetSummary().fires > 0 ? FIRE_RECORD : SEND_RECORD);
  }

  uint64_t Takes(const Scenario& scenario, const CausalGraph::Node& node, const Columns& columns,
                 size_t i) const {
    const uint32_t eventClass =
        causes.least.ClassOf(columns.tag[i].type, node.work, columns.at[i], columns.to[i]);
    const bool isFree =
        LeastTimes::IsWork(eventClass) ? scenario.instantWork : scenario.freeMessages;
    return isFree ? 0 : causes.least.Of(eventClass);
  }

  const Causes& causes;
  const Passes& passes;
  std::vector<Word> effects;  // when what a record causes could be
  TimedBatch batch;
};

template <class Word>
Result<RunBounds> FindBoundsIn(const Causes& causes, const ProgressCallback& progress) {
  const Passes passes(causes, 3, progress);
  const auto schedule = std::make_unique<Schedule<Word>>(causes, passes);
  RunBounds bounds;
  bounds.end = causes.lastTime;
  uint64_t pass = 0;
  for (const auto& [scenario, end] : {std::pair(Scenario{false, false}, &bounds.noWaits),
                                      std::pair(Scenario{true, false}, &bounds.freeMessages),
                                      std::pair(Scenario{false, true}, &bounds.instantWork)}) {
    const Result<uint64_t> found = schedule->EndOf(scenario, pass++);
    if (!found) {
      return found.Why();
    }
    *end = *found;
  }
  return bounds;
}

// Slack of fires by place, while it is gathered.
class SlackByPlace {
 public:
  void Add(Place at, uint64_t slack) {
    const uint32_t number = table.Add(at);
    if (number == sums.size()) {
      sums.push_back({0, ~uint64_t{0}, 0});
    }
    Sum& sum = sums[number];
    ++sum.fires;
    sum.least = std::min(sum.least, slack);
    sum.slack += static_cast<double>(slack);
  }

  RunSlack Take() const {
    RunSlack slack;
    for (size_t i = 0; i < sums.size(); ++i) {
      slack.places.push_back({table.Places()[i], sums[i].fires, sums[i].least,
                              sums[i].slack / static_cast<double>(sums[i].fires)});
    }
    std::sort(slack.places.begin(), slack.places.end(),
              [](const PlaceSlack& a, const PlaceSlack& b) {
                return std::tuple(a.least, a.mean, a.at.row, a.at.column) <
                       std::tuple(b.least, b.mean, b.at.row, b.at.column);
              });
    return slack;
  }

 private:
  struct Sum {
    uint64_t fires;
    uint64_t least;
    double slack;
  };
  PlaceTable table;
  std::vector<Sum> sums;
};

// Goes back through the run: the slack of an event is that of what it caused, as far as that has
// some to spare for it.
template <class Word>
class SlackFinder {
 public:
  SlackFinder(const Causes& causes, const Passes& passes)
      : causes(causes), passes(passes), finder(causes), slacks(causes.graph.Records(), OPEN) {}

  Result<RunSlack> Find() {
    SlackByPlace byPlace;
    for (size_t number = causes.trace.Batches(); number-- > 0;) {
      if (Fault fault = causes.trace.Reload(number, batch)) {
        return fault;
      }
      const Columns& columns = batch.columns;
      for (size_t i = columns.size; i-- > 0;) {
        const uint64_t record = columns.firstRecord + i;
        const uint64_t slack = SlackOf(record, batch.time[i]);
        if (columns.tag[i].type == FIRE_RECORD) {
          byPlace.Add(columns.at[i], slack);
        }
        if (Fault fault = HandDown(record, batch.time[i], slack)) {
          return fault;
        }
      }
      if (Fault fault = passes.Report(0, number, causes.graph.Records() - columns.firstRecord)) {
        return fault;
      }
    }
    return byPlace.Take();
  }

 private:
  static constexpr Word OPEN = std::numeric_limits<Word>::max();

  // What caused nothing may be as late as the end.
  uint64_t SlackOf(uint64_t record, uint64_t time) const {
    return slacks[record] != OPEN   ? uint64_t{slacks[record]}
           : time < causes.lastTime ? causes.lastTime - time
                                    : 0;
  }

  void Narrow(uint64_t record, uint64_t slack) {
    slacks[record] = std::min(slacks[record], static_cast<Word>(slack));
  }

  Fault HandDown(uint64_t record, uint64_t time, uint64_t slack) {
    const CausalGraph::Node node = finder.Node(record);
    if (node.causes.empty()) {
      return {};
    }
    if (node.causes.size() == 1) {
      Narrow(node.causes[0], slack);
      return {};
    }
    const Result<std::optional<Binding>> binding = finder.Of(node, time);
    if (!binding) {
      return binding.Why();
    }
    for (const uint64_t cause : node.causes) {
      if (cause == (*binding)->cause) {
        Narrow(cause, slack);
        continue;
      }
      const Result<uint64_t> ready = finder.ReadyAt(cause);
      if (!ready) {
        return ready.Why();
      }
      Narrow(cause, slack + (time - std::min(time, *ready)));
    }
    return {};
  }

  const Causes& causes;
  const Passes& passes;
  BindingFinder finder;
  std::vector<Word> slacks;
  TimedBatch batch;
};

template <class Word>
Result<RunSlack> FindSlackIn(const Causes& causes, const ProgressCallback& progress) {
  const Passes passes(causes, 1, progress);
  return std::make_unique<SlackFinder<Word>>(causes, passes)->Find();
}

bool IsShort(const Causes& causes) {
  const uint64_t last = causes.trace.GetIndex().GetSummary().maxCycle;
  return last - causes.firstTime < uint64_t{1} << 31;
}

}  // namespace

Result<RunBounds> FindBounds(const Causes& causes, const ProgressCallback& progress) {
  return IsShort(causes) ? FindBoundsIn<uint32_t>(causes, progress)
                         : FindBoundsIn<uint64_t>(causes, progress);
}

Result<RunSlack> FindSlack(const Causes& causes, const ProgressCallback& progress) {
  return IsShort(causes) ? FindSlackIn<uint32_t>(causes, progress)
                         : FindSlackIn<uint64_t>(causes, progress);
}

}  // namespace marrowfin
