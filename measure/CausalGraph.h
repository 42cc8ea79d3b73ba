#ifndef MEASURE_CAUSALGRAPH_H
#define MEASURE_CAUSALGRAPH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace marrowfin {

// How it is known what caused an event.
enum class Evidence : uint8_t {
  TOLD,      // the run told: what a fire consumed, whose result a message carries
  PACKET,    // the events belong to one packet, which the run told
  INFERRED,  // guessed from the trace alone
};

// What caused each record of a trace: numbers of earlier records. The happened-before relation is
// what follows from these, one after another.
//
// Records are added in order and kept as differences, in about three bytes each. Threads: one that
// adds; then any number that read, each with a Reader.
class CausalGraph {
 public:
  // Kinds of work that are told apart, see CauseClasses.
  static constexpr uint32_t WORK_KINDS = 8;

  CausalGraph() = default;
  CausalGraph(CausalGraph&&) = default;
  CausalGraph& operator=(CausalGraph&&) = default;

  // Adds the next record. Causes are numbers below its own; `work` is below WORK_KINDS.
  void Add(std::span<const uint64_t> causes, Evidence evidence, uint32_t work);

  uint64_t Records() const { return records; }

  // That it takes in memory.
  uint64_t Bytes() const { return bytes + groups.capacity() * sizeof(groups[0]); }

  struct Node {
    std::span<const uint64_t> causes;  // good until the next question
    Evidence evidence = Evidence::TOLD;
    uint32_t work = 0;
  };

  // Reads at any place; quick where records follow each other, forwards or backwards.
  class Reader {
   public:
    explicit Reader(const CausalGraph& graph) : graph(graph) {}

    Node Read(uint64_t record) {
      if (record != next || record % GROUP == 0) {
        Place(record);
      }
      return Parse(record);
    }

   private:
    void Place(uint64_t record);
    Node Parse(uint64_t record);

    const CausalGraph& graph;
    uint64_t next = ~uint64_t{0};  // the record at `at`
    const uint8_t* at = nullptr;
    uint64_t group = ~uint64_t{0};  // whose records begin at `starts`
    std::array<const uint8_t*, 64> starts = {};
    std::vector<uint64_t> causes;
  };

 private:
  static constexpr uint64_t GROUP = 64;  // records between places from which reading can begin
  static constexpr size_t BLOCK = 1 << 20;

  // The first byte of a record: how many causes, or MANY and a number of them behind it; evidence;
  // kind of work.
  static constexpr uint32_t MANY = 7;

  // The most bytes of a number.
  static constexpr size_t LONGEST = 10;

  static uint8_t* PutNumber(uint8_t* at, uint64_t number);
  void Keep();
  static const uint8_t* GetNumber(const uint8_t* at, uint64_t& number);
  static const uint8_t* Skip(const uint8_t* at);

  uint64_t records = 0;
  uint64_t bytes = 0;
  std::vector<uint8_t> filling;        // the group that is being added, with room behind
  size_t filled = 0;                   // of it
  std::vector<const uint8_t*> groups;  // where each begins that is kept
  std::vector<std::unique_ptr<uint8_t[]>> blocks;
  size_t left = 0;  // in the last block
  uint8_t* free = nullptr;
};

}  // namespace marrowfin

#endif
