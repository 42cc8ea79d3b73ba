#ifndef CONVERT_IMPORT_CAPTURENOTES_H
#define CONVERT_IMPORT_CAPTURENOTES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "convert/import/Capture.h"
#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/Place.h"
#include "trace/write/ByteSink.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin {

// Writes the notes of a capture's trace: what each record was, of which no record tells.
//
// It is told of every record after the trace's writer was, in order. docs/import.md has the table
// of attributes.
class CaptureNotes {
 public:
  // `capture` and `sink` stay the caller's and outlive the notes.
  CaptureNotes(const Capture& capture, ByteSink& sink);

  // A record of an event; `to` counts for messages only.
  void Add(uint64_t cycle, Place at, Place to, const CaptureEvent& event);

  // A transmission of a switch, which was derived: nothing is noted of it.
  void AddSwitch(uint64_t cycle, uint32_t thread, Place at);

  // A record of the frame: a message from a place to itself.
  void AddFrame(uint64_t cycle, uint32_t thread, Place at);

  // Ends the notes. The first fault, if there was one.
  [[nodiscard]] Fault Close() { return writer.Close(); }

  // Tells by what the trace is recognised.
  void Recognise(About& about) const;

 private:
  uint32_t Declare(std::string_view attribute, const std::vector<std::string>& names);
  void Record(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to);
  void NoteName(uint32_t attribute, uint16_t number);

  NotesWriter writer;
  Fingerprint print;
  uint32_t printed = 0;

  // The attributes, by the numbers that the writer gave them.
  uint32_t kind;
  uint32_t phase;
  uint32_t name;
  uint32_t size;
  uint32_t network;
  uint32_t channel;
  uint32_t operation;
  uint32_t number;
};

}  // namespace marrowfin

#endif
