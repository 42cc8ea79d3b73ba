#ifndef TOOLS_PROGRAM_EVENTLIST_H
#define TOOLS_PROGRAM_EVENTLIST_H

#include <cstdint>
#include <optional>
#include <vector>

#include "convert/export/EventLines.h"
#include "tools/program/Failure.h"
#include "tools/program/NotesInput.h"
#include "tools/program/Subcommand.h"
#include "tools/program/TextOutput.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// Which events of a trace are asked for. All of it outlives whoever asks.
struct EventQuestion {
  IndexedTrace& trace;
  const NotesFile* notes;  // null where there are none
  const NotedFilter& filter;
  const Console& console;
  bool watched;  // whether the answer and the progress go to one terminal
};

// How many of them, and in which order.
struct ListOrder {
  uint64_t most = ~uint64_t{0};
  bool last = false;  // the last ones
  bool backwards = false;
};

// How many events there are.
[[nodiscard]] Result<NotedAnswer<uint64_t>> CountEvents(const EventQuestion& question);

// A list of events that is written as it is found.
class EventList {
 public:
  EventList(const EventQuestion& question, const ListOrder& order, EventLines& lines,
            TextOutput& output)
      : question(question), order(order), lines(lines), output(output), left(order.most) {}

  // Writes the events. Called again behind a fault, with an index that was built anew meanwhile, it
  // goes on behind those that it has written: they came from the trace itself.
  [[nodiscard]] Fault Write();

  // Why the output cannot be written, which ends the list without a fault.
  const MaybeFailure& GetFailure() const { return failure; }

  // Why notes were not believed, if any were not.
  const Fault& Refused() const { return refused; }

  uint64_t Written() const { return written; }

  // Whether there are as many as were wanted, and nothing behind the end of the trace could have
  // been among them.
  bool IsSated() const { return left == 0 && !order.backwards && !order.last; }

 private:
  template <class Cursor>
  Fault WriteFrom(Cursor& cursor, NotesOfTrace* notes, const std::function<void()>& beforeOutput);
  template <class Cursor>
  uint64_t FirstPlace(Cursor& cursor) const;
  Fault Add(const Selection& found, NotesOfTrace* notes);
  void Begin();

  const EventQuestion& question;
  const ListOrder order;
  EventLines& lines;
  TextOutput& output;
  bool begun = false;
  uint64_t left;
  uint64_t written = 0;
  std::optional<uint64_t> place;  // before which record the list goes on
  MaybeFailure failure;
  Fault refused;
  std::vector<const NoteValues*> values;
};

}  // namespace marrowfin

#endif
