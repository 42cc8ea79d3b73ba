#include "sql/TraceTables.h"

#include <algorithm>
#include <list>
#include <utility>

#include "sql/EventTable.h"
#include "sql/PlaceTables.h"
#include "sql/RunTables.h"
#include "trace/base/NearestWord.h"

namespace marrowfin {

namespace {

template <EventSet SET>
std::unique_ptr<SqlTable> MakeEvents(const SqlTrace* trace, SqlWork& work) {
  return std::make_unique<EventTable>(SET, trace, work);
}

constexpr TraceTable TABLES[] = {
    {"events", "all events, a row each", MakeEvents<EventSet::EVENTS>},
    {"fires", "processing elements that fired", MakeEvents<EventSet::FIRES>},
    {"sends", "messages", MakeEvents<EventSet::SENDS>},
    {"switches", "switches that transmitted", MakeEvents<EventSet::SWITCHES>},
    {"activity", "how often each unit was active; activity(FIRST_CYCLE, LAST_CYCLE)",
     MakeActivityTable},
    {"pes", "processing elements of the array", MakePesTable},
    {"state", "what the viewer shows; state(STEP), or state where cycle = ...", MakeStateTable},
    {"threads", "threads and their names", MakeThreadsTable},
    {"notes", "what is noted of events, a row for each value", MakeNotesTable},
    {"counters", "samples of counters", MakeCountersTable},
    {"about", "facts about trace and run", MakeAboutTable},
};

constexpr char PREFIX[] = "marrowfin";

// The traces that a connection has open, the one used last in front.
class OpenTraces {
 public:
  Result<std::shared_ptr<const SqlTrace>> Open(const std::string& name) {
    // What the name stands for now: a packed trace is open as another file.
    const Result<std::unique_ptr<PositionedFile>> now = OpenPlainFile(name, PlainAccess::READ);
    if (!now) {
      return now.Why();
    }
    const FileIdentity& identity = (*now)->Identity();
    traces.remove_if(
        [&](const OpenTrace& open) { return open.name == name && !(open.identity == identity); });
    const auto known = std::find_if(traces.begin(), traces.end(),
                                    [&](const OpenTrace& open) { return open.name == name; });
    if (known != traces.end()) {
      traces.splice(traces.begin(), traces, known);
      return traces.front().trace;
    }
    Result<std::shared_ptr<const SqlTrace>> opened = OpenSqlTrace(name);
    if (opened) {
      traces.push_front({name, identity, *opened});
      traces.resize(std::min(traces.size(), MOST_OPEN));
    }
    return opened;
  }

 private:
  struct OpenTrace {
    std::string name;
    FileIdentity identity;
    std::shared_ptr<const SqlTrace> trace;
  };

  std::list<OpenTrace> traces;
};

Fault Refusal(const std::string& file, const std::string& reason, const std::string& remedy) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = file;
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

Result<const TraceTable*> TableNamed(const std::string& name) {
  std::vector<std::string> names;
  for (const TraceTable& table : TABLES) {
    if (name == table.name) {
      return &table;
    }
    names.emplace_back(table.name);
  }
  const std::string nearest = NearestWord(name, names);
  return Refusal(PREFIX, "no table '" + name + "' of a trace",
                 nearest.empty() ? "name one of events, fires, sends, switches, ..."
                                 : "'" + nearest + "' is meant perhaps");
}

// The table that `create virtual table` asks for.
Result<SqlTableEntry> Created(OpenTraces& traces, const std::shared_ptr<SqlWork>& work,
                              const std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments.size() > 2) {
    return Refusal(PREFIX, "a trace and a table are named, or a trace alone",
                   "write using marrowfin('run.trace') or using marrowfin('run.trace', sends)");
  }
  const Result<const TraceTable*> table =
      TableNamed(arguments.size() > 1 ? arguments[1] : std::string(TABLES[0].name));
  if (!table) {
    return table.Why();
  }
  Result<std::shared_ptr<const SqlTrace>> trace = traces.Open(arguments[0]);
  if (!trace) {
    return trace.Why();
  }
  return SqlTableEntry{(*table)->name, (*table)->make, *trace, {}, work};
}

}  // namespace

std::span<const TraceTable> TraceTables() { return TABLES; }

int AddTraceTables(sqlite3* database, const std::shared_ptr<const SqlTrace>& trace,
                   const std::shared_ptr<SqlWork>& work) {
  for (const TraceTable& table : TABLES) {
    const int rc = AddSqlTable(database, {table.name, table.make, trace, {}, work});
    if (rc != SQLITE_OK) {
      return rc;
    }
  }
  return SQLITE_OK;
}

int AddTraceFunctions(sqlite3* database) {
  const auto traces = std::make_shared<OpenTraces>();
  const auto work = std::make_shared<SqlWork>();
  for (const TraceTable& table : TABLES) {
    const int rc = AddSqlTable(
        database, {std::string(PREFIX) + "_" + table.name, table.make, nullptr,
                   [traces](const std::string& name) { return traces->Open(name); }, work});
    if (rc != SQLITE_OK) {
      return rc;
    }
  }
  return AddSqlModule(database, PREFIX, [traces, work](const std::vector<std::string>& arguments) {
    return Created(*traces, work, arguments);
  });
}

}  // namespace marrowfin
