#include <memory>
#include <string>

#include "tools/program/CutInput.h"
#include "tools/program/Flags.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char tailFooter[] =
    "Examples:\n"
    "  marrowfin-trace tail run.trace -o end.trace\n"
    "  marrowfin-trace tail run.trace --threads 3 -n 100 -o end3.trace\n"
    "  marrowfin-trace tail run.trace --last-cycles 100 --threads 3 -o end3.trace --force\n"
    "\n"
    "The last records of a trace, or the last that meet all conditions, or those of its last\n"
    "cycles, with the companion.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off, 2 command line refused,\n"
    "3 the output cannot be written or nowhere is room for the index.";

struct TailFlags {
  CutFlags cut;
  std::optional<uint64_t> number;
  std::optional<uint64_t> cycles;
};

constexpr uint64_t USUAL_NUMBER = 1000;

MaybeFailure CheckTailFlags(const TailFlags& flags) {
  if (flags.number && flags.cycles) {
    return Failure{EXIT_USAGE, "-n tells the last records and --last-cycles the last cycles",
                   "Give one of them."};
  }
  if (flags.cycles && *flags.cycles == 0) {
    return Failure{EXIT_USAGE, "--last-cycles asks for no cycle", "Give at least 1."};
  }
  if (flags.cycles && flags.cut.filter.inverted) {
    return Failure{EXIT_USAGE, "--not would leave the last cycles out", "Give --cycles, or -n."};
  }
  if (MaybeFailure failure = flags.cut.Check()) {
    return failure;
  }
  return CheckEditOutput(flags.cut.edit, flags.cut.edit.output, {flags.cut.trace});
}

// The part that is asked for, of a trace that is open.
CutQuestion QuestionOf(const TailFlags& flags, const CutSource& source) {
  CutQuestion question;
  question.filter = source.filter;
  question.leadIn = flags.cut.leadIn;
  if (!flags.cycles) {
    question.last = true;
    question.mostRecords = flags.number.value_or(USUAL_NUMBER);
    return question;
  }
  const uint64_t last = source.edited.GetSummary().maxCycle;
  const uint64_t first = last - std::min(last, *flags.cycles - 1);
  question.filter.events.firstCycle = std::max(question.filter.events.firstCycle, first);
  return question;
}

MaybeFailure Tail(const TailFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckTailFlags(flags)) {
    return failure;
  }
  CutSource source;
  if (MaybeFailure failure = OpenCut(flags.cut, console, source)) {
    return failure;
  }
  const CutQuestion question = QuestionOf(flags, source);
  CutAccount cut;
  EditAccount account;
  if (MaybeFailure failure =
          CutPart(flags.cut, question, flags.cut.edit.output, console, source, cut, account)) {
    return failure;
  }
  TellEdited({account}, flags.cut.edit.json, console);
  return CheckCutWhole(source, question.filter.events);
}

Action ConfigureTail(CLI::App& app) {
  const auto flags = std::make_shared<TailFlags>();
  flags->cut.Declare(app);
  AddCount(app, "-n,--number", flags->number,
           "How many records; " + std::to_string(USUAL_NUMBER) + " unless cycles are asked for");
  AddCount(app, "--last-cycles", flags->cycles, "Those of the last so many cycles of the trace");
  flags->cut.edit.Declare(app);
  return [flags](const Console& console) { return Tail(*flags, console); };
}

}  // namespace

extern const Subcommand tailSubcommand = {"tail", "Copy the last records of a trace", tailFooter,
                                          ConfigureTail};

}  // namespace marrowfin
