#ifndef SQL_EVENTCOLUMNS_H
#define SQL_EVENTCOLUMNS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sql/SqlTable.h"
#include "sql/SqlTrace.h"
#include "trace/base/NotesFormat.h"

namespace marrowfin {

// What a column of events tells.
enum class EventField : uint8_t {
  RECORD,
  CYCLE,
  STEP,
  TYPE,
  THREAD,
  COL,
  ROW,
  TO_COL,
  TO_ROW,
  CLUSTER_COL,
  CLUSTER_ROW,
  DOMAIN_COL,
  DOMAIN_ROW,
  TO_CLUSTER_COL,
  TO_CLUSTER_ROW,
  TO_DOMAIN_COL,
  TO_DOMAIN_ROW,
  DISTANCE,
  NOTE,  // an attribute of the notes
};
constexpr size_t EVENT_FIELDS = static_cast<size_t>(EventField::NOTE);

enum class EventSet { EVENTS, FIRES, SENDS, SWITCHES };

// The columns of a table of events: those of its fields, and one for each attribute that the notes
// of the trace declare. Threads: a value, which one thread writes or any number read.
class EventColumns {
 public:
  // Without notes where no trace is known.
  EventColumns(EventSet set, const SqlTrace* trace);

  EventSet Set() const { return set; }
  const std::vector<SqlColumn>& All() const { return columns; }
  EventField Field(size_t column) const { return fields[column]; }

  // Of a column that is a NOTE: which of the attributes that are declared.
  uint32_t Attribute(size_t column) const {
    return static_cast<uint32_t>(column - (columns.size() - types.size()));
  }
  size_t Attributes() const { return types.size(); }
  NoteType Type(size_t column) const { return types[Attribute(column)]; }

 private:
  void Add(EventField field);
  void AddNotes(const SqlTrace& trace);

  EventSet set;
  std::vector<SqlColumn> columns;
  std::vector<EventField> fields;
  std::vector<NoteType> types;  // of attributes, which are the last so many columns
};

}  // namespace marrowfin

#endif
