#ifndef TRACE_WRITE_NOTEHANDLES_H
#define TRACE_WRITE_NOTEHANDLES_H

#include <cstdint>

#include "trace/base/NotesFormat.h"

namespace marrowfin {

// What a Recorder hands out for what was declared and recorded. Each has a type of its own, so that
// a cycle is not noted where a number is meant, and no name of one attribute as that of another.
//
// One that was made by itself, or by a recorder without a companion, stands for nothing: what is
// noted by it is passed over. One of another recording means nothing here.

// The number of a record of the trace, counted from 0.
enum class RecordNumber : uint64_t {};

// An attribute that records may have. Threads: a value, which one thread writes or any number read.
template <NoteType TYPE>
class NoteHandle {
 public:
  NoteHandle() = default;

 private:
  friend class Recorder;
  explicit NoteHandle(uint32_t number) : number(number) {}

  uint32_t number = NOTES_MOST_ATTRIBUTES;
};

using NumberNote = NoteHandle<NoteType::NUMBER>;
using RealNote = NoteHandle<NoteType::REAL>;
using CycleNote = NoteHandle<NoteType::CYCLE>;
using NameNote = NoteHandle<NoteType::NAME>;
using RecordsNote = NoteHandle<NoteType::RECORDS>;

// A value with a name, of the attribute for which it was declared.
class NamedValue {
 public:
  NamedValue() = default;

 private:
  friend class Recorder;
  NamedValue(uint32_t attribute, uint64_t value) : attribute(attribute), value(value) {}

  uint32_t attribute = NOTES_MOST_ATTRIBUTES;
  uint64_t value = 0;
};

// Something that has a value at places of the array at all times.
class CounterHandle {
 public:
  CounterHandle() = default;

 private:
  friend class Recorder;
  explicit CounterHandle(uint32_t number) : number(number) {}

  uint32_t number = NOTES_MOST_COUNTERS;
};

}  // namespace marrowfin

#endif
