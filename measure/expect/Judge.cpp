#include "measure/expect/Judge.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "measure/CountPackets.h"
#include "measure/RunCauses.h"
#include "measure/expect/FarMessages.h"
#include "measure/expect/TrafficNumbers.h"
#include "measure/expect/Witnesses.h"
#include "trace/base/NearestWord.h"

namespace marrowfin {
namespace {

constexpr char NO_CAUSES[] = "the run has no fires and no messages";
constexpr char NO_BASELINE[] = "the baseline has no such number";

// A measure of a rule, to be compared with what is counted.
struct Item {
  const Rule* rule;
  const Measure* measure;
  Finding* finding;
};

// Whether it is worth finding out what led to what: not for what a pattern has beyond its baseline,
// which holds whatever it is.
bool WantsCauses(const Item& item) {
  const Rule& rule = *item.rule;
  const bool isBeyond = rule.patterned && !rule.baseline.empty() && !item.finding->baseline;
  return item.measure->needsCauses && !isBeyond;
}

// What shares a count.
struct Group {
  RuleScope scope;
  std::vector<Item> items;

  bool AnyOf(bool (*holds)(const Item&)) const {
    return std::any_of(items.begin(), items.end(), holds);
  }
};

bool IsOfPackets(const Item& item) { return item.measure->of == MeasureOf::PACKETS; }
bool IsOfPairs(const Item& item) { return item.measure->of == MeasureOf::PAIRS; }

// The part of the run that the events of a measure are taken from: of units all events are, and
// the region tells which units.
RuleScope EventsOf(const Rule& rule, const Measure& measure) {
  RuleScope scope = rule.scope;
  if (measure.IsOfUnits()) {
    scope.region.reset();
    scope.regionText.clear();
  }
  return scope;
}

constexpr char NO_TRAFFIC[] = "the array has more clusters than traffic is told of";
constexpr char NO_SWITCH_MODEL[] = "the companion does not tell what switches can pass on";

// Whether a measure is of what switches can pass on, and nothing tells that.
bool LacksSwitchModel(const Measure& measure, const RunFacts& facts) {
  return !facts.measures->switchLoads &&
         (measure.name == "switch.load" || measure.name == "switches.meanLoad" ||
          measure.name == "switches.maxLoad");
}

std::string NoUnits(const RuleScope& scope, MeasureOf of) {
  const std::string unit =
      of == MeasureOf::TRAFFIC ? "pair of different clusters" : MeasureOfName(of);
  return "there is no " + unit + (scope.region ? " in " + scope.regionText : "") +
         " that has this number";
}

std::string NoRegion(const RegionWords& region) {
  return std::string("the array has no ") +
         (region.kind == RegionWords::CLUSTER ? "cluster" : "domain") + " at column " +
         std::to_string(region.first.column) + ", row " + std::to_string(region.first.row);
}

// The least distance of messages that go further than wanted; no array is as long as the largest.
uint64_t TooFar(const Limits& wanted) {
  constexpr double NOWHERE = 1e12;
  const double least = wanted.belowMost ? std::ceil(*wanted.most) : std::floor(*wanted.most) + 1;
  return static_cast<uint64_t>(std::clamp(least, 0.0, NOWHERE));
}

// Why a measure of the run has no number.
std::string WhyUntold(const Measure& measure, const RunFacts& facts) {
  if (measure.of == MeasureOf::PACKETS && facts.packets == nullptr) {
    return "nothing tells packets: record the trace with a companion, or say --packets thread";
  }
  if (measure.of == MeasureOf::PACKETS && measure.isMoment) {
    return "the network is never saturated";
  }
  if (measure.of == MeasureOf::PAIRS && facts.pairs == nullptr) {
    return "nothing tells what fires consumed: record the trace with a companion that does";
  }
  if (measure.needsCauses) {
    return facts.causes == nullptr ? NO_CAUSES : "the critical path is a single moment";
  }
  if (LacksSwitchModel(measure, facts)) {
    return NO_SWITCH_MODEL;
  }
  if (measure.look == LookAt::PACKETS || measure.look == LookAt::PAIRS ||
      measure.look == LookAt::MESSAGES) {
    return "there are too few of them";
  }
  if (measure.look == LookAt::PHASES) {
    return "there are too few cycles, or the run changes all the time";
  }
  if (measure.look == LookAt::GAP) {
    return "no element fired twice";
  }
  return "nothing happened";
}

// Compares numbers with what is wanted of them, and keeps the furthest.
class Comparison {
 public:
  explicit Comparison(Finding& finding) : finding(finding) {}

