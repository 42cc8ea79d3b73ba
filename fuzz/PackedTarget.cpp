#include <memory>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "trace/index/PackedSink.h"
#include "trace/read/MfzBlockDecoder.h"
#include "trace/read/MfzFile.h"
#include "trace/read/Unpack.h"

// Bytes as a packed trace, as one of its blocks, and as a trace to be packed: nothing outside of
// what there is is read or written, the ways to read a packed trace agree, and what is packed comes
// back.

namespace marrowfin::fuzz {

namespace {

// A small input may unpack to any amount.
constexpr uint64_t ENOUGH = 4 << 20;

struct Outcome {
  std::vector<uint8_t> bytes;
  bool whole = false;
};

Outcome ReadInOrder(std::span<const uint8_t> packed) {
  const auto source = UnpackMfz(MemorySource(packed.data(), packed.size()), "t");
  Outcome result;
  std::vector<uint8_t> block(64 << 10);
  for (;;) {
    const Result<size_t> got = source->Read(block.data(), block.size());
    result.whole = got && *got == 0;
    if (!got || *got == 0 || result.bytes.size() > ENOUGH) {
      return result;
    }
    result.bytes.insert(result.bytes.end(), block.begin(),
                        block.begin() + static_cast<ptrdiff_t>(*got));
  }
}

Outcome ReadInPlace(const PositionedFile& file) {
  Outcome result;
  result.bytes.resize(static_cast<size_t>(file.Size()));
  result.whole = !file.ReadAt(0, result.bytes.size(), result.bytes.data());
  return result;
}

// What reads in order refuses more: it has no directory to find the sections by.
void TryFile(std::span<const uint8_t> bytes) {
  const Result<std::shared_ptr<const MfzFile>> packed = MfzFile::Open(MemoryFile(bytes, "t"));
  const Outcome inOrder = ReadInOrder(bytes);
  if (!packed) {
    Require(!inOrder.whole, "what cannot be opened cannot be read");
    return;
  }
  for (const MfzStream stream :
       {MfzStream::TRACE, MfzStream::INDEX, MfzStream::ABOUT, MfzStream::NOTES}) {
    const std::unique_ptr<PositionedFile> part = MfzPart(*packed, stream);
    if (part == nullptr || part->Size() > ENOUGH) {
      continue;
    }
    const Outcome inPlace = ReadInPlace(*part);
    Require(stream != MfzStream::TRACE || !inPlace.whole || !inOrder.whole ||
                inPlace.bytes == inOrder.bytes,
            "the same bytes come out in order and in place");
  }
}

void TryBlock(std::span<const uint8_t> bytes, size_t size) {
  MfzBlockDecoder decoder;
  std::vector<uint8_t> out(MfzBlockDecoder::RoomFor(size));
  static_cast<void>(decoder.Records(bytes, size, out.data()));
  static_cast<void>(decoder.Bytes(bytes, size, out.data()));
}

void TryTrace(std::span<const uint8_t> bytes, size_t portion) {
  MemorySink out;
  PackedSinkOptions options;
  options.index = false;
  PackedSink sink(out, "t", options);
  for (size_t at = 0; at < bytes.size(); at += portion) {
    const std::span<const uint8_t> piece = bytes.subspan(at, std::min(portion, bytes.size() - at));
    Require(!sink.Write(piece.data(), piece.size()).fault, "memory takes all bytes");
  }
  Require(!sink.End(), "memory takes the end");
  const Outcome result = ReadInOrder(out.Bytes());
  Require(result.whole &&
              std::equal(bytes.begin(), bytes.end(), result.bytes.begin(), result.bytes.end()),
          "what was packed comes back");
}

void Try(Input input) {
  const uint8_t kind = input.Byte() % 3;
  const size_t number = input.Byte() + size_t{1};
  const std::span<const uint8_t> bytes(input.Rest(), input.Left());
  if (kind == 0) {
    TryFile(bytes);
  } else if (kind == 1) {
    TryBlock(bytes, number * SMALL_RECORD);
  } else {
    TryTrace(bytes, number);
  }
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
