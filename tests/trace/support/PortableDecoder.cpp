// Every test program of the trace engine runs a second time with this in its environment, so that
// on a processor with AVX2 the portable decoder is tested under everything that decodes as well.

#include <cstdlib>
#include <string_view>

#include "trace/read/Decode.h"

namespace marrowfin::testing {
namespace {

const struct DecoderChoice {
  DecoderChoice() {
    const char* const decoder = std::getenv("MARROWFIN_TEST_DECODER");
    if (decoder != nullptr && std::string_view(decoder) == "portable") {
      AllowAvx2(false);
    }
  }
} CHOICE;

}  // namespace
}  // namespace marrowfin::testing
