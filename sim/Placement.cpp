#include "sim/Placement.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "sim/Random.h"

namespace marrowfin {

namespace {

typedef std::vector<uint32> Group;

// What is common to all policies: how full each processing element is.
class Placer {
 public:
  Placer(const Graph& graph, const Shape& shape, const PlacementLimits& limits)
      : shape(shape), limits(limits), load(shape.PeCount()), placement(graph.Operations().size()) {}

  // Whether the group may go to a processing element: within its share, or into an empty one if the
  // group alone is larger than a share.
  bool Fits(const Group& group, uint32 pe) const {
    const size_t after = load[pe] + group.size();
    return after <= limits.share || (load[pe] == 0 && after <= limits.capacity);
  }

  void Put(const Group& group, uint32 pe) {
    load[pe] += static_cast<uint32>(group.size());
    for (const uint32 operation : group) {
      placement[operation] = pe;
    }
  }

  uint32 Load(uint32 pe) const { return load[pe]; }
  const Shape& GetShape() const { return shape; }
  const Placement& Result() const { return placement; }

 private:
  const Shape& shape;
  PlacementLimits limits;
  std::vector<uint32> load;  // operations of each processing element
  Placement placement;
};

// The processing elements cluster by cluster and domain by domain.
std::vector<uint32> BlockedOrder(const Shape& shape) {
  std::vector<uint32> order;
  for (uint32 domain = 0; domain < shape.DomainCount(); ++domain) {
    for (uint32 position = 0; position < shape.PesPerDomain(); ++position) {
      order.push_back(shape.PeAt(domain, position));
    }
  }
  return order;
}

// Gives one group to each processing element in turn, and starts again at the first one.
Placement PlaceInTurn(const Graph& graph, const Shape& shape, const PlacementLimits& limits,
                      const std::vector<uint32>& order) {
  Placer placer(graph, shape, limits);
  size_t next = 0;
  for (const Group& group : graph.Groups()) {
    size_t tries = 0;
    while (tries < order.size() && !placer.Fits(group, order[next % order.size()])) {
      ++next;
      ++tries;
    }
    if (tries == order.size()) {
      return {};
    }
    placer.Put(group, order[next++ % order.size()]);
  }
  return placer.Result();
}

Placement PlaceRowMajor(const Graph& graph, const Shape& shape, const PlacementLimits& limits,
                        unsigned long long /*seed*/) {
  std::vector<uint32> order(shape.PeCount());
  std::iota(order.begin(), order.end(), 0);
  return PlaceInTurn(graph, shape, limits, order);
}

// Fills one processing element after the other, so that neighbours in the program stay together.
Placement PlaceBlocked(const Graph& graph, const Shape& shape, const PlacementLimits& limits,
                       unsigned long long /*seed*/) {
  Placer placer(graph, shape, limits);
  const std::vector<uint32> order = BlockedOrder(shape);
  size_t current = 0;
  for (const Group& group : graph.Groups()) {
    while (current < order.size() && !placer.Fits(group, order[current])) {
      ++current;
    }
    if (current == order.size()) {
      return {};
    }
    placer.Put(group, order[current]);
  }
  return placer.Result();
}

Placement PlaceRandomly(const Graph& graph, const Shape& shape, const PlacementLimits& limits,
                        unsigned long long seed) {
  Random random(seed);
  std::vector<uint32> order(shape.PeCount());
  std::iota(order.begin(), order.end(), 0);
  for (uint32 left = shape.PeCount(); left > 1; --left) {
    std::swap(order[left - 1], order[random.Below(left)]);
  }
  return PlaceInTurn(graph, shape, limits, order);
}

// The operations at the other ends of each operation's arcs.
std::vector<std::vector<uint32>> Neighbours(const Graph& graph) {
  std::vector<std::vector<uint32>> neighbours(graph.Operations().size());
  for (uint32 i = 0; i < graph.Operations().size(); ++i) {
    for (const std::vector<Arc>& side : graph.Operations()[i].outputs) {
      for (const Arc& arc : side) {
        neighbours[i].push_back(arc.operation);
        neighbours[arc.operation].push_back(i);
      }
    }
  }
  return neighbours;
}

// Puts each group where its messages to and from what is placed already take the fewest hops.
class GreedyPlacer {
 public:
  GreedyPlacer(const Graph& graph, const Shape& shape, const PlacementLimits& limits)
      : graph(graph),
        shape(shape),
        placer(graph, shape, limits),
        neighbours(Neighbours(graph)),
        isPlaced(graph.Operations().size()) {}

  Placement Place() {
    for (const Group& group : OrderByNeighbourhood()) {
      if (!PlaceGroup(group)) {
        return {};
      }
    }
    return placer.Result();
  }

