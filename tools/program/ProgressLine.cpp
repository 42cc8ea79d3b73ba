#include "tools/program/ProgressLine.h"

#include <cstdio>
#include <ostream>
#include <utility>

#include "tools/program/TerminalText.h"

namespace marrowfin {
namespace {

constexpr std::chrono::milliseconds patience(500);
constexpr std::chrono::milliseconds period(100);

// Goes to the start of the line and erases it.
constexpr char eraseLine[] = "\r\033[K";

}  // namespace

ProgressLine::ProgressLine(std::ostream* terminal, std::string task, std::string unit,
                           double perUnit, Clock clock)
    : terminal(terminal),
      task(PrintableLine(task)),
      unit(std::move(unit)),
      perUnit(perUnit),
      clock(std::move(clock)),
      start(this->clock()),
      next(start + patience),
      shown(false) {}

ProgressLine::~ProgressLine() { Hide(); }

void ProgressLine::Hide() {
  if (shown) {
    *terminal << eraseLine << std::flush;
    shown = false;
  }
}

void ProgressLine::Update(uint64_t done, uint64_t total) {
  if (terminal == nullptr) {
    return;
  }
  const Time now = clock();
  if (now < next) {
    return;
  }
  next = now + period;
  shown = true;
  const double seconds = std::chrono::duration<double>(now - start).count();
  Show(seconds, static_cast<double>(done), static_cast<double>(total));
}

void ProgressLine::Show(double seconds, double done, double total) {
  const double rate = done / seconds;
  char text[160];
  if (total > 0 && done > 0) {
    const double left = (total - done) / rate;
    std::snprintf(text, sizeof(text), "%s %3.0f %%, %.1f %s/s, %.0f s left", task.c_str(),
                  100 * done / total, rate / perUnit, unit.c_str(), left);
  } else {
    std::snprintf(text, sizeof(text), "%s %.1f %s, %.1f %s/s", task.c_str(), done / perUnit,
                  unit.c_str(), rate / perUnit, unit.c_str());
  }
  *terminal << eraseLine << text << std::flush;
}

}  // namespace marrowfin
