#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/Json.h"
#include "tools/program/RunAnswer.h"
#include "tools/program/RunInput.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"

namespace marrowfin {
namespace {

constexpr char statsFooter[] =
    "Examples:\n"
    "  marrowfin-trace stats run.trace\n"
    "  marrowfin-trace stats run.trace --cycles 5000:9999 --region cluster:2,0\n"
    "  marrowfin-trace stats run.trace --json -o run.json\n"
    "  marrowfin-trace stats run.trace --csv links -o links.csv\n"
    "  marrowfin-trace stats noted.trace --by kind --csv groups\n"
    "  marrowfin-trace stats noted.trace --kind load --where 'size>=64'\n"
    "\n"
    "Rates are by cycle of the range that is asked for. Packets are told where the trace has a\n"
    "companion that names them, or with --packets thread. Conditions on notes choose events, the\n"
    "packets that entered with one and the messages among them, whatever fire consumed those.\n"
    "docs/measures.md defines each number.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

const std::map<std::string, StatsTable>& StatsTables() {
  static const std::map<std::string, StatsTable> tables = {
      {"domains", StatsTable::DOMAINS},   {"pes", StatsTable::ELEMENTS},
      {"clusters", StatsTable::CLUSTERS}, {"links", StatsTable::LINKS},
      {"time", StatsTable::TIME},         {"distances", StatsTable::DISTANCES},
      {"traffic", StatsTable::TRAFFIC},   {"latency", StatsTable::LATENCY},
      {"groups", StatsTable::GROUPS}};
  return tables;
}

struct StatsFlags {
  RunFlags run;
  bool json = false;
  std::optional<std::string> csv;
  std::vector<std::string> by;
  std::optional<std::string> output;
  bool force = false;
};

MaybeFailure CheckStatsFlags(const StatsFlags& flags) {
  if (flags.json && flags.csv) {
    return Failure{EXIT_USAGE, "--json and --csv are two forms of one answer", "Give one of them."};
  }
  if (flags.by.size() > GroupQuestion::MOST) {
    return Failure{EXIT_USAGE, "--by: too many groupings at a time",
                   "Give it at most " + std::to_string(GroupQuestion::MOST) + " times."};
  }
  if (MaybeFailure failure = CheckTextOutput(flags.output, flags.force, {flags.run.trace})) {
    return failure;
  }
  return flags.run.Check();
}

// Whether an index knows a table without its records.
bool IsKnownToIndex(StatsTable table) { return table == StatsTable::TIME; }

bool NeedsPackets(const StatsFlags& flags) {
  return !flags.csv || flags.csv == "latency" || flags.csv == "groups";
}

MaybeFailure Write(const StatsFlags& flags, const RunAnswer& answer, const Console& console) {
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  output.Text() = flags.json  ? JsonText(StatsJson(answer))
                  : flags.csv ? StatsCsv(answer, StatsTables().at(*flags.csv))
                              : StatsText(answer);
  return output.Commit();
}

MaybeFailure Stats(const StatsFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckStatsFlags(flags)) {
    return failure;
  }
  CountedRun run;
  if (flags.csv) {
    run.question.timelineSuffices = IsKnownToIndex(StatsTables().at(*flags.csv));
    run.question.timelineByThread = false;
  }
  if (MaybeFailure failure = CountRunOf(flags.run, NeedsPackets(flags), console, run)) {
    return failure;
  }
  RunAnswer answer;
  const bool asText = !flags.json && !flags.csv && !flags.output;
  answer.trace = asText ? LineFor(console.out, flags.run.trace) : flags.run.trace;
  answer.shape = run.question.shape;
  answer.counts = &*run.counts;
  answer.measures =
      MeasuresOf(*run.counts, NetworkOf(run.companion->GetAbout()), run.question.filter.region);
  answer.packetsAreThreads = flags.run.packets == "thread";
  if (!flags.csv || flags.csv == "groups") {
    if (MaybeFailure failure = GroupCounted(flags.run, flags.by, console, run, answer.groups)) {
      return failure;
    }
    NameThreads(run.companion->GetAbout(), answer.groups);
  }
  answer.packets = std::move(run.packets);
  if (MaybeFailure failure = Write(flags, answer, console)) {
    return failure;
  }
  return CheckWhole(flags.run, run);
}

Action ConfigureStats(CLI::App& app) {
  const auto flags = std::make_shared<StatsFlags>();
  flags->run.Declare(app);
  flags->run.DeclareNotes(app);
  flags->run.DeclarePackets(app);
  app.add_flag("--json", flags->json, "Print JSON");
  std::vector<std::string> tables;
  for (const auto& [name, table] : StatsTables()) {
    tables.push_back(name);
  }
  app.add_option("--csv", flags->csv, "Print this table as CSV")->check(CLI::IsMember(tables));
  app.add_option("--by", flags->by,
                 "Tell traffic by thread, or by a named attribute of the companion as kind; "
                 "unless given, by all of them where there is a companion")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  AddTextOutput(app, flags->output, flags->force);
  return [flags](const Console& console) { return Stats(*flags, console); };
}

}  // namespace

extern const Subcommand statsSubcommand = {
    "stats", "Tell how busy, how even, how far, how long: the numbers of a run", statsFooter,
    ConfigureStats};

}  // namespace marrowfin
