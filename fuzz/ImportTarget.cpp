#include <memory>
#include <string>
#include <vector>

#include "convert/import/EventStream.h"
#include "convert/import/StreamImport.h"
#include "fuzz/Fuzz.h"
#include "trace/read/Reader.h"

// Bytes as a recording of the format MARROWFIN_FORMAT: what comes out, and the fault behind it,
// must not depend on the portions in which they come; every event is accounted for, and the records
// are a well-formed trace of just as many.

namespace marrowfin::fuzz {

namespace {

struct Outcome {
  std::vector<uint8_t> trace;
  std::vector<uint8_t> notes;
  StreamAccount account;
  std::string fault;
};

const StreamFormat& Format() {
  for (const StreamFormat& format : StreamFormats()) {
    if (format.name == std::string(MARROWFIN_FORMAT)) {
      return format;
    }
  }
  abort();
}

Outcome Import(const uint8_t* data, size_t size, size_t portion) {
  InputBytes input(std::make_unique<Trickle>(data, size, portion), "t");
  StreamOptions options;
  options.width = 8;
  const std::unique_ptr<EventStream> stream = Format().open(input, options);
  MemorySink trace;
  MemorySink notesSink;
  Outcome outcome;
  NotesWriter notes(notesSink, NotesPacking::NONE);
  Writer writer;
  writer.Attach(trace);
  StreamImportOptions importing;
  importing.switchesOf = ArrayShape(2, 2, 2);
  importing.mostRecords = 100000;
  StreamImport work(*stream, importing, writer, &notes);
  outcome.fault = work.Write("t").Text();
  Require(!notes.Close(), "notes can be written whatever is noted");
  Require(!writer.Flush(), "records can be written");
  outcome.account = work.GetAccount();
  outcome.trace = trace.Bytes();
  outcome.notes = notesSink.Bytes();
  return outcome;
}

void CheckAccount(const Outcome& outcome) {
  const StreamAccount& account = outcome.account;
  uint64_t skipped = 0;
  for (const Skipped& reason : account.counts.skipped) {
    skipped += reason.events;
  }
  const uint64_t converted = account.fires + account.sends + account.switches;
  // One that is refused is read and comes to nothing.
  const uint64_t open = account.counts.read - converted - skipped;
  Require(open == 0 || (open == 1 && !outcome.fault.empty()), "every event is accounted for");
  Reader reader(MemorySource(outcome.trace.data(), outcome.trace.size()), "made");
  auto columns = std::make_unique<Columns>();
  uint64_t records = 0;
  while (reader.Next(*columns)) {
    records += columns->size;
  }
  const bool falls = reader.GetFault().kind == Fault::FALLING_CYCLE;
  Require(falls || (!reader.GetFault() && records == account.Records()),
          "the records are those of the account");
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace marrowfin::fuzz;
  const Outcome whole = Import(data, size, 0);
  const Outcome trickled = Import(data, size, 7);
  Require(whole.trace == trickled.trace, "portions do not show in records");
  Require(whole.notes == trickled.notes, "portions do not show in notes");
  Require(whole.fault == trickled.fault, "portions do not show in faults");
  CheckAccount(whole);
  return 0;
}
