#include "trace/write/Recorder.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <ctime>
#include <utility>

#include "trace/base/Record.h"
#include "trace/base/Utf8.h"
#include "trace/write/AboutText.h"
#include "trace/write/AtomicFile.h"
#include "trace/write/FileSink.h"

namespace marrowfin {

namespace {

std::string NowInUtc() {
  const time_t now = time(nullptr);
  tm utc = {};
  char text[32] = "";
  if (gmtime_r(&now, &utc) != nullptr) {
    strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &utc);
  }
  return text;
}

}  // namespace

void RemoveCompanion(const std::string& trace) {
  unlink((trace + ".notes").c_str());
  unlink((trace + ".about").c_str());
}

Recorder::Recorder(const RecorderOptions& options) : options(options) {}

Recorder::~Recorder() { static_cast<void>(Close()); }

Fault Recorder::Open(const std::string& name) {
  static_cast<void>(Close());
  traceName = name;
  auto file = std::make_unique<FileSink>();
  auto beside = std::make_unique<FileSink>();
  fault = file->Open(name);
  if (!fault) {
    RemoveCompanion(name);
    fault = options.companion ? beside->Open(name + ".notes") : Fault();
  }
  if (!fault) {
    traceFile = std::move(file);
    notesFile = std::move(beside);
    Begin(*traceFile, options.companion ? notesFile.get() : nullptr);
  }
  return fault;
}

void Recorder::Attach(ByteSink& trace, ByteSink* notesSink, const std::string& name) {
  static_cast<void>(Close());
  traceName = name;
  Begin(trace, options.companion ? notesSink : nullptr);
}

void Recorder::Begin(ByteSink& trace, ByteSink* notesSink) {
  fault = Fault();
  traceFault = Fault();
  about = About();
  about.date = NowInUtc();
  isAboutNew = true;
  firstPrint = Fingerprint();
  attributes.clear();
  counters.clear();
  values.clear();
  records = 0;
  pieceEnd = 0;
  lastCycle = 0;
  isOpen = true;
  if (options.packed) {
    writer.Attach(packer.emplace(trace, options.level));
  } else {
    writer.Attach(trace);
  }
  if (notesSink != nullptr) {
    notes.emplace(*notesSink);
  }
}

// Any failure ends the companion: notes must not run ahead of their trace.
void Recorder::Keep(const Fault& failure) {
  if (failure && !fault) {
    fault = failure;
    notes.reset();
  }
}

void Recorder::KeepOfTrace(const Fault& failure) {
  if (!traceFault) {
    traceFault = failure;
  }
  Keep(failure);
}

// Keeps the failure of a declaration that readers would refuse, with all that is declared beside
// it. Texts that are no UTF-8 are mended.
void Recorder::Refuse(std::string_view name, const char* reason) {
  Keep(SystemFault(traceName + ".notes", "cannot declare `" + std::string(name) + "', " + reason,
                   EINVAL));
}

bool Recorder::CanDeclare(const std::set<std::string, std::less<>>& names, std::string_view name,
                          size_t most) {
  if (!notes) {
    return false;
  }
  const bool isNew = !name.empty() && names.find(name) == names.end();
  if (!isNew || names.size() == most) {
    Refuse(name, isNew ? "too many are" : "a name that is empty or taken");
    return false;
  }
  return true;
}

template <NoteType TYPE>
NoteHandle<TYPE> Recorder::Declare(std::string_view text, std::string_view unit) {
  const std::string name = AsUtf8(text);
  if (!CanDeclare(attributes, name, NOTES_MOST_ATTRIBUTES)) {
    return {};
  }
  attributes.emplace(name);
  values.push_back(0);
  return NoteHandle<TYPE>(notes->Attribute(name, TYPE, AsUtf8(unit)));
}

NumberNote Recorder::DeclareNumber(std::string_view name, std::string_view unit) {
  return Declare<NoteType::NUMBER>(name, unit);
}

RealNote Recorder::DeclareReal(std::string_view name, std::string_view unit) {
  return Declare<NoteType::REAL>(name, unit);
}

CycleNote Recorder::DeclareCycle(std::string_view name) {
  return Declare<NoteType::CYCLE>(name, "cycle");
}

NameNote Recorder::DeclareName(std::string_view name) { return Declare<NoteType::NAME>(name, ""); }

RecordsNote Recorder::DeclareRecords(std::string_view name) {
  return Declare<NoteType::RECORDS>(name, "");
}

NamedValue Recorder::DeclareValue(NameNote attribute, std::string_view name) {
  if (!notes || attribute.number >= values.size()) {
    return {};
  }
  if (name.empty()) {
    Refuse(name, "a name that is empty");
    return {};
  }
  const uint64_t value = values[attribute.number]++;
  notes->NameValue(attribute.number, value, AsUtf8(name));
  return NamedValue(attribute.number, value);
}

