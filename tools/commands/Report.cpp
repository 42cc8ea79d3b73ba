#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "measure/expect/Baseline.h"
#include "measure/expect/ReadRules.h"
#include "render/report/MapLevel.h"
#include "render/report/PdfPrinter.h"
#include "render/report/ReportPage.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/DiffInput.h"
#include "tools/program/ExistingOutput.h"
#include "tools/program/ExpectInput.h"
#include "tools/program/Interruption.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/RunInput.h"
#include "tools/program/RunPlot.h"
#include "tools/program/ShellWord.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char reportFooter[] =
    "Examples:\n"
    "  marrowfin-trace report run.trace -o report.html\n"
    "  marrowfin-trace report run.trace -o report.html --pdf report.pdf\n"
    "  marrowfin-trace report run.trace --cycles 5000:9999 --theme dark -o report.html\n"
    "  marrowfin-trace report run.trace --packets thread -o report.html\n"
    "  marrowfin-trace report run.trace --against old.trace --expect rules.toml -o report.html\n"
    "\n"
    "One page about a run: sentences, numbers, pictures with the numbers behind them. It needs no\n"
    "network and no script. Rates are by cycle of the range that is asked for; docs/measures.md\n"
    "defines each number. The same trace and flags give the same bytes.\n"
    "\n"
    "With --against the page tells what changed from another run, as diff does.\n"
    "With --expect the page has the verdicts of rules (docs/expect.md), whatever they are: the "
    "exit\n"
    "status of expect tells whether they hold.\n"
    "\n"
    "PDF is made by chromium, which must be installed, and is never dark.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the page cannot be written or nowhere is room for the index.";

struct ReportFlags {
  RunFlags run;
  std::optional<std::string> page;
  std::optional<std::string> pdf;
  std::optional<std::string> against;
  std::optional<std::string> rules;
  bool force = false;
  bool noCauses = false;
  std::string theme = "light";
  std::vector<std::string> given;  // of what makes the page another one, as it was written
};

const Theme& ThemeOf(const std::string& name) {
  return name == "dark" ? Theme::Dark() : name == "print" ? Theme::Print() : Theme::Light();
}

MaybeFailure CheckReportFlags(const ReportFlags& flags) {
  if (!flags.page && !flags.pdf) {
    return Failure{EXIT_USAGE, "nothing says where the report goes",
                   "Name the page with -o, or its print with --pdf."};
  }
  if (flags.page && flags.pdf && AreOneOutput(*flags.page, *flags.pdf)) {
    return Failure{EXIT_USAGE, *flags.page + ": page and PDF are one file", "Name them apart."};
  }
  for (const auto& [name, flag] : {std::pair{&flags.page, "-o"}, {&flags.pdf, "--pdf"}}) {
    if (*name) {
      if (MaybeFailure failure = CheckOutputApart(flags.run.trace, **name, flag)) {
        return failure;
      }
      if (MaybeFailure failure =
              flags.against ? CheckOutputApart(*flags.against, **name, flag) : std::nullopt) {
        return failure;
      }
    }
  }
  for (const std::optional<std::string>& output : {flags.page, flags.pdf}) {
    if (output && flags.rules && IsSameFile(*flags.rules, *output)) {
      return Failure{EXIT_USAGE, *output + ": is the file of rules", "Name another file."};
    }
    if (MaybeFailure failure = output ? CheckNotThere(*output, flags.force) : std::nullopt) {
      return failure;
    }
  }
  if (flags.against && IsStream(flags.run.trace)) {
    return Failure{EXIT_USAGE,
                   flags.run.trace +
                       ": is read twice where it is held against another run, and "
                       "can be read once only",
                   "Copy it to a file first."};
  }
  return flags.run.Check();
}

// Files are named without their folders, so that the page tells nothing of this machine.
std::string CommandOf(const ReportFlags& flags, const std::string& file) {
  std::string command = "marrowfin-trace report " + ShellWord(file);
  for (const std::string& word : flags.given) {
    command += " " + ShellWord(word);
  }
  return command + " -o report.html";
}

// Which thread lives where; nothing of a run without fires.
MaybeFailure MapThreads(const ReportFlags& flags, const Console& console, CountedRun& counted,
                        ReportedRun& reported) {
  if (reported.run.measures.fires == 0) {
    return std::nullopt;
  }
  ThreadQuestion question;
  question.shape = counted.question.shape;
  question.filter = counted.question.filter;
  question.level = MapLevelOf(question.shape);
  Result<ThreadMap> map =
      AskRun(flags.run, console, counted, [&](const ProgressCallback& progress) {
        return CountThreads(*counted.trace.file, *counted.trace.index, question, progress);
      });
  if (!map) {
    return IndexingFailureOf(map.Why(), flags.run.trace);
  }
  reported.threads = std::move(map).Take();
  return std::nullopt;
}

