#ifndef TRACE_EDIT_MERGEORDER_H
#define TRACE_EDIT_MERGEORDER_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace marrowfin {

// Which of several sequences goes first: the one whose next cycle is the lowest, and of equal ones
// that with the lowest number, so that merging is stable. A tournament of which each place keeps
// the loser: telling the next cycle of the winner costs one comparison a level, where a heap takes
// two. Threads: one at a time.
class MergeOrder {
 public:
  // So many sequences, each with the cycle of its first record; all are told before Begin.
  explicit MergeOrder(size_t sequences);

  void First(size_t sequence, uint64_t cycle) { keys[sequence] = {cycle, false}; }
  void Begin();

  // Whether any has a record left, and which has the first.
  bool HasNext() const { return winner < sequences && !keys[winner].over; }
  size_t Winner() const { return winner; }

  // The next cycle of the winner, or that it has none.
  void Next(uint64_t cycle) {
    keys[winner].cycle = cycle;
    Replay();
  }
  void End() {
    keys[winner].over = true;
    Replay();
  }

 private:
  struct Key {
    uint64_t cycle = 0;
    bool over = true;
  };

  bool Before(size_t a, size_t b) const {
    const Key& x = keys[a];
    const Key& y = keys[b];
    if (x.over != y.over) {
      return y.over;
    }
    return x.cycle != y.cycle ? x.cycle < y.cycle : a < b;
  }
  void Replay();

  size_t sequences;
  size_t leaves;
  std::vector<Key> keys;       // by sequence; those beyond the last are over
  std::vector<size_t> losers;  // of each match, the first one at 1
  size_t winner = 0;
};

}  // namespace marrowfin

#endif
