#ifndef TOOLS_PROGRAM_EVENTLINES_H
#define TOOLS_PROGRAM_EVENTLINES_H

#include <memory>
#include <optional>
#include <string>

#include "trace/ask/EventFilter.h"
#include "trace/base/ArrayShape.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What is known about a trace whose events are written.
struct EventNaming {
  const Summary& summary;           // tells how wide columns have to be
  std::optional<ArrayShape> shape;  // tells switches by their clusters
};

// Events as lines of text, in one of the forms in which they are listed.
class EventLines {
 public:
  virtual ~EventLines() = default;

  // Appends what stands before all events, which may be nothing.
  virtual void Begin(std::string& out) = 0;

  // Appends an event.
  virtual void Add(const TraceEvent& event, std::string& out) = 0;

  // Appends what is told instead of events where only their number is asked for.
  virtual void Count(uint64_t events, std::string& out) = 0;
};

enum class EventFormat { TEXT, CSV, JSON_LINES };

// `naming` outlives what is made.
std::unique_ptr<EventLines> MakeEventLines(EventFormat format, const EventNaming& naming);

}  // namespace marrowfin

#endif
