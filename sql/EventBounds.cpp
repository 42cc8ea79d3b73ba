#include "sql/EventBounds.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "trace/base/Record.h"

namespace marrowfin {

namespace {

constexpr uint64_t END = ~uint64_t{0};

uint64_t Times(uint64_t a, uint64_t b) { return b != 0 && a > END / b ? END : a * b; }
uint64_t Plus(uint64_t a, uint64_t b) { return a > END - b ? END : a + b; }

// The positions along an axis of groups of `side` positions each, and `beyond` more behind them.
NumberBounds PositionsOf(const NumberBounds& groups, uint64_t side, uint64_t beyond) {
  return groups.IsEmpty()
             ? groups
             : NumberBounds{Times(groups.first, side),
                            Plus(Times(groups.last, side), std::max(side - 1, beyond))};
}

bool IsText(sqlite3_value* value, const char* text) {
  return sqlite3_value_type(value) == SQLITE_TEXT &&
         std::strcmp(reinterpret_cast<const char*>(sqlite3_value_text(value)), text) == 0;
}

uint32_t Clamped(uint64_t number) {
  return static_cast<uint32_t>(std::min<uint64_t>(number, std::numeric_limits<uint32_t>::max()));
}

// Which types a condition on their name leaves.
struct Types {
  bool switches = false;
  bool fires = false;
  bool sends = false;

  // Anything but text and nothing may become one in the eyes of SQLite.
  void Take(sqlite3_value* value) {
    const int type = sqlite3_value_type(value);
    const bool unknown = type != SQLITE_TEXT && type != SQLITE_NULL;
    switches = switches || unknown || IsText(value, "switch");
    fires = fires || unknown || IsText(value, "fire");
    sends = sends || unknown || IsText(value, "send");
  }

