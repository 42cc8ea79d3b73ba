#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "sql/Query.h"
#include "sql/SqlSchema.h"
#include "tools/program/AnswerTable.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/ExistingOutput.h"
#include "tools/program/Json.h"
#include "tools/program/OutputApart.h"
#include "tools/program/QueryAnswer.h"
#include "tools/program/QueryLines.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"
#include "tools/program/WatchBytes.h"

namespace marrowfin {
namespace {

constexpr char queryFooter[] =
    "Examples:\n"
    "  marrowfin-trace query run.trace --schema\n"
    "  marrowfin-trace query run.trace \"select col, row, count(*) from fires group by 1, 2\"\n"
    "  marrowfin-trace query run.trace \"select * from events order by record desc limit 10\"\n"
    "  marrowfin-trace query run.trace \"select * from activity(100, 900)\" --json\n"
    "  marrowfin-trace query run.trace \"select * from sends where cycle < :end\" --param end=99\n"
    "  marrowfin-trace query run.trace \"select * from state(100)\" --format csv -o state.csv\n"
    "\n"
    "The trace is read in place, and only what comparisons of record, cycle, step, type, thread,\n"
    "place, cluster and domain with values leave. SQL can write nothing. docs/query.md has more, "
    "and\n"
    "tells how to ask traces in any shell of SQLite.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off, 2 command line or SQL "
    "refused,\n"
    "3 the output cannot be written or nowhere is room for the index.";

constexpr std::pair<const char*, QueryFormat> QUERY_FORMATS[] = {
    {"text", QueryFormat::TEXT},
    {"csv", QueryFormat::CSV},
    {"json", QueryFormat::JSON},
    {"jsonl", QueryFormat::JSON_LINES}};

struct QueryFlags {
  std::string trace;
  std::optional<std::string> sql;
  std::optional<std::string> file;
  std::vector<std::string> parameters;
  std::string format = QUERY_FORMATS[0].first;
  bool json = false;
  bool schema = false;
  bool force = false;
  ShapeFlags shape;
  std::optional<std::string> output;

  QueryFormat Format() const {
    const std::string& name = json ? "json" : format;
    return std::find_if(std::begin(QUERY_FORMATS), std::end(QUERY_FORMATS),
                        [&](const auto& known) { return known.first == name; })
        ->second;
  }
};

std::vector<std::string> QueryFormatNames() {
  std::vector<std::string> names;
  for (const auto& [name, unused] : QUERY_FORMATS) {
    names.emplace_back(name);
  }
  return names;
}

MaybeFailure CheckOutput(const QueryFlags& flags) {
  if (!flags.output) {
    return std::nullopt;
  }
  if (MaybeFailure failure = CheckOutputApart(flags.trace, *flags.output)) {
    return failure;
  }
  if (flags.file && *flags.file != STANDARD_STREAM && AreOneOutput(*flags.file, *flags.output)) {
    return Failure{EXIT_USAGE, *flags.output + ": is the file with the SQL",
                   "Write to another file."};
  }
  return CheckNotThere(*flags.output, flags.force);
}

MaybeFailure CheckQueryFlags(const QueryFlags& flags) {
  const int given = (flags.sql ? 1 : 0) + (flags.file ? 1 : 0) + (flags.schema ? 1 : 0);
  if (given != 1) {
    return Failure{EXIT_USAGE, given == 0 ? "nothing is asked" : "several things are asked",
                   "Give the SQL, a file with it (--file), or --schema."};
  }
  if (MaybeFailure failure = CheckOutput(flags)) {
    return failure;
  }
  return flags.shape.Check();
}

MaybeFailure ReadParameters(const QueryFlags& flags, SqlParameters& parameters) {
  for (const std::string& given : flags.parameters) {
    const size_t sign = given.find('=');
    if (sign == std::string::npos || sign == 0) {
      return Failure{EXIT_USAGE, "--param " + given + ": no name and value",
                     "Write --param from=100 for the parameter :from."};
    }
    if (!parameters.emplace(given.substr(0, sign), given.substr(sign + 1)).second) {
      return Failure{EXIT_USAGE, "--param " + given + ": the parameter has a value already",
                     "Give it once."};
    }
  }
  return std::nullopt;
}

// Longer texts are refused by SQLite itself; nobody writes one of a gigabyte.
constexpr size_t LONGEST_SQL = 1000000;

MaybeFailure ReadAll(std::istream& from, const std::string& name, std::string& sql) {
  sql.resize(LONGEST_SQL + 1);
  from.read(sql.data(), static_cast<std::streamsize>(sql.size()));
  sql.resize(static_cast<size_t>(from.gcount()));
  if (from.bad() || (from.fail() && !from.eof())) {
    return SystemFailure(EXIT_INPUT, name, "read", "Name a file that you may read.");
  }
  return sql.size() > LONGEST_SQL
             ? MaybeFailure(Failure{EXIT_USAGE, name + ": more than a million bytes of SQL",
                                    "Ask in several runs."})
             : std::nullopt;
}

MaybeFailure ReadSql(const QueryFlags& flags, std::string& sql) {
  const std::string file = flags.file ? *flags.file : *flags.sql;
  if (MaybeFailure failure = CheckReadOnce({flags.trace, file})) {
    return failure;
  }
  if (file == STANDARD_STREAM) {
    return ReadAll(std::cin, "standard input", sql);
  }
  if (!flags.file) {
    sql = *flags.sql;
    return std::nullopt;
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    return SystemFailure(EXIT_INPUT, file, "open", "Name a file that you may read.");
  }
  return ReadAll(stream, file, sql);
}

// The trace with all that SQL asks of it, which refers to it.
struct OpenedTrace {
  IndexedTrace trace;
  std::optional<Companion> companion;

