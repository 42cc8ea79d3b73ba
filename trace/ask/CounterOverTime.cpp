#include "trace/ask/CounterOverTime.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "trace/ask/TimeBins.h"

namespace marrowfin {

namespace {

constexpr CycleEdge ALL_CYCLES = CycleEdge{1} << 64;

// A stretch of cycles of a series: one cell of it, or one value.
struct Stretch {
  CycleEdge begin;
  CycleEdge end;
  const CounterSeries::Cell* cell;  // null where there is one value
  double value;                     // of a cell, that before it
};

std::vector<Stretch> StretchesOf(const CounterSeries& series) {
  std::vector<Stretch> stretches;
  const auto cells = series.Cells();
  CycleEdge at = series.Begin();
  double value = 0;
  for (const CounterSeries::Cell& cell : cells) {
    const bool isLast = &cell == &cells.back();
    const CycleEdge start = std::max(at, CycleEdge{cell.number} << series.Shift());
    const CycleEdge end =
        isLast ? CycleEdge{series.Since()} : (CycleEdge{cell.number} + 1) << series.Shift();
    if (at < start) {
      stretches.push_back({at, start, nullptr, value});
    }
    if (start < end) {
      stretches.push_back({start, end, &cell, value});
    }
    at = end;
    value = cell.last;
  }
  if (!cells.empty()) {
    stretches.push_back({at, ALL_CYCLES, nullptr, value});
  }
  return stretches;
}

// A value that a counter has from a cycle on.
struct Step {
  uint64_t cycle;
  double value;
};

class CounterAnswer {
 public:
  CounterAnswer(const NotesFile& notes, const NotesIndex& index, const CounterQuestion& question,
                const ProgressCallback& progress)
      : notes(notes),
        index(index),
        question(question),
        progress(progress),
        key{question.counter, !question.at, question.at.value_or(Place())},
        edges(EqualBins(question.first, question.last, question.bins)) {}

  Result<CounterBins> Answer();

 private:
  Fault Check() const;
  Fault Unknown() const;
  bool IsCut(const Stretch& stretch) const;
  bool IsTooMuch(size_t blocks) const;
  Fault ReadCut();
  void MoveToCells();
  std::vector<size_t> BlocksOf(CycleEdge from, CycleEdge to) const;
  std::vector<size_t> BlocksToRead();
  Fault StartSum(CycleEdge from);
  Fault ReadBlocks(const std::vector<size_t>& blocks);
  void Take(const CounterSample& sample);
  void TakeStep(uint64_t cycle, double value);
  CounterBins Filled() const;
  void Fill(CycleEdge from, CycleEdge to, double value, CounterBins& bins) const;
  size_t BinAt(CycleEdge cycle) const;

  const NotesFile& notes;
  const NotesIndex& index;
  const CounterQuestion& question;
  const ProgressCallback& progress;
  const CounterKey key;
  std::vector<CycleEdge> edges;
  CounterSeries series;
  std::vector<Stretch> stretches;
  std::vector<size_t> cut;               // of the stretches, those in which bins end
  std::vector<std::vector<Step>> steps;  // in each of them

