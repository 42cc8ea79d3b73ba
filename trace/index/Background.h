#ifndef TRACE_INDEX_BACKGROUND_H
#define TRACE_INDEX_BACKGROUND_H

#include <functional>
#include <memory>

namespace marrowfin {

// A thread that does one piece of work at a time, in the order in which they are given. It is
// started by the first piece; where there are no threads, or the system grants none, work is done
// at once instead. Used by one thread.
class Background {
 public:
  Background();
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  // Waits for the work that was given.
  ~Background();

  // Waits until what was given before is done, then gives `work` to the thread. What the work
  // throws is thrown by the next Run or Wait.
  void Run(std::function<void()> work);

  // Waits until all is done. What the thread did is then visible to the caller.
  void Wait();

 private:
  class Worker;
  std::unique_ptr<Worker> worker;
};

}  // namespace marrowfin

#endif
