#ifndef TRACE_READ_MFZFILE_H
#define TRACE_READ_MFZFILE_H

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "trace/base/MfzFormat.h"
#include "trace/base/Result.h"
#include "trace/read/MfzBlockDecoder.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

// A packed trace: the sections of the files that it stands for, each of which is unpacked when it
// is asked for. A section that is damaged takes no other one with it.
//
// Opening reads the directory; where that is damaged or missing, the heads of all sections are
// looked for instead. All of it may be asked from several threads at a time.
class MfzFile {
 public:
  // A fault where `file` is none or cannot be read.
  [[nodiscard]] static Result<std::shared_ptr<const MfzFile>> Open(
      std::unique_ptr<PositionedFile> file);

  const PositionedFile& File() const { return *file; }
  const std::string& Name() const { return file->Name(); }

  // Whether the directory was there, and so the end of the packed trace.
  bool IsWhole() const { return isWhole; }

  // In order of their bytes; they do not overlap. What lies between them is missing.
  std::span<const MfzSection> Sections(MfzStream stream) const {
    return sections[static_cast<size_t>(stream)];
  }

  // The byte behind the last section of a stream.
  uint64_t SizeOf(MfzStream stream) const;

  // A number of what a stream is, see MfzContent.
  uint64_t Content(MfzStream stream) const { return content[static_cast<size_t>(stream)].Value(); }

  // Unpacks a section: its bytes are put into `out`, which has MfzBlockDecoder::RoomFor(rawSize).
  // DAMAGED_INPUT, which names it, where it is damaged.
  [[nodiscard]] Fault Unpack(const MfzSection& section, uint8_t* out) const;

  // Begins to unpack a section of records, which the decoder then continues: as much of it as is
  // wanted, when it is. A decoder that is done is given back, so that its memory is used again.
  [[nodiscard]] Result<std::unique_ptr<MfzBlockDecoder>> Begin(const MfzSection& section) const;
  void GiveBack(std::unique_ptr<MfzBlockDecoder> decoder) const;

  // The fault of a section that is damaged, and of bytes of a stream that no section has.
  Fault Damaged(const MfzSection& section) const;
  Fault Missing(MfzStream stream, uint64_t begin) const;

 private:
  explicit MfzFile(std::unique_ptr<PositionedFile> file) : file(std::move(file)) {}

  bool TakeDirectory();
  bool TakeDirectory(const MfzSection& section);
  Fault LookForSections();
  std::optional<MfzSection> SectionAt(uint64_t offset) const;
  void Sort(const std::vector<MfzSection>& found);
  Fault ReadPacked(const MfzSection& section, std::vector<uint8_t>& bytes) const;
  std::unique_ptr<MfzBlockDecoder> TakeDecoder() const;

  std::unique_ptr<PositionedFile> file;
  std::array<std::vector<MfzSection>, MFZ_STREAMS> sections;
  std::array<MfzContent, MFZ_STREAMS> content;
  bool isWhole = false;
  mutable std::mutex mutex;
  mutable std::vector<std::unique_ptr<MfzBlockDecoder>> decoders;  // that nobody uses
};

// The file that a stream of a packed trace stands for; null where it has nothing of it, but for the
// trace itself, which is always there. Sections that were unpacked last are kept.
//
// What tells the trace from others is its content and not when the packed one was written, so that
// an index that is packed with it is its index wherever it is copied to.
std::unique_ptr<PositionedFile> MfzPart(std::shared_ptr<const MfzFile> packed, MfzStream stream);

// Whether a file is a packed trace. A fault where its first bytes cannot be read.
[[nodiscard]] Result<bool> IsMfz(const PositionedFile& file);

}  // namespace marrowfin

#endif
