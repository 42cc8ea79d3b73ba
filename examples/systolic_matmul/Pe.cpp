#include "Pe.h"

#include "Util/Assert.h"

namespace marrowfin::systolic {

Pe::Pe(const std::string& name, const Location& location, Trace& trace)
    : Component(name.c_str()), location(location), trace(trace) {
  AddOption(&faulty, "-faulty", "whether the PE computes wrong products, to see them found", false);
}

Pe::~Pe() {
  for (Lane& lane : lanes) {
    if (lane.operand != nullptr) {
      Message::Release(lane.operand);
    }
  }
}

void Pe::ConnectHost(Component* host) {
  this->host = host;
  AddReceiver(host);
}

void Pe::ConnectNeighbour(Operand::Direction direction, Pe* neighbour, Component* networkSwitch) {
  lanes[direction].neighbour = neighbour;
  lanes[direction].networkSwitch = networkSwitch;
  AddReceiver(networkSwitch == nullptr ? neighbour : networkSwitch);
}

void Pe::ReceiveMessage(Message* m) {
  CheckReceive(m);
  Operand& operand = dynamic_cast<Operand&>(*m);
  Lane& lane = lanes[operand.direction];
  SIM_ASSERT(lane.operand == nullptr);
  Message::Take(&operand);
  lane.operand = &operand;
}

void Pe::Step() {
  const Operand* west = lanes[Operand::EAST].operand;
  const Operand* north = lanes[Operand::SOUTH].operand;
  if (west == nullptr && north == nullptr) {
    return;
  }
  // What is to be multiplied meets here: that is the whole point of the skewed entry.
  SIM_ASSERT(west != nullptr && north != nullptr && west->step == north->step);
  Multiply();
  PassOn(lanes[Operand::EAST]);
  PassOn(lanes[Operand::SOUTH]);
}

void Pe::Multiply() {
  const Operand& west = *lanes[Operand::EAST].operand;
  const Operand& north = *lanes[Operand::SOUTH].operand;
  ++multiplications;
  trace.Fire(west.tile.thread, location);
  if (west.step == 0) {
    sum = 0;
  }
  sum += 1LL * west.value * north.value + (faulty ? 1 : 0);
  if (west.step == west.tile.depth - 1) {
    const Tile& tile = west.tile;
    SendMessage(host,
                new Result(tile, tile.row + location.row, tile.column + location.column, sum));
  }
}

void Pe::PassOn(Lane& lane) {
  Operand* operand = lane.operand;
  lane.operand = nullptr;
  if (operand->hops > 0) {
    --operand->hops;
    ++moves;
    trace.Send(operand->tile.thread, location, lane.neighbour->location);
    operand->destination = lane.neighbour;
    SendMessage(lane.networkSwitch == nullptr ? lane.neighbour : lane.networkSwitch, operand);
  }
  Message::Release(operand);
}

}  // namespace marrowfin::systolic
