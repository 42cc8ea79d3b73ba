#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "measure/expect/Baseline.h"
#include "measure/expect/Judge.h"
#include "measure/expect/MeasureTable.h"
#include "measure/expect/ReadRules.h"
#include "tools/program/ExpectAnswer.h"
#include "tools/program/ExpectInput.h"
#include "tools/program/Json.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/RunInput.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"
#include "trace/base/NearestWord.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;

constexpr char expectFooter[] =
    "Examples:\n"
    "  marrowfin-trace expect rules.toml run.trace\n"
    "  marrowfin-trace expect rules.toml run.trace --junit verdicts.xml\n"
    "  marrowfin-trace expect rules.toml run.trace --rule 'no message*' --json\n"
    "  marrowfin-trace expect rules.toml run.trace --update-baseline\n"
    "  marrowfin-trace expect --measures\n"
    "\n"
    "A file of rules is TOML: tables [[rule]], each with a name, a measure and a bound.\n"
    "\n"
    "  [[rule]]\n"
    "  name = \"steady throughput\"\n"
    "  measure = \"firesPerCycle\"\n"
    "  cycles = \"100:900\"\n"
    "  at_least = 0.8\n"
    "\n"
    "docs/expect.md has every key, and how to run it in continuous integration.\n"
    "\n"
    "Exit status: 0 all rules hold or are skipped, 1 some do not hold or cannot be told, 2 "
    "command\n"
    "line refused, 3 an output cannot be written or nowhere is room for the index, 4 the trace,\n"
    "the rules or a baseline cannot be read, or the trace breaks off before all that rules ask "
    "for.";

struct ExpectFlags {
  std::string rules;
  RunFlags run;  // its conditions on events stay empty
  std::vector<std::string> chosen;
  std::optional<std::string> junit;
  std::optional<std::string> output;
  bool force = false;
  bool json = false;
  bool update = false;
  bool listMeasures = false;
};

// The measures, for people.

MaybeFailure PrintMeasures(const Console& console) {
  size_t longest = 0;
  for (const MeasureEntry& measure : AllMeasures()) {
    longest = std::max(longest, measure->name.size());
  }
  for (const MeasureEntry& measure : AllMeasures()) {
    const std::string unit = measure->unit.empty() ? "" : " (" + measure->unit + ")";
    console.out << measure->name << std::string(longest + 2 - measure->name.size(), ' ')
                << measure->what << unit << "\n";
  }
  return std::nullopt;
}

// What is to be written must not be what is read.

MaybeFailure CheckOutputs(const ExpectFlags& flags) {
  for (const std::optional<std::string>& output : {flags.junit, flags.output}) {
    if (output && IsSameFile(flags.rules, *output)) {
      return Failure{EXIT_USAGE, *output + ": is the file of rules", "Name another file."};
    }
  }
  const std::string output = flags.output.value_or(STANDARD_STREAM);
  if (flags.junit && AreOneOutput(*flags.junit, output)) {
    return IsStandardOutput(output)
               ? Failure{EXIT_USAGE,
                         "the verdicts and JUnit's XML would both go to standard output",
                         "Name a file for one of them, with --junit or -o."}
               : Failure{EXIT_USAGE, *flags.junit + ": is named for two outputs",
                         "Name two files."};
  }
  for (const std::optional<std::string>& output : {flags.junit, flags.output}) {
    if (MaybeFailure failure = CheckTextOutput(output, flags.force, {flags.run.trace})) {
      return failure;
    }
  }
  return std::nullopt;
}

MaybeFailure CheckExpectFlags(const ExpectFlags& flags) {
  if (flags.listMeasures) {
    return std::nullopt;
  }
  if (flags.rules.empty() || flags.run.trace.empty()) {
    return Failure{EXIT_USAGE, "a file of rules and a trace are needed",
                   "Name both: expect RULES.toml TRACE."};
  }
  if (MaybeFailure failure = CheckOutputs(flags)) {
    return failure;
  }
  return flags.run.shape.Check();
}

MaybeFailure CheckBaselineApart(const ExpectFlags& flags, const std::string& baseline) {
  if (MaybeFailure failure = CheckOutputApart(flags.run.trace, baseline)) {
    failure->remedy = "Name another file as the baseline.";
    return failure;
  }
  for (const std::optional<std::string>& output : {flags.junit, flags.output}) {
    if (output && AreOneOutput(*output, baseline)) {
      return Failure{EXIT_USAGE, *output + ": is a baseline of the rules", "Name another file."};
    }
  }
  return std::nullopt;
}

