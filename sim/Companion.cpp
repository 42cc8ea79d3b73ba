#include "sim/Companion.h"

namespace marrowfin::sim {

namespace {

Place PlaceOf(const Location& location) { return {location.column, location.row}; }

}  // namespace

void Companion::Begin() {
  isKept = true;
  const NameNote kind = recorder.DeclareName(KIND_ATTRIBUTE);
  compute = recorder.DeclareValue(kind, "compute");
  control = recorder.DeclareValue(kind, "control");
  memory = recorder.DeclareValue(kind, "memory");
  operand = recorder.DeclareValue(kind, "operand");
  const NameNote opcode = recorder.DeclareName("opcode");
  for (size_t i = 0; i < std::size(opcodes); ++i) {
    opcodes[i] = recorder.DeclareValue(opcode, NameOf(static_cast<Opcode>(i)));
  }
  operation = recorder.DeclareNumber("operation");
  iterationOf = recorder.DeclareNumber("iteration");
  packet = recorder.DeclareNumber(PACKET_ATTRIBUTE);
  created = recorder.DeclareCycle(CREATED_ATTRIBUTE);
  size = recorder.DeclareNumber(SIZE_ATTRIBUTE, "byte");
  consumes = recorder.DeclareRecords(CONSUMES_ATTRIBUTE);
  producedBy = recorder.DeclareRecords(PRODUCED_BY_ATTRIBUTE);
  switchQueue = recorder.DeclareCounter("switch_queue", "messages");
  memoryQueue = recorder.DeclareCounter("memory_queue", "accesses");
}

void Companion::Fire(Opcode opcode, uint32 number, Cycle iteration) {
  switch (opcode) {
    case Opcode::SELECT:
    case Opcode::STEER:
    case Opcode::LOOP:
      recorder.Note(control);
      break;
    case Opcode::LOAD:
    case Opcode::STORE:
      recorder.Note(memory);
      break;
    default:
      recorder.Note(compute);
      break;
  }
  recorder.Note(opcodes[static_cast<size_t>(opcode)]);
  recorder.Note(operation, number);
  recorder.Note(iterationOf, iteration);
}

void Companion::NoteMessage(unsigned long long message, Cycle born) {
  recorder.Note(operand);
  recorder.Note(packet, message);
  recorder.Note(created, born);
}

void Companion::Send(unsigned long long message, Cycle born) {
  NoteMessage(message, born);
  recorder.Note(size, OPERAND_BYTES);
}

void Companion::Transmission(unsigned long long message, Cycle born) { NoteMessage(message, born); }

void Companion::SwitchQueue(Cycle now, const Location& place, uint32 waiting) {
  recorder.Count(switchQueue, PlaceOf(place), now, waiting);
}

void Companion::MemoryQueue(Cycle now, const Location& place, uint32 waiting) {
  recorder.Count(memoryQueue, PlaceOf(place), now, waiting);
}

}  // namespace marrowfin::sim
