#ifndef CONVERT_EXPORT_LANESPOOL_H
#define CONVERT_EXPORT_LANESPOOL_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Pieces of bytes that come mixed and are read back lane by lane: for formats that have a file for
// each line of a timeline, of which no more can be open at once than the system likes.
//
// They lie in one file without a name, each lane where its bytes have room, so all pieces are
// announced first. A file for each lane was rejected for the number of them, a list of blocks for
// the memory that many lanes take. Memory follows the number of lanes. Threads: one at a time.
class LaneSpool {
 public:
  // The file will lie in `folder`; faults are about `name`.
  LaneSpool(const std::string& folder, const std::string& name) : folder(folder), name(name) {}
  LaneSpool(const LaneSpool&) = delete;
  LaneSpool& operator=(const LaneSpool&) = delete;
  ~LaneSpool();

  // A piece of `size` bytes will be put on the lane. Lanes have any numbers.
  void Announce(uint64_t lane, size_t size);

  // All are announced.
  [[nodiscard]] Fault Begin();

  [[nodiscard]] Fault Put(uint64_t lane, std::span<const uint8_t> piece);

  // All are put.
  [[nodiscard]] Fault End();

  // Pieces of all lanes.
  uint64_t Pieces() const { return pieces; }

  // In ascending order.
  std::vector<uint64_t> Lanes() const;

  // Reads a lane back. The spool outlives it.
  class Reader {
   public:
    // With `portion` bytes in memory, or a piece and its size where that is more.
    Reader(const LaneSpool& spool, uint64_t lane, size_t portion);

    // The next piece, valid until the next call; an empty one behind the last.
    [[nodiscard]] Result<std::span<const uint8_t>> Next();

   private:
    Fault Have(size_t size);

    const LaneSpool& spool;
    const size_t portion;
    uint64_t offset;  // of what is not in memory yet
    uint64_t end;
    std::vector<uint8_t> bytes;
    size_t from = 0;  // what was not handed out yet
  };

 private:
  struct Lane {
    uint64_t size = 0;   // that was announced
    uint64_t begin = 0;  // in the file
    uint64_t written = 0;
    std::vector<uint8_t> waiting;
  };

  Fault Write(Lane& lane);
  Fault Named(Fault fault) const;

  const std::string folder;
  const std::string name;
  std::map<uint64_t, Lane> lanes;
  uint64_t pieces = 0;
  size_t room = 0;  // bytes of a lane that wait in memory
  int descriptor = -1;
};

}  // namespace marrowfin

#endif
