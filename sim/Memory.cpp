#include "sim/Memory.h"

#include <algorithm>

#include "Util/Assert.h"
#include "sim/Clamp.h"
#include "sim/RunLog.h"
#include "sim/TraceRecorder.h"

namespace marrowfin::sim {

Memory::Memory(const Context& context, uint32 cluster)
    : Unit("memory", context.scheduler),
      context(context),
      cluster(cluster),
      lastArrival(0),
      lastCount(0) {
  AddStat(&loads, "loads", "words loaded", 0);
  AddStat(&stores, "stores", "words stored", 0);
  AddStat(&queueing, "queueing", "cycles that accesses waited for a port", Histogram());
}

uint32 Memory::Place(uint32 segment, uint32 wordsPerThread, uint32 threads) {
  const auto [found, isNew] = bases.emplace(segment, static_cast<uint32>(words.size()));
  if (isNew) {
    words.resize(words.size() + static_cast<size_t>(wordsPerThread) * threads);
  }
  return found->second;
}

double* Memory::Words(uint32 segment, uint32 wordsPerThread, uint32 thread) {
  return words.data() + bases.at(segment) + static_cast<size_t>(wordsPerThread) * thread;
}

void Memory::ReceiveMessage(Message* m) {
  CheckReceive(m);
  MemoryMessage* access = static_cast<MemoryMessage*>(m);
  access->readyAt = Now() + 1;
  requests.Push(access);
  lastCount = access->readyAt == lastArrival ? lastCount + 1 : 1;
  lastArrival = access->readyAt;
  WakeAt(access->readyAt);
}

void Memory::Tick(Cycle now) {
  const auto front = [](const MessageBuffer& buffer) {
    return static_cast<MemoryMessage*>(buffer.Front());
  };
  while (!running.IsEmpty() && front(running)->readyAt <= now) {
    Finish(front(running));
  }
  for (uint32 port = 0; port < context.settings.memoryPorts; ++port) {
    if (requests.IsEmpty() || front(requests)->readyAt > now ||
        lastStart[front(requests)->src] == now) {
      break;
    }
    Start(front(requests), now);
  }
  if (!requests.IsEmpty()) {
    WakeAt(now + 1);
  }
  TellQueue();
}

// What came in this cycle arrives in the next: whether it is there already depends on which unit
// ran first.
void Memory::TellQueue() {
  const auto queued = static_cast<uint32>(requests.Size());
  const uint32 waiting = queued - (lastArrival > Now() ? lastCount : 0);
  if (context.trace.Notes().IsKept() && told.Changes(waiting)) {
    context.trace.Notes().MemoryQueue(Now(), context.shape.SwitchLocation(cluster), waiting);
  }
}

void Memory::Start(MemoryMessage* access, Cycle now) {
  lastStart[access->src] = now;
  queueing.Increment(Clamp(now - access->readyAt), 1);
  if (access->isStore) {
    ++stores;
    words[access->address] = access->value;
  } else {
    ++loads;
    access->value = words[access->address];
  }
  access->readyAt = now + context.settings.memoryLatency;
  requests.Pop();
  running.Push(access);
  WakeAt(access->readyAt);
  Message::Release(access);
}

void Memory::Finish(MemoryMessage* access) {
  running.Pop();
  Unit* pe = static_cast<Unit*>(access->src);
  context.log.Link(Now(), access->GetId(), *this, *pe);
  SendMessage(pe, access);
  Message::Release(access);
}

}  // namespace marrowfin::sim
