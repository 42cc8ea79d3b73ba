#include "sql/SqlTable.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <utility>

#include "sql/NumberBounds.h"

namespace marrowfin {

namespace {

constexpr char TRACE_COLUMN[] = "trace";
constexpr size_t NO_COLUMN = ~size_t{0};

// SQLite's own structures, with ours behind them.
struct OpenTable : sqlite3_vtab {
  SqlTableEntry entry;
  std::unique_ptr<SqlTable> table;

  // Where the name of the trace is an argument it is the first of them.
  size_t traceColumn = NO_COLUMN;
  bool IsTrace(size_t declared) const { return declared == traceColumn; }

  // The table's column of one that was declared and is not the trace.
  size_t ColumnOf(size_t declared) const {
    return declared > traceColumn ? declared - 1 : declared;
  }
};

struct OpenCursor : sqlite3_vtab_cursor {
  std::unique_ptr<SqlCursor> rows;
  std::shared_ptr<const SqlTrace> trace;  // that is read
  std::string traceName;                  // as it was given
};

OpenTable& TableOf(sqlite3_vtab* table) { return *static_cast<OpenTable*>(table); }
OpenTable& TableOf(sqlite3_vtab_cursor* cursor) { return TableOf(cursor->pVtab); }
OpenCursor& CursorOf(sqlite3_vtab_cursor* cursor) { return *static_cast<OpenCursor*>(cursor); }

std::string Quoted(const std::string& name) {
  std::string text = "\"";
  for (const char c : name) {
    text.append(c == '"' ? 2 : 1, c);
  }
  return text + "\"";
}

std::string DeclarationOf(const OpenTable& open) {
  const std::vector<SqlColumn>& columns = open.table->Columns();
  std::string text;
  for (size_t i = 0; i <= columns.size(); ++i) {
    if (open.IsTrace(i)) {
      text += std::string(", ") + TRACE_COLUMN + " TEXT HIDDEN";
    }
    if (i < columns.size()) {
      text += ", " + Quoted(columns[i].name) + " " + columns[i].type +
              (columns[i].isArgument ? " HIDDEN" : "");
    }
  }
  return "CREATE TABLE x(" + text.substr(2) + ")";
}

// Columns that are no arguments come first.
size_t PlainColumns(const SqlTable& table) {
  size_t count = 0;
  for (const SqlColumn& column : table.Columns()) {
    count += column.isArgument ? 0 : 1;
  }
  return count;
}

int ReportFault(OpenTable& table, const Fault& fault) {
  if (!fault) {
    return SQLITE_OK;
  }
  table.entry.work->fault = fault;
  sqlite3_free(table.zErrMsg);
  table.zErrMsg = sqlite3_mprintf("%s", fault.Text().c_str());
  return fault.kind == Fault::CANCELLED ? SQLITE_INTERRUPT : SQLITE_ERROR;
}

// Nothing may be thrown through SQLite.
template <class Call>
int Guarded(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

// Plans -------------------------------------------------------------------------------------------

// What a plan is made of: the conditions whose values come as arguments, in that order.
struct Planned {
  size_t column;
  int comparison;
  bool isSet;
};

// Plans travel through SQLite as a text: "COLUMN:COMPARISON[s] ", and the columns used behind.
std::string AsText(const std::vector<Planned>& plan, uint64_t columnsUsed) {
  std::string text;
  for (const Planned& condition : plan) {
    text += std::to_string(condition.column) + ":" + std::to_string(condition.comparison) +
            (condition.isSet ? "s " : " ");
  }
  return text + "u" + std::to_string(columnsUsed);
}

template <class Number>
Number TakeNumber(const char*& at) {
  Number number = 0;
  at = std::from_chars(at, at + std::strlen(at), number).ptr;
  return number;
}

uint64_t FromText(const char* at, std::vector<Planned>& plan) {
  while (*at != 'u') {
    Planned condition = {TakeNumber<size_t>(at), 0, false};
    condition.comparison = TakeNumber<int>(++at);
    condition.isSet = *at == 's';
    at += condition.isSet ? 2 : 1;
    plan.push_back(condition);
  }
  return TakeNumber<uint64_t>(++at);
}

bool IsComparison(int comparison) {
  return comparison == SQLITE_INDEX_CONSTRAINT_EQ || comparison == SQLITE_INDEX_CONSTRAINT_GT ||
         comparison == SQLITE_INDEX_CONSTRAINT_GE || comparison == SQLITE_INDEX_CONSTRAINT_LT ||
         comparison == SQLITE_INDEX_CONSTRAINT_LE;
}

// Texts are compared byte by byte, as SQLite does unless it is told otherwise.
bool ComparesBytes(sqlite3_index_info* info, int constraint) {
  return std::strcmp(sqlite3_vtab_collation(info, constraint), "BINARY") == 0;
}

// Whether rows come in the order that is asked for; then, whether backwards.
std::optional<bool> OrderOf(const OpenTable& open, const sqlite3_index_info& info) {
  for (int i = 0; i < info.nOrderBy; ++i) {
    const auto& term = info.aOrderBy[i];
    const auto column = static_cast<size_t>(term.iColumn);
    const bool ascends =
        term.iColumn >= 0 && !open.IsTrace(column) && open.table->Ascends(open.ColumnOf(column));
    if (!ascends || term.desc != info.aOrderBy[0].desc) {
      return std::nullopt;
    }
  }
  return info.nOrderBy > 0 ? std::optional(info.aOrderBy[0].desc != 0) : std::nullopt;
}

// Makes a plan of what SQLite knows.
class Planner {
 public:
  Planner(const OpenTable& open, sqlite3_index_info& info) : open(open), info(info) {}

  int Plan() {
    for (int i = 0; i < info.nConstraint; ++i) {
      if (!Take(i)) {
        return SQLITE_CONSTRAINT;
      }
    }
    const std::optional<bool> order = OrderOf(open, info);
    info.orderByConsumed = order ? 1 : 0;
    info.idxNum = order && *order ? 1 : 0;
    info.idxStr = sqlite3_mprintf("%s", AsText(plan, info.colUsed).c_str());
    info.needToFreeIdxStr = 1;
    SetCost();
    return info.idxStr == nullptr ? SQLITE_NOMEM : SQLITE_OK;
  }

 private:
  // Finding where rows begin costs about as much as telling so many.
  static constexpr double SEEK = 500;

  // False where the plan cannot be: an argument that is known only later.
  bool Take(int i) {
    const auto& constraint = info.aConstraint[i];
    if (constraint.iColumn < 0 || !IsComparison(constraint.op)) {
      return true;
    }
    const auto declared = static_cast<size_t>(constraint.iColumn);
    const size_t column = open.ColumnOf(declared);
    const bool isArgument = open.IsTrace(declared) || open.table->Columns()[column].isArgument;
    if (isArgument && constraint.op == SQLITE_INDEX_CONSTRAINT_EQ) {
      if (constraint.usable == 0) {
        return false;
      }
      Use(i, false, true);
      return true;
    }
    if (!isArgument && constraint.usable != 0 && open.table->Narrows(column, constraint.op) &&
        ComparesBytes(&info, i)) {
      const bool isSet = constraint.op == SQLITE_INDEX_CONSTRAINT_EQ &&
                         open.table->TakesSets(column) && sqlite3_vtab_in(&info, i, 1) != 0;
      Use(i, isSet, false);
      Weigh(column, constraint.op);
    }
    return true;
  }

  void Use(int i, bool isSet, bool omit) {
    const auto& constraint = info.aConstraint[i];
    plan.push_back({static_cast<size_t>(constraint.iColumn), constraint.op, isSet});
    info.aConstraintUsage[i].argvIndex = static_cast<int>(plan.size());
    info.aConstraintUsage[i].omit = omit ? 1 : 0;
  }

  void Weigh(size_t column, int comparison) {
    const double left = open.table->Share(column, comparison);
    const double least = open.table->LeastRead(column, comparison);
    share *= left;
    if (least == 0) {
      shareRead *= left;
    } else {
      leastRead = std::min(leastRead, least);
    }
  }

  void SetCost() {
    const double rows = std::max(1.0, open.table->Rows() * share);
    info.estimatedRows = static_cast<sqlite3_int64>(std::min(rows, 1e15));
    info.estimatedCost = SEEK + std::max(rows, std::min(leastRead, open.table->Rows() * shareRead));
  }

  const OpenTable& open;
  sqlite3_index_info& info;
  std::vector<Planned> plan;
  double share = 1;                                            // of the rows, that is left
  double shareRead = 1;                                        // that is gone through for it
  double leastRead = std::numeric_limits<double>::infinity();  // rows, likewise
};

// The functions of a module -----------------------------------------------------------------------

int Connect(sqlite3* database, SqlTableEntry entry, sqlite3_vtab** table) {
  auto open = std::make_unique<OpenTable>();
  open->pModule = nullptr;
  open->nRef = 0;
  open->zErrMsg = nullptr;
  open->table = entry.make(entry.trace.get(), *entry.work);
  open->entry = std::move(entry);
  if (!open->entry.trace) {
    open->traceColumn = PlainColumns(*open->table);
    // It opens any file that it is told to: no view or trigger of a foreign database may do that.
    sqlite3_vtab_config(database, SQLITE_VTAB_DIRECTONLY);
  }
  const int rc = sqlite3_declare_vtab(database, DeclarationOf(*open).c_str());
  if (rc == SQLITE_OK) {
    *table = open.release();
  }
  return rc;
}

int ConnectKnown(sqlite3* database, void* entry, int /*count*/, const char* const* /*arguments*/,
                 sqlite3_vtab** table, char** /*error*/) {
  return Guarded(
      [&] { return Connect(database, *static_cast<const SqlTableEntry*>(entry), table); });
}

std::string WithoutQuotes(const char* argument) {
  std::string text = argument;
  const size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) {
    return "";
  }
  text = text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
  const char quote = text.front();
  if (text.size() < 2 || (quote != '\'' && quote != '"') || text.back() != quote) {
    return text;
  }
  std::string plain;
  for (size_t i = 1; i + 1 < text.size(); ++i) {
    plain += text[i];
    i += text[i] == quote && text[i + 1] == quote ? 1 : 0;
  }
  return plain;
}

int ConnectCreated(sqlite3* database, void* creator, int count, const char* const* arguments,
                   sqlite3_vtab** table, char** error) {
  return Guarded([&] {
    std::vector<std::string> given;
    for (int i = 3; i < count; ++i) {
      given.push_back(WithoutQuotes(arguments[i]));
    }
    Result<SqlTableEntry> entry = (*static_cast<const SqlTableCreator*>(creator))(given);
    if (!entry) {
      *error = sqlite3_mprintf("%s", entry.Why().Text().c_str());
      return SQLITE_ERROR;
    }
    return Connect(database, std::move(entry).Take(), table);
  });
}

int BestIndex(sqlite3_vtab* table, sqlite3_index_info* info) {
  return Guarded([&] { return Planner(TableOf(table), *info).Plan(); });
}

int Disconnect(sqlite3_vtab* table) {
  delete &TableOf(table);
  return SQLITE_OK;
}

int OpenRows(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor) {
  return Guarded([&] {
    auto open = std::make_unique<OpenCursor>();
    open->pVtab = table;
    open->rows = TableOf(table).table->Open();
    *cursor = open.release();
    return SQLITE_OK;
  });
}

int Close(sqlite3_vtab_cursor* cursor) {
  delete &CursorOf(cursor);
  return SQLITE_OK;
}

// The trace that a function was given.
Fault TakeTrace(const OpenTable& table, sqlite3_value* value, OpenCursor& cursor) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  cursor.traceName = text == nullptr ? "" : text;
  Result<std::shared_ptr<const SqlTrace>> trace = table.entry.open(cursor.traceName);
  if (!trace) {
    return trace.Why();
  }
  cursor.trace = std::move(trace).Take();
  return {};
}

Fault NoTrace(const OpenTable& table) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = table.entry.name;
  fault.reason = "no trace is named";
  fault.remedy = "name it, as in " + table.entry.name + "('run.trace')";
  return fault;
}

