#ifndef CORE_COMPONENT_H
#define CORE_COMPONENT_H

#include <cstdio>
#include <string>
#include <vector>

#include "Core/Domain.h"
#include "Core/Message.h"
#include "Core/StatsContainer.h"
#include "Util/CommandLineParser.h"

// A unit of the simulated machine: it owns its options and its statistics, stands in a tree with
// other units and sends messages to the ones that it declared.
//
// Calling order: construct the components, link them with AddChild and AddReceiver, give each its
// theFullName (for example the parent's full name, "/" and its own name), call
// FixUpCommandLineOptions and FixUpStatNames on each, parse the command line on the root, run.
//
// A component owns none of the components and domains that it points to. The order of the bases, of
// the virtual operations and of the fields is fixed.
class Component : public CommandLineParser, public StatsContainer {
 public:
  explicit Component(const char* name);
  ~Component() override;

  // A component that receives messages overrides this; the default ends the program.
  virtual void ReceiveMessage(Message* m);

  // The end-of-run hook. Does nothing here.
  virtual void DoFinalize();

  // Whether the component works at every cycle of its domain. False here.
  virtual bool IsClocked();

  // Stamps the message with sender and receiver and delivers it at once.
  void SendMessage(Component* to, Message* m);

  // Called by a receiver: ends the program unless the message's sender declared this receiver.
  void CheckReceive(Message* m);

  // Makes `child` a child of this component, and its options and statistics part of this one's.
  void AddChild(Component* child);

  void JoinDomain(Domain* d);

  // Declares that this component may send to `r`. Duplicates are kept.
  void AddReceiver(Component* r);

  // Writes the tree below this component, with all its senders and receivers, in the DOT language.
  void PrintAsDotGraph(FILE* f);

  // Put the component's full name and "/" in front of the names of its statistics and options.
  void FixUpStatNames();
  void FixUpCommandLineOptions();

  std::string theName;
  std::string theFullName;  // the path in the tree; set by whoever builds the tree
  Domain* theDomain;        // null until JoinDomain
  int inDomain;             // a boolean, 32 bits wide: whether JoinDomain was called
  Component* theParent;     // null for a root
  std::vector<Component*> theChildren;
  std::vector<Component*> theReceivers;

 private:
  void PrintAsDotGraph_Nodes(FILE* f);
  void PrintAsDotGraph_Edges(FILE* f);
};

// Does nothing.
void DONOTHING(int);

#endif
