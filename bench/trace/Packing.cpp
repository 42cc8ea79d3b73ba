#include <unistd.h>
#include <zstd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/ask/StateReader.h"
#include "trace/index/PackedSink.h"
#include "trace/read/MfzFile.h"
#include "trace/read/OpenSource.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin::bench {

namespace {

constexpr size_t BLOCK = 1 << 20;
constexpr uint64_t ZSTD_19_MOST = 100000000;  // bytes: it takes half a minute for these

// Every byte of a file, in blocks.
void ForEachBlock(const PositionedFile& file,
                  const std::function<void(const std::vector<uint8_t>&)>& take) {
  std::vector<uint8_t> block;
  for (uint64_t at = 0; at < file.Size(); at += block.size()) {
    block.resize(static_cast<size_t>(std::min<uint64_t>(BLOCK, file.Size() - at)));
    Require(file.ReadAt(at, block.size(), block.data()));
    take(block);
  }
}

void Pack(const PositionedFile& raw, const std::string& name) {
  AtomicFile file;
  Require(file.Open(name));
  PackedSink sink(file, name);
  ForEachBlock(raw, [&](const std::vector<uint8_t>& block) {
    Require(sink.Write(block.data(), block.size()).fault);
  });
  Require(sink.End());
  Require(file.Commit());
}

// Into memory, block by block, as whoever writes them on does.
void Unpack(const std::string& name) {
  const std::shared_ptr<const MfzFile> packed =
      Value(MfzFile::Open(Value(OpenPlainFile(name, PlainAccess::READ))));
  std::vector<uint8_t> block;
  for (const MfzSection& section : packed->Sections(MfzStream::TRACE)) {
    block.resize(std::max(block.size(), MfzBlockDecoder::RoomFor(section.rawSize)));
    Require(packed->Unpack(section, block.data()));
  }
}

// The frames of zstd of pieces of a megabyte, for unpacking them, and their size.
struct Frames {
  std::vector<std::vector<uint8_t>> frames;
  uint64_t size = 0;
};

Frames PackByZstd(const PositionedFile& raw, int level) {
  Frames all;
  std::vector<uint8_t> out(ZSTD_compressBound(BLOCK));
  ForEachBlock(raw, [&](const std::vector<uint8_t>& block) {
    const size_t size = ZSTD_compress(out.data(), out.size(), block.data(), block.size(), level);
    Require(ZSTD_isError(size) == 0, "zstd packs no block");
    all.frames.emplace_back(out.begin(), out.begin() + static_cast<ptrdiff_t>(size));
    all.size += size;
  });
  return all;
}

void UnpackByZstd(const Frames& packed) {
  std::vector<uint8_t> out(BLOCK);
  for (const std::vector<uint8_t>& frame : packed.frames) {
    Require(ZSTD_isError(ZSTD_decompress(out.data(), out.size(), frame.data(), frame.size())) == 0,
            "zstd unpacks no block");
  }
}

// All bytes in one frame, as its program packs them.
uint64_t SizeByZstd19(const PositionedFile& raw) {
  std::vector<uint8_t> bytes(static_cast<size_t>(raw.Size()));
  Require(raw.ReadAt(0, bytes.size(), bytes.data()));
  std::vector<uint8_t> out(ZSTD_compressBound(bytes.size()));
  return ZSTD_compress(out.data(), out.size(), bytes.data(), bytes.size(), 19);
}

void MeasureSpeed(const Subject& subject, const PositionedFile& raw, const std::string& packed) {
  Frames frames;
  const std::vector<Time> packing = Alternate(
      subject.repetitions, {[&] { Pack(raw, packed); }, [&] { frames = PackByZstd(raw, 1); }});
  const std::vector<Time> unpacking =
      Alternate(subject.repetitions, {[&] { Unpack(packed); }, [&] { UnpackByZstd(frames); }});
  const double millions = static_cast<double>(subject.options.records) / 1e6;
  AtLeast("pack, with the index, all threads", millions / packing[0].processor, "M/s", 20);
  Note("  zstd -1 of the raw bytes", millions / packing[1].processor, "M/s");
  AtLeast("unpack", millions / unpacking[0].processor, "M/s", 50);
  Note("  zstd -1 of the raw bytes", millions / unpacking[1].processor, "M/s");
}

}  // namespace

uint64_t PackedSize(const Subject& subject) {
  const std::string packed = subject.folder + "/size.mfz";
  Pack(*Value(OpenPlainFile(subject.file, PlainAccess::READ)), packed);
  const uint64_t size = Value(OpenPlainFile(packed, PlainAccess::READ))->Size();
  unlink(packed.c_str());
  return size;
}

namespace {

void MeasureSize(const Subject& subject, const PositionedFile& raw, const std::string& packed) {
  const uint64_t size = Value(OpenPlainFile(packed, PlainAccess::READ))->Size();
  const double share = static_cast<double>(size) / static_cast<double>(raw.Size());
  const char* const what = "size with the index, of the raw bytes";
  if (subject.options.mode == SynthOptions::PROGRAMS) {
    AtMost(what, 100 * share, "%", 6);
  } else if (subject.options.shape.Columns() <= 64) {
    AtMost(what, 100 * share, "%", 9);
  } else {
    Note(what, 100 * share, "%");  // places at random alone take more than nine percent
  }
  if (raw.Size() <= ZSTD_19_MOST) {
    AtMost("  against zstd -19 of the raw bytes",
           static_cast<double>(size) / static_cast<double>(SizeByZstd19(raw)), "x", 1);
  }
}

// A state at a step at random, read anew.
class States {
 public:
  explicit States(const std::string& name, const ArrayShape& shape)
      : trace(Value(TraceSource::Open(name))), index(Value(Index::Open(*trace))), shape(shape) {}

  uint64_t Steps() const { return Value(StateReader(*trace, *index, shape).CountSteps(0)); }

  double Seconds(uint64_t step) const {
    return Measure([&] { Value(StateReader(*trace, *index, shape).AtStep(step, 0)); }).processor;
  }

 private:
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  ArrayShape shape;
};

void MeasureStates(const Subject& subject, const std::string& packed) {
  constexpr int QUESTIONS = 301;
  const States plain(subject.file, subject.options.shape);
  const States other(packed, subject.options.shape);
  const uint64_t steps = plain.Steps();
  Draw draw;
  std::vector<double> ofPlain;
  std::vector<double> ofPacked;
  for (int i = 0; i < QUESTIONS; ++i) {
    const uint64_t step = draw.Below(steps + 1);
    ofPlain.push_back(plain.Seconds(step));
    ofPacked.push_back(other.Seconds(step));
  }
  Note("state at a random step, packed", Median(ofPacked) * 1e3, "ms");
  AtMost("  against the raw trace", Median(ofPacked) / Median(ofPlain), "x", 2);
}

void MeasureOpening(const Subject& subject, const std::string& packed) {
  const std::vector<Time> opening =
      Alternate(subject.repetitions, {[&] { States opened(packed, subject.options.shape); }});
  AtMost("opening", opening[0].elapsed * 1e3, "ms", 20);
}

}  // namespace

void MeasurePacking(const Subject& subject) {
  const std::string packed = subject.folder + "/bench.mfz";
  const std::unique_ptr<PositionedFile> raw = Value(OpenPlainFile(subject.file, PlainAccess::READ));
  MeasureSpeed(subject, *raw, packed);
  MeasureSize(subject, *raw, packed);
  MeasureOpening(subject, packed);
  MeasureStates(subject, packed);
  unlink(packed.c_str());
  unlink((subject.file + ".mfindex").c_str());
}

}  // namespace marrowfin::bench
