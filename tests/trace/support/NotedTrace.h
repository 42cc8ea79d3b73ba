#ifndef TESTS_TRACE_SUPPORT_NOTEDTRACE_H
#define TESTS_TRACE_SUPPORT_NOTEDTRACE_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/NotesFormat.h"
#include "trace/read/NotesFile.h"

namespace marrowfin::testing {

// Attributes of the notes that RandomNotes makes, one of each type, and one that every event has.
enum { KIND = 0, PACKET = 1, CREATED = 2, ENERGY = 3, CONSUMES = 4, SIZE = 5, NOTE_ATTRIBUTES = 6 };

// Events, and of each attribute the values that each of them has.
struct NotedEvents {
  std::vector<Event> events;
  std::vector<std::vector<uint64_t>> values[NOTE_ATTRIBUTES];
};

NotedEvents RandomNotes(std::mt19937& random, std::vector<Event> events);

// The notes file, in blocks of about so many records; with samples of a counter, if asked.
std::string NotesBytes(const NotedEvents& noted, std::mt19937& random, size_t blockRecords,
                       bool samples = false);

// A condition that some of the events meet.
NoteCondition RandomCondition(std::mt19937& random, const NotedEvents& noted);

// Whether an event meets it, by looking at its values.
bool Meets(const NotedEvents& noted, size_t record, const NoteCondition& condition);

// What a filter and conditions let through, by looking at every event: the numbers of the records.
std::vector<uint64_t> Expected(const NotedEvents& noted, const EventFilter& filter,
                               const std::vector<NoteCondition>& conditions);

// Notes in memory that are good.
std::unique_ptr<NotesFile> OpenNotes(const std::string& bytes);

// An opened trace with its notes.
struct OpenedNotes {
  OpenedNotes(const NotedEvents& noted, const std::string& bytes)
      : opened(Encode(noted.events)), notes(OpenNotes(bytes)) {}

  Opened opened;
  std::unique_ptr<NotesFile> notes;
};

}  // namespace marrowfin::testing

#endif
