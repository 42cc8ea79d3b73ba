#include "trace/edit/MergeOrder.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace marrowfin {

MergeOrder::MergeOrder(size_t sequences)
    : sequences(sequences),
      leaves(std::bit_ceil(std::max<size_t>(sequences, 1))),
      keys(leaves),
      losers(leaves) {}

void MergeOrder::Begin() {
  // The winners of all matches, from the leaves up.
  std::vector<size_t> winners(2 * leaves);
  for (size_t i = 0; i < leaves; ++i) {
    winners[leaves + i] = i;
  }
  for (size_t match = leaves - 1; match > 0; --match) {
    const size_t a = winners[2 * match];
    const size_t b = winners[2 * match + 1];
    const bool first = Before(a, b);
    winners[match] = first ? a : b;
    losers[match] = first ? b : a;
  }
  winner = winners[1];
}

void MergeOrder::Replay() {
  size_t goesOn = winner;
  for (size_t match = (leaves + winner) / 2; match > 0; match /= 2) {
    if (Before(losers[match], goesOn)) {
      std::swap(losers[match], goesOn);
    }
  }
  winner = goesOn;
}

}  // namespace marrowfin
