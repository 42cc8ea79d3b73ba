#ifndef MESH_NOC_MESH_H
#define MESH_NOC_MESH_H

#include <cstdint>
#include <deque>
#include <random>
#include <vector>

#include "Recorder.h"
#include "Router.h"

namespace marrowfin::mesh {

// What a run amounts to. Latencies are from the cycle in which a packet was made to that in which
// its tail reached the sink.
struct Results {
  uint64_t packets = 0, flits = 0;  // delivered, which are all that were made
  uint64_t hops = 0;                // of all packets
  uint64_t latencySum = 0, latencyMax = 0;
  uint64_t cycles = 0;  // until the mesh was empty
};

// A square mesh of routers with a source and a sink at each.
class Mesh {
 public:
  Mesh(const Options& options, Recorder& recorder);

  // Makes packets for the cycles that the options ask for, and goes on until all are delivered.
  Results Run();

 private:
  struct Arrival {
    Router* router;
    int port, channel;
    Flit flit;
  };

  Router& At(Node node) {
    return routers[static_cast<size_t>(node.row) * options.size + node.column];
  }
  Node Neighbour(Node node, int port) const {
    return {node.column + (port == EAST) - (port == WEST),
            node.row + (port == NORTH) - (port == SOUTH)};
  }
  Node Destination(Node from);
  void MakePackets(uint64_t cycle);
  void Inject(uint64_t cycle);
  void Move(uint64_t cycle, Router& router);
  void Deliver(uint64_t cycle, Router& router, const Departure& departure);

  // By hand: the distributions of the standard library differ between its implementations.
  bool Chance(double probability) {
    return static_cast<double>(random() >> 11) * 0x1p-53 < probability;
  }
  int Random(int below) { return static_cast<int>(random() % static_cast<uint64_t>(below)); }

  const Options options;
  Recorder& recorder;
  Results results;
  std::vector<Router> routers;
  std::vector<std::deque<Flit>> sources;  // flits that have not got in, one queue a node
  std::vector<int> sourceChannels;        // the queue of its router that a source fills, or -1
  std::vector<Arrival> arrivals;          // at the end of the cycle
  std::vector<Channel*> credits;          // the same
  std::mt19937_64 random;
  uint64_t made = 0;
};

}  // namespace marrowfin::mesh

#endif
