#ifndef CONVERT_EXPORT_EVENTLINES_H
#define CONVERT_EXPORT_EVENTLINES_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "trace/ask/EventSteps.h"
#include "trace/ask/NoteValues.h"
#include "trace/ask/Selection.h"
#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/NotesFormat.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What is known about a trace whose events are written.
struct EventNaming {
  const Summary& summary;                   // tells how wide columns have to be
  std::optional<ArrayShape> shape;          // tells switches by their clusters
  const About* about = nullptr;             // names threads and places; null where nobody did
  const NoteDeclarations* notes = nullptr;  // what a column is told of each; null where nothing is
};

// Records of a batch, and the values of each attribute that the notes declare, in that order.
struct NotedSelection {
  const Selection& found;
  std::span<const NoteValues* const> notes;
  const EventSteps* steps = nullptr;  // of the batch's rows, for who wants them
};

// Events as lines of text, in one of the forms in which they are listed.
class EventLines {
 public:
  virtual ~EventLines() = default;

  // Takes a look at events that are going to be added.
  virtual void Meet(const NotedSelection&) {}

  // Appends what stands before all events, which may be nothing. The first of them were met, if
  // there are any.
  virtual void Begin(std::string& out) = 0;

  // Appends the i-th event of a selection.
  virtual void Add(const NotedSelection& from, size_t i, std::string& out) = 0;

  // Appends the first `size` events of it. Forms that can do better than one by one do.
  virtual void AddFirst(const NotedSelection& from, size_t size, std::string& out) {
    for (size_t i = 0; i < size; ++i) {
      Add(from, i, out);
    }
  }

  // Appends what is told instead of events where only their number is asked for.
  virtual void Count(uint64_t events, std::string& out) = 0;
};

}  // namespace marrowfin

#endif
