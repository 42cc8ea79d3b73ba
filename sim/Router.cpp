#include "sim/Router.h"

#include "Util/Assert.h"
#include "sim/RunLog.h"

namespace marrowfin::sim {

Link::Link(const Context& context, Unit* from, Unit* to, Router* router, uint32 input,
           uint32 latency)
    : context(context),
      from(from),
      to(to),
      router(router),
      input(input),
      latency(latency),
      lastUse(0),
      transmissions(0) {
  from->AddReceiver(to);
}

bool Link::IsFree(Cycle now) const {
  return lastUse != now && (router == nullptr || router->HasCredit(input, now));
}

void Link::Send(OperandMessage* message, Cycle now) {
  lastUse = now;
  ++transmissions;
  message->input = input;
  message->readyAt = now + latency;
  context.log.Link(now, message->GetId(), *from, *to);
  from->SendMessage(to, message);
}

Router::Router(const std::string& name, const Context& context)
    : Unit(name, context.scheduler), context(context) {}

uint32 Router::AddInput(const LinkSettings& link) {
  inputs.emplace_back(link);
  return static_cast<uint32>(inputs.size() - 1);
}

uint32 Router::AddOutput(Router* to, const LinkSettings& link) {
  outputs.emplace_back(context, this, to, to, to->AddInput(link), link.latency);
  return static_cast<uint32>(outputs.size() - 1);
}

uint32 Router::AddSink(Unit* to, const LinkSettings& link) {
  outputs.emplace_back(context, this, to, nullptr, 0, link.latency);
  return static_cast<uint32>(outputs.size() - 1);
}

bool Router::HasCredit(uint32 input, Cycle now) {
  Input& in = inputs[input];
  while (!in.returning.IsEmpty() && in.returning.Front() <= now) {
    in.returning.Pop();
  }
  return in.queue.Size() + in.returning.Size() < in.queue.Capacity();
}

void Router::ReceiveMessage(Message* m) {
  CheckReceive(m);
  OperandMessage* message = static_cast<OperandMessage*>(m);
  Input& input = inputs[message->input];
  if (input.queue.IsEmpty()) {
    waiting.push_back(message->input);
  }
  const bool hadRoom = input.queue.Push(message);
  SIM_ASSERT(hadRoom);
  WakeAt(message->readyAt);
}

void Router::Tick(Cycle now) {
  bool isBusy = false;
  size_t kept = 0;
  served.clear();
  for (const uint32 index : waiting) {
    Input& input = inputs[index];
    const bool isServed = Serve(input, now);
    if (!isServed) {
      waiting[kept++] = index;
    } else if (!input.queue.IsEmpty()) {
      served.push_back(index);
    }
    // What is still on its way wakes the router itself when it arrives.
    isBusy = isBusy || HasArrived(input, now);
  }
  waiting.resize(kept);
  waiting.insert(waiting.end(), served.begin(), served.end());
  if (isBusy) {
    WakeAt(now + 1);
  }
}

bool Router::HasArrived(const Input& input, Cycle now) const {
  return !input.queue.IsEmpty() &&
         static_cast<const OperandMessage*>(input.queue.Front())->readyAt <= now;
}

bool Router::Serve(Input& input, Cycle now) {
  if (!HasArrived(input, now)) {
    return false;
  }
  OperandMessage* message = static_cast<OperandMessage*>(input.queue.Front());
  Link& output = outputs[Route(*message)];
  if (!output.IsFree(now)) {
    return false;
  }
  input.queue.Pop();
  input.returning.Push(now + input.creditLatency);
  Leave(message, now);
  output.Send(message, now);
  Message::Release(message);
  return true;
}

void Router::Leave(OperandMessage* /*message*/, Cycle /*now*/) {}

}  // namespace marrowfin::sim
