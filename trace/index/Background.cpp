#include "trace/index/Background.h"

#include <utility>

#if defined(__STDCPP_THREADS__)

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace marrowfin {

class Background::Worker {
 public:
  ~Worker() {
    {
      const std::lock_guard lock(mutex);
      ending = true;
    }
    changed.notify_all();
    if (thread.joinable()) {
      thread.join();
    }
  }

  // False where there is no thread to give it to.
  bool Give(std::function<void()>& work) {
    if (!thread.joinable() && !Start()) {
      return false;
    }
    {
      const std::lock_guard lock(mutex);
      given = std::move(work);
    }
    changed.notify_all();
    return true;
  }

  void Wait() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return !given; });
    if (thrown) {
      std::rethrow_exception(std::exchange(thrown, nullptr));
    }
  }

 private:
  bool Start() {
    try {
      thread = std::thread([this] { Loop(); });
      return true;
    } catch (...) {  // neither room nor memory for a thread
      return false;
    }
  }

  // The work stays given until it is done, so that nobody takes it for done before.
  void Loop() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return given || ending; });
      if (!given) {
        return;
      }
      lock.unlock();
      std::exception_ptr failure;
      try {
        given();
      } catch (...) {
        failure = std::current_exception();
      }
      lock.lock();
      given = nullptr;
      thrown = failure;
      changed.notify_all();
    }
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::function<void()> given;  // empty where there is nothing to do
  std::exception_ptr thrown;
  bool ending = false;
  std::thread thread;
};

}  // namespace marrowfin

#else

namespace marrowfin {

// Where a program has one thread.
class Background::Worker {
 public:
  bool Give(const std::function<void()>&) { return false; }
  void Wait() {}
};

}  // namespace marrowfin

#endif

namespace marrowfin {

Background::Background() : worker(std::make_unique<Worker>()) {}

Background::~Background() = default;

void Background::Run(std::function<void()> work) {
  worker->Wait();
  if (!worker->Give(work)) {
    work();
  }
}

void Background::Wait() { worker->Wait(); }

}  // namespace marrowfin
