#ifndef TESTS_TOOLS_SLOWPIPE_H
#define TESTS_TOOLS_SLOWPIPE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/TraceText.h"

namespace marrowfin {

// A pipe with a name through which a trace comes a record at a time, with pauses.
class SlowPipe {
 public:
  explicit SlowPipe(const std::string& path) : path(path) {
    EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
  }

  const std::string& Name() const { return path; }

  // Feeds until `enough`, or so long that it will never be, and ends the trace.
  void FeedUntil(const std::function<bool()>& enough) const {
    const std::string record = testing::TraceBytes("fire 1 0 0 0\n");
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    bool reached = false;
    for (int i = 0; i < 1000 && !reached; ++i) {
      EXPECT_EQ(static_cast<ssize_t>(record.size()), write(fd, record.data(), record.size()));
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      reached = enough();
    }
    EXPECT_TRUE(reached);
    close(fd);
  }

  void FeedFor(std::chrono::milliseconds time) const {
    const auto start = std::chrono::steady_clock::now();
    FeedUntil([&] { return std::chrono::steady_clock::now() - start > time; });
  }

 private:
  std::string path;
};

}  // namespace marrowfin

#endif
