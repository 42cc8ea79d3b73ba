#ifndef TOOLS_PROGRAM_QUERYLINES_H
#define TOOLS_PROGRAM_QUERYLINES_H

#include <memory>
#include <span>
#include <string>

#include "sql/Query.h"

namespace marrowfin {

// The forms in which the answers of SQL are told.
enum class QueryFormat { TEXT, CSV, JSON, JSON_LINES };

// Rows as text, row by row: what is not known of later ones is not waited for.
class QueryLines {
 public:
  virtual ~QueryLines() = default;

  // The answer of a statement. `out` is appended to; an earlier answer was ended.
  virtual void Begin(std::span<const std::string> names, std::string& out) = 0;
  virtual void Add(std::span<const SqlCell> cells, std::string& out) = 0;
  virtual void End(std::string& out) = 0;
};

std::unique_ptr<QueryLines> MakeQueryLines(QueryFormat format);

}  // namespace marrowfin

#endif
