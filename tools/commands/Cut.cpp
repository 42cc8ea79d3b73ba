#include <memory>
#include <string>

#include "tools/program/CutInput.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char cutFooter[] =
    "Examples:\n"
    "  marrowfin-trace cut run.trace --cycles 100..900 -o part.trace\n"
    "  marrowfin-trace cut run.trace --cycles 100..900 --threads 1 --lead-in -o thread1.trace\n"
    "  marrowfin-trace cut run.trace --not --types switch --rect 0,0,7,7 -o corner.trace\n"
    "  marrowfin-trace cut noted.trace --packet 7 -o packet.trace\n"
    "\n"
    "Copies the records that meet all conditions into a new trace, with the companion: what tells\n"
    "of the run, notes with their numbers of records brought in line, samples of counters. Only\n"
    "what is asked for is read: the index passes over the rest. Tells the command that shows the\n"
    "part at the places where the whole shows it.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

MaybeFailure CheckCutFlags(const CutFlags& flags) {
  if (MaybeFailure failure = flags.Check()) {
    return failure;
  }
  return CheckEditOutput(flags.edit, flags.edit.output, {flags.trace});
}

MaybeFailure Cut(const CutFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckCutFlags(flags)) {
    return failure;
  }
  CutSource source;
  if (MaybeFailure failure = OpenCut(flags, console, source)) {
    return failure;
  }
  CutQuestion question;
  question.filter = source.filter;
  question.leadIn = flags.leadIn;
  CutAccount cut;
  EditAccount account;
  if (MaybeFailure failure =
          CutPart(flags, question, flags.edit.output, console, source, cut, account)) {
    return failure;
  }
  TellEdited({account}, flags.edit.json, console);
  return CheckCutWhole(source, question.filter.events);
}

Action ConfigureCut(CLI::App& app) {
  const auto flags = std::make_shared<CutFlags>();
  flags->Declare(app);
  flags->edit.Declare(app);
  return [flags](const Console& console) { return Cut(*flags, console); };
}

}  // namespace

extern const Subcommand cutSubcommand = {"cut", "Copy a part of a trace into a new one", cutFooter,
                                         ConfigureCut};

}  // namespace marrowfin
