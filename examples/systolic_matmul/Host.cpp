#include "Host.h"

#include "Util/Regression.h"

namespace marrowfin::systolic {

Host::Host() : Component("host") {
  AddOption(&schedule.rows, "-rows", "rows of the left matrix", schedule.rows);
  AddOption(&schedule.inner, "-inner", "columns of the left, rows of the right matrix",
            schedule.inner);
  AddOption(&schedule.columns, "-columns", "columns of the right matrix", schedule.columns);
  AddOption(&schedule.threads, "-threads", "threads, each with products of its own",
            schedule.threads);
  AddOption(&schedule.products, "-products", "products that each thread computes",
            schedule.products);
  AddOption(&schedule.gap, "-gap", "idle cycles between two tiles", schedule.gap);
  AddOption(&seed, "-seed", "seed of the matrices", 1);
  AddStat(&rightProducts, "rightProducts", "products that equal the plain product", 0);
  AddStat(&wrongProducts, "wrongProducts", "products that do not", 0);
}

void Host::ConnectLine(Component* westEdge, Component* northEdge) {
  westEdges.push_back(westEdge);
  northEdges.push_back(northEdge);
  AddReceiver(westEdge);
  if (northEdge != westEdge) {
    AddReceiver(northEdge);
  }
}

void Host::Step() {
  const Cycle now = theDomain->GetCurrentCycle();
  const unsigned side = static_cast<unsigned>(westEdges.size());
  // Each line is a cycle behind the one before.
  for (unsigned line = 0; line < side && line <= now; ++line) {
    const unsigned long long number = (now - line) / schedule.Interval();
    const Cycle step = (now - line) % schedule.Interval();
    if (number < schedule.Tiles(side) && step < schedule.inner) {
      Feed(line, schedule.TileAt(number, side), static_cast<unsigned>(step));
    }
  }
}

void Host::Feed(unsigned line, const Tile& tile, unsigned step) {
  if (line < tile.rows) {
    const int value = ProductOf(tile).Left(tile.row + line, step);
    SendMessage(westEdges[line], new Operand(tile, step, Operand::EAST, value, tile.columns - 1));
  }
  if (line < tile.columns) {
    const int value = ProductOf(tile).Right(step, tile.column + line);
    SendMessage(northEdges[line], new Operand(tile, step, Operand::SOUTH, value, tile.rows - 1));
  }
}

// Makes the product when its first operand enters; it goes when its last result has arrived.
Product& Host::ProductOf(const Tile& tile) {
  return unfinished.try_emplace(tile.product, schedule, seed, tile.product).first->second;
}

void Host::ReceiveMessage(Message* m) {
  CheckReceive(m);
  const Result& result = dynamic_cast<Result&>(*m);
  Product& product = ProductOf(result.tile);
  product.Store(result.row, result.column, result.value);
  if (product.IsComplete()) {
    Check(result.tile, product);
    unfinished.erase(result.tile.product);
  }
  Message::Release(m);
}

void Host::Check(const Tile& tile, const Product& product) {
  const std::string mistake = product.Mistake();
  if (mistake.empty()) {
    ++rightProducts;
    return;
  }
  // The first mistake tells what is wrong; thousands of others would only bury it.
  if (wrongProducts++ == 0) {
    Regression::Fail("product %llu of thread %u: %s", tile.product / schedule.threads, tile.thread,
                     mistake.c_str());
  }
}

void Host::DoFinalize() {
  if (rightProducts != schedule.Products() || !unfinished.empty()) {
    Regression::Fail("%llu of %llu products are right, %zu unfinished", rightProducts,
                     schedule.Products(), unfinished.size());
  }
}

}  // namespace marrowfin::systolic
