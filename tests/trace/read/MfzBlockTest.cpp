// Blocks of a packed trace: what comes out is what went in, and what is no block is refused.

#include <gtest/gtest.h>
#include <zstd.h>

#include <optional>
#include <random>
#include <sstream>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/base/MfzColumns.h"
#include "trace/read/MfzBlockDecoder.h"
#include "trace/write/MfzBlockEncoder.h"

namespace marrowfin::testing {
namespace {

std::vector<uint8_t> BlockOf(MfzBlockEncoder& encoder, const std::vector<Event>& events) {
  for (const Event& event : events) {
    encoder.Add(event.type - SWITCH_RECORD, event.cycle, event.thread, event.at, event.to);
  }
  return encoder.End();
}

std::string Unpacked(const std::vector<uint8_t>& block, size_t size) {
  MfzBlockDecoder decoder;
  std::vector<uint8_t> out(MfzBlockDecoder::RoomFor(size));
  const bool whole = decoder.Records(block, size, out.data());
  EXPECT_TRUE(whole);
  return whole ? std::string(out.begin(), out.begin() + static_cast<ptrdiff_t>(size)) : "";
}

void ExpectSame(MfzBlockEncoder& encoder, const std::vector<Event>& events) {
  const std::string raw = Encode(events);
  EXPECT_EQ(Unpacked(BlockOf(encoder, events), raw.size()), raw);
}

// A number of any size, small ones as often as large ones.
uint64_t AnyNumber(std::mt19937& random, unsigned mostBits) {
  const unsigned bits = std::uniform_int_distribution<unsigned>(0, mostBits)(random);
  const uint64_t number = uint64_t{random()} << 32 | random();
  return bits == 0 ? 0 : number >> (64 - bits);
}

std::vector<Event> AnyEvents(std::mt19937& random, size_t records, unsigned placeBits,
                             unsigned threadBits) {
  std::vector<Event> events(records);
  uint64_t cycle = AnyNumber(random, 64);
  const auto place = [&] {
    return Place{static_cast<uint32_t>(AnyNumber(random, placeBits)),
                 static_cast<uint32_t>(AnyNumber(random, placeBits))};
  };
  for (Event& event : events) {
    cycle = random() % 8 == 0 ? AnyNumber(random, 64) : cycle + random() % 2;
    event.type = static_cast<uint32_t>(SWITCH_RECORD + random() % 3);
    event.cycle = cycle;
    event.thread = static_cast<uint32_t>(AnyNumber(random, threadBits));
    event.at = random() % 4 == 0 && &event != events.data() ? (&event - 1)->at : place();
    event.to = event.type == SEND_RECORD ? place() : Place();
  }
  return events;
}

TEST(MfzBlockTest, WhatComesOutIsWhatWentIn) {
  std::mt19937 random(1);
  MfzBlockEncoder encoder(1);
  for (int i = 0; i < 60; ++i) {
    SCOPED_TRACE(i);
    RandomTraceOptions options;
    options.records = 1 + random() % 3000;
    options.threads = 1 + random() % 100;
    options.perCycle = 1 + random() % 50;
    options.falling = i % 2 == 0;
    ExpectSame(encoder, RandomEvents(random, options));
  }
}

TEST(MfzBlockTest, PlacesThreadsAndCyclesMayBeAnyNumbers) {
  std::mt19937 random(2);
  MfzBlockEncoder encoder(3);
  for (const unsigned placeBits : {0U, 3U, 8U, 9U, 16U, 17U, 24U, 32U}) {
    for (const unsigned threadBits : {0U, 3U, 12U, 32U}) {
      SCOPED_TRACE(std::to_string(placeBits) + " " + std::to_string(threadBits));
      ExpectSame(encoder, AnyEvents(random, 1 + random() % 4000, placeBits, threadBits));
    }
  }
}

TEST(MfzBlockTest, TheLargestNumbersComeBack) {
  MfzBlockEncoder encoder(1);
  const Place most = {UINT32_MAX, UINT32_MAX};
  ExpectSame(encoder, {{SEND_RECORD, UINT64_MAX, UINT32_MAX, most, most}});
  ExpectSame(encoder, {{SEND_RECORD, UINT64_MAX, UINT32_MAX, {}, most},
                       {FIRE_RECORD, 0, 0, most, {}},
                       {SWITCH_RECORD, UINT64_MAX, 7, most, {}},
                       {FIRE_RECORD, 1, UINT32_MAX, {}, {}}});
}

TEST(MfzBlockTest, ABlockMayHaveAsManyThreadsAsRecords) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < MFZ_BLOCK_RECORDS; ++i) {
    events.push_back({FIRE_RECORD, i, i * 7919, {i % 64, i / 64 % 64}, {}});
  }
  MfzBlockEncoder encoder(1);
  ExpectSame(encoder, events);
}

