#include "trace/base/NearestWord.h"

#include <algorithm>

namespace marrowfin {
namespace {

// How many steps, of one letter each, lead from one word to the other (Damerau, Levenshtein).
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> steps(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        steps[i][j] = i + j;
        continue;
      }
      const size_t changed = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      steps[i][j] = std::min({changed, steps[i - 1][j] + 1, steps[i][j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
      }
    }
  }
  return steps[a.size()][b.size()];
}

}  // namespace

std::string NearestWord(const std::string& mistyped, const std::vector<std::string>& words) {
  constexpr size_t LONGEST = 64;  // nobody means any of the words by more
  std::string nearest;
  size_t least = (mistyped.size() + 2) / 3 + 1;
  for (const std::string& word : words) {
    const size_t distance = mistyped.size() > LONGEST ? least : Distance(mistyped, word);
    if (distance < least) {
      least = distance;
      nearest = word;
    }
  }
  return nearest;
}

}  // namespace marrowfin
