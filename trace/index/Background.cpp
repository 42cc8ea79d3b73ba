#include "trace/index/Background.h"

#include <system_error>
#include <utility>

namespace marrowfin {

Background::~Background() {
  {
    const std::lock_guard lock(mutex);
    ending = true;
  }
  changed.notify_all();
  if (thread.joinable()) {
    thread.join();
  }
}

void Background::Run(std::function<void()> work) {
  Wait();
  if (!thread.joinable() && !Start()) {
    work();
    return;
  }
  {
    const std::lock_guard lock(mutex);
    given = std::move(work);
  }
  changed.notify_all();
}

void Background::Wait() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return !given; });
  if (thrown) {
    std::rethrow_exception(std::exchange(thrown, nullptr));
  }
}

bool Background::Start() {
  try {
    thread = std::thread([this] { Loop(); });
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

// The work stays given until it is done, so that nobody takes it for done before.
void Background::Loop() {
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

}  // namespace marrowfin
