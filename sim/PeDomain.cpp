#include "sim/PeDomain.h"

#include "sim/Memory.h"
#include "sim/Share.h"
#include "sim/Switch.h"

namespace marrowfin::sim {

namespace {

std::string NameOfDomain(const Shape& shape, uint32 number) {
  const uint32 local = number % shape.DomainsPerCluster();
  return "d" + std::to_string(local % shape.domains) + "_" + std::to_string(local / shape.domains);
}

}  // namespace

PeDomain::PeDomain(const Context& context, uint32 number)
    : Router(NameOfDomain(context.shape, number), context), number(number), upOutput(0) {
  AddStat(&messagesWithin, "messagesWithin", "messages between processing elements of the domain",
          0);
  AddStat(&messagesIn, "messagesIn", "messages from outside the domain", 0);
  AddStat(&messagesUp, "messagesUp", "messages to the cluster's switch", 0);
  AddStat(&upUse, "upUse", "use of the link to the switch, in percent of the cycles", 0);
}

void PeDomain::Build(Memory* memory) {
  for (uint32 position = 0; position < context.shape.PesPerDomain(); ++position) {
    const uint32 pe = context.shape.PeAt(number, position);
    pes.push_back(std::make_unique<ProcessingElement>(context, pe, memory));
    Adopt(this, pes.back().get());
    pes.back()->Join(this);
    AddSink(pes.back().get(), context.settings.peLink);
  }
}

void PeDomain::Join(Switch* clusterSwitch) {
  upOutput = AddOutput(clusterSwitch, context.settings.domainLink);
  clusterSwitch->AddOutput(this, context.settings.domainLink);
}

uint32 PeDomain::Route(const OperandMessage& message) const {
  return message.toDomain == number ? context.shape.PositionInDomain(message.toPe) : upOutput;
}

void PeDomain::Leave(OperandMessage* message, Cycle /*now*/) {
  if (message->toDomain != number) {
    ++messagesUp;
  } else if (context.shape.DomainOf(message->fromPe) == number) {
    ++messagesWithin;
  } else {
    ++messagesIn;
  }
}

void PeDomain::Compute() { upUse = Percent(messagesUp, Now()); }

}  // namespace marrowfin::sim
