#ifndef CONVERT_IMPORT_STREAMIMPORT_H
#define CONVERT_IMPORT_STREAMIMPORT_H

#include <cstdint>
#include <optional>
#include <unordered_set>

#include "convert/import/EventStream.h"
#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/base/Fingerprint.h"
#include "trace/read/Summary.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Writer.h"

namespace marrowfin {

struct StreamImportOptions {
  std::optional<uint32_t> frameThread;  // as StreamFormat::frameThread; nothing for no frame

  // Where given, transmissions of the switches on the way of each message are derived (SwitchRoute)
  // and stand behind it, at its cycle: nothing tells when they were.
  std::optional<ArrayShape> switchesOf;

  uint64_t mostRecords = ~uint64_t{0};  // an input that becomes more is refused
};

// What became of an input that was read as a stream.
struct StreamAccount {
  StreamCounts counts;
  uint64_t fires = 0;  // records of events, by type
  uint64_t sends = 0;
  uint64_t switches = 0;
  uint64_t derived = 0;       // transmissions that were derived
  uint64_t withoutRoute = 0;  // messages for which none could be: an end is not on the array
  uint64_t frameRecords = 0;
  uint64_t notesLeftOut = 0;
  uint64_t falls = 0;       // records whose cycle is below that of the record before
  uint64_t firstCycle = 0;  // the lowest of the events
  uint64_t lastCycle = 0;   // the highest

  uint64_t Records() const { return fires + sends + switches + derived + frameRecords; }
};

// Turns a stream of events into a trace, record by record, and its notes. Threads: one at a time.
class StreamImport {
 public:
  // All but the options outlive it; `notes` is null where there are none.
  StreamImport(EventStream& stream, const StreamImportOptions& options, Writer& writer,
               NotesWriter* notes)
      : stream(stream), options(options), writer(writer), notes(notes) {}

  // Reads all of the stream, and flushes the writer; closing the notes is left to the caller. A
  // fault of the writer has its file, one of the input that of the input.
  [[nodiscard]] Fault Write(const std::string& input);

  const StreamAccount& GetAccount() const { return account; }

  // What the stream told of the run, and by what its trace is recognised.
  About Describe() const;

  // An array that shows the whole trace, where there is one.
  std::optional<ArrayShape> View() const;

 private:
  void WriteEvent(const StreamEvent& event);
  void WriteFrame(uint64_t cycle);
  void Derive(const StreamEvent& event);
  void Put(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to);
  void Include(const StreamEvent& event);
  void IncludeSwitch(Place at);

  EventStream& stream;
  const StreamImportOptions options;
  Writer& writer;
  NotesWriter* notes;
  StreamAccount account;
  uint64_t records = 0;
  uint64_t previousCycle = 0;
  Fingerprint print;
  uint32_t printed = 0;
  Summary extents;  // what View needs of it
  std::unordered_set<uint64_t> switchPlaces;
};

}  // namespace marrowfin

#endif
