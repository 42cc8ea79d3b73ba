#ifndef SIM_CONTEXT_H
#define SIM_CONTEXT_H

#include "Util/Histogram.h"
#include "Util/Types.h"
#include "sim/LoopControl.h"
#include "sim/Scheduler.h"
#include "sim/Shape.h"

namespace marrowfin::sim {

class RunLog;
class TraceRecorder;

// Latencies in cycles (at least 1) and capacities of the units.
struct Settings {
  uint32 fireLatency;        // from firing to the result
  uint32 peLinkLatency;      // between a processing element and its domain
  uint32 domainLinkLatency;  // between a domain and its switch
  uint32 switchLinkLatency;  // between neighbouring switches
  uint32 memoryLatency;      // from the start of an access to its end
  uint32 operandBuffer;      // entries of a processing element: operands of one firing each
  uint32 outputQueue;        // results that wait in a processing element
  uint32 linkQueue;          // messages that wait at the end of a link
  uint32 memoryPorts;        // accesses that a memory starts in a cycle
  uint32 memoryWords;        // of a cluster
  bool peStatistics;         // whether every processing element reports its own statistics
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
