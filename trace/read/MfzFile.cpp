#include "trace/read/MfzFile.h"

#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "trace/read/Packing.h"

namespace marrowfin {

namespace {

constexpr const char* NAMES[MFZ_STREAMS] = {"the packed trace", "its index",
                                            "what tells of the run", "its notes"};
constexpr const char* REMEDY = "fetch it again; what other blocks hold can be read";

std::string Range(const char* what, uint64_t begin, uint64_t end) {
  return std::string(what) + " " + std::to_string(begin) + " to " + std::to_string(end - 1);
}

// Finds what may be heads, from front to back.
class HeadFinder {
 public:
  explicit HeadFinder(const PositionedFile& file) : file(file), block(BLOCK) {}

  // The first one at `from` or behind it; the end of the file where there is none.
  Result<uint64_t> Next(uint64_t from) {
    constexpr size_t LENGTH = sizeof(MFZ_HEAD_MAGIC);
    while (file.Size() >= LENGTH && from <= file.Size() - LENGTH) {
      if (from < begin || from + LENGTH > end) {
        const size_t length = static_cast<size_t>(std::min<uint64_t>(BLOCK, file.Size() - from));
        if (Fault fault = file.ReadAt(from, length, block.data())) {
          return fault;
        }
        begin = from;
        end = from + length;
      }
      const uint8_t* const last = block.data() + static_cast<size_t>(end - begin);
      const uint8_t* const found =
          std::search(static_cast<const uint8_t*>(block.data()) + static_cast<size_t>(from - begin),
                      last, std::begin(MFZ_HEAD_MAGIC), std::end(MFZ_HEAD_MAGIC));
      if (found != last) {
        return begin + static_cast<uint64_t>(found - block.data());
      }
      from = end - (LENGTH - 1);
    }
    return file.Size();
  }

 private:
  static constexpr size_t BLOCK = 256 << 10;

