#ifndef TRACE_INDEX_BACKGROUND_H
#define TRACE_INDEX_BACKGROUND_H

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace marrowfin {

// A thread that does one piece of work at a time, in the order in which they are given. It is
// started by the first piece; where the system grants no thread, work is done at once instead.
class Background {
 public:
  Background() = default;
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
  bool Start();
  void Loop();

  std::mutex mutex;
  std::condition_variable changed;
  std::function<void()> given;  // empty where there is nothing to do
  std::exception_ptr thrown;
  bool ending = false;
  std::thread thread;
};

}  // namespace marrowfin

#endif
