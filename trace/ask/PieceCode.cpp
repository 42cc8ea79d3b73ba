#include "trace/ask/PieceCode.h"

namespace marrowfin {

namespace {

template <class Codes>
std::array<Color, Codes::COUNT> PaletteOf(Color untouched, Color (*color)(uint32_t, uint64_t)) {
  std::array<Color, Codes::COUNT> palette;
  palette[Codes::UNTOUCHED] = untouched;
  for (unsigned code = Codes::UNTOUCHED + 1; code < Codes::COUNT; ++code) {
    const uint8_t byte = static_cast<uint8_t>(code);
    palette[code] = color(Codes::Thread(byte), Codes::Age(byte));
  }
  return palette;
}

}  // namespace

ElementPalette ElementPaletteAt(uint64_t step) {
  return PaletteOf<ElementCodes>(UntouchedElementColor(step), ElementColor);
}

SwitchPalette SwitchPaletteAt(uint64_t step) {
  return PaletteOf<SwitchCodes>(UntouchedSwitchColor(step), SwitchColor);
}

}  // namespace marrowfin
