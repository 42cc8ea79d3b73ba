#include "convert/import/CaptureNotes.h"

#include "trace/base/Record.h"

namespace marrowfin {
namespace {

// The kinds of events, and behind them that of the frame.
constexpr uint64_t frameKind = KIND_COUNT;

std::vector<std::string> KindNames() {
  std::vector<std::string> names(kindNotes.begin(), kindNotes.end());
  names.push_back("frame");
  return names;
}

}  // namespace

CaptureNotes::CaptureNotes(const Capture& capture, ByteSink& sink) : writer(sink) {
  kind = Declare(KIND_ATTRIBUTE, KindNames());
  phase = writer.Attribute("phase", NoteType::NAME);
  writer.NameValue(phase, PHASE_BEGIN, "begin");
  writer.NameValue(phase, PHASE_END, "end");
  name = Declare("name", capture.names.Names());
  size = writer.Attribute(SIZE_ATTRIBUTE, NoteType::NUMBER, "bytes");
  network = Declare("network", capture.networks.Names());
  channel = writer.Attribute("channel", NoteType::NUMBER);
  operation = Declare("operation", capture.operations.Names());
  number = writer.Attribute("event", NoteType::NUMBER);
}

// An attribute whose values are the places of their names.
uint32_t CaptureNotes::Declare(std::string_view attribute, const std::vector<std::string>& names) {
  const uint32_t declared = writer.Attribute(attribute, NoteType::NAME);
  for (size_t value = 0; value < names.size(); ++value) {
    writer.NameValue(declared, value, names[value]);
  }
  return declared;
}

void CaptureNotes::Record(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to) {
  writer.Record(type, cycle, thread, at, to);
  if (printed < About::MOST_PRINTED) {
    print.Add(type, cycle, thread, at, to);
    ++printed;
  }
}

void CaptureNotes::NoteName(uint32_t attribute, uint16_t value) {
  if (value != NameTable::NONE) {
    writer.Note(attribute, uint64_t{value});
  }
}

void CaptureNotes::Add(uint64_t cycle, Place at, Place to, const CaptureEvent& event) {
  const bool isMessage = IsMessage(event.kind);
  Record(isMessage ? SEND_RECORD : FIRE_RECORD, cycle, event.processor, at, to);
  writer.Note(kind, uint64_t{event.kind});
  if (event.phase != PHASE_NONE) {
    writer.Note(phase, uint64_t{event.phase});
  }
  NoteName(name, event.name);
  NoteName(network, event.network);
  NoteName(operation, event.operation);
  if (isMessage && event.bytes != noBytes) {
    writer.Note(size, event.bytes);
  }
  if (event.channel != noChannel) {
    writer.Note(channel, uint64_t{event.channel});
  }
  writer.Note(number, event.number);
}

void CaptureNotes::AddSwitch(uint64_t cycle, uint32_t thread, Place at) {
  Record(SWITCH_RECORD, cycle, thread, at, {});
}

void CaptureNotes::AddFrame(uint64_t cycle, uint32_t thread, Place at) {
  Record(SEND_RECORD, cycle, thread, at, at);
  writer.Note(kind, frameKind);
}

void CaptureNotes::Recognise(About& about) const {
  about.printed = printed;
  about.fingerprint = print.Value();
}

}  // namespace marrowfin
