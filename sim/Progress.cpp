#include "sim/Progress.h"

#include <unistd.h>

#include "Util/SimOutput.h"

namespace marrowfin::sim {

namespace {

constexpr unsigned CALLS_PER_LOOK = 64;
constexpr std::chrono::milliseconds INTERVAL(200);

}  // namespace

Progress::Progress()
    : isTerminal(isatty(STDERR_FILENO) == 1),
      isShown(false),
      callsLeft(CALLS_PER_LOOK),
      start(Clock::now()),
      next(start + INTERVAL) {}

bool Progress::IsDue() {
  if (!isTerminal || --callsLeft != 0) {
    return false;
  }
  callsLeft = CALLS_PER_LOOK;
  return Clock::now() >= next;
}

void Progress::Show(const ProgressState& state) {
  const Clock::time_point now = Clock::now();
  next = now + INTERVAL;
  isShown = true;
  const double seconds = std::chrono::duration<double>(now - start).count();
  SimOutput::PrintError("\r%llu cycles, %llu events, %.0f events/s", state.cycles, state.events,
                        static_cast<double>(state.events) / seconds);
  if (state.share >= 0) {
    SimOutput::PrintError(", %.0f %%", 100 * state.share);
  }
  // Erases what a longer line left behind.
  SimOutput::PrintError("\033[K");
}

void Progress::Clear() {
  if (isShown) {
    SimOutput::PrintError("\r\033[K");
    isShown = false;
  }
}

}  // namespace marrowfin::sim
