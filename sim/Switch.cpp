#include "sim/Switch.h"

#include <algorithm>
#include <utility>

#include "sim/Share.h"
#include "sim/TraceRecorder.h"

namespace marrowfin::sim {

namespace {

constexpr uint32 NO_OUTPUT = 0xFFFFFFFF;

}  // namespace

Switch::Switch(const Context& context, uint32 cluster)
    : Router("switch", context),
      cluster(cluster),
      arriving(1 +
               std::max(context.settings.domainLink.latency, context.settings.switchLink.latency)),
      waiting(0) {
  AddStat(&transmissions, "transmissions", "messages passed on", 0);
  AddStat(&use[EAST], "eastUse", "use of the link towards higher columns, in percent", 0);
  AddStat(&use[WEST], "westUse", "use of the link towards lower columns, in percent", 0);
  AddStat(&use[NORTH], "northUse", "use of the link towards higher rows, in percent", 0);
  AddStat(&use[SOUTH], "southUse", "use of the link towards lower rows, in percent", 0);
  for (uint32& neighbour : neighbours) {
    neighbour = NO_OUTPUT;
  }
}

void Switch::ReceiveMessage(Message* m) {
  ++ArrivingAt(static_cast<OperandMessage*>(m)->readyAt);
  Router::ReceiveMessage(m);
}

// Every arrival wakes the switch, so none is passed over.
void Switch::Tick(Cycle now) {
  waiting += std::exchange(ArrivingAt(now), 0);
  Router::Tick(now);
  TellQueue();
}

void Switch::TellQueue() {
  if (context.trace.Notes().IsKept() && told.Changes(waiting)) {
    context.trace.Notes().SwitchQueue(Now(), context.shape.SwitchLocation(cluster), waiting);
  }
}

void Switch::Join(const std::vector<Switch*>& switches) {
  const uint32 side = context.shape.clusters;
  const LinkSettings& link = context.settings.switchLink;
  const uint32 column = cluster % side;
  const uint32 row = cluster / side;
  if (column + 1 < side) {
    neighbours[EAST] = AddOutput(switches[cluster + 1], link);
  }
  if (column > 0) {
    neighbours[WEST] = AddOutput(switches[cluster - 1], link);
  }
  if (row + 1 < side) {
    neighbours[NORTH] = AddOutput(switches[cluster + side], link);
  }
  if (row > 0) {
    neighbours[SOUTH] = AddOutput(switches[cluster - side], link);
  }
}

uint32 Switch::Route(const OperandMessage& message) const {
  const uint32 domains = context.shape.DomainsPerCluster();
  const uint32 toCluster = message.toDomain / domains;
  // The outputs to the domains were added first, in the domains' order.
  return toCluster == cluster ? message.toDomain % domains : neighbours[DirectionTo(toCluster)];
}

uint32 Switch::DirectionTo(uint32 toCluster) const {
  const uint32 side = context.shape.clusters;
  if (toCluster % side != cluster % side) {
    return toCluster % side > cluster % side ? EAST : WEST;
  }
  return toCluster > cluster ? NORTH : SOUTH;
}

void Switch::Leave(OperandMessage* message, Cycle now) {
  ++transmissions;
  ++message->hops;
  --waiting;
  context.trace.Transmission(now, message->thread, context.shape.ClusterLocation(cluster));
  context.trace.Notes().Transmission(message->GetId(), message->bornAt);
}

void Switch::Compute() {
  for (uint32 direction = 0; direction < DIRECTIONS; ++direction) {
    if (neighbours[direction] != NO_OUTPUT) {
      use[direction] = Percent(Transmissions(neighbours[direction]), Now());
    }
  }
}

}  // namespace marrowfin::sim
