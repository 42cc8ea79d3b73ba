#ifndef TRACE_READ_NOTESDECODE_H
#define TRACE_READ_NOTESDECODE_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "trace/base/NotesFormat.h"

namespace marrowfin {

// The blocks of a notes file, out of their bytes. Nothing in them is believed: each function
// returns what is wrong, without a full stop, or an empty text; what it was to fill is unspecified
// then. Memory follows the bytes that are there, never a number that they claim.

// Threads: any number may decode at a time, each into values of its own.
struct NotesBlockHead {
  uint8_t kind = 0;  // perhaps none that is known
  uint8_t packing = 0;
  uint32_t stored = 0;  // bytes of the body as it stands
  uint32_t raw = 0;     // and unpacked
  uint32_t sum = 0;
};

NotesBlockHead DecodeNotesHead(std::span<const uint8_t, NOTES_BLOCK_HEAD> bytes);

// Checks the body behind a head, and unpacks it.
std::string UnpackNotesBody(std::span<const uint8_t, NOTES_BLOCK_HEAD> head,
                            std::span<const uint8_t> stored, std::vector<uint8_t>& body);

// The first numbers of a block of notes: which records it is about.
std::string DecodeNotesRange(std::span<const uint8_t> body, uint64_t& first, uint32_t& count);

// A block of notes. Values of the type CYCLE stay as they stand, differences to the cycles of their
// records: ResolveCycles makes them cycles.
std::string DecodeNotes(std::span<const uint8_t> body, const NoteDeclarations& declarations,
                        NotesBlock& block);

// `cycles` are those of the block's records.
void ResolveCycles(const NoteDeclarations& declarations, std::span<const uint64_t> cycles,
                   NotesBlock& block);

// A block of samples of `counters` counters.
std::string DecodeSamples(std::span<const uint8_t> body, size_t counters,
                          std::vector<CounterSample>& samples);

// A table. Entries ascend, and lie before `offset`, at which the table's block stands.
std::string DecodeNotesTable(std::span<const uint8_t> body, uint64_t offset,
                             std::vector<NotesEntry>& entries);

}  // namespace marrowfin

#endif
