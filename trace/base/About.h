#ifndef TRACE_BASE_ABOUT_H
#define TRACE_BASE_ABOUT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// How the array of a trace is built.
struct AboutArray {
  ArrayShape shape = ArrayShape(1, 1, 1);
  bool gaps = true;          // whether pictures set clusters and domains apart
  bool wrapColumns = false;  // whether links join the last column to the first
  bool wrapRows = false;
  friend bool operator==(const AboutArray&, const AboutArray&) = default;
};

// Messages that a link takes, or a switch passes on, in a cycle: loads are shares of them.
struct MessageRate {
  static constexpr double LEAST = 1e-6;
  static constexpr double MOST = 1e9;
  static bool Is(double rate) { return rate >= LEAST && rate <= MOST; }
};

// What link load is computed with.
struct AboutLinks {
  std::string routing;          // "xy", "yx", or empty where nobody computes it
  double bytesPerCycle = 0;     // that a link takes; 0 where that is not known
  double latency = 1;           // cycles a hop
  double messagesPerCycle = 1;  // that a link takes: a MessageRate
  friend bool operator==(const AboutLinks&, const AboutLinks&) = default;
};

// What the load of switches is computed with. A crossbar is known by its ports, what all messages
// share by its rate; where both are told, both bound it.
struct AboutSwitches {
  std::optional<uint32_t> ports;           // ways out beside the links to other switches, each of
                                           // which takes as much as a link
  std::optional<double> messagesPerCycle;  // that a switch passes on at most: a MessageRate
  std::optional<double> latency;           // cycles that a message takes through a switch
  friend bool operator==(const AboutSwitches&, const AboutSwitches&) = default;
};

struct AboutThread {
  std::string name;
  std::string meaning;  // what threads stand for: "virtual channel", "class", ...
  friend bool operator==(const AboutThread&, const AboutThread&) = default;
};

struct InRowOrder {
  bool operator()(Place a, Place b) const {
    return a.row != b.row ? a.row < b.row : a.column < b.column;
  }
};

// What the run was that recorded a trace, as docs/companion-format.md tells of it. Any of it may be
// missing: empty texts and empty optionals stand for what nobody said. Threads: a value, which one
// thread writes or any number read.
struct About {
  static constexpr int64_t FORMAT = 1;

  std::string name;
  std::string command;
  std::string date;  // UTC, as in "2026-11-22T01:00:00Z"
  std::string tool;
  std::optional<double> cycleNs;  // nanoseconds that a cycle takes; above 0

  // By which the trace is recognised: the fingerprint of its first records, so many.
  static constexpr uint32_t MOST_PRINTED = 64;
  uint32_t printed = 0;
  uint64_t fingerprint = 0;

  std::optional<AboutArray> array;
  std::optional<AboutLinks> links;
  std::optional<AboutSwitches> switches;
  std::map<uint32_t, AboutThread> threads;
  std::map<Place, std::string, InRowOrder> places;

  friend bool operator==(const About&, const About&) = default;
};

}  // namespace marrowfin

#endif
