#include "render/plot/Theme.h"

#include <cmath>

namespace marrowfin {
namespace {

constexpr Color Hex(uint32_t rgb) {
  return {static_cast<uint8_t>(rgb >> 16), static_cast<uint8_t>(rgb >> 8),
          static_cast<uint8_t>(rgb)};
}

constexpr std::array<Color, 16> sequenceLight = {
    Hex(0xf9f1cb), Hex(0xf3e2a8), Hex(0xefd182), Hex(0xeebe63), Hex(0xefaa48), Hex(0xef942d),
    Hex(0xee7e13), Hex(0xe46b24), Hex(0xd85831), Hex(0xcb473b), Hex(0xba3744), Hex(0xa52c4e),
    Hex(0x8f2454), Hex(0x771f57), Hex(0x5a1e5a), Hex(0x3e1c54)};

constexpr std::array<Color, 16> sequenceDark = {
    Hex(0x392755), Hex(0x502c65), Hex(0x692f72), Hex(0x853279), Hex(0x9f3678), Hex(0xb93c72),
    Hex(0xd24366), Hex(0xe2545c), Hex(0xf06751), Hex(0xfb7a45), Hex(0xff9040), Hex(0xfda84c),
    Hex(0xfdbd57), Hex(0xfad273), Hex(0xf9e49e), Hex(0xfcf5c7)};

constexpr std::array<Color, 16> divergenceLight = {
    Hex(0x075192), Hex(0x0a64b2), Hex(0x1778d1), Hex(0x468ed9), Hex(0x6ca3e0), Hex(0x8eb8e7),
    Hex(0xb1cded), Hex(0xd3e1f2), Hex(0xf0dcd1), Hex(0xe9c2ac), Hex(0xe1a887), Hex(0xd78e61),
    Hex(0xcd7336), Hex(0xbb5c0c), Hex(0x9e4c03), Hex(0x803d06)};

constexpr std::array<Color, 16> divergenceDark = {
    Hex(0xa8d7ff), Hex(0x7cc3fd), Hex(0x45aefd), Hex(0x4599da), Hex(0x4584b6), Hex(0x436f94),
    Hex(0x405b73), Hex(0x3b4853), Hex(0x514439), Hex(0x6e533b), Hex(0x8c623d), Hex(0xac723c),
    Hex(0xcc8238), Hex(0xec9234), Hex(0xffa957), Hex(0xffc796)};

constexpr std::array<Color, 12> categoriesLight = {
    Hex(0x0673aa), Hex(0xe9a23b), Hex(0x5b1a5e), Hex(0x9bd3f5), Hex(0xc8452f), Hex(0xf1e38a),
    Hex(0x5e9afe), Hex(0x782703), Hex(0xa7979b), Hex(0x3c2da3), Hex(0xaf2461), Hex(0x6f6de8)};

constexpr std::array<Color, 12> categoriesDark = {
    Hex(0x67addd), Hex(0xf6c04d), Hex(0x9a4fb0), Hex(0xdff3ff), Hex(0xe0573f), Hex(0xfff2a8),
    Hex(0xda9d87), Hex(0x7d7df9), Hex(0xb0cefe), Hex(0xad4d6f), Hex(0xcf6c8d), Hex(0xfcbcbb)};

// The light of a component of a colour, 0 to 1 (IEC 61966-2-1).
double Linear(uint8_t component) {
  const double c = component / 255.0;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

}  // namespace

const Theme& Theme::Light() {
  static const Theme theme = {"light",       Hex(0xffffff), Hex(0x1a1a1a),   Hex(0x5c5c5c),
                              Hex(0xc9c9c9), sequenceLight, divergenceLight, categoriesLight};
  return theme;
}

const Theme& Theme::Dark() {
  static const Theme theme = {"dark",        Hex(0x14161a), Hex(0xeceff4),  Hex(0xa3a9b3),
                              Hex(0x454b55), sequenceDark,  divergenceDark, categoriesDark};
  return theme;
}

const Theme& Theme::Print() {
  static const Theme theme = {"print",       Hex(0xffffff), Hex(0x000000),   Hex(0x000000),
                              Hex(0x999999), sequenceLight, divergenceLight, categoriesLight};
  return theme;
}

Color Mixed(Color a, Color b, double share) {
  const auto between = [&](uint8_t from, uint8_t to) {
    return static_cast<uint8_t>(std::lround(from + share * (to - from)));
  };
  return {between(a.red, b.red), between(a.green, b.green), between(a.blue, b.blue)};
}

Color InkOn(Color background) {
  // Where both contrasts of WCAG are the same: (1.05) / (y + 0.05) = (y + 0.05) / 0.05.
  constexpr double MIDDLE = 0.17913;
  const double y = 0.2126 * Linear(background.red) + 0.7152 * Linear(background.green) +
                   0.0722 * Linear(background.blue);
  return y > MIDDLE ? Color{0, 0, 0} : Color{255, 255, 255};
}

}  // namespace marrowfin
