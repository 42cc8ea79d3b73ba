#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "convert/import/ArrayLayout.h"
#include "convert/import/CaptureNotes.h"
#include "convert/import/Conversion.h"
#include "convert/import/Format.h"
#include "fuzz/Fuzz.h"
#include "trace/read/Reader.h"

// Bytes as a capture of events recorded on hardware: what comes out, and the fault behind it, must
// not depend on the portions in which they come; every event is accounted for, and the records are
// a well-formed trace of just as many. The first byte says whether odd events are faults.

namespace marrowfin::fuzz {

namespace {

struct Outcome {
  std::vector<uint8_t> trace;
  std::vector<uint8_t> notes;
  std::string fault;
  uint64_t records = 0;
};

uint64_t Sum(const auto& counts) {
  return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
}

void CheckEvents(const Capture& capture) {
  uint64_t skipped = 0;
  for (const Skipped& reason : capture.skipped) {
    skipped += reason.events;
  }
  Require(capture.eventsRead == skipped + capture.events.size(), "every event is accounted for");
}

Outcome Write(Capture capture, const ConversionOptions& options) {
  SortByTime(capture);
  const ArrayLayout layout(capture);
  Outcome outcome;
  if (const Fault fault = CheckArray(layout, "t")) {
    outcome.fault = fault.Text();
  } else if (const Fault many = CheckRecords(capture, options, "t")) {
    outcome.fault = many.Text();
  }
  if (!outcome.fault.empty()) {
    return outcome;
  }
  MemorySink trace;
  MemorySink noted;
  Writer writer;
  writer.Attach(trace);
  CaptureNotes notes(capture, noted);
  const Result<Account> account = WriteRecords(capture, layout, options, "t", writer, &notes, {});
  Require(static_cast<bool>(account), "what was let through can be written");
  Require(!notes.Close(), "notes can be written whatever is noted");
  Require(Sum(account->converted) == capture.events.size(), "every event is converted");
  Require(Sum(account->convertedRecords) == account->fires + account->sends,
          "records of events are fires and sends");
  outcome.records = account->fires + account->sends + account->frameRecords;
  outcome.trace = trace.Bytes();
  outcome.notes = noted.Bytes();
  return outcome;
}

Outcome Import(const uint8_t* data, size_t size, size_t portion, bool strict) {
  CharSource source;
  source.Open(std::make_unique<Trickle>(data, size, portion), "t");
  Result<Capture> capture = ImportFormats().front().read(source, {.strict = strict});
  if (!capture) {
    Outcome refused;
    refused.fault = capture.Why().Text();
    return refused;
  }
  CheckEvents(*capture);
  ConversionOptions options;
  options.mostRecords = 100000;
  return Write(std::move(*capture), options);
}

void CheckTrace(const Outcome& outcome) {
  Reader reader(MemorySource(outcome.trace.data(), outcome.trace.size()), "made");
  auto columns = std::make_unique<Columns>();
  uint64_t records = 0;
  while (reader.Next(*columns)) {
    records += columns->size;
  }
  Require(!reader.GetFault() && records == outcome.records, "the records are those of the account");
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace marrowfin::fuzz;
  if (size == 0) {
    return 0;
  }
  const bool strict = data[0] % 2 != 0;
  const Outcome whole = Import(data + 1, size - 1, 0, strict);
  const Outcome trickled = Import(data + 1, size - 1, 7, strict);
  Require(whole.trace == trickled.trace, "portions do not show in records");
  Require(whole.notes == trickled.notes, "portions do not show in notes");
  Require(whole.fault == trickled.fault, "portions do not show in faults");
  CheckTrace(whole);
  return 0;
}
