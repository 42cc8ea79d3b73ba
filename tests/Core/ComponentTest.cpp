#include "Core/Component.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/Reports.h"

namespace {

using marrowfin::testing::CrashReport;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;

// A component that notes what it receives.
class Sink : public Component {
 public:
  using Component::Component;
  void ReceiveMessage(Message* m) override {
    received.push_back(m);
    sender = m->src;
    receiver = m->dst;
  }
  std::vector<Message*> received;
  Component* sender = nullptr;
  Component* receiver = nullptr;
};

TEST(ComponentTest, AComponentIsAParserFirstAndAContainerSecond) {
  static_assert(std::is_base_of_v<CommandLineParser, Component>);
  static_assert(std::is_base_of_v<StatsContainer, Component>);
  Component component("c");
  EXPECT_LT(static_cast<void*>(static_cast<CommandLineParser*>(&component)),
            static_cast<void*>(static_cast<StatsContainer*>(&component)));
}

TEST(ComponentTest, AFreshComponentHasItsNameAndNothingElse) {
  const Component component("adder");
  EXPECT_EQ("adder", component.theName);
  EXPECT_EQ("", component.theFullName);
  EXPECT_EQ(nullptr, component.theDomain);
  EXPECT_EQ(0, component.inDomain);
  EXPECT_EQ(nullptr, component.theParent);
  EXPECT_THAT(component.theChildren, IsEmpty());
  EXPECT_THAT(component.theReceivers, IsEmpty());
  EXPECT_THAT(component.options, IsEmpty());
  EXPECT_THAT(component.subParsers, IsEmpty());
  EXPECT_THAT(component.stats, IsEmpty());
  EXPECT_THAT(component.subContainers, IsEmpty());
}

TEST(ComponentTest, AComponentIsNotClockedUnlessItSaysSo) {
  Component component("c");
  EXPECT_FALSE(component.IsClocked());
}

TEST(ComponentTest, FinalizingDoesNothing) {
  Component component("c");
  component.DoFinalize();
  EXPECT_EQ("c", component.theName);
  DONOTHING(1);
  static_assert(std::is_same_v<void(int), decltype(DONOTHING)>);
}

TEST(ComponentTest, ChildrenAreKeptInOrderAndKnowTheirParent) {
  Component root("root");
  Component first("first");
  Component second("second");
  root.AddChild(&first);
  root.AddChild(&second);
  EXPECT_THAT(root.theChildren, ElementsAre(&first, &second));
  EXPECT_EQ(&root, first.theParent);
  EXPECT_EQ(&root, second.theParent);
  EXPECT_EQ(nullptr, root.theParent);
  EXPECT_THAT(first.theChildren, IsEmpty());
}

TEST(ComponentTest, AChildsOptionsAndStatisticsBecomePartOfTheParents) {
  Component root("root");
  Component first("first");
  Component second("second");
  root.AddChild(&first);
  root.AddChild(&second);
  EXPECT_THAT(root.subParsers, ElementsAre(&first, &second));
  EXPECT_THAT(root.subContainers, ElementsAre(&first, &second));
  EXPECT_THAT(first.subParsers, IsEmpty());
  EXPECT_THAT(first.subContainers, IsEmpty());
}

TEST(ComponentTest, AChildMayHaveSeveralParentsAndKnowsTheLast) {
  Component first("first");
  Component second("second");
  Component child("child");
  first.AddChild(&child);
  second.AddChild(&child);
  EXPECT_EQ(&second, child.theParent);
  EXPECT_THAT(first.theChildren, ElementsAre(&child));
}

TEST(ComponentTest, DestroyingAComponentTouchesNeitherChildrenNorReceivers) {
  Sink child("child");
  child.theFullName = "root/child";
  {
    Component root("root");
    root.AddChild(&child);
    root.AddReceiver(&child);
  }
  EXPECT_EQ("root/child", child.theFullName);
  EXPECT_THAT(child.received, IsEmpty());
}

TEST(ComponentTest, DestroyingThroughEitherBaseDestroysTheComponent) {
  static int destroyed;
  struct Noted : Component {
    using Component::Component;
    ~Noted() override { ++destroyed; }
  };
  CommandLineParser* parser = new Noted("a");
  StatsContainer* container = new Noted("b");
  delete parser;
  delete container;
  EXPECT_EQ(2, destroyed);
}

TEST(ComponentTest, JoiningADomainKeepsIt) {
  Component component("c");
  Domain domain;
  component.JoinDomain(&domain);
  EXPECT_EQ(&domain, component.theDomain);
  EXPECT_EQ(1, component.inDomain);
}

TEST(ComponentTest, JoiningANullDomainStillCountsAsInADomain) {
  Component component("c");
  component.JoinDomain(nullptr);
  EXPECT_EQ(nullptr, component.theDomain);
  EXPECT_EQ(1, component.inDomain);
}

TEST(ComponentTest, ReceiversAreKeptInOrderWithDuplicates) {
  Component component("c");
  Component a("a");
  Component b("b");
  component.AddReceiver(&b);
  component.AddReceiver(&a);
  component.AddReceiver(&b);
  EXPECT_THAT(component.theReceivers, ElementsAre(&b, &a, &b));
}

TEST(ComponentTest, SendingStampsTheMessageAndDeliversItAtOnce) {
  Component from("from");
  Sink to("to");
  Message message;
  from.SendMessage(&to, &message);
  EXPECT_THAT(to.received, ElementsAre(&message));
  EXPECT_EQ(&from, to.sender);
  EXPECT_EQ(&to, to.receiver);
  EXPECT_EQ(&from, message.src);
  EXPECT_EQ(&to, message.dst);
}

TEST(ComponentDeathTest, AComponentThatReceivesMustOverrideTheReception) {
  Component from("from");
  Component to("adder");
  to.theFullName = "top/adder";
  Message message;
  EXPECT_EXIT(from.SendMessage(&to, &message), KilledBySignal(SIGABRT),
              CrashReport("Core/Component.cpp", "Undefined ReceiveMessage() in top/adder\n"));
}

TEST(ComponentTest, TheReceiverIsFoundAnywhereAmongTheSendersReceivers) {
  Component from("from");
  Component a("a");
  Component b("b");
  Component c("c");
  for (Component* receiver : {&a, &b, &a, &c}) {
    from.AddReceiver(receiver);
  }
  Message message;
  message.src = &from;
  a.CheckReceive(&message);
  b.CheckReceive(&message);
  c.CheckReceive(&message);
  EXPECT_EQ(&from, message.src);
}

TEST(ComponentDeathTest, AMessageFromASenderThatDidNotDeclareTheReceiverIsFatal) {
  Component from("from");
  Component declared("declared");
  Sink to("to");
  from.theFullName = "top/from";
  declared.theFullName = "top/declared";
  to.theFullName = "top/to";
  from.AddReceiver(&declared);
  // What the receiver declares does not count.
  to.AddReceiver(&to);
  Message message;
  from.SendMessage(&to, &message);
  EXPECT_EXIT(to.CheckReceive(&message), KilledBySignal(SIGABRT),
              CrashReport("Core/Component.cpp", "top/from should not send to top/to.\n"));
}

TEST(ComponentDeathTest, TheReportNamesTheReceiverOfTheMessageAndNotTheChecker) {
  Component from("from");
  Sink to("to");
  Component checker("checker");
  from.theFullName = "top/from";
  to.theFullName = "top/to";
  checker.theFullName = "top/checker";
  from.AddReceiver(&to);
  Message message;
  from.SendMessage(&to, &message);
  EXPECT_EXIT(checker.CheckReceive(&message), KilledBySignal(SIGABRT),
              CrashReport("Core/Component.cpp", "top/from should not send to top/to.\n"));
}

TEST(ComponentTest, StatisticsTakeTheFullNameAsTheirPath) {
  Component component("cpu0");
  Component child("child");
  component.AddChild(&child);
  unsigned long long cycles;
  unsigned long long below;
  component.AddStat(&cycles, "cycles", "", 0);
  child.AddStat(&below, "below", "", 0);
  component.theFullName = "top/cpu0";
  component.FixUpStatNames();
  EXPECT_EQ("top/cpu0/cycles", component.stats[0].GetName());
  EXPECT_EQ("below", child.stats[0].GetName());
}

TEST(ComponentTest, OptionsTakeTheFullNameAsTheirPath) {
  Component component("cpu0");
  Component child("child");
  component.AddChild(&child);
  bool verbose = false;
  bool below = false;
  component.AddOption(&verbose, "-verbose", "", false);
  child.AddOption(&below, "-below", "", false);
  component.theFullName = "top/cpu0";
  component.FixUpCommandLineOptions();
  EXPECT_EQ("-top/cpu0/verbose", component.options[0].GetName());
  EXPECT_EQ("-below", child.options[0].GetName());
}

TEST(ComponentTest, EachFixUpLeavesTheOtherNamesAlone) {
  Component component("cpu0");
  unsigned long long cycles;
  bool verbose;
  component.AddStat(&cycles, "cycles", "", 0);
  component.AddOption(&verbose, "-verbose", "", false);
  component.theFullName = "top";
  component.FixUpStatNames();
  EXPECT_EQ("-verbose", component.options[0].GetName());
  component.theFullName = "root";
  component.FixUpCommandLineOptions();
  EXPECT_EQ("top/cycles", component.stats[0].GetName());
}

TEST(ComponentTest, WithoutAFullNameThePathIsTheSlashAlone) {
  Component component("cpu0");
  unsigned long long cycles;
  component.AddStat(&cycles, "cycles", "", 0);
  component.FixUpStatNames();
  EXPECT_EQ("/cycles", component.stats[0].GetName());
}

}  // namespace
