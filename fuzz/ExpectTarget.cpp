#include <memory>
#include <string>
#include <string_view>

#include "fuzz/Fuzz.h"
#include "measure/expect/Baseline.h"
#include "measure/expect/Judge.h"
#include "measure/expect/ReadRules.h"
#include "trace/index/Index.h"
#include "trace/index/IndexStore.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/TraceSource.h"
#include "trace/write/Writer.h"

// Bytes as a file of rules, and as a baseline: what is refused has a reason, and the line of a
// rule; what is read can be asked of a run, and a baseline that is written is read as it was.

namespace marrowfin::fuzz {

namespace {

// A small run: fires, messages, and transmissions of a switch.
struct SmallRun {
  SmallRun() {
    MemorySink sink;
    Writer writer;
    writer.Attach(sink);
    for (uint32_t i = 0; i < 30; ++i) {
      writer.Fire(5 + i / 3, i % 2, {i % 4, i % 3});
      writer.Send(5 + i / 3, 0, {i % 4, 0}, {0, i % 3});
    }
    writer.Switch(20, 0, {4, 4});
    Require(!writer.Close(), "a whole trace");
    Result<std::unique_ptr<TraceSource>> opened = TraceSource::Over(MemoryFile(sink.Bytes(), "t"));
    Require(static_cast<bool>(opened), "an open trace");
    trace = std::move(opened).Take();
    Result<std::unique_ptr<Index>> indexed = Index::Open(*trace, *store);
    Require(static_cast<bool>(indexed), "an index");
    index = std::move(indexed).Take();
    judged.trace = trace.get();
    judged.index = index.get();
    judged.question.shape = ArrayShape({2, 1}, {1, 1}, {4, 4});
    judged.packets = PacketsBy::THREADS;
  }

  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<IndexStore> store = IndexInMemory();
  std::unique_ptr<Index> index;
  JudgedRun judged;
};

void CheckRule(const Rule& rule) {
  Require(!rule.name.empty() && rule.line > 0, "a rule has a name and a line");
  Require(!rule.measures.empty(), "a rule has measures");
  Require(!rule.baseline.empty() || !(rule.bound.For({}) == Limits()), "a rule bounds something");
  Require(!rule.bound.For({}).AreEmpty(), "a bound can be met");
  Require(rule.scope.range.first <= rule.scope.range.last, "a range ends behind its start");
}

void CheckVerdict(const Verdict& verdict) {
  for (const Finding& finding : verdict.findings) {
    const bool isTold = finding.value && finding.untold.empty();
    Require(!finding.value || finding.compared > 0, "a value was compared");
    Require(!isTold || finding.holds == finding.wanted.Hold(*finding.value),
            "what holds is within its bound");
    Require(finding.beyond <= finding.compared, "no more fail than are compared");
    Require(!FindingText(finding).empty(), "a finding can be told");
    Require(finding.witness.range.first <= finding.witness.range.last, "a range of cycles");
    static_cast<void>(FindingPlaceText(finding));
  }
}

// Runs take a while: what has many rules is only read.
constexpr size_t MOST_JUDGED = 6;

void TryRules(std::string_view text) {
  const Result<RuleFile> file = ParseRules(text, "t.toml");
  if (!file) {
    Require(file.Why().kind == Fault::REFUSED_INPUT && file.Why().reason.starts_with("line "),
            "what is refused has a line and a reason");
    return;
  }
  Require(!file->rules.empty() && file->rules.size() <= MOST_RULES, "some rules");
  for (const Rule& rule : file->rules) {
    CheckRule(rule);
  }
  if (file->rules.size() > MOST_JUDGED) {
    return;
  }
  static SmallRun run;
  Baselines baselines;
  for (const Rule& rule : file->rules) {
    baselines[rule.baseline].Set(rule.name, {{rule.measures[0]->name, 3}});
  }
  const Result<std::vector<Verdict>> verdicts = Judge(file->rules, baselines, run.judged);
  Require(static_cast<bool>(verdicts), "a run that can be read is judged");
  Require(verdicts->size() == file->rules.size(), "a verdict for each rule");
  for (const Verdict& verdict : *verdicts) {
    CheckVerdict(verdict);
  }
}

void TryBaseline(std::string_view text) {
  const Result<Baseline> baseline = Baseline::Parse(text, "t.json");
  if (!baseline) {
    Require(baseline.Why().kind == Fault::REFUSED_INPUT && !baseline.Why().reason.empty(),
            "what is refused has a reason");
    return;
  }
  Baseline set = *baseline;
  set.Set("a rule", {{"fires", 1.5}});
  const Result<Baseline> again = Baseline::Parse(set.Text(), "t.json");
  Require(again && *again == set, "what is written is read as it was");
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  marrowfin::fuzz::TryRules(text);
  marrowfin::fuzz::TryBaseline(text);
  return 0;
}
