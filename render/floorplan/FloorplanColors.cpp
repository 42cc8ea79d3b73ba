#include "render/floorplan/FloorplanColors.h"

#include <cmath>

namespace marrowfin {

const FloorplanColors& FloorplanColors::Light() {
  static const FloorplanColors colors = {{0xff, 0xff, 0xff},
                                         {0x14, 0x18, 0x1f},
                                         {0x8b, 0x95, 0xa3},
                                         {0xb9, 0xc0, 0xca},
                                         {0x5f, 0x69, 0x77},
                                         {{{0x2f, 0x28, 0xb5},
                                           {0xf5, 0x5f, 0x25},
                                           {0x51, 0xa2, 0x8e},
                                           {0xa0, 0x00, 0x61},
                                           {0xb2, 0x79, 0xf7},
                                           {0x2c, 0x33, 0x03}}}};
  return colors;
}

const FloorplanColors& FloorplanColors::Dark() {
  static const FloorplanColors colors = {{0x14, 0x17, 0x1c},
                                         {0xee, 0xf1, 0xf5},
                                         {0x64, 0x70, 0x7f},
                                         {0x46, 0x50, 0x60},
                                         {0x97, 0xa2, 0xb0},
                                         {{{0x35, 0x69, 0xec},
                                           {0xef, 0x98, 0x20},
                                           {0xa2, 0xfc, 0xc0},
                                           {0xdc, 0x46, 0x8f},
                                           {0xbe, 0xaf, 0xff},
                                           {0x81, 0x60, 0x1a}}}};
  return colors;
}

double FillAt(uint32_t age) {
  constexpr std::array<double, ElementCodes::OLDEST + 1> fills = {1, 0.82, 0.68, 0.56, 0.38};
  return fills[age];
}

Color ElementFill(const FloorplanColors& colors, uint8_t code) {
  return Mix(colors.threads[ElementCodes::Thread(code)], colors.paper,
             FillAt(ElementCodes::Age(code)));
}

Color Mix(Color color, Color ground, double share) {
  const auto mix = [&](uint8_t over, uint8_t under) {
    return static_cast<uint8_t>(std::lround(under + (over - under) * share));
  };
  return {mix(color.red, ground.red), mix(color.green, ground.green), mix(color.blue, ground.blue)};
}

}  // namespace marrowfin
