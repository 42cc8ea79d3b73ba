#ifndef EXAMPLES_SYSTOLIC_MATMUL_HOST_H
#define EXAMPLES_SYSTOLIC_MATMUL_HOST_H

#include <map>
#include <vector>

#include "Messages.h"
#include "Product.h"

namespace marrowfin::systolic {

// What stands around the array: feeds the operands in at its west and north edges, collects the
// results and checks every product that is complete.
class Host : public Component {
 public:
  Host();

  // The PE in row `line` of the first column, and the one in column `line` of the first row. Lines
  // are connected in order, from 0.
  void ConnectLine(Component* westEdge, Component* northEdge);

  // Feeds the operands that enter in the current cycle. Comes after the PEs' Step.
  void Step();
  bool IsClocked() override { return true; }

  // Keeps a result; checks its product if it was the last one.
  void ReceiveMessage(Message* m) override;

  // Fails the run unless every product was finished and found right.
  void DoFinalize() override;

  Schedule schedule;
  unsigned seed;

 private:
  void Feed(unsigned line, const Tile& tile, unsigned step);
  Product& ProductOf(const Tile& tile);
  void Check(const Tile& tile, const Product& product);

  std::vector<Component*> westEdges;  // by line
  std::vector<Component*> northEdges;
  std::map<unsigned long long, Product> unfinished;  // by number of the product
  unsigned long long rightProducts;
  unsigned long long wrongProducts;
};

}  // namespace marrowfin::systolic

#endif
