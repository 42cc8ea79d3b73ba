#include "convert/export/SqliteSchema.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <vector>

#include "convert/export/EventWords.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Record.h"

namespace marrowfin {
namespace {

typedef std::vector<std::string> Names;

// Columns are called as those of a trace in place: a question means the same here and there.
const Names EVENT_COLUMNS = {"record",      "cycle",      "step",      "type",   "thread",
                             "col",         "row",        "to_col",    "to_row", "cluster_col",
                             "cluster_row", "domain_col", "domain_row"};
const Names SEND_COLUMNS = {"to_cluster_col", "to_cluster_row", "to_domain_col", "to_domain_row",
                            "distance"};

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// A name as SQL takes it, whatever it holds. A statement ends at a zero.
std::string Quoted(const std::string& name, char quote = '"') {
  std::string quoted(1, quote);
  for (const char c : name) {
    quoted.append(c == quote ? 2 : 1, c == '\0' ? '_' : c);
  }
  return quoted + quote;
}

// What the attributes are called beside `columns`: SQL does not tell names apart by their case.
Names NoteNames(const EventNaming& naming, Names columns) {
  Names names;
  for (const NoteAttribute& attribute : Attributes(naming)) {
    std::string name = attribute.name;
    const auto isTaken = [&name](const std::string& column) {
      return LowerCase(column) == LowerCase(name);
    };
    while (std::any_of(columns.begin(), columns.end(), isTaken)) {
      name += "_note";
    }
    columns.push_back(name);
    names.push_back(name);
  }
  return names;
}

const char* TypeOf(NoteType type) {
  switch (type) {
    case NoteType::REAL:
      return "REAL";
    case NoteType::NAME:
    case NoteType::RECORDS:
      return "TEXT";
    case NoteType::NUMBER:
    case NoteType::CYCLE:
      break;
  }
  return "INTEGER";
}

// The expressions of SQL for which units of the array a position lies in.
class UnitWords {
 public:
  explicit UnitWords(const EventNaming& naming) : shape(naming.shape) {}

  // The column or row of the cluster or domain of the element at `col` and `row`.
  std::string OfElement(const std::string& col, const std::string& row, const std::string& along,
                        uint32_t size) const {
    return shape ? "CASE WHEN " + col + " < " + std::to_string(shape->Columns()) + " AND " + row +
                       " < " + std::to_string(shape->Rows()) + " THEN " + along + " / " +
                       std::to_string(size) + " END"
                 : "NULL";
  }

  // The same of the cluster whose switch records have there.
  std::string OfSwitch(const std::string& along, uint32_t size) const {
    return shape
               ? "CASE WHEN " + HasSwitch("col", shape->ClusterColumns(), shape->clusters.columns) +
                     " AND " + HasSwitch("row", shape->ClusterRows(), shape->clusters.rows) +
                     " THEN (" + along + " - " + std::to_string(FIRST_SWITCH) + ") / " +
                     std::to_string(size) + " END"
               : "NULL";
  }

  PerAxis Cluster() const {
    return shape ? PerAxis{shape->ClusterColumns(), shape->ClusterRows()} : PerAxis();
  }
  PerAxis Domain() const { return shape ? shape->pes : PerAxis(); }

 private:
  static std::string HasSwitch(const std::string& along, uint32_t size, uint32_t count) {
    const std::string offset = "(" + along + " - " + std::to_string(FIRST_SWITCH) + ")";
    return offset + " >= 0 AND " + offset + " % " + std::to_string(size) + " = 0 AND " + offset +
           " / " + std::to_string(size) + " < " + std::to_string(count);
  }