// What is read besides the trace.

MaybeFailure ChooseRules(const ExpectFlags& flags, std::vector<Rule>& rules) {
  const std::vector<Rule> all = std::move(rules);
  rules.clear();
  for (const Rule& rule : all) {
    const bool chosen =
        flags.chosen.empty() ||
        std::any_of(flags.chosen.begin(), flags.chosen.end(),
                    [&](const std::string& p) { return MeetsPattern(rule.name, p); });
    if (chosen) {
      rules.push_back(rule);
    }
  }
  for (const std::string& pattern : flags.chosen) {
    std::vector<std::string> names;
    bool met = false;
    for (const Rule& rule : all) {
      names.push_back(rule.name);
      met = met || MeetsPattern(rule.name, pattern);
    }
    if (!met) {
      const std::string nearest = NearestWord(pattern, names);
      return Failure{EXIT_USAGE, flags.rules + ": no rule is called " + pattern,
                     nearest.empty() ? "Give the name of a rule, in which * may stand for anything."
                                     : "Is '" + nearest + "' meant?"};
    }
  }
  return std::nullopt;
}

// One that is to be made anew need not be there.
MaybeFailure ReadBaselines(const ExpectFlags& flags, const std::vector<Rule>& rules,
                           Baselines& baselines) {
  for (const Rule& rule : rules) {
    if (rule.baseline.empty() || rule.skip || baselines.count(rule.baseline) > 0) {
      continue;
    }
    if (MaybeFailure failure = CheckBaselineApart(flags, rule.baseline)) {
      return failure;
    }
    std::error_code error;
    if (flags.update && !fs::exists(rule.baseline, error)) {
      baselines.emplace(rule.baseline, Baseline());
      continue;
    }
    Result<Baseline> baseline = Baseline::Read(rule.baseline);
    if (!baseline) {
      return FailureOf(baseline.Why());
    }
    baselines.emplace(rule.baseline, std::move(baseline).Take());
  }
  return std::nullopt;
}

// Baselines that are made anew.

void AddChanges(const std::string& file, const std::string& rule, const Baseline::Numbers* before,
                const Baseline::Numbers& now, std::vector<BaselineChange>& changes) {
  std::set<std::string> measures;
  for (const Baseline::Numbers* const numbers : {before, &now}) {
    if (numbers != nullptr) {
      for (const auto& [measure, number] : *numbers) {
        measures.insert(measure);
      }
    }
  }
  const auto in = [](const Baseline::Numbers* numbers, const std::string& measure) {
    return numbers != nullptr && numbers->count(measure) > 0 ? std::optional(numbers->at(measure))
                                                             : std::nullopt;
  };
  for (const std::string& measure : measures) {
    const std::optional<double> was = in(before, measure);
    const std::optional<double> is = in(&now, measure);
    if (was != is) {
      changes.push_back({file, rule, measure, was, is});
    }
  }
}

// What was measured, as the baselines that the rules have.
Baselines MadeAnew(const ExpectAnswer& answer, const Baselines& before,
                   std::vector<BaselineChange>& changes) {
  Baselines made = before;
  for (const Verdict& verdict : answer.verdicts) {
    const Rule& rule = answer.rules[verdict.rule];
    if (rule.baseline.empty() || rule.skip) {
      continue;
    }
    Baseline::Numbers numbers;
    for (const Finding& finding : verdict.findings) {
      if (finding.value) {
        numbers[finding.measure] = *finding.value;
      }
    }
    AddChanges(rule.baseline, rule.name, before.at(rule.baseline).Of(rule.name), numbers, changes);
    made[rule.baseline].Set(rule.name, numbers);
  }
  return made;
}

// All temporaries are written before the first of them gets its name.
MaybeFailure WriteBaselines(const Baselines& baselines) {
  std::vector<std::unique_ptr<Output>> outputs;
  for (const auto& [name, baseline] : baselines) {
    outputs.push_back(std::make_unique<Output>());
    if (MaybeFailure failure = outputs.back()->Open(name)) {
      return failure;
    }
    const std::string text = baseline.Text();
    const auto* const bytes = reinterpret_cast<const uint8_t*>(text.data());
    if (const Fault fault = outputs.back()->Sink().Write(bytes, text.size()).fault) {
      return OutputFailureOf(fault);
    }
  }
  for (const std::unique_ptr<Output>& output : outputs) {
    if (MaybeFailure failure = output->Commit()) {
      return failure;
    }
  }
  return std::nullopt;
}

