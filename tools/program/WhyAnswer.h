#ifndef TOOLS_PROGRAM_WHYANSWER_H
#define TOOLS_PROGRAM_WHYANSWER_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "measure/CausalChain.h"
#include "measure/CausalCone.h"
#include "measure/PacketHistory.h"
#include "measure/RunBounds.h"

namespace marrowfin {

// What `why` tells: some of it, as it was asked for.
struct WhyAnswer {
  std::string trace;
  ArrayShape shape;
  CauseCounts counts;
  uint64_t firstTime = 0;  // of the run

  std::optional<TraceEvent> event;  // that is asked about
  std::optional<CausalChain> chain;
  std::vector<ChainStep> steps;  // of the chain, the last ones
  std::optional<RunBounds> bounds;
  std::optional<RunSlack> slack;
  std::optional<CausalCone> cone;
  ConeDirection direction = ConeDirection::BACK;
  std::optional<PacketHistory> packet;
};

// Tables for people.
std::string WhyText(const WhyAnswer& answer);

// The same and more for machines.
nlohmann::json WhyJson(const WhyAnswer& answer);

}  // namespace marrowfin

#endif
