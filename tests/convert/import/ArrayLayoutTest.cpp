#include "convert/import/ArrayLayout.h"

#include <gtest/gtest.h>

#include <string>

namespace marrowfin {
namespace {

std::string Text(const ArrayShape& shape) {
  return "-c " + std::to_string(shape.clusters.columns) + " -d " +
         std::to_string(shape.domains.columns) + " -p " + std::to_string(shape.pes.columns);
}

CaptureEvent FireOn(uint32_t device, uint16_t column, uint16_t row) {
  CaptureEvent event = {};
  event.device = device;
  event.farDevice = device;
  event.kind = KIND_ZONE;
  event.tile = {column, row};
  return event;
}

ArrayLayout LayoutOf(const std::vector<CaptureEvent>& events) {
  Capture capture;
  capture.events = events;
  return ArrayLayout(capture);
}

TEST(ArrayLayoutTest, TheHighestTileOfAnyEventFits) {
  EXPECT_EQ("-c 1 -d 1 -p 12", Text(LayoutOf({FireOn(0, 9, 11)}).Shape()));
  EXPECT_EQ("-c 1 -d 1 -p 12", Text(LayoutOf({FireOn(0, 11, 0)}).Shape()));
  CaptureEvent message = FireOn(0, 0, 0);
  message.kind = KIND_WRITE;
  message.first = {0, 0};
  message.last = {0, 11};
  EXPECT_EQ("-c 1 -d 1 -p 12", Text(LayoutOf({message}).Shape()));
  message.last = {11, 0};
  EXPECT_EQ("-c 1 -d 1 -p 12", Text(LayoutOf({message}).Shape()));
  message.kind = KIND_WAIT;
  EXPECT_EQ("-c 1 -d 1 -p 1", Text(LayoutOf({message}).Shape()));
}

TEST(ArrayLayoutTest, DevicesFillRowsOfEqualLengthInOrderOfTheirNumbers) {
  std::vector<CaptureEvent> events;
  for (const uint32_t device : {65535u, 4u, 0u, 7u, 5u}) {
    events.push_back(FireOn(device, 3, 2));
  }
  const ArrayLayout layout = LayoutOf(events);
  EXPECT_EQ((std::vector<uint32_t>{0, 4, 5, 7, 65535}), layout.Devices());
  EXPECT_EQ("-c 3 -d 1 -p 4", Text(layout.Shape()));
  EXPECT_EQ(8u, layout.FirstColumn(5));
  EXPECT_EQ(0u, layout.FirstRow(5));
  EXPECT_EQ(0u, layout.FirstColumn(7));
  EXPECT_EQ(4u, layout.FirstRow(7));
}

TEST(ArrayLayoutTest, ADeviceThatOnlyReceivesHasItsSquareToo) {
  CaptureEvent message = FireOn(3, 0, 0);
  message.kind = KIND_FABRIC;
  message.farDevice = 1;
  EXPECT_EQ((std::vector<uint32_t>{1, 3}), LayoutOf({message}).Devices());
}

TEST(ArrayLayoutTest, NoEventsMakeTheSmallestArray) {
  const ArrayLayout layout = LayoutOf({});
  EXPECT_TRUE(layout.Devices().empty());
  EXPECT_EQ("-c 1 -d 1 -p 1", Text(layout.Shape()));
  EXPECT_EQ(1u, layout.DevicesPerAxis().columns);
  EXPECT_EQ(1u, layout.DevicesPerAxis().rows);
}

}  // namespace
}  // namespace marrowfin
