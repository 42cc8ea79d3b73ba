#include "fuzz/Unpacking.h"
#include "trace/read/Unpack.h"

// Bytes as data packed by gzip or zstd; the first one says by which.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace marrowfin;
  fuzz::Input input(data, size);
  if ((input.Byte() & 1) == 0) {
    fuzz::TryUnpacking(input, UnpackGzip, false);
  } else {
    // That a frame is shorter than its header says hides behind an empty last block, but where the
    // zstd library has all of the frame at once.
    fuzz::TryUnpacking(input, UnpackZstd, true);
  }
  return 0;
}
