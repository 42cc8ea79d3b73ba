#include "sql/Query.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <optional>
#include <utility>

#include "sql/Advice.h"
#include "sql/FoldCounts.h"
#include "sql/LinkedSqlite.h"
#include "sql/ReadOnly.h"
#include "sql/SqlSchema.h"
#include "sql/SqlTable.h"
#include "sql/Sqlite.h"
#include "sql/TraceTables.h"

namespace marrowfin {

namespace {

constexpr char SQL[] = "SQL";  // what its faults name in place of a file

constexpr int LONGEST_VALUE = 64 << 20;    // bytes of a text that is put together
constexpr int OPERATIONS_A_LOOK = 100000;  // of SQLite, between two looks whether to go on

// While more is sorted or gathered it goes to temporary files; SQLite knows no other way to say so.
constexpr char SETTINGS[] = "pragma temp_store = file; pragma cache_size = -32768;";

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

Fault Refusal(const std::string& reason, const std::string& remedy) {
  Fault fault;
  fault.kind = Fault::REFUSED_INPUT;
  fault.file = SQL;
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

Fault SqliteFault(const std::string& reason, const std::string& remedy) {
  Fault fault = Refusal(reason, remedy);
  fault.kind = Fault::SYSTEM;
  return fault;
}

// A statement of a text, and where that begins.
struct Statement {
  std::unique_ptr<sqlite3_stmt, FinalizeStatement> prepared;
  size_t begin = 0;
};

template <class Number>
std::optional<Number> Parsed(const std::string& text) {
  Number number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
  return whole && !text.empty() ? std::optional(number) : std::nullopt;
}

int BindValue(sqlite3_stmt* statement, int number, const std::string& value) {
  if (const std::optional<int64_t> whole = Parsed<int64_t>(value)) {
    return sqlite3_bind_int64(statement, number, *whole);
  }
  if (const std::optional<double> real = Parsed<double>(value)) {
    return sqlite3_bind_double(statement, number, *real);
  }
  return sqlite3_bind_text64(statement, number, value.data(), value.size(), SQLITE_TRANSIENT,
                             SQLITE_UTF8);
}

SqlCell CellOf(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return int64_t{sqlite3_column_int64(statement, column)};
    case SQLITE_FLOAT:
      return sqlite3_column_double(statement, column);
    case SQLITE_TEXT: {
      const auto* const text =
          reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      return std::string_view(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)));
    }
    case SQLITE_BLOB: {
      const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
      return SqlBytes{
          std::string_view(bytes, static_cast<size_t>(sqlite3_column_bytes(statement, column)))};
    }
    default:
      return {};
  }
}

class SqliteQuery : public Query {
 public:
  explicit SqliteQuery(std::shared_ptr<const SqlTrace> trace)
      : trace(std::move(trace)), work(std::make_shared<SqlWork>()) {}

  Fault Open() {
    const auto* const functions = static_cast<const sqlite3_api_routines*>(LinkedSqlite());
    if (functions == nullptr) {
      throw std::bad_alloc();
    }
    if (!TakeSqlite(functions)) {
      return SqliteFault("this SQLite is too old", "use 3.38 or later");
    }
    sqlite3* opened = nullptr;
    const int rc =
        sqlite3_open_v2(":memory:", &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY, nullptr);
    database.reset(opened);
    // Of a database in memory nothing else can fail.
    if (rc != SQLITE_OK || !Configure()) {
      throw std::bad_alloc();
    }
    return {};
  }

  Fault Run(const std::string& sql, const SqlParameters& parameters, SqlAnswer& answer,
            const ProgressCallback& progress) override {
    work->progress = progress;
    work->fault = {};
    std::vector<Statement> statements;
    Fault fault = Prepare(sql, statements);
    if (!fault) {
      fault = BindAll(statements, parameters);
    }
    for (size_t i = 0; i < statements.size() && !fault; ++i) {
      fault = Tell(sql, statements[i], answer);
    }
    work->progress = {};
    return fault;
  }

  Fault Refused() const override { return work->refused; }

