#ifndef TRACE_BASE_NEARESTWORD_H
#define TRACE_BASE_NEARESTWORD_H

#include <string>
#include <vector>

namespace marrowfin {

// The one of `words` that `mistyped` is most likely meant to be: the fewest letters left out,
// added, changed, or swapped with their neighbour make it; empty where more than a third of them
// would have to be.
std::string NearestWord(const std::string& mistyped, const std::vector<std::string>& words);

}  // namespace marrowfin

#endif
