#include "trace/edit/SampleFeed.h"

#include <utility>

namespace marrowfin {

bool SampleFeed::Next() {
  if (at + 1 < samples.size()) {
    ++at;
    return true;
  }
  samples.clear();
  at = 0;
  for (; samples.empty() && block < notes.Blocks().size(); ++block) {
    if (notes.Blocks()[block].kind != NotesBlockKind::SAMPLES) {
      continue;
    }
    Result<std::vector<CounterSample>> read = notes.Samples(block);
    if (read) {
      samples = std::move(read).Take();
    } else {
      leftOut = read.Why();
    }
  }
  return !samples.empty();
}

}  // namespace marrowfin
