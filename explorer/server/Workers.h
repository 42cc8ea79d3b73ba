#ifndef EXPLORER_SERVER_WORKERS_H
#define EXPLORER_SERVER_WORKERS_H

#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <utility>

namespace marrowfin {

// Threads that find answers, so that connections wait for none of them. At most so many pieces of
// work are in them or wait for them. Any number of threads may begin work.
class Workers {
 public:
  Workers(size_t threads, size_t most) : most(most), pool(threads) {}
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Has a thread do the work. Where it throws, whatever that is, `failed` is called instead of
  // what the work would have done at its end: the thread goes on with the next. False where too
  // much waits already.
  template <class Work, class Failed>
  bool Begin(Work work, Failed failed) {
    if (waiting.fetch_add(1) >= most) {
      --waiting;
      return false;
    }
    boost::asio::post(pool, [this, work = std::move(work), failed = std::move(failed)]() mutable {
      Do(work, failed);
      --waiting;
    });
    return true;
  }

  // Work that was not begun is forgotten; waits for that which was.
  void Stop() { pool.stop(); }
  void Join() { pool.join(); }

 private:
  // Where not even the failure can be told, for want of memory, nobody is told.
  template <class Work, class Failed>
  static void Do(Work& work, Failed& failed) noexcept {
    try {
      try {
        work();
      } catch (...) {
        failed();
      }
    } catch (...) {
    }
  }

  const size_t most;
  std::atomic<size_t> waiting = 0;
  boost::asio::thread_pool pool;
};

}  // namespace marrowfin

#endif
