#ifndef TRACE_BASE_TYPENAMES_H
#define TRACE_BASE_TYPENAMES_H

#include <cstdint>

#include "trace/base/NotesFormat.h"
#include "trace/base/Record.h"

namespace marrowfin {

// What types are called wherever they are told: in JSON, in CSV, to people. Threads: functions that
// any number may call at a time.

// Of a known type.
constexpr const char* RecordTypeName(uint32_t type) {
  return type == FIRE_RECORD ? "fire" : type == SEND_RECORD ? "send" : "switch";
}

constexpr const char* NoteTypeName(NoteType type) {
  switch (type) {
    case NoteType::NUMBER:
      return "number";
    case NoteType::REAL:
      return "real";
    case NoteType::CYCLE:
      return "cycle";
    case NoteType::NAME:
      return "name";
    case NoteType::RECORDS:
      break;
  }
  return "records";
}

}  // namespace marrowfin

#endif
