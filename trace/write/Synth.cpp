#include "trace/write/Synth.h"

#include <algorithm>
#include <vector>

#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// SplitMix64 (Steele, Lea, Flood: "Fast splittable pseudorandom number generators", 2014): the
// standard library's distributions may differ from one implementation to the next.
class Random {
 public:
  explicit Random(uint64_t seed) : state(seed) {}

  uint64_t Next() {
    state += 0x9E3779B97F4A7C15;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }

  // Below `bound`, which is at least 1.
  uint32_t Below(uint32_t bound) { return static_cast<uint32_t>((Next() >> 32) * bound >> 32); }

 private:
  uint64_t state;
};

Place SwitchOf(const ArrayShape& shape, Place element) {
  const uint32_t side = shape.ClusterSide();
  return {element.column / side * side + 4, element.row / side * side + 4};
}

// Writes records and counts them, up to a number.
class Output {
 public:
  Output(Writer& writer, uint64_t records, const ProgressCallback& progress)
      : writer(writer), left(records), all(records), progress(progress) {}

  bool Full() const { return left == 0 || stopped; }

  void Fire(uint64_t cycle, uint32_t thread, Place at) {
    if (Take()) {
      writer.Fire(cycle, thread, at);
    }
  }
  void Switch(uint64_t cycle, uint32_t thread, Place at) {
    if (Take()) {
      writer.Switch(cycle, thread, at);
    }
  }
  void Send(uint64_t cycle, uint32_t thread, Place from, Place to) {
    if (Take()) {
      writer.Send(cycle, thread, from, to);
    }
  }

 private:
  bool Take() {
    if (Full()) {
      return false;
    }
    --left;
    if (left % 65536 == 0) {
      stopped = writer.GetFault() || (progress && !progress(all - left, all));
    }
    return true;
  }

  Writer& writer;
  uint64_t left;
  uint64_t all;
  const ProgressCallback& progress;
  bool stopped = false;
};

// The loop that a thread runs at present: operations in the order in which they fire.
class Loop {
 public:
  Loop(Random& random, const ArrayShape& shape) : shape(shape) {
    const uint32_t side = shape.Side();
    home = {random.Below(side), random.Below(side)};
    operations.resize(8 + random.Below(57));
    for (Place& operation : operations) {
      operation = Near(random);
    }
    iterations = 50 + random.Below(400);
  }

  bool Done() const { return iterations == 0; }

  // Fires the next operation and sends its result to the one behind it.
  void Step(uint64_t cycle, uint32_t thread, Output& output) {
    const Place from = operations[next];
    next = (next + 1) % operations.size();
    iterations -= next == 0 ? 1 : 0;
    const Place to = operations[next];
    output.Fire(cycle, thread, from);
    if (SwitchOf(shape, from) != SwitchOf(shape, to)) {
      output.Switch(cycle, thread, SwitchOf(shape, from));
      output.Switch(cycle, thread, SwitchOf(shape, to));
    }
    output.Send(cycle, thread, from, to);
  }

 private:
  // Three of four operations lie in the domain of the first, most others in its cluster.
  Place Near(Random& random) const {
    const uint32_t kind = random.Below(20);
    const uint32_t extent = kind < 15 ? shape.pes : kind < 19 ? shape.ClusterSide() : shape.Side();
    const uint32_t column = home.column / extent * extent;
    const uint32_t row = home.row / extent * extent;
    return {column + random.Below(extent), row + random.Below(extent)};
  }

  ArrayShape shape;
  Place home;
  std::vector<Place> operations;
  size_t next = 0;
  uint32_t iterations;
};

void SynthesizePrograms(const SynthOptions& options, Random& random, Output& output) {
  // Enough loops at a time that a larger array is busier.
  const uint32_t perThread = std::max(1U, options.shape.Side() / 8);
  std::vector<Loop> loops;
  for (uint32_t i = 0; i < options.threads * perThread; ++i) {
    loops.emplace_back(random, options.shape);
  }
  uint64_t cycle = 0;
  while (!output.Full()) {
    // A phase: how many of the loops go on in a cycle, of 16.
    const uint32_t level = random.Below(4) == 0 ? 1 : 4 + random.Below(13);
    for (uint32_t left = 20 + random.Below(400); left > 0 && !output.Full(); --left, ++cycle) {
      for (uint32_t i = 0; i < loops.size(); ++i) {
        if (random.Below(16) < level) {
          loops[i].Step(cycle, i / perThread, output);
        }
        if (loops[i].Done()) {
          loops[i] = Loop(random, options.shape);
        }
      }
    }
    cycle += random.Below(3) == 0 ? random.Below(1000) : 0;
  }
}

void SynthesizeRandom(const SynthOptions& options, Random& random, Output& output) {
  const uint32_t side = options.shape.Side();
  const uint32_t perCycle = std::max(2U, side * 2);
  uint64_t cycle = 0;
  while (!output.Full()) {
    const Place from = {random.Below(side), random.Below(side)};
    const Place to = {random.Below(side), random.Below(side)};
    const uint32_t thread = random.Below(options.threads);
    const uint32_t kind = random.Below(10);
    if (kind < 5) {
      output.Fire(cycle, thread, from);
    } else if (kind < 9) {
      output.Send(cycle, thread, from, to);
    } else {
      output.Switch(cycle, thread, SwitchOf(options.shape, from));
    }
    cycle += random.Below(perCycle) == 0 ? 1 : 0;
  }
}

}  // namespace

bool Synthesize(const SynthOptions& options, Writer& writer, const ProgressCallback& progress) {
  Random random(options.seed);
  Output output(writer, options.records, progress);
  if (options.mode == SynthOptions::RANDOM) {
    SynthesizeRandom(options, random, output);
  } else {
    SynthesizePrograms(options, random, output);
  }
  return !writer.Flush();
}

}  // namespace marrowfin