MaybeFailure UpdateBaselines(const ExpectFlags& flags, const Console& console, CountedRun& run,
                             Baselines& baselines, ExpectAnswer& answer) {
  baselines = MadeAnew(answer, baselines, answer.changes);
  if (MaybeFailure failure =
          JudgeRun(flags.run, answer.rules, baselines, console, run, answer.verdicts)) {
    return failure;
  }
  for (const auto& [name, baseline] : baselines) {
    answer.baselines.push_back(name);
  }
  return WriteBaselines(baselines);
}

// Telling.

MaybeFailure WriteText(const std::string& text, const std::optional<std::string>& path,
                       const Console& console) {
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(path)) {
    return failure;
  }
  output.Text() = text;
  return output.Commit();
}

// On a terminal no name makes a line of its own.
ExpectAnswer ForPeople(ExpectAnswer answer, const Console& console) {
  for (std::string* const name : {&answer.trace, &answer.file}) {
    *name = LineFor(console.out, *name);
  }
  return answer;
}

MaybeFailure Tell(const ExpectFlags& flags, const ExpectAnswer& answer, const Console& console) {
  if (flags.junit) {
    if (MaybeFailure failure = WriteText(ExpectJUnit(answer), flags.junit, console)) {
      return failure;
    }
  }
  const bool asText = !flags.json && !flags.output;
  return WriteText(flags.json ? JsonText(ExpectJson(answer))
                              : ExpectText(asText ? ForPeople(answer, console) : answer),
                   flags.output, console);
}

MaybeFailure ExpectOf(const ExpectFlags& flags, const Console& console) {
  Result<RuleFile> file = ReadRules(flags.rules);
  if (!file) {
    return FailureOf(file.Why());
  }
  ExpectAnswer answer;
  answer.trace = flags.run.trace;
  answer.file = flags.rules;
  answer.rules = std::move(file->rules);
  Baselines baselines;
  CountedRun run;
  if (MaybeFailure failure = ChooseRules(flags, answer.rules)) {
    return failure;
  }
  if (MaybeFailure failure = ReadBaselines(flags, answer.rules, baselines)) {
    return failure;
  }
  if (MaybeFailure failure = OpenRun(flags.run, console, run)) {
    return failure;
  }
  if (MaybeFailure failure =
          JudgeRun(flags.run, answer.rules, baselines, console, run, answer.verdicts)) {
    return failure;
  }
  answer.shape = run.question.shape;
  const MaybeFailure broken = CheckWholeFor(answer.rules, run);
  if (flags.update && !broken) {
    if (MaybeFailure failure = UpdateBaselines(flags, console, run, baselines, answer)) {
      return failure;
    }
  }
  if (MaybeFailure failure = Tell(flags, answer, console)) {
    return failure;
  }
  if (broken) {
    return broken;
  }
  return CountVerdicts(answer.verdicts).AllHold() ? std::nullopt : MaybeFailure(AnswerNo());
}

MaybeFailure Expect(const ExpectFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckExpectFlags(flags)) {
    return failure;
  }
  return flags.listMeasures ? PrintMeasures(console) : AsTrouble(ExpectOf(flags, console));
}

Action ConfigureExpect(CLI::App& app) {
  const auto flags = std::make_shared<ExpectFlags>();
  app.add_option("RULES", flags->rules, "The file of rules");
  app.add_option("TRACE", flags->run.trace,
                 "The trace: a file, packed or not; - is standard input");
  app.add_option("--rule", flags->chosen,
                 "Only rules of this name, in which * stands for anything; may be given again");
  flags->run.shape.Declare(app);
  flags->run.DeclarePackets(app);
  app.add_option("--junit", flags->junit, "Write the verdicts to this file as JUnit's XML, too");
  app.add_flag("--json", flags->json, "Print JSON");
  AddTextOutput(app, flags->output, flags->force);
  app.add_flag("--update-baseline", flags->update,
               "Write what was measured as the baselines that the rules have");
  app.add_flag("--measures", flags->listMeasures, "List the measures that rules can ask for");
  return [flags](const Console& console) { return Expect(*flags, console); };
}

}  // namespace

extern const Subcommand expectSubcommand = {
    "expect", "Hold a run against rules: bounds on any measure, for regression runs", expectFooter,
    ConfigureExpect};

}  // namespace marrowfin