// What changed from another run, whose counts stay in `runs`.
MaybeFailure HoldAgainst(const ReportFlags& flags, const Console& console, DiffedRuns& runs,
                         ReportedRun& reported) {
  if (!flags.against) {
    return std::nullopt;
  }
  const DiffFlags diff = {flags.run, *flags.against};
  if (MaybeFailure failure = OpenDiffed(diff, console, runs)) {
    return failure;
  }
  ReportedDifference difference;
  difference.other.trace = std::filesystem::path(*flags.against).filename();
  if (MaybeFailure failure =
          AlignDiffed(diff, AlignQuestion(), console, runs, difference.aligned)) {
    return failure;
  }
  if (!difference.aligned.sameBytes) {
    if (MaybeFailure failure = CountDiffed(diff, true, console, runs)) {
      return failure;
    }
    if (MaybeFailure failure = PairDiffed(diff, console, runs)) {
      return failure;
    }
    difference.run = PlottedRunOf(flags.run, runs.a);
    difference.other = PlottedRunOf(diff.OfOther(), runs.b);
    difference.phases = PairPhases(difference.run.measures, runs.a.counts->Times().Columns(),
                                   difference.other.measures, runs.b.counts->Times().Columns());
  }
  reported.difference = std::move(difference);
  return std::nullopt;
}

// Causes are asked of the whole of a run: what led to an event may lie anywhere before it.
MaybeFailure FindCausesOf(const ReportFlags& flags, const Console& console, CountedRun& counted,
                          ReportedRun& reported) {
  if (flags.noCauses || !flags.run.AskForAll()) {
    reported.noCauses = flags.noCauses ? "They were not asked for."
                                       : "They are those of the whole run, and this is a part.";
    return std::nullopt;
  }
  std::unique_ptr<NotesOfTrace> notes;
  Result<std::optional<ReportedCauses>> found =
      AskRun(flags.run, console, counted, [&](const ProgressCallback& progress) {
        const CountedRun& run = counted;
        if (run.companion->Notes() != nullptr) {
          notes = std::make_unique<NotesOfTrace>(*run.trace.file, *run.trace.index,
                                                 *run.companion->Notes());
        }
        const CauseQuestion question = {
            run.question.shape, run.question.wrapColumns, run.question.wrapRows, {}};
        return FindReportedCauses(*run.trace.file, *run.trace.index, notes.get(), question,
                                  progress);
      });
  if (!found) {
    return IndexingFailureOf(found.Why(), flags.run.trace);
  }
  if (notes) {
    ReportRefused(notes->Refused(), console);
  }
  reported.causes = std::move(found).Take();
  return std::nullopt;
}

MaybeFailure ReadBaselines(const ReportFlags& flags, const std::vector<Rule>& rules,
                           Baselines& baselines) {
  for (const Rule& rule : rules) {
    if (rule.baseline.empty() || rule.skip || baselines.count(rule.baseline) > 0) {
      continue;
    }
    for (const std::optional<std::string>& output : {flags.page, flags.pdf}) {
      if (output && AreOneOutput(*output, rule.baseline)) {
        return Failure{EXIT_USAGE, *output + ": is a baseline of the rules", "Name another file."};
      }
    }
    Result<Baseline> baseline = Baseline::Read(rule.baseline);
    if (!baseline) {
      return FailureOf(baseline.Why());
    }
    baselines.emplace(rule.baseline, std::move(baseline).Take());
  }
  return std::nullopt;
}

// The rules that are asked, with what they compare with.
struct AskedRules {
  ReportedVerdicts verdicts;
  Baselines baselines;
};

MaybeFailure ReadAsked(const ReportFlags& flags, std::optional<AskedRules>& asked) {
  if (!flags.rules) {
    return std::nullopt;
  }
  Result<RuleFile> file = ReadRules(*flags.rules);
  if (!file) {
    return FailureOf(file.Why());
  }
  asked.emplace();
  asked->verdicts.file = std::filesystem::path(*flags.rules).filename();
  asked->verdicts.rules = std::move(file->rules);
  return ReadBaselines(flags, asked->verdicts.rules, asked->baselines);
}

// Rules say themselves which part of the run they are about.
MaybeFailure JudgeBy(std::optional<AskedRules>& asked, const ReportFlags& flags,
                     const Console& console, CountedRun& counted, ReportedRun& reported) {
  if (!asked) {
    return std::nullopt;
  }
  ReportedVerdicts& verdicts = asked->verdicts;
  const EventFilter filter = std::exchange(counted.question.filter, EventFilter());
  MaybeFailure failure =
      JudgeRun(flags.run, verdicts.rules, asked->baselines, console, counted, verdicts.verdicts);
  counted.question.filter = filter;
  reported.verdicts = std::move(verdicts);
  return failure;
}

