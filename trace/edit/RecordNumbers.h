#ifndef TRACE_EDIT_RECORDNUMBERS_H
#define TRACE_EDIT_RECORDNUMBERS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Which number each record of a trace has in a trace that is made of it: notes name records by
// their numbers. Kept in a file without a name, eight bytes a record, of which some megabytes are
// in memory: so memory does not follow the trace, and numbers that are asked for soon after they
// were told, as nearly all are, cost no reading.
//
// One thread at a time.
class RecordNumbers {
 public:
  // The file is made when it is needed, in $TMPDIR or /tmp.
  RecordNumbers() = default;
  RecordNumbers(const RecordNumbers&) = delete;
  RecordNumbers& operator=(const RecordNumbers&) = delete;
  ~RecordNumbers();

  // That record `from` is record `to` of the new trace.
  [[nodiscard]] Fault Put(uint64_t from, uint64_t to);

  // The new number of a record; nothing where it has none, or not yet.
  [[nodiscard]] Result<std::optional<uint64_t>> Of(uint64_t from);

 private:
  static constexpr size_t PAGE_NUMBERS = 4096;
  static constexpr size_t PAGES = 128;  // in memory
  static constexpr uint64_t NO_PAGE = ~uint64_t{0};

  // New numbers plus one; 0 where there is none.
  struct Page {
    uint64_t number = NO_PAGE;
    bool changed = false;
    std::vector<uint64_t> values;
  };

  Result<Page*> Load(uint64_t number);
  Fault Open();
  Fault WriteBack(Page& page);

  int descriptor = -1;
  std::vector<Page> pages = std::vector<Page>(PAGES);  // each number has one where it may be
};

}  // namespace marrowfin

#endif
