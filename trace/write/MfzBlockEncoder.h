#ifndef TRACE_WRITE_MFZBLOCKENCODER_H
#define TRACE_WRITE_MFZBLOCKENCODER_H

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "trace/base/Bytes.h"
#include "trace/base/MfzColumns.h"

namespace marrowfin {

// Turns records into the blocks of a packed trace, one block after another. Threads: one at a time.
class MfzBlockEncoder {
 public:
  // `level` is zstd's, 1 (quick) to 19 (small).
  explicit MfzBlockEncoder(int level);
  MfzBlockEncoder(const MfzBlockEncoder&) = delete;
  MfzBlockEncoder& operator=(const MfzBlockEncoder&) = delete;
  ~MfzBlockEncoder();

  // Adds a record to the block. `kind` is its type counted from SWITCH_RECORD; `to` counts for
  // messages only. At most MFZ_MOST_RECORDS.
  void Add(uint32_t kind, uint64_t cycle, uint32_t thread, Place at, Place to);

  size_t Records() const { return records; }

  // The block of the records since the last one, of which there is at least one: good until the
  // next call.
  const std::vector<uint8_t>& End();

 private:
  struct Packer;

  // Places that are written, and what each is told from. There is room for as many as a block has
  // records, so that adding one is two stores.
  struct Places {
    Places() : values(MFZ_MOST_RECORDS), bases(MFZ_MOST_RECORDS) {}
    void Add(uint64_t place, uint64_t base) {
      values[count] = place;
      bases[count++] = base;
    }

    std::vector<uint64_t> values;
    std::vector<uint64_t> bases;
    size_t count = 0;
  };

  // Whether a way is worth its place in the heads: it rests for some blocks where it is not.
  struct Worth {
    size_t tried = 0;
    size_t met = 0;
    unsigned rest = 0;  // blocks

    bool IsTaken() const { return rest == 0; }
    bool Meet(bool hit) {
      ++tried;
      met += hit ? 1 : 0;
      return hit;
    }
    void EndBlock();
  };

  uint32_t RankOf(uint32_t thread);
  uint32_t NewRank(uint32_t thread);
  bool Follows(uint32_t kind, uint64_t at);
  bool WasAwaited(uint32_t kind, uint32_t rank, uint64_t at);
  MfzWay WayOf(uint32_t kind, uint32_t rank, uint64_t at);
  void WriteSwitch(uint64_t place);
  void EncodeHeads();
  void PutPlaces(size_t column);
  void Pack();
  void Begin();

  std::unique_ptr<Packer> packer;

  // Of the records of the block.
  size_t records = 0;
  std::vector<uint8_t> kinds;     // MfzHead::Number of no thread
  std::vector<uint32_t> ranks;    // of their threads
  std::vector<uint8_t> awaited;   // the column of ranks
  std::vector<uint8_t> switches;  // the column of switches
  ByteWriter cycles;              // the column of cycles
  Places firstEnds;
  Places secondEnds;
  MfzPreamble preamble;
  std::array<std::vector<uint8_t>, MFZ_COLUMNS> columns;
  std::vector<uint8_t> packed;

  // What foretells the next record.
  uint64_t lastCycle = 0;
  uint64_t lastPlace = 0;
  uint32_t most[2] = {0, 0};   // the largest column and row
  std::vector<uint64_t> ends;  // of the last fire or message, by rank
  std::vector<MfzAwaited> lists;
  MfzFollowers followers;
  Worth followsWorth;
  Worth awaitedWorth;

  // The ranks of threads: of those met last by their lowest bits, of all in the map.
  struct Known {
    uint32_t thread = 0;
    uint32_t rank = 0;
    uint64_t block = 0;  // in which it was met
  };
  std::array<Known, 256> known;
  std::unordered_map<uint32_t, uint32_t> rankOf;
  uint64_t block = 1;

  std::vector<uint32_t> counts;   // of heads by their numbers
  std::vector<uint8_t> symbols;   // of these
  std::vector<uint32_t> numbers;  // the heads of the block that are met
};

}  // namespace marrowfin

#endif
