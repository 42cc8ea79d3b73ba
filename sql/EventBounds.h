#ifndef SQL_EVENTBOUNDS_H
#define SQL_EVENTBOUNDS_H

#include <array>
#include <cstddef>
#include <optional>

#include "sql/EventColumns.h"
#include "sql/NumberBounds.h"
#include "sql/SqlTable.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// What conditions of SQL leave of the events of a table, as far as an index can make use of it.
// Threads: one at a time.
class EventBounds {
 public:
  EventBounds(const EventColumns& table, const SqlQuestion& question);

  // A filter that lets all events through which meet the conditions; nothing where none does.
  std::optional<EventFilter> Filter(const std::optional<ArrayShape>& shape) const;

 private:
  // Bounds by what one axis of the array tells.
  struct Axis {
    EventField at;
    EventField to;
    EventField cluster;
    EventField domain;
    EventField toCluster;
    EventField toDomain;
  };
  static constexpr Axis COLUMNS = {
      EventField::COL,        EventField::TO_COL,         EventField::CLUSTER_COL,
      EventField::DOMAIN_COL, EventField::TO_CLUSTER_COL, EventField::TO_DOMAIN_COL};
  static constexpr Axis ROWS = {
      EventField::ROW,        EventField::TO_ROW,         EventField::CLUSTER_ROW,
      EventField::DOMAIN_ROW, EventField::TO_CLUSTER_ROW, EventField::TO_DOMAIN_ROW};

  void Take(const SqlCondition& condition, EventField field);
  const NumberBounds& Of(EventField field) const { return bounds[static_cast<size_t>(field)]; }
  bool Asks(EventField field) const { return asked[static_cast<size_t>(field)]; }
  bool AskAny(std::initializer_list<EventField> fields) const;
  void LeaveTypes(EventFilter& filter) const;
  NumberBounds Sources(const Axis& axis, const EventFilter& filter, uint64_t cluster,
                       uint64_t domain) const;
  NumberBounds Targets(const Axis& axis, uint64_t cluster, uint64_t domain) const;
  bool SetRegion(const std::optional<ArrayShape>& shape, EventFilter& filter) const;

  std::array<NumberBounds, EVENT_FIELDS> bounds;
  std::array<bool, EVENT_FIELDS> asked = {};
  bool switches;
  bool fires;
  bool sends;
};

}  // namespace marrowfin

#endif
