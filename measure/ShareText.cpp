#include "measure/ShareText.h"

#include "measure/NumberText.h"

namespace marrowfin {

std::string ShareText(uint64_t part, uint64_t all) {
  return all == 0 ? "–" : PercentText(static_cast<double>(part) / static_cast<double>(all));
}

}  // namespace marrowfin
