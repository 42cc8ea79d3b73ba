#include "sim/Memory.h"

#include <algorithm>

#include "Util/Assert.h"
#include "sim/Clamp.h"
#include "sim/RunLog.h"

namespace marrowfin::sim {

Memory::Memory(const Context& context) : Unit("memory", context.scheduler), context(context) {
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