 private:
  // SQLite sets a table up when it is named first, in words that would be refused later.
  bool SetUp(const std::string& table) {
    sqlite3_stmt* prepared = nullptr;
    const std::string sql = "select 1 from \"" + table + "\"";
    const int rc = sqlite3_prepare_v2(database.get(), sql.c_str(), -1, &prepared, nullptr);
    sqlite3_finalize(prepared);
    return rc == SQLITE_OK;
  }

  // The tables of SQLite's own modules, as far as they have some without being created, and those
  // by which settings are told.
  void SetUpOthers() {
    std::vector<std::string> names;
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(database.get(), "select name from pragma_module_list", -1, &prepared,
                       nullptr);
    const std::unique_ptr<sqlite3_stmt, FinalizeStatement> modules(prepared);
    while (prepared != nullptr && sqlite3_step(prepared) == SQLITE_ROW) {
      names.emplace_back(std::get<std::string_view>(CellOf(prepared, 0)));
    }
    for (const std::string_view pragma : ReadOnly::Settings()) {
      names.push_back("pragma_" + std::string(pragma));
    }
    for (const std::string& name : names) {
      SetUp(name);
    }
  }

  bool Configure() {
    const bool set =
        sqlite3_exec(database.get(), SETTINGS, nullptr, nullptr, nullptr) == SQLITE_OK &&
        AddTraceTables(database.get(), trace, work) == SQLITE_OK;
    sqlite3_limit(database.get(), SQLITE_LIMIT_LENGTH, LONGEST_VALUE);
    sqlite3_limit(database.get(), SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_db_config(database.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    // Else a name in quotes that nothing has would be a text.
    sqlite3_db_config(database.get(), SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_progress_handler(database.get(), OPERATIONS_A_LOOK, IsStopped, work.get());
    SetUpOthers();
    const std::span<const TraceTable> tables = TraceTables();
    const bool ready =
        set && std::all_of(tables.begin(), tables.end(),
                           [&](const TraceTable& table) { return SetUp(table.name); });
    guard.Guard(database.get());
    return ready;
  }

  static int IsStopped(void* of) { return static_cast<SqlWork*>(of)->GoesOn() ? 0 : 1; }

  // All of them before the first one runs: what is wrong is told before anything else is.
  Fault Prepare(const std::string& sql, std::vector<Statement>& statements) {
    const size_t nothing = sql.find('\0');
    if (nothing != std::string::npos) {
      return Refusal(PlaceInText(sql, nothing) + ": a byte that is 0", "leave it out");
    }
    size_t begin = 0;
    while (begin < sql.size()) {
      guard.Forget();
      sqlite3_stmt* prepared = nullptr;
      const char* tail = nullptr;
      const int rc = sqlite3_prepare_v2(database.get(), sql.c_str() + begin, -1, &prepared, &tail);
      if (rc != SQLITE_OK) {
        return FaultOf(rc, sql, begin);
      }
      const auto end = static_cast<size_t>(tail - sql.c_str());
      if (prepared != nullptr) {
        std::unique_ptr<sqlite3_stmt, FinalizeStatement> owned(prepared);
        PreferCounts(sql.substr(begin, end - begin), owned);
        statements.push_back({std::move(owned), begin});
      }
      begin = end;
    }
    return statements.empty() ? Refusal("there is no statement", "ask something: select ...")
                              : Fault();
  }

  // Takes the counts of the index in place of a statement that makes them row by row.
  void PreferCounts(const std::string& text,
                    std::unique_ptr<sqlite3_stmt, FinalizeStatement>& statement) {
    const std::optional<std::string> folded = FoldedCounts(text);
    sqlite3_stmt* prepared = nullptr;
    if (!folded ||
        sqlite3_prepare_v2(database.get(), folded->c_str(), -1, &prepared, nullptr) != SQLITE_OK) {
      return;
    }
    std::unique_ptr<sqlite3_stmt, FinalizeStatement> counts(prepared);
    const int columns = sqlite3_column_count(statement.get());
    bool alike = columns == sqlite3_column_count(prepared);
    for (int i = 0; i < columns && alike; ++i) {
      alike = std::string_view(sqlite3_column_name(statement.get(), i)) ==
              sqlite3_column_name(prepared, i);
    }
    if (alike) {
      statement = std::move(counts);
    }
  }

  Fault BindAll(const std::vector<Statement>& statements, const SqlParameters& parameters) {
    SqlParameters unused = parameters;
    for (const Statement& statement : statements) {
      if (Fault fault = Bind(statement.prepared.get(), parameters, unused)) {
        return fault;
      }
    }
    return unused.empty() ? Fault()
                          : Refusal("no parameter is named '" + unused.begin()->first + "'",
                                    "write :" + unused.begin()->first + " where its value goes");
  }

  static Fault Bind(sqlite3_stmt* statement, const SqlParameters& parameters,
                    SqlParameters& unused) {
    for (int i = 1; i <= sqlite3_bind_parameter_count(statement); ++i) {
      const char* const named = sqlite3_bind_parameter_name(statement, i);
      const std::string name = named == nullptr ? std::to_string(i) : named + 1;
      const auto value = parameters.find(name);
      if (value == parameters.end()) {
        return Refusal("the parameter '" + name + "' has no value", "give it one");
      }
      if (BindValue(statement, i, value->second) != SQLITE_OK) {
        return Refusal("the value of the parameter '" + name + "' is too long",
                       "give a shorter one");
      }
      unused.erase(name);
    }
    return {};
  }

  Fault Tell(const std::string& sql, const Statement& statement, SqlAnswer& answer) {
    sqlite3_stmt* const prepared = statement.prepared.get();
    const int count = sqlite3_column_count(prepared);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
      names.emplace_back(sqlite3_column_name(prepared, i));
    }
    if (Fault fault = answer.Begin(names)) {
      return fault;
    }
    std::vector<SqlCell> cells(names.size());
    int rc = sqlite3_step(prepared);
    for (; rc == SQLITE_ROW; rc = sqlite3_step(prepared)) {
      for (int i = 0; i < count; ++i) {
        cells[static_cast<size_t>(i)] = CellOf(prepared, i);
      }
      if (Fault fault = answer.Row(cells)) {
        return fault;
      }
    }
    return rc == SQLITE_DONE ? answer.End() : FaultOf(rc, sql, statement.begin);
  }

  // Why a call on the statement that begins at a byte of a text failed.
  Fault FaultOf(int rc, const std::string& sql, size_t begin) {
    if (work->fault) {
      return std::exchange(work->fault, Fault());
    }
    if ((rc & 0xFF) == SQLITE_NOMEM) {
      throw std::bad_alloc();
    }
    const std::string message = sqlite3_errmsg(database.get());
    if (!guard.Refused().empty()) {
      return Refusal("queries only read, and this asks " + guard.Refused(), "ask with select");
    }
    switch (rc & 0xFF) {
      case SQLITE_INTERRUPT:
        return CancelledFault(trace->file.Name());
      case SQLITE_FULL:
      case SQLITE_IOERR:
      case SQLITE_CANTOPEN:
        return SqliteFault("what is sorted cannot be written: " + message,
                           "set SQLITE_TMPDIR to a folder that has room");
      default:
        return Wrong(message, sql, begin);
    }
  }

  Fault Wrong(const std::string& message, const std::string& sql, size_t begin) {
    const int byte = sqlite3_error_offset(database.get());
    const std::string place =
        byte < 0 ? "" : PlaceInText(sql, begin + static_cast<size_t>(byte)) + ": ";
    return Refusal(place + message, AdviceOn(message, SchemaOf(trace.get())));
  }

  const std::shared_ptr<const SqlTrace> trace;
  const std::shared_ptr<SqlWork> work;
  ReadOnly guard;
  std::unique_ptr<sqlite3, CloseDatabase> database;
};

}  // namespace

Result<std::unique_ptr<Query>> Query::Open(std::shared_ptr<const SqlTrace> trace) {
  auto query = std::make_unique<SqliteQuery>(std::move(trace));
  if (Fault fault = query->Open()) {
    return fault;
  }
  return std::unique_ptr<Query>(std::move(query));
}

}  // namespace marrowfin