  std::shared_ptr<const SqlTrace> ForSql(const std::optional<ArrayShape>& shape) const {
    return std::make_shared<SqlTrace>(SqlTrace{*trace.file, *trace.index, *companion, shape});
  }
};

MaybeFailure OpenForSql(const QueryFlags& flags, const Console& console, OpenedTrace& opened) {
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, opened.trace)) {
    return failure;
  }
  opened.companion =
      OpenCompanion(*opened.trace.file, opened.trace.index->GetSummary().records, console);
  return std::nullopt;
}

// What is wrong with SQL is wrong with the command line.
Failure SqlFailureOf(const Fault& fault, const QueryFlags& flags) {
  Failure failure = IndexingFailureOf(fault, flags.trace);
  if (fault.kind == Fault::REFUSED_INPUT) {
    failure.code = EXIT_USAGE;
    failure.remedy = fault.remedy.empty() ? "'marrowfin-trace query TRACE --schema' lists all "
                                            "tables and columns."
                                          : failure.remedy;
  }
  return failure;
}

// A question that is asked.
struct Asking {
  const QueryFlags& flags;
  const Console& console;
  OpenedTrace& opened;
  const std::string& sql;
  const SqlParameters& parameters;
};

// Asks, with a line of progress.
Fault Ask(const Asking& asking, QueryAnswer& answer) {
  const std::optional<ArrayShape> shape = KnownShape(
      {asking.flags.shape, *asking.opened.companion, asking.opened.trace.index->GetSummary()});
  Result<std::unique_ptr<Query>> query = Query::Open(asking.opened.ForSql(shape));
  if (!query) {
    return query.Why();
  }
  const Interruption interruption;
  ProgressLine line(asking.console.terminal, "asking " + asking.flags.trace, "M records", 1e6);
  answer.Restart([&] { line.Hide(); });
  const Fault fault =
      (*query)->Run(asking.sql, asking.parameters, answer, [&](const Progress& now) {
        line.Update(now.done, now.all);
        return !interruption.Asked();
      });
  line.Hide();
  ReportRefused((*query)->Refused(), asking.console);
  return fault;
}

MaybeFailure TellAnswer(const Asking& asking, QueryLines& lines, TextOutput& output) {
  QueryAnswer answer(lines, output);
  const Fault fault =
      AskIndexed(asking.console, asking.opened.trace, [&] { return Ask(asking, answer); });
  if (answer.GetFailure() || !output.IsTaken()) {
    return answer.GetFailure();
  }
  if (fault) {
    // What was told so far is true; a file that lacks the rest is not kept.
    const MaybeFailure unwritten = asking.flags.output ? std::nullopt : output.Write();
    return unwritten ? unwritten : SqlFailureOf(fault, asking.flags);
  }
  if (MaybeFailure failure = output.Commit()) {
    return failure;
  }
  if (asking.flags.output) {
    std::ostream& out = AccountStream(asking.console, *asking.flags.output);
    out << LineFor(out, *asking.flags.output) << ": " << answer.Rows() << " rows\n";
  }
  const Fault& end = asking.opened.trace.index->GetSummary().end;
  return end ? MaybeFailure(CutShort(end)) : std::nullopt;
}

