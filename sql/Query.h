#ifndef SQL_QUERY_H
#define SQL_QUERY_H

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sql/SqlTrace.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// A value of SQL. Texts and bytes are those of who handed it out.
struct SqlBytes {
  std::string_view bytes;
};
typedef std::variant<std::monostate, int64_t, double, std::string_view, SqlBytes> SqlCell;

// Takes what a statement tells, as it is found. A fault ends the statement.
class SqlAnswer {
 public:
  virtual ~SqlAnswer() = default;

  // A statement that tells rows begins. Names are of its columns, as SQL has them.
  [[nodiscard]] virtual Fault Begin(std::span<const std::string> names) = 0;

  // A row, good until the call returns.
  [[nodiscard]] virtual Fault Row(std::span<const SqlCell> cells) = 0;

  [[nodiscard]] virtual Fault End() = 0;
};

// Values of parameters, by their names without the sign before them: of `:from` that is "from", of
// `?2` it is "2". What looks like a number is one.
typedef std::map<std::string, std::string> SqlParameters;

// SQL over a trace. Nothing can be written by it: no file is made or opened, no other database
// attached, no setting changed, no extension loaded. What SQLite sorts and gathers goes to
// temporary files where it is much, so memory is bounded, whatever is asked.
//
// In one thread. The trace outlives it.
class Query {
 public:
  [[nodiscard]] static Result<std::unique_ptr<Query>> Open(std::shared_ptr<const SqlTrace> trace);
  virtual ~Query() = default;

  // Runs all statements of a text in turn. A REFUSED_INPUT fault where SQL is wrong, which names
  // line and column and the nearest name that there is; CANCELLED where `progress`, which counts
  // records of the trace, asked to stop; else the fault of the trace, or of `answer`.
  [[nodiscard]] virtual Fault Run(const std::string& sql, const SqlParameters& parameters,
                                  SqlAnswer& answer, const ProgressCallback& progress = {}) = 0;

  // Why notes of the trace were not believed, if any were not.
  virtual Fault Refused() const = 0;
};

}  // namespace marrowfin

#endif
