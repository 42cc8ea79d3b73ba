#include "sim/ProcessingElement.h"

#include <bit>

#include "Util/Assert.h"
#include "sim/Clamp.h"
#include "sim/Memory.h"
#include "sim/RunLog.h"
#include "sim/TraceRecorder.h"

namespace marrowfin::sim {

namespace {

constexpr Cycle NEVER = ~0ULL;

std::string NameOfPe(const Shape& shape, uint32 number) {
  return "pe" + std::to_string(shape.Column(number) % shape.pes) + "_" +
         std::to_string(shape.Row(number) % shape.pes);
}

}  // namespace

ProcessingElement::ProcessingElement(const Context& context, uint32 number, Memory* memory)
    : Unit(NameOfPe(context.shape, number), context.scheduler),
      context(context),
      number(number),
      location(context.shape.PeLocation(number)),
      memory(memory),
      resultCount(0),
      partial(0),
      held(0),
      sleepState(IDLE),
      countedTo(1) {
  AddReceiver(memory);
  memory->AddReceiver(this);
  if (context.settings.peStatistics) {
    AddStat(&counts.fires, "fires", "operations fired", 0);
    AddStat(&counts.stallOperand, "stallOperand", "cycles in which operands waited for others", 0);
    AddStat(&counts.stallOutput, "stallOutput", "cycles in which the output queue was full", 0);
    AddStat(&counts.stallWindow, "stallWindow", "cycles spent waiting for older iterations", 0);
  }
}

void ProcessingElement::Join(Router* domain) {
  const LinkSettings& settings = context.settings.peLink;
  link = std::make_unique<Link>(context, this, domain, domain, domain->AddInput(settings),
                                settings.latency);
}

uint32 ProcessingElement::Place(const Resident& resident, uint32 threads) {
  residents.push_back(resident);
  residents.back().firstEntry = static_cast<uint32>(entries.size());
  entries.resize(entries.size() + static_cast<size_t>(threads) * context.loops.Window(), Entry{});
  return static_cast<uint32>(residents.size() - 1);
}

void ProcessingElement::Start(uint32 slot, uint32 port, uint32 thread, double value) {
  context.loops.Produce(thread, 0, 1);
  context.log.Start(Now(), *this, residents[slot].number, port, thread);
  Accept({residents[slot].number, number, slot, port, false}, thread, 0, value, STARTED,
         RecordNumber{});
  WakeAt(Now() + 1);
}

void ProcessingElement::Resume(const Firing& firing) {
  --held;
  ready.Push(firing);
  WakeAt(Now() + 1);
}

void ProcessingElement::ReceiveMessage(Message* m) {
  CheckReceive(m);
  if (m->src == memory) {
    FinishAccess(static_cast<const MemoryMessage&>(*m));
  } else {
    arriving.Push(m);
    WakeAt(static_cast<OperandMessage*>(m)->readyAt);
  }
}

// A cycle's work in the order of the data: what arrived in time can fire at once, and what was
// computed before can leave.
void ProcessingElement::Tick(Cycle now) {
  CountCycles(now - countedTo);
  AcceptArrivals(now);
  ServeLocals(now);
  const bool fired = TryFire(now);
  TrySend(now);
  sleepState = CurrentState();
  if (fired) {
    ++counts.fires;
    ++countedTo;
  } else {
    CountCycles(1);
  }
  ArrangeWake(now);
}

void ProcessingElement::Settle() { CountCycles(Now() + 1 - countedTo); }

void ProcessingElement::CountCycles(Cycle cycles) {
  countedTo += cycles;
  switch (sleepState) {
    case IDLE:
      break;
    case OPERAND_MISSING:
      counts.stallOperand += cycles;
      break;
    case OUTPUT_BLOCKED:
      counts.stallOutput += cycles;
      break;
    case WINDOW_BLOCKED:
      counts.stallWindow += cycles;
      break;
  }
}

ProcessingElement::State ProcessingElement::CurrentState() const {
  if (!ready.IsEmpty()) {
    return OUTPUT_BLOCKED;
  }
  if (held != 0) {
    return WINDOW_BLOCKED;
  }
  return partial != 0 ? OPERAND_MISSING : IDLE;
}

void ProcessingElement::AcceptArrivals(Cycle now) {
  while (!arriving.IsEmpty()) {
    OperandMessage* message = static_cast<OperandMessage*>(arriving.Front());
    if (message->readyAt > now) {
      break;
    }
    arriving.Pop();
    ++context.traffic.messages;
    context.traffic.latency.Increment(Clamp(now - message->sentAt), 1);
    context.traffic.hops.Increment(message->hops, 1);
    context.log.Arrival(now, message->GetId(), *this, message->hops);
    Accept({0, number, message->toSlot, message->toPort, false}, message->thread,
           message->iteration, message->value, message->GetId(), message->sending);
    Message::Release(message);
  }
}

void ProcessingElement::Accept(const Target& target, uint32 thread, Cycle iteration, double value,
                               unsigned long long source, RecordNumber record) {
  const Resident& resident = residents[target.slot];
  const uint32 window = context.loops.Window();
  const uint32 index =
      resident.firstEntry + thread * window + static_cast<uint32>(iteration % window);
  Entry& entry = entries[index];
  if (entry.present == 0) {
    entry.iteration = iteration;
    ++partial;
  }
  const unsigned port = 1U << target.port;
  SIM_ASSERT(entry.iteration == iteration && (entry.present & port) == 0);
  entry.present |= port;
  entry.values[target.port] = value;
  entry.sources[target.port] = source;
  if (context.trace.Notes().IsKept()) {
    origins.resize(entries.size());
    origins[index][target.port] = record;
  }
  if (entry.present == resident.tokenMask) {
    --partial;
    MakeReady({target.slot, index, thread}, iteration);
  }
}

void ProcessingElement::MakeReady(const Firing& firing, Cycle iteration) {
  if (residents[firing.slot].carries && !context.loops.MayCarry(firing.thread, iteration)) {
    ++held;
    context.loops.Hold(this, firing, iteration);
  } else {
    ready.Push(firing);
  }
}

bool ProcessingElement::TryFire(Cycle now) {
  if (ready.IsEmpty() || results.size() >= context.settings.outputQueue) {
    return false;
  }
  const Firing firing = ready.Front();
  ready.Pop();
  Fire(firing, now);
  return true;
}

void ProcessingElement::Fire(const Firing& firing, Cycle now) {
  const Resident& resident = residents[firing.slot];
  Entry& entry = entries[firing.entry];
  LoadConstants(resident, entry);
  const RecordNumber record = context.trace.Fire(now, firing.thread, location);
  NoteFire(resident, firing);
  LogFire(now, resident, firing, entry);
  const bool side = SideOf(*resident.operation, entry);
  context.loops.Consume(firing.thread, entry.iteration,
                        static_cast<unsigned>(std::popcount(resident.tokenMask)));
  Produce(resident, side, firing.thread, entry.iteration);
  const bool usesMemory = resident.operation->UsesMemory();
  if (usesMemory || !resident.targets[side].empty()) {
    const double value = usesMemory ? 0 : Evaluate(resident.operation->opcode, entry.values);
    const Cycle readyAt = usesMemory ? NEVER : now + context.settings.fireLatency;
    results.push_back({resultCount++, firing.slot, side, firing.thread, entry.iteration, value, now,
                       record, readyAt, false, 0});
  }
  if (usesMemory) {
    AskMemory(resident, entry, firing.thread);
  }
  entry.present = 0;
}

void ProcessingElement::LoadConstants(const Resident& resident, Entry& entry) const {
  for (uint32 port = 0; port < Operation::PORTS; ++port) {
    if (resident.operation->operands[port].kind == Operand::CONSTANT) {
      entry.values[port] = resident.operation->operands[port].constant;
      entry.sources[port] = CONSTANT;
    }
  }
}

bool ProcessingElement::SideOf(const Operation& operation, const Entry& entry) const {
  switch (operation.opcode) {
    case Opcode::STEER:
      return entry.values[0] != 0;
    case Opcode::LOOP:
      return entry.iteration + 1 < operation.iterations;
    default:
      return true;
  }
}

void ProcessingElement::Produce(const Resident& resident, bool side, uint32 thread,
                                Cycle iteration) {
  for (const Target& target : resident.targets[side]) {
    context.loops.Produce(thread, iteration + target.carried, 1);
  }
}

void ProcessingElement::AskMemory(const Resident& resident, const Entry& entry, uint32 thread) {
  const double address = entry.values[0];
  SIM_ASSERT(address >= 0 && address < resident.segmentWords);
  MemoryMessage* access = new MemoryMessage;
  access->isStore = resident.operation->opcode == Opcode::STORE;
  access->address =
      resident.firstWord + thread * resident.segmentWords + static_cast<uint32>(address);
  access->value = entry.values[1];
  access->result = results.back().id;
  context.log.Link(Now(), access->GetId(), *this, *memory);
  SendMessage(memory, access);
}

void ProcessingElement::FinishAccess(const MemoryMessage& access) {
  for (size_t i = 0; i < results.size(); ++i) {
    if (results[i].id == access.result) {
      results[i].value = access.value;
      results[i].readyAt = Now() + 1;
      WakeAt(Now() + 1);
      return;
    }
  }
  SIM_ASSERT(0);
}

const std::vector<Target>& ProcessingElement::TargetsOf(const Result& result) const {
  return residents[result.slot].targets[result.side];
}

void ProcessingElement::ServeLocals(Cycle now) {
  for (size_t i = 0; i < results.size();) {
    Result& result = results[i];
    if (result.readyAt <= now && !result.localsServed) {
      result.localsServed = true;
      for (const Target& target : TargetsOf(result)) {
        if (target.pe == number) {
          context.log.Local(now, *this, target.operation, target.port, result.thread,
                            result.iteration + target.carried);
          Accept(target, result.thread, result.iteration + target.carried, result.value, LOCAL,
                 result.fire);
        }
      }
      SkipLocals(result);
    }
    if (result.localsServed && result.nextTarget == TargetsOf(result).size()) {
      results.erase(results.begin() + static_cast<std::ptrdiff_t>(i));
    } else {
      ++i;
    }
  }
}

// Moves on to the next target that is reached through the network.
void ProcessingElement::SkipLocals(Result& result) const {
  const std::vector<Target>& targets = TargetsOf(result);
  while (result.nextTarget < targets.size() && targets[result.nextTarget].pe == number) {
    ++result.nextTarget;
  }
}

void ProcessingElement::TrySend(Cycle now) {
  if (!link->IsFree(now)) {
    return;
  }
  for (size_t i = 0; i < results.size(); ++i) {
    Result& result = results[i];
    if (result.localsServed) {
      SendTo(TargetsOf(result)[result.nextTarget], result, now);
      ++result.nextTarget;
      SkipLocals(result);
      if (result.nextTarget == TargetsOf(result).size()) {
        results.erase(results.begin() + static_cast<std::ptrdiff_t>(i));
      }
      return;
    }
  }
}

void ProcessingElement::SendTo(const Target& target, const Result& result, Cycle now) {
  OperandMessage* message = new OperandMessage;
  message->value = result.value;
  message->thread = result.thread;
  message->iteration = result.iteration + target.carried;
  message->fromPe = number;
  message->toPe = target.pe;
  message->toSlot = target.slot;
  message->toPort = target.port;
  message->toDomain = context.shape.DomainOf(target.pe);
  message->sentAt = now;
  message->bornAt = result.firedAt;
  message->sending =
      context.trace.Send(now, result.thread, location, context.shape.PeLocation(target.pe));
  context.trace.Notes().Send(message->GetId(), result.firedAt);
  context.trace.Notes().ProducedBy(result.fire);
  context.log.Send(now, *message, *this, target.operation);
  link->Send(message, now);
}

// What happens by itself needs no wake: arrivals, answers of the memory and the loop control's
// firings wake the element when they come.
void ProcessingElement::ArrangeWake(Cycle now) {
  if (!ready.IsEmpty()) {
    WakeAt(now + 1);
  }
  for (const Result& result : results) {
    if (result.readyAt != NEVER) {
      WakeAt(result.readyAt > now ? result.readyAt : now + 1);
    }
  }
}

// Each operand came as a message, from a fire on this element, or from nowhere.
void ProcessingElement::NoteFire(const Resident& resident, const Firing& firing) const {
  Companion& notes = context.trace.Notes();
  if (!notes.IsKept()) {
    return;
  }
  const Entry& entry = entries[firing.entry];
  notes.Fire(resident.operation->opcode, resident.number, entry.iteration);
  for (uint32 port = 0; port < Operation::PORTS; ++port) {
    const unsigned long long source = entry.sources[port];
    if ((resident.tokenMask >> port & 1) == 0 || source == STARTED) {
      continue;
    }
    if (source == LOCAL) {
      notes.ProducedBy(origins[firing.entry][port]);
    } else {
      notes.Consumes(origins[firing.entry][port]);
    }
  }
}

void ProcessingElement::LogFire(Cycle now, const Resident& resident, const Firing& firing,
                                const Entry& entry) const {
  if (!context.log.IsOpen()) {
    return;
  }
  std::string operands;
  for (uint32 port = 0; port < Operation::PORTS; ++port) {
    if (resident.operation->operands[port].kind == Operand::ABSENT) {
      break;
    }
    operands += port == 0 ? "" : ",";
    const unsigned long long source = entry.sources[port];
    operands += source == STARTED    ? "start"
                : source == LOCAL    ? "local"
                : source == CONSTANT ? "constant"
                                     : std::to_string(source);
  }
  context.log.Fire(now, *this, resident.number, *resident.operation, firing.thread, entry.iteration,
                   operands);
}

}  // namespace marrowfin::sim
