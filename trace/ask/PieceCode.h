#ifndef TRACE_ASK_PIECECODE_H
#define TRACE_ASK_PIECECODE_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "trace/ask/Fade.h"

namespace marrowfin {

// What determines the colour of a piece at a step, as a byte: that no event has touched it, or by
// which thread (modulo 6, as colours tell threads apart) the last event did and how many steps ago,
// up to the age at which its colour comes to rest.
//
// Whoever keeps codes can give them other colours, or pick out those of a thread, without another
// question: the palette of a step is all that it takes. Threads: values, and functions that any
// number may call at a time.
template <unsigned REST>
class PieceCodes {
 public:
  static constexpr uint8_t UNTOUCHED = 0;
  static constexpr unsigned THREADS = 6;
  static constexpr unsigned OLDEST = REST;  // the age that stands for all above it as well
  static constexpr size_t COUNT = 1 + THREADS * (REST + 1);

  static constexpr uint8_t Encode(uint32_t thread, uint64_t age) {
    const uint64_t shown = std::min<uint64_t>(age, REST);
    return static_cast<uint8_t>(1 + thread % THREADS * (REST + 1) + shown);
  }

  // Of a code that is not UNTOUCHED: 0 to 5, and 0 to OLDEST.
  static constexpr uint32_t Thread(uint8_t code) { return (code - 1U) / (REST + 1); }
  static constexpr uint32_t Age(uint8_t code) { return (code - 1U) % (REST + 1); }

  // Whether the code is another one a step later, where nothing touches the piece.
  static constexpr bool Fades(uint8_t code) { return code != UNTOUCHED && Age(code) < REST; }
};

typedef PieceCodes<ELEMENT_REST> ElementCodes;
typedef PieceCodes<SWITCH_REST> SwitchCodes;

// The colours of all codes at a step: only that of UNTOUCHED depends on it, and only until it comes
// to rest.
typedef std::array<Color, ElementCodes::COUNT> ElementPalette;
typedef std::array<Color, SwitchCodes::COUNT> SwitchPalette;
ElementPalette ElementPaletteAt(uint64_t step);
SwitchPalette SwitchPaletteAt(uint64_t step);

}  // namespace marrowfin

#endif
