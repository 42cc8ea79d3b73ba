#ifndef EXPLORER_SERVER_MARKS_H
#define EXPLORER_SERVER_MARKS_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "explorer/core/Refusal.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Moments that somebody gave a name, kept beside the trace as run.trace.marks
// (docs/marks-format.md): the one thing that the explorer writes besides indexes, and only when it
// is asked to.

// A moment, and the piece of the array that was looked at there.
struct Mark {
  std::string name;
  uint64_t cycle = 0;
  std::string kind;               // "pe", "switch", "domain", "cluster", "link"; empty: no piece
  std::vector<uint64_t> at = {};  // column and row of the piece
  std::string heading;            // of a link: "right", "left", "up" or "down"

  friend bool operator==(const Mark&, const Mark&) = default;
};

// Marks as they were sent, and the state of the file that they are to replace.
struct SentMarks {
  std::vector<Mark> marks;
  std::string over;  // as KeptMarks has it
};

// Reads what was sent: {"over":"...","marks":[...]}, of which nothing is believed. Trouble where it
// is anything else.
std::optional<SentMarks> ParseSentMarks(std::string_view text, MaybeRefusal& trouble);

// Marks beside a trace.
struct KeptMarks {
  std::vector<Mark> marks;
  std::string state;  // another one for other bytes of the file; empty where there is none
};

// The file of marks of a trace.
std::string MarksFileOf(const std::string& trace);

// What stands beside a trace. Nothing is no fault; a file that is none of marks is.
[[nodiscard]] Result<KeptMarks> ReadMarks(const std::string& trace);

// Writes marks beside a trace: all of them or none. A CHANGED fault where the file is not in the
// state `over` any more: somebody else has written it meanwhile. Threads: one at a time for a
// trace.
[[nodiscard]] Fault SaveMarks(const std::string& trace, const SentMarks& sent);

// Marks as the page is told them: {"state":"...","marks":[...]}.
std::string MarksReply(const KeptMarks& kept);

}  // namespace marrowfin

#endif
