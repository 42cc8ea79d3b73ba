#ifndef CONVERT_IMPORT_CSVROWS_H
#define CONVERT_IMPORT_CSVROWS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "convert/import/InputBytes.h"
#include "trace/base/Fault.h"

namespace marrowfin {

// The rows of a table of comma-separated values. Threads: one at a time.
class CsvRows {
 public:
  static constexpr size_t LONGEST_ROW = 1 << 20;  // bytes
  static constexpr size_t MOST_FIELDS = 4096;

  explicit CsvRows(InputBytes& input) : input(input) {}

  // Replaces `fields` by those of the next row; lines without anything are passed over. False at
  // the end, and where a fault was met.
  bool Next(std::vector<std::string>& fields);

  // On which line the row began, counted from 1.
  uint64_t Line() const { return rowLine; }

  const Fault& GetFault() const { return fault; }

 private:
  bool TakeField(std::string& field);
  void TakeQuoted(std::string& field);
  void Refuse(const char* why);
  bool Count();

  InputBytes& input;
  uint64_t line = 1;
  uint64_t rowLine = 1;
  size_t size = 0;  // bytes of the row so far
  Fault fault;
};

}  // namespace marrowfin

#endif
