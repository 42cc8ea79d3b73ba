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
  return shape.SwitchOf(shape.ClusterOf(element));
}

// Writes records and counts them, up to a number.
class Output {
 public:
  Output(Writer& writer, uint64_t records, const ProgressCallback& progress)
      : writer(writer), left(records), all(records), progress(progress) {}

  bool Full() const { return left == 0 || stopped; }

  // Whether the caller asked to stop, or the writer can write no more.
  bool Stopped() const { return stopped; }

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
      stopped = writer.GetFault() || (progress && !progress({all - left, all, Progress::RECORDS}));
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
    home = {random.Below(shape.Columns()), random.Below(shape.Rows())};
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
    const Place domain = shape.FirstOfDomain(shape.DomainOf(home));
    const Place cluster = shape.FirstOfCluster(shape.ClusterOf(home));
    return kind < 15   ? Within(random, domain, shape.pes)
           : kind < 19 ? Within(random, cluster, {shape.ClusterColumns(), shape.ClusterRows()})
                       : Within(random, {}, {shape.Columns(), shape.Rows()});
  }

  static Place Within(Random& random, Place first, PerAxis extent) {
    const uint32_t column = first.column + random.Below(extent.columns);
    return {column, first.row + random.Below(extent.rows)};
  }

  ArrayShape shape;
  Place home;
  std::vector<Place> operations;
  size_t next = 0;
  uint32_t iterations;
};

void SynthesizePrograms(const SynthOptions& options, Random& random, Output& output) {
  // Enough loops at a time that a larger array is busier.
  const uint32_t perThread = std::max({1U, options.shape.Columns() / 8, options.shape.Rows() / 8});
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
  const uint32_t columns = options.shape.Columns();
  const uint32_t rows = options.shape.Rows();
  const uint32_t perCycle = std::max(2U, columns + rows);
  uint64_t cycle = 0;
  while (!output.Full()) {
    const Place from = {random.Below(columns), random.Below(rows)};
    const Place to = {random.Below(columns), random.Below(rows)};
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

Fault Synthesize(const SynthOptions& options, Writer& writer, const ProgressCallback& progress) {
  Random random(options.seed);
  Output output(writer, options.records, progress);
  if (options.mode == SynthOptions::RANDOM) {
    SynthesizeRandom(options, random, output);
  } else {
    SynthesizePrograms(options, random, output);
  }
  if (Fault fault = writer.Flush()) {
    return fault;
  }
  return output.Stopped() ? CancelledFault("") : Fault();
}

}  // namespace marrowfin
