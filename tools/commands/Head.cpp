#include <algorithm>
#include <memory>
#include <string>

#include "tools/program/CutInput.h"
#include "tools/program/Flags.h"
#include "tools/program/Subcommands.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Record.h"

namespace marrowfin {
namespace {

constexpr char headFooter[] =
    "Examples:\n"
    "  marrowfin-trace head run.trace -o start.trace\n"
    "  marrowfin-trace head run.trace.zst -n 500 -o first500.trace\n"
    "  marrowfin-trace head run.trace --threads 3 -n 100 -o thread3.trace\n"
    "\n"
    "The first records of a trace, or the first that meet all conditions, with the companion.\n"
    "Without conditions no more is read than is copied, of pipes and packed files too.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

struct HeadFlags {
  CutFlags cut;
  uint64_t number = 1000;

  bool HasConditions() const {
    const NoteFlags& notes = cut.notes;
    return !cut.filter.AskForAll() || notes.kind || notes.packet || !notes.where.empty();
  }
};

// Without conditions the first bytes suffice: as many as that many records may have, with those of
// a whole block of notes behind them, so that it can be compared.
MaybeFailure OpenHead(const HeadFlags& flags, const Console& console, CutSource& source) {
  constexpr uint64_t MOST = (~uint64_t{0} / LARGE_RECORD) - NOTES_MOST_RECORDS;
  if (flags.HasConditions() || flags.number >= MOST) {
    return OpenCut(flags.cut, console, source);
  }
  const uint64_t bytes = (flags.number + NOTES_MOST_RECORDS) * LARGE_RECORD;
  if (MaybeFailure failure =
          OpenFrontIndexed(flags.cut.trace, bytes, console, source.edited.trace)) {
    return failure;
  }
  return DescribeCut(flags.cut, console, source);
}

MaybeFailure CheckHeadFlags(const HeadFlags& flags) {
  if (MaybeFailure failure = flags.cut.Check()) {
    return failure;
  }
  return CheckEditOutput(flags.cut.edit, flags.cut.edit.output, {flags.cut.trace});
}

MaybeFailure Head(const HeadFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckHeadFlags(flags)) {
    return failure;
  }
  CutSource source;
  if (MaybeFailure failure = OpenHead(flags, console, source)) {
    return failure;
  }
  CutQuestion question;
  question.filter = source.filter;
  question.leadIn = flags.cut.leadIn;
  question.mostRecords = flags.number;
  CutAccount cut;
  EditAccount account;
  if (MaybeFailure failure =
          CutPart(flags.cut, question, flags.cut.edit.output, console, source, cut, account)) {
    return failure;
  }
  TellEdited({account}, flags.cut.edit.json, console);
  const bool isSated = cut.records == flags.number;
  return isSated ? std::nullopt : CheckCutWhole(source, question.filter.events);
}

Action ConfigureHead(CLI::App& app) {
  const auto flags = std::make_shared<HeadFlags>();
  flags->cut.Declare(app);
  AddCount(app, "-n,--number", flags->number, "How many records")->capture_default_str();
  flags->cut.edit.Declare(app);
  return [flags](const Console& console) { return Head(*flags, console); };
}

}  // namespace

extern const Subcommand headSubcommand = {"head", "Copy the first records of a trace", headFooter,
                                          ConfigureHead};

}  // namespace marrowfin
