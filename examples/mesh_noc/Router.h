#ifndef MESH_NOC_ROUTER_H
#define MESH_NOC_ROUTER_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace marrowfin::mesh {

struct Options {
  int size = 8;                     // nodes along each side
  int channels = 4;                 // virtual channels of each link
  int depth = 4;                    // flits that a virtual channel holds
  int flits = 4;                    // of a packet
  std::string routing = "xy";       // or "adaptive"
  std::string traffic = "uniform";  // or "transpose", "hotspot", "neighbour"
  int slowLink = 1;                 // cycles that a link in the middle takes for a flit
  double rate = 0.05;               // packets that each node makes a cycle
  uint64_t cycles = 5000;           // in which packets are made; then the mesh runs empty
  uint64_t seed = 1;
  std::string trace;          // where to record, "" for nowhere
  std::string notes = "all";  // beside it: or "packets", "none"
  uint64_t keepLast = 0;      // cycles to record, the last ones; 0 for all
};

// A node of the mesh: a router with its source and its sink.
struct Node {
  int column = 0;
  int row = 0;
  friend bool operator==(const Node&, const Node&) = default;
};

// What a packet takes along: the smallest thing that a link carries in a cycle. The first flit of a
// packet finds the way, the others follow it.
struct Flit {
  uint64_t packet = 0;
  Node to;
  uint64_t created = 0;  // the cycle in which its packet was made, perhaps long before it got in
  bool head = false, tail = false;
  int hops = 0;           // links behind it
  uint64_t lastSend = 0;  // the record that tells of the last of them
};

// The sides of a router. Opposite sides are one another's `^ 1`.
enum Port { EAST = 0, WEST = 1, NORTH = 2, SOUTH = 3, LOCAL = 4 };
constexpr int PORTS = 5;

// Flits on their way through a router, one queue for each virtual channel of each side that they
// come in by. A packet holds its queue from its head to its tail, and the channel that it goes on
// by as well.
struct Queue {
  std::deque<Flit> flits;
  int port = -1, channel = -1;  // where the packet goes on, -1 before that is known
};

// What a router knows of a virtual channel that leaves it.
struct Channel {
  bool taken = false;
  int credits = 0;  // places that are free at its other end
};

// A flit that leaves a router in this cycle.
struct Departure {
  int inPort, inChannel, outPort, outChannel;
  Flit flit;
};

// A router as the textbook has it: routes are computed, channels allocated and the switch is
// traversed in one cycle, the link in the next. See Dally and Towles, Principles and Practices of
// Interconnection Networks, 2004, chapters 14, 16 and 18.
class Router {
 public:
  Router(const Options& options, Node at);

  Queue& In(int port, int channel) { return queues[port * channels + channel]; }
  Channel& Out(int port, int channel) { return outs[port * channels + channel]; }

  // Gives heads that wait a channel to go on by.
  void AllocateChannels();

  // The flits that leave: at most one by each side, and one out of the queues of each side.
  std::vector<Departure> AllocateSwitch();

  int occupancy = 0;        // flits in all queues
  bool eastClosed = false;  // whether nothing leaves by that side in this cycle

  const Node at;

 private:
  int PortOf(Node to) const;
  bool Take(Queue& queue, int port, int firstChannel, int lastChannel);
  void Allocate(Queue& queue, int inPort, int inChannel);

  const int size, channels, depth;
  const bool adaptive;
  std::vector<Queue> queues;
  std::vector<Channel> outs;
  unsigned turn = 0;  // who is served first, so that all are
};

}  // namespace marrowfin::mesh

#endif
