#include "tools/program/CutInput.h"

#include <utility>

#include "tools/program/CompanionInput.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "trace/ask/FilterRange.h"

namespace marrowfin {
namespace {

// What a part is cut by.
struct Cutting {
  const CutFlags& flags;
  const CutQuestion& question;
  const std::string& output;
  const Console& console;
  CutSource& source;
};

// Joins the notes anew, whose index passes over what conditions on notes leave out.
Fault JoinAgain(const Cutting& cutting, const ProgressCallback& progress) {
  EditedTrace& edited = cutting.source.edited;
  const NotesFile* const file = edited.companion->Notes();
  if (file == nullptr) {
    return {};
  }
  const bool asked = !cutting.question.filter.notes.empty();
  Result<std::unique_ptr<JoinedNotes>> joined =
      JoinNotes(edited.trace, *file, asked ? NotesIndexUse::OPEN : NotesIndexUse::NONE, progress);
  if (!joined) {
    return joined.Why();
  }
  edited.notes = std::move(joined).Take();
  return {};
}

bool TakesCompanion(const CutFlags& flags, const Companion& companion) {
  return !flags.edit.noCompanion &&
         (companion.GetAbout() != nullptr || companion.Notes() != nullptr);
}

// Cuts into an output that is begun anew: an index that turns out damaged has all of it done again.
Fault Cut(const Cutting& cutting, EditOutput& output, CutAccount& cut) {
  const EditedTrace& edited = cutting.source.edited;
  const TraceSource& trace = *edited.trace.file;
  const Interruption interruption;
  ProgressLine line(cutting.console.terminal, "cutting " + trace.Name(), "M records", 1e6);
  const ProgressCallback progress = [&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  };
  if (Fault fault = JoinAgain(cutting, progress)) {
    return fault;
  }
  const Result<CutAccount> done = CutTrace(trace, *edited.trace.index, edited.Notes(),
                                           cutting.question, output.Made(), progress);
  cut = done ? *done : CutAccount();
  return done.Why();
}

void Describe(const Cutting& cutting, EditOutput& output, const CutAccount& cut,
              EditAccount& account) {
  account = output.Account({cutting.flags.trace});
  if (cut.records > 0) {
    account.firstCycle = cut.firstCycle;
    account.lastCycle = cut.lastCycle;
  }
  account.shape = cutting.source.shape;
}

}  // namespace

void CutFlags::Declare(CLI::App& app) {
  app.add_option("TRACE", trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  filter.Declare(app);
  notes.Declare(app);
  app.add_flag("--lead-in", leadIn,
               "A copy of the first record in front, which the viewer uses up without showing it");
  shape.Declare(app);
}

MaybeFailure CutFlags::Check() const {
  if (MaybeFailure failure = filter.Check()) {
    return failure;
  }
  return shape.Check();
}

MaybeFailure DescribeCut(const CutFlags& flags, const Console& console, CutSource& source) {
  EditedTrace& edited = source.edited;
  OpenItsCompanion(console, edited);
  const ShapeQuestion question = {flags.shape, *edited.companion, edited.GetSummary()};
  source.shape = ViewedShape(question);
  if (MaybeFailure failure =
          flags.filter.FilterFor(flags.trace, KnownShape(question), source.filter.events)) {
    return failure;
  }
  return flags.notes.ConditionsFor(*edited.trace.file, *edited.companion, source.filter.notes);
}

MaybeFailure OpenCut(const CutFlags& flags, const Console& console, CutSource& source) {
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, source.edited.trace)) {
    return failure;
  }
  return DescribeCut(flags, console, source);
}

MaybeFailure CutPart(const CutFlags& flags, const CutQuestion& question, const std::string& name,
                     const Console& console, CutSource& source, CutAccount& cut,
                     EditAccount& account) {
  const Cutting cutting = {flags, question, name, console, source};
  std::optional<EditOutput> output;
  MaybeFailure unwritten;
  const Fault fault = AskIndexed(console, source.edited.trace, [&]() -> Fault {
    unwritten = output.emplace().Open(name, TakesCompanion(flags, *source.edited.companion),
                                      flags.edit.pack);
    if (unwritten) {
      return {};
    }
    const Fault met = Cut(cutting, *output, cut);
    unwritten = output->Made().GetFault() ? MaybeFailure(OutputFailureOf(output->Made().GetFault()))
                                          : std::nullopt;
    return unwritten ? Fault() : met;
  });
  if (unwritten) {
    return unwritten;
  }
  if (fault) {
    return IndexingFailureOf(fault, flags.trace);
  }
  if (source.edited.Notes() != nullptr) {
    ReportRefused(source.edited.Notes()->Refused(), console);
  }
  ReportRefused(cut.leftOut, console);
  Describe(cutting, *output, cut, account);
  return output->Commit(source.edited.companion->GetAbout());
}

MaybeFailure CheckCutWhole(const CutSource& source, const EventFilter& filter) {
  const IndexedTrace& trace = source.edited.trace;
  const Fault& end = trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  const Result<bool> reaches = ReachesBehindEnd(*trace.file, *trace.index, filter);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), trace.file->Name());
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

}  // namespace marrowfin