  // Whether this number is the furthest so far, so that it is worth knowing where it is.
  bool Take(double value) {
    ++finding.compared;
    const bool holds = finding.wanted.Hold(value);
    finding.beyond += holds ? 0 : 1;
    const bool isFurther = !finding.value || (finding.holds && !holds) ||
                           (finding.holds == holds &&
                            finding.wanted.Excess(value) > finding.wanted.Excess(*finding.value));
    if (isFurther) {
      finding.value = value;
      finding.holds = holds;
    }
    return isFurther;
  }

  // Whether the number kept is too large, rather than too small.
  bool IsTooLarge() const {
    const Limits& wanted = finding.wanted;
    if (!wanted.least || !wanted.most) {
      return wanted.most.has_value() || !wanted.least;
    }
    return *finding.value - *wanted.most >= *wanted.least - *finding.value;
  }

 private:
  Finding& finding;
};

class Judging {
 public:
  Judging(const std::vector<Rule>& rules, const Baselines& baselines, const JudgedRun& run,
          const ProgressCallback& progress)
      : rules(rules), baselines(baselines), run(run), progress(progress) {}

  Result<std::vector<Verdict>> Run() {
    if (run.index->GetSummary().records == 0) {
      Fault fault = run.index->GetSummary().end;
      if (fault) {
        return fault;
      }
      fault.kind = Fault::OUT_OF_RANGE;
      fault.file = run.trace->Name();
      fault.reason = "there are no records";
      return fault;
    }
    Prepare();
    for (Group& group : groups) {
      if (Fault fault = Compare(group)) {
        return fault;
      }
    }
    for (size_t i = 0; i < rules.size(); ++i) {
      Conclude(rules[i], verdicts[i]);
    }
    return std::move(verdicts);
  }

 private:
  // Makes a finding for each measure of each rule, and puts those together that share a count.
  void Prepare() {
    verdicts.resize(rules.size());
    for (size_t i = 0; i < rules.size(); ++i) {
      verdicts[i].rule = i;
      verdicts[i].findings.resize(rules[i].skip ? 0 : rules[i].measures.size());
      for (size_t k = 0; k < verdicts[i].findings.size(); ++k) {
        Place(rules[i], *rules[i].measures[k], verdicts[i].findings[k]);
      }
    }
  }

  void Place(const Rule& rule, const Measure& measure, Finding& finding) {
    finding.measure = measure.name;
    finding.unit = measure.unit;
    finding.windows = rule.scope.every > 0;
    const Item item = {&rule, &measure, &finding};
    if (!rule.baseline.empty()) {
      finding.baseline = InBaseline(rule, measure.name);
    }
    finding.wanted = rule.bound.For(finding.baseline);
    const RuleScope scope = EventsOf(rule, measure);
    const auto [number, isNew] = numbers.emplace(scope.Key(), groups.size());
    if (isNew) {
      groups.push_back({scope, {}});
    }
    groups[number->second].items.push_back(item);
  }

  std::optional<double> InBaseline(const Rule& rule, const std::string& measure) const {
    const auto baseline = baselines.find(rule.baseline);
    const Baseline::Numbers* const numbers =
        baseline != baselines.end() ? baseline->second.Of(rule.name) : nullptr;
    if (numbers == nullptr || numbers->count(measure) == 0) {
      return std::nullopt;
    }
    return numbers->at(measure);
  }

  static void TellNone(const Group& group, const std::string& why) {
    for (const Item& item : group.items) {
      item.finding->untold = why;
    }
  }

  // The conditions on notes; what is wrong with them, or an empty text.
  std::string ConditionsOf(const RuleScope& scope, std::vector<NoteCondition>& conditions) const {
    for (const std::string& text : scope.where) {
      if (run.notes == nullptr) {
        return "there are no notes beside the trace that could be asked for " + text;
      }
      Result<NoteCondition> condition =
          ParseNoteCondition(text, run.notes->Declarations(), run.notes->File().Name());
      if (!condition) {
        const Fault why = condition.Why();
        return why.reason + (why.remedy.empty() ? "" : "; " + why.remedy);
      }
      conditions.push_back(*condition);
    }
    return "";
  }

