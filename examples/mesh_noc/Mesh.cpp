#include "Mesh.h"

#include <algorithm>

namespace marrowfin::mesh {

Mesh::Mesh(const Options& options, Recorder& recorder)
    : options(options),
      recorder(recorder),
      sources(static_cast<size_t>(options.size) * options.size),
      sourceChannels(sources.size(), -1),
      random(options.seed) {
  for (int row = 0; row < options.size; ++row) {
    for (int column = 0; column < options.size; ++column) {
      routers.emplace_back(options, Node{column, row});
    }
  }
}

Node Mesh::Destination(Node from) {
  const Node anywhere = {Random(options.size), Random(options.size)};
  if (options.traffic == "transpose") {
    return {from.row, from.column};
  }
  if (options.traffic == "neighbour") {
    return {(from.column + 1) % options.size, from.row};
  }
  const Node spot = {options.size / 2, options.size / 2};
  return options.traffic == "hotspot" && Chance(0.2) ? spot : anywhere;
}

// Each node makes a packet or not, whatever it did before (a Bernoulli process). Packets to itself
// are none.
void Mesh::MakePackets(uint64_t cycle) {
  for (size_t i = 0; i < routers.size(); ++i) {
    const Node to = Chance(options.rate) ? Destination(routers[i].at) : routers[i].at;
    if (to == routers[i].at) {
      continue;
    }
    for (int k = 0; k < options.flits; ++k) {
      sources[i].push_back({made, to, cycle, k == 0, k + 1 == options.flits, 0, 0});
    }
    ++made;
  }
}

// Each source hands its router one flit a cycle, where a queue has room for it. A packet starts in
// an empty queue.
void Mesh::Inject(uint64_t cycle) {
  for (size_t i = 0; i < routers.size(); ++i) {
    std::deque<Flit>& source = sources[i];
    int& channel = sourceChannels[i];
    for (int k = 0; k < options.channels && channel == -1 && !source.empty(); ++k) {
      const Queue& queue = routers[i].In(LOCAL, k);
      channel = queue.flits.empty() && queue.port == -1 ? k : -1;
    }
    if (source.empty() || channel == -1 ||
        routers[i].In(LOCAL, channel).flits.size() == static_cast<size_t>(options.depth)) {
      continue;
    }
    const Flit flit = source.front();
    source.pop_front();
    arrivals.push_back({&routers[i], LOCAL, channel, flit});
    if (flit.head) {
      recorder.Inject(cycle, routers[i].at, flit);
    }
    channel = flit.tail ? -1 : channel;
  }
}

void Mesh::Deliver(uint64_t cycle, Router& router, const Departure& departure) {
  const Flit& flit = departure.flit;
  ++results.flits;
  if (flit.tail) {
    recorder.Eject(cycle, router.at, departure.outChannel, flit);
    ++results.packets;
    results.hops += static_cast<uint64_t>(flit.hops);
    results.latencySum += cycle - flit.created;
    results.latencyMax = std::max(results.latencyMax, cycle - flit.created);
  }
}

void Mesh::Move(uint64_t cycle, Router& router) {
  // The slow link, where one is asked for, leads right into the node in the middle.
  const int middle = options.size / 2;
  router.eastClosed = router.at == Node{middle - 1, middle} && cycle % options.slowLink != 0;
  router.AllocateChannels();
  for (Departure& departure : router.AllocateSwitch()) {
    if (departure.inPort != LOCAL) {
      Router& from = At(Neighbour(router.at, departure.inPort));
      credits.push_back(&from.Out(departure.inPort ^ 1, departure.inChannel));
    }
    if (departure.outPort == LOCAL) {
      Deliver(cycle, router, departure);
      continue;
    }
    Router& next = At(Neighbour(router.at, departure.outPort));
    ++departure.flit.hops;
    recorder.Hop(cycle, router.at, next.at, departure.outChannel, departure.flit);
    arrivals.push_back({&next, departure.outPort ^ 1, departure.outChannel, departure.flit});
  }
}

Results Mesh::Run() {
  uint64_t cycle = 0;
  for (; cycle < options.cycles || results.packets < made; ++cycle) {
    if (cycle < options.cycles) {
      MakePackets(cycle);
    }
    Inject(cycle);
    for (Router& router : routers) {
      Move(cycle, router);
    }
    // What left in this cycle is there in the next, and so are the places that it left.
    for (const Arrival& arrival : arrivals) {
      arrival.router->In(arrival.port, arrival.channel).flits.push_back(arrival.flit);
      ++arrival.router->occupancy;
    }
    for (Channel* channel : credits) {
      ++channel->credits;
    }
    arrivals.clear();
    credits.clear();
    for (const Router& router : routers) {
      recorder.Occupancy(cycle, router.at, router.occupancy);
    }
  }
  results.cycles = cycle;
  return results;
}

}  // namespace marrowfin::mesh