 private:
  // The groups, each soon after one of its neighbours: whoever is placed without a neighbour is
  // placed blindly.
  std::vector<Group> OrderByNeighbourhood() const {
    const std::vector<Group> groups = graph.Groups();
    std::vector<uint32> groupOf(graph.Operations().size());
    for (uint32 g = 0; g < groups.size(); ++g) {
      for (const uint32 operation : groups[g]) {
        groupOf[operation] = g;
      }
    }
    std::vector<Group> order;
    std::vector<bool> isTaken(groups.size());
    for (uint32 seed = 0; seed < groups.size(); ++seed) {
      std::vector<uint32> reached = {seed};
      for (size_t next = 0; next < reached.size(); ++next) {
        const uint32 g = reached[next];
        if (isTaken[g]) {
          continue;
        }
        isTaken[g] = true;
        order.push_back(groups[g]);
        for (const uint32 operation : groups[g]) {
          for (const uint32 neighbour : neighbours[operation]) {
            reached.push_back(groupOf[neighbour]);
          }
        }
      }
    }
    return order;
  }

  bool PlaceGroup(const Group& group) {
    const std::vector<uint32> domainsOfNeighbours = PlacedDomains(group);
    unsigned long long bestCost = ~0ULL;
    uint32 best = shape.PeCount();
    for (uint32 domain = 0; domain < shape.DomainCount() && bestCost != 0; ++domain) {
      unsigned long long cost = 0;
      for (const uint32 other : domainsOfNeighbours) {
        cost += shape.Hops(domain, other);
      }
      if (cost < bestCost) {
        const uint32 pe = LeastLoaded(group, domain);
        if (pe != shape.PeCount()) {
          best = pe;
          bestCost = cost;
        }
      }
    }
    if (best == shape.PeCount()) {
      return false;
    }
    placer.Put(group, best);
    for (const uint32 operation : group) {
      isPlaced[operation] = true;
    }
    return true;
  }

  std::vector<uint32> PlacedDomains(const Group& group) const {
    std::vector<uint32> domains;
    for (const uint32 operation : group) {
      for (const uint32 neighbour : neighbours[operation]) {
        if (isPlaced[neighbour]) {
          domains.push_back(shape.DomainOf(placer.Result()[neighbour]));
        }
      }
    }
    return domains;
  }

  // The processing element of a domain that takes the group most easily; the number of all if none
  // takes it.
  uint32 LeastLoaded(const Group& group, uint32 domain) const {
    uint32 best = shape.PeCount();
    for (uint32 position = 0; position < shape.PesPerDomain(); ++position) {
      const uint32 pe = shape.PeAt(domain, position);
      if (placer.Fits(group, pe) &&
          (best == shape.PeCount() || placer.Load(pe) < placer.Load(best))) {
        best = pe;
      }
    }
    return best;
  }

  const Graph& graph;
  const Shape& shape;
  Placer placer;
  std::vector<std::vector<uint32>> neighbours;
  std::vector<bool> isPlaced;
};

Placement PlaceGreedily(const Graph& graph, const Shape& shape, const PlacementLimits& limits,
                        unsigned long long /*seed*/) {
  return GreedyPlacer(graph, shape, limits).Place();
}

}  // namespace

const std::vector<PlacementPolicy>& PlacementPolicies() {
  static const std::vector<PlacementPolicy> policies = {
      {"row-major", "row by row over the whole array, one operation after the other",
       PlaceRowMajor},
      {"blocked", "cluster by cluster, neighbours in the program together", PlaceBlocked},
      {"random", "anywhere, drawn from the seed", PlaceRandomly},
      {"greedy", "each where its messages take the fewest hops", PlaceGreedily}};
  return policies;
}

const PlacementPolicy* FindPlacementPolicy(const std::string& name) {
  for (const PlacementPolicy& policy : PlacementPolicies()) {
    if (policy.name == name) {
      return &policy;
    }
  }
  return nullptr;
}

std::string PlacementPolicyNames() {
  std::string names;
  for (const PlacementPolicy& policy : PlacementPolicies()) {
    names += (names.empty() ? "" : ", ") + std::string(policy.name);
  }
  return names;
}

Placement PlaceOperations(const PlacementPolicy& policy, const Graph& graph, const Shape& shape,
                          uint32 share, uint32 capacity, unsigned long long seed) {
  const size_t operations = graph.Operations().size();
  const uint32 even = static_cast<uint32>((operations + shape.PeCount() - 1) / shape.PeCount());
  Placement placement;
  for (uint32 limit = share == 0 ? even : share; placement.empty() && limit <= capacity; ++limit) {
    placement = policy.place(graph, shape, {limit, capacity}, seed);
  }
  return placement;
}

}  // namespace marrowfin
