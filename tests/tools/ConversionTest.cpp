#include "tools/import/Conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace marrowfin {
namespace {

Capture Fires(size_t count) {
  Capture capture;
  capture.processors = {{"BRISC", count}};
  capture.eventsRead = count;
  CaptureEvent event = {};
  event.kind = KIND_ZONE;
  for (event.number = 0; event.number < count; ++event.number) {
    event.time = 1000 + event.number;
    capture.events.push_back(event);
  }
  return capture;
}

TEST(ConversionTest, TheWatcherIsToldOfEvery65536Events) {
  const Capture capture = Fires(65537);
  OutputFile output;
  ASSERT_FALSE(output.Open("/dev/null"));
  TraceWriter writer(output);
  std::vector<std::pair<uint64_t, uint64_t>> reports;
  WriteRecords(capture, ArrayLayout(capture), {}, writer,
               [&](uint64_t done, uint64_t total) { reports.emplace_back(done, total); });
  EXPECT_THAT(reports, ::testing::ElementsAre(std::pair(0, 65537), std::pair(65536, 65537)));
}

TEST(ConversionTest, TheAccountCountsWhatTheWriterTook) {
  const Capture capture = Fires(3);
  OutputFile output;
  ASSERT_FALSE(output.Open("/dev/null"));
  TraceWriter writer(output);
  const Account account = WriteRecords(capture, ArrayLayout(capture), {}, writer, nullptr);
  EXPECT_EQ(3u, account.converted[KIND_ZONE]);
  EXPECT_EQ(3u, account.convertedRecords[KIND_ZONE]);
  EXPECT_EQ(3u, account.fires);
  EXPECT_EQ(0u, account.messages);
  EXPECT_EQ(2u, account.frameRecords);
  EXPECT_EQ(1000u, account.origin);
  EXPECT_EQ(2u, account.lastCycle);
}

TEST(ConversionTest, AFailedWriterEndsTheConversion) {
  const Capture capture = Fires(100000);
  OutputFile output;
  ASSERT_FALSE(output.Open("/dev/full"));
  TraceWriter writer(output);
  const Account account = WriteRecords(capture, ArrayLayout(capture), {}, writer, nullptr);
  EXPECT_LT(account.converted[KIND_ZONE], 10000u);
  EXPECT_TRUE(writer.Finish());
}

TEST(ConversionTest, EventsAreSortedByTimeAndKeepTheirOrderWhereItIsEqual) {
  Capture capture = Fires(6);
  const uint64_t times[] = {7, 3, 7, 1, 3, 7};
  for (size_t i = 0; i < 6; ++i) {
    capture.events[i].time = times[i];
  }
  SortByTime(capture);
  std::vector<uint64_t> numbers;
  for (const CaptureEvent& event : capture.events) {
    numbers.push_back(event.number);
  }
  EXPECT_THAT(numbers, ::testing::ElementsAre(3, 1, 4, 0, 2, 5));
}

}  // namespace
}  // namespace marrowfin
