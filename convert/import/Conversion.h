#ifndef CONVERT_IMPORT_CONVERSION_H
#define CONVERT_IMPORT_CONVERSION_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "convert/import/ArrayLayout.h"
#include "convert/import/Capture.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/write/Writer.h"

namespace marrowfin {

class CaptureNotes;

struct ConversionOptions {
  bool frame = true;                   // see Account::frameRecords
  uint64_t mostRecords = 100'000'000;  // a capture that becomes more is refused

  // Where given, transmissions of the switches on the way of each message are derived (SwitchRoute)
  // for this array, and stand behind it.
  std::optional<ArrayShape> switchesOf = {};
};

// What became of each event of the input. Of the events read, each is counted once: under its kind
// in `converted`, or under the reason in Capture::skipped. An event may become several records.
struct Account {
  std::array<uint64_t, KIND_COUNT> converted = {};         // events
  std::array<uint64_t, KIND_COUNT> convertedRecords = {};  // records that they became
  uint64_t fires = 0;                                      // records written for events
  uint64_t sends = 0;                                      // the same
  uint64_t derived = 0;                                    // transmissions of switches
  uint64_t withoutRoute = 0;                               // sends off the array of the switches

  // The viewer never shows the first record of a trace, and ends before it shows the rest of the
  // last cycle. So the importer puts one record before all others and one behind them, which draw
  // nothing: messages from the array's first position to itself, on a thread of their own.
  uint64_t frameRecords = 0;
  uint32_t frameThread = 0;

  uint64_t origin = 0;     // time of the recording that became cycle 0
  uint64_t lastCycle = 0;  // of the last event

  uint64_t Records() const { return fires + sends + derived + frameRecords; }
};

// Whether the array, and the number of records, are of a size that can be asked for. `input` is for
// messages.
[[nodiscard]] Fault CheckArray(const ArrayLayout& layout, const std::string& input);
[[nodiscard]] Fault CheckRecords(const Capture& capture, const ConversionOptions& options,
                                 const std::string& input);

// Brings the events into order of time; events of one time keep their order.
void SortByTime(Capture& capture);

// Writes the records of a sorted capture and flushes the writer; the first event becomes cycle 0.
// More records than may be, which derived ones alone can bring about, are a fault that names
// `input`. `notes`, if there are any, are told of each record; ending them is left to the caller.
// `progress` counts events.
[[nodiscard]] Result<Account> WriteRecords(const Capture& capture, const ArrayLayout& layout,
                                           const ConversionOptions& options,
                                           const std::string& input, Writer& writer,
                                           CaptureNotes* notes, const ProgressCallback& progress);

}  // namespace marrowfin

#endif
