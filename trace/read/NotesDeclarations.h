#ifndef TRACE_READ_NOTESDECLARATIONS_H
#define TRACE_READ_NOTESDECLARATIONS_H

#include <cstdint>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "trace/base/NotesFormat.h"

namespace marrowfin {

class ByteReader;

// What the blocks of a notes file declare, out of their bytes, of which nothing is believed.
//
// A run that names values as they come up writes many blocks: what was declared before is neither
// copied nor gone through for each of them. Threads: a value, which one thread writes or any number
// read.
class NotesDeclarations {
 public:
  const NoteDeclarations& Get() const { return all; }

  // Adds what a block declares, and returns an empty text; or nothing, and what is wrong, without a
  // full stop.
  std::string Add(std::span<const uint8_t> body);

 private:
  std::string AddEntry(ByteReader& entry);
  std::string AddAttribute(ByteReader& entry);
  std::string AddValueName(ByteReader& entry);
  std::string AddCounter(ByteReader& entry);
  std::string AddEntries(std::span<const uint8_t> body);
  void TakeBack(size_t attributes, size_t counters);

  NoteDeclarations all;
  std::unordered_set<std::string> counterNames;
  uint64_t bytes = 0;                                // of all blocks, unpacked
  std::vector<std::pair<uint32_t, uint64_t>> named;  // attribute and value, by this block
};

}  // namespace marrowfin

#endif