ReportedRun ReportedRunOf(const ReportFlags& flags, const CountedRun& counted) {
  ReportedRun reported;
  reported.run = PlottedRunOf(flags.run, counted);
  reported.packetsAreThreads = flags.run.packets == "thread";
  reported.about = counted.companion->GetAbout();
  reported.hasNotes = counted.companion->Notes() != nullptr;
  for (const Fault& fault : {counted.companion->WhyNoAbout(), counted.companion->WhyNoNotes()}) {
    if (fault) {
      reported.refused.push_back(fault);
    }
  }
  reported.summary = &counted.trace.index->GetSummary();
  const std::string file = std::filesystem::path(flags.run.trace).filename();
  reported.file = ShellWord(file);
  reported.command = CommandOf(flags, file);
  reported.program = "marrowfin-trace " MARROWFIN_VERSION;
  return reported;
}

Fault WriteText(const std::string& text, ByteSink& sink) {
  return sink.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
}

// Writes what `make` puts into the sink to the file, or to standard output.
template <class Make>
MaybeFailure WriteTo(const std::string& path, Make make) {
  Output output;
  if (MaybeFailure failure = output.Open(path)) {
    return failure;
  }
  if (const Fault fault = make(output.Sink())) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

MaybeFailure WritePage(const ReportFlags& flags, const ReportedRun& reported) {
  const Result<std::string> page = ReportPage(reported, ThemeOf(flags.theme));
  if (!page) {
    return FailureOf(page.Why());
  }
  return WriteTo(*flags.page, [&](ByteSink& sink) { return WriteText(*page, sink); });
}

MaybeFailure WritePdf(const ReportFlags& flags, const ReportedRun& reported) {
  const Result<std::string> page =
      ReportPage(reported, ThemeOf(flags.theme == "dark" ? "light" : flags.theme));
  if (!page) {
    return FailureOf(page.Why());
  }
  const Interruption interruption;
  return WriteTo(*flags.pdf, [&](ByteSink& sink) {
    return PrintPdf(*page, sink, [&] { return !interruption.Asked(); });
  });
}

MaybeFailure MakeReport(const ReportFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckReportFlags(flags)) {
    return failure;
  }
  std::optional<AskedRules> asked;
  if (MaybeFailure failure = ReadAsked(flags, asked)) {
    return failure;
  }
  CountedRun counted;
  if (MaybeFailure failure = CountRunOf(flags.run, true, console, counted)) {
    return failure;
  }
  ReportedRun reported = ReportedRunOf(flags, counted);
  DiffedRuns runs;
  if (MaybeFailure failure = HoldAgainst(flags, console, runs, reported)) {
    return failure;
  }
  if (MaybeFailure failure = MapThreads(flags, console, counted, reported)) {
    return failure;
  }
  if (MaybeFailure failure = FindCausesOf(flags, console, counted, reported)) {
    return failure;
  }
  if (MaybeFailure failure = JudgeBy(asked, flags, console, counted, reported)) {
    return failure;
  }
  if (flags.page) {
    if (MaybeFailure failure = WritePage(flags, reported)) {
      return failure;
    }
  }
  if (flags.pdf) {
    if (MaybeFailure failure = WritePdf(flags, reported)) {
      return failure;
    }
  }
  if (MaybeFailure failure = CheckWhole(flags.run, counted)) {
    return failure;
  }
  return reported.verdicts ? CheckWholeFor(reported.verdicts->rules, counted) : std::nullopt;
}

// The options that were given, but for the trace and the outputs.
std::vector<std::string> GivenOptions(const CLI::App& app) {
  std::vector<std::string> words;
  for (const CLI::Option* const option : app.get_options()) {
    const std::string name = option->get_name();
    const bool isOfOutput = name == "--output" || name == "--pdf" || name == "--force";
    if (option->count() == 0 || name == "TRACE" || isOfOutput) {
      continue;
    }
    if (option->get_expected_max() == 0) {
      words.push_back(name);
      continue;
    }
    for (const std::string& value : option->results()) {
      const bool isFile = name == "--expect" || name == "--against";
      words.insert(words.end(),
                   {name, isFile ? std::filesystem::path(value).filename().string() : value});
    }
  }
  return words;
}

Action ConfigureReport(CLI::App& app) {
  const auto flags = std::make_shared<ReportFlags>();
  flags->run.Declare(app);
  flags->run.DeclarePackets(app);
  app.add_option("-o,--output", flags->page, "The page, HTML; - for standard output");
  app.add_option("--pdf", flags->pdf, "The page as it is printed");
  AddForce(app, flags->force);
  app.add_option("--against", flags->against, "Hold the run against this one");
  app.add_option("--expect", flags->rules, "Hold the run against the rules of this file");
  app.add_flag("--no-causes", flags->noCauses,
               "Leave out the critical path, which takes longest to find");
  app.add_option("--theme", flags->theme, "light, dark, or print")
      ->check(CLI::IsMember({"light", "dark", "print"}))
      ->capture_default_str();
  return [flags, &app](const Console& console) {
    flags->given = GivenOptions(app);
    return MakeReport(*flags, console);
  };
}

}  // namespace

extern const Subcommand reportSubcommand = {
    "report", "Write one page about a run: what an architect asks first", reportFooter,
    ConfigureReport};

}  // namespace marrowfin