  // The cycles of the run that the group is about; windows of them where each counts by itself.
  std::string RangesOf(const RuleScope& scope, std::vector<CycleRange>& ranges) const {
    const Summary& summary = run.index->GetSummary();
    if (scope.range.first > summary.maxCycle) {
      return "the run ends at cycle " + std::to_string(summary.maxCycle) + ", before cycle " +
             std::to_string(scope.range.first);
    }
    if (summary.Ordered() && scope.range.last < summary.firstCycle) {
      return "the run begins at cycle " + std::to_string(summary.firstCycle) + ", behind cycle " +
             std::to_string(scope.range.last);
    }
    if (scope.every == 0) {
      ranges.push_back({scope.range.first, scope.range.last});
      return "";
    }
    const uint64_t first = std::max(scope.range.first, summary.firstCycle);
    const uint64_t last = std::min(scope.range.last, summary.maxCycle);
    if (last < first || last - first < scope.every - 1) {
      return "the range is shorter than a window of " + std::to_string(scope.every) + " cycles";
    }
    const uint64_t rest = last - first - (scope.every - 1);
    if (rest / scope.every >= MOST_WINDOWS_OF_RULE) {
      return "the range has over " + std::to_string(MOST_WINDOWS_OF_RULE) + " windows of " +
             std::to_string(scope.every) + " cycles: make them longer";
    }
    for (uint64_t i = 0; i <= rest / scope.every; ++i) {
      const uint64_t begin = first + i * scope.every;
      ranges.push_back({begin, begin + (scope.every - 1)});
    }
    return "";
  }

  Fault Compare(const Group& group) {
    const ScopeFilter filter = FilterOf(group.scope, run);
    std::vector<NoteCondition> conditions;
    std::vector<CycleRange> ranges;
    std::string wrong = filter.wrong;
    wrong = wrong.empty() ? ConditionsOf(group.scope, conditions) : wrong;
    wrong = wrong.empty() ? RangesOf(group.scope, ranges) : wrong;
    if (!wrong.empty()) {
      TellNone(group, wrong);
      return {};
    }
    RunQuestion question = run.question;
    question.filter = filter.filter;
    question.elementPulses =
        group.AnyOf([](const Item& item) { return item.measure->NeedsElementPulses(); });
    question.switchPulses =
        group.AnyOf([](const Item& item) { return item.measure->NeedsSwitchPulses(); });
    question.conditions = std::move(conditions);
    question.notes = run.notes;
    for (const CycleRange& range : ranges) {
      question.filter.firstCycle = range.first;
      question.filter.lastCycle = range.last;
      if (Fault fault = CompareWindow(group, question)) {
        return fault;
      }
    }
    return FindMessages(group, question);
  }

  Fault CompareWindow(const Group& group, const RunQuestion& question) {
    const Result<RunCounts> counts = CountRun(*run.trace, run.index, question, progress);
    if (!counts) {
      return counts.Why();
    }
    const RunMeasures measures = MeasuresOf(*counts, NetworkOf(run.about), question.filter.region);
    RunFacts facts;
    facts.counts = &*counts;
    facts.measures = &measures;
    facts.region = question.filter.region;
    std::optional<PacketCounts> packets;
    if (group.AnyOf(IsOfPackets)) {
      if (Fault fault = Follow(question, counts->Times().Columns(), packets)) {
        return fault;
      }
      facts.packets = packets ? &*packets : nullptr;
    }
    std::optional<PairCounts> pairs;
    if (group.AnyOf(IsOfPairs)) {
      Result<std::optional<PairCounts>> counted = CountPairs(
          *run.trace, *run.index, run.notes, {question.filter, question.conditions}, progress);
      if (!counted) {
        return counted.Why();
      }
      pairs = std::move(counted).Take();
      facts.pairs = pairs ? &*pairs : nullptr;
    }
    if (group.AnyOf(WantsCauses)) {
      if (Fault fault = FindOut()) {
        return fault;
      }
      facts.causes = causes ? &*causes : nullptr;
    }
    for (const Item& item : group.items) {
      CompareItem(item, facts);
    }
    return {};
  }

