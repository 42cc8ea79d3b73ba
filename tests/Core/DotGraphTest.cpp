#include <gtest/gtest.h>

#include <string>

#include "Core/Component.h"
#include "tests/Core/Capture.h"
#include "tests/support/PrivateMember.h"

namespace {

std::string GraphOf(Component& component) {
  return WrittenBy([&](FILE* stream) { component.PrintAsDotGraph(stream); });
}

}  // namespace

template struct marrowfin::testing::PrivateMember<&Component::PrintAsDotGraph_Nodes>;
template struct marrowfin::testing::PrivateMember<&Component::PrintAsDotGraph_Edges>;

namespace {

template <class Class>
concept ShowsNodes = requires(Class c, FILE* f) {
  c.PrintAsDotGraph_Nodes(f);
};

template <class Class>
concept ShowsEdges = requires(Class c, FILE* f) {
  c.PrintAsDotGraph_Edges(f);
};

TEST(DotGraphTest, TheHalvesOfTheGraphAreNotPublic) {
  static_assert(!ShowsNodes<Component>);
  static_assert(!ShowsEdges<Component>);
}

TEST(DotGraphTest, AFreshComponentIsOneBoxWithAnEmptyIdentifier) {
  Component component("adder");
  EXPECT_EQ(
      "digraph \"cluster_\" {\n"
      " label=\"\";\n"
      "\"\" [shape=box,label=\"adder\"];\n"
      "}\n",
      GraphOf(component));
}

class DotTreeTest : public ::testing::Test {
 protected:
  DotTreeTest() : root("root"), first("first"), second("second") {
    root.theFullName = "top";
    first.theFullName = "top/first";
    second.theFullName = "top/second";
    root.AddChild(&first);
    root.AddChild(&second);
  }

  Component root;
  Component first;
  Component second;
};

TEST_F(DotTreeTest, ARootWithTwoLeavesThatSendsToTheFirst) {
  root.AddReceiver(&first);
  EXPECT_EQ(
      "digraph \"cluster_top\" {\n"
      " label=\"top\";\n"
      "subgraph \"cluster_top\" {\n"
      " label=\"root\";\n"
      "\"top/first\" [shape=box,label=\"first\"];\n"
      "\"top/second\" [shape=box,label=\"second\"];\n"
      "}\n"
      "\"top\" -> \"top/first\";\n"
      "}\n",
      GraphOf(root));
}

TEST_F(DotTreeTest, AReceiverAddedTwiceMakesTwoEdges) {
  first.AddReceiver(&second);
  first.AddReceiver(&second);
  EXPECT_EQ(
      "digraph \"cluster_top/first\" {\n"
      " label=\"top/first\";\n"
      "\"top/first\" [shape=box,label=\"first\"];\n"
      "\"top/first\" -> \"top/second\";\n"
      "\"top/first\" -> \"top/second\";\n"
      "}\n",
      GraphOf(first));
}

TEST_F(DotTreeTest, EdgesFollowAllNodesEachSendersInOrderParentsBeforeChildren) {
  Component leaf("leaf");
  leaf.theFullName = "top/first/leaf";
  first.AddChild(&leaf);
  leaf.AddReceiver(&root);
  second.AddReceiver(&leaf);
  second.AddReceiver(&first);
  first.AddReceiver(&second);
  root.AddReceiver(&second);
  EXPECT_EQ(
      "digraph \"cluster_top\" {\n"
      " label=\"top\";\n"
      "subgraph \"cluster_top\" {\n"
      " label=\"root\";\n"
      "subgraph \"cluster_top/first\" {\n"
      " label=\"first\";\n"
      "\"top/first/leaf\" [shape=box,label=\"leaf\"];\n"
      "}\n"
      "\"top/second\" [shape=box,label=\"second\"];\n"
      "}\n"
      "\"top\" -> \"top/second\";\n"
      "\"top/first\" -> \"top/second\";\n"
      "\"top/first/leaf\" -> \"top\";\n"
      "\"top/second\" -> \"top/first/leaf\";\n"
      "\"top/second\" -> \"top/first\";\n"
      "}\n",
      GraphOf(root));
}

TEST_F(DotTreeTest, NamesArePrintedAsTheyAre) {
  second.theName = "100% \"x\"";
  second.theFullName = "%s";
  EXPECT_EQ(
      "digraph \"cluster_%s\" {\n"
      " label=\"%s\";\n"
      "\"%s\" [shape=box,label=\"100% \"x\"\"];\n"
      "}\n",
      GraphOf(second));
}

}  // namespace