  void TakeSet(sqlite3_value* set) {
    sqlite3_value* value = nullptr;
    int rc = sqlite3_vtab_in_first(set, &value);
    for (; rc == SQLITE_OK && value != nullptr; rc = sqlite3_vtab_in_next(set, &value)) {
      Take(value);
    }
    if (rc != SQLITE_OK && rc != SQLITE_DONE) {
      switches = fires = sends = true;
    }
  }
};

}  // namespace

EventBounds::EventBounds(const EventColumns& table, const SqlQuestion& question)
    : switches(table.Set() == EventSet::EVENTS || table.Set() == EventSet::SWITCHES),
      fires(table.Set() == EventSet::EVENTS || table.Set() == EventSet::FIRES),
      sends(table.Set() == EventSet::EVENTS || table.Set() == EventSet::SENDS) {
  for (const SqlCondition& condition : question.conditions) {
    if (table.Field(condition.column) != EventField::NOTE) {
      Take(condition, table.Field(condition.column));
    }
  }
}

void EventBounds::Take(const SqlCondition& condition, EventField field) {
  if (field == EventField::TYPE) {
    Types types;
    if (condition.isSet) {
      types.TakeSet(condition.value);
    } else {
      types.Take(condition.value);
    }
    switches = switches && types.switches;
    fires = fires && types.fires;
    sends = sends && types.sends;
    return;
  }
  NumberBounds& of = bounds[static_cast<size_t>(field)];
  asked[static_cast<size_t>(field)] = true;
  if (condition.isSet) {
    of.NarrowToSet(condition.value);
  } else {
    of.Narrow(condition.comparison, condition.value);
  }
}

bool EventBounds::AskAny(std::initializer_list<EventField> fields) const {
  return std::any_of(fields.begin(), fields.end(), [&](EventField field) { return Asks(field); });
}

// What is NULL meets no comparison: only messages have receivers, switches are in no domain.
void EventBounds::LeaveTypes(EventFilter& filter) const {
  const bool onlySends = AskAny({EventField::TO_COL, EventField::TO_ROW});
  const bool noSwitches = AskAny({EventField::DOMAIN_COL, EventField::DOMAIN_ROW});
  filter.sends = sends;
  filter.fires = fires && !onlySends;
  filter.switches = switches && !onlySends && !noSwitches;
}

// Where events are that a filter on places looks at: records have the switch of a cluster some
// positions behind its first one.
NumberBounds EventBounds::Sources(const Axis& axis, const EventFilter& filter, uint64_t cluster,
                                  uint64_t domain) const {
  NumberBounds along = Of(axis.at);
  if (Asks(axis.cluster)) {
    along.Meet(PositionsOf(Of(axis.cluster), cluster, filter.switches ? FIRST_SWITCH : 0));
  }
  if (Asks(axis.domain)) {
    along.Meet(PositionsOf(Of(axis.domain), domain, 0));
  }
  return along;
}

NumberBounds EventBounds::Targets(const Axis& axis, uint64_t cluster, uint64_t domain) const {
  NumberBounds along = Of(axis.to);
  if (Asks(axis.toCluster)) {
    along.Meet(PositionsOf(Of(axis.toCluster), cluster, 0));
  }
  if (Asks(axis.toDomain)) {
    along.Meet(PositionsOf(Of(axis.toDomain), domain, 0));
  }
  return along;
}

// Of messages a region of the filter holds either end, so one end alone is asked for: the sender,
// or where nothing is asked of that the receiver. False where nothing is in the region.
bool EventBounds::SetRegion(const std::optional<ArrayShape>& shape, EventFilter& filter) const {
  const bool levels =
      AskAny({EventField::CLUSTER_COL, EventField::CLUSTER_ROW, EventField::DOMAIN_COL,
              EventField::DOMAIN_ROW, EventField::TO_CLUSTER_COL, EventField::TO_CLUSTER_ROW,
              EventField::TO_DOMAIN_COL, EventField::TO_DOMAIN_ROW});
  if (levels && !shape) {
    return false;
  }
  const ArrayShape known = shape.value_or(ArrayShape());
  const uint64_t width = known.ClusterColumns();
  const uint64_t height = known.ClusterRows();
  NumberBounds columns = Sources(COLUMNS, filter, width, known.pes.columns);
  NumberBounds rows = Sources(ROWS, filter, height, known.pes.rows);
  const NumberBounds toColumns = Targets(COLUMNS, width, known.pes.columns);
  const NumberBounds toRows = Targets(ROWS, height, known.pes.rows);
  if (columns.IsEmpty() || rows.IsEmpty() || toColumns.IsEmpty() || toRows.IsEmpty()) {
    return false;
  }
  if (columns.IsEverything() && rows.IsEverything()) {
    columns = toColumns;
    rows = toRows;
  }
  if (!columns.IsEverything() || !rows.IsEverything()) {
    filter.region = Region{{Clamped(columns.first), Clamped(rows.first)},
                           {Clamped(columns.last), Clamped(rows.last)}};
  }
  return true;
}

std::optional<EventFilter> EventBounds::Filter(const std::optional<ArrayShape>& shape) const {
  EventFilter filter;
  LeaveTypes(filter);
  const NumberBounds& records = Of(EventField::RECORD);
  const NumberBounds& cycles = Of(EventField::CYCLE);
  const NumberBounds& steps = Of(EventField::STEP);
  const NumberBounds& threads = Of(EventField::THREAD);
  const bool none = records.IsEmpty() || cycles.IsEmpty() || steps.IsEmpty() || threads.IsEmpty() ||
                    threads.first > std::numeric_limits<uint32_t>::max() ||
                    !(filter.switches || filter.fires || filter.sends);
  if (none || !SetRegion(shape, filter)) {
    return std::nullopt;
  }
  filter.firstRecord = records.first;
  filter.lastRecord = Plus(records.last, 1);
  filter.firstCycle = cycles.first;
  filter.lastCycle = cycles.last;
  filter.firstStep = steps.first;
  filter.lastStep = steps.last;
  if (threads.first == threads.last) {
    filter.thread = Clamped(threads.first);
  } else if (!threads.IsEverything()) {
    filter.threads = {{Clamped(threads.first), Clamped(threads.last)}};
  }
  return filter;
}

}  // namespace marrowfin
