#ifndef SIM_RANDOM_H
#define SIM_RANDOM_H

namespace marrowfin::sim {

// Pseudo-random numbers that are the same on every host: the standard library leaves its
// distributions open, and one seed must mean one trace.
class Random {
 public:
  explicit Random(unsigned long long seed) : state(seed) {}

  unsigned long long Next() {
    state += 0x9E3779B97F4A7C15ULL;
    unsigned long long mixed = state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9ULL;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
    return mixed ^ (mixed >> 31);
  }

  // From 0 to `bound` - 1; `bound` is at least 1.
  unsigned Below(unsigned bound) { return static_cast<unsigned>(Next() % bound); }

 private:
  unsigned long long state;
};

}  // namespace marrowfin::sim

#endif
