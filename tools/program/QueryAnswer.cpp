#include "tools/program/QueryAnswer.h"

#include <utility>

namespace marrowfin {

void QueryAnswer::Restart(std::function<void()> hide) {
  beforeOutput = std::move(hide);
  met = 0;
}

bool QueryAnswer::IsNew() {
  const bool isNew = ++met > told;
  told = isNew ? met : told;
  return isNew;
}

// Writes what has come, where that is worth it. Where nobody takes it the program says so at its
// end; nothing more is asked.
Fault QueryAnswer::Pass() {
  constexpr size_t PIECE = 1 << 15;
  if (output.Text().size() >= PIECE) {
    beforeOutput();
    failure = output.Write();
  }
  return failure || !output.IsTaken() ? CancelledFault("output") : Fault();
}

Fault QueryAnswer::Begin(std::span<const std::string> names) {
  if (!IsNew()) {
    return {};
  }
  lines.Begin(names, output.Text());
  return {};
}

Fault QueryAnswer::Row(std::span<const SqlCell> cells) {
  if (!IsNew()) {
    return {};
  }
  ++rows;
  lines.Add(cells, output.Text());
  return Pass();
}

Fault QueryAnswer::End() {
  if (!IsNew()) {
    return {};
  }
  lines.End(output.Text());
  return Pass();
}

}  // namespace marrowfin
