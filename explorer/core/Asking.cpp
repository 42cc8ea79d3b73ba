#include "explorer/core/Asking.h"

#include <utility>

#include "trace/ask/Walk.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

// A state is a byte for each element: nobody has drawn more of them.
bool IsOfSize(PerAxis clusters, PerAxis domains, PerAxis pes) {
  const auto fits = [](uint64_t a, uint64_t b, uint64_t c) {
    constexpr uint64_t MOST = ArrayShape::LONGEST_SIDE;
    return a > 0 && b > 0 && c > 0 && a <= MOST && b <= MOST && c <= MOST && a * b * c <= MOST;
  };
  return fits(clusters.columns, domains.columns, pes.columns) &&
         fits(clusters.rows, domains.rows, pes.rows);
}

PerAxis TakePerAxis(Members& members, const char* name) {
  const Place counts = members.PlaceIfAny(name).value_or(Place{0, 0});
  return {counts.column, counts.row};
}

ArrayShape ParseShape(Members shape) {
  const PerAxis clusters = TakePerAxis(shape, "clusters");
  const PerAxis domains = TakePerAxis(shape, "domains");
  const PerAxis pes = TakePerAxis(shape, "pes");
  shape.RefuseOthers();
  if (!IsOfSize(clusters, domains, pes)) {
    shape.Refuse("`shape` is no array of 1 to 4096 columns and rows",
                 "give clusters, domains and pes as [columns, rows]");
    return {};
  }
  return {clusters, domains, pes};
}

}  // namespace

std::optional<KnownShape> ShapeOf(const TraceView& view, const std::optional<ArrayShape>& option) {
  if (option) {
    return KnownShape{*option, "option"};
  }
  const About* const about = view.Beside().GetAbout();
  if (about != nullptr && about->array) {
    const ArrayShape& told = about->array->shape;
    if (IsOfSize(told.clusters, told.domains, told.pes) && HoldsTrace(told, view.GetSummary())) {
      return KnownShape{told, "about"};
    }
  }
  const std::optional<ArrayShape> fitting = SuggestShape(view.GetSummary());
  return fitting ? std::optional(KnownShape{*fitting, "extent"}) : std::nullopt;
}

ArrayShape TakeShape(Asking& asking) {
  Members shape = asking.members.Within("shape");
  if (shape) {
    return ParseShape(std::move(shape));
  }
  const std::optional<KnownShape> known = ShapeOf(asking.view, asking.option);
  if (!known) {
    asking.members.Refuse("no array shows all locations of this trace", "give a `shape`");
  }
  return known ? known->shape : ArrayShape();
}

AskedMoment TakeMoment(Members& members) {
  AskedMoment asked;
  Moment& moment = asked.moment;
  const std::string reading = members.Text("reading");
  if (reading != "viewer" && reading != "natural") {
    members.Refuse("`reading` is neither \"viewer\" nor \"natural\"");
  }
  moment.natural = reading == "natural";
  if (moment.natural && members.Has("naturalStep")) {
    asked.naturalStep = members.Number("naturalStep");
  } else if (moment.natural) {
    moment.cycle = members.Wide("cycle");
  } else {
    moment.step = members.Number("step");
    moment.skipTo = members.Wide("skipTo", 0);
  }
  return asked;
}

// Before the first cycle with events nothing has happened: that is step 0, unless it is cycle 0.
Result<Moment> FindMoment(const Asking& asking, const AskedMoment& asked) {
  Moment moment = asked.moment;
  const Summary& summary = asking.GetSummary();
  if (!asked.naturalStep || summary.records == 0) {
    return moment;
  }
  const uint64_t step = *asked.naturalStep;
  if (step == 0) {
    moment.cycle = summary.firstCycle > 0 ? summary.firstCycle - 1 : 0;
    return moment;
  }
  if (!summary.Ordered() || step > summary.changes + 1) {
    Fault fault;
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = asking.Trace().Name();
    fault.reason = summary.Ordered() ? "there is no such step of the natural reading"
                                     : "cycles of this trace fall, so steps have no order";
    fault.remedy = summary.Ordered() ? "the last one is " + std::to_string(summary.changes + 1)
                                     : "ask for a cycle";
    return fault;
  }
  const Result<uint64_t> record = FindChange(asking.Trace(), asking.index, step - 1);
  const Result<IndexEntry> entry =
      record ? Locate(asking.Trace(), asking.index, *record) : record.Why();
  if (!entry) {
    return entry.Why();
  }
  moment.cycle = entry->cycle;
  return moment;
}

AskedCycles TakeCycles(Members& members) {
  const AskedCycles cycles = {members.Wide("first"), members.Wide("last")};
  if (cycles.first > cycles.last) {
    members.Refuse("`first` is behind `last`");
  }
  return cycles;
}

size_t TakeBins(Members& members) {
  constexpr uint64_t MOST = 8192;
  const uint64_t bins = members.NumberUpTo("bins", MOST);
  if (bins == 0) {
    members.Refuse("`bins` is 0");
  }
  return static_cast<size_t>(bins);
}

Result<std::unique_ptr<StateCursors::Placed>> TakeCursor(const Asking& asking,
                                                         const AskedMoment& asked,
                                                         const ArrayShape& shape) {
  const Result<Moment> moment = FindMoment(asking, asked);
  if (!moment) {
    return moment.Why();
  }
  return asking.view.Cursors().Take(*moment, shape, asking.progress);
}

AskedNotes BorrowNotes(const Asking& asking) {
  if (MaybeRefusal refusal = RefuseWithoutNotes(asking)) {
    return {{}, std::move(refusal)};
  }
  Result<LentNotes::Lease> lease = asking.view.Notes(asking.progress);
  if (!lease) {
    return {{}, RefusalOf(lease.Why())};
  }
  return {std::move(lease).Take(), {}};
}

// Notes come while it is asked: whether they are coming is looked at before whether they are there.
MaybeRefusal RefuseWithoutNotes(const Asking& asking) {
  const std::string& file = asking.Trace().Name();
  const bool coming = asking.view.NotesAreComing();
  if (asking.view.IndexOfNotes() != nullptr) {
    return std::nullopt;
  }
  if (coming) {
    return Refusal{Refusal::NOT_INDEXED_YET,
                   "the notes beside the trace are still being read",
                   file,
                   {},
                   "ask again in a moment"};
  }
  if (const Fault fault = asking.view.WhyNoNotes()) {
    return RefusalOf(fault);
  }
  return Refusal{Refusal::NOT_THERE,
                 "no notes stand beside the trace",
                 file,
                 {},
                 "record it with a companion"};
}

}  // namespace marrowfin
