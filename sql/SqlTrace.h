#ifndef SQL_SQLTRACE_H
#define SQL_SQLTRACE_H

#include <memory>
#include <optional>
#include <string>

#include "trace/ask/NotesIndex.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/Companion.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What an index knows of the notes of a trace, opened when it is first of use. In one thread.
struct SqlNotes {
  bool wasSought = false;
  std::unique_ptr<NotesIndex> index;  // null where there is none to have
};

// A trace as tables ask it. What it refers to outlives the tables; the index is used by one thread
// at a time.
struct SqlTrace {
  const TraceSource& file;
  const Index& index;
  const Companion& companion;
  std::optional<ArrayShape> shape;  // nothing where no array shows the trace
  std::shared_ptr<SqlNotes> notes = std::make_shared<SqlNotes>();
};

// The array that is taken where nobody gives one: what the run told, where that holds what fired
// and transmitted, else what shows the whole trace. Threads: any number may call it at a time.
std::optional<ArrayShape> ArrayOf(const Companion& companion, const Summary& summary);

// Opens a trace, packed or not, with its index, which is built where it has to be, and what stands
// beside it. What comes back owns all that. Threads: any number may call it at a time.
[[nodiscard]] Result<std::shared_ptr<const SqlTrace>> OpenSqlTrace(
    const std::string& name, const ProgressCallback& progress = {});

// What is told and asked while tables are read: one for all tables of a connection, in whose thread
// it is used.
class SqlWork {
 public:
  // Called while records are gone through, with how far the statement is; may be empty.
  ProgressCallback progress;

  // Why the last statement failed, where a table met a fault; SQLite keeps its words alone.
  Fault fault;

  // Why notes were not believed, the first of it.
  Fault refused;

  // Goes on, or not. Of several scans under way the first one that reported tells how far the
  // statement is: those within it begin again and again.
  bool Report(const void* scan, const Progress& now);

  // A scan is over.
  void Leave(const void* scan);

  // Asks only whether to go on.
  bool GoesOn() { return !progress || progress(reached); }

 private:
  const void* lead = nullptr;
  Progress reached = {0, 0, Progress::RECORDS};
};

}  // namespace marrowfin

#endif
