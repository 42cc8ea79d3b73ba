#include "sim/Placement.h"

#include <algorithm>
#include <array>
#include <functional>
#include <numeric>
#include <queue>
#include <utility>

#include "sim/Random.h"

namespace marrowfin::sim {

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

// Fills one domain after the other, each time with the group that has the most arcs into it: what
// talks much comes close together. Looking for the best place for each group in the order of the
// program was rejected; its first groups then decide for all others before these are known.
class GreedyPlacer {
 public:
  GreedyPlacer(const Graph& graph, const Shape& shape, const PlacementLimits& limits)
      : graph(graph), shape(shape), placer(graph, shape, limits), groups(graph.Groups()) {
    FindNeighbours();
    arcs.resize(groups.size());
    isPlaced.resize(groups.size());
  }

  Placement Place() {
    size_t placed = 0;
    for (uint32 step = 0; step < shape.DomainCount() && placed < groups.size(); ++step) {
      placed += FillDomain(DomainAt(step));
    }
    return placed == groups.size() ? placer.Result() : Placement();
  }

 private:
  // How many arcs of a group lead to what was placed: in the domain that is being filled, in its
  // cluster, and anywhere. They are compared in this order.
  enum Nearness { DOMAIN, CLUSTER, ANYWHERE, NEARNESSES };
  typedef std::array<uint32, NEARNESSES> Arcs;

  struct Candidate {
    Arcs arcs;
    uint32 group;

    // The best comes last; of equals, the first in the program.
    bool operator<(const Candidate& other) const {
      return arcs != other.arcs ? arcs < other.arcs : group > other.group;
    }
  };

  // The clusters in a snake, so that each lies beside the one before.
  uint32 DomainAt(uint32 step) const {
    const uint32 row = step / shape.DomainsPerCluster() / shape.clusters;
    const uint32 along = step / shape.DomainsPerCluster() % shape.clusters;
    const uint32 column = row % 2 == 0 ? along : shape.clusters - 1 - along;
    return (row * shape.clusters + column) * shape.DomainsPerCluster() +
           step % shape.DomainsPerCluster();
  }

  // The groups at the other ends of each group's arcs.
  void FindNeighbours() {
    std::vector<uint32> groupOf(graph.Operations().size());
    for (uint32 g = 0; g < groups.size(); ++g) {
      for (const uint32 operation : groups[g]) {
        groupOf[operation] = g;
      }
    }
    neighbours.resize(groups.size());
    for (uint32 i = 0; i < graph.Operations().size(); ++i) {
      for (const std::vector<Arc>& side : graph.Operations()[i].outputs) {
        for (const Arc& arc : side) {
          neighbours[groupOf[i]].push_back(groupOf[arc.operation]);
          neighbours[groupOf[arc.operation]].push_back(groupOf[i]);
        }
      }
    }
  }

  // Returns how many groups were placed.
  size_t FillDomain(uint32 domain) {
    StartDomain(domain);
    size_t placed = 0;
    while (!candidates.empty()) {
      const Candidate best = candidates.top();
      candidates.pop();
      // A group is a candidate again each time it is drawn more strongly.
      if (isPlaced[best.group] || best.arcs != arcs[best.group]) {
        continue;
      }
      const uint32 pe = LeastLoaded(groups[best.group], domain);
      if (pe == shape.PeCount()) {
        if (IsFull(domain)) {
          break;
        }
        continue;
      }
      PlaceGroup(best.group, pe);
      ++placed;
    }
    return placed;
  }

  void StartDomain(uint32 domain) {
    const bool isNewCluster = domain % shape.DomainsPerCluster() == 0;
    std::vector<Candidate> unplaced;
    for (uint32 g = 0; g < groups.size(); ++g) {
      if (!isPlaced[g]) {
        arcs[g][DOMAIN] = 0;
        arcs[g][CLUSTER] = isNewCluster ? 0 : arcs[g][CLUSTER];
        unplaced.push_back({arcs[g], g});
      }
    }
    candidates = std::priority_queue<Candidate>(std::less<Candidate>(), std::move(unplaced));
  }

  void PlaceGroup(uint32 group, uint32 pe) {
    placer.Put(groups[group], pe);
    isPlaced[group] = true;
    for (const uint32 neighbour : neighbours[group]) {
      if (!isPlaced[neighbour]) {
        for (uint32& count : arcs[neighbour]) {
          ++count;
        }
        candidates.push({arcs[neighbour], neighbour});
      }
    }
  }

  bool IsFull(uint32 domain) const { return LeastLoaded({0}, domain) == shape.PeCount(); }

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
  std::vector<Group> groups;
  std::vector<std::vector<uint32>> neighbours;
  std::vector<Arcs> arcs;
  std::vector<bool> isPlaced;
  std::priority_queue<Candidate> candidates;
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
      {"greedy", "close to what it talks to, so that messages take few hops", PlaceGreedily}};
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

}  // namespace marrowfin::sim