// All arguments but the trace are whole numbers. Nothing compares them again, so that any other
// would be answered as if it had not been there; NULL has no rows, as of all functions.
bool IsArgument(sqlite3_value* value) {
  const int type = sqlite3_value_numeric_type(value);
  NumberBounds bounds;
  bounds.Narrow(SQLITE_INDEX_CONSTRAINT_EQ, value);
  return type == SQLITE_NULL ||
         ((type == SQLITE_INTEGER || type == SQLITE_FLOAT) && !bounds.IsEmpty());
}

Fault WrongArgument(const std::string& trace, const SqlColumn& column, sqlite3_value* value) {
  constexpr int LONGEST = 40;  // bytes that are told
  const bool isShort =
      sqlite3_value_type(value) != SQLITE_BLOB && sqlite3_value_bytes(value) <= LONGEST;
  const auto* const text =
      isShort ? reinterpret_cast<const char*>(sqlite3_value_text(value)) : nullptr;
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = trace;
  fault.reason = "the argument " + column.name + " is a whole number from 0 on, and not " +
                 (text == nullptr ? "what it was given" : text);
  fault.remedy = "give such a number; max(0, ...) makes one of what may be less";
  return fault;
}

Fault CheckArguments(const OpenTable& table, const SqlTrace& trace, const SqlQuestion& question) {
  for (const SqlCondition& condition : question.conditions) {
    const SqlColumn& column = table.table->Columns()[condition.column];
    if (column.isArgument && !IsArgument(condition.value)) {
      return WrongArgument(trace.file.Name(), column, condition.value);
    }
  }
  return {};
}

