#include "measure/RecordWalk.h"

namespace marrowfin {

bool RecordWalk::Decode() {
  if (fault || AtEnd()) {
    return false;
  }
  const Result<uint64_t> next = trace->Decode(offset, trace->Size(), *columns);
  row = 0;
  if (!next) {
    fault = next.Why();
    fault.record = record;
    columns->Clear();
    return false;
  }
  return true;
}

}  // namespace marrowfin
