#ifndef TESTS_TRACE_EDIT_EDITEDTRACE_H
#define TESTS_TRACE_EDIT_EDITEDTRACE_H

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/trace/support/NotedTrace.h"
#include "trace/base/NotesFormat.h"
#include "trace/edit/NewTrace.h"
#include "trace/edit/RecordFeed.h"
#include "trace/write/ByteSink.h"

namespace marrowfin::testing {

// What is known of a trace: its records, what is noted of each by the names of attributes, and the
// samples of its counters.
struct Contents {
  struct Noted {
    std::string attribute;
    std::string value;
    friend bool operator==(const Noted&, const Noted&) = default;
  };

  std::vector<Event> events;
  std::vector<std::vector<Noted>> notes;  // of each record
  std::vector<CounterSample> samples;

  // Those of some records, in the order in which they are named; numbers of records in notes are
  // those of the new order, as far as such a record is there and comes before.
  Contents Picked(const std::vector<uint64_t>& records) const;

  friend bool operator==(const Contents&, const Contents&) = default;
};

// Reads both files, which must be good.
Contents ContentsOf(const std::string& trace, const std::string& notes);

// A trace that is made in memory.
struct MadeTrace {
  explicit MadeTrace(bool noted) : made(trace, noted ? &notes : nullptr) {}

  std::string TraceBytes() const { return {trace.Bytes().begin(), trace.Bytes().end()}; }
  std::string NotesBytes() const { return {notes.Bytes().begin(), notes.Bytes().end()}; }

  // What it holds, once it is closed here.
  Contents Close();

  MemorySink trace;
  MemorySink notes;
  NewTrace made;
};

// A feed of bytes in memory, which outlive it.
std::unique_ptr<RecordFeed> FeedOf(const std::string& bytes);

// The numbers of records in the order of their cycles, equal ones as they stand.
std::vector<uint64_t> InOrder(const std::vector<Event>& events);

// A random trace with notes, and as many samples as it has hundreds of records.
struct RandomNoted {
  RandomNoted(std::mt19937& random, size_t records, bool falling);

  OpenedNotes Open() const { return OpenedNotes(noted, bytes); }

  NotedEvents noted;
  std::string bytes;  // of the notes
};

}  // namespace marrowfin::testing

#endif