  // Of a sum: the value of each place, which counts its samples from a cycle on, and their sum.
  struct Part {
    uint64_t from = 0;
    double value = 0;
  };
  std::unordered_map<CounterKey, Part, CounterKeyHash> parts;
  CycleEdge sumFrom = 0;
  double sum = 0;
  size_t nextCut = 0;
};

// Whether a bin begins or ends inside a stretch that has more than one value.
bool CounterAnswer::IsCut(const Stretch& stretch) const {
  const auto inside = std::upper_bound(edges.begin(), edges.end(), stretch.begin);
  return stretch.cell != nullptr && inside != edges.end() && *inside < stretch.end;
}

void CounterAnswer::MoveToCells() {
  for (const size_t number : cut) {
    const Stretch& stretch = stretches[number];
    for (CycleEdge& edge : edges) {
      if (edge > stretch.begin && edge < stretch.end) {
        const bool isNearer = edge - stretch.begin >= stretch.end - edge;
        const bool up = &edge == &edges.back() || (&edge != &edges.front() && isNearer);
        edge = up ? stretch.end : stretch.begin;
      }
    }
  }
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  cut.clear();
}

// The blocks of samples that may have any of some cycles.
std::vector<size_t> CounterAnswer::BlocksOf(CycleEdge from, CycleEdge to) const {
  std::vector<size_t> blocks;
  const auto entries = notes.Blocks().first(index.Entries());
  for (size_t number = 0; number < entries.size(); ++number) {
    if (entries[number].kind == NotesBlockKind::SAMPLES && entries[number].low < to &&
        entries[number].high >= from) {
      blocks.push_back(number);
    }
  }
  return blocks;
}

// A sum is read from where all that it is made of is known, in one go.
std::vector<size_t> CounterAnswer::BlocksToRead() {
  if (key.all) {
    return BlocksOf(sumFrom, stretches[cut.back()].end);
  }
  std::vector<size_t> blocks;
  for (const size_t number : cut) {
    const std::vector<size_t> more = BlocksOf(stretches[number].begin, stretches[number].end);
    blocks.insert(blocks.end(), more.begin(), more.end());
  }
  std::sort(blocks.begin(), blocks.end());
  blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
  return blocks;
}

// What each place has at a cycle, as far as cells tell; its samples from the start of a cell on
// tell the rest.
Fault CounterAnswer::StartSum(CycleEdge from) {
  sumFrom = from;
  sum = stretches[cut.front()].value;
  const uint64_t cycle = static_cast<uint64_t>(from);
  for (const Place place : index.PlacesOf(key.counter)) {
    const CounterKey of = {key.counter, false, place};
    const Result<CounterSeries> known = index.Series(of);
    if (!known) {
      return known.Why();
    }
    const size_t cell = known->CellAt(cycle);
    const auto cells = known->Cells();
    if (cell == cells.size()) {
      continue;
    }
    Part& part = parts[of];
    const bool isIn = cells[cell].number == cycle >> known->Shift();
    part.from = isIn ? cells[cell].number << known->Shift() : cycle;
    part.value = !isIn ? cells[cell].last : cell > 0 ? cells[cell - 1].last : 0;
    sumFrom = std::min<CycleEdge>(sumFrom, part.from);
  }
  return {};
}

void CounterAnswer::TakeStep(uint64_t cycle, double value) {
  while (nextCut < cut.size() && stretches[cut[nextCut]].end <= cycle) {
    ++nextCut;
  }
  if (nextCut < cut.size() && stretches[cut[nextCut]].begin <= cycle) {
    steps[nextCut].push_back({cycle, value});
  }
}

void CounterAnswer::Take(const CounterSample& sample) {
  if (sample.counter != key.counter || (!key.all && sample.at != key.at)) {
    return;
  }
  if (!key.all) {
    TakeStep(sample.cycle, sample.value);
    return;
  }
  Part& part = parts[{sample.counter, false, sample.at}];
  if (sample.cycle < part.from) {
    return;
  }
  if (sample.cycle >= stretches[cut.front()].begin) {
    sum += sample.value - part.value;
    TakeStep(sample.cycle, sum);
  }
  part.value = sample.value;
}

Fault CounterAnswer::ReadBlocks(const std::vector<size_t>& blocks) {
  steps.resize(cut.size());
  for (const size_t number : blocks) {
    const Result<std::vector<CounterSample>> samples = notes.Samples(number);
    if (!samples) {
      return samples.Why();
    }
    std::for_each(samples->begin(), samples->end(),
                  [this](const CounterSample& sample) { Take(sample); });
    if (progress &&
        !progress({notes.Blocks()[number].offset, notes.File().Size(), Progress::BYTES})) {
      return CancelledFault(notes.Name());
    }
  }
  return {};
}

// The bin that holds a cycle, which lies between the first edge and the last.
size_t CounterAnswer::BinAt(CycleEdge cycle) const {
  return static_cast<size_t>(std::upper_bound(edges.begin(), edges.end(), cycle) - edges.begin()) -
         1;
}

void CounterAnswer::Fill(CycleEdge from, CycleEdge to, double value, CounterBins& bins) const {
  from = std::max(from, edges.front());
  to = std::min(to, edges.back());
  while (from < to) {
    const size_t bin = BinAt(from);
    const CycleEdge end = std::min(to, edges[bin + 1]);
    const CycleEdge cycles = std::min<CycleEdge>(end - from, ~uint64_t{0});
    bins.spans[bin].Add(value, static_cast<uint64_t>(cycles));
    from = end;
  }
}

CounterBins CounterAnswer::Filled() const {
  CounterBins bins;
  std::tie(bins.firsts, bins.last) = FirstsOf(edges);
  bins.spans.resize(bins.firsts.size());
  size_t ofCut = 0;
  for (size_t number = 0; number < stretches.size() && !bins.firsts.empty(); ++number) {
    const Stretch& stretch = stretches[number];
    if (ofCut < cut.size() && cut[ofCut] == number) {
      CycleEdge at = stretch.begin;
      double value = stretch.value;
      for (const Step& step : steps[ofCut]) {
        Fill(at, step.cycle, value, bins);
        at = step.cycle;
        value = step.value;
      }
      Fill(at, stretch.end, value, bins);
      ++ofCut;
    } else if (stretch.cell == nullptr) {
      Fill(stretch.begin, stretch.end, stretch.value, bins);
    } else if (stretch.begin >= edges.front() && stretch.end <= edges.back()) {
      bins.spans[BinAt(stretch.begin)].Add(stretch.cell->span);
    }
  }
  return bins;
}

bool CounterAnswer::IsTooMuch(size_t blocks) const {
  return blocks > question.readAtMost / NOTES_MOST_SAMPLES;
}

// Reads what is in the stretches in which bins end, or moves the bins.
Fault CounterAnswer::ReadCut() {
  if (cut.empty()) {
    return {};
  }
  const CycleEdge begin = stretches[cut.front()].begin;
  if (key.all && IsTooMuch(BlocksOf(begin, stretches[cut.back()].end).size())) {
    MoveToCells();
    return {};
  }
  if (key.all) {
    if (Fault fault = StartSum(begin)) {
      return fault;
    }
  }
  const std::vector<size_t> blocks = BlocksToRead();
  if (IsTooMuch(blocks.size())) {
    MoveToCells();
    return {};
  }
  return ReadBlocks(blocks);
}

Fault CounterAnswer::Check() const {
  if (index.WhyNoCounters()) {
    return index.WhyNoCounters();
  }
  const auto& counters = notes.Declarations().counters;
  const bool sums = index.Tables().countersWhole || !key.all;
  Fault fault;
  if (key.counter >= counters.size() || !sums) {
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = notes.Name();
    fault.reason = sums ? "the notes have no counter " + std::to_string(key.counter)
                        : counters[key.counter].name + " is sampled at too many places for a sum";
  }
  return fault;
}

// The fault of a counter of which nothing is known.
Fault CounterAnswer::Unknown() const {
  const std::string& name = notes.Declarations().counters[key.counter].name;
  Fault fault;
  fault.file = notes.Name();
  fault.kind = series.Falls() && !key.all ? Fault::DAMAGED_NOTES : Fault::OUT_OF_RANGE;
  fault.reason = !series.Falls() ? "there are more places with counters than an index keeps"
                 : key.all
                     ? "the samples of " + name +
                           " at all places are not in order of time, so their sum is not known"
                     : "the samples of " + name + " go back in time";
  return fault;
}

Result<CounterBins> CounterAnswer::Answer() {
  if (Fault fault = Check()) {
    return fault;
  }
  Result<CounterSeries> found = index.Series(key);
  if (!found) {
    return found.Why();
  }
  series = std::move(found).Take();
  if (series.Falls() || (series.IsEmpty() && !index.Tables().countersWhole)) {
    return Unknown();
  }
  stretches = StretchesOf(series);
  for (size_t number = 0; number < stretches.size(); ++number) {
    if (IsCut(stretches[number])) {
      cut.push_back(number);
    }
  }
  if (Fault fault = ReadCut()) {
    return fault;
  }
  return Filled();
}

}  // namespace

Result<CounterBins> CounterOverTime(const NotesFile& notes, const NotesIndex& index,
                                    const CounterQuestion& question,
                                    const ProgressCallback& progress) {
  return CounterAnswer(notes, index, question, progress).Answer();
}

Result<std::optional<double>> CounterAt(const NotesFile& notes, const NotesIndex& index,
                                        uint32_t counter, const std::optional<Place>& at,
                                        uint64_t cycle) {
  CounterQuestion question;
  question.counter = counter;
  question.at = at;
  question.first = cycle;
  question.last = cycle;
  const Result<CounterBins> bins = CounterOverTime(notes, index, question);
  if (!bins) {
    return bins.Why();
  }
  const CounterSpan& span = bins->spans[0];
  return span.cycles == 0 ? std::nullopt : std::optional(span.low);
}

}  // namespace marrowfin
