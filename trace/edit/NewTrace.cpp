#include "trace/edit/NewTrace.h"

#include <algorithm>

#include "trace/base/Record.h"

namespace marrowfin {

NewTrace::NewTrace(ByteSink& trace, ByteSink* noteSink) {
  writer.Attach(trace);
  if (noteSink != nullptr) {
    notes.emplace(*noteSink);
  }
}

void NewTrace::Declare(const NoteDeclarations& declarations) {
  if (!notes) {
    return;
  }
  for (const NoteAttribute& attribute : declarations.attributes) {
    const uint32_t number = notes->Attribute(attribute.name, attribute.type, attribute.unit);
    for (const auto& [value, name] : attribute.names) {
      notes->NameValue(number, value, name);
    }
  }
  for (const NoteCounter& counter : declarations.counters) {
    notes->Counter(counter.name, counter.unit);
  }
}

void NewTrace::Add(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to) {
  if (type == FIRE_RECORD) {
    writer.Fire(cycle, thread, at);
  } else if (type == SEND_RECORD) {
    writer.Send(cycle, thread, at, to);
  } else {
    writer.Switch(cycle, thread, at);
  }
  if (notes) {
    notes->Record(type, cycle, thread, at, to);
  }
  if (records < About::MOST_PRINTED) {
    print.Add(type, cycle, thread, at, to);
  }
  ++records;
  bytes += RecordSize(type);
}

Fault NewTrace::Close() {
  if (!fault) {
    fault = writer.Close();
  }
  if (!fault && notes) {
    fault = notes->Close();
  }
  return fault;
}

void NewTrace::Recognise(About& about) const {
  about.printed = static_cast<uint32_t>(std::min<uint64_t>(records, About::MOST_PRINTED));
  about.fingerprint = print.Value();
}

}  // namespace marrowfin