  const std::optional<ArrayShape>& shape;
};

// A column that is told by others and takes no room.
std::string Told(const std::string& name, const std::string& expression) {
  return ",\n  " + name + " INTEGER GENERATED ALWAYS AS (" + expression + ") VIRTUAL";
}

std::string EventTable(const EventNaming& naming) {
  const UnitWords units(naming);
  const auto either = [](const std::string& ofSwitch, const std::string& ofElement) {
    return "CASE type WHEN 'switch' THEN " + ofSwitch + " ELSE " + ofElement + " END";
  };
  const PerAxis cluster = units.Cluster();
  const PerAxis domain = units.Domain();
  std::string sql =
      "CREATE TABLE events (record INTEGER PRIMARY KEY, cycle INTEGER, step INTEGER, type TEXT,\n"
      "  thread INTEGER, col INTEGER, row INTEGER, to_col INTEGER, to_row INTEGER";
  sql += Told("cluster_col", either(units.OfSwitch("col", cluster.columns),
                                    units.OfElement("col", "row", "col", cluster.columns)));
  sql += Told("cluster_row", either(units.OfSwitch("row", cluster.rows),
                                    units.OfElement("col", "row", "row", cluster.rows)));
  sql += Told("domain_col", either("NULL", units.OfElement("col", "row", "col", domain.columns)));
  sql += Told("domain_row", either("NULL", units.OfElement("col", "row", "row", domain.rows)));
  const Names names = NoteNames(naming, EVENT_COLUMNS);
  for (size_t a = 0; a < names.size(); ++a) {
    sql += ",\n  " + Quoted(names[a]) + " " + TypeOf(Attributes(naming)[a].type);
  }
  return sql + ");\n";
}

struct EventView {
  const char* name;
  const char* type;
  const char* columns;
  std::string more;  // columns that are told by others
  Names builtIn;     // names that notes do not get
};

std::string MakeView(const EventNaming& naming, const EventView& view) {
  std::string sql =
      std::string("CREATE VIEW ") + view.name + " AS SELECT " + view.columns + view.more;
  const Names stored = NoteNames(naming, EVENT_COLUMNS);
  const Names shown = NoteNames(naming, view.builtIn);
  for (size_t a = 0; a < stored.size(); ++a) {
    sql += ", " + Quoted(stored[a]) + " AS " + Quoted(shown[a]);
  }
  return sql + "\n  FROM events WHERE type = '" + view.type + "';\n";
}

std::string SendColumns(const EventNaming& naming) {
  const UnitWords units(naming);
  const PerAxis cluster = units.Cluster();
  const PerAxis domain = units.Domain();
  const auto unit = [&](const char* name, const char* along, uint32_t size) {
    return ", " + units.OfElement("to_col", "to_row", along, size) + " AS " + name;
  };
  return unit("to_cluster_col", "to_col", cluster.columns) +
         unit("to_cluster_row", "to_row", cluster.rows) +
         unit("to_domain_col", "to_col", domain.columns) +
         unit("to_domain_row", "to_row", domain.rows) +
         ", abs(to_col - col) + abs(to_row - row) AS distance";
}

std::string EventViews(const EventNaming& naming) {
  Names sends = EVENT_COLUMNS;
  sends.insert(sends.end(), SEND_COLUMNS.begin(), SEND_COLUMNS.end());
  return MakeView(naming, {"fires", "fire",
                           "record, cycle, step, thread, col, row, cluster_col, cluster_row, "
                           "domain_col, domain_row",
                           "", EVENT_COLUMNS}) +
         MakeView(naming, {"sends", "send",
                           "record, cycle, step, thread, col, row, to_col, to_row, cluster_col, "
                           "cluster_row, domain_col, domain_row",
                           SendColumns(naming), sends}) +
         MakeView(naming, {"switches", "switch",
                           "record, cycle, step, thread, col, row, cluster_col, cluster_row", "",
                           EVENT_COLUMNS});
}

// What notes say of events, a row each: of records that an event refers to as many as there are.
std::string NotesView(const EventNaming& naming) {
  const Names names = NoteNames(naming, EVENT_COLUMNS);
  std::string sql = "CREATE VIEW notes AS ";
  for (size_t a = 0; a < names.size(); ++a) {
    const NoteAttribute& attribute = Attributes(naming)[a];
    const std::string column = Quoted(names[a]);
    sql += a == 0 ? "" : "\n  UNION ALL ";
    sql += "SELECT record, " + Quoted(attribute.name, '\'') + " AS name, ";
    sql += attribute.type == NoteType::RECORDS
               ? "of.value AS value FROM events, json_each(" + column + ") AS of"
               : column + " AS value FROM events WHERE " + column + " IS NOT NULL";
  }
  return sql +
         (names.empty() ? "SELECT 0 AS record, '' AS name, 0 AS value WHERE false;\n" : ";\n");
}

constexpr char OTHER_TABLES[] = R"(
CREATE TABLE about (key TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID;
CREATE TABLE thread_names (thread INTEGER PRIMARY KEY, name TEXT, meaning TEXT);
CREATE TABLE pes (col INTEGER, row INTEGER, cluster_col INTEGER, cluster_row INTEGER,
                  domain_col INTEGER, domain_row INTEGER, name TEXT,
                  PRIMARY KEY (col, row)) WITHOUT ROWID;
CREATE TABLE counters (cycle INTEGER, name TEXT, col INTEGER, row INTEGER, value REAL, unit TEXT);
CREATE VIEW threads AS
  SELECT thread, name, meaning, fires, sends, switches
  FROM (SELECT thread, sum(type = 'fire') AS fires, sum(type = 'send') AS sends,
               sum(type = 'switch') AS switches FROM events GROUP BY thread
        UNION ALL
        SELECT thread, 0, 0, 0 FROM thread_names
        WHERE thread NOT IN (SELECT thread FROM events))
  LEFT JOIN thread_names USING (thread);
CREATE VIEW activity AS
  SELECT 'pe' AS unit, col, row, max(cluster_col) AS cluster_col, max(cluster_row) AS cluster_row,
         max(domain_col) AS domain_col, max(domain_row) AS domain_row, sum(fire) AS fires,
         sum(send) AS sends, sum(receive) AS receives, 0 AS transmissions
  FROM (SELECT col, row, cluster_col, cluster_row, domain_col, domain_row, type = 'fire' AS fire,
               type = 'send' AS send, 0 AS receive FROM events WHERE type <> 'switch'
        UNION ALL
        SELECT to_col, to_row, to_cluster_col, to_cluster_row, to_domain_col, to_domain_row, 0, 0, 1
        FROM sends)
  GROUP BY col, row
  UNION ALL
  SELECT 'switch', col, row, cluster_col, cluster_row, NULL, NULL, 0, 0, 0, count(*)
  FROM switches GROUP BY col, row;
)";

}  // namespace

std::string SqliteTables(const EventNaming& naming) {
  return EventTable(naming) + EventViews(naming) + NotesView(naming) + OTHER_TABLES;
}

std::string SqliteIndexes() {
  return "CREATE INDEX events_by_cycle ON events (cycle);\n"
         "CREATE INDEX events_by_thread ON events (thread, cycle);\n"
         "CREATE INDEX events_by_place ON events (col, row, cycle);\n"
         "CREATE INDEX counters_by_name ON counters (name, col, row, cycle);\n"
         "ANALYZE;\n";
}

std::string SqliteEventInsert(const EventNaming& naming) {
  std::string columns = "record, cycle, step, type, thread, col, row, to_col, to_row";
  std::string values = "?, ?, ?, ?, ?, ?, ?, ?, ?";
  for (const std::string& name : NoteNames(naming, EVENT_COLUMNS)) {
    columns += ", " + Quoted(name);
    values += ", ?";
  }
  return "INSERT INTO events (" + columns + ") VALUES (" + values + ")";
}

}  // namespace marrowfin