  const PositionedFile& file;
  std::vector<uint8_t> block;  // bytes begin to end of the file
  uint64_t begin = 0;
  uint64_t end = 0;
};

}  // namespace

Result<bool> IsMfz(const PositionedFile& file) {
  uint8_t start[PACKED_START];
  if (file.Size() < sizeof(start)) {
    return false;
  }
  if (Fault fault = file.ReadAt(0, sizeof(start), start)) {
    return fault;
  }
  return PackingOf(start, sizeof(start)) == Packing::MFZ;
}

Result<std::shared_ptr<const MfzFile>> MfzFile::Open(std::unique_ptr<PositionedFile> file) {
  std::shared_ptr<MfzFile> opened(new MfzFile(std::move(file)));
  uint8_t magic[sizeof(MFZ_MAGIC)] = {};
  const size_t length =
      static_cast<size_t>(std::min<uint64_t>(opened->file->Size(), sizeof(magic)));
  if (Fault fault = opened->file->ReadAt(0, length, magic)) {
    return fault;
  }
  if (memcmp(magic, MFZ_MAGIC, sizeof(magic)) != 0) {
    Fault fault;
    fault.kind = Fault::DAMAGED_INPUT;
    fault.file = opened->Name();
    fault.reason = memcmp(magic, MFZ_MAGIC, sizeof(magic) - 1) == 0
                       ? "this is a packed trace of another version"
                       : "this begins as a packed trace does, and is none";
    return fault;
  }
  if (!opened->TakeDirectory()) {
    if (Fault fault = opened->LookForSections()) {
      return fault;
    }
  }
  return std::shared_ptr<const MfzFile>(std::move(opened));
}

std::optional<MfzSection> MfzFile::SectionAt(uint64_t offset) const {
  uint8_t head[MFZ_HEAD];
  if (offset > file->Size() || file->Size() - offset < sizeof(head) ||
      file->ReadAt(offset, sizeof(head), head)) {
    return std::nullopt;
  }
  std::optional<MfzSection> section = DecodeMfzHead(head);
  if (section && section->size > file->Size() - offset - sizeof(head)) {
    return std::nullopt;
  }
  if (section) {
    section->offset = offset;
  }
  return section;
}

bool MfzFile::TakeDirectory() {
  uint8_t bytes[MFZ_FOOTER];
  if (file->Size() < sizeof(MFZ_MAGIC) + sizeof(bytes) ||
      file->ReadAt(file->Size() - sizeof(bytes), sizeof(bytes), bytes)) {
    return false;
  }
  const std::optional<uint64_t> begin = DecodeMfzFooter(bytes);
  const std::optional<MfzSection> section = begin ? SectionAt(*begin) : std::nullopt;
  return section && section->stream == MfzStream::DIRECTORY &&
         *begin + MFZ_HEAD + section->size + sizeof(bytes) == file->Size() &&
         TakeDirectory(*section);
}

bool MfzFile::TakeDirectory(const MfzSection& section) {
  if (section.rawSize > LargestMfzDirectory(section.offset)) {
    return false;
  }
  std::vector<uint8_t> packed(section.size);
  std::vector<uint8_t> raw(section.rawSize);
  if (file->ReadAt(section.offset + MFZ_HEAD, packed.size(), packed.data()) ||
      MfzChecksum(packed) != section.checksum ||
      ZSTD_decompress(raw.data(), raw.size(), packed.data(), packed.size()) != raw.size()) {
    return false;
  }
  const auto found = DecodeMfzDirectory(raw, section.offset - sizeof(MFZ_MAGIC));
  isWhole = found.has_value();
  if (found) {
    Sort(*found);
  }
  return isWhole;
}

// A directory that can be read although the end of the file cannot tells all. Else, where a head is
// damaged, the next one is looked for byte by byte, and what was passed over may be the last of it.
Fault MfzFile::LookForSections() {
  std::vector<MfzSection> found;
  HeadFinder heads(*file);
  bool isPassedOver = false;
  uint64_t offset = sizeof(MFZ_MAGIC);
  while (offset < file->Size()) {
    if (const std::optional<MfzSection> section = SectionAt(offset)) {
      const bool isDirectory = section->stream == MfzStream::DIRECTORY;
      if (isDirectory && TakeDirectory(*section)) {
        return {};
      }
      isWhole = isDirectory && !isPassedOver;
      if (!isDirectory) {
        found.push_back(*section);
      }
      offset += MFZ_HEAD + section->size;
      continue;
    }
    isPassedOver = true;
    const Result<uint64_t> next = heads.Next(offset + 1);
    if (!next) {
      return next.Why();
    }
    offset = *next;
  }
  Sort(found);
  return {};
}

// Files that were joined by hand have the same bytes twice: the first ones count.
void MfzFile::Sort(const std::vector<MfzSection>& found) {
  for (const MfzSection& section : found) {
    sections[static_cast<size_t>(section.stream)].push_back(section);
    content[static_cast<size_t>(section.stream)].Add(section);
  }
  for (std::vector<MfzSection>& stream : sections) {
    std::stable_sort(stream.begin(), stream.end(),
                     [](const MfzSection& a, const MfzSection& b) { return a.begin < b.begin; });
    uint64_t end = 0;
    std::erase_if(stream, [&](const MfzSection& section) {
      const bool overlaps = section.begin < end;
      end = overlaps ? end : section.End();
      return overlaps;
    });
  }
}

uint64_t MfzFile::SizeOf(MfzStream stream) const {
  const std::span<const MfzSection> pieces = Sections(stream);
  return pieces.empty() ? 0 : pieces.back().End();
}

Fault MfzFile::Damaged(const MfzSection& section) const {
  const std::span<const MfzSection> pieces = Sections(section.stream);
  const auto number = std::count_if(pieces.begin(), pieces.end(), [&](const MfzSection& other) {
    return other.begin < section.begin;
  });
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.file = Name();
  fault.offset = section.begin;
  fault.record = section.firstRecord;
  fault.reason =
      "block " + std::to_string(number) + " of " + NAMES[static_cast<size_t>(section.stream)] +
      " is damaged: " +
      (section.records > 0
           ? Range("records", section.firstRecord, section.firstRecord + section.records) + ", "
           : "") +
      Range("bytes", section.begin, section.End());
  fault.remedy = REMEDY;
  return fault;
}

Fault MfzFile::Missing(MfzStream stream, uint64_t begin) const {
  const std::span<const MfzSection> pieces = Sections(stream);
  const auto next = std::partition_point(
      pieces.begin(), pieces.end(), [&](const MfzSection& piece) { return piece.begin <= begin; });
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.file = Name();
  fault.offset = begin;
  fault.reason = std::string(NAMES[static_cast<size_t>(stream)]) +
                 (next == pieces.end() ? " ends early, at byte " + std::to_string(begin)
                                       : " lacks " + Range("bytes", begin, next->begin));
  fault.remedy = REMEDY;
  return fault;
}

std::unique_ptr<MfzBlockDecoder> MfzFile::TakeDecoder() const {
  const std::lock_guard lock(mutex);
  if (decoders.empty()) {
    return std::make_unique<MfzBlockDecoder>();
  }
  std::unique_ptr<MfzBlockDecoder> decoder = std::move(decoders.back());
  decoders.pop_back();
  return decoder;
}

void MfzFile::GiveBack(std::unique_ptr<MfzBlockDecoder> decoder) const {
  const std::lock_guard lock(mutex);
  decoders.push_back(std::move(decoder));
}

Fault MfzFile::ReadPacked(const MfzSection& section, std::vector<uint8_t>& bytes) const {
  bytes.resize(section.size);
  if (Fault fault = file->ReadAt(section.offset + MFZ_HEAD, section.size, bytes.data())) {
    return fault;
  }
  return MfzChecksum(bytes) == section.checksum ? Fault() : Damaged(section);
}

Result<std::unique_ptr<MfzBlockDecoder>> MfzFile::Begin(const MfzSection& section) const {
  std::unique_ptr<MfzBlockDecoder> decoder = TakeDecoder();
  if (Fault fault = ReadPacked(section, decoder->Packed())) {
    return fault;
  }
  if (!decoder->Begin(decoder->Packed(), section.rawSize)) {
    return Damaged(section);
  }
  return decoder;
}

Fault MfzFile::Unpack(const MfzSection& section, uint8_t* out) const {
  if (section.coding == MfzCoding::PLAIN) {
    if (Fault fault = file->ReadAt(section.offset + MFZ_HEAD, section.size, out)) {
      return fault;
    }
    return MfzChecksum({out, section.size}) == section.checksum ? Fault() : Damaged(section);
  }
  std::unique_ptr<MfzBlockDecoder> decoder = TakeDecoder();
  if (Fault fault = ReadPacked(section, decoder->Packed())) {
    return fault;
  }
  const std::vector<uint8_t>& packed = decoder->Packed();
  const bool whole = section.coding == MfzCoding::RECORDS
                         ? decoder->Records(packed, section.rawSize, out)
                         : decoder->Bytes(packed, section.rawSize, out);
  GiveBack(std::move(decoder));
  return whole ? Fault() : Damaged(section);
}

}  // namespace marrowfin
