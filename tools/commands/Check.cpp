#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "tools/program/Flags.h"
#include "tools/program/Json.h"
#include "tools/program/Output.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "trace/read/CompanionCheck.h"

namespace marrowfin {
namespace {

constexpr char checkFooter[] =
    "Examples:\n"
    "  marrowfin-trace check run.trace\n"
    "  marrowfin-trace check run.trace -c 4 -d 2 -p 4\n"
    "\n"
    "Names every fault with its record and byte: cut records, unknown types, wrong lengths and\n"
    "falling cycles; with any of -c, -d and -p also locations that the array lacks, but for ends "
    "of\n"
    "messages, which may be anywhere and are counted by themselves. A cut record,\n"
    "an unknown type or a wrong length is the last one: nothing tells where the next record\n"
    "begins.\n"
    "\n"
    "The companion beside the trace (TRACE.about, TRACE.notes) is checked as well, where there is\n"
    "one: whether it is of this trace, and every block of it.\n"
    "\n"
    "Exit status: 0 nothing found, 1 faults found or the trace cannot be read, 2 command line\n"
    "refused.";

struct CheckFlags {
  std::string trace;
  ShapeFlags shape;
  uint64_t most = 100;
  bool json = false;
};

// What was found; of more than the user wants to see, only the number.
struct Findings {
  std::vector<Fault> shown;
  uint64_t count = 0;
  uint64_t most = 0;

  // Ends of messages outside the array, which are no faults, and the first of them.
  uint64_t farEnds = 0;
  Fault firstFarEnd = {};

  void Add(const Fault& fault) {
    if (fault.kind == Fault::FAR_END) {
      firstFarEnd = farEnds == 0 ? fault : firstFarEnd;
      ++farEnds;
      return;
    }
    ++count;
    if (shown.size() < most) {
      shown.push_back(fault);
    }
  }
};

// What was found in the files beside the trace.
nlohmann::json CompanionAsJson(const CompanionCheck& companion, const Findings& findings) {
  nlohmann::json json = {{"about", companion.HasAbout()},
                         {"notes", companion.HasNotes()},
                         {"notedRecords", companion.NotedRecords()},
                         {"samples", companion.Samples()},
                         {"faults", findings.count},
                         {"shown", nlohmann::json::array()}};
  for (const Fault& fault : findings.shown) {
    json["shown"].push_back(AsJson(fault));
    json["shown"].back()["file"] = fault.file;
  }
  return json;
}

std::string FindingsAsJson(const CheckFlags& flags, const Summary& summary,
                           const Findings& findings, const CompanionCheck& companion,
                           const Findings& beside) {
  nlohmann::json json = {{"trace", flags.trace},
                         {"records", summary.records},
                         {"faults", findings.count},
                         {"farEnds", findings.farEnds},
                         {"shown", nlohmann::json::array()}};
  if (findings.farEnds > 0) {
    json["firstFarEnd"] = AsJson(findings.firstFarEnd);
  }
  for (const Fault& fault : findings.shown) {
    json["shown"].push_back(AsJson(fault));
  }
  if (companion.HasAbout() || companion.HasNotes()) {
    json["companion"] = CompanionAsJson(companion, beside);
  }
  return JsonText(json);
}

// "1 record", "2 records".
std::string Counted(uint64_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}
std::string Records(uint64_t count) { return Counted(count, "record", "records"); }

void PrintCompanion(const CompanionCheck& companion, const Findings& findings, std::ostream& out) {
  for (const Fault& fault : findings.shown) {
    out << LineFor(out, fault.Text()) << "\n";
  }
  if (findings.count == 0 && companion.HasAbout()) {
    out << LineFor(out, companion.AboutName()) << ": nothing wrong\n";
  }
  if (findings.count == 0 && companion.HasNotes()) {
    out << LineFor(out, companion.NotesName()) << ": notes of " << Records(companion.NotedRecords())
        << ", " << Counted(companion.Samples(), "sample", "samples") << ", nothing wrong\n";
  }
}

// The end of a check that found something.
Failure FailureOf(const CheckFlags& flags, const Summary& summary, const Findings& findings,
                  const Findings& beside) {
  const auto faults = [](uint64_t count) { return Counted(count, "fault", "faults"); };
  std::string reason = flags.trace + ": ";
  if (findings.count > 0) {
    reason += faults(findings.count) + " in or behind " + Records(summary.records) +
              (beside.count > 0 ? ", " : "");
  }
  if (beside.count > 0) {
    reason += faults(beside.count) + " in its companion";
  }
  const bool all = findings.count == findings.shown.size() && beside.count == beside.shown.size();
  return {EXIT_INPUT, reason, all ? "" : "Show more of them with --most."};
}

void Print(const CheckFlags& flags, const Summary& summary, const Findings& findings,
           std::ostream& out) {
  for (const Fault& fault : findings.shown) {
    out << LineFor(out, fault.Text()) << "\n";
  }
  if (findings.count == 0) {
    out << LineFor(out, flags.trace) << ": " << Records(summary.records) << ", nothing wrong\n";
  }
  if (findings.farEnds > 0) {
    out << LineFor(out, flags.trace) << ": "
        << Counted(findings.farEnds, "end of a message", "ends of messages")
        << " outside the array, as " << (findings.farEnds == 1 ? "it" : "they")
        << " may be, the first: " << LineFor(out, findings.firstFarEnd.Text()) << "\n";
  }
}

MaybeFailure Check(const CheckFlags& flags, const Console& console) {
  if (MaybeFailure failure = flags.shape.Check()) {
    return failure;
  }
  Findings findings;
  findings.most = flags.most;
  ReadOptions options;
  if (flags.shape.Given()) {
    options.array = flags.shape.Shape();
  }
  options.onFinding = [&](const Fault& fault) { findings.Add(fault); };
  Findings beside;
  beside.most = flags.most;
  // What comes through standard input stands beside nothing.
  CompanionCheck companion(flags.trace == STANDARD_STREAM ? "/dev/stdin" : flags.trace,
                           [&](const Fault& fault) { beside.Add(fault); });
  const auto compare = [&](const Columns& columns) { companion.Add(columns); };
  Summary summary;
  if (MaybeFailure failure = Summarize(flags.trace, options, console, summary, compare)) {
    return failure;
  }
  companion.Finish();
  if (summary.end) {
    findings.Add(summary.end);
  }
  if (flags.json) {
    console.out << FindingsAsJson(flags, summary, findings, companion, beside);
  } else {
    Print(flags, summary, findings, console.out);
    PrintCompanion(companion, beside, console.out);
  }
  if (findings.count == 0 && beside.count == 0) {
    return std::nullopt;
  }
  return FailureOf(flags, summary, findings, beside);
}

Action ConfigureCheck(CLI::App& app) {
  const auto flags = std::make_shared<CheckFlags>();
  app.add_option("TRACE", flags->trace, "The trace; - is standard input")->required();
  flags->shape.Declare(app);
  AddCount(app, "--most", flags->most, "Show at most this many faults")->capture_default_str();
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return Check(*flags, console); };
}

}  // namespace

extern const Subcommand checkSubcommand = {"check", "Name every fault of a trace", checkFooter,
                                           ConfigureCheck};

}  // namespace marrowfin
