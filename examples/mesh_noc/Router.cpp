#include "Router.h"

namespace marrowfin::mesh {

Router::Router(const Options& options, Node at)
    : at(at),
      size(options.size),
      channels(options.channels),
      depth(options.depth),
      adaptive(options.routing == "adaptive"),
      queues(static_cast<size_t>(PORTS) * options.channels),
      outs(queues.size(), Channel{false, options.depth}) {}

// Columns first, then rows: such routes never wait for each other in a circle.
int Router::PortOf(Node to) const {
  if (to.column != at.column) {
    return to.column > at.column ? EAST : WEST;
  }
  if (to.row != at.row) {
    return to.row > at.row ? NORTH : SOUTH;
  }
  return LOCAL;
}

// A channel is given to the next packet when all flits of the one before have left its other end:
// then no packet waits behind another's in one queue. The sink takes every flit at once.
bool Router::Take(Queue& queue, int port, int firstChannel, int lastChannel) {
  for (int channel = firstChannel; channel <= lastChannel; ++channel) {
    Channel& out = Out(port, channel);
    if (!out.taken && (port == LOCAL || out.credits == depth)) {
      out.taken = true;
      queue.port = port;
      queue.channel = channel;
      return true;
    }
  }
  return false;
}

// Adaptive packets may take any channel but 0 on any shortest way. Channel 0 is the escape: it is
// routed as in PortOf, and who is in it stays in it. So a packet that waits for whatever channel
// always waits for one of the escape as well, and among those there is no circle (Duato, A new
// theory of deadlock-free adaptive routing in wormhole networks, 1993).
void Router::Allocate(Queue& queue, int inPort, int inChannel) {
  const Node to = queue.flits.front().to;
  const int port = PortOf(to);
  if (!adaptive || port == LOCAL) {
    Take(queue, port, 0, channels - 1);
    return;
  }
  const bool escaped = inPort != LOCAL && inChannel == 0;
  const int vertical = to.row > at.row ? NORTH : SOUTH;
  if (!escaped) {
    const bool both = to.column != at.column && to.row != at.row;
    const bool verticalFirst = both && turn % 2 == 1;
    if (Take(queue, verticalFirst ? vertical : port, 1, channels - 1) ||
        (both && Take(queue, verticalFirst ? port : vertical, 1, channels - 1))) {
      return;
    }
  }
  Take(queue, port, 0, 0);
}

void Router::AllocateChannels() {
  ++turn;
  const int count = static_cast<int>(queues.size());
  for (int i = 0; i < count; ++i) {
    const int k = (i + static_cast<int>(turn % count)) % count;
    if (queues[k].port == -1 && !queues[k].flits.empty()) {
      Allocate(queues[k], k / channels, k % channels);
    }
  }
}

std::vector<Departure> Router::AllocateSwitch() {
  std::vector<Departure> departures;
  bool inUsed[PORTS] = {};
  bool outUsed[PORTS] = {eastClosed};
  const int count = static_cast<int>(queues.size());
  for (int i = 0; i < count; ++i) {
    const int k = (i + static_cast<int>(turn % count)) % count;
    Queue& queue = queues[k];
    const int inPort = k / channels;
    if (queue.port == -1 || queue.flits.empty() || inUsed[inPort] || outUsed[queue.port] ||
        (queue.port != LOCAL && Out(queue.port, queue.channel).credits == 0)) {
      continue;
    }
    Channel& out = Out(queue.port, queue.channel);
    inUsed[inPort] = true;
    outUsed[queue.port] = true;
    departures.push_back({inPort, k % channels, queue.port, queue.channel, queue.flits.front()});
    queue.flits.pop_front();
    --occupancy;
    out.credits -= queue.port != LOCAL;
    if (departures.back().flit.tail) {
      out.taken = false;
      queue.port = -1;
    }
  }
  return departures;
}

}  // namespace marrowfin::mesh
