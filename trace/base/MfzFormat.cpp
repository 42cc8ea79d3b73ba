#include "trace/base/MfzFormat.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"

namespace marrowfin {

namespace {

constexpr uint8_t FOOTER_MAGIC[8] = {'M', 'F', 'Z', 'E', 'N', 'D', '\r', '\n'};
constexpr size_t CHECKED_HEAD = MFZ_HEAD - 4;
constexpr size_t CHECKED_FOOTER = 8;

// A section takes at least its head and a byte, and in the directory at most this much.
constexpr uint64_t LARGEST_ENTRY = 1 + 5 + 5 + 5 + 5;
constexpr size_t SMALLEST_ENTRY = 5;

bool IsSound(const MfzSection& section) {
  const bool isTrace = section.stream == MfzStream::TRACE;
  const bool isRecords = section.coding == MfzCoding::RECORDS;
  const bool fits =
      section.rawSize > 0 && section.size > 0 && section.begin <= UINT64_MAX - section.rawSize;
  if (section.stream == MfzStream::DIRECTORY) {
    return section.coding == MfzCoding::BYTES && section.records == 0 && fits;
  }
  return section.stream < MfzStream::DIRECTORY && section.coding <= MfzCoding::PLAIN &&
         (!isRecords || isTrace) && fits && section.rawSize <= MFZ_LARGEST_RAW &&
         section.size <= MFZ_LARGEST_PACKED &&
         (section.coding != MfzCoding::PLAIN || section.size == section.rawSize) &&
         (isRecords ? section.records > 0 && section.records <= MFZ_MOST_RECORDS &&
                          section.rawSize >= uint64_t{section.records} * SMALL_RECORD &&
                          section.rawSize <= uint64_t{section.records} * LARGE_RECORD
                    : section.records == 0);
}

}  // namespace

uint32_t MfzChecksum(std::span<const uint8_t> bytes) {
  return static_cast<uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
}

void EncodeMfzHead(const MfzSection& section, uint8_t* bytes) {
  memcpy(bytes, MFZ_HEAD_MAGIC, sizeof(MFZ_HEAD_MAGIC));
  bytes[4] = static_cast<uint8_t>(section.stream);
  bytes[5] = static_cast<uint8_t>(section.coding);
  bytes[6] = bytes[7] = 0;
  Store64(bytes + 8, section.begin);
  Store64(bytes + 16, section.firstRecord);
  Store32(bytes + 24, section.rawSize);
  Store32(bytes + 28, section.size);
  Store32(bytes + 32, section.records);
  Store32(bytes + 36, section.checksum);
  Store32(bytes + CHECKED_HEAD, MfzChecksum({bytes, CHECKED_HEAD}));
}

std::optional<MfzSection> DecodeMfzHead(const uint8_t* bytes) {
  if (memcmp(bytes, MFZ_HEAD_MAGIC, sizeof(MFZ_HEAD_MAGIC)) != 0 || bytes[6] != 0 ||
      bytes[7] != 0 || Load32(bytes + CHECKED_HEAD) != MfzChecksum({bytes, CHECKED_HEAD})) {
    return std::nullopt;
  }
  MfzSection section;
  section.stream = static_cast<MfzStream>(bytes[4]);
  section.coding = static_cast<MfzCoding>(bytes[5]);
  section.begin = Load64(bytes + 8);
  section.firstRecord = Load64(bytes + 16);
  section.rawSize = Load32(bytes + 24);
  section.size = Load32(bytes + 28);
  section.records = Load32(bytes + 32);
  section.checksum = Load32(bytes + 36);
  return IsSound(section) ? std::optional(section) : std::nullopt;
}

std::vector<uint8_t> EncodeMfzDirectory(const std::vector<MfzSection>& sections) {
  ByteWriter bytes;
  bytes.Number(sections.size());
  for (const MfzSection& section : sections) {
    bytes.Number(static_cast<uint64_t>(section.stream) << 2 |
                 static_cast<uint64_t>(section.coding));
    bytes.Number(section.rawSize);
    bytes.Number(section.size);
    bytes.Number(section.records);
    bytes.Number(section.checksum);
  }
  return bytes.Take();
}

uint64_t LargestMfzDirectory(uint64_t size) { return 10 + size / (MFZ_HEAD + 1) * LARGEST_ENTRY; }

std::optional<std::vector<MfzSection>> DecodeMfzDirectory(std::span<const uint8_t> bytes,
                                                          uint64_t size) {
  ByteReader reader(bytes.data(), bytes.size());
  std::vector<MfzSection> sections(reader.Count(bytes.size() / SMALLEST_ENTRY));
  std::array<uint64_t, MFZ_STREAMS> ends = {};
  uint64_t record = 0;
  uint64_t offset = sizeof(MFZ_MAGIC);
  for (MfzSection& section : sections) {
    const uint64_t kind = reader.Number();
    const uint64_t rawSize = reader.Number();
    const uint64_t packedSize = reader.Number();
    const uint64_t records = reader.Number();
    const uint64_t checksum = reader.Number();
    if (!reader.Good() || kind >> 2 >= MFZ_STREAMS ||
        std::max({rawSize, packedSize, records, checksum}) > UINT32_MAX) {
      return std::nullopt;
    }
    section.stream = static_cast<MfzStream>(kind >> 2);
    section.coding = static_cast<MfzCoding>(kind & 3);
    section.begin = ends[static_cast<size_t>(kind >> 2)];
    section.firstRecord = section.stream == MfzStream::TRACE ? record : 0;
    section.rawSize = static_cast<uint32_t>(rawSize);
    section.size = static_cast<uint32_t>(packedSize);
    section.records = static_cast<uint32_t>(records);
    section.checksum = static_cast<uint32_t>(checksum);
    section.offset = offset;
    if (!IsSound(section)) {
      return std::nullopt;
    }
    ends[static_cast<size_t>(kind >> 2)] += rawSize;
    record += records;
    offset += MFZ_HEAD + packedSize;
  }
  const bool whole = reader.Good() && reader.AtEnd() && offset == sizeof(MFZ_MAGIC) + size;
  return whole ? std::optional(std::move(sections)) : std::nullopt;
}

void EncodeMfzFooter(uint64_t directory, uint8_t* bytes) {
  Store64(bytes, directory);
  Store32(bytes + CHECKED_FOOTER, MfzChecksum({bytes, CHECKED_FOOTER}));
  memcpy(bytes + CHECKED_FOOTER + 4, FOOTER_MAGIC, sizeof(FOOTER_MAGIC));
}

std::optional<uint64_t> DecodeMfzFooter(const uint8_t* bytes) {
  const bool sound = Load32(bytes + CHECKED_FOOTER) == MfzChecksum({bytes, CHECKED_FOOTER}) &&
                     memcmp(bytes + CHECKED_FOOTER + 4, FOOTER_MAGIC, sizeof(FOOTER_MAGIC)) == 0;
  return sound ? std::optional(Load64(bytes)) : std::nullopt;
}

}  // namespace marrowfin