Fault AskRows(OpenTable& table, OpenCursor& cursor, const char* text, bool backwards,
              sqlite3_value** values) {
  std::vector<Planned> plan;
  SqlQuestion question;
  question.columnsUsed = FromText(text, plan);
  question.backwards = backwards;
  cursor.trace = table.entry.trace;
  std::vector<SqlCondition> conditions;
  for (size_t i = 0; i < plan.size(); ++i) {
    if (table.IsTrace(plan[i].column)) {
      if (Fault fault = TakeTrace(table, values[i], cursor)) {
        return fault;
      }
    } else {
      conditions.push_back(
          {table.ColumnOf(plan[i].column), plan[i].comparison, values[i], plan[i].isSet});
    }
  }
  question.conditions = conditions;
  if (!cursor.trace) {
    return NoTrace(table);
  }
  if (Fault fault = CheckArguments(table, *cursor.trace, question)) {
    return fault;
  }
  return cursor.rows->Ask(*cursor.trace, question);
}

int Filter(sqlite3_vtab_cursor* cursor, int backwards, const char* plan, int /*count*/,
           sqlite3_value** values) {
  return Guarded([&] {
    OpenTable& table = TableOf(cursor);
    return ReportFault(table, AskRows(table, CursorOf(cursor), plan, backwards != 0, values));
  });
}

