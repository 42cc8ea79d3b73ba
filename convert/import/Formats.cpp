#include "convert/import/Format.h"

#include "convert/import/TtNpe.h"

namespace marrowfin {

std::span<const ImportFormat> ImportFormats() {
  static constexpr ImportFormat formats[] = {
      {"tt-npe", "network-on-chip events recorded on hardware, a JSON list", ReadTtNpe},
  };
  return formats;
}

}  // namespace marrowfin
