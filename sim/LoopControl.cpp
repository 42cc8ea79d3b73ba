#include "sim/LoopControl.h"

#include <algorithm>
#include <utility>

#include "Util/Assert.h"

namespace marrowfin::sim {

LoopControl::LoopControl(uint32 threads, uint32 window) : window(window), threads(threads) {
  SIM_ASSERT(window >= 2);
  for (Thread& thread : this->threads) {
    thread.liveByOffset.resize(window);
  }
}

void LoopControl::Restart() {
  for (Thread& thread : threads) {
    SIM_ASSERT(thread.live == 0);
    thread.oldest = 0;
  }
}

void LoopControl::Produce(uint32 thread, Cycle iteration, unsigned long long tokens) {
  Thread& state = threads[thread];
  SIM_ASSERT(iteration >= state.oldest && iteration < state.oldest + window);
  state.live += tokens;
  state.liveByOffset[iteration % window] += tokens;
}

void LoopControl::Consume(uint32 thread, Cycle iteration, unsigned long long tokens) {
  Thread& state = threads[thread];
  state.live -= tokens;
  state.liveByOffset[iteration % window] -= tokens;
  if (!state.isTouched) {
    state.isTouched = true;
    touched.push_back(thread);
  }
}

bool LoopControl::MayCarry(uint32 thread, Cycle iteration) const {
  return iteration + 1 < threads[thread].oldest + window;
}

void LoopControl::Hold(Waiter* waiter, const Firing& firing, Cycle iteration) {
  threads[firing.thread].held.push_back({waiter, firing, iteration});
}

void LoopControl::EndCycle() {
  for (const uint32 index : touched) {
    Thread& thread = threads[index];
    thread.isTouched = false;
    const Cycle before = thread.oldest;
    while (thread.live != 0 && thread.liveByOffset[thread.oldest % window] == 0) {
      ++thread.oldest;
    }
    if (thread.oldest != before) {
      Release(thread);
    }
  }
  touched.clear();
}

void LoopControl::Release(Thread& thread) {
  const auto mayGo = [&](const Held& held) {
    if (held.iteration + 1 >= thread.oldest + window) {
      return false;
    }
    held.waiter->Resume(held.firing);
    return true;
  };
  thread.held.erase(std::remove_if(thread.held.begin(), thread.held.end(), mayGo),
                    thread.held.end());
}

unsigned long long LoopControl::LiveTokens() const {
  unsigned long long live = 0;
  for (const Thread& thread : threads) {
    live += thread.live;
  }
  return live;
}

}  // namespace marrowfin::sim
