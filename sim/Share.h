#ifndef SIM_SHARE_H
#define SIM_SHARE_H

namespace marrowfin::sim {

// `part` of `whole`; 0 where there is no whole.
inline float Share(unsigned long long part, unsigned long long whole) {
  return whole == 0 ? 0
                    : static_cast<float>(static_cast<double>(part) / static_cast<double>(whole));
}

inline float Percent(unsigned long long part, unsigned long long whole) {
  return 100 * Share(part, whole);
}

}  // namespace marrowfin::sim

#endif
