#include "measure/NetworkModel.h"

#include <algorithm>

namespace marrowfin {

std::optional<double> NetworkModel::OfSwitch(const Mesh& clusters, Place node) const {
  if (!switchPorts) {
    return switchMessages;
  }
  double ways = *switchPorts;
  for (const Heading heading : {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN}) {
    ways += clusters.HasLink(node, heading) ? 1 : 0;
  }
  if (ways == 0) {
    return std::nullopt;
  }
  const double taken = ways * linkMessages;
  return switchMessages ? std::min(*switchMessages, taken) : taken;
}

NetworkModel NetworkOf(const About* about) {
  NetworkModel model;
  if (about != nullptr && about->links) {
    model.linkMessages = about->links->messagesPerCycle;
  }
  if (about != nullptr && about->switches) {
    model.switchPorts = about->switches->ports;
    model.switchMessages = about->switches->messagesPerCycle;
  }
  return model;
}

}  // namespace marrowfin