TEST(MfzBlockTest, ABlockMayHaveMoreSwitchesThanAListHolds) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 3000; ++i) {
    events.push_back({SWITCH_RECORD, i, 0, {4 + i * 37 % 1000, 4 + i % 11}, {}});
  }
  MfzBlockEncoder encoder(1);
  ExpectSame(encoder, events);
}

TEST(MfzBlockTest, WhatAThreadAwaitsIsFoundAgainHoweverMuchItIs) {
  std::vector<Event> events;
  std::mt19937 random(3);
  std::uniform_int_distribution<uint32_t> side(0, 199);
  std::vector<Place> sent;
  for (uint32_t i = 0; i < 20000; ++i) {
    if (random() % 2 == 0 || sent.empty()) {
      sent.push_back({side(random), side(random)});
      events.push_back({SEND_RECORD, i, i % 3, {side(random), 1}, sent.back()});
    } else {
      const size_t back = 1 + random() % std::min<size_t>(sent.size(), 40);
      events.push_back({FIRE_RECORD, i, i % 3, sent[sent.size() - back], {}});
    }
  }
  MfzBlockEncoder encoder(1);
  const std::string raw = Encode(events);
  const std::vector<uint8_t> block = BlockOf(encoder, events);
  EXPECT_EQ(Unpacked(block, raw.size()), raw);
  EXPECT_LT(block.size(), events.size() * 4);
}

TEST(MfzBlockTest, ABlockOfAnotherSizeIsRefused) {
  std::mt19937 random(5);
  const std::vector<Event> events = RandomEvents(random, {.records = 300});
  const size_t size = Encode(events).size();
  MfzBlockEncoder encoder(1);
  const std::vector<uint8_t> block = BlockOf(encoder, events);
  MfzBlockDecoder decoder;
  std::vector<uint8_t> out(MfzBlockDecoder::RoomFor(size + 100));
  EXPECT_TRUE(decoder.Records(block, size, out.data()));
  for (const int difference : {-28, -1, 1, 8, 28}) {
    EXPECT_FALSE(decoder.Records(block, size + static_cast<size_t>(difference), out.data()));
  }
}

// The columns of a block with one number changed each, packed again: whatever is said, no byte is
// read or written outside of what there is, and each block that is taken is one.
TEST(MfzBlockTest, ColumnsThatAnybodyMadeUpAreTakenOrRefused) {
  std::mt19937 random(6);
  MfzBlockEncoder encoder(1);
  MfzBlockDecoder decoder;
  int refused = 0;
  for (int i = 0; i < 1000; ++i) {
    const std::vector<Event> events = AnyEvents(random, 1 + random() % 60, 1 + i % 20, 4);
    const size_t size = Encode(events).size();
    const std::vector<uint8_t> block = BlockOf(encoder, events);
    std::vector<uint8_t> columns(ZSTD_getFrameContentSize(block.data(), block.size()));
    ASSERT_EQ(ZSTD_decompress(columns.data(), columns.size(), block.data(), block.size()),
              columns.size());
    for (unsigned changes = 1 + random() % 3; changes > 0; --changes) {
      columns[random() % columns.size()] = static_cast<uint8_t>(random());
    }
    std::vector<uint8_t> forged(ZSTD_compressBound(columns.size()));
    forged.resize(ZSTD_compress(forged.data(), forged.size(), columns.data(), columns.size(), 1));
    std::vector<uint8_t> out(MfzBlockDecoder::RoomFor(size));
    refused += decoder.Records(forged, size, out.data()) ? 0 : 1;
  }
  EXPECT_GT(refused, 100);
  EXPECT_LT(refused, 1000);
}

