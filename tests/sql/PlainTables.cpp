#include "tests/sql/PlainTables.h"

#include <bit>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>

namespace marrowfin::testing {

namespace {

typedef std::optional<uint64_t> Value;

constexpr const char* NAMES[] = {
    "record",        "cycle",      "step",           "thread",         "col",
    "row",           "to_col",     "to_row",         "cluster_col",    "cluster_row",
    "domain_col",    "domain_row", "to_cluster_col", "to_cluster_row", "to_domain_col",
    "to_domain_row", "distance",
};

void Execute(sqlite3* database, const std::string& sql) {
  char* error = nullptr;
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    throw std::runtime_error(sql + ": " + error);
  }
}

// Clusters and domains, counted out and not taken from the engine.
class Levels {
 public:
  explicit Levels(const ArrayShape& shape)
      : domain{shape.pes.columns, shape.pes.rows},
        cluster{shape.pes.columns * shape.domains.columns, shape.pes.rows * shape.domains.rows},
        whole{cluster.column * shape.clusters.columns, cluster.row * shape.clusters.rows} {}

  bool Has(Place at) const { return at.column < whole.column && at.row < whole.row; }
  static Place Within(Place at, Place size) { return {at.column / size.column, at.row / size.row}; }

  Place domain;
  Place cluster;
  Place whole;
};

std::vector<Value> ValuesOf(const Event& event, uint64_t record, uint64_t step,
                            const Levels& levels) {
  std::vector<Value> values(std::size(NAMES));
  const auto put = [&](size_t first, Place place) {
    values[first] = place.column;
    values[first + 1] = place.row;
  };
  values[0] = record;
  values[1] = event.cycle;
  values[2] = step;
  values[3] = event.thread;
  put(4, event.at);
  if (event.type == SWITCH_RECORD) {
    put(8, Levels::Within({event.at.column - 4, event.at.row - 4}, levels.cluster));
    return values;
  }
  if (levels.Has(event.at)) {
    put(8, Levels::Within(event.at, levels.cluster));
    put(10, Levels::Within(event.at, levels.domain));
  }
  if (event.type == SEND_RECORD) {
    put(6, event.to);
    if (levels.Has(event.to)) {
      put(12, Levels::Within(event.to, levels.cluster));
      put(14, Levels::Within(event.to, levels.domain));
    }
    values[16] =
        static_cast<uint64_t>(std::abs(int64_t{event.at.column} - int64_t{event.to.column}) +
                              std::abs(int64_t{event.at.row} - int64_t{event.to.row}));
  }
  return values;
}

void Insert(sqlite3_stmt* statement, const char* type, const std::vector<Value>& values) {
  sqlite3_reset(statement);
  sqlite3_bind_text(statement, 1, type, -1, SQLITE_STATIC);
  for (size_t i = 0; i < values.size(); ++i) {
    const int number = static_cast<int>(i) + 2;
    if (!values[i]) {
      sqlite3_bind_null(statement, number);
    } else if (*values[i] >> 63 != 0) {
      sqlite3_bind_double(statement, number, static_cast<double>(*values[i]));
    } else {
      sqlite3_bind_int64(statement, number, static_cast<sqlite3_int64>(*values[i]));
    }
  }
  if (sqlite3_step(statement) != SQLITE_DONE) {
    throw std::runtime_error("an event cannot be inserted");
  }
}

const char* TypeName(uint32_t type) {
  return type == FIRE_RECORD ? "fire" : type == SEND_RECORD ? "send" : "switch";
}

struct NoteColumn {
  int attribute;
  const char* name;
  const char* type;
};
constexpr NoteColumn NOTES[] = {{KIND, "kind", "TEXT"},
                                {PACKET, "packet", "INTEGER"},
                                {CREATED, "created", "INTEGER"},
                                {ENERGY, "energy", "REAL"},
                                {SIZE, "size", "INTEGER"}};

// A value as SQL has it; kinds have names up to the last but one.
std::string Literal(int attribute, uint64_t value) {
  const char* const kinds[] = {"compute", "inject", "eject", "wait", "barrier"};
  if (attribute == KIND) {
    return value < std::size(kinds) ? std::string("'") + kinds[value] + "'"
                                    : "'" + std::to_string(value) + "'";
  }
  if (attribute == ENERGY) {
    return std::to_string(std::bit_cast<double>(value));
  }
  return value >> 63 != 0 ? std::to_string(static_cast<double>(value)) : std::to_string(value);
}

void AddNotes(sqlite3* database, const NotedEvents& noted) {
  for (const NoteColumn& column : NOTES) {
    Execute(database,
            std::string("alter table events add column ") + column.name + " " + column.type);
  }
  Execute(database, "create unique index by_record on events(record)");
  for (size_t i = 0; i < noted.events.size(); ++i) {
    std::string values;
    for (const NoteColumn& column : NOTES) {
      const std::vector<uint64_t>& of = noted.values[column.attribute][i];
      values += std::string(values.empty() ? "" : ", ") + column.name + " = " +
                (of.empty() ? "null" : Literal(column.attribute, of[0]));
    }
    Execute(database, "update events set " + values + " where record = " + std::to_string(i));
  }
}

void FillTypes(sqlite3* database) {
  Execute(database,
          "create table fires as select * from events where type = 'fire';"
          "create table sends as select * from events where type = 'send';"
          "create table switches as select * from events where type = 'switch'; commit");
}

void FillEvents(sqlite3* database, const std::vector<Event>& events, const ArrayShape& shape) {
  std::string columns = "type TEXT";
  std::string marks = "?";
  for (const char* const name : NAMES) {
    columns += std::string(", ") + name + " INTEGER";
    marks += ", ?";
  }
  Execute(database, "begin; create table events(" + columns + ")");
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database, ("insert into events values(" + marks + ")").c_str(), -1, &statement,
                     nullptr);
  const Levels levels(shape);
  uint64_t step = 0;
  for (size_t i = 0; i < events.size(); ++i) {
    // The viewer's start takes the first event; a step ends with an event of another cycle than the
    // one before it, which for the second event is cycle 0.
    step += i == 1 ? 1 : 0;
    Insert(statement, TypeName(events[i].type), ValuesOf(events[i], i, step, levels));
    const uint64_t before = i == 1 ? 0 : i > 1 ? events[i - 1].cycle : events[i].cycle;
    step += events[i].cycle != before ? 1 : 0;
  }
  sqlite3_finalize(statement);
}

}  // namespace

void FillPlainTables(sqlite3* database, const std::vector<Event>& events, const ArrayShape& shape) {
  FillEvents(database, events, shape);
  FillTypes(database);
}

void FillPlainTables(sqlite3* database, const NotedEvents& noted, const ArrayShape& shape) {
  FillEvents(database, noted.events, shape);
  AddNotes(database, noted);
  FillTypes(database);
}

}  // namespace marrowfin::testing
