#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "tools/program/Flags.h"
#include "tools/program/Json.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TraceInput.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
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

std::string FindingsAsJson(const CheckFlags& flags, const Summary& summary,
                           const Findings& findings) {
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
  return JsonText(json);
}

void Print(const CheckFlags& flags, const Summary& summary, const Findings& findings,
           std::ostream& out) {
  for (const Fault& fault : findings.shown) {
    out << fault.Text() << "\n";
  }
  if (findings.count == 0) {
    out << flags.trace << ": " << summary.records << " records, nothing wrong\n";
  }
  if (findings.farEnds > 0) {
    out << flags.trace << ": " << findings.farEnds
        << " ends of messages outside the array, as they may be, the first: "
        << findings.firstFarEnd.Text() << "\n";
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
  Summary summary;
  if (MaybeFailure failure = Summarize(flags.trace, options, console, summary)) {
    return failure;
  }
  if (summary.end) {
    findings.Add(summary.end);
  }
  if (flags.json) {
    console.out << FindingsAsJson(flags, summary, findings);
  } else {
    Print(flags, summary, findings, console.out);
  }
  if (findings.count == 0) {
    return std::nullopt;
  }
  return Failure{EXIT_INPUT,
                 flags.trace + ": " + std::to_string(findings.count) +
                     (findings.count == 1 ? " fault" : " faults") + " in or behind " +
                     std::to_string(summary.records) + " records",
                 findings.count > findings.shown.size() ? "Show more of them with --most." : ""};
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<CheckFlags>();
  app.add_option("TRACE", flags->trace, "The trace")->required();
  flags->shape.Declare(app);
  AddCount(app, "--most", flags->most, "Show at most this many faults")->capture_default_str();
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return Check(*flags, console); };
}

}  // namespace

extern const Subcommand checkSubcommand = {"check", "Name every fault of a trace", footer,
                                           Configure};

}  // namespace marrowfin
