#ifndef TRACE_READ_COMPANION_H
#define TRACE_READ_COMPANION_H

#include <memory>
#include <optional>

#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/read/NotesFile.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

class TraceSource;

// What stands beside a trace, or is packed with it: what tells of the run, and its notes. It never
// stands in the way of the trace: what is missing is not there, and of what is not believed a fault
// tells why.
//
// Notes are refused here where they are no notes, or where their first block is of other records
// than the first ones of the trace; further blocks are compared when they are read (NotesOfTrace).
//
// What is there may be read from several threads; Follow needs all of it for itself.
class Companion {
 public:
  // What is packed with the trace or, where there is no such thing, lies beside it.
  static Companion Beside(const TraceSource& trace);

  // The same of files that are at hand, wherever they are; null stands for one that is missing.
  static Companion Of(const TraceSource& trace, std::unique_ptr<PositionedFile> about,
                      std::unique_ptr<PositionedFile> notes);

  // What tells of the run; null where it is missing or not believed.
  const About* GetAbout() const { return about ? &*about : nullptr; }

  // Why it is not believed; no fault where it is, or is missing.
  const Fault& WhyNoAbout() const { return noAbout; }

  // The notes; null where they are missing or not believed. Where they end early NotesFile::End
  // tells why, and what came before is believed. They stay where they are while they are there.
  const NotesFile* Notes() const { return notes.get(); }

  // Why they are not believed; no fault where they are, or are missing.
  const Fault& WhyNoNotes() const { return noNotes; }

  // Looks beside the trace again, as it is now: for a run that goes on. Notes that are there go on;
  // where they were replaced, they are opened anew. A companion of given files stays as it is.
  void Follow(const TraceSource& trace);

 private:
  void TakeAbout(const TraceSource& trace, Result<std::unique_ptr<PositionedFile>> file);
  void TakeNotes(const TraceSource& trace, Result<std::unique_ptr<PositionedFile>> file);

  bool inFiles = false;
  std::optional<About> about;
  Fault noAbout;
  std::unique_ptr<NotesFile> notes;
  Fault noNotes;
};

}  // namespace marrowfin

#endif
