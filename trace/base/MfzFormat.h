#ifndef TRACE_BASE_MFZFORMAT_H
#define TRACE_BASE_MFZFORMAT_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "trace/base/MfzColumns.h"
#include "trace/base/Record.h"

namespace marrowfin {

// The layout of a packed trace, see docs/packed-format.md: magic, sections, directory, footer. Each
// section holds a piece of one of the files that the packed one stands for. Threads: values, and
// functions that any number may call at a time.
constexpr uint8_t MFZ_MAGIC[8] = {0x89, 'M', 'F', 'Z', '\r', '\n', 0x1a, 1};

// What a piece is of.
enum class MfzStream : uint8_t { TRACE = 0, INDEX = 1, ABOUT = 2, NOTES = 3, DIRECTORY = 4 };
constexpr size_t MFZ_STREAMS = 4;  // that hold pieces

// How it is packed.
enum class MfzCoding : uint8_t {
  RECORDS = 0,  // columns of records, see MfzPreamble
  BYTES = 1,    // a frame of zstd
  PLAIN = 2,    // not at all
};

// The most bytes that a piece may have before it is packed, and after.
constexpr uint32_t MFZ_LARGEST_RAW = MFZ_MOST_RECORDS * LARGE_RECORD;
constexpr uint32_t MFZ_LARGEST_PACKED = 2 * MFZ_LARGEST_RAW;

// The pieces of bytes that are no records are this long, but for the last.
constexpr size_t MFZ_PIECE = 1 << 20;

struct MfzSection {
  MfzStream stream = MfzStream::TRACE;
  MfzCoding coding = MfzCoding::BYTES;
  uint64_t begin = 0;        // in the file that it is a piece of
  uint64_t firstRecord = 0;  // of a trace
  uint32_t rawSize = 0;
  uint32_t size = 0;      // of what follows the head
  uint32_t checksum = 0;  // of that
  uint32_t records = 0;   // where these are what is packed
  uint64_t offset = 0;    // of the head in the packed trace, which the head does not tell

  uint64_t End() const { return begin + rawSize; }
};

// The head of a section.
constexpr size_t MFZ_HEAD = 44;
void EncodeMfzHead(const MfzSection& section, uint8_t* bytes);

// Nothing where the bytes are no head, or one of a section that cannot be.
std::optional<MfzSection> DecodeMfzHead(const uint8_t* bytes);

// The first bytes of each head.
constexpr uint8_t MFZ_HEAD_MAGIC[4] = {'M', 'F', 'Z', 'S'};

// The CRC-32 that checks what follows a head.
uint32_t MfzChecksum(std::span<const uint8_t> bytes);

// The directory lists the sections in order. Nothing where the bytes are none, or name a section
// that cannot be, or sections that do not fill `size` bytes behind the magic.
std::vector<uint8_t> EncodeMfzDirectory(const std::vector<MfzSection>& sections);
std::optional<std::vector<MfzSection>> DecodeMfzDirectory(std::span<const uint8_t> bytes,
                                                          uint64_t size);

// The most bytes that the directory of so many bytes of sections takes before it is packed.
uint64_t LargestMfzDirectory(uint64_t size);

// The footer tells where the section of the directory begins. Nothing where the bytes are none.
constexpr size_t MFZ_FOOTER = 20;
void EncodeMfzFooter(uint64_t directory, uint8_t* bytes);
std::optional<uint64_t> DecodeMfzFooter(const uint8_t* bytes);

// A number that tells one stream from any other: of the checksums of all its pieces.
class MfzContent {
 public:
  void Add(const MfzSection& section) {
    const uint64_t piece = static_cast<uint64_t>(section.rawSize) << 32 | section.checksum;
    value = std::rotl(value ^ piece, 29) * 0x9E3779B97F4A7C15;
  }
  uint64_t Value() const { return value; }

 private:
  uint64_t value = 0xCBF29CE484222325;
};

}  // namespace marrowfin

#endif
