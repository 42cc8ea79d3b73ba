#include "tools/program/CompanionInput.h"

#include "tools/program/Report.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {

namespace {

void ReportUnless(const Fault& fault, const std::string& consequence, const Console& console) {
  if (fault) {
    Failure failure = FailureOf(fault);
    failure.reason += "; " + consequence;
    Report(failure, console);
  }
}

}  // namespace

Companion OpenCompanion(const TraceSource& trace, const Console& console) {
  Companion companion = Companion::Beside(trace);
  ReportUnless(companion.WhyNoAbout(), "what it tells of the run is left out", console);
  ReportUnless(companion.WhyNoNotes(), "its notes are left out", console);
  if (companion.Notes() != nullptr) {
    ReportUnless(
        companion.Notes()->End(),
        "records from " + std::to_string(companion.Notes()->Records()) + " on have no notes",
        console);
  }
  return companion;
}

void ReportRefused(const Fault& refused, const Console& console) {
  ReportUnless(refused,
               refused.kind == Fault::OTHER_TRACE ? "its notes are left out"
                                                  : "the notes of this block are left out",
               console);
}

std::optional<ArrayShape> KnownShape(const ShapeFlags& flags, const Companion& companion,
                                     const Summary& summary) {
  if (flags.Given()) {
    return flags.Shape();
  }
  const About* const about = companion.GetAbout();
  return about != nullptr && about->array ? about->array->shape : SuggestShape(summary);
}

}  // namespace marrowfin
