#ifndef TRACE_READ_MFZBLOCKDECODER_H
#define TRACE_READ_MFZBLOCKDECODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "trace/base/Bytes.h"
#include "trace/base/MfzColumns.h"
#include "trace/base/Record.h"

namespace marrowfin {

// Turns blocks of a packed trace back into the bytes of records. Threads: one at a time.
class MfzBlockDecoder {
 public:
  MfzBlockDecoder();
  MfzBlockDecoder(const MfzBlockDecoder&) = delete;
  MfzBlockDecoder& operator=(const MfzBlockDecoder&) = delete;
  ~MfzBlockDecoder();

  // How much room records of `size` bytes ask for: what is written first goes on over their end.
  static constexpr size_t RoomFor(size_t size) { return size + LARGE_RECORD; }

  // Begins a block whose records take `size` bytes. False where it is damaged; it costs no more
  // memory than a block may ask for.
  [[nodiscard]] bool Begin(std::span<const uint8_t> packed, size_t size);

  // Goes on with the block that was begun, until `least` bytes of its records or all of them are
  // written to `out`, which has RoomFor(size) and is the same each time. Returns how many bytes are
  // there; nothing where the block turns out to be damaged, and is of no use any more.
  [[nodiscard]] std::optional<size_t> Continue(size_t least, uint8_t* out);

  // Both at once, for all records.
  [[nodiscard]] bool Records(std::span<const uint8_t> packed, size_t size, uint8_t* out);

  // Room for the bytes of a packed block, which is kept for the next one.
  std::vector<uint8_t>& Packed() { return packedBytes; }

  // What a block of plain bytes held, exactly `size` of them.
  [[nodiscard]] bool Bytes(std::span<const uint8_t> packed, size_t size, uint8_t* out);

 private:
  struct Unpacker;

  // What the table of heads says, at hand.
  struct Head {
    uint32_t ahead;
    uint8_t step;
    uint8_t way;
    uint8_t type;  // counted from SWITCH_RECORD
    uint8_t rare;
  };

  // Numbers of places, read from the planes of a column, the lowest first. There is always room for
  // reading as many as the block has records, and whoever has read them all looks whether they were
  // as many as there are.
  struct Places {
    const uint8_t* next = nullptr;
    const uint8_t* end = nullptr;
    size_t stride = 0;
    size_t planes = 1;
    uint32_t mask = 0;  // of what numbers are told from
    uint64_t extent = 1;
    bool whole = true;

    uint32_t Next(uint32_t base) {
      uint64_t value = *next;
      for (size_t plane = 1; plane < planes; ++plane) {
        value |= uint64_t{next[plane * stride]} << (8 * plane);
      }
      ++next;
      value += base & mask;
      return static_cast<uint32_t>(value >= extent ? value - extent : value);
    }
    bool AtEnd() const { return whole && next == end; }
  };

  // Where the decoding stands.
  struct Position {
    size_t record = 0;
    size_t written = 0;  // bytes
    uint64_t cycle = 0;
    size_t rank = 0;    // of the thread of the record before
    uint64_t last = 0;  // its place
    const uint8_t* ranks = nullptr;
    const uint8_t* switches = nullptr;
    Places atColumn;
    Places atRow;
    Places toColumn;
    Places toRow;
    ByteReader rare{nullptr, 0};
    ByteReader cycles{nullptr, 0};
  };

  bool UnpackColumns(std::span<const uint8_t> packed);
  void MakeTable();
  void Start();
  Places PlacesOf(MfzColumn column) const;
  bool IsAtEnd() const;
  bool TakeRare(Position& now, Head& head) const;
  bool TakePlace(Position& now, const Head& head, uint64_t& at);

  std::unique_ptr<Unpacker> unpacker;
  std::vector<uint8_t> packedBytes;
  std::vector<uint8_t> columns;
  MfzPreamble preamble;
  size_t begin = 0;  // of the columns, behind the preamble
  std::array<const uint8_t*, MFZ_COLUMNS + 1> column = {};
  size_t allBytes = 0;
  Head table[256];
  Position position;
  std::vector<uint64_t> ends;
  std::vector<MfzAwaited> lists;
  MfzFollowers followers;
};

}  // namespace marrowfin

#endif
