#ifndef SIM_ROUTER_H
#define SIM_ROUTER_H

#include <deque>
#include <string>
#include <vector>

#include "Core/Message.h"
#include "sim/Context.h"
#include "sim/Fifo.h"
#include "sim/Messages.h"
#include "sim/Unit.h"

namespace marrowfin::sim {

class Router;

// One direction of a wire between two units. It carries one message a cycle, which arrives after
// the wire's latency; messages may follow each other before the first has arrived.
//
// The sender has credits. A message spends one when it enters the wire; it is back one latency
// after the message has left the queue at the wire's end (LinkSettings).
class Link {
 public:
  // Declares `to` a receiver of `from`. The message waits in queue `input` of `router`, which is
  // `to`, or is taken at once where `router` is null.
  Link(const Context& context, Unit* from, Unit* to, Router* router, uint32 input, uint32 latency);

  // Whether a message can be sent at cycle `now`: the wire is free and the sender has a credit.
  bool IsFree(Cycle now) const;

  // Sends a message; IsFree must hold.
  void Send(OperandMessage* message, Cycle now);

  unsigned long long Transmissions() const { return transmissions; }

 private:
  const Context& context;
  Unit* from;
  Unit* to;
  Router* router;
  uint32 input;
  uint32 latency;
  Cycle lastUse;
  unsigned long long transmissions;
};

// A crossbar with a bounded queue at every input and a link at every output: the common part of a
// domain's and a cluster's switch.
//
// Each cycle every input may pass its first message on, and every output takes one. Inputs that
// compete are served in the order in which they were served last, so none is passed over for ever.
//
// The network cannot deadlock. A message goes up from its processing element to the domain and to
// the switch, then along the row of clusters, then along the column, then down through switch and
// domain. It never turns back to an earlier part of that road, and along a row or a column it never
// reverses. Each kind of link has queues of its own, so a full queue only ever waits for queues
// further along the road, and the last of these waits for a processing element, which always takes
// what arrives (see LoopControl).
class Router : public Unit {
 public:
  Router(const std::string& name, const Context& context);

  void Tick(Cycle now) override;
  void ReceiveMessage(Message* m) override;

  // Adds the queue at the end of a link; returns its number.
  uint32 AddInput(const LinkSettings& link);

  // Adds a link to another router, or to a unit that takes every message; returns its number.
  uint32 AddOutput(Router* to, const LinkSettings& link);
  uint32 AddSink(Unit* to, const LinkSettings& link);

  // Whether the sender of queue `input` has a credit at cycle `now`. Cycles never fall from call to
  // call.
  bool HasCredit(uint32 input, Cycle now);

 protected:
  // The output that brings a message nearer to its processing element.
  virtual uint32 Route(const OperandMessage& message) const = 0;

  // Called when a message is about to leave.
  virtual void Leave(OperandMessage* message, Cycle now);

  unsigned long long Transmissions(uint32 output) const { return outputs[output].Transmissions(); }

  const Context& context;

 private:
  struct Input {
    explicit Input(const LinkSettings& link) : queue(link.Credits()), creditLatency(link.latency) {}

    MessageBuffer queue;  // what is under way, and what waits
    Cycle creditLatency;
    Fifo<Cycle> returning;  // when credits that are on their way back arrive
  };

  // Passes the first message of a queue on, if it has arrived and its output is free.
  bool Serve(Input& input, Cycle now);
  bool HasArrived(const Input& input, Cycle now) const;

  std::deque<Input> inputs;
  std::deque<Link> outputs;
  std::vector<uint32> waiting;  // inputs that hold messages, the least recently served first
  std::vector<uint32> served;   // in this cycle, with messages left; kept to reuse its storage
};

}  // namespace marrowfin::sim

#endif
