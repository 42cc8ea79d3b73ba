#ifndef TRACE_EDIT_NEWTRACE_H
#define TRACE_EDIT_NEWTRACE_H

#include <cstdint>
#include <optional>

#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Place.h"
#include "trace/write/ByteSink.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Writer.h"

namespace marrowfin {

// A trace that is made of other traces, with its notes: what stands under cutting, sorting, merging
// and moving. Unlike a Recorder it takes records as they come, cycles that fall too, and values of
// notes by their numbers; where its bytes go is the caller's.
//
// One thread at a time.
class NewTrace {
 public:
  // The sinks outlive it. Without one for notes, whatever is noted is passed over.
  NewTrace(ByteSink& trace, ByteSink* notes);
  NewTrace(const NewTrace&) = delete;
  NewTrace& operator=(const NewTrace&) = delete;

  bool HasNotes() const { return notes.has_value(); }

  // Declares all of it, numbered as there; once, before anything is added.
  void Declare(const NoteDeclarations& declarations);

  void Add(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to);

  // A value of the record that was added last. One of the type RECORDS that is no earlier record is
  // left out.
  void Note(uint32_t attribute, uint64_t value) {
    if (notes) {
      static_cast<void>(notes->Note(attribute, value));
    }
  }
  void Sample(const CounterSample& sample) {
    if (notes) {
      notes->Sample(sample);
    }
  }

  // Ends both. The first fault, if there was one.
  [[nodiscard]] Fault Close();

  // The first fault so far.
  const Fault& GetFault() const { return fault ? fault : writer.GetFault(); }

  uint64_t Records() const { return records; }
  uint64_t Bytes() const { return bytes; }

  // By what the trace is recognised, once it is closed.
  void Recognise(About& about) const;

 private:
  Writer writer;
  std::optional<NotesWriter> notes;
  Fingerprint print;  // of the first records
  uint64_t records = 0;
  uint64_t bytes = 0;
  Fault fault;
};

}  // namespace marrowfin

#endif
