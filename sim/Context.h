#ifndef SIM_CONTEXT_H
#define SIM_CONTEXT_H

#include "Util/Histogram.h"
#include "Util/Types.h"
#include "sim/Scheduler.h"
#include "sim/Shape.h"

namespace marrowfin::sim {

class LoopControl;
class RunLog;
class TraceRecorder;

// One kind of link: how long its wire is, and how many messages may wait at its end. Both at
// least 1.
struct LinkSettings {
  uint32 latency;  // cycles of a message's way there, and of its credit's way back
  uint32 queue;    // messages

  // The messages that may be under way or wait, and so the credits of the sender. Those of the wire
  // itself cover the round trip: with a queue of one, a credit is back just when the last one has
  // been spent, so no link is slower for being long.
  uint32 Credits() const { return queue + 2 * latency - 1; }
};

// Latencies in cycles (at least 1) and capacities of the units.
struct Settings {
  uint32 fireLatency;       // from firing to the result
  LinkSettings peLink;      // between a processing element and its domain
  LinkSettings domainLink;  // between a domain and its switch
  LinkSettings switchLink;  // between neighbouring switches
  uint32 memoryLatency;     // from the start of an access to its end
  uint32 operandBuffer;     // entries of a processing element: operands of one firing each
  uint32 outputQueue;       // results that wait in a processing element
  uint32 memoryPorts;       // accesses that a memory starts in a cycle
  uint32 memoryWords;       // of a cluster
  bool peStatistics;        // whether every processing element reports its own statistics
};

// What is counted over the whole array.
struct Traffic {
  unsigned long long messages = 0;  // operands that arrived by the network
  Histogram latency;                // cycles from sending to arrival
  Histogram hops;                   // switch transmissions of each
};

// What all units share. It outlives them.
struct Context {
  const Shape& shape;
  const Settings& settings;
  Scheduler& scheduler;
  LoopControl& loops;
  TraceRecorder& trace;
  RunLog& log;
  Traffic& traffic;
};

}  // namespace marrowfin::sim

#endif
