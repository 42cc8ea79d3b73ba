#include "measure/ValueText.h"

#include <cmath>
#include <cstdint>

#include "measure/NumberText.h"

namespace marrowfin {

std::string ValueText(Quantity quantity, double value) {
  if (quantity == Quantity::SHARE) {
    return (value < 0 ? "−" : "") + PercentText(std::abs(value));
  }
  const bool whole = value == std::floor(value) && std::abs(value) < 9e15;
  return whole ? (value < 0 ? "−" : "") + CountText(static_cast<uint64_t>(std::abs(value)))
               : ThreeDigits(value);
}

std::string SignedText(double change, const std::string& text) {
  return (change > 0 ? "+" : "") + text;
}

}  // namespace marrowfin