TEST(MfzBlockTest, BytesThatAreNoBlockAreRefused) {
  std::mt19937 random(7);
  MfzBlockDecoder decoder;
  std::vector<uint8_t> out(MfzBlockDecoder::RoomFor(1000));
  EXPECT_FALSE(decoder.Records({}, 28, out.data()));
  EXPECT_FALSE(decoder.Bytes({}, 28, out.data()));
  for (int i = 0; i < 200; ++i) {
    std::vector<uint8_t> bytes(random() % 300);
    for (uint8_t& byte : bytes) {
      byte = static_cast<uint8_t>(random());
    }
    EXPECT_FALSE(decoder.Records(bytes, 280, out.data()));
    EXPECT_FALSE(decoder.Bytes(bytes, 280, out.data()));
  }
}

// What stands between ```KIND and ``` in the document.
std::string Example(const std::string& kind) {
  const std::string document = ReadFile(MARROWFIN_SOURCE_DIR "/docs/packed-format.md");
  const std::string start = "```" + kind + "\n";
  const size_t begin = document.find(start) + start.size();
  return document.substr(begin, document.find("```", begin) - begin);
}

TEST(MfzBlockTest, TheWorkedExampleIsWhatIsWrittenAndRead) {
  const std::string raw = TraceBytes(Example("records"));
  std::vector<uint8_t> columns;
  std::istringstream lines(Example("columns"));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    for (std::string word; words >> word && word.size() == 2 &&
                           word.find_first_not_of("0123456789abcdef") == std::string::npos;) {
      columns.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    }
  }
  std::vector<uint8_t> block(ZSTD_compressBound(columns.size()));
  block.resize(ZSTD_compress(block.data(), block.size(), columns.data(), columns.size(), 1));
  EXPECT_EQ(Unpacked(block, raw.size()), raw);
  MfzBlockEncoder encoder(1);
  const std::vector<uint8_t> written = BlockOf(encoder, {{FIRE_RECORD, 7, 1, {2, 3}, {}},
                                                         {SEND_RECORD, 7, 1, {2, 3}, {4, 3}},
                                                         {SWITCH_RECORD, 8, 1, {4, 4}, {}},
                                                         {FIRE_RECORD, 12, 1, {4, 3}, {}}});
  std::vector<uint8_t> found(ZSTD_getFrameContentSize(written.data(), written.size()));
  ZSTD_decompress(found.data(), found.size(), written.data(), written.size());
  EXPECT_EQ(found, columns);
}

TEST(MfzBlockTest, ABlockIsDecodedAsFarAsItIsAskedFor) {
  std::mt19937 random(8);
  const std::vector<Event> events = AnyEvents(random, 2000, 9, 5);
  const std::string raw = Encode(events);
  MfzBlockEncoder encoder(1);
  const std::vector<uint8_t> block = BlockOf(encoder, events);
  MfzBlockDecoder decoder;
  std::vector<uint8_t> out(MfzBlockDecoder::RoomFor(raw.size()));
  ASSERT_TRUE(decoder.Begin(block, raw.size()));
  size_t done = 0;
  while (done < raw.size()) {
    const size_t least = std::min(raw.size(), done + random() % 3000);
    const std::optional<size_t> now = decoder.Continue(least, out.data());
    ASSERT_TRUE(now);
    ASSERT_GE(*now, least);
    ASSERT_LT(*now, least + LARGE_RECORD);
    ASSERT_EQ(
        raw.compare(0, *now, std::string(out.begin(), out.begin() + static_cast<ptrdiff_t>(*now))),
        0);
    done = *now;
  }
}

TEST(MfzBlockTest, WhatIsForetoldTakesHardlyAnyRoom) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 30000; ++i) {
    const Place here = {i % 16, i / 16 % 16};
    const Place there = {(i + 1) % 16, (i + 1) / 16 % 16};
    events.push_back({FIRE_RECORD, i, 0, here, {}});
    events.push_back({SEND_RECORD, i, 0, here, there});
  }
  MfzBlockEncoder encoder(1);
  EXPECT_LT(BlockOf(encoder, events).size(), events.size() / 20);
}

}  // namespace
}  // namespace marrowfin::testing
