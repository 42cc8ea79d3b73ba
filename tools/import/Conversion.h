#ifndef TOOLS_IMPORT_CONVERSION_H
#define TOOLS_IMPORT_CONVERSION_H

#include <array>
#include <cstdint>
#include <string>

#include "tools/import/ArrayLayout.h"
#include "tools/import/Capture.h"
#include "tools/import/CharSource.h"
#include "tools/import/TraceWriter.h"

namespace marrowfin {

struct ConversionOptions {
  bool frame = true;                   // see Account::frameRecords
  uint64_t mostRecords = 100'000'000;  // a capture that becomes more is refused
};

// What became of each event of the input. Of the events read, each is counted once: under its kind
// in `converted`, or under the reason in Capture::skipped. An event may become several records.
struct Account {
  std::array<uint64_t, KIND_COUNT> converted = {};         // events
  std::array<uint64_t, KIND_COUNT> convertedRecords = {};  // records that they became
  uint64_t fires = 0;                                      // records written for events
  uint64_t messages = 0;                                   // the same

  // The viewer never shows the first record of a trace, and ends before it shows the rest of the
  // last cycle. So the importer puts one record before all others and one behind them, which draw
  // nothing: messages from the array's first position to itself, on a thread of their own.
  uint64_t frameRecords = 0;
  uint32 frameThread = 0;

  uint64_t origin = 0;     // time of the recording that became cycle 0
  uint64_t lastCycle = 0;  // of the last event
};

// Whether the records and the array of `capture` are of a size that can be asked for.
[[nodiscard]] MaybeFailure CheckSize(const Capture& capture, const ArrayLayout& layout,
                                     const ConversionOptions& options, const std::string& input);

// Brings the events into order of time; events of one time keep their order.
void SortByTime(Capture& capture);

// Writes the records of a sorted capture; the first event becomes cycle 0. `watcher`, if given, is
// told the events done. The writer's failure is returned by its Finish, not here.
Account WriteRecords(const Capture& capture, const ArrayLayout& layout,
                     const ConversionOptions& options, TraceWriter& writer,
                     const CharSource::Watcher& watcher);

// What was read, what became of it and how to look at it.
struct ImportReport {
  std::string format;
  std::string input;
  std::string output;
  const Capture& capture;
  const ArrayLayout& layout;
  const Account& account;
};

// For people and for programs. Both end in a line feed.
std::string ReportAsText(const ImportReport& report);
std::string ReportAsJson(const ImportReport& report);

}  // namespace marrowfin

#endif
