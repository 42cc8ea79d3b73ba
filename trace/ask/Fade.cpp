#include "trace/ask/Fade.h"

#include <algorithm>
#include <array>

namespace marrowfin {

namespace {

// The colours of threads modulo 6, then that of a piece which nothing has touched.
constexpr size_t UNTOUCHED = 6;
constexpr Color START[UNTOUCHED + 1] = {
    {255, 1, 1}, {1, 255, 1}, {255, 255, 1}, {1, 1, 255}, {255, 1, 255}, {1, 255, 255}, {0, 0, 0},
};

constexpr uint8_t TowardsGrey(uint8_t channel) {
  return channel > 240 || channel < 200 ? static_cast<uint8_t>((channel + 220) / 2) : channel;
}

constexpr Color FadeElement(Color c) {
  if (c.red == c.green && c.green == c.blue) {
    return {TowardsGrey(c.red), TowardsGrey(c.green), TowardsGrey(c.blue)};
  }
  return {TowardsGrey(c.red), c.green, c.blue};
}

constexpr Color FadeSwitch(Color c) {
  return {static_cast<uint8_t>((c.red + 255) / 2), static_cast<uint8_t>((c.green + 255) / 2),
          static_cast<uint8_t>((c.blue + 255) / 2)};
}

constexpr Color FadeMessage(Color c) {
  return {static_cast<uint8_t>((4 * c.red + 255) / 5),
          static_cast<uint8_t>((4 * c.green + 255) / 5),
          static_cast<uint8_t>((4 * c.blue + 255) / 5)};
}

template <size_t STEPS>
constexpr std::array<Color, STEPS + 1> Fades(Color start, Color (*fade)(Color)) {
  std::array<Color, STEPS + 1> colors = {};
  colors[0] = start;
  for (size_t i = 0; i < STEPS; ++i) {
    colors[i + 1] = fade(colors[i]);
  }
  return colors;
}

// One row per start colour, up to the step after which nothing moves any more.
template <size_t STEPS>
constexpr auto Table(Color (*fade)(Color)) {
  std::array<std::array<Color, STEPS + 1>, UNTOUCHED + 1> table = {};
  for (size_t start = 0; start <= UNTOUCHED; ++start) {
    table[start] = Fades<STEPS>(START[start], fade);
  }
  return table;
}

constexpr auto ELEMENTS = Table<ELEMENT_REST>(FadeElement);
constexpr auto SWITCHES = Table<SWITCH_REST>(FadeSwitch);
constexpr auto MESSAGE = Fades<LAST_MESSAGE_AGE>({255, 0, 0}, FadeMessage);

template <size_t SIZE>
Color At(const std::array<Color, SIZE>& fades, uint64_t age) {
  return fades[static_cast<size_t>(std::min<uint64_t>(age, SIZE - 1))];
}

}  // namespace

Color ElementColor(uint32_t thread, uint64_t age) { return At(ELEMENTS[thread % 6], age); }

Color UntouchedElementColor(uint64_t steps) { return At(ELEMENTS[UNTOUCHED], steps); }

Color SwitchColor(uint32_t thread, uint64_t age) { return At(SWITCHES[thread % 6], age); }

Color UntouchedSwitchColor(uint64_t steps) { return At(SWITCHES[UNTOUCHED], steps); }

Color MessageColor(uint64_t age) { return At(MESSAGE, age); }

}  // namespace marrowfin
