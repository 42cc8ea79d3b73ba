#ifndef SIM_PLACEMENT_H
#define SIM_PLACEMENT_H

#include <string>
#include <vector>

#include "sim/Graph.h"
#include "sim/Shape.h"

namespace marrowfin::sim {

// How many operations go to a processing element.
struct PlacementLimits {
  uint32 share;     // that a policy gives to each, as long as groups of operations allow
  uint32 capacity;  // that none can exceed
};

// The processing element of each operation; empty where the operations do not fit. Operations of a
// group (Graph::Groups) share one.
typedef std::vector<uint32> Placement;

// One policy that users can choose.
struct PlacementPolicy {
  const char* name;
  const char* description;
  Placement (*place)(const Graph& graph, const Shape& shape, const PlacementLimits& limits,
                     unsigned long long seed);
};

const std::vector<PlacementPolicy>& PlacementPolicies();

// Null where there is no policy of that name.
const PlacementPolicy* FindPlacementPolicy(const std::string& name);

// The names of all policies, with a comma and a blank between them.
std::string PlacementPolicyNames();

// Places the operations with a policy: `share` to each processing element, or as few as spread them
// evenly where that is 0; more where the groups leave no other way. Empty where even `capacity` to
// each is not enough.
Placement PlaceOperations(const PlacementPolicy& policy, const Graph& graph, const Shape& shape,
                          uint32 share, uint32 capacity, unsigned long long seed);

}  // namespace marrowfin::sim

#endif