  // What led to the end of the run, which all rules share.
  Fault FindOut() {
    if (soughtCauses) {
      return {};
    }
    const CauseQuestion question = {
        run.question.shape, run.question.wrapColumns, run.question.wrapRows, {}};
    Result<std::optional<RunCauses>> found =
        FindRunCauses(*run.trace, *run.index, run.notes, question, progress);
    if (!found) {
      return found.Why();
    }
    causes = std::move(found).Take();
    soughtCauses = true;
    return {};
  }

  Fault Follow(const RunQuestion& question, const TimeColumns& range,
               std::optional<PacketCounts>& packets) {
    const bool threads = run.packets == PacketsBy::THREADS;
    if (run.packets == PacketsBy::NOTHING || (!threads && !TellPackets(run.notes))) {
      return {};
    }
    Result<PacketCounts> counted = CountPackets(*run.trace, *run.index, run.notes,
                                                {{question.filter, question.conditions},
                                                 PacketCounts::Windows(range.first, range.last),
                                                 threads},
                                                progress);
    if (!counted) {
      return counted.Why();
    }
    packets = std::move(counted).Take();
    return {};
  }

  void CompareItem(const Item& item, RunFacts facts) const {
    const std::optional<RegionWords>& places = item.rule->scope.region;
    Finding& finding = *item.finding;
    if (!item.measure->IsOfUnits()) {
      CompareNumber(item, facts);
      return;
    }
    if (places && !places->In(run.question.shape)) {
      finding.untold = NoRegion(*places);
      return;
    }
    const std::optional<RegionWords>& to = item.rule->to;
    if (item.measure->of == MeasureOf::TRAFFIC && to && !to->In(run.question.shape)) {
      finding.untold = NoRegion(*to);
      return;
    }
    facts.places = places;
    facts.to = to;
    Comparison comparison(finding);
    for (const PlacedNumber& number : item.measure->numbers(facts)) {
      if (comparison.Take(number.value)) {
        finding.witness = WitnessOf(*item.measure, facts, number, comparison.IsTooLarge());
      }
    }
    if (finding.compared == 0) {
      finding.untold = WhyNoUnits(item, facts);
    } else {
      finding.untold.clear();
    }
  }

  static std::string WhyNoUnits(const Item& item, const RunFacts& facts) {
    const Measure& measure = *item.measure;
    const bool ofTraffic = measure.of == MeasureOf::TRAFFIC || measure.name == "cluster.inner";
    return LacksSwitchModel(measure, facts)                 ? NO_SWITCH_MODEL
           : measure.needsCauses && facts.causes == nullptr ? NO_CAUSES
           : ofTraffic && !HasTraffic(facts)                ? NO_TRAFFIC
                                                            : NoUnits(item.rule->scope, measure.of);
  }

  static void CompareNumber(const Item& item, const RunFacts& facts) {
    Finding& finding = *item.finding;
    const std::optional<double> value = item.measure->number(facts);
    if (!value) {
      // Of several windows those count that tell it.
      finding.untold = finding.value ? "" : WhyUntold(*item.measure, facts);
      return;
    }
    finding.untold.clear();
    Comparison comparison(finding);
    if (!comparison.Take(*value)) {
      return;
    }
    finding.witness = WitnessOf(*item.measure, facts, comparison.IsTooLarge());
    finding.messages = 0;
    if (item.measure->look == LookAt::MESSAGES && finding.wanted.most && !finding.holds) {
      for (const auto& [distance, times] : facts.measures->distances.Counts()) {
        finding.messages += distance >= TooFar(finding.wanted) ? times : 0;
      }
    }
  }

  // Looks for the first of the messages that go as far as was found, or further than wanted.
  Fault FindMessages(const Group& group, const RunQuestion& question) {
    for (const Item& item : group.items) {
      Finding& finding = *item.finding;
      if (finding.messages == 0) {
        continue;
      }
      const bool isLargest = item.measure->name == "distance.max";
      FarMessageQuestion far = {*run.trace,          *run.index,     run.notes, question.filter,
                                question.conditions, question.shape, 0};
      far.filter.firstCycle = finding.witness.range.first;
      far.filter.lastCycle = finding.witness.range.last;
      far.distance = isLargest ? static_cast<uint64_t>(*finding.value) : TooFar(finding.wanted);
      const Result<std::optional<TraceEvent>> message = FirstFarMessage(far, progress);
      if (!message) {
        return message.Why();
      }
      if (*message) {
        finding.witness.message = **message;
        finding.witness.cycle = (*message)->cycle;
      }
    }
    return {};
  }

