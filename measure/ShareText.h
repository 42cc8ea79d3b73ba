#ifndef MEASURE_SHARETEXT_H
#define MEASURE_SHARETEXT_H

#include <cstdint>
#include <string>

namespace marrowfin {

// How large a part is, in percent of all: "12.3 %"; "–" where there is nothing to be a part of.
std::string ShareText(uint64_t part, uint64_t all);

}  // namespace marrowfin

#endif
