#ifndef TOOLS_PROGRAM_EVENTCHOICE_H
#define TOOLS_PROGRAM_EVENTCHOICE_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "measure/FindCauses.h"
#include "tools/program/Failure.h"

namespace marrowfin {

// The flags that name the event whose causes are asked for: by its record, or by where and when an
// element fired; without them it is the end of the run.
struct EventChoice {
  std::optional<uint64_t> record;
  std::string pe;
  std::optional<uint64_t> cycle;

  void Declare(CLI::App& app);

  // A refusal of flags that say nothing together.
  MaybeFailure Check() const;

  bool IsGiven() const { return record || !pe.empty(); }

  // The record of the event. Nothing where there is none; `missing` says so where the flags name
  // one. A fault where the trace cannot be read.
  [[nodiscard]] Result<std::optional<uint64_t>> Choose(const Causes& causes, std::string& missing,
                                                       const ProgressCallback& progress) const;
};

}  // namespace marrowfin

#endif
