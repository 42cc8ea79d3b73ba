#include "convert/import/Conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
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

TEST(ConversionTest, ProgressIsToldOfEvery65536Events) {
  const Capture capture = Fires(65537);
  MemorySink sink;
  Writer writer;
  writer.Attach(sink);
  std::vector<std::pair<uint64_t, uint64_t>> reports;
  ASSERT_TRUE(WriteRecords(capture, ArrayLayout(capture), {}, "in", writer, nullptr,
                           [&](const Progress& now) {
                             reports.emplace_back(now.done, now.all);
                             return true;
                           }));
  EXPECT_THAT(reports, ::testing::ElementsAre(std::pair(0, 65537), std::pair(65536, 65537)));
  EXPECT_EQ(65537u * 28 + 2 * 36, sink.Bytes().size());
}

TEST(ConversionTest, ARequestToStopIsAFault) {
  const Capture capture = Fires(70000);
  MemorySink sink;
  Writer writer;
  writer.Attach(sink);
  const Result<Account> account = WriteRecords(capture, ArrayLayout(capture), {}, "in", writer,
                                               nullptr, [](const Progress&) { return false; });
  EXPECT_EQ(Fault::CANCELLED, account.Why().kind);
}

TEST(ConversionTest, TheAccountCountsWhatTheWriterTook) {
  const Capture capture = Fires(3);
  MemorySink sink;
  Writer writer;
  writer.Attach(sink);
  const Result<Account> account =
      WriteRecords(capture, ArrayLayout(capture), {}, "in", writer, nullptr, nullptr);
  ASSERT_TRUE(account);
  EXPECT_EQ(3u, account->converted[KIND_ZONE]);
  EXPECT_EQ(3u, account->convertedRecords[KIND_ZONE]);
  EXPECT_EQ(3u, account->fires);
  EXPECT_EQ(0u, account->sends);
  EXPECT_EQ(2u, account->frameRecords);
  EXPECT_EQ(1000u, account->origin);
  EXPECT_EQ(2u, account->lastCycle);
  EXPECT_EQ(3u * 28 + 2 * 36, sink.Bytes().size());
}

// A sink that counts how often it is asked for what it does not have.
class FullSink : public ByteSink {
 public:
  Written Write(const uint8_t*, size_t) override {
    ++writes;
    return {0, SystemFault("full", "cannot write", ENOSPC)};
  }
  int writes = 0;
};

TEST(ConversionTest, AFailedWriterEndsTheConversion) {
  const Capture capture = Fires(1'000'000);
  FullSink sink;
  Writer writer;
  writer.Attach(sink);
  uint64_t furthest = 0;
  const Result<Account> account = WriteRecords(capture, ArrayLayout(capture), {}, "in", writer,
                                               nullptr, [&](const Progress& now) {
                                                 furthest = now.done;
                                                 return true;
                                               });
  EXPECT_EQ("full: cannot write: No space left on device", account.Why().Text());
  EXPECT_EQ(0u, furthest) << "the first report, and none behind the failure";
  EXPECT_EQ(1, sink.writes);
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