  // Settles what a baseline leaves open, and makes a verdict of the findings.
  static void Conclude(const Rule& rule, Verdict& verdict) {
    if (rule.skip) {
      verdict.outcome = Outcome::SKIPPED;
      verdict.reason = *rule.skip;
      return;
    }
    const bool hasBaseline = !rule.baseline.empty();
    std::erase_if(verdict.findings, [&](const Finding& finding) {
      return rule.patterned && !finding.value && !finding.baseline;
    });
    bool anyInBaseline = false;
    for (Finding& finding : verdict.findings) {
      anyInBaseline = anyInBaseline || finding.baseline;
      if (hasBaseline && !finding.baseline && finding.value) {
        finding.untold = NO_BASELINE;
        finding.holds = rule.patterned;
      }
      if (!finding.value) {
        finding.holds = false;
      }
    }
    // A new measure among many is no failure; a baseline that knows nothing of the rule is.
    const bool knowsNone = hasBaseline && !anyInBaseline;
    for (Finding& finding : verdict.findings) {
      finding.holds = finding.holds && !knowsNone;
    }
    verdict.outcome = OutcomeOf(rule, verdict);
  }

  static Outcome OutcomeOf(const Rule& rule, Verdict& verdict) {
    size_t told = 0;
    size_t untold = 0;
    for (const Finding& finding : verdict.findings) {
      if (!finding.holds && finding.value && finding.untold.empty()) {
        return Outcome::FAILS;
      }
      (finding.holds ? told : untold) += 1;
    }
    if (untold == 0 && told > 0) {
      return Outcome::HOLDS;
    }
    if (!rule.optional) {
      return Outcome::UNTOLD;
    }
    if (told == 0) {
      verdict.reason = verdict.findings.empty() ? "the run tells no such measure"
                                                : FindingText(verdict.findings[0]);
      return Outcome::SKIPPED;
    }
    return Outcome::HOLDS;
  }

  const std::vector<Rule>& rules;
  const Baselines& baselines;
  const JudgedRun& run;
  const ProgressCallback& progress;
  std::vector<Verdict> verdicts;
  std::vector<Group> groups;
  bool soughtCauses = false;
  std::optional<RunCauses> causes;
  std::map<std::string, size_t> numbers;  // of the groups, by the key of their scope
};

// The number of a thread that a rule names; what is wrong, or an empty text.
std::string ThreadOf(const std::string& name, const About* about, std::optional<uint32_t>& thread) {
  std::vector<std::string> names;
  if (about != nullptr) {
    for (const auto& [number, told] : about->threads) {
      if (told.name == name) {
        thread = number;
        return "";
      }
      names.push_back(told.name);
    }
  }
  const std::string nearest = NearestWord(name, names);
  return "the run names no thread " + name +
         (names.empty()     ? ": give its number"
          : nearest.empty() ? ""
                            : "; is " + nearest + " meant?");
}

}  // namespace

ScopeFilter FilterOf(const RuleScope& scope, const JudgedRun& run) {
  ScopeFilter made;
  made.filter = run.question.filter;
  made.filter.firstCycle = scope.range.first;
  made.filter.lastCycle = scope.range.last;
  if (scope.thread) {
    if (std::holds_alternative<uint32_t>(*scope.thread)) {
      made.filter.thread = std::get<uint32_t>(*scope.thread);
    } else {
      made.wrong = ThreadOf(std::get<std::string>(*scope.thread), run.about, made.filter.thread);
    }
  }
  if (scope.region) {
    made.filter.region = scope.region->In(run.question.shape);
    if (!made.filter.region) {
      made.wrong = NoRegion(*scope.region);
    }
  }
  return made;
}

Result<std::vector<Verdict>> Judge(const std::vector<Rule>& rules, const Baselines& baselines,
                                   const JudgedRun& run, const ProgressCallback& progress) {
  return Judging(rules, baselines, run, progress).Run();
}

}  // namespace marrowfin
