#include "tools/program/CompanionInput.h"

#include "tools/program/Output.h"
#include "tools/program/Report.h"
#include "trace/read/EarlyEnd.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {

namespace {

constexpr char NO_ABOUT[] = "what it tells of the run is left out";

void ReportUnless(const Fault& fault, const std::string& consequence, const Console& console) {
  if (fault) {
    Failure failure = FailureOf(fault);
    failure.reason += "; " + consequence;
    Report(failure, console);
  }
}

// A text that anyone may edit tells as many elements as it likes.
bool IsOfSize(const ArrayShape& shape) {
  constexpr size_t MOST = size_t{ArrayShape::LONGEST_SIDE} * ArrayShape::LONGEST_SIDE;
  return shape.Elements() <= MOST;
}

const ArrayShape* ToldShape(const Companion& companion, const Summary& summary) {
  const About* const about = companion.GetAbout();
  const bool holds = about != nullptr && about->array && IsOfSize(about->array->shape) &&
                     HoldsTrace(about->array->shape, summary);
  return holds ? &about->array->shape : nullptr;
}

// What comes through standard input stands beside nothing.
Companion CompanionOf(const TraceSource& trace) {
  return trace.Name() == STANDARD_STREAM ? Companion::Of(trace, nullptr, nullptr)
                                         : Companion::Beside(trace);
}

}  // namespace

Companion OpenCompanion(const TraceSource& trace, uint64_t records, const Console& console) {
  Companion companion = CompanionOf(trace);
  ReportUnless(companion.WhyNoAbout(), NO_ABOUT, console);
  ReportUnless(companion.WhyNoNotes(), "its notes are left out", console);
  if (const NotesFile* const notes = companion.Notes()) {
    ReportUnless(EarlyEndOf(*notes, records),
                 "records from " + std::to_string(notes->Records()) + " on have no notes", console);
  }
  return companion;
}

void ReportRefused(const Fault& refused, const Console& console) {
  ReportUnless(refused,
               refused.kind == Fault::OTHER_TRACE ? "its notes are left out"
                                                  : "the notes of this block are left out",
               console);
}

Companion OpenAbout(const TraceSource& trace, const Console& console) {
  Companion companion = CompanionOf(trace);
  ReportUnless(companion.WhyNoAbout(), NO_ABOUT, console);
  return companion;
}

std::optional<ArrayShape> KnownShape(const ShapeQuestion& question) {
  if (question.flags.Given()) {
    return question.flags.Shape();
  }
  const ArrayShape* const told = ToldShape(question.companion, question.summary);
  return told != nullptr ? *told : SuggestShape(question.summary);
}

std::optional<ArrayShape> ViewedShape(const ShapeQuestion& question) {
  if (question.flags.Given()) {
    return question.flags.Shape();
  }
  const std::optional<ArrayShape> told = ToldView(question.companion, question.summary);
  return told ? told : SuggestShape(question.summary);
}

std::optional<ArrayShape> ToldView(const Companion& companion, const Summary& summary) {
  const ArrayShape* const told = ToldShape(companion, summary);
  return told != nullptr ? SquareOf(*told) : std::nullopt;
}

Failure NoShape(const std::string& trace) {
  return {EXIT_INPUT, trace + ": no array shows all locations of this trace",
          "Give the counts of the array with -c, -d and -p."};
}

}  // namespace marrowfin
