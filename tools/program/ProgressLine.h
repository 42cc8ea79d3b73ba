#ifndef TOOLS_PROGRAM_PROGRESSLINE_H
#define TOOLS_PROGRAM_PROGRESSLINE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

namespace marrowfin {

// A line on the terminal that says how far a long task is: share done, rate and time left. It
// appears once a task has taken half a second, changes at most ten times a second, and goes when
// the task ends.
class ProgressLine {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Clock = std::function<Time()>;

  // `terminal` is null where nobody watches; nothing is then written. `task` and `unit` are words
  // for the user ("reading", "MB"); `perUnit` counts make one unit.
  ProgressLine(std::ostream* terminal, std::string task, std::string unit, double perUnit,
               Clock clock = std::chrono::steady_clock::now);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

  // `total` is 0 where it is not known.
  void Update(uint64_t done, uint64_t total);

  // Erases the line until the next update, for results that go to the same terminal.
  void Hide();

 private:
  void Show(double seconds, double done, double total);

  std::ostream* terminal;
  std::string task;
  std::string unit;
  double perUnit;
  Clock clock;
  Time start;
  Time next;  // no change of the line before
  bool shown;
};

}  // namespace marrowfin

#endif
