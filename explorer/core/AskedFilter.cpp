#include "explorer/core/AskedFilter.h"

#include <algorithm>
#include <utility>

#include "explorer/core/EventCounters.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NotedCounter.h"
#include "trace/ask/NotedCursor.h"
#include "trace/read/OutsideArray.h"

namespace marrowfin {
namespace {

void TakeRanges(Members& members, EventFilter& filter) {
  if (members.Has("records")) {
    const std::vector<uint64_t> range = members.Numbers("records", 2);
    filter.firstRecord = range.empty() ? 0 : range[0];
    filter.lastRecord = range.empty() ? 0 : range[1];
  }
  if (members.Has("cycles")) {
    const std::vector<uint64_t> range = members.Wides("cycles", 2);
    filter.firstCycle = range.empty() ? 0 : range[0];
    filter.lastCycle = range.empty() ? 0 : range[1];
  }
  if (members.Has("steps")) {
    const std::vector<uint64_t> range = members.Numbers("steps", 2);
    filter.firstStep = range.empty() ? 0 : range[0];
    filter.lastStep = range.empty() ? 0 : range[1];
  }
  filter.skipTo = members.Wide("skipTo", 0);
}

void TakeTypes(Members& members, EventFilter& filter) {
  if (!members.Has("types")) {
    return;
  }
  filter.fires = filter.sends = filter.switches = false;
  for (const std::string& type : members.Texts("types")) {
    bool* const wanted = type == "fire"     ? &filter.fires
                         : type == "send"   ? &filter.sends
                         : type == "switch" ? &filter.switches
                                            : nullptr;
    if (wanted == nullptr) {
      members.Refuse("`filter.types` has others than \"fire\", \"send\" and \"switch\"");
    } else {
      *wanted = true;
    }
  }
}

// [[0,0],[2,5]]: thread 0, and those from 2 to 5.
void TakeThreads(Members& members, EventFilter& filter) {
  constexpr size_t MOST_RANGES = 256;
  if (members.Has("thread")) {
    filter.thread = static_cast<uint32_t>(members.NumberUpTo("thread", ~0U));
  }
  if (!members.Has("threads")) {
    return;
  }
  const std::vector<Members::NumberPair> ranges = members.Pairs("threads", MOST_RANGES);
  for (const auto& [first, last] : ranges) {
    if (first > last || last > ~0U) {
      members.Refuse("`filter.threads` has what is no range of threads: [first, last]");
      return;
    }
    filter.threads.push_back({static_cast<uint32_t>(first), static_cast<uint32_t>(last)});
  }
  if (ranges.empty()) {
    members.Refuse("`filter.threads` has no range of threads", "leave it out for all threads");
  }
}

std::optional<Region> TakeRect(Members& members) {
  const std::vector<uint64_t> corners = members.Numbers("rect", 4);
  const bool fits = corners.size() == 4 && std::all_of(corners.begin(), corners.end(),
                                                       [](uint64_t at) { return at <= ~0U; });
  if (!fits) {
    members.Refuse("`filter.rect` is no rectangle: [column, row, column, row]");
    return std::nullopt;
  }
  return Region{{static_cast<uint32_t>(corners[0]), static_cast<uint32_t>(corners[1])},
                {static_cast<uint32_t>(corners[2]), static_cast<uint32_t>(corners[3])}};
}

// A domain or cluster, which the array must have.
std::optional<Region> TakeUnit(Members& members, const char* name, PerAxis units,
                               const std::function<Region(Place)>& region) {
  const std::optional<Place> at = members.PlaceIfAny(name);
  if (at && (at->column >= units.columns || at->row >= units.rows)) {
    members.Refuse("the array has no " + std::string(name) + " at " + PlaceText(*at));
    return std::nullopt;
  }
  return at ? std::optional(region(*at)) : std::nullopt;
}

PerAxis DomainsOf(const ArrayShape& shape) {
  return {shape.clusters.columns * shape.domains.columns, shape.clusters.rows * shape.domains.rows};
}

void TakeRegion(Members& members, const ArrayShape& shape, EventFilter& filter) {
  std::vector<Region> regions;
  const auto add = [&](const std::optional<Region>& region) {
    if (region) {
      regions.push_back(*region);
    }
  };
  const std::optional<Place> place = members.PlaceIfAny("place");
  add(place ? std::optional(Region::Element(*place)) : std::nullopt);
  add(members.Has("rect") ? TakeRect(members) : std::nullopt);
  add(TakeUnit(members, "domain", DomainsOf(shape),
               [&](Place at) { return Region::Domain(shape, at.column, at.row); }));
  add(TakeUnit(members, "cluster", shape.clusters,
               [&](Place at) { return Region::Cluster(shape, at.column, at.row); }));
  if (regions.size() > 1) {
    members.Refuse("`filter` has several of place, rect, domain and cluster");
  }
  if (!regions.empty()) {
    filter.region = regions[0];
  }
}

// What a filter says of the trace itself, and not of notes and ends of messages.
void TakeConditions(Members& members, const ArrayShape& shape, EventFilter& filter) {
  TakeRanges(members, filter);
  TakeTypes(members, filter);
  TakeThreads(members, filter);
  TakeRegion(members, shape, filter);
}

// Filters of events that are left out.
void TakeWithout(Members& members, const ArrayShape& shape, EventFilter& filter) {
  constexpr size_t MOST = 16;
  std::vector<Members> others = members.Each("without");
  if (others.size() > MOST) {
    members.Refuse("`filter.without` has more than " + std::to_string(MOST) + " filters");
    return;
  }
  for (Members& other : others) {
    TakeConditions(other, shape, filter.without.emplace_back());
    other.RefuseOthers();
  }
}

std::optional<Region> TakeEnd(Members& members, const char* name) {
  const std::optional<Place> at = members.PlaceIfAny(name);
  return at ? std::optional(Region::Element(*at)) : std::nullopt;
}

// {"attribute":"packet","value":"17"}, or {"where":"size>=64"}.
std::vector<std::string> TakeNotes(Members& members) {
  std::vector<std::string> conditions;
  for (Members& note : members.Each("notes")) {
    if (note.Has("where")) {
      conditions.push_back(note.Text("where"));
    } else {
      conditions.push_back(note.Text("attribute") + "=" + note.Text("value"));
    }
    note.RefuseOthers();
  }
  return conditions;
}

// Whether a link leads from a node that way, and where it leads.
std::optional<Place> NextNode(Place node, Heading heading, PerAxis nodes, bool wrapColumns,
                              bool wrapRows) {
  const Mesh mesh = {nodes, wrapColumns, wrapRows, false};
  if (!mesh.Has(node) || !mesh.HasLink(node, heading)) {
    return std::nullopt;
  }
  const uint32_t columns = nodes.columns;
  const uint32_t rows = nodes.rows;
  switch (heading) {
    case Heading::RIGHT:
      return Place{(node.column + 1) % columns, node.row};
    case Heading::LEFT:
      return Place{(node.column + columns - 1) % columns, node.row};
    case Heading::UP:
      return Place{node.column, (node.row + 1) % rows};
    default:
      return Place{node.column, (node.row + rows - 1) % rows};
  }
}

std::optional<Heading> HeadingOf(const std::string& name) {
  for (size_t i = 0; i < HEADINGS; ++i) {
    if (name == HeadingName(static_cast<Heading>(i))) {
      return static_cast<Heading>(i);
    }
  }
  return std::nullopt;
}

// Conditions on notes as the notes that are there know them.
struct KnownConditions {
  NotedFilter filter;
  MaybeRefusal refusal;
};

KnownConditions ConditionsOf(const AskedFilter& filter, const AskedNotes& notes) {
  KnownConditions conditions = {{filter.events, {}}, notes.refusal};
  if (conditions.refusal) {
    return conditions;
  }
  const NotesOfTrace& known = notes.lease->notes;
  for (const std::string& text : filter.notes) {
    const Result<NoteCondition> condition =
        ParseNoteCondition(text, known.Declarations(), known.File().Name());
    if (!condition) {
      conditions.refusal = BadQuestion(condition.Why().reason, condition.Why().remedy);
      return conditions;
    }
    conditions.filter.notes.push_back(*condition);
  }
  return conditions;
}

// Of one batch, there or back.
bool TakeBatch(const AskedFilter& filter, const Selection& found, bool back,
               const TakeEvent& take) {
  for (size_t n = 0; n < found.Size(); ++n) {
    const size_t i = back ? found.Size() - 1 - n : n;
    if (filter.HasEnds() && !filter.HasEndsOf(found.Event(i))) {
      continue;
    }
    if (!take(found, i)) {
      return false;
    }
  }
  return true;
}

template <class Cursor>
Fault WalkBy(Cursor& cursor, const AskedFilter& filter, uint64_t from, bool back,
             const TakeEvent& take) {
  Selection found;
  cursor.Seek(from);
  while (back ? cursor.Previous(found) : cursor.Next(found)) {
    if (!TakeBatch(filter, found, back, take)) {
      return {};
    }
  }
  return cursor.GetFault();
}

template <class Counter>
CountAnswer CountBy(Counter& counter, const CountQuestion& question,
                    const ProgressCallback& progress) {
  CountAnswer answer;
  const Result<uint64_t> count = counter.Count(progress);
  if (!count) {
    answer.refusal = RefusalOf(count.Why());
    return answer;
  }
  answer.counts.count = *count;
  if (question.before) {
    const Result<uint64_t> before = counter.CountBefore(*question.before, progress);
    answer.refusal = before ? answer.refusal : RefusalOf(before.Why());
    answer.counts.before = before ? std::optional(*before) : std::nullopt;
  }
  if (question.nth && *question.nth < *count) {
    const Result<uint64_t> nth = counter.Find(*question.nth, progress);
    answer.refusal = nth ? answer.refusal : RefusalOf(nth.Why());
    answer.counts.nth = nth ? std::optional(*nth) : std::nullopt;
  }
  return answer;
}

// Where nothing knows the counts, all events are gone through.
CountAnswer CountByWalking(const Asking& asking, const AskedFilter& filter,
                           const CountQuestion& question) {
  CountAnswer answer;
  EventCounts& counts = answer.counts;
  counts.before = question.before ? std::optional<uint64_t>(0) : std::nullopt;
  answer.refusal = WalkEvents(asking, filter, 0, false, [&](const Selection& found, size_t i) {
    if (question.nth && counts.count == *question.nth) {
      counts.nth = found.Record(i);
    }
    if (question.before && found.Record(i) < *question.before) {
      ++*counts.before;
    }
    ++counts.count;
    return true;
  });
  return answer;
}

}  // namespace

AskedFilter TakeFilter(Asking& asking, const ArrayShape& shape) {
  AskedFilter filter;
  Members members = asking.members.Within("filter");
  if (!members) {
    return filter;
  }
  TakeConditions(members, shape, filter.events);
  TakeWithout(members, shape, filter.events);
  filter.from = TakeEnd(members, "from");
  filter.to = TakeEnd(members, "to");
  filter.notes = TakeNotes(members);
  members.RefuseOthers();
  if (filter.HasEnds()) {
    if (filter.events.region) {
      members.Refuse("`filter` has a place beside the ends of messages");
    }
    filter.events.fires = filter.events.switches = false;
    filter.events.region = filter.from ? filter.from : filter.to;
  }
  return filter;
}

AskedPiece TakePiece(Asking& asking, const ArrayShape& shape) {
  Members members = asking.members.Within("piece");
  AskedPiece piece;
  const auto take = [&](const char* name, AskedPiece::Kind kind, PerAxis units) {
    const std::optional<Place> at = members.PlaceIfAny(name);
    if (at) {
      piece.kind = kind;
      piece.at = *at;
    }
    if (at && (at->column >= units.columns || at->row >= units.rows)) {
      members.Refuse("the array has no such " + std::string(name));
    }
    return at ? 1 : 0;
  };
  int given = take("pe", AskedPiece::PE, {shape.Columns(), shape.Rows()});
  given += take("switch", AskedPiece::SWITCH, shape.clusters);
  given += take("domain", AskedPiece::DOMAIN, DomainsOf(shape));
  given += take("cluster", AskedPiece::CLUSTER, shape.clusters);
  if (members.Has("link")) {
    ++given;
    const std::optional<Members::LinkWords> words = members.Link("link");
    const std::optional<Heading> heading = words ? HeadingOf(words->heading) : std::nullopt;
    piece.kind = AskedPiece::LINK;
    piece.ofClusters = shape.Switches() > 1;
    piece.at = words ? words->at : Place();
    piece.heading = heading.value_or(Heading::RIGHT);
    const PerAxis nodes =
        piece.ofClusters ? shape.clusters : PerAxis{shape.Columns(), shape.Rows()};
    if (words && (!heading || !NextNode(piece.at, piece.heading, nodes, true, true))) {
      members.Refuse("the array has no such link");
    }
  }
  members.RefuseOthers();
  if (given != 1) {
    asking.members.Refuse("`piece` is none of {pe}, {switch}, {domain}, {cluster} and {link}");
  }
  return piece;
}

Region RegionOf(const AskedPiece& piece, const ArrayShape& shape) {
  switch (piece.kind) {
    case AskedPiece::SWITCH:
      return Region::Element(shape.SwitchOf(piece.at));
    case AskedPiece::DOMAIN:
      return Region::Domain(shape, piece.at.column, piece.at.row);
    case AskedPiece::CLUSTER:
      return Region::Cluster(shape, piece.at.column, piece.at.row);
    case AskedPiece::LINK:
      return piece.ofClusters ? Region::Cluster(shape, piece.at.column, piece.at.row)
                              : Region::Element(piece.at);
    default:
      return Region::Element(piece.at);
  }
}

void NarrowTo(const AskedPiece& piece, const ArrayShape& shape, AskedFilter& filter) {
  EventFilter& events = filter.events;
  events.region = RegionOf(piece, shape);
  if (piece.kind == AskedPiece::SWITCH) {
    events.fires = events.sends = false;
  } else if (piece.kind != AskedPiece::CLUSTER) {
    events.switches = false;
  }
  if (piece.kind != AskedPiece::LINK) {
    return;
  }
  events.fires = false;
  const PerAxis nodes = piece.ofClusters ? shape.clusters : PerAxis{shape.Columns(), shape.Rows()};
  AskedPiece next = piece;
  next.at = *NextNode(piece.at, piece.heading, nodes, true, true);
  filter.from = events.region;
  filter.to = RegionOf(next, shape);
}

Fault WalkPlain(const Asking& asking, const AskedFilter& filter, uint64_t from, bool back,
                const TakeEvent& take) {
  BatchCursor cursor(asking.Trace(), asking.index, filter.events, asking.progress);
  return WalkBy(cursor, filter, from, back, take);
}

MaybeRefusal WalkEvents(const Asking& asking, const AskedFilter& filter, uint64_t from, bool back,
                        const TakeEvent& take) {
  if (filter.notes.empty()) {
    return RefusalIf(WalkPlain(asking, filter, from, back, take));
  }
  const AskedNotes notes = BorrowNotes(asking);
  const KnownConditions conditions = ConditionsOf(filter, notes);
  if (conditions.refusal) {
    return conditions.refusal;
  }
  NotedCursor cursor(asking.Trace(), asking.index, notes.lease->notes, conditions.filter,
                     asking.progress);
  return RefusalIf(WalkBy(cursor, filter, from, back, take));
}

CountAnswer CountEvents(const Asking& asking, const AskedFilter& filter,
                        const CountQuestion& question) {
  if (filter.HasEnds()) {
    return CountByWalking(asking, filter, question);
  }
  if (!filter.notes.empty()) {
    const AskedNotes notes = BorrowNotes(asking);
    const KnownConditions conditions = ConditionsOf(filter, notes);
    if (conditions.refusal) {
      return {{}, conditions.refusal};
    }
    NotedCounter counter(asking.Trace(), asking.index, notes.lease->notes, conditions.filter);
    return CountBy(counter, question, asking.progress);
  }
  std::unique_ptr<EventCounters::Kept> kept = asking.view.Counters().Take(filter.events);
  CountAnswer answer = CountBy(kept->counter, question, asking.progress);
  asking.view.Counters().Put(std::move(kept));
  return answer;
}

}  // namespace marrowfin