int NextRow(sqlite3_vtab_cursor* cursor) {
  return Guarded([&] { return ReportFault(TableOf(cursor), CursorOf(cursor).rows->Next()); });
}

int IsAtEnd(sqlite3_vtab_cursor* cursor) { return CursorOf(cursor).rows->IsAtEnd() ? 1 : 0; }

int TellColumn(sqlite3_vtab_cursor* cursor, sqlite3_context* to, int column) {
  return Guarded([&] {
    OpenTable& table = TableOf(cursor);
    OpenCursor& open = CursorOf(cursor);
    if (table.IsTrace(static_cast<size_t>(column))) {
      sqlite3_result_text(to, open.traceName.c_str(), -1, SQLITE_TRANSIENT);
      return SQLITE_OK;
    }
    return ReportFault(table, open.rows->Tell(table.ColumnOf(static_cast<size_t>(column)), to));
  });
}

int RowNumber(sqlite3_vtab_cursor* cursor, sqlite3_int64* number) {
  *number = CursorOf(cursor).rows->RowNumber();
  return SQLITE_OK;
}

// A module without xCreate has tables that are there without being created. None has xUpdate: no
// table can be written to.
constexpr sqlite3_module ModuleWith(decltype(sqlite3_module::xCreate) create,
                                    decltype(sqlite3_module::xConnect) connect) {
  sqlite3_module module = {};
  module.iVersion = 0;
  module.xCreate = create;
  module.xConnect = connect;
  module.xBestIndex = BestIndex;
  module.xDisconnect = Disconnect;
  module.xDestroy = Disconnect;
  module.xOpen = OpenRows;
  module.xClose = Close;
  module.xFilter = Filter;
  module.xNext = NextRow;
  module.xEof = IsAtEnd;
  module.xColumn = TellColumn;
  module.xRowid = RowNumber;
  return module;
}

constexpr sqlite3_module KNOWN = ModuleWith(nullptr, ConnectKnown);
constexpr sqlite3_module CREATED = ModuleWith(ConnectCreated, ConnectCreated);

template <class T>
void Delete(void* object) {
  delete static_cast<T*>(object);
}

}  // namespace

int AddSqlTable(sqlite3* database, SqlTableEntry entry) {
  auto* const kept = new SqlTableEntry(std::move(entry));
  return sqlite3_create_module_v2(database, kept->name.c_str(), &KNOWN, kept,
                                  Delete<SqlTableEntry>);
}

int AddSqlModule(sqlite3* database, const std::string& name, SqlTableCreator make) {
  return sqlite3_create_module_v2(database, name.c_str(), &CREATED,
                                  new SqlTableCreator(std::move(make)), Delete<SqlTableCreator>);
}

}  // namespace marrowfin