// What there is to be asked
// ------------------------------------------------------------------------

AnswerTable SchemaTable(const SqlSchema& schema) {
  AnswerTable table = {{"table", "column", "type", "meaning"}, {}};
  for (const SqlSchema::Table& each : schema.tables) {
    table.rows.push_back({each.name, std::string(), std::string(), each.meaning});
    for (const SqlSchema::Column& column : each.columns) {
      table.rows.push_back({each.name, column.name, column.type, column.meaning});
    }
  }
  return table;
}

std::string SchemaText(const SqlSchema& schema) {
  size_t width = 0;
  for (const SqlSchema::Table& table : schema.tables) {
    for (const SqlSchema::Column& column : table.columns) {
      width = std::max(width, column.name.size());
    }
  }
  std::string text;
  for (const SqlSchema::Table& table : schema.tables) {
    text += (text.empty() ? "" : "\n") + table.name + ": " + table.meaning + "\n";
    for (const SqlSchema::Column& column : table.columns) {
      std::string type = column.type.empty() ? "any" : column.type;
      type.resize(std::max<size_t>(type.size(), 7), ' ');
      text += "  " + column.name + std::string(width - column.name.size(), ' ') + "  " + type +
              "  " + column.meaning + "\n";
    }
  }
  return text;
}

nlohmann::json SchemaJson(const SqlSchema& schema) {
  nlohmann::json tables = nlohmann::json::array();
  for (const SqlSchema::Table& table : schema.tables) {
    nlohmann::json columns = nlohmann::json::array();
    for (const SqlSchema::Column& column : table.columns) {
      columns.push_back({{"name", column.name},
                         {"type", column.type},
                         {"meaning", column.meaning},
                         {"argument", column.isArgument}});
    }
    tables.push_back({{"table", table.name}, {"meaning", table.meaning}, {"columns", columns}});
  }
  return tables;
}

MaybeFailure TellSchema(const QueryFlags& flags, const SqlSchema& schema, TextOutput& output) {
  switch (flags.Format()) {
    case QueryFormat::TEXT:
      output.Text() = SchemaText(schema);
      break;
    case QueryFormat::CSV:
      output.Text() = TableCsv(SchemaTable(schema));
      break;
    default:
      output.Text() = JsonText(SchemaJson(schema));
  }
  return output.Commit();
}

MaybeFailure RunQuery(const QueryFlags& flags, const Console& console) {
  SqlParameters parameters;
  std::string sql;
  if (MaybeFailure failure = CheckQueryFlags(flags)) {
    return failure;
  }
  if (MaybeFailure failure = ReadParameters(flags, parameters)) {
    return failure;
  }
  if (!flags.schema) {
    if (MaybeFailure failure = ReadSql(flags, sql)) {
      return failure;
    }
  }
  OpenedTrace opened;
  if (MaybeFailure failure = OpenForSql(flags, console, opened)) {
    return failure;
  }
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  if (flags.schema) {
    return TellSchema(flags, SchemaOf(opened.ForSql({}).get()), output);
  }
  const std::unique_ptr<QueryLines> lines = MakeQueryLines(flags.Format());
  return TellAnswer({flags, console, opened, sql, parameters}, *lines, output);
}

Action ConfigureQuery(CLI::App& app) {
  const auto flags = std::make_shared<QueryFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  app.add_option("SQL", flags->sql, "What is asked; - is standard input");
  app.add_option("-f,--file", flags->file, "Read the SQL from this file; - is standard input");
  app.add_option("--param", flags->parameters,
                 "The value of a parameter, NAME=VALUE: of :from, @from or $from its NAME is from, "
                 "of the second ? it is 2")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
  app.add_flag("--schema", flags->schema, "Tell what there is to be asked: tables and columns");
  app.add_option("--format", flags->format,
                 "text, csv, json (a list of objects), or jsonl: an object a line")
      ->check(CLI::IsMember(QueryFormatNames()))
      ->capture_default_str();
  app.add_flag("--json", flags->json, "The same as --format json");
  AddTextOutput(app, flags->output, flags->force);
  flags->shape.Declare(app);
  return [flags](const Console& console) { return RunQuery(*flags, console); };
}

}  // namespace

extern const Subcommand querySubcommand = {"query", "Ask a trace in SQL", queryFooter,
                                           ConfigureQuery};

}  // namespace marrowfin
