#include "tools/program/EventChoice.h"

#include "tools/program/Flags.h"
#include "trace/ask/Ranges.h"

namespace marrowfin {

void EventChoice::Declare(CLI::App& app) {
  AddCount(app, "--record", record, "What led to this record");
  app.add_option("--pe", pe, "What led to the last fire of this PE: COLUMN,ROW")
      ->check([](const std::string& text) {
        Place unused;
        return ParsePlace(text, unused);
      });
  AddCount(app, "--cycle", cycle, "The last fire up to this cycle (with --pe)");
}

MaybeFailure EventChoice::Check() const {
  if (cycle && pe.empty()) {
    return Failure{EXIT_USAGE, "--cycle tells when a PE fired, and none is named",
                   "Give it with --pe."};
  }
  if (record && !pe.empty()) {
    return Failure{EXIT_USAGE, "--record and --pe name two events", "Give one of them."};
  }
  return std::nullopt;
}

Result<std::optional<uint64_t>> EventChoice::Choose(const Causes& causes, std::string& missing,
                                                    const ProgressCallback& progress) const {
  if (record) {
    if (*record < causes.graph.Records()) {
      return record;
    }
    missing = "there is no record " + std::to_string(*record) + ", only " +
              std::to_string(causes.graph.Records());
    return std::optional<uint64_t>();
  }
  if (pe.empty()) {
    return causes.last;
  }
  Place place;
  static_cast<void>(ParsePlace(pe, place));
  Result<std::optional<uint64_t>> fire = LastFireOf(causes.trace.Source(), causes.trace.GetIndex(),
                                                    place, cycle.value_or(~uint64_t{0}), progress);
  if (fire && !*fire) {
    missing = "PE " + pe + " does not fire" +
              (cycle ? " up to cycle " + std::to_string(*cycle) : std::string());
  }
  return fire;
}

}  // namespace marrowfin
