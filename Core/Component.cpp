#include "Core/Component.h"

#include "Util/SimOutput.h"

Component::Component(const char* name)
    : theName(name), theDomain(nullptr), inDomain(false), theParent(nullptr) {}

Component::~Component() = default;

void Component::ReceiveMessage(Message* /*m*/) {
  SIM_CRASH("Undefined ReceiveMessage() in %s\n", theFullName.c_str());
}

void Component::DoFinalize() {}

bool Component::IsClocked() { return false; }

void Component::SendMessage(Component* to, Message* m) {
  m->src = this;
  m->dst = to;
  to->ReceiveMessage(m);
}

void Component::CheckReceive(Message* m) {
  for (const Component* receiver : m->src->theReceivers) {
    if (receiver == this) {
      return;
    }
  }
  SIM_CRASH("%s should not send to %s.", m->src->theFullName.c_str(), m->dst->theFullName.c_str());
}

void Component::AddChild(Component* child) {
  theChildren.push_back(child);
  AddParser(child);
  AddStatContainer(child);
  child->theParent = this;
}

void Component::JoinDomain(Domain* d) {
  theDomain = d;
  inDomain = true;
}

void Component::AddReceiver(Component* r) { theReceivers.push_back(r); }

void Component::PrintAsDotGraph(FILE* f) {
  fprintf(f, "digraph \"cluster_%s\" {\n label=\"%s\";\n", theFullName.c_str(),
          theFullName.c_str());
  PrintAsDotGraph_Nodes(f);
  PrintAsDotGraph_Edges(f);
  fprintf(f, "}\n");
}

void Component::PrintAsDotGraph_Nodes(FILE* f) {
  if (theChildren.empty()) {
    fprintf(f, "\"%s\" [shape=box,label=\"%s\"];\n", theFullName.c_str(), theName.c_str());
    return;
  }
  fprintf(f, "subgraph \"cluster_%s\" {\n label=\"%s\";\n", theFullName.c_str(), theName.c_str());
  for (Component* child : theChildren) {
    child->PrintAsDotGraph_Nodes(f);
  }
  fprintf(f, "}\n");
}

void Component::PrintAsDotGraph_Edges(FILE* f) {
  for (const Component* receiver : theReceivers) {
    fprintf(f, "\"%s\" -> \"%s\";\n", theFullName.c_str(), receiver->theFullName.c_str());
  }
  for (Component* child : theChildren) {
    child->PrintAsDotGraph_Edges(f);
  }
}

void Component::FixUpStatNames() { StatsContainer::AddPrefix(theFullName + "/"); }

void Component::FixUpCommandLineOptions() { CommandLineParser::AddPrefix(theFullName + "/"); }

void DONOTHING(int /*unused*/) {}
