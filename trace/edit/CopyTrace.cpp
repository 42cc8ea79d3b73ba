#include "trace/edit/CopyTrace.h"

#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "trace/edit/ScratchFile.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {
namespace {

constexpr size_t BLOCK = 256 << 10;

Fault CopyTo(int descriptor, ByteSource& source, const std::string& name, uint64_t most,
             const ProgressCallback& progress) {
  std::vector<uint8_t> block(BLOCK);
  for (uint64_t copied = 0; copied < most;) {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(BLOCK, most - copied));
    const Result<size_t> got = source.Read(block.data(), wanted);
    if (!got || *got == 0) {
      return got.Why();
    }
    if (Fault fault = WriteScratch(descriptor, copied, block.data(), *got)) {
      return fault;
    }
    copied += *got;
    if (progress &&
        !progress({source.InputRead(), source.InputSize().value_or(0), Progress::BYTES})) {
      return CancelledFault(name);
    }
  }
  return {};
}

// The front of something longer: whoever asks what it is now is told that it goes on, as of a run
// whose trace is not complete yet.
class FrontFile : public PositionedFile {
 public:
  explicit FrontFile(std::unique_ptr<PositionedFile> copy)
      : PositionedFile(copy->Name(), copy->Identity()), copy(std::move(copy)) {}

  Result<FileIdentity> Now() const override {
    FileIdentity longer = identity;
    ++longer.size;
    return longer;
  }
  Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
    return copy->ReadAt(offset, length, out);
  }
  const uint8_t* View() const override { return copy->View(); }
  void AboutToRead(uint64_t offset) const override { copy->AboutToRead(offset); }
  uint32_t Permissions() const override { return copy->Permissions(); }

 private:
  std::unique_ptr<PositionedFile> copy;
};

}  // namespace

Result<std::unique_ptr<TraceSource>> CopyTrace(ByteSource& source, const std::string& name,
                                               uint64_t most, const ProgressCallback& progress) {
  const Result<int> descriptor = OpenScratchFile();
  if (!descriptor) {
    return descriptor.Why();
  }
  if (Fault fault = CopyTo(*descriptor, source, name, most, progress)) {
    close(*descriptor);
    return fault;
  }
  Result<std::unique_ptr<PositionedFile>> file =
      OpenPlainFile(*descriptor, name, PlainAccess::MAPPED);
  if (!file) {
    return file.Why();
  }
  std::unique_ptr<PositionedFile> copy = std::move(file).Take();
  if (copy->Size() == most) {
    copy = std::make_unique<FrontFile>(std::move(copy));
  }
  return TraceSource::Over(std::move(copy));
}

}  // namespace marrowfin
