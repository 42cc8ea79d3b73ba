#include "trace/write/MfzWriter.h"

#include <zstd.h>

#include <algorithm>
#include <new>
#include <utility>

namespace marrowfin {

namespace {

std::vector<uint8_t> FrameOf(std::span<const uint8_t> bytes, int level) {
  std::vector<uint8_t> packed(ZSTD_compressBound(bytes.size()));
  const size_t size =
      ZSTD_compress(packed.data(), packed.size(), bytes.data(), bytes.size(), level);
  // There is room for whatever comes out, so that nothing but memory can be missing.
  if (ZSTD_isError(size) != 0) {
    throw std::bad_alloc();
  }
  packed.resize(size);
  return packed;
}

}  // namespace

MfzWriter::MfzWriter(ByteSink& below, int level) : below(below), level(level), encoder(level) {
  Write(MFZ_MAGIC);
}

void MfzWriter::Write(std::span<const uint8_t> bytes) {
  if (!fault) {
    ByteSink::Written written = below.Write(bytes.data(), bytes.size());
    fault = std::move(written.fault);
    offset += bytes.size();
  }
}

void MfzWriter::Put(MfzSection section, std::span<const uint8_t> packed) {
  section.size = static_cast<uint32_t>(packed.size());
  section.checksum = MfzChecksum(packed);
  section.offset = offset;
  uint8_t head[MFZ_HEAD];
  EncodeMfzHead(section, head);
  Write(head);
  Write(packed);
  if (section.stream != MfzStream::DIRECTORY) {
    ends[static_cast<size_t>(section.stream)] += section.rawSize;
    record += section.records;
    if (section.stream == MfzStream::TRACE) {
      content.Add(section);
    }
    sections.push_back(section);
  }
}

void MfzWriter::EndBlock() {
  if (encoder.Records() == 0) {
    return;
  }
  MfzSection section;
  section.coding = MfzCoding::RECORDS;
  section.begin = RawBytes();
  section.firstRecord = record;
  section.records = static_cast<uint32_t>(encoder.Records());
  section.rawSize = static_cast<uint32_t>(std::exchange(rawOfBlock, 0));
  Put(section, encoder.End());
}

void MfzWriter::Bytes(MfzStream stream, MfzCoding coding, std::span<const uint8_t> bytes) {
  while (!bytes.empty() && !fault) {
    const std::span<const uint8_t> piece = bytes.first(std::min(bytes.size(), MFZ_PIECE));
    bytes = bytes.subspan(piece.size());
    MfzSection section;
    section.stream = stream;
    section.coding = coding;
    section.begin = ends[static_cast<size_t>(stream)];
    section.firstRecord = stream == MfzStream::TRACE ? record : 0;
    section.rawSize = static_cast<uint32_t>(piece.size());
    if (coding == MfzCoding::PLAIN) {
      Put(section, piece);
    } else {
      Put(section, FrameOf(piece, level));
    }
  }
}

Fault MfzWriter::End() {
  EndBlock();
  const uint64_t begin = offset;
  const std::vector<uint8_t> directory = EncodeMfzDirectory(sections);
  MfzSection section;
  section.stream = MfzStream::DIRECTORY;
  section.rawSize = static_cast<uint32_t>(directory.size());
  Put(section, FrameOf(directory, level));
  uint8_t footer[MFZ_FOOTER];
  EncodeMfzFooter(begin, footer);
  Write(footer);
  return fault;
}

}  // namespace marrowfin
