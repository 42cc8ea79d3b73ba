#include "convert/import/CaptureAbout.h"

#include <gtest/gtest.h>

namespace marrowfin {
namespace {

// Fires on as many tiles of two devices.
Capture CaptureOf(size_t tiles) {
  constexpr size_t SIDE = 256;
  Capture capture;
  for (size_t i = 0; i < tiles; ++i) {
    CaptureEvent event = {};
    event.device = i % 2;
    event.farDevice = event.device;
    event.kind = KIND_ZONE;
    event.tile = {static_cast<uint16_t>(i / 2 % SIDE), static_cast<uint16_t>(i / 2 / SIDE)};
    capture.events.push_back(event);
  }
  return capture;
}

size_t NamesOf(const Capture& capture) {
  return AboutCapture(capture, ArrayLayout(capture), Account()).places.size();
}

TEST(CaptureAboutTest, TilesAreNamedUnlessThereAreTooMany) {
  EXPECT_EQ(65536u, NamesOf(CaptureOf(65536)));
  EXPECT_EQ(0u, NamesOf(CaptureOf(65537)));
}

TEST(CaptureAboutTest, ACaptureThatBecomesMoreRecordsThanTheManualSaysIsRefused) {
  EXPECT_EQ(100000000u, ConversionOptions().mostRecords);
}

}  // namespace
}  // namespace marrowfin