CounterHandle Recorder::DeclareCounter(std::string_view text, std::string_view unit) {
  const std::string name = AsUtf8(text);
  if (!CanDeclare(counters, name, NOTES_MOST_COUNTERS)) {
    return {};
  }
  counters.emplace(name);
  return CounterHandle(notes->Counter(name, AsUtf8(unit)));
}

void Recorder::Describe(const About& described) {
  const std::string began = described.date.empty() ? about.date : described.date;
  about = described;
  about.date = began;
  isAboutNew = true;
}

RecordNumber Recorder::Fire(uint64_t cycle, uint32_t thread, Place at) {
  Take(FIRE_RECORD, cycle, thread, at, {});
  writer.Fire(cycle, thread, at);
  return RecordNumber{records - 1};
}

RecordNumber Recorder::Transmit(uint64_t cycle, uint32_t thread, Place cluster) {
  const Place at = {cluster.column + FIRST_SWITCH, cluster.row + FIRST_SWITCH};
  Take(SWITCH_RECORD, cycle, thread, at, {});
  writer.Switch(cycle, thread, at);
  return RecordNumber{records - 1};
}

RecordNumber Recorder::Send(uint64_t cycle, uint32_t thread, Place from, Place to) {
  Take(SEND_RECORD, cycle, thread, from, to);
  writer.Send(cycle, thread, from, to);
  return RecordNumber{records - 1};
}

// Before a record is written. What belongs to those before it is handed over only now, since until
// now the last of them could still be noted.
void Recorder::Take(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to) {
  if (records == pieceEnd || (notes && notes->IsFull())) {
    FillPiece(cycle);
  }
  if (notes) {
    notes->Record(type, cycle, thread, at, to);
    if (records < About::MOST_PRINTED) {
      firstPrint.Add(type, cycle, thread, at, to);
      isAboutNew = true;
    }
  }
  ++records;
  lastCycle = cycle;
}

void Recorder::FillPiece(uint64_t cycle) {
  if (records != 0) {
    HandOver();
    return;
  }
  pieceEnd = About::MOST_PRINTED;
  if (options.frame) {
    Send(cycle, *options.frame, {}, {});
  }
}

// The trace goes first, whole, and what is said of it after it.
void Recorder::HandOver() {
  Fault failure = writer.Flush();
  if (!failure && packer) {
    failure = packer->Flush();
  }
  // What becomes of the rest of a sink is known to its owner alone.
  if (failure && traceFile && !options.packed) {
    failure.record = writer.WholeRecords();
    failure.reason += "; " + std::to_string(failure.record) + " whole records were written";
  }
  KeepOfTrace(failure);
  WriteAbout();
  if (notes) {
    Keep(notes->Flush());
  }
  pieceEnd = records < About::MOST_PRINTED ? About::MOST_PRINTED : records + PIECE;
}

void Recorder::WriteAbout() {
  if (!notes || !std::exchange(isAboutNew, false)) {
    return;
  }
  about.printed = static_cast<uint32_t>(std::min<uint64_t>(records, About::MOST_PRINTED));
  about.fingerprint = firstPrint.Value();
  const std::string text = AboutText(about);
  AtomicFile file;
  Fault failure = file.Open(traceName + ".about", {.chosen = false});
  if (!failure) {
    failure = file.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
  }
  if (!failure) {
    failure = file.Commit();
  }
  Keep(failure);
}

bool Recorder::NoteBits(uint32_t attribute, uint64_t value) {
  return !notes || attribute == NOTES_MOST_ATTRIBUTES || notes->Note(attribute, value);
}

bool Recorder::Note(RealNote attribute, double value) {
  return NoteBits(attribute.number, std::bit_cast<uint64_t>(value));
}

void Recorder::Count(CounterHandle counter, Place at, uint64_t cycle, double value) {
  if (notes && counter.number != NOTES_MOST_COUNTERS) {
    notes->Sample({cycle, counter.number, at, value});
  }
}

Fault Recorder::Flush() {
  if (isOpen && !fault) {
    HandOver();
  }
  return fault;
}

void Recorder::EndFrame() {
  if (options.frame && records > 0) {
    Send(lastCycle + 1, *options.frame, {}, {});
  }
}

Fault Recorder::Close() {
  if (!isOpen) {
    return fault;
  }
  EndFrame();
  HandOver();
  if (notes) {
    Keep(notes->Close());
  }
  KeepOfTrace(writer.Close());
  packer.reset();
  notes.reset();
  isOpen = false;
  for (const auto& file : {std::exchange(traceFile, nullptr), std::exchange(notesFile, nullptr)}) {
    if (file) {
      Keep(file->Close());
    }
  }
  return fault;
}

}  // namespace marrowfin
