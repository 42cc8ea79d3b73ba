#include "convert/import/Bzip2Source.h"
#include "fuzz/Unpacking.h"

// Bytes as data packed by bzip2.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace marrowfin;
  fuzz::TryUnpacking(fuzz::Input(data, size), UnpackBzip2, false);
  return 0;
}
