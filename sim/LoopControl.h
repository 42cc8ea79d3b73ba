#ifndef SIM_LOOPCONTROL_H
#define SIM_LOOPCONTROL_H

#include <vector>

#include "Util/Types.h"

namespace marrowfin::sim {

// All operands of an operation have arrived, and it may fire.
struct Firing {
  uint32 slot;   // of the operation in its processing element
  uint32 entry;  // of the operand buffer, which holds the operands
  uint32 thread;
};

// Whoever holds firings back until they may carry.
class Waiter {
 public:
  // The firing may go on.
  virtual void Resume(const Firing& firing) = 0;

 protected:
  ~Waiter() = default;
};

// Keeps the iterations of each thread within a window, so that a bounded operand buffer suffices.
//
// At most `window` iterations of a thread are alive at a time: one is alive from its first token to
// the consumption of its last. An operation that sends to the next iteration waits while that one
// would lie beyond the window. Every operand of a live iteration can therefore have a place of its
// own in an operand buffer, and a message that arrives never waits for room.
//
// The oldest iteration never waits here, since the window is at least 2, and being a graph without
// cycles it comes to its end; then the window moves on. So no program can block itself.
//
// It knows of every token at once and takes no time but one cycle to release what waited: a
// simplification, the only place where the model looks at more than one unit at a time.
class LoopControl {
 public:
  LoopControl(uint32 threads, uint32 window);

  // Starts again at iteration 0. No token may be left.
  void Restart();

  void Produce(uint32 thread, Cycle iteration, unsigned long long tokens);
  void Consume(uint32 thread, Cycle iteration, unsigned long long tokens);

  // Whether an operation of `iteration` may send to the next one.
  bool MayCarry(uint32 thread, Cycle iteration) const;

  // Keeps a firing of `iteration` until it may carry; then gives it back to `waiter`.
  void Hold(Waiter* waiter, const Firing& firing, Cycle iteration);

  // Moves the windows on. Called at the end of every cycle.
  void EndCycle();

  // The tokens of all threads.
  unsigned long long LiveTokens() const;

  uint32 Window() const { return window; }

 private:
  struct Held {
    Waiter* waiter;
    Firing firing;
    Cycle iteration;
  };

  struct Thread {
    Cycle oldest = 0;
    unsigned long long live = 0;                   // tokens of all iterations
    std::vector<unsigned long long> liveByOffset;  // of iteration i at i modulo the window
    std::vector<Held> held;
    bool isTouched = false;  // whether an iteration may have ended in this cycle
  };

  void Release(Thread& thread);

  uint32 window;
  std::vector<Thread> threads;
  std::vector<uint32> touched;
};

}  // namespace marrowfin::sim

#endif
