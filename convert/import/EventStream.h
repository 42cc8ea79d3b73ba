#ifndef CONVERT_IMPORT_EVENTSTREAM_H
#define CONVERT_IMPORT_EVENTSTREAM_H

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "convert/import/Capture.h"
#include "convert/import/InputBytes.h"
#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Place.h"
#include "trace/base/Record.h"
#include "trace/base/Result.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin {

// What is noted of an event: a value of an attribute that was declared; reals as their bits.
struct StreamNote {
  uint32_t attribute;
  uint64_t value;
};

// An event of an input that becomes a record.
struct StreamEvent {
  uint32_t type = SEND_RECORD;
  uint64_t cycle = 0;
  uint32_t thread = 0;
  Place at;
  Place to;  // of a send
  std::vector<StreamNote> notes;
};

// What became of each event of the input so far: one that was read became a record or was skipped
// for a reason.
struct StreamCounts {
  uint64_t read = 0;
  std::array<Skipped, SKIP_COUNT> skipped;  // their `first` counts events from 0
};

// What a user says about the input.
struct StreamOptions {
  bool strict = false;                       // odd events are faults
  std::optional<uint32_t> width;             // columns of a mesh whose nodes are numbered by rows
  std::map<std::string, std::string> names;  // what the input calls what is known here
  bool renumbered = false;  // records get other numbers than the input has for its events
};

// Reads a recording whose events stand in order, one after the other, and holds none of them:
// memory does not grow with the input. Odd events are skipped and counted, unless the options are
// strict or nothing else comes. Threads: one at a time.
class EventStream {
 public:
  virtual ~EventStream() = default;

  // Reads what stands before all events. Attributes are declared to `notes`, then or when they are
  // met; it is null where nobody wants any, and outlives the stream.
  [[nodiscard]] virtual Fault Begin(NotesWriter* notes) = 0;

  // Replaces `event` by the next one that becomes a record, which is number `record` of the trace.
  // False at the end.
  [[nodiscard]] virtual Result<bool> Next(StreamEvent& event, uint64_t record) = 0;

  // Values that were given and are not noted: they do not fit the others of their name, or there
  // are more names than notes take.
  virtual uint64_t NotesLeftOut() const { return 0; }

  // What was told of the run, at the end.
  virtual void Describe(About&) const {}

  const StreamCounts& Counts() const { return counts; }

 protected:
  // Skips the event that was read last, or refuses it: `place` is where it stands.
  [[nodiscard]] Fault Skip(const StreamOptions& options, const InputBytes& input, SkipReason reason,
                           const std::string& place, const std::string& why);

  // The fault of an input none of whose events was understood; none where one was.
  Fault WhyNothing() const;

  StreamCounts counts;

 private:
  uint64_t allSkipped = 0;
  Fault firstOdd;
};

// A format that is read so.
struct StreamFormat {
  const char* name;     // as users write it
  const char* summary;  // a phrase

  // The thread of two records that draw nothing, before and behind all others: see
  // Account::frameRecords. Nothing where the trace is to be what the input says, to the byte.
  std::optional<uint32_t> frameThread;

  // Which of the options say something of it.
  bool takesWidth;
  bool takesNames;

  std::unique_ptr<EventStream> (*open)(InputBytes& input, const StreamOptions& options);
};

std::span<const StreamFormat> StreamFormats();

}  // namespace marrowfin

#endif
